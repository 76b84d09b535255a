// MultiMediaDbConnector on bad ground: missing, read-only, corrupt and
// foreign files, older layouts, NULLs, text where numbers belong and very
// long texts. Every case must end in a clean failure (or a sensible value)
// and a log line, never a crash.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sqlite3.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "content_test_support.h"
#include "contents_enumerator_argument.h"
#include "dms_list.h"
#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "log_capture.h"
#include "multimedia_db_connector.h"
#include "record_list.h"

namespace {

using content_test::ContentTest;
using content_test::dbPath;
using content_test::ImageRow;
using content_test::scratchPath;
using content_test::shell;
using content_test::text;

struct ListFree {
  void operator()(DMSCDSList* list) const { freeRecordList(list); }
};
using RecordList = std::unique_ptr<DMSCDSList, ListFree>;
using Text = std::unique_ptr<DMSAppString>;

bool logHasPrefix(const LogCapture& log, const std::string& prefix) {
  for (const auto& line : log.lines()) {
    if (line.text.rfind(prefix, 0) == 0) return true;
  }
  return false;
}

std::unique_ptr<ContentsEnumeratorArgument> newImage(const std::string& path) {
  auto r = std::make_unique<ContentsEnumeratorArgument>();
  r->SetContentType(1);
  r->SetContentParentID(new DMSAppString("1"));
  r->SetFilePath(new DMSAppString(path.c_str()));
  r->SetTitle(new DMSAppString("t"));
  r->SetDLNAPN(new DMSAppString("JPEG_SM"));
  return r;
}

// Every kind of request fails cleanly: no crash, no result.
bool everythingFailsCleanly(MultiMediaDbConnector* db) {
  DMSAppString uri("/nuvmedia/1.jpg");
  DMSAppString id("1");
  DMSAppString* path = nullptr;
  int offset = 0;
  int length = 0;
  int video = 0;
  int substitute = 0;
  char* buffer = nullptr;
  DMSAppMemText reserved(db->ReserveContentID(newImage("/tmp/x.jpg").get()));
  return db->GetImageItems(0, 1) == nullptr && db->GetAudioItems(0, 1) == nullptr &&
         db->GetVideoItems(0, 1) == nullptr && db->GetImageItems2(0, 1) == nullptr &&
         db->GetTotalImageItem() == -1 && db->GetTotalAudioItem() == -1 &&
         db->GetTotalVideoItem() == -1 && Text(db->GetFilePathFromURI(&uri)) == nullptr &&
         Text(db->GetMimeTypeFromURI2(&uri)) == nullptr &&
         Text(db->GetIDOfItem(1, "/x")) == nullptr && !db->GetContent(1, nullptr, &id) &&
         !db->GetThumbnailInfoFromURI(&uri, &path, &offset, length, &video, &substitute, buffer) &&
         reserved == nullptr && db->DestroyContent(1, &id) == 1;
}

class Robustness : public ContentTest {
 protected:
  static void SetUpTestSuite() {
    ContentTest::SetUpTestSuite();
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  }
  MultiMediaDbConnector* db() { return MultiMediaDbConnector::GetInstance(); }
};

// The bodies below run in death-test children, which may point the database
// path elsewhere (the setting keeps what it is given) and end with _exit.
[[noreturn]] void missingDirectoryChild() {
  DMSAppSetDBPathMA("/nonexistent-dms-dir/sub/media.db");
  LogCapture log;
  MultiMediaDbConnector* connector = MultiMediaDbConnector::GetInstance();
  bool ok = connector != nullptr && !connector->IsConnected() &&
            log.has("[ConnectDB] sqlite3_open() failed \n", 2) &&
            logHasPrefix(log, "[MultiMediaDbConnector::ExecSqlStatmentNoValueReturn]") &&
            everythingFailsCleanly(connector) && connector->GetTotalImageItem2() == 0;
  _exit(ok ? 0 : 1);
}

[[noreturn]] void directoryChild(const std::string& dir) {
  DMSAppSetDBPathMA(dir.c_str());
  MultiMediaDbConnector* connector = MultiMediaDbConnector::GetInstance();
  _exit(connector != nullptr && everythingFailsCleanly(connector) ? 0 : 1);
}

[[noreturn]] void readOnlyChild(const std::string& file, const std::string& dir) {
  // Root writes through any mode: become nobody first.
  if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(2);
  DMSAppSetDBPathMA(file.c_str());
  LogCapture log;
  MultiMediaDbConnector* connector = MultiMediaDbConnector::GetInstance();
  DMSAppString id("1");
  DMSAppMemText reserved(connector->ReserveContentID(newImage(dir + "/new.jpg").get()));
  bool ok = connector->IsConnected() && connector->GetTotalImageItem() == 1 &&
            connector->GetTotalImageItem2() == 1 && reserved == nullptr &&
            logHasPrefix(log,
                         "[MultiMediaDBEnumerator] 1 Error while inserting into DB "
                         "ReserveContentID()") &&
            connector->DestroyContent(1, &id) == 1 &&
            logHasPrefix(log,
                         " [MultiMediaDbConnector::DeleteContent] Error in  delete query "
                         "db call !!!");
  _exit(ok ? 0 : 1);
}

TEST_F(Robustness, MissingDirectoryFailsToConnectAndEverythingFails) {
  EXPECT_EXIT(missingDirectoryChild(), ::testing::ExitedWithCode(0), "");
}

TEST_F(Robustness, DirectoryInPlaceOfTheFileFailsCleanly) {
  std::string dir = scratchPath("adirectory.db");
  content_test::removeTree(dir);
  ASSERT_EQ(1, DMSAppCreatDirecotry(dir.c_str()));
  EXPECT_EXIT(directoryChild(dir), ::testing::ExitedWithCode(0), "");
}

TEST_F(Robustness, ReadOnlyDatabaseReadsButRefusesWrites) {
  // Built by the connector, copied, and the copy made read-only for all.
  // (Every step repeats identically in the death-test child.)
  seed(content_test::insertImageSql(ImageRow()));
  std::string dir = scratchPath("readonly");
  content_test::removeTree(dir);
  ASSERT_EQ(1, DMSAppCreatDirecotry(dir.c_str()));
  ASSERT_EQ(0, chmod(dir.c_str(), 0755));
  ASSERT_EQ(0, chmod(content_test::scratchDir().c_str(), 0755));
  std::string file = dir + "/media.db";
  content_test::writeFile(file, content_test::readFile(dbPath()));
  ASSERT_EQ(0, chmod(file.c_str(), 0444));
  EXPECT_EXIT(readOnlyChild(file, dir), ::testing::ExitedWithCode(0), "");
  EXPECT_EQ("1|1\n", shell(file,
                           "select (select count(*) from ObjectTable), (select count(*) "
                           "from ImageTable);"));
}

TEST_F(Robustness, AWriteWaitsForAnotherConnectionsLockInsteadOfFailing) {
  seed(content_test::insertImageSql(ImageRow()));
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  ASSERT_TRUE(db->IsConnected());
  // Another writer (the scanner, say) holds the database for a moment.
  sqlite3* other = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(dbPath().c_str(), &other));
  ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "begin exclusive;", nullptr, nullptr, nullptr));
  std::thread writer([other] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    sqlite3_exec(other, "commit;", nullptr, nullptr, nullptr);
  });
  EXPECT_TRUE(db->ExecSqlStatmentNoValueReturn("update ImageTable set Title = \"waited\";"));
  writer.join();
  sqlite3_close(other);
  EXPECT_EQ("waited\n", shell(dbPath(), "select Title from ImageTable;"));
}

TEST_F(Robustness, ForeignFileConnectsButEveryQueryFailsAndLogs) {
  content_test::writeFile(dbPath(), std::string(4096, 'x') + "this is not a database\n");
  LogCapture log;
  MultiMediaDbConnector* connector = db();
  EXPECT_TRUE(connector->IsConnected());  // SQLite reads the header lazily
  EXPECT_TRUE(logHasPrefix(log,
                           "[MultiMediaDbConnector::selectRows]:\n\tquery : select * from "
                           "ImageTable where Share = 1 ORDER BY SortIndex DESC\n\terr msg : "
                           "file is not a database"));
  EXPECT_TRUE(everythingFailsCleanly(connector));
  EXPECT_EQ(0, connector->GetTotalImageItem2());
}

TEST_F(Robustness, CorruptPagesGiveErrorsNotCrashes) {
  std::string sql;
  for (int i = 1; i <= 300; ++i) {
    ImageRow r;
    r.id = i;
    r.path = "/media/DCIM/" + std::string(200, 'p') + std::to_string(i) + ".jpg";
    r.uri = "/nuvmedia/" + std::to_string(i) + ".jpg";
    r.thumbUri = "/nuvthumb/" + std::to_string(i) + ".jpg";
    r.screenUri = "/nuvscreen/" + std::to_string(i) + ".jpg";
    sql += content_test::insertImageSql(r);
  }
  seed(sql);
  {
    std::string bytes = content_test::readFile(dbPath());
    ASSERT_GT(bytes.size(), 40000u);
    for (size_t i = 8192; i < bytes.size() - 4096; i += 7) bytes[i] = static_cast<char>(i * 31);
    content_test::writeFile(dbPath(), bytes);
  }
  LogCapture log;
  MultiMediaDbConnector* connector = db();
  NUVSetDlnaCertificationState(1);
  DMSAppString uri("/nuvmedia/150.jpg");
  Text path(connector->GetFilePathFromURI(&uri));
  RecordList page(connector->GetImageItems(0, 300));
  EXPECT_EQ(nullptr, page);
  EXPECT_NE(300, connector->GetTotalImageItem());
  EXPECT_TRUE(logHasPrefix(log, "[MultiMediaDbConnector::selectRows]"));

  // A file cut in half as well.
  MultiMediaDbConnector::DestroyInstance();
  std::string bytes = content_test::readFile(dbPath());
  content_test::writeFile(dbPath(), bytes.substr(0, bytes.size() / 2));
  connector = db();
  EXPECT_EQ(nullptr, RecordList(connector->GetImageItems(0, 300)));
  Text again(connector->GetFilePathFromURI(&uri));
}

TEST_F(Robustness, OlderLayoutIsRefusedWhereColumnsDoNotMatch) {
  // An earlier ImageTable without the screennail columns, and an AudioTable
  // without its uri.
  shell(dbPath(),
        "create table ObjectTable (id INTEGER PRIMARY KEY,class INTEGER NOT NULL,date "
        "VARCHAR(64) NOT NULL,parentID VARCHAR(16) NOT NULL,FullPath VARCHAR(600) NOT NULL);"
        "create table ImageTable (id VARCHAR(16) PRIMARY KEY,Title VARCHAR(256),class INTEGER,"
        "date VARCHAR(64),size INTEGER,FullPath VARCHAR(600),MimeType VARCHAR(32),DLNAProfile "
        "VARCHAR(64),Height INTEGER,Width INTEGER,ThumbnailOffset INTEGER,ThumbnailLength "
        "INTEGER,ThumbnailHeight INTEGER,ThumbnailWidth INTEGER,Description VARCHAR(512),uri "
        "VARCHAR(600),Thumbnailuri VARCHAR(600),Share INTEGER,SortIndex VARCHAR(16));"
        "insert into ImageTable values ('1','old',1,'d',10,'/old/a.jpg','image/jpeg','JPEG_SM',1,"
        "2,5,6,7,8,'x','/nuvmedia/1.jpg','/nuvthumb/1.jpg',1,'1');"
        "create table AudioTable (id VARCHAR(16) PRIMARY KEY,Title VARCHAR(256),class INTEGER);"
        "insert into AudioTable values ('2','a',2);");
  LogCapture log;
  MultiMediaDbConnector* connector = db();
  EXPECT_TRUE(log.has("[MultiMediaDbConnector::fillCache] unexpected layout: 19 columns", 2));
  EXPECT_EQ(0, connector->GetTotalImageItem2());
  EXPECT_EQ(1, connector->GetTotalImageItem());
  EXPECT_EQ(1, connector->GetTotalAudioItem());
  NUVSetDlnaCertificationState(1);
  EXPECT_EQ(nullptr, RecordList(connector->GetImageItems(0, 1)));
  EXPECT_TRUE(
      log.has("[MultiMediaDbConnector::readPage] unexpected layout: 19 columns instead of 24", 2));
  EXPECT_EQ(nullptr, RecordList(connector->GetAudioItems(0, 1)));
  EXPECT_EQ(nullptr, RecordList(connector->GetVideoItems(0, 1)));  // no table at all
  // Columns that exist still answer; missing ones fail their query.
  DMSAppString uri("/nuvmedia/1.jpg");
  EXPECT_EQ("/old/a.jpg", text(Text(connector->GetFilePathFromURI(&uri)).get()));
  DMSAppString thumb("/nuvthumb/1.jpg");
  DMSAppString screen("/nuvscreen/1.jpg");
  DMSAppString* path = nullptr;
  int offset = 0, length = 0, video = 0, substitute = 0;
  char* buffer = nullptr;
  ASSERT_TRUE(connector->GetThumbnailInfoFromURI(&thumb, &path, &offset, length, &video,
                                                 &substitute, buffer));
  Text owned(path);
  EXPECT_EQ(5, offset);
  EXPECT_EQ(6, length);
  EXPECT_FALSE(connector->GetThumbnailInfoFromURI(&screen, &path, &offset, length, &video,
                                                  &substitute, buffer));
  DMSAppMemText id(connector->ReserveContentID(newImage("/tmp/y.jpg").get()));
  EXPECT_EQ(nullptr, id);
}

TEST_F(Robustness, NullCellsGiveEmptyFields) {
  seed(
      "insert into ImageTable (id, class, date, size, FullPath, Share) values "
      "('5', 1, '', 0, '/m/n.jpg', 1);"
      "insert into AudioTable (id, class, date, size, FullPath) values ('6', 2, '', 0, 'x');"
      "insert into VideoTable (id, class, date, size, FullPath, Share, Thumbnailuri) values "
      "('7', 3, '', 0, '/m/v.mp4', 1, '/nuvthumbvideo/7');");
  NUVSetDlnaCertificationState(1);
  MultiMediaDbConnector* connector = db();
  RecordList images(connector->GetImageItems(0, 1));
  ASSERT_NE(nullptr, images);
  ContentsEnumeratorArgument* image = recordListAt(images.get(), 0);
  EXPECT_EQ(nullptr, image->GetTitle());
  EXPECT_EQ("application/octet-stream", text(image->GetMimeTypeString()));
  EXPECT_EQ(nullptr, image->GetDLNAPN());
  EXPECT_EQ(nullptr, image->GetUri());
  EXPECT_EQ(0, image->GetWidth());
  EXPECT_EQ("0x0", text(image->GetResolution()));
  EXPECT_EQ(0, image->GetThumbnailOffset());
  RecordList audio(connector->GetAudioItems(0, 1));
  ASSERT_NE(nullptr, audio);
  EXPECT_EQ("0", text(recordListAt(audio.get(), 0)->GetAudioBitrate()));
  RecordList videos(connector->GetVideoItems(0, 1));
  ASSERT_NE(nullptr, videos);
  EXPECT_EQ(0.0f, recordListAt(videos.get(), 0)->GetVideoBitrate());
  // A NULL answer is no answer.
  DMSAppString path("/m/n.jpg");
  EXPECT_EQ(nullptr, Text(connector->GetMimeTypeOfImageItem(&path)));
  DMSAppString thumb("/nuvthumbvideo/7");
  DMSAppString* out = nullptr;
  int offset = 0, length = 0, video = 0, substitute = 0;
  char* buffer = nullptr;
  EXPECT_FALSE(connector->GetThumbnailInfoFromURI(&thumb, &out, &offset, length, &video,
                                                  &substitute, buffer));
}

TEST_F(Robustness, TextInNumberColumnsReadsAsZeroOrClamps) {
  seed(
      "insert into ImageTable values ('8','t',1,'d','-5','/m/a.jpg','image/jpeg','P','12abc',"
      "'wide','99999999999999','-99999999999999','1e3','',"
      "'x','/nuvmedia/8','/nuvthumb/8',' 7','0x10','3.9','-0','/nuvscreen/8',1,'1');"
      "insert into AudioTable values ('9','t','two','d','big','/m/s.mp3','audio/mpeg','MP3',"
      "'x','a','b','c','many','fast','high',0,0,'/nuvmedia/9');");
  NUVSetDlnaCertificationState(1);
  MultiMediaDbConnector* connector = db();
  RecordList images(connector->GetImageItems(0, 1));
  ASSERT_NE(nullptr, images);
  ContentsEnumeratorArgument* r = recordListAt(images.get(), 0);
  EXPECT_EQ("0", text(r->GetSize()));
  EXPECT_EQ(12, r->GetHeight());
  EXPECT_EQ(0, r->GetWidth());
  EXPECT_EQ(INT_MAX, r->GetThumbnailOffset());
  EXPECT_EQ(INT_MIN, r->GetThumbnailSize());
  EXPECT_EQ(1000, r->GetThumbnailHeight());  // SQLite stored the real literal 1e3 as 1000
  EXPECT_EQ(0, r->GetThumbnailWidth());
  EXPECT_EQ(7, r->GetScreennailOffset());
  EXPECT_EQ(0, r->GetScreennailSize());
  EXPECT_EQ(3, r->GetScreennailHeight());
  EXPECT_EQ("0x12", text(r->GetResolution()));
  RecordList audio(connector->GetAudioItems(0, 1));
  ASSERT_NE(nullptr, audio);
  ContentsEnumeratorArgument* a = recordListAt(audio.get(), 0);
  EXPECT_EQ(0, a->GetContentType());
  EXPECT_EQ("0", text(a->GetSize()));
  EXPECT_EQ(0, a->GetAudioChannelsNumber());
  EXPECT_EQ("0", text(a->GetAudioBitrate()));
  // A thumbnail span that is not a number is no span: the stand-in is
  // looked for (and missing here).
  DMSAppString thumb("/nuvscreen/8");
  DMSAppString* path = nullptr;
  int offset = 0, length = 0, video = 0, substitute = 0;
  char* buffer = nullptr;
  EXPECT_FALSE(connector->GetThumbnailInfoFromURI(&thumb, &path, &offset, length, &video,
                                                  &substitute, buffer));
}

TEST_F(Robustness, VeryLongTextsAreReadWhole) {
  ImageRow r;
  r.title = std::string(1 << 20, 't');
  r.path = "/" + std::string(100000, 'd') + "/name.jpg";
  seed(content_test::insertImageSql(r));
  MultiMediaDbConnector* connector = db();
  RecordList page(connector->GetImageItems2(0, 1));
  ASSERT_NE(nullptr, page);
  EXPECT_EQ(static_cast<unsigned int>(1 << 20),
            recordListAt(page.get(), 0)->GetTitle()->GetStringLength());
  EXPECT_EQ("name.jpg", text(recordListAt(page.get(), 0)->GetFileName()));
  EXPECT_EQ(100001u, recordListAt(page.get(), 0)->GetFilePath()->GetStringLength());
}

}  // namespace

TEST_F(Robustness, ARemovedDatabaseIsFollowedByANewFileWithTheSameTables) {
  seed(content_test::insertImageSql(ImageRow()));
  MultiMediaDbConnector* connector = db();
  ASSERT_EQ(1, connector->GetTotalImageItem());
  EXPECT_FALSE(connector->FollowDatabaseFile()) << "the same file: nothing to follow";
  ASSERT_EQ(0, std::remove(dbPath().c_str()));
  // Until followed, the server reads the file it has open.
  EXPECT_EQ(1, connector->GetTotalImageItem());
  LogCapture log;
  EXPECT_TRUE(connector->FollowDatabaseFile());
  EXPECT_TRUE(logHasPrefix(log, "[ConnectDB] " + dbPath() +
                                    " is no longer the database the server opened (it was "
                                    "removed): reconnecting"));
  EXPECT_TRUE(connector->IsConnected());
  EXPECT_EQ(0, connector->GetTotalImageItem());
  EXPECT_EQ(0, connector->GetTotalImageItem2()) << "the cache follows the file";
  EXPECT_EQ("1\n", shell(dbPath(), "select count(*) from sqlite_master where name='ImageTable';"));
  EXPECT_FALSE(connector->FollowDatabaseFile());
}

TEST_F(Robustness, AReplacedDatabaseIsFollowedAndAnUnusableOneSetAside) {
  seed(content_test::insertImageSql(ImageRow()));
  MultiMediaDbConnector* connector = db();
  ASSERT_EQ(1, connector->GetTotalImageItem());
  // Another sound database put in its place: used as it is.
  std::string other = scratchPath("other.db");
  std::remove(other.c_str());
  content_test::writeFile(other, content_test::readFile(dbPath()));
  ImageRow second;
  second.id = 2;
  second.uri = "/nuvmedia/2.jpg";
  sqlite3* raw = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(other.c_str(), &raw));
  int rc =
      sqlite3_exec(raw, content_test::insertImageSql(second).c_str(), nullptr, nullptr, nullptr);
  sqlite3_close(raw);
  ASSERT_EQ(SQLITE_OK, rc);
  ASSERT_EQ(0, std::rename(other.c_str(), dbPath().c_str()));
  EXPECT_TRUE(connector->FollowDatabaseFile());
  EXPECT_EQ(2, connector->GetTotalImageItem());
  // Garbage in its place: set aside, and a new one made.
  content_test::writeFile(other, std::string(4096, 'x'));
  ASSERT_EQ(0, std::rename(other.c_str(), dbPath().c_str()));
  LogCapture log;
  EXPECT_TRUE(connector->FollowDatabaseFile());
  EXPECT_TRUE(logHasPrefix(log, "[DMSPrepareMediaDatabase] " + dbPath() + " is not usable"));
  EXPECT_EQ(0, connector->GetTotalImageItem());
}
