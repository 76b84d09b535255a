// MultiMediaDbConnector: connection, pages, counts and the caches.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "content_test_support.h"
#include "contents_enumerator_argument.h"
#include "dms_list.h"
#include "log_capture.h"
#include "multimedia_db_connector.h"
#include "record_list.h"
#include "sql_text.h"

namespace {

using content_test::AudioRow;
using content_test::ContentTest;
using content_test::dbPath;
using content_test::ImageRow;
using content_test::shell;
using content_test::text;
using content_test::VideoRow;

struct ListFree {
  void operator()(DMSCDSList* list) const { freeRecordList(list); }
};
using RecordList = std::unique_ptr<DMSCDSList, ListFree>;

std::vector<std::string> ids(DMSCDSList* list) {
  std::vector<std::string> out;
  for (int i = 0; i < recordListCount(list); ++i)
    out.push_back(text(recordListAt(list, i)->GetContentID()));
  return out;
}

// Three shared images (sort keys 0002, 0003, 0001) and one that is not shared.
std::string threeImages() {
  std::string sql;
  const char* sortKeys[] = {"0002", "0003", "0001"};
  for (int i = 0; i < 3; ++i) {
    ImageRow r;
    r.id = 10 + i;
    r.path = "/media/DCIM/img" + std::to_string(i) + ".jpg";
    r.uri = "/nuvmedia/" + std::to_string(r.id) + ".jpg";
    r.sortIndex = sortKeys[i];
    sql += content_test::insertImageSql(r);
  }
  ImageRow hidden;
  hidden.id = 20;
  hidden.path = "/media/DCIM/hidden.jpg";
  hidden.share = 0;
  hidden.sortIndex = "9999";
  return sql + content_test::insertImageSql(hidden);
}

class Connector : public ContentTest {};

TEST_F(Connector, ConnectsOnceAndRefusesASecondConnect) {
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  ASSERT_NE(nullptr, db);
  EXPECT_TRUE(db->IsConnected());
  EXPECT_EQ(db, MultiMediaDbConnector::GetInstance());
  EXPECT_FALSE(db->ConnectDB());  // a handle is held
  db->DisconnectDB();
  EXPECT_FALSE(db->IsConnected());
  EXPECT_EQ(nullptr, db->GetImageItems(0, 0));
  EXPECT_EQ(-1, db->GetTotalAudioItem());
}

TEST_F(Connector, ExecLogsQueryAndSqliteMessageOnError) {
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  LogCapture log;
  EXPECT_FALSE(db->ExecSqlStatmentNoValueReturn("delete from NoSuchTable"));
  EXPECT_TRUE(
      log.has("[MultiMediaDbConnector::ExecSqlStatmentNoValueReturn]:\n\tquery : delete "
              "from NoSuchTable\n\terr msg : no such table: NoSuchTable",
              2));
  EXPECT_FALSE(db->ExecSqlStatmentNoValueReturn(nullptr));
  EXPECT_TRUE(db->ExecSqlStatmentNoValueReturn("delete from ImageTable"));
}

TEST_F(Connector, ImagePagesAreSharedOnlyNewestFirst) {
  seed(threeImages());
  NUVSetDlnaCertificationState(1);  // straight from the database
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  RecordList page(db->GetImageItems(0, 3));
  ASSERT_NE(nullptr, page);
  EXPECT_EQ(1, recordListKind(page.get()));
  EXPECT_EQ(3, recordListPageSize(page.get()));
  EXPECT_EQ((std::vector<std::string>{"11", "10", "12"}), ids(page.get()));
  RecordList middle(db->GetImageItems(1, 1));
  ASSERT_NE(nullptr, middle);
  EXPECT_EQ((std::vector<std::string>{"10"}), ids(middle.get()));
}

TEST_F(Connector, ListedItemByIdIsTheRecordAListingWouldOffer) {
  seed(threeImages());
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  DMSAppString listed("11");
  RecordList one(db->GetListedItem(sql_text::kImage, &listed));
  ASSERT_NE(nullptr, one);
  EXPECT_EQ(1, recordListKind(one.get()));
  EXPECT_EQ((std::vector<std::string>{"11"}), ids(one.get()));
  // Not shared, absent, or of another kind: a list without a record.
  for (const char* id : {"20", "99", "\"11"}) {
    DMSAppString missing(id);
    RecordList none(db->GetListedItem(sql_text::kImage, &missing));
    ASSERT_NE(nullptr, none) << id;
    EXPECT_EQ(0, recordListCount(none.get())) << id;
  }
  RecordList audio(db->GetListedItem(sql_text::kAudio, &listed));
  ASSERT_NE(nullptr, audio);
  EXPECT_EQ(0, recordListCount(audio.get()));
  EXPECT_EQ(nullptr, db->GetListedItem(99, &listed));
}

TEST_F(Connector, PageRunningPastTheEndOfTheTableIsNull) {
  seed(threeImages());
  NUVSetDlnaCertificationState(1);
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  EXPECT_EQ(nullptr, db->GetImageItems(1, 3));
  EXPECT_EQ(nullptr, db->GetImageItems(0, 4));
  EXPECT_EQ(nullptr, db->GetImageItems(3, 1));
  RecordList last(db->GetImageItems(2, 1));
  ASSERT_NE(nullptr, last);
  EXPECT_EQ((std::vector<std::string>{"12"}), ids(last.get()));
  RecordList empty(db->GetImageItems(3, 0));
  ASSERT_NE(nullptr, empty);
  EXPECT_EQ(0, recordListCount(empty.get()));
}

TEST_F(Connector, NegativeStartIsNullWithoutTouchingTheDatabase) {
  seed(content_test::insertAudioSql(AudioRow()));
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  shell(dbPath(), "drop table AudioTable;");  // any query of it now fails loudly
  LogCapture log;
  EXPECT_EQ(nullptr, db->GetAudioItems(-1, 1));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(nullptr, db->GetAudioItems(0, 1));
  EXPECT_FALSE(log.lines().empty());
}

TEST_F(Connector, ImageRowBecomesAFullRecord) {
  ImageRow r;
  r.title = "  Beach  ";
  r.path = "/media/DCIM/100/beach.jpg";
  r.size = "4000000000";  // beyond 32 bits stays exact
  seed(content_test::insertImageSql(r));
  NUVSetDlnaCertificationState(1);
  RecordList page(MultiMediaDbConnector::GetInstance()->GetImageItems(0, 1));
  ASSERT_NE(nullptr, page);
  ContentsEnumeratorArgument* rec = recordListAt(page.get(), 0);
  EXPECT_EQ(50, rec->GetObjectType());
  EXPECT_EQ("1", text(rec->GetContentID()));
  EXPECT_EQ("Beach", text(rec->GetTitle()));
  EXPECT_EQ(1, rec->GetContentType());
  EXPECT_EQ("2024-01-01", text(rec->GetDate()));
  EXPECT_EQ("4000000000", text(rec->GetSize()));
  EXPECT_EQ("/media/DCIM/100", text(rec->GetFilePath()));
  EXPECT_EQ("beach.jpg", text(rec->GetFileName()));
  EXPECT_EQ("image/jpeg", text(rec->GetMimeTypeString()));
  EXPECT_EQ("JPEG_LRG", text(rec->GetDLNAPN()));
  EXPECT_EQ(480, rec->GetHeight());
  EXPECT_EQ(640, rec->GetWidth());
  EXPECT_EQ("640x480", text(rec->GetResolution()));
  EXPECT_EQ(100, rec->GetThumbnailOffset());
  EXPECT_EQ(2000, rec->GetThumbnailSize());
  EXPECT_EQ(120, rec->GetThumbnailHeight());
  EXPECT_EQ(160, rec->GetThumbnailWidth());
  EXPECT_EQ("a description", text(rec->GetDescription()));
  EXPECT_EQ("/nuvmedia/1.jpg", text(rec->GetUri()));
  EXPECT_EQ("/nuvthumb/1.jpg", text(rec->GetThumbUri()));
  EXPECT_EQ(3000, rec->GetScreennailOffset());
  EXPECT_EQ(4000, rec->GetScreennailSize());
  EXPECT_EQ(480, rec->GetScreennailHeight());
  EXPECT_EQ(640, rec->GetScreennailWidth());
  EXPECT_EQ("/nuvscreen/1.jpg", text(rec->GetScreenUri()));
  EXPECT_EQ(nullptr, rec->GetFileExtension());
}

TEST_F(Connector, AudioRowBecomesAFullRecord) {
  seed(content_test::insertAudioSql(AudioRow()));
  RecordList page(MultiMediaDbConnector::GetInstance()->GetAudioItems(0, 1));
  ASSERT_NE(nullptr, page);
  EXPECT_EQ(2, recordListKind(page.get()));
  ContentsEnumeratorArgument* rec = recordListAt(page.get(), 0);
  EXPECT_EQ("2", text(rec->GetContentID()));
  EXPECT_EQ("Song", text(rec->GetTitle()));
  EXPECT_EQ(2, rec->GetContentType());
  EXPECT_EQ("2024-02-02", text(rec->GetDate()));
  EXPECT_EQ("5000", text(rec->GetSize()));
  EXPECT_EQ("/media/MUSIC", text(rec->GetFilePath()));
  EXPECT_EQ("song.mp3", text(rec->GetFileName()));
  EXPECT_EQ("audio/mpeg", text(rec->GetMimeTypeString()));
  EXPECT_EQ("MP3", text(rec->GetDLNAPN()));
  EXPECT_EQ("0:03:00", text(rec->GetDuration()));
  EXPECT_EQ("Album", text(rec->GetAlbum()));
  EXPECT_EQ("Artist", text(rec->GetArtist()));
  EXPECT_EQ(2, rec->GetAudioChannelsNumber());
  EXPECT_EQ("128000", text(rec->GetAudioBitrate()));
  EXPECT_EQ("44100", text(rec->GetAudioSampleFrequency()));
  EXPECT_EQ("/nuvmedia/2.mp3", text(rec->GetUri()));
  EXPECT_EQ(-1, rec->GetWidth());  // audio rows carry no picture size
  EXPECT_EQ(nullptr, rec->GetResolution());
}

TEST_F(Connector, VideoRowBecomesAFullRecord) {
  seed(content_test::insertVideoSql(VideoRow()));
  NUVSetDlnaCertificationState(1);
  RecordList page(MultiMediaDbConnector::GetInstance()->GetVideoItems(0, 1));
  ASSERT_NE(nullptr, page);
  EXPECT_EQ(3, recordListKind(page.get()));
  ContentsEnumeratorArgument* rec = recordListAt(page.get(), 0);
  EXPECT_EQ("3", text(rec->GetContentID()));
  EXPECT_EQ("Movie", text(rec->GetTitle()));
  EXPECT_EQ(3, rec->GetContentType());
  EXPECT_EQ("9000000", text(rec->GetSize()));
  EXPECT_EQ("/media/DCIM", text(rec->GetFilePath()));
  EXPECT_EQ("movie.mp4", text(rec->GetFileName()));
  EXPECT_EQ("video/mp4", text(rec->GetMimeTypeString()));
  EXPECT_EQ("AVC_MP4_BL_CIF15_AAC_520", text(rec->GetDLNAPN()));
  EXPECT_EQ("0:00:10", text(rec->GetDuration()));
  EXPECT_EQ(720, rec->GetHeight());
  EXPECT_EQ(1280, rec->GetWidth());
  EXPECT_EQ("1280x720", text(rec->GetResolution()));
  EXPECT_EQ(30, rec->GetVideoFrameRate());
  EXPECT_FLOAT_EQ(4000000.0f, rec->GetVideoBitrate());
  EXPECT_FLOAT_EQ(31.0f, rec->GetVideoLevel());
  EXPECT_EQ("VAlbum", text(rec->GetAlbum()));
  EXPECT_EQ("VArtist", text(rec->GetArtist()));
  EXPECT_EQ(2, rec->GetAudioChannelsNumber());
  EXPECT_EQ("96000", text(rec->GetAudioBitrate()));
  EXPECT_EQ("48000", text(rec->GetAudioSampleFrequency()));
  EXPECT_EQ("/nuvmedia/3.mp4", text(rec->GetUri()));
  EXPECT_EQ("/nuvthumbvideo/3.jpg", text(rec->GetThumbUri()));
  EXPECT_EQ(0, rec->GetThumbnailOffset());
  EXPECT_EQ(0, rec->GetThumbnailSize());
  EXPECT_EQ(90, rec->GetThumbnailHeight());
  EXPECT_EQ(160, rec->GetThumbnailWidth());
}

TEST_F(Connector, PathWithoutSlashIsAllFilePathAndAnEmptyName) {
  AudioRow r;
  r.path = "loose.mp3";
  seed(content_test::insertAudioSql(r));
  RecordList page(MultiMediaDbConnector::GetInstance()->GetAudioItems(0, 1));
  ASSERT_NE(nullptr, page);
  EXPECT_EQ("loose.mp3", text(recordListAt(page.get(), 0)->GetFilePath()));
  EXPECT_EQ("", text(recordListAt(page.get(), 0)->GetFileName()));
}

TEST_F(Connector, CountsFollowTheShareFlagAndFailAsMinusOne) {
  std::string sql = threeImages() + content_test::insertAudioSql(AudioRow());
  VideoRow hidden;
  hidden.share = 0;
  seed(sql + content_test::insertVideoSql(hidden));
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  EXPECT_EQ(3, db->GetTotalImageItem());
  EXPECT_EQ(1, db->GetTotalAudioItem());
  EXPECT_EQ(0, db->GetTotalVideoItem());
  shell(dbPath(), "drop table VideoTable;");
  EXPECT_EQ(-1, db->GetTotalVideoItem());
}

TEST_F(Connector, CachesAreFilledOnceWhenCertificationIsOff) {
  seed(threeImages() + content_test::insertVideoSql(VideoRow()));
  LogCapture log;
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  EXPECT_TRUE(log.has("addToImageObjectVector() ENTER\n"));
  EXPECT_TRUE(log.has("nRow = 3\n"));
  EXPECT_TRUE(log.has("vImageObject.size = 3"));
  EXPECT_TRUE(log.has("addToImageObjectVector() EXIT"));
  EXPECT_EQ(3, db->GetTotalImageItem2());
  EXPECT_EQ(1, db->GetTotalVideoItem2());

  // A row registered later reaches the database but not the cache.
  ImageRow late;
  late.id = 30;
  late.path = "/media/DCIM/late.jpg";
  late.sortIndex = "9000";
  ASSERT_TRUE(db->ExecSqlStatmentNoValueReturn(content_test::insertImageSql(late).c_str()));
  EXPECT_EQ(4, db->GetTotalImageItem());
  EXPECT_EQ(3, db->GetTotalImageItem2());
  RecordList cached(db->GetImageItems2(0, 3));
  ASSERT_NE(nullptr, cached);
  EXPECT_EQ((std::vector<std::string>{"11", "10", "12"}), ids(cached.get()));
  EXPECT_EQ(1u, log.count("addToImageObjectVector() ENTER\n"));

  // Built again, the connector sees it.
  MultiMediaDbConnector::DestroyInstance();
  db = MultiMediaDbConnector::GetInstance();
  RecordList rebuilt(db->GetImageItems2(0, 4));
  ASSERT_NE(nullptr, rebuilt);
  EXPECT_EQ((std::vector<std::string>{"30", "11", "10", "12"}), ids(rebuilt.get()));
}

TEST_F(Connector, NoCachesInCertificationMode) {
  seed(threeImages());
  NUVSetDlnaCertificationState(1);
  LogCapture log;
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  EXPECT_EQ(0, db->GetTotalImageItem2());
  EXPECT_FALSE(log.has("addToImageObjectVector() ENTER\n"));
  EXPECT_EQ(nullptr, db->GetImageItems2(0, 1));
  EXPECT_TRUE(log.has("Error : vImageObject.size() = 0\n"));
}

TEST_F(Connector, CachedPagesCheckTheirBoundsAndLog) {
  seed(threeImages() + content_test::insertVideoSql(VideoRow()));
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  LogCapture log;
  EXPECT_EQ(nullptr, db->GetImageItems2(2, 2));
  EXPECT_TRUE(log.has("imageItem: index = 2, count = 2\n"));
  EXPECT_TRUE(log.has("Error : maxIndex = 4\n"));
  EXPECT_EQ(nullptr, db->GetImageItems2(-1, 1));
  EXPECT_EQ(nullptr, db->GetVideoItems2(0, 2));
  EXPECT_TRUE(log.has("videoItem: index = 0, count = 2\n"));
  EXPECT_TRUE(log.has("Error : maxIndex = 2\n"));
  RecordList one(db->GetImageItems2(2, 1));
  ASSERT_NE(nullptr, one);
  EXPECT_EQ(1, recordListKind(one.get()));
  EXPECT_EQ(1, recordListPageSize(one.get()));
  EXPECT_EQ((std::vector<std::string>{"12"}), ids(one.get()));
}

TEST_F(Connector, CachedRecordsAreCopiesWithoutAudioChannels) {
  seed(content_test::insertVideoSql(VideoRow()));
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  RecordList fromDb(db->GetVideoItems(0, 1));
  RecordList fromCache(db->GetVideoItems2(0, 1));
  RecordList again(db->GetVideoItems2(0, 1));
  ASSERT_NE(nullptr, fromDb);
  ASSERT_NE(nullptr, fromCache);
  ASSERT_NE(nullptr, again);
  EXPECT_EQ(2, recordListAt(fromDb.get(), 0)->GetAudioChannelsNumber());
  EXPECT_EQ(0, recordListAt(fromCache.get(), 0)->GetAudioChannelsNumber());
  EXPECT_NE(recordListAt(fromCache.get(), 0), recordListAt(again.get(), 0));
  EXPECT_EQ("Movie", text(recordListAt(again.get(), 0)->GetTitle()));
}

}  // namespace
