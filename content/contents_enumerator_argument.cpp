#include "contents_enumerator_argument.h"

#include <atomic>
#include <new>

#include "dms_string.h"

namespace {

constexpr const char* kDefaultMimeType = "application/octet-stream";
constexpr int kItemObjectType = 50;

std::atomic<ContentsEnumeratorArgument::ProfileTableSource> gProfileTableSource{nullptr};

CDSHelper* currentProfileTable() {
  ContentsEnumeratorArgument::ProfileTableSource source = gProfileTableSource.load();
  return source == nullptr ? nullptr : source();
}

}  // namespace

void ContentsEnumeratorArgument::SetProfileTableSource(ProfileTableSource source) {
  gProfileTableSource.store(source);
}

ContentsEnumeratorArgument::ContentsEnumeratorArgument()
    : objectType_(kItemObjectType),
      contentType_(0),
      codecType_(0),
      contentID_(nullptr),
      contentParentID_(nullptr),
      childCount_(nullptr),
      importURI_(nullptr),
      dlnaPN_(nullptr),
      mimeTypeString_(new (std::nothrow) DMSAppString(kDefaultMimeType)),
      title_(nullptr),
      creator_(nullptr),
      author_(nullptr),
      album_(nullptr),
      date_(nullptr),
      description_(nullptr),
      duration_(nullptr),
      genre_(nullptr),
      resolution_(nullptr),
      width_(-1),
      height_(-1),
      filePath_(nullptr),
      fileName_(nullptr),
      fileExtension_(nullptr),
      size_(nullptr),
      uri_(nullptr),
      thumbUri_(nullptr),
      thumbnailOffset_(-1),
      thumbnailSize_(-1),
      thumbnailHeight_(-1),
      thumbnailWidth_(-1),
      screenUri_(nullptr),
      screennailOffset_(-1),
      screennailSize_(-1),
      screennailHeight_(-1),
      screennailWidth_(-1),
      audioProfile_(0),
      artist_(nullptr),
      trackNumber_(nullptr),
      audioBitrate_(nullptr),
      audioChannelsNumber_(0),
      audioSampleFrequency_(nullptr),
      audioBitPerSample_(nullptr),
      albumArtIncludeFlag_(false),
      albumArtHeight_(0),
      albumArtWidht_(0),
      videoProfile_(0),
      videoLevel_(0),
      videoFrameRate_(0),
      videoBitrate_(0),
      profileTable_(currentProfileTable()) {}

ContentsEnumeratorArgument::ContentsEnumeratorArgument(const ContentsEnumeratorArgument& other)
    : objectType_(other.objectType_),
      contentType_(other.contentType_),
      codecType_(other.codecType_),
      contentID_(copyText(other.contentID_)),
      contentParentID_(copyText(other.contentParentID_)),
      childCount_(copyText(other.childCount_)),
      importURI_(copyText(other.importURI_)),
      dlnaPN_(copyText(other.dlnaPN_)),
      mimeTypeString_(copyText(other.mimeTypeString_)),
      title_(copyText(other.title_)),
      creator_(copyText(other.creator_)),
      author_(copyText(other.author_)),
      album_(copyText(other.album_)),
      date_(copyText(other.date_)),
      description_(copyText(other.description_)),
      duration_(copyText(other.duration_)),
      genre_(copyText(other.genre_)),
      resolution_(copyText(other.resolution_)),
      width_(other.width_),
      height_(other.height_),
      filePath_(copyText(other.filePath_)),
      fileName_(copyText(other.fileName_)),
      fileExtension_(copyText(other.fileExtension_)),
      size_(copyText(other.size_)),
      uri_(copyText(other.uri_)),
      thumbUri_(copyText(other.thumbUri_)),
      thumbnailOffset_(other.thumbnailOffset_),
      thumbnailSize_(other.thumbnailSize_),
      thumbnailHeight_(other.thumbnailHeight_),
      thumbnailWidth_(other.thumbnailWidth_),
      screenUri_(copyText(other.screenUri_)),
      screennailOffset_(other.screennailOffset_),
      screennailSize_(other.screennailSize_),
      screennailHeight_(other.screennailHeight_),
      screennailWidth_(other.screennailWidth_),
      audioProfile_(other.audioProfile_),
      artist_(copyText(other.artist_)),
      trackNumber_(copyText(other.trackNumber_)),
      audioBitrate_(copyText(other.audioBitrate_)),
      audioChannelsNumber_(0),  // deliberately not copied
      audioSampleFrequency_(copyText(other.audioSampleFrequency_)),
      audioBitPerSample_(copyText(other.audioBitPerSample_)),
      albumArtIncludeFlag_(other.albumArtIncludeFlag_),
      albumArtHeight_(other.albumArtHeight_),
      albumArtWidht_(other.albumArtWidht_),
      videoProfile_(other.videoProfile_),
      videoLevel_(other.videoLevel_),
      videoFrameRate_(other.videoFrameRate_),
      videoBitrate_(other.videoBitrate_),
      profileTable_(currentProfileTable()) {}

ContentsEnumeratorArgument::~ContentsEnumeratorArgument() {
  DMSAppString* owned[] = {contentID_,
                           contentParentID_,
                           childCount_,
                           importURI_,
                           dlnaPN_,
                           mimeTypeString_,
                           title_,
                           creator_,
                           author_,
                           album_,
                           date_,
                           description_,
                           duration_,
                           genre_,
                           resolution_,
                           filePath_,
                           fileName_,
                           fileExtension_,
                           size_,
                           uri_,
                           thumbUri_,
                           screenUri_,
                           artist_,
                           trackNumber_,
                           audioBitrate_,
                           audioSampleFrequency_,
                           audioBitPerSample_};
  for (DMSAppString* text : owned) delete text;
}

int ContentsEnumeratorArgument::ClearArgument() {
  objectType_ = kItemObjectType;
  contentType_ = 0;
  codecType_ = 0;
  DMSAppString** dropped[] = {&contentID_,
                              &contentParentID_,
                              &childCount_,
                              &importURI_,
                              &dlnaPN_,
                              &title_,
                              &creator_,
                              &author_,
                              &album_,
                              &date_,
                              &description_,
                              &duration_,
                              &genre_,
                              &resolution_,
                              &filePath_,
                              &fileName_,
                              &fileExtension_,
                              &size_,
                              &artist_,
                              &trackNumber_,
                              &audioBitrate_,
                              &audioSampleFrequency_,
                              &audioBitPerSample_};
  for (DMSAppString** field : dropped) dropText(*field);
  if (mimeTypeString_ != nullptr) {
    mimeTypeString_->Copy(kDefaultMimeType);
  } else {
    mimeTypeString_ = new (std::nothrow) DMSAppString(kDefaultMimeType);
  }
  width_ = -1;
  height_ = -1;
  audioProfile_ = 0;
  audioChannelsNumber_ = 0;
  albumArtIncludeFlag_ = false;
  albumArtHeight_ = 0;
  albumArtWidht_ = 0;
  videoProfile_ = 0;
  videoLevel_ = 0;
  videoFrameRate_ = 0;
  videoBitrate_ = 0;
  return 0;
}

void ContentsEnumeratorArgument::replaceText(DMSAppString*& field, DMSAppString* value) {
  if (value == nullptr) return;
  if (field != value) delete field;
  value->TrimAll();
  field = value;
}

void ContentsEnumeratorArgument::dropText(DMSAppString*& field) {
  delete field;
  field = nullptr;
}

DMSAppString* ContentsEnumeratorArgument::copyText(const DMSAppString* source) {
  if (source == nullptr) return nullptr;
  return new (std::nothrow) DMSAppString(source);
}

void ContentsEnumeratorArgument::SetContentID(DMSAppString* v) { replaceText(contentID_, v); }
void ContentsEnumeratorArgument::SetContentParentID(DMSAppString* v) {
  replaceText(contentParentID_, v);
}
void ContentsEnumeratorArgument::SetChildCount(DMSAppString* v) { replaceText(childCount_, v); }
void ContentsEnumeratorArgument::SetDLNAPN(DMSAppString* v) { replaceText(dlnaPN_, v); }
void ContentsEnumeratorArgument::SetMimetypeString(DMSAppString* v) {
  replaceText(mimeTypeString_, v);
}
void ContentsEnumeratorArgument::SetTitle(DMSAppString* v) { replaceText(title_, v); }
void ContentsEnumeratorArgument::SetCreator(DMSAppString* v) { replaceText(creator_, v); }
void ContentsEnumeratorArgument::SetAuthor(DMSAppString* v) { replaceText(author_, v); }
void ContentsEnumeratorArgument::SetAlbum(DMSAppString* v) { replaceText(album_, v); }
void ContentsEnumeratorArgument::SetDate(DMSAppString* v) { replaceText(date_, v); }
void ContentsEnumeratorArgument::SetDescription(DMSAppString* v) { replaceText(description_, v); }
void ContentsEnumeratorArgument::SetDuration(DMSAppString* v) { replaceText(duration_, v); }
void ContentsEnumeratorArgument::SetGenre(DMSAppString* v) { replaceText(genre_, v); }
void ContentsEnumeratorArgument::SetResolution(DMSAppString* v) { replaceText(resolution_, v); }
void ContentsEnumeratorArgument::SetFilePath(DMSAppString* v) { replaceText(filePath_, v); }
void ContentsEnumeratorArgument::SetFileName(DMSAppString* v) { replaceText(fileName_, v); }
void ContentsEnumeratorArgument::SetFileExtension(DMSAppString* v) {
  replaceText(fileExtension_, v);
}
void ContentsEnumeratorArgument::SetSize(DMSAppString* v) { replaceText(size_, v); }
void ContentsEnumeratorArgument::SetUri(DMSAppString* v) { replaceText(uri_, v); }
void ContentsEnumeratorArgument::SetThumbUri(DMSAppString* v) { replaceText(thumbUri_, v); }
void ContentsEnumeratorArgument::SetScreenUri(DMSAppString* v) { replaceText(screenUri_, v); }
void ContentsEnumeratorArgument::SetArtist(DMSAppString* v) { replaceText(artist_, v); }
void ContentsEnumeratorArgument::SetTrackNumber(DMSAppString* v) { replaceText(trackNumber_, v); }
void ContentsEnumeratorArgument::SetAudioBitrate(DMSAppString* v) { replaceText(audioBitrate_, v); }
void ContentsEnumeratorArgument::SetAudioSampleFrequency(DMSAppString* v) {
  replaceText(audioSampleFrequency_, v);
}
void ContentsEnumeratorArgument::SetAudioBitPerSample(DMSAppString* v) {
  replaceText(audioBitPerSample_, v);
}
