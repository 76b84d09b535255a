// ContentsEnumeratorArgument: one content object (photo, track, movie or
// container) with its metadata, as it travels from the database to Browse,
// the DIDL-Lite writer, object creation and the transfer handlers.
//
// Ownership: every text field is an owned, heap-held DMSAppString or null.
// String getters lend the stored pointer (valid until the field is set again,
// cleared or the record destroyed; never release it). String setters take
// ownership of their argument, except SetImportURI (see there).
//
// Thread safety: none; a record belongs to one thread at a time.
#ifndef DMS_CONTENT_CONTENTS_ENUMERATOR_ARGUMENT_H
#define DMS_CONTENT_CONTENTS_ENUMERATOR_ARGUMENT_H

class DMSAppString;
class CDSHelper;  // the process-wide string table of the ContentDirectory layer

class ContentsEnumeratorArgument {
 public:
  // Where the profile table reference of new records comes from. The
  // ContentDirectory layer installs CDSHelper::GetInstance here when it
  // starts; until then (and in tests of the store alone) records hold null.
  using ProfileTableSource = CDSHelper* (*)();
  static void SetProfileTableSource(ProfileTableSource source);

  // An item (ObjectType 50) with MIME type "application/octet-stream",
  // width, height and the eight thumbnail/screennail numbers -1, every other
  // text null and every other number 0.
  ContentsEnumeratorArgument();
  // Deep copy of every present string and every scalar, except that the
  // copy's AudioChannelsNumber is 0: callers of the copy have always seen it
  // so. The copy takes its own profile table reference.
  ContentsEnumeratorArgument(const ContentsEnumeratorArgument& other);
  ContentsEnumeratorArgument& operator=(const ContentsEnumeratorArgument&) = delete;
  ~ContentsEnumeratorArgument();

  // Returns the record to a reusable state; 0. Resets the identity, text and
  // audio/video fields (releasing the texts it drops) but keeps Uri,
  // ThumbUri, ScreenUri and the eight thumbnail/screennail numbers.
  int ClearArgument();

  int GetObjectType() const { return objectType_; }
  int GetContentType() const { return contentType_; }
  int GetCodecType() const { return codecType_; }
  DMSAppString* GetContentID() const { return contentID_; }
  DMSAppString* GetContentParentID() const { return contentParentID_; }
  DMSAppString* GetChildCount() const { return childCount_; }
  DMSAppString* GetImportURI() const { return importURI_; }
  DMSAppString* GetDLNAPN() const { return dlnaPN_; }
  DMSAppString* GetMimeTypeString() const { return mimeTypeString_; }
  DMSAppString* GetTitle() const { return title_; }
  DMSAppString* GetCreator() const { return creator_; }
  DMSAppString* GetAuthor() const { return author_; }
  DMSAppString* GetAlbum() const { return album_; }
  DMSAppString* GetDate() const { return date_; }
  DMSAppString* GetDescription() const { return description_; }
  DMSAppString* GetDuration() const { return duration_; }
  DMSAppString* GetGenre() const { return genre_; }
  DMSAppString* GetResolution() const { return resolution_; }
  int GetWidth() const { return width_; }
  int GetHeight() const { return height_; }
  DMSAppString* GetFilePath() const { return filePath_; }
  DMSAppString* GetFileName() const { return fileName_; }
  DMSAppString* GetFileExtension() const { return fileExtension_; }
  DMSAppString* GetSize() const { return size_; }
  DMSAppString* GetUri() const { return uri_; }
  DMSAppString* GetThumbUri() const { return thumbUri_; }
  int GetThumbnailOffset() const { return thumbnailOffset_; }
  int GetThumbnailSize() const { return thumbnailSize_; }
  int GetThumbnailHeight() const { return thumbnailHeight_; }
  int GetThumbnailWidth() const { return thumbnailWidth_; }
  DMSAppString* GetScreenUri() const { return screenUri_; }
  int GetScreennailOffset() const { return screennailOffset_; }
  int GetScreennailSize() const { return screennailSize_; }
  int GetScreennailHeight() const { return screennailHeight_; }
  int GetScreennailWidth() const { return screennailWidth_; }
  int GetAudioProfile() const { return audioProfile_; }
  DMSAppString* GetArtist() const { return artist_; }
  DMSAppString* GetTrackNumber() const { return trackNumber_; }
  DMSAppString* GetAudioBitrate() const { return audioBitrate_; }
  int GetAudioChannelsNumber() const { return audioChannelsNumber_; }
  DMSAppString* GetAudioSampleFrequency() const { return audioSampleFrequency_; }
  DMSAppString* GetAudioBitPerSample() const { return audioBitPerSample_; }
  bool GetAlbumArtIncludeFlag() const { return albumArtIncludeFlag_; }
  unsigned int GetAlbumArtHeight() const { return albumArtHeight_; }
  unsigned int GetAlbumArtWidht() const { return albumArtWidht_; }  // spelling kept
  int GetVideoProfile() const { return videoProfile_; }
  float GetVideoLevel() const { return videoLevel_; }
  int GetVideoFrameRate() const { return videoFrameRate_; }
  float GetVideoBitrate() const { return videoBitrate_; }
  // Not owned; null until the ContentDirectory layer installed its source.
  CDSHelper* GetProfileTable() const { return profileTable_; }

  // String setters: take ownership of `value`. Null leaves the field as it
  // is; otherwise the old text is released and the new one trimmed of
  // leading and trailing blanks in place.
  void SetContentID(DMSAppString* value);
  void SetContentParentID(DMSAppString* value);
  void SetChildCount(DMSAppString* value);
  void SetDLNAPN(DMSAppString* value);
  void SetMimetypeString(DMSAppString* value);  // spelling kept
  void SetTitle(DMSAppString* value);
  void SetCreator(DMSAppString* value);
  void SetAuthor(DMSAppString* value);
  void SetAlbum(DMSAppString* value);
  void SetDate(DMSAppString* value);
  void SetDescription(DMSAppString* value);
  void SetDuration(DMSAppString* value);
  void SetGenre(DMSAppString* value);
  void SetResolution(DMSAppString* value);
  void SetFilePath(DMSAppString* value);
  void SetFileName(DMSAppString* value);
  void SetFileExtension(DMSAppString* value);
  void SetSize(DMSAppString* value);
  void SetUri(DMSAppString* value);
  void SetThumbUri(DMSAppString* value);
  void SetScreenUri(DMSAppString* value);
  void SetArtist(DMSAppString* value);
  void SetTrackNumber(DMSAppString* value);
  void SetAudioBitrate(DMSAppString* value);
  void SetAudioSampleFrequency(DMSAppString* value);
  void SetAudioBitPerSample(DMSAppString* value);
  // Stores the pointer as given: no trim, and the previous value is neither
  // released nor kept (the caller that set it still owns it). Null clears.
  // The record releases whatever it holds when destroyed.
  void SetImportURI(DMSAppString* value) { importURI_ = value; }

  void SetObjectType(int value) { objectType_ = value; }
  void SetContentType(int value) { contentType_ = value; }
  void SetCodecType(int value) { codecType_ = value; }
  void SetWidth(int value) { width_ = value; }
  void SetHeight(int value) { height_ = value; }
  void SetThumbnailOffset(int value) { thumbnailOffset_ = value; }
  void SetThumbnailSize(int value) { thumbnailSize_ = value; }
  void SetThumbnailHeight(int value) { thumbnailHeight_ = value; }
  void SetThumbnailWidth(int value) { thumbnailWidth_ = value; }
  void SetScreennailOffset(int value) { screennailOffset_ = value; }
  void SetScreennailSize(int value) { screennailSize_ = value; }
  void SetScreennailHeight(int value) { screennailHeight_ = value; }
  void SetScreennailWidth(int value) { screennailWidth_ = value; }
  void SetAudioProfile(int value) { audioProfile_ = value; }
  void SetAudioChannelsNumber(int value) { audioChannelsNumber_ = value; }
  void SetAlbumArtIncludeFlag(bool value) { albumArtIncludeFlag_ = value; }
  void SetAlbumArtHeight(unsigned int value) { albumArtHeight_ = value; }
  void SetAlbumArtWidht(unsigned int value) { albumArtWidht_ = value; }  // spelling kept
  void SetVideoProfile(int value) { videoProfile_ = value; }
  void SetVideoLevel(float value) { videoLevel_ = value; }
  void SetVideoFrameRate(int value) { videoFrameRate_ = value; }
  void SetVideoBitrate(float value) { videoBitrate_ = value; }

 private:
  static void replaceText(DMSAppString*& field, DMSAppString* value);
  static void dropText(DMSAppString*& field);
  static DMSAppString* copyText(const DMSAppString* source);

  int objectType_;
  int contentType_;
  int codecType_;
  DMSAppString* contentID_;
  DMSAppString* contentParentID_;
  DMSAppString* childCount_;
  DMSAppString* importURI_;
  DMSAppString* dlnaPN_;
  DMSAppString* mimeTypeString_;
  DMSAppString* title_;
  DMSAppString* creator_;
  DMSAppString* author_;
  DMSAppString* album_;
  DMSAppString* date_;
  DMSAppString* description_;
  DMSAppString* duration_;
  DMSAppString* genre_;
  DMSAppString* resolution_;
  int width_;
  int height_;
  DMSAppString* filePath_;
  DMSAppString* fileName_;
  DMSAppString* fileExtension_;
  DMSAppString* size_;
  DMSAppString* uri_;
  DMSAppString* thumbUri_;
  int thumbnailOffset_;
  int thumbnailSize_;
  int thumbnailHeight_;
  int thumbnailWidth_;
  DMSAppString* screenUri_;
  int screennailOffset_;
  int screennailSize_;
  int screennailHeight_;
  int screennailWidth_;
  int audioProfile_;
  DMSAppString* artist_;
  DMSAppString* trackNumber_;
  DMSAppString* audioBitrate_;
  int audioChannelsNumber_;
  DMSAppString* audioSampleFrequency_;
  DMSAppString* audioBitPerSample_;
  bool albumArtIncludeFlag_;
  unsigned int albumArtHeight_;
  unsigned int albumArtWidht_;
  int videoProfile_;
  float videoLevel_;
  int videoFrameRate_;
  float videoBitrate_;
  CDSHelper* profileTable_;
};

#endif  // DMS_CONTENT_CONTENTS_ENUMERATOR_ARGUMENT_H
