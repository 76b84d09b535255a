// UPnPCDSBrowse end to end inside the library: Browse actions delivered
// through the stack callback, answered from a real SQLite database through
// the content engine, with the replies compared whole.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "app_cds.h"
#include "browse_search_argument.h"
#include "cds_helper.h"
#include "cds_impl_manager.h"
#include "cds_test_support.h"
#include "content_test_support.h"
#include "log_capture.h"
#include "soap_generator.h"
#include "upnp_cds_browse.h"

namespace {

using cds_test::Args;
using cds_test::faultBody;
using cds_test::responseBody;

const std::string& kHead = cds_test::kDidlHead;
const std::string& kTail = cds_test::kDidlTail;
const std::string kImageFlags = "DLNA.ORG_FLAGS=00D00000000000000000000000000000";
const std::string kStreamFlags = "DLNA.ORG_FLAGS=01500000000000000000000000000000";

std::string prop(const std::string& tag, const std::string& value) {
  return "&lt;" + tag + " &gt;" + value + "&lt;/" + tag + "&gt;\r\n";
}

std::string container(const std::string& id, const std::string& parent, const std::string& name,
                      const std::string& upnpClass, bool star = true) {
  return "&lt;container id=\"" + id + "\" parentID=\"" + parent + "\" restricted=\"0\" " +
         (star ? "searchable=\"1\"" : "") + "&gt;\r\n" + prop("dc:title", name) +
         prop("upnp:class", upnpClass) + "&lt;/container&gt;\r\n";
}

std::string browseReply(const std::string& didl, int returned, int total) {
  return responseBody("Browse", {{"Result", kHead + didl + kTail},
                                 {"NumberReturned", std::to_string(returned)},
                                 {"TotalMatches", std::to_string(total)},
                                 {"UpdateID", "1"}});
}

Args browseArgs(const std::string& objectID, const std::string& flag, const std::string& filter,
                const std::string& start = "0", const std::string& count = "0") {
  return {{"ObjectID", objectID},   {"BrowseFlag", flag},      {"Filter", filter},
          {"StartingIndex", start}, {"RequestedCount", count}, {"SortCriteria", ""}};
}

std::string images(int count, int firstID = 1) {
  std::string sql = "begin;";
  for (int id = firstID; id < firstID + count; ++id) {
    content_test::ImageRow row;
    row.id = id;
    row.title = "Photo " + std::to_string(id);
    row.uri = "/nuvmedia/" + std::to_string(id) + ".jpg";
    char sortIndex[16];
    snprintf(sortIndex, sizeof sortIndex, "%06d", 900000 - id);  // cache order: by ID
    row.sortIndex = sortIndex;
    sql += content_test::insertImageSql(row);
  }
  return sql + "commit;";
}

std::string tracks(int count) {
  std::string sql = "begin;";
  for (int id = 1; id <= count; ++id) {
    content_test::AudioRow row;
    row.id = id;
    row.title = "Song " + std::to_string(id);
    sql += content_test::insertAudioSql(row);
  }
  return sql + "commit;";
}

// What the content engine answered Browse, seen on the way to the registry.
struct Batch {
  int records;
};

std::mutex gSpyMutex;
std::vector<Batch> gBatches;
std::function<void(int)> gBeforeBatch;  // called with the batch number, on the engine thread

void spy(int requestID, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result, int value,
         DMSAppString* text, DMSCDSList* list) {
  if (type == NUVCDSWL_RES_CONTENTS) {
    size_t number;
    {
      std::lock_guard<std::mutex> lock(gSpyMutex);
      gBatches.push_back({list != nullptr ? recordListCount(list) : -1});
      number = gBatches.size();
    }
    if (gBeforeBatch) gBeforeBatch(static_cast<int>(number));
  }
  UPnPCDSImplManager::NotifyCommandResponse(requestID, type, result, value, text, list);
}

class BrowseEngineTest : public content_test::EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    FakeStack::instance().setStateVariable(cds_test::kCds, "SortCapabilities", "dc:title,dc:date");
    DMSAppSetHTTPStreamingPort(8200);
    DMSAppSetDMSConnectionID(3);
    std::lock_guard<std::mutex> lock(gSpyMutex);
    gBatches.clear();
    gBeforeBatch = nullptr;
  }

  void TearDown() override {
    NUVCETerminateWrapper();  // no answer arrives while the service goes
    UPnPAppCDS::DestroyInstance();
    UPnPCDSImplManager::DestroyInstance();
    SOAPAppGenerator::DestroyInstance();
    CDSHelper::DestroyInstance();
    gBeforeBatch = nullptr;
    EngineTest::TearDown();
  }

  void startWith(const std::string& sql) {
    if (!sql.empty()) seed(sql);
    start();
    UPnPCDSImplManager::GetInstance();
    NUVCERegisterResponseCallback(&spy);
  }

  // Delivers a Browse and waits (generously) for its one reply.
  std::string browse(const Args& args) {
    const int actionID = ++lastActionID_;
    DMSAppCDSActionCallback(kConnectionID, actionID,
                            FakeStack::makeAction("Browse", cds_test::kClientIP, args));
    return cds_test::awaitOneBody(actionID);
  }

  static std::string result(const std::string& body) {
    const size_t from = body.find("<Result>");
    const size_t to = body.find("</Result>");
    if (from == std::string::npos || to == std::string::npos) return "(no Result)";
    return body.substr(from + 8, to - from - 8);
  }

  static std::string number(const std::string& body, const std::string& name) {
    const size_t from = body.find("<" + name + ">");
    const size_t to = body.find("</" + name + ">");
    if (from == std::string::npos || to == std::string::npos) return "(none)";
    return body.substr(from + name.size() + 2, to - from - name.size() - 2);
  }

  static size_t occurrences(const std::string& text, const std::string& what) {
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
      ++count;
    return count;
  }

  static std::vector<int> batches() {
    std::lock_guard<std::mutex> lock(gSpyMutex);
    std::vector<int> sizes;
    for (const Batch& b : gBatches) sizes.push_back(b.records);
    return sizes;
  }

  static constexpr int kConnectionID = 9;
  int lastActionID_ = 500;
};

const std::string kPhotoStar =
    "&lt;item id=\"1$1\" parentID=\"1\" restricted=\"0\" dlna:dlnaManaged=\"00000004\"&gt;\r\n" +
    prop("dc:title", "Photo") + prop("dc:date", "2024-01-01") +
    "&lt;res size=\"123456\"     resolution=\"640x480\"  protocolInfo=\"http-get:*:image/jpeg:"
    "DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" +
    kImageFlags +
    "\" &gt;http://192.168.1.10:8200/nuvmedia/1.jpg&lt;/res&gt;\r\n"
    "&lt;res size=\"2000\" resolution=\"160x120\" protocolInfo=\"http-get:*:image/jpeg:"
    "DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;DLNA.ORG_CI=1;" +
    kImageFlags +
    "\" &gt;http://192.168.1.10:8200/nuvthumb/1.jpg&lt;/res&gt;\r\n"
    "&lt;res size=\"4000\" resolution=\"480x640\" protocolInfo=\"http-get:*:image/jpeg:"
    "DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;DLNA.ORG_CI=1;" +
    kImageFlags + "\" &gt;http://192.168.1.10:8200/nuvscreen/1.jpg&lt;/res&gt;\r\n" +
    prop("upnp:class", "object.item.imageItem.photo") + "&lt;/item&gt;\r\n";

}  // namespace

// ---- Exact replies ----

TEST_F(BrowseEngineTest, RootMetadata) {
  startWith("");
  EXPECT_EQ(browse(browseArgs("0", "BrowseMetadata", "*")),
            browseReply("&lt;container id=\"0\" parentID=\"-1\" restricted=\"0\" "
                        "searchable=\"1\"&gt;\r\n&lt;upnp:searchClass includeDerived=\"1\"&gt;"
                        "object&lt;/upnp:searchClass&gt;\r\n" +
                            prop("dc:title", "Root") + prop("upnp:class", "object.container") +
                            "&lt;/container&gt;\r\n",
                        1, 1));
}

TEST_F(BrowseEngineTest, RootListingWithListFilter) {
  startWith("");
  EXPECT_EQ(browse(browseArgs("0", "BrowseDirectChildren", "dc:title,upnp:class")),
            browseReply(container("1", "0", "Image", "object.container.pictureContainer", false) +
                            container("2", "0", "Audio", "object.container.musicContainer", false) +
                            container("3", "0", "Video", "object.container.videoContainer", false),
                        3, 3));
}

TEST_F(BrowseEngineTest, ContainerMetadataOfTheImages) {
  startWith(images(4));
  EXPECT_EQ(browse(browseArgs("1", "BrowseMetadata", "*")),
            browseReply(container("1", "0", "Image", "object.container.pictureContainer"), 1, 1));
}

TEST_F(BrowseEngineTest, ImageWithThumbnailAndScreennailUnderStarAndEmptyFilter) {
  startWith(content_test::insertImageSql(content_test::ImageRow()));
  EXPECT_EQ(browse(browseArgs("1$1", "BrowseMetadata", "*")), browseReply(kPhotoStar, 1, 1));
  // An empty Filter is read as "*".
  EXPECT_EQ(browse(browseArgs("1$1", "BrowseMetadata", "")), browseReply(kPhotoStar, 1, 1));
  EXPECT_EQ(browse(browseArgs("1", "BrowseDirectChildren", "*")), browseReply(kPhotoStar, 1, 1));
}

TEST_F(BrowseEngineTest, ImageWithAListFilter) {
  startWith(content_test::insertImageSql(content_test::ImageRow()));
  EXPECT_EQ(browse(browseArgs("1$1", "BrowseMetadata", "res@resolution")),
            browseReply("&lt;item id=\"1$1\" parentID=\"1\" restricted=\"0\" &gt;\r\n" +
                            prop("dc:title", "Photo") +
                            "&lt;res     resolution=\"640x480\"  protocolInfo=\"http-get:*:image/"
                            "jpeg:DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;" +
                            kImageFlags +
                            "\" &gt;http://192.168.1.10:8200/nuvmedia/1.jpg&lt;/res&gt;\r\n"
                            "&lt;res resolution=\"120x160\" protocolInfo=\"http-get:*:image/jpeg:"
                            "DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;DLNA.ORG_CI=1;" +
                            kImageFlags +
                            "\" &gt;http://192.168.1.10:8200/nuvthumb/1.jpg&lt;/res&gt;\r\n"
                            "&lt;res resolution=\"480x640\" protocolInfo=\"http-get:*:image/jpeg:"
                            "DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;DLNA.ORG_CI=1;" +
                            kImageFlags +
                            "\" &gt;http://192.168.1.10:8200/nuvscreen/1.jpg&lt;/res&gt;\r\n" +
                            prop("upnp:class", "object.item.imageItem.photo") + "&lt;/item&gt;\r\n",
                        1, 1));
}

TEST_F(BrowseEngineTest, Mp3UnderStar) {
  startWith(content_test::insertAudioSql(content_test::AudioRow()));
  EXPECT_EQ(
      browse(browseArgs("2$2", "BrowseMetadata", "*")),
      browseReply(
          "&lt;item id=\"2$2\" parentID=\"2\" restricted=\"0\" dlna:dlnaManaged=\"00000004\"&gt;"
          "\r\n" +
              prop("dc:title", "Song") + prop("upnp:artist", "Artist") +
              prop("upnp:album", "Album") + prop("dc:date", "2024-02-02") +
              "&lt;res size=\"5000\"  bitrate=\"128000\"   duration=\"0:03:00\"   protocolInfo="
              "\"http-get:*:audio/mpeg:DLNA.ORG_PN=MP3;DLNA.ORG_OP=01;" +
              kStreamFlags + "\" &gt;http://192.168.1.10:8200/nuvmedia/2.mp3&lt;/res&gt;\r\n" +
              prop("upnp:class", "object.item.audioItem.musicTrack") + "&lt;/item&gt;\r\n",
          1, 1));
}

TEST_F(BrowseEngineTest, VideoUnderStar) {
  startWith(content_test::insertVideoSql(content_test::VideoRow()));
  EXPECT_EQ(
      browse(browseArgs("3$3", "BrowseMetadata", "*")),
      browseReply(
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
              kImageFlags + "\" &gt;http://192.168.1.10:8200/nuvthumbvideo/3.jpg&lt;/res&gt;\r\n" +
              prop("upnp:class", "object.item.videoItem.movie") + "&lt;/item&gt;\r\n",
          1, 1));
}

TEST_F(BrowseEngineTest, TitlesOf300CharactersAndWithAmpersand) {
  content_test::ImageRow longTitle;
  longTitle.title = std::string(300, 'x');
  content_test::ImageRow ampersand;
  ampersand.id = 2;
  ampersand.title = "Tom & Jerry";
  ampersand.sortIndex = "0000";
  startWith(content_test::insertImageSql(longTitle) + content_test::insertImageSql(ampersand));
  const std::string body = browse(browseArgs("1", "BrowseDirectChildren", "dc:title"));
  EXPECT_EQ(result(body),
            kHead + "&lt;item id=\"1$1\" parentID=\"1\" restricted=\"0\" &gt;\r\n" +
                prop("dc:title", std::string(256, 'x')) +
                prop("upnp:class", "object.item.imageItem.photo") + "&lt;/item&gt;\r\n" +
                "&lt;item id=\"1$2\" parentID=\"1\" restricted=\"0\" &gt;\r\n" +
                prop("dc:title", "Tom &amp;amp; Jerry") +
                prop("upnp:class", "object.item.imageItem.photo") + "&lt;/item&gt;\r\n" + kTail);
}

// ---- Counting ----

TEST_F(BrowseEngineTest, TwoHundredFiftyContentsComeInThreeBatches) {
  startWith(images(250));
  const std::string body = browse(browseArgs("1", "BrowseDirectChildren", "dc:title", "0", "0"));
  EXPECT_EQ(number(body, "NumberReturned"), "250");
  EXPECT_EQ(number(body, "TotalMatches"), "250");
  EXPECT_EQ(occurrences(result(body), "&lt;item "), 250u);
  EXPECT_EQ(batches(), (std::vector<int>{100, 100, 50}));
}

TEST_F(BrowseEngineTest, RequestedCountAbove100IsServedAs100) {
  startWith(images(150));
  const std::string body =
      browse(browseArgs("1", "BrowseDirectChildren", "dc:title", "20", "4294967295"));
  EXPECT_EQ(number(body, "NumberReturned"), "100");
  EXPECT_EQ(number(body, "TotalMatches"), "150");
  const std::string didl = result(body);
  EXPECT_NE(didl.find("id=\"1$21\""), std::string::npos);
  EXPECT_NE(didl.find("id=\"1$120\""), std::string::npos);
  EXPECT_EQ(didl.find("id=\"1$121\""), std::string::npos);
}

TEST_F(BrowseEngineTest, StartingIndexTwoOverThreeChildContainers) {
  startWith(images(10));
  for (const char* name : {"A", "B", "C"}) {
    DMSAppString parent("1");
    DMSAppString title(name);
    DMSAppString upnpClass("object.container");
    delete NUVCECreateContainer(0, &parent, &title, &upnpClass);
  }
  const std::string body = browse(browseArgs("1", "BrowseDirectChildren", "dc:title", "2", "0"));
  const std::string didl = result(body);
  // One container (the third), then contents from index 1: 2 minus 1 returned.
  EXPECT_EQ(occurrences(didl, "&lt;container "), 1u);
  EXPECT_NE(didl.find("&lt;container id=\"6\" parentID=\"1\""), std::string::npos);
  EXPECT_EQ(didl.find("id=\"1$1\""), std::string::npos);
  for (int id = 2; id <= 10; ++id)
    EXPECT_NE(didl.find("id=\"1$" + std::to_string(id) + "\""), std::string::npos) << id;
  EXPECT_EQ(number(body, "NumberReturned"), "10");
  EXPECT_EQ(number(body, "TotalMatches"), "13");
}

TEST_F(BrowseEngineTest, StoppingAmongChildContainersLeavesTotalMatchesShort) {
  startWith("");
  const std::string body = browse(browseArgs("0", "BrowseDirectChildren", "", "0", "1"));
  EXPECT_EQ(occurrences(result(body), "&lt;container "), 1u);
  EXPECT_EQ(number(body, "NumberReturned"), "1");
  EXPECT_EQ(number(body, "TotalMatches"), "2");
}

TEST_F(BrowseEngineTest, StartingIndexBeyondTheEndReturnsNothing) {
  startWith(images(5));
  EXPECT_EQ(browse(browseArgs("1", "BrowseDirectChildren", "*", "1000", "10")),
            browseReply("", 0, 5));
}

TEST_F(BrowseEngineTest, LowerCaseBrowseFlagIsAccepted) {
  startWith(images(3));
  const std::string body = browse(browseArgs("1", "browsedirectchildren", "dc:title"));
  EXPECT_EQ(number(body, "NumberReturned"), "3");
  EXPECT_EQ(number(browse(browseArgs("0", "browsemetadata", "dc:title")), "NumberReturned"), "1");
}

TEST_F(BrowseEngineTest, LowerCaseBrowseMetadataWithStartingIndexIsASuccessWithoutArguments) {
  startWith("");
  LogCapture log;
  EXPECT_EQ(browse(browseArgs("0", "browsemetadata", "*", "3", "0")), responseBody("Browse", {}));
  EXPECT_TRUE(
      log.has("[UPnPCDSBrowse::GetItems] Invalid args!!!, StartIdx must not be 0 for "
              "BrowseMetadata",
              2));
}

TEST_F(BrowseEngineTest, UnknownBrowseFlagIs501) {
  startWith("");
  LogCapture log;
  EXPECT_EQ(browse(browseArgs("0", "BrowseEverything", "*")), faultBody(501, "Action Failed"));
  EXPECT_TRUE(log.has("[UPnPCDSBrowse::GetItems] Invalid BrowseFlag!!!", 2));
}

// ---- Bad input ----

TEST_F(BrowseEngineTest, ObjectsThatDoNotExistAre701) {
  startWith(images(3));
  const std::string noSuchObject = faultBody(701, "No such object");
  const std::string longID(5000, '7');
  for (const std::string& id : {std::string("99"), std::string("$"), std::string("$$"),
                                std::string("abc"), std::string("1$"), std::string("1$999"),
                                std::string("1$abc"), std::string("9$1"), longID, "1$" + longID}) {
    SCOPED_TRACE(id.substr(0, 20));
    EXPECT_EQ(browse(browseArgs(id, "BrowseMetadata", "*")), noSuchObject);
  }
  for (const std::string& id :
       {std::string("99"), std::string("$"), std::string("$$"), std::string("abc"), longID}) {
    SCOPED_TRACE(id.substr(0, 20));
    EXPECT_EQ(browse(browseArgs(id, "BrowseDirectChildren", "*")), noSuchObject);
  }
}

TEST_F(BrowseEngineTest, DirectChildrenOfAnItemKeepOnlyThatItem) {
  startWith(images(6));
  const std::string body = browse(browseArgs("1$5", "BrowseDirectChildren", "dc:title"));
  EXPECT_EQ(occurrences(result(body), "&lt;item "), 1u);
  EXPECT_NE(result(body).find("id=\"1$5\""), std::string::npos);
  // An item ID that is also a container ID names that container.
  EXPECT_EQ(browse(browseArgs("1$2", "BrowseDirectChildren", "dc:title")), browseReply("", 0, 0));
  EXPECT_EQ(browse(browseArgs("1$9", "BrowseDirectChildren", "dc:title", "6")),
            faultBody(701, "No such object"));
}

TEST_F(BrowseEngineTest, UnusualFiltersAreAnswered) {
  startWith(content_test::insertImageSql(content_test::ImageRow()));
  const std::string minimal = browseReply(
      "&lt;item id=\"1$1\" parentID=\"1\" restricted=\"0\" &gt;\r\n" + prop("dc:title", "Photo") +
          prop("upnp:class", "object.item.imageItem.photo") + "&lt;/item&gt;\r\n",
      1, 1);
  EXPECT_EQ(browse(browseArgs("1$1", "BrowseMetadata", ",,,,,")), minimal);
  EXPECT_EQ(browse(browseArgs("1$1", "BrowseMetadata", std::string(20000, 'q'))), minimal);
  EXPECT_EQ(browse(browseArgs("1$1", "BrowseMetadata", "*,dc:title,bogus")),
            browseReply(kPhotoStar, 1, 1));
}

TEST_F(BrowseEngineTest, DatabaseErrorMidBrowseIsAFault) {
  startWith(tracks(150));
  gBeforeBatch = [](int batch) {
    if (batch == 1)
      MultiMediaDbConnector::GetInstance()->ExecSqlStatmentNoValueReturn("drop table AudioTable;");
  };
  LogCapture log;
  EXPECT_EQ(browse(browseArgs("2", "BrowseDirectChildren", "*")), faultBody(501, "Action Failed"));
  EXPECT_TRUE(log.has("[UPnPCDSBrowse] pContentList is NULL!!!", 2));
  EXPECT_EQ(batches(), (std::vector<int>{100, -1}));
}

TEST_F(BrowseEngineTest, ObjectsDestroyedDuringABrowseEndItWithWhatIsLeft) {
  startWith(tracks(150));
  // The last 30 go after the count, before the second page is read.
  gBeforeBatch = [](int batch) {
    if (batch == 1)
      MultiMediaDbConnector::GetInstance()->ExecSqlStatmentNoValueReturn(
          "delete from AudioTable where cast(id as integer) > 120; delete from ObjectTable where "
          "cast(id as integer) > 120;");
  };
  const std::string body = browse(browseArgs("2", "BrowseDirectChildren", "dc:title", "0", "0"));
  EXPECT_EQ(number(body, "NumberReturned"), "120");
  EXPECT_EQ(number(body, "TotalMatches"), "120");
  EXPECT_EQ(occurrences(result(body), "&lt;item "), 120u);
}

TEST_F(BrowseEngineTest, AWholePageDestroyedBeforeItIsReadEndsTheListing) {
  startWith(tracks(103));
  gBeforeBatch = [](int batch) {
    if (batch == 1)
      MultiMediaDbConnector::GetInstance()->ExecSqlStatmentNoValueReturn(
          "delete from AudioTable where cast(id as integer) > 100; delete from ObjectTable where "
          "cast(id as integer) > 100;");
  };
  LogCapture log;
  const std::string body = browse(browseArgs("2", "BrowseDirectChildren", "dc:title", "0", "0"));
  EXPECT_EQ(number(body, "NumberReturned"), "100");
  EXPECT_EQ(number(body, "TotalMatches"), "100");
  EXPECT_EQ(occurrences(result(body), "&lt;item "), 100u);
  EXPECT_TRUE(log.has("[UPnPCDSBrowse] pContentList is NULL!!!", 2));
  EXPECT_EQ(batches(), (std::vector<int>{100, -1}));
}

TEST_F(BrowseEngineTest, UnreadableCountIsAFault) {
  startWith(tracks(5));
  MultiMediaDbConnector::GetInstance()->ExecSqlStatmentNoValueReturn("drop table AudioTable;");
  LogCapture log;
  EXPECT_EQ(browse(browseArgs("2", "BrowseDirectChildren", "*")), faultBody(501, "Action Failed"));
  EXPECT_TRUE(log.has("CM : There is no item!!!", 2));
  EXPECT_EQ(browse(browseArgs("2$1", "BrowseMetadata", "*")), faultBody(701, "No such object"));
  EXPECT_TRUE(log.has("[CM] DMS CDS Database Error!!!", 2));
}

TEST_F(BrowseEngineTest, ItemMetadataIsReadByItsIdNotBatchByBatch) {
  startWith(images(230));
  const std::string body = browse(browseArgs("1$217", "BrowseMetadata", "dc:title"));
  EXPECT_EQ(number(body, "NumberReturned"), "1");
  EXPECT_NE(result(body).find("Photo 217"), std::string::npos);
  EXPECT_EQ(batches(), (std::vector<int>{1}));
}

TEST_F(BrowseEngineTest, ItemMetadataOfAnIdTheContainerDoesNotListIs701) {
  startWith(images(30));
  LogCapture log;
  EXPECT_EQ(browse(browseArgs("1$999", "BrowseMetadata", "*")), faultBody(701, "No such object"));
  EXPECT_TRUE(log.has("[UPnPAppCDS] No such Object!!!", 2));
  EXPECT_EQ(browse(browseArgs("1$\"x\"", "BrowseMetadata", "*")), faultBody(701, "No such object"));
}

// ---- Schema ----

namespace {

// The Result text as a SOAP client reads it: entities of the first level
// decoded once.
std::string unescapeOnce(const std::string& text) {
  static const std::pair<const char*, char> kEntities[] = {
      {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}, {"&amp;", '&'}};
  std::string out;
  for (size_t i = 0; i < text.size();) {
    bool replaced = false;
    for (const auto& entity : kEntities) {
      const size_t length = strlen(entity.first);
      if (text.compare(i, length, entity.first) == 0) {
        out += entity.second;
        i += length;
        replaced = true;
        break;
      }
    }
    if (!replaced) out += text[i++];
  }
  return out;
}

// xmllint's verdict on `didl` against the DIDL-Lite schema of the system's
// GUPnP-AV package (no network: the catalog maps the imports to local files).
int validate(const std::string& didl, std::string* output) {
  const std::string file = content_test::scratchPath("result.xml");
  content_test::writeFile(file, didl);
  const std::string command = "XML_CATALOG_FILES='" DMS_SHARED_DIR
                              "/tools/upnp-av-schemas.catalog.xml' xmllint --nonet "
                              "--noout --schema /usr/share/gupnp-av/didl-lite-v2.xsd '" +
                              file + "' 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return -1;
  char buffer[4096];
  size_t got;
  while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) output->append(buffer, got);
  return pclose(pipe);
}

}  // namespace

TEST_F(BrowseEngineTest, EveryResultValidatesAgainstTheDidlLiteSchema) {
  content_test::ImageRow odd;
  odd.id = 4;
  odd.title = "Tom & Jerry <\"quoted\"> " + std::string(300, 'z');
  odd.sortIndex = "0000";
  startWith(content_test::insertImageSql(content_test::ImageRow()) +
            content_test::insertImageSql(odd) +
            content_test::insertAudioSql(content_test::AudioRow()) +
            content_test::insertVideoSql(content_test::VideoRow()));
  FakeStack::instance().interfaces = {{"eth0", "192.168.1.10"}, {"wlan0", "10.0.0.7"}};
  // The root's search class stands before dc:title, where the UPnP schema
  // does not expect it (kept as written); the root is checked without it.
  const Args requests[] = {browseArgs("0", "BrowseMetadata", "dc:title"),
                           browseArgs("0", "BrowseDirectChildren", "*"),
                           browseArgs("1", "BrowseMetadata", "*"),
                           browseArgs("1", "BrowseDirectChildren", "*"),
                           browseArgs("2", "BrowseDirectChildren", "*"),
                           browseArgs("3", "BrowseDirectChildren", "*"),
                           browseArgs("1$4", "BrowseMetadata", "ALLIP"),
                           browseArgs("2$2", "BrowseMetadata", "res@size"),
                           browseArgs("3$3", "BrowseMetadata", "dc:date"),
                           browseArgs("1", "BrowseDirectChildren", "")};
  for (const Args& request : requests) {
    SCOPED_TRACE(request[0].second + " " + request[1].second + " " + request[2].second);
    const std::string body = browse(request);
    std::string didl = unescapeOnce(result(body));
    ASSERT_EQ(didl.compare(0, 10, "<DIDL-Lite"), 0) << body;
    // dlna:dlnaManaged belongs to the DLNA extension of DIDL-Lite, which the
    // UPnP schema alone does not allow.
    const std::string managed = " dlna:dlnaManaged=\"00000004\"";
    for (size_t at = didl.find(managed); at != std::string::npos; at = didl.find(managed))
      didl.erase(at, managed.size());
    std::string output;
    EXPECT_EQ(validate(didl, &output), 0) << output << didl;
  }
}

// ---- The engine object alone ----

namespace {

class RecordingResponder : public UPnPAppCDSCommandResponseInterface {
 public:
  int NotifyCommandResponse(int resultCode, DMSAppActionInfo*, DMSCDSList* out,
                            unsigned int) override {
    codes.push_back(resultCode);
    arguments.push_back(out != nullptr ? out->Size() : -1);
    dms_cds::deleteArgumentList(out);
    return 0;
  }
  std::vector<int> codes;
  std::vector<int> arguments;
};

}  // namespace

TEST_F(BrowseEngineTest, GetItemsWithoutArgumentIs1) {
  startWith("");
  RecordingResponder responder;
  UPnPCDSBrowse browse(cds_test::makeRecord("Browse", {}), &responder);
  LogCapture log;
  EXPECT_EQ(browse.GetItems(nullptr, nullptr, nullptr), 1);
  EXPECT_TRUE(log.has("[UPnPCDSBrowse] Invalid args!!! GetItems", 2));
  EXPECT_EQ(responder.codes, std::vector<int>{1});
}

TEST_F(BrowseEngineTest, BrowseMetadataWithStartIndexThreeAnswersWithoutArguments) {
  startWith("");
  RecordingResponder responder;
  UPnPCDSBrowse browse(cds_test::makeRecord("Browse", {}), &responder);
  auto* argument = new BrowseSearchArgument();
  argument->SetQueryString(new DMSAppString("BrowseMetadata"));
  argument->SetContainerID(new DMSAppString("0"));
  argument->SetParentContainerID(new DMSAppString("-1"));
  argument->SetFilter(new DMSAppString("*"));
  argument->SetStartIndex(3);
  EXPECT_EQ(browse.GetItems(argument, nullptr, nullptr), 0);
  EXPECT_EQ(responder.codes, std::vector<int>{0});
  EXPECT_EQ(responder.arguments, std::vector<int>{0});
}

TEST_F(BrowseEngineTest, AnswersOfOtherTypesAreIgnored) {
  startWith("");
  RecordingResponder responder;
  UPnPCDSBrowse browse(cds_test::makeRecord("Browse", {}), &responder);
  EXPECT_EQ(browse.NotifyCommandResponse(1, NUVCDSWL_RES_CONTENT, NUVCDSWL_RES_SUCCESS, 0, nullptr,
                                         nullptr),
            1);
  LogCapture log;
  EXPECT_EQ(browse.NotifyCommandResponse(1, NUVCDSWL_RES_CONTENTS, NUVCDSWL_RES_SUCCESS, 0, nullptr,
                                         newRecordList(1, 100)),
            1);
  EXPECT_TRUE(log.has("[CM] Invalid invoker, ResponseCallback", 2));
  EXPECT_TRUE(responder.codes.empty());
}
