// UPnPCDSUtils: the Filter test, property elements, containers, items with
// their res elements, output arguments and the URL split.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "action_info.h"
#include "browse_search_argument.h"
#include "cds_helper.h"
#include "container_info.h"
#include "contents_enumerator_argument.h"
#include "contents_enumerator_init_info.h"
#include "dms_list.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "fake_stack.h"
#include "log_capture.h"
#include "temporary_contents_manager.h"
#include "upnp_cds_utils.h"

namespace {

DMSAppString* s(const char* value) { return new DMSAppString(value); }

const std::string kImageFlags = "DLNA.ORG_FLAGS=00D00000000000000000000000000000";
const std::string kStreamFlags = "DLNA.ORG_FLAGS=01500000000000000000000000000000";

int requests(const char* filter, const char* property) {
  DMSAppString f(filter);
  DMSAppString p(property);
  return UPnPCDSUtils::__CheckFilter(filter != nullptr ? &f : nullptr, &p);
}

// A photo as the image cache hands it out.
std::unique_ptr<ContentsEnumeratorArgument> photo() {
  auto r = std::make_unique<ContentsEnumeratorArgument>();
  r->SetContentType(1);
  r->SetContentID(s("1"));
  r->SetContentParentID(s("1"));
  r->SetTitle(s("Photo"));
  r->SetDate(s("2024-01-01"));
  r->SetDLNAPN(s("JPEG_LRG"));
  r->SetMimetypeString(s("image/jpeg"));
  r->SetSize(s("123456"));
  r->SetResolution(s("640x480"));
  r->SetFilePath(s("/media/DCIM"));
  r->SetFileName(s("photo.jpg"));
  r->SetUri(s("/nuvmedia/1.jpg"));
  r->SetThumbUri(s("/nuvthumb/1.jpg"));
  r->SetScreenUri(s("/nuvscreen/1.jpg"));
  r->SetThumbnailSize(2000);
  r->SetThumbnailHeight(120);
  r->SetThumbnailWidth(160);
  r->SetScreennailSize(4000);
  r->SetScreennailHeight(480);
  r->SetScreennailWidth(640);
  return r;
}

std::unique_ptr<ContentsEnumeratorArgument> track() {
  auto r = std::make_unique<ContentsEnumeratorArgument>();
  r->SetContentType(2);
  r->SetContentID(s("2"));
  r->SetContentParentID(s("2"));
  r->SetTitle(s("Song"));
  r->SetCreator(s("Writer"));
  r->SetArtist(s("Artist"));
  r->SetAuthor(s("Composer Name"));
  r->SetAlbum(s("Album"));
  r->SetGenre(s("Jazz"));
  r->SetTrackNumber(s("4"));
  r->SetDate(s("2024-02-02"));
  r->SetDLNAPN(s("MP3"));
  r->SetMimetypeString(s("audio/mpeg"));
  r->SetSize(s("5000"));
  r->SetAudioBitrate(s("128000"));
  r->SetDuration(s("0:03:00"));
  r->SetFilePath(s("/media/MUSIC"));
  r->SetFileName(s("song.mp3"));
  r->SetUri(s("/nuvmedia/2.mp3"));
  r->SetThumbUri(s("/nuvthumb/2.jpg"));
  r->SetAlbumArtIncludeFlag(true);
  return r;
}

std::unique_ptr<ContentsEnumeratorArgument> movie() {
  auto r = std::make_unique<ContentsEnumeratorArgument>();
  r->SetContentType(3);
  r->SetContentID(s("3"));
  r->SetContentParentID(s("3"));
  r->SetTitle(s("Movie"));
  r->SetArtist(s("VArtist"));
  r->SetAlbum(s("VAlbum"));
  r->SetDate(s("2024-03-03"));
  r->SetDLNAPN(s("AVC_MP4_BL_CIF15_AAC_520"));
  r->SetMimetypeString(s("video/mp4"));
  r->SetSize(s("9000000"));
  r->SetAudioBitrate(s("96000"));
  r->SetDuration(s("0:00:10"));
  r->SetResolution(s("1280x720"));
  r->SetVideoFrameRate(30);
  r->SetFilePath(s("/media/DCIM"));
  r->SetFileName(s("movie.mp4"));
  r->SetUri(s("/nuvmedia/3.mp4"));
  r->SetThumbUri(s("/nuvthumbvideo/3.jpg"));
  r->SetThumbnailSize(0);
  r->SetThumbnailHeight(90);
  r->SetThumbnailWidth(160);
  return r;
}

std::string prop(const std::string& tag, const std::string& value) {
  return "&lt;" + tag + " &gt;" + value + "&lt;/" + tag + "&gt;\r\n";
}

class DidlWriterTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { DMSAppHelperInitialize(); }
  static void TearDownTestSuite() { DMSAppStopTimerThread(); }

  void SetUp() override {
    FakeStack::instance().reset();
    DMSAppSetHTTPStreamingPort(8200);
    argument_.SetBaseURL(s("http://192.168.1.10:8200"));
    setFilter("*");
  }
  void TearDown() override {
    dms_cds::freePieces(&pieces_);
    TemporaryContentsManager::DestroyInstance();
    CDSHelper::DestroyInstance();
  }

  void setFilter(const char* filter) { argument_.SetFilter(s(filter)); }

  std::string joined() const {
    std::string text;
    for (const stDMSCDSListItem* item = pieces_.ReadFirstItem(); item != nullptr; item = item->next)
      text += static_cast<DMSAppString*>(item->data)->ReadString();
    return text;
  }

  std::string item(ContentsEnumeratorArgument* record) {
    dms_cds::freePieces(&pieces_);
    EXPECT_EQ(UPnPCDSUtils::__GenerateItemProperty(&argument_, record, &pieces_), 0);
    return joined();
  }

  static std::string tag(const char* name, const char* attributes, const char* value,
                         int limit = 256) {
    DMSAppString t(name);
    DMSAppString a(attributes);
    DMSAppString v(value);
    DMSAppString* out = nullptr;
    UPnPCDSUtils::__AddWithXMLTag(&out, 1024, &t, &a, &v, true, limit);
    std::string text = out != nullptr && out->ReadString() != nullptr ? out->ReadString() : "";
    delete out;
    return text;
  }

  BrowseSearchArgument argument_;
  DMSCDSList pieces_;
};

const std::string kManagedPhotoOpen =
    "&lt;item id=\"1$1\" parentID=\"1\" restricted=\"0\" dlna:dlnaManaged=\"00000004\"&gt;\r\n";
const std::string kPlainPhotoOpen = "&lt;item id=\"1$1\" parentID=\"1\" restricted=\"0\" &gt;\r\n";
const std::string kPhotoClass = prop("upnp:class", "object.item.imageItem.photo");
const std::string kItemClose = "&lt;/item&gt;\r\n";

}  // namespace

// ---- The Filter test ----

TEST(CheckFilter, NoFilterAsksForNothing) {
  DMSAppString p("dc:title");
  EXPECT_EQ(UPnPCDSUtils::__CheckFilter(nullptr, &p), 0);
}

TEST(CheckFilter, StarAsksForEverythingButAllIp) {
  EXPECT_EQ(requests("*", "res"), 1);
  EXPECT_EQ(requests("*", "upnp:genre"), 1);
  EXPECT_EQ(requests("*,dc:title", "anything"), 1);
  EXPECT_EQ(requests("*", "ALLIP"), 0);
}

TEST(CheckFilter, AllIpAsksForEverythingIncludingItself) {
  EXPECT_EQ(requests("ALLIP", "ALLIP"), 1);
  EXPECT_EQ(requests("ALLIP", "res"), 1);
}

TEST(CheckFilter, AnyFilterYieldsDcTitle) {
  EXPECT_EQ(requests("", "dc:title"), 1);
  EXPECT_EQ(requests("upnp:artist", "dc:title"), 1);
  EXPECT_EQ(requests("", "upnp:artist"), 0);
}

TEST(CheckFilter, DlnaNamespaceSwitchesToSubstringSearch) {
  EXPECT_EQ(requests("@dlna:dlnaManaged", "@dlna:dlnaManaged"), 1);
  EXPECT_EQ(requests("res@dlna:profileID,upnp:artistX", "upnp:artist"), 1);
  EXPECT_EQ(requests("upnp:artistX", "upnp:artist"), 0);
}

TEST(CheckFilter, ResAtSizeAsksForResAndSizeNotResolution) {
  EXPECT_EQ(requests("res@size", "res"), 1);
  EXPECT_EQ(requests("res@size", "size"), 1);
  EXPECT_EQ(requests("res@size", "resolution"), 0);
  EXPECT_EQ(requests("dc:date,res@resolution", "resolution"), 1);
}

TEST(CheckFilter, PropertyMustEndAtCommaAtOrEnd) {
  EXPECT_EQ(requests("upnp:album", "upnp:album"), 1);
  EXPECT_EQ(requests("upnp:albumArtURI,upnp:genre", "upnp:album"), 0);
  EXPECT_EQ(requests("upnp:albumArtURI,upnp:album", "upnp:album"), 1);
  EXPECT_EQ(requests("upnp:album,upnp:genre", "upnp:album"), 1);
  EXPECT_EQ(requests("upnp:album ", "upnp:album"), 1);  // one trailing blank is skipped
}

TEST(CheckFilter, BlankBeforeCommaEndsAMatch) {
  EXPECT_EQ(requests("dc:creator ,upnp:album", "dc:creator"), 0);
  EXPECT_EQ(requests("dc:creator ,upnp:album", "upnp:album"), 1);
}

TEST(CheckFilter, SortCriteriaAreAlwaysAccepted) {
  BrowseSearchArgument argument;
  EXPECT_EQ(UPnPCDSUtils::__CheckSortCriteria(&argument), 1);
  EXPECT_EQ(UPnPCDSUtils::__CheckSortCriteria(nullptr), 1);
}

// ---- Property elements ----

TEST_F(DidlWriterTest, PropertyIsTrimmedAndEscapedTwice) {
  EXPECT_EQ(tag("dc:title", " ", "  Tom & Jerry <1>  "),
            "&lt;dc:title &gt;Tom &amp;amp; Jerry &amp;lt;1&amp;gt;&lt;/dc:title&gt;\r\n");
}

TEST_F(DidlWriterTest, BlankOrMissingValuesAreRefused) {
  EXPECT_EQ(tag("upnp:genre", " ", "   "), "");
  EXPECT_EQ(tag("upnp:genre", "", ""), "");
  DMSAppString t("dc:title");
  DMSAppString a(" ");
  DMSAppString* out = nullptr;
  EXPECT_EQ(UPnPCDSUtils::__AddWithXMLTag(&out, 64, &t, &a, nullptr, true, 256), 1);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->GetStringLength(), 0u);
  delete out;
}

TEST_F(DidlWriterTest, OneCharacterValueIsKeptEvenABlank) {
  EXPECT_EQ(tag("res", " a=\"1\"", " "), "&lt;res a=\"1\"&gt; &lt;/res&gt;\r\n");
  EXPECT_EQ(tag("dc:title", " ", "x"), prop("dc:title", "x"));
}

TEST_F(DidlWriterTest, ThreeHundredCharacterTitleIsCutTo256) {
  const std::string title(300, 'a');
  EXPECT_EQ(tag("dc:title", " ", title.c_str()), prop("dc:title", std::string(256, 'a')));
}

TEST_F(DidlWriterTest, CutNeverSplitsAnEntity) {
  // 250 letters, then "&" (9 characters once escaped twice) across the limit.
  const std::string title = std::string(250, 'a') + "&bcdefgh";
  EXPECT_EQ(tag("dc:title", " ", title.c_str()), prop("dc:title", std::string(250, 'a')));
  // An entity ending within the last nine characters goes as well (kept so).
  const std::string fits = std::string(247, 'a') + "&bcdefgh";
  EXPECT_EQ(tag("dc:title", " ", fits.c_str()), prop("dc:title", std::string(247, 'a')));
  // Further back it stays whole.
  const std::string earlier = std::string(240, 'a') + "&" + std::string(20, 'b');
  EXPECT_EQ(tag("dc:title", " ", earlier.c_str()),
            prop("dc:title", std::string(240, 'a') + "&amp;amp;" + std::string(7, 'b')));
}

// ---- Containers ----

TEST_F(DidlWriterTest, RootContainerWithStarFilter) {
  ContainerInfo root("0", "-1", "Root", "object.container", new ContentsEnumeratorInitInfo(), "0");
  ContainerPublicInfo info(root);
  ASSERT_EQ(UPnPCDSUtils::__GenerateContainerProperty(&argument_, &info, &pieces_), 0);
  EXPECT_EQ(joined(),
            "&lt;container id=\"0\" parentID=\"-1\" restricted=\"0\" searchable=\"1\"&gt;\r\n"
            "&lt;upnp:searchClass includeDerived=\"1\"&gt;object&lt;/upnp:searchClass&gt;\r\n" +
                prop("dc:title", "Root") + prop("upnp:class", "object.container") +
                "&lt;/container&gt;\r\n");
}

TEST_F(DidlWriterTest, ContainerWithListFilterStillHasTitleAndClass) {
  setFilter("upnp:artist");
  ContainerInfo images("1", "0", "Image", "object.container.pictureContainer",
                       new ContentsEnumeratorInitInfo(), "0");
  ContainerPublicInfo info(images);
  ASSERT_EQ(UPnPCDSUtils::__GenerateContainerProperty(&argument_, &info, &pieces_), 0);
  EXPECT_EQ(joined(), "&lt;container id=\"1\" parentID=\"0\" restricted=\"0\" &gt;\r\n" +
                          prop("dc:title", "Image") +
                          prop("upnp:class", "object.container.pictureContainer") +
                          "&lt;/container&gt;\r\n");
  EXPECT_EQ(UPnPCDSUtils::__GenerateContainerProperty(&argument_, nullptr, &pieces_), 1);
}

// ---- Items ----

TEST_F(DidlWriterTest, ImageWithThumbnailAndScreennailUnderStar) {
  auto record = photo();
  EXPECT_EQ(
      item(record.get()),
      kManagedPhotoOpen + prop("dc:title", "Photo") + prop("dc:date", "2024-01-01") +
          "&lt;res size=\"123456\"     resolution=\"640x480\"  protocolInfo=\"http-get:*:image/"
          "jpeg:DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" +
          kImageFlags +
          "\" &gt;http://192.168.1.10:8200/nuvmedia/1.jpg&lt;/res&gt;\r\n"
          "&lt;res size=\"2000\" resolution=\"160x120\" protocolInfo=\"http-get:*:image/jpeg:"
          "DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;DLNA.ORG_CI=1;" +
          kImageFlags +
          "\" &gt;http://192.168.1.10:8200/nuvthumb/1.jpg&lt;/res&gt;\r\n"
          "&lt;res size=\"4000\" resolution=\"480x640\" protocolInfo=\"http-get:*:image/jpeg:"
          "DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;DLNA.ORG_CI=1;" +
          kImageFlags + "\" &gt;http://192.168.1.10:8200/nuvscreen/1.jpg&lt;/res&gt;\r\n" +
          kPhotoClass + kItemClose);
}

TEST_F(DidlWriterTest, EmptyFilterGivesOpeningTagTitleAndClassOnly) {
  setFilter("");
  auto record = photo();
  EXPECT_EQ(item(record.get()),
            kPlainPhotoOpen + prop("dc:title", "Photo") + kPhotoClass + kItemClose);
}

TEST_F(DidlWriterTest, ListFilterPicksItsProperties) {
  setFilter("upnp:album,res@resolution,upnp:genre");
  auto record = track();
  EXPECT_EQ(item(record.get()),
            "&lt;item id=\"2$2\" parentID=\"2\" restricted=\"0\" &gt;\r\n" +
                prop("dc:title", "Song") + prop("upnp:album", "Album") +
                prop("upnp:genre", "Jazz") +
                // Audio takes no resolution; album art comes first.
                "&lt;res  protocolInfo=\"http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;"
                "DLNA.ORG_CI=1;" +
                kImageFlags +
                "\" &gt;http://192.168.1.10:8200/nuvthumb/2.jpg&lt;/res&gt;\r\n"
                "&lt;res      protocolInfo=\"http-get:*:audio/mpeg:DLNA.ORG_PN=MP3;"
                "DLNA.ORG_OP=01;" +
                kStreamFlags + "\" &gt;http://192.168.1.10:8200/nuvmedia/2.mp3&lt;/res&gt;\r\n" +
                prop("upnp:class", "object.item.audioItem.musicTrack") + kItemClose);
}

TEST_F(DidlWriterTest, Mp3WithAlbumArtUnderStar) {
  auto record = track();
  EXPECT_EQ(item(record.get()),
            "&lt;item id=\"2$2\" parentID=\"2\" restricted=\"0\" dlna:dlnaManaged=\"00000004\"&gt;"
            "\r\n" +
                prop("dc:title", "Song") + prop("dc:creator", "Writer") +
                prop("upnp:artist", "Artist") +
                "&lt;upnp:author role=\"Composer\"&gt;Composer Name&lt;/upnp:author&gt;\r\n" +
                prop("upnp:album", "Album") + prop("upnp:genre", "Jazz") +
                prop("upnp:originalTrackNumber", "4") + prop("dc:date", "2024-02-02") +
                "&lt;res  protocolInfo=\"http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN;"
                "DLNA.ORG_OP=01;DLNA.ORG_CI=1;" +
                kImageFlags +
                "\" &gt;http://192.168.1.10:8200/nuvthumb/2.jpg&lt;/res&gt;\r\n"
                "&lt;res size=\"5000\"  bitrate=\"128000\"   duration=\"0:03:00\"   "
                "protocolInfo=\"http-get:*:audio/mpeg:DLNA.ORG_PN=MP3;DLNA.ORG_OP=01;" +
                kStreamFlags + "\" &gt;http://192.168.1.10:8200/nuvmedia/2.mp3&lt;/res&gt;\r\n" +
                prop("upnp:class", "object.item.audioItem.musicTrack") + kItemClose);
}

TEST_F(DidlWriterTest, VideoUnderStar) {
  auto record = movie();
  EXPECT_EQ(item(record.get()),
            "&lt;item id=\"3$3\" parentID=\"3\" restricted=\"0\" dlna:dlnaManaged=\"00000004\"&gt;"
            "\r\n" +
                prop("dc:title", "Movie") + prop("upnp:artist", "VArtist") +
                prop("upnp:album", "VAlbum") + prop("dc:date", "2024-03-03") +
                "&lt;res size=\"9000000\"  bitrate=\"96000\"   duration=\"0:00:10\"  "
                "resolution=\"1280x720\"  protocolInfo=\"http-get:*:video/mp4:DLNA.ORG_PN="
                "AVC_MP4_BL_CIF15_AAC_520;DLNA.ORG_OP=01;" +
                kStreamFlags +
                "\" &gt;http://192.168.1.10:8200/nuvmedia/3.mp4&lt;/res&gt;\r\n"
                "&lt;res resolution=\"90x160\" protocolInfo=\"http-get:*:image/jpeg:DLNA.ORG_PN="
                "JPEG_TN;DLNA.ORG_OP=01;DLNA.ORG_CI=1;" +
                kImageFlags +
                "\" &gt;http://192.168.1.10:8200/nuvthumbvideo/3.jpg&lt;/res&gt;\r\n" +
                prop("upnp:class", "object.item.videoItem.movie") + kItemClose);
}

TEST_F(DidlWriterTest, TvShareModeDropsTextFieldsAndAddsFrameRate) {
  FakeStack::instance().shareMode = 2;
  auto record = movie();
  const std::string text = item(record.get());
  EXPECT_EQ(text.find("upnp:artist"), std::string::npos);
  EXPECT_EQ(text.find("upnp:album"), std::string::npos);
  EXPECT_NE(text.find("bitrate=\"96000\"  framerate=\"30\"  duration"), std::string::npos);
}

TEST_F(DidlWriterTest, TitleWithAmpersandIsEscapedTwice) {
  auto record = photo();
  record->SetTitle(s("Tom & Jerry"));
  setFilter("");
  EXPECT_EQ(item(record.get()),
            kPlainPhotoOpen + prop("dc:title", "Tom &amp;amp; Jerry") + kPhotoClass + kItemClose);
}

TEST_F(DidlWriterTest, EmptyTitleFallsBackToTheFileName) {
  auto record = photo();
  record->SetTitle(s(""));
  setFilter("");
  EXPECT_EQ(item(record.get()),
            kPlainPhotoOpen + prop("dc:title", "photo.jpg") + kPhotoClass + kItemClose);
}

TEST_F(DidlWriterTest, ZeroDateAndBlankGenreAreLeftOut) {
  auto record = track();
  record->SetDate(s("0:00:00"));
  record->SetGenre(s("   "));
  setFilter("dc:date,upnp:genre");
  EXPECT_EQ(item(record.get()), "&lt;item id=\"2$2\" parentID=\"2\" restricted=\"0\" &gt;\r\n" +
                                    prop("dc:title", "Song") +
                                    prop("upnp:class", "object.item.audioItem.musicTrack") +
                                    kItemClose);
}

TEST_F(DidlWriterTest, ComposerAsksForTheAuthor) {
  setFilter("Composer");
  auto record = track();
  EXPECT_NE(item(record.get()).find("&lt;upnp:author role=\"Composer\"&gt;Composer Name"),
            std::string::npos);
}

TEST_F(DidlWriterTest, JpegSmHasNoScreennail) {
  auto record = photo();
  record->SetDLNAPN(s("JPEG_SM"));
  const std::string text = item(record.get());
  EXPECT_NE(text.find("/nuvthumb/1.jpg"), std::string::npos);
  EXPECT_EQ(text.find("/nuvscreen/1.jpg"), std::string::npos);
}

TEST_F(DidlWriterTest, AllIpWritesOneResSetPerInterface) {
  FakeStack::instance().interfaces = {{"eth0", "192.168.1.10"}, {"wlan0", "10.0.0.7"}};
  setFilter("ALLIP");
  auto record = photo();
  const std::string text = item(record.get());
  for (const char* url :
       {"http://192.168.1.10:8200/nuvmedia/1.jpg", "http://10.0.0.7:8200/nuvmedia/1.jpg",
        "http://10.0.0.7:8200/nuvthumb/1.jpg", "http://10.0.0.7:8200/nuvscreen/1.jpg"})
    EXPECT_NE(text.find(url), std::string::npos) << url;
  size_t count = 0;
  for (size_t at = text.find("&lt;res "); at != std::string::npos;
       at = text.find("&lt;res ", at + 1))
    ++count;
  EXPECT_EQ(count, 6u);
  // The star filter never fetches the interfaces.
  FakeStack::instance().reset();
  setFilter("*");
  item(record.get());
  EXPECT_EQ(FakeStack::instance().count("NUVGetNetworkInterfaceList"), 0u);
}

TEST_F(DidlWriterTest, ContentAwaitingUploadNamesItsImportUriInsteadOfAUrl) {
  auto held = std::make_unique<ContentsEnumeratorArgument>();
  held->SetFilePath(s("/media/DCIM/photo.jpg"));
  DMSAppString id("1");
  ASSERT_EQ(TemporaryContentsManager::GetInstance()->AddContent(&id, held.release()), 1);
  TempContentInfo* entry = nullptr;
  {
    DMSAppString path("/media/DCIM/photo.jpg");
    TemporaryContentsLock lock(TemporaryContentsManager::GetInstance());
    entry = lock.entryOf(&path);
    ASSERT_NE(entry, nullptr);
    entry->importURI.reset(s("http://192.168.1.10:8200/upload/photo.jpg"));
  }
  setFilter("res");
  LogCapture log;
  auto record = photo();
  const std::string text = item(record.get());
  EXPECT_TRUE(
      log.has("Stil present in TempContentsManager -- 1  importURI:"
              "http://192.168.1.10:8200/upload/photo.jpg",
              1));
  EXPECT_NE(text.find("DLNA.ORG_FLAGS=00D00000000000000000000000000000\" importUri = "
                      "\"http://192.168.1.10:8200/upload/photo.jpg\"&gt; &lt;/res&gt;\r\n"),
            std::string::npos);
  EXPECT_EQ(text.find("/nuvmedia/1.jpg"), std::string::npos);
}

TEST_F(DidlWriterTest, NonItemRecordIsRefused) {
  auto record = photo();
  record->SetObjectType(0);
  EXPECT_EQ(UPnPCDSUtils::__GenerateItemProperty(&argument_, record.get(), &pieces_), 1);
  EXPECT_EQ(pieces_.Size(), 0);
  EXPECT_EQ(UPnPCDSUtils::__GenerateItemProperty(&argument_, nullptr, &pieces_), 1);
}

TEST_F(DidlWriterTest, ContainerRecordIsWrittenAsAContainer) {
  auto record = photo();
  record->SetObjectType(0);
  setFilter("");
  ASSERT_EQ(UPnPCDSUtils::GenerateContainerFromRecord(&argument_, record.get(), &pieces_), 0);
  EXPECT_EQ(joined(), "&lt;container id=\"1\" parentID=\"1\" restricted=\"0\" &gt;\r\n" +
                          prop("dc:title", "Photo") + prop("upnp:class", "object.container") +
                          "&lt;/container&gt;\r\n");
}

// ---- Output arguments and URLs ----

TEST_F(DidlWriterTest, OutArgumentsJoinThePiecesInOrder) {
  dms_cds::appendPiece(&pieces_, "a");
  dms_cds::appendPiece(&pieces_, "");
  dms_cds::appendPiece(&pieces_, "bc");
  DMSCDSList* out = nullptr;
  ASSERT_EQ(UPnPCDSUtils::__AddOutArgs(&out, &pieces_, 3, 17, 1), 0);
  ASSERT_NE(out, nullptr);
  std::string names;
  std::string values;
  for (const stDMSCDSListItem* i = out->ReadFirstItem(); i != nullptr; i = i->next) {
    auto* argument = static_cast<AppArgumentList*>(i->data);
    names += std::string(argument->name->ReadString()) + ";";
    values += std::string(argument->value->ReadString()) + ";";
  }
  EXPECT_EQ(names, "Result;NumberReturned;TotalMatches;UpdateID;");
  EXPECT_EQ(values, "abc;3;17;1;");
  dms_cds::deleteArgumentList(out);
}

TEST(UrlInfo, SplitsHostAndPort) {
  DMSAppString host("");
  int port = -1;
  DMSAppString a("http://192.168.1.5:49152/upload/x.jpg");
  ASSERT_EQ(UPnPCDSUtils::__GetUrlInfo(&a, &host, &port), 0);
  EXPECT_STREQ(host.ReadString(), "192.168.1.5");
  EXPECT_EQ(port, 49152);
  DMSAppString b("https://example.org/path");
  UPnPCDSUtils::__GetUrlInfo(&b, &host, &port);
  EXPECT_STREQ(host.ReadString(), "example.org");
  EXPECT_EQ(port, 0);
  DMSAppString c("device:8080");
  UPnPCDSUtils::__GetUrlInfo(&c, &host, &port);
  EXPECT_STREQ(host.ReadString(), "device");
  EXPECT_EQ(port, 8080);
  EXPECT_EQ(UPnPCDSUtils::__GetPortNumber(&a), 49152);
  EXPECT_EQ(UPnPCDSUtils::__GetUrlInfo(nullptr, &host, &port), 1);
}
