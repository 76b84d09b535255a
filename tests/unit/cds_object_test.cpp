// UPnPCDSObject inside the library: CreateObject and DestroyObject delivered
// through the stack callback, served by the real content engine on a SQLite
// database, with the replies compared whole.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "app_cds.h"
#include "cds_helper.h"
#include "cds_impl_manager.h"
#include "cds_test_support.h"
#include "content_test_support.h"
#include "create_object_elements.h"
#include "dms_media_registration.h"
#include "dms_server.h"
#include "log_capture.h"
#include "server_state.h"
#include "soap_generator.h"
#include "temporary_contents_manager.h"
#include "upnp_cds_object.h"
#include "xml_escape.h"

namespace {

// The path setters keep what they replace (the owner releases it): the
// shared folder goes with the stored paths, and the database path the
// fixtures set once comes back.
void forgetSharedFolder() {
  dms_server::releaseStoredPaths();
  DMSAppSetDBPathMA(content_test::dbPath().c_str());
}

using cds_test::Args;
using cds_test::faultBody;
using cds_test::responseBody;

const std::string& kHead = cds_test::kDidlHead;
const std::string& kTail = cds_test::kDidlTail;
const std::string kNs =
    "xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\" "
    "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
    "xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\" "
    "xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0/\"";

// The Elements argument as a control point writes it, XML-escaped for SOAP.
std::string escaped(const std::string& xml) { return dms::EscapeXmlText(xml.c_str()); }

std::string item(const std::string& title, const std::string& upnpClass,
                 const std::string& protocolInfo,
                 const std::string& attributes = "restricted=\"0\"") {
  return "<DIDL-Lite " + kNs + "><item id=\"\" parentID=\"1\" " + attributes + "><dc:title>" +
         title + "</dc:title><upnp:class>" + upnpClass + "</upnp:class><res protocolInfo=\"" +
         protocolInfo + "\"/></item></DIDL-Lite>";
}

const std::string kPhotoInfo = "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01";

std::vector<std::string> gRemovedThumbnails;
std::mutex gRemovedMutex;

int recordThumbnailRemoval(const char* path) {
  std::lock_guard<std::mutex> lock(gRemovedMutex);
  gRemovedThumbnails.push_back(path);
  return 0;
}

class CdsObjectTest : public content_test::EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    DMSAppSetHTTPStreamingPort(8200);
    DMSAppSetDMSConnectionID(3);
    DMSAppSetDMSSharedFilePath(uploads().c_str());
    start();
    UPnPCDSImplManager::GetInstance();  // takes the engine's response slot
    {
      std::lock_guard<std::mutex> lock(gRemovedMutex);
      gRemovedThumbnails.clear();
    }
  }

  void TearDown() override {
    NUVCETerminateWrapper();
    DMSSetThumbnailRemover(nullptr);
    UPnPAppCDS::DestroyInstance();
    UPnPCDSImplManager::DestroyInstance();
    SOAPAppGenerator::DestroyInstance();
    CDSHelper::DestroyInstance();
    forgetSharedFolder();
    EngineTest::TearDown();
  }

  // Delivers an action and waits (generously) for its one reply.
  std::string run(const std::string& action, const Args& args) {
    const int actionID = ++lastActionID_;
    DMSAppCDSActionCallback(9, actionID, FakeStack::makeAction(action, cds_test::kClientIP, args));
    return cds_test::awaitOneBody(actionID);
  }

  std::string create(const std::string& container, const std::string& xml) {
    return run("CreateObject", {{"ContainerID", container}, {"Elements", escaped(xml)}});
  }

  static std::string count(const std::string& sql) {
    return content_test::shell(content_test::dbPath(), sql);
  }

  static std::vector<std::string> updates() {
    std::vector<std::string> out;
    for (const FakeCall& c : FakeStack::instance().calls())
      if (c.name == "NUVDMSUpdateStateVariableValue") out.push_back(c.args[2] + "=" + c.args[3]);
    return out;
  }

  int lastActionID_ = 700;
};

const std::string kBadMetadata = faultBody(712, "Bad metadata");

TEST_F(CdsObjectTest, PhotoItemResultIsAnsweredWhole) {
  const std::string body =
      create("1", item("IMG_0001.JPG", "object.item.imageItem.photo",
                       "*:*:image/jpeg:DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;DLNA.ORG_FLAGS=00D0"));
  const std::string result =
      kHead +
      "&lt;item id=\"1$1\" parentID=\"1\" restricted=\"0\" &gt;\r\n"
      "&lt;dc:title&gt;IMG_0001.JPG&lt;/dc:title&gt;\r\n"
      "&lt;upnp:class&gt;object.item.imageItem.photo&lt;/upnp:class&gt; \r\n"
      "&lt;res protocolInfo=\"http:*:image/jpeg:DLNA.ORG_PN=JPEG_LRG\" "
      "importUri=\"http://192.168.1.10:8200/upload/IMG_0001.jpg\"&gt;&lt;/res&gt; \r\n"
      "&lt;/item&gt;\r\n" +
      kTail;
  EXPECT_EQ(body, responseBody("CreateObject", {{"ObjectID", "1$1"}, {"Result", result}}));
  // The reserved rows wait for the file, which is not written yet.
  EXPECT_EQ("1|1|" + uploads() + "/IMG_0001.jpg\n",
            count("select id, class, FullPath from ObjectTable;"));
  EXPECT_EQ("image/jpeg|JPEG_LRG|0\n",
            count("select MimeType, DLNAProfile, size from ImageTable;"));
  EXPECT_FALSE(content_test::fileExists(uploads() + "/IMG_0001.jpg"));
  // Clients hear of the new object in the image container.
  const auto events = updates();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].rfind("ContainerUpdateIDs=1,", 0), 0u);
  EXPECT_EQ(events[1].rfind("SystemUpdateID=", 0), 0u);
}

TEST_F(CdsObjectTest, ContainerResultIsAnsweredWholeWithQuotedValues) {
  const std::string body = create(
      "0",
      "<DIDL-Lite " + kNs +
          "><container id=\"\" parentID=\"0\" restricted=\"0\"><dc:title>Holidays</dc:title>"
          "<upnp:class>object.container.album.photoAlbum</upnp:class></container></DIDL-Lite>");
  const size_t from = body.find("<ObjectID>") + 10;
  const std::string id = body.substr(from, body.find("</ObjectID>") - from);
  ASSERT_FALSE(id.empty());
  const std::string result =
      kHead + "&lt;container id=\"" + id +
      "\" parentID=\"0\" restricted=\"0\" childCount=\"0\"&gt;\r\n"
      "&lt;dc:title&gt;\"Holidays\"&lt;/dc:title&gt;\r\n"
      "&lt;upnp:class&gt;\"object.container.album.photoAlbum\"&lt;/upnp:class&gt; \r\n"
      "&lt;/container&gt;\r\n" +
      kTail;
  EXPECT_EQ(body, responseBody("CreateObject", {{"ObjectID", id}, {"Result", result}}));
}

TEST_F(CdsObjectTest, CreatedContainersAreBounded) {
  const std::string album = "<DIDL-Lite " + kNs +
                            "><container restricted=\"0\"><dc:title>A</dc:title>"
                            "<upnp:class>object.container</upnp:class></container></DIDL-Lite>";
  for (int i = 0; i < 256; ++i) {
    ASSERT_NE(create("0", album).find("<ObjectID>"), std::string::npos) << i;
  }
  EXPECT_EQ(create("0", album), faultBody(720, "Cannot process the request"));
}

TEST_F(CdsObjectTest, AnyContainerMeansTheRootAndSongsAndVideosGetTheirKind) {
  const std::string song =
      create("DLNA.ORG_AnyContainer",
             item("Track", "object.item.audioItem.musicTrack", "http-get:*:audio/mpeg:*"));
  EXPECT_NE(song.find("<ObjectID>0$1</ObjectID>"), std::string::npos) << song;
  EXPECT_NE(song.find("importUri=\"http://192.168.1.10:8200/upload/Track.mp3\""),
            std::string::npos);
  const std::string video =
      create("3", item("clip", "object.item.videoItem", "http-get:*:video/mp4:*"));
  EXPECT_NE(video.find("<ObjectID>3$2</ObjectID>"), std::string::npos) << video;
  EXPECT_EQ("1|2|0\n2|3|3\n", count("select id, class, parentID from ObjectTable order by id;"));
  EXPECT_EQ("1\n", count("select count(*) from AudioTable;"));
  EXPECT_EQ("1\n", count("select count(*) from VideoTable;"));
}

TEST_F(CdsObjectTest, TakenNamesAreNotReused) {
  content_test::writeFile(uploads() + "/Beach.jpg", "already here");
  create("1", item("Beach", "object.item.imageItem", kPhotoInfo));
  const std::string second = create("1", item("Beach", "object.item.imageItem", kPhotoInfo));
  EXPECT_NE(second.find("/upload/Beach_2.jpg\""), std::string::npos) << second;
  EXPECT_EQ(content_test::readFile(uploads() + "/Beach.jpg"), "already here");
}

TEST_F(CdsObjectTest, TitlesBecomeSafeFileNames) {
  const std::string body =
      create("1", item("../../etc/pass wd &amp; more", "object.item.imageItem", kPhotoInfo));
  EXPECT_NE(body.find("/upload/etc_pass_wd___more.jpg\""), std::string::npos) << body;
  // The title itself comes back escaped for DIDL-Lite and again for SOAP.
  EXPECT_NE(body.find("&lt;dc:title&gt;../../etc/pass wd &amp;amp; more&lt;/dc:title&gt;"),
            std::string::npos)
      << body;
}

TEST_F(CdsObjectTest, DlnaManagedTwoAndThreeAreRefusedFourIsAccepted) {
  for (const char* value : {"2", "3", "00000002"}) {
    EXPECT_EQ(create("1", item("a", "object.item.imageItem", kPhotoInfo,
                               std::string("restricted=\"0\" dlna:dlnaManaged=\"") + value + "\"")),
              kBadMetadata)
        << value;
  }
  EXPECT_EQ("0\n", count("select count(*) from ObjectTable;"));
  for (const char* value : {"4", "00000004", "1", "0"}) {
    EXPECT_NE(create("1", item("a", "object.item.imageItem", kPhotoInfo,
                               std::string("restricted=\"0\" dlna:dlnaManaged=\"") + value + "\""))
                  .find("<ObjectID>"),
              std::string::npos)
        << value;
  }
}

TEST_F(CdsObjectTest, RestrictedMustBeZeroOrOne) {
  LogCapture log;
  EXPECT_EQ(create("1", item("a", "object.item.imageItem", kPhotoInfo, "restricted=\"2\"")),
            kBadMetadata);
  EXPECT_EQ(create("1", item("a", "object.item.imageItem", kPhotoInfo, "restricted=\"\"")),
            kBadMetadata);
  EXPECT_EQ(create("1", item("a", "object.item.imageItem", kPhotoInfo, "searchable=\"0\"")),
            kBadMetadata);
  EXPECT_EQ(log.count("[UPnPCDSObject] Access Restriction tag is either not valid or not present"),
            3u);
  EXPECT_NE(create("1", item("a", "object.item.imageItem", kPhotoInfo, "Restricted=\"1\""))
                .find("<ObjectID>"),
            std::string::npos);
}

TEST_F(CdsObjectTest, WildcardProtocolKeepsTextUpToTheProfile) {
  std::string kept, mime;
  ASSERT_TRUE(dms_cds::KeepProtocolInfo(
      "*:*:image/jpeg:DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;DLNA.ORG_FLAGS=00D0", &kept, &mime));
  EXPECT_EQ(kept, "http:*:image/jpeg:DLNA.ORG_PN=JPEG_LRG");
  EXPECT_EQ(mime, "image/jpeg");
  ASSERT_TRUE(dms_cds::KeepProtocolInfo("http-get:*:audio/mpeg:*", &kept, &mime));
  EXPECT_EQ(kept, "http-get:*:audio/mpeg:*");
  EXPECT_FALSE(dms_cds::KeepProtocolInfo("", &kept, &mime));
  EXPECT_FALSE(dms_cds::KeepProtocolInfo("http-get:*:image/jpeg", &kept, &mime));
}

TEST_F(CdsObjectTest, EveryRefusalIsBadMetadataWithItsLogLine) {
  struct Case {
    std::string elements;
    std::string line;
  } cases[] = {
      {"not xml at all <", "[UPnPCDSObject] XML Parsing Failed - CreateObject"},
      {"<DIDL-Lite " + kNs + "></DIDL-Lite>", "[UPnPCDSObject] Invalid Argument - CreateObject"},
      {"<DIDL-Lite><item restricted=\"0\"><dc:title>a</dc:title></item></DIDL-Lite>",
       "[UPnPCDSObject] mpUPnPClass is null"},
      {"<DIDL-Lite><item restricted=\"0\"><upnp:class>object.item.imageItem</upnp:class>"
       "</item></DIDL-Lite>",
       "[UPnPCDSObject] No res element for Create item ParseElements Fix after CTT "
       "__ParseElementsArgument"},
      {item("a", "object.item.imageItem", ""),
       "[UPnPCDSObject] protocolInfo of the res element is not valid"},
      {item("a", "object.item.textItem", "http-get:*:text/plain:*"),
       "[UPnPCDSObject] Invalid UPnPClass Argument CreateItem()"},
      {item("a", "object.item.imageItem", "http-get:*:application/octet-stream:*"),
       "[UPnPCDSObject] No upload of MIME type \"application/octet-stream\" CreateItem()"},
      {item("a", "object.item.imageItem", "http-get:*:image/png:*"),
       "[UPnPCDSObject] No upload of MIME type \"image/png\" CreateItem()"},
  };
  for (const Case& c : cases) {
    LogCapture log;
    EXPECT_EQ(create("1", c.elements), kBadMetadata) << c.elements;
    EXPECT_TRUE(log.has(c.line)) << c.line;
  }
  EXPECT_EQ("0\n", count("select count(*) from ObjectTable;"));
}

TEST_F(CdsObjectTest, HostileElementsCreateNothing) {
  std::string deep;
  for (int i = 0; i < 10000; ++i) deep += "<a>";
  for (int i = 0; i < 10000; ++i) deep += "</a>";
  const std::string huge =
      item(std::string(10 * 1024 * 1024, 'x'), "object.item.imageItem", kPhotoInfo);
  const std::string entities =
      "<!DOCTYPE d [<!ENTITY a \"aaaaaaaaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">]>" +
      item("&b;", "object.item.imageItem", kPhotoInfo);
  for (const std::string& elements : {deep, huge, entities}) {
    EXPECT_EQ(create("1", elements), kBadMetadata) << elements.substr(0, 80);
  }
  EXPECT_EQ("0\n", count("select count(*) from ObjectTable;"));
}

TEST_F(CdsObjectTest, MissingOrRestrictedParentIsRefused) {
  EXPECT_EQ(create("99", item("a", "object.item.imageItem", kPhotoInfo)),
            faultBody(710, "No such container"));
  EXPECT_EQ("0\n", count("select count(*) from ObjectTable;"));
}

TEST_F(CdsObjectTest, NoSharedFolderMeansNoUpload) {
  forgetSharedFolder();
  EXPECT_EQ(create("1", item("a", "object.item.imageItem", kPhotoInfo)),
            faultBody(720, "Cannot process the request"));
}

TEST_F(CdsObjectTest, DestroyRemovesRowsFileAndThumbnailsAndAnnounces) {
  DMSSetThumbnailRemover(&recordThumbnailRemoval);
  create("1", item("kept", "object.item.imageItem", kPhotoInfo));
  const std::string path = uploads() + "/kept.jpg";
  content_test::writeFile(path, "uploaded bytes");
  // The engine's thread may still be leaving the fake after the reply:
  // only the announcements made from here on are looked at.
  const size_t earlier = updates().size();
  EXPECT_EQ(run("DestroyObject", {{"ObjectID", "1$1"}}), responseBody("DestroyObject", {}));
  EXPECT_EQ("0|0\n", count("select (select count(*) from ObjectTable), "
                           "(select count(*) from ImageTable);"));
  EXPECT_FALSE(content_test::fileExists(path));
  {
    std::lock_guard<std::mutex> lock(gRemovedMutex);
    EXPECT_EQ(gRemovedThumbnails, std::vector<std::string>{path});
  }
  const auto all = updates();
  const std::vector<std::string> events(all.begin() + static_cast<long>(earlier), all.end());
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].rfind("ContainerUpdateIDs=1,", 0), 0u);
  EXPECT_EQ(events[1].rfind("SystemUpdateID=", 0), 0u);
  // The waiting object went with it: nothing destroys it a second time.
  EXPECT_EQ(TemporaryContentsManager::GetInstance()->GetTotalMatches(nullptr), 0);
  DMSAppString image("1");
  EXPECT_EQ(TemporaryContentsManager::GetInstance()->GetTotalMatches(&image), 0);
}

TEST_F(CdsObjectTest, ObjectCreatedInTheRootIsDestroyedWithItsMediaRow) {
  create("DLNA.ORG_AnyContainer", item("x", "object.item.videoItem", "http-get:*:video/mp4:*"));
  EXPECT_EQ(run("DestroyObject", {{"ObjectID", "0$1"}}), responseBody("DestroyObject", {}));
  EXPECT_EQ("0|0\n", count("select (select count(*) from ObjectTable), "
                           "(select count(*) from VideoTable);"));
}

TEST_F(CdsObjectTest, DestroyRefusals) {
  const std::string noSuchObject = faultBody(701, "No such object");
  EXPECT_EQ(run("DestroyObject", {{"ObjectID", "0"}}), noSuchObject);
  EXPECT_EQ(run("DestroyObject", {{"ObjectID", "1"}}), noSuchObject);
  EXPECT_EQ(run("DestroyObject", {{"ObjectID", "1$"}}), noSuchObject);
  EXPECT_EQ(run("DestroyObject", {{"ObjectID", "1$999"}}), noSuchObject);
  EXPECT_EQ(run("DestroyObject", {{"ObjectID", "42$1"}}), noSuchObject);
}

TEST_F(CdsObjectTest, CreatedObjectWithoutUploadIsGoneAfterItsLifetime) {
  TemporaryContentsManager::SetAutoDestroyDelayForTest(50);
  create("2", item("never", "object.item.audioItem", "http-get:*:audio/mpeg:*"));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (count("select count(*) from ObjectTable;") != "0\n" &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ("0|0\n", count("select (select count(*) from ObjectTable), "
                           "(select count(*) from AudioTable);"));
}

TEST_F(CdsObjectTest, EveryAnnouncedMimeTypeHasAnUploadExtension) {
  // The MIME types of the server's protocolInfo lists and profile tables.
  const char* types[] = {
      "image/jpeg",          "image/gif",  "audio/mpeg",      "audio/mp4",       "audio/3gpp",
      "audio/vnd.dlna.adts", "audio/wav",  "audio/x-ms-wma",  "application/ogg", "video/mp4",
      "video/MP4V-ES",       "video/mpeg", "video/x-msvideo", "video/avi",       "video/x-ms-wmv"};
  for (const char* type : types) {
    DMSAppString protocolInfo(("http-get:*:" + std::string(type) + ":*").c_str());
    const char* extension = UPnPCDSObject::GetFileExtensionFromProtocolInfo(&protocolInfo);
    ASSERT_NE(extension, nullptr) << type;
    EXPECT_EQ(extension[0], '.') << type;
  }
  DMSAppString jpeg("*:*:IMAGE/JPEG:DLNA.ORG_PN=JPEG_SM");
  EXPECT_STREQ(UPnPCDSObject::GetFileExtensionFromProtocolInfo(&jpeg), ".jpg");
  DMSAppString unknown("http-get:*:application/x-unknown:*");
  EXPECT_EQ(UPnPCDSObject::GetFileExtensionFromProtocolInfo(&unknown), nullptr);
}

}  // namespace
