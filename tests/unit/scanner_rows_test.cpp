// DirectoryScanner on the shared samples: every row's columns against what
// exiftool and ffprobe report, profiles, MIME types, URIs, and the rows read
// back through the content store's connector.
#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "directory_scanner.h"
#include "dms_camera.h"
#include "dms_media_registration.h"
#include "log_capture.h"
#include "nuv_log.h"
#include "scanner_test_support.h"

using scanner_test::mediaPath;
using scanner_test::one;
using scanner_test::rows;

namespace {

std::string sqlText(const std::string& s) { return "'" + s + "'"; }

std::string stemOf(const std::string& name) { return name.substr(0, name.rfind('.')); }

class ScannerRows : public content_test::ContentTest {
 protected:
  void SetUp() override {
    ContentTest::SetUp();
    NUVSetDlnaCertificationState(1);       // the connector reads the database directly
    MultiMediaDbConnector::GetInstance();  // creates the tables
    MultiMediaDbConnector::DestroyInstance();
    db_ = content_test::dbPath();
  }

  int scan(const std::string& root, bool dcf = false, const char* profiles = nullptr) {
    DirectoryScanner* scanner = DirectoryScanner::GetInstance();
    EXPECT_NE(nullptr, scanner);
    if (profiles != nullptr) scanner->SetDlnaProfiles(profiles);
    int changed = -1;
    int rc = dcf ? scanner->scanDcf(root.c_str(), db_.c_str(), &changed)
                 : scanner->ScanDir(root.c_str(), db_.c_str(), &changed);
    DirectoryScanner::DestroyInstance();
    EXPECT_EQ(0, rc);
    return changed;
  }

  std::string column(const char* table, const std::string& path, const char* name) {
    return one(
        db_, std::string("select ") + name + " from " + table + " where FullPath=" + sqlText(path));
  }

  // The thumbnail the server renders for `photo`, which has none of its
  // own; "" when it is not a rendering (the substitute picture, a failure).
  std::string renderedThumbnail(const std::string& photo) {
    DMSSetThumbnailRenderers(ASLWifi_getMovieThumbBuffer, ASLWifi_getJpegThumbBuffer);
    MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
    DMSAppString uri(column("ImageTable", photo, "Thumbnailuri").c_str());
    DMSAppString* path = nullptr;
    int offset = 0, length = 0, fromBuffer = -1, substitute = -1;
    char* buffer = nullptr;
    std::string thumbnail;
    if (db->GetThumbnailInfoFromURI(&uri, &path, &offset, length, &fromBuffer, &substitute,
                                    buffer) &&
        fromBuffer == 1 && substitute == 0 && buffer != nullptr && length > 0) {
      thumbnail.assign(buffer, static_cast<size_t>(length));
    }
    DMSAppMemFree(buffer);
    delete path;
    DMSSetThumbnailRenderers(nullptr, nullptr);
    MultiMediaDbConnector::DestroyInstance();
    return thumbnail;
  }

  std::string db_;
};

// "YYYY:MM:DD HH:MM:SS" of exiftool to the column's form.
std::string isoOf(const std::string& exif) {
  if (exif.size() < 19) return "";
  std::string iso = exif.substr(0, 19);
  iso[4] = '-';
  iso[7] = '-';
  iso[10] = 'T';
  return iso;
}

TEST_F(ScannerRows, PhotoColumnsEqualWhatExiftoolReports) {
  const std::string photos = mediaPath("photos");
  EXPECT_EQ(1, scan(photos));
  const std::string thumbs = content_test::scratchPath("exif-thumbs");
  content_test::removeTree(thumbs);
  scanner_test::run("mkdir -p " + thumbs + " && exiftool -q -b -W " + thumbs +
                    "/%f.%e -ThumbnailImage " + scanner_test::shq(photos));
  std::string table = scanner_test::run(
      "exiftool -T -n -FileName -ImageWidth -ImageHeight "
      "-DateTimeOriginal -ImageDescription " +
      scanner_test::shq(photos));
  int checked = 0;
  size_t start = 0;
  while (start < table.size()) {
    size_t end = table.find('\n', start);
    std::string line = table.substr(start, end - start);
    start = end == std::string::npos ? table.size() : end + 1;
    std::vector<std::string> f;
    size_t cs = 0;
    for (;;) {
      size_t tab = line.find('\t', cs);
      f.push_back(line.substr(cs, tab == std::string::npos ? std::string::npos : tab - cs));
      if (tab == std::string::npos) break;
      cs = tab + 1;
    }
    if (f.size() < 5) continue;
    const std::string path = photos + "/" + f[0];
    SCOPED_TRACE(path);
    EXPECT_EQ(f[1], column("ImageTable", path, "Width"));
    EXPECT_EQ(f[2], column("ImageTable", path, "Height"));
    if (f[3] != "-") {
      EXPECT_EQ(isoOf(f[3]), column("ImageTable", path, "date"));
    }
    EXPECT_EQ(std::to_string(content_test::readFile(path).size()),
              column("ImageTable", path, "size"));
    std::string thumb = content_test::readFile(thumbs + "/" + f[0]);
    long long offset = atoll(column("ImageTable", path, "ThumbnailOffset").c_str());
    long long length = atoll(column("ImageTable", path, "ThumbnailLength").c_str());
    if (thumb.empty()) {
      EXPECT_EQ(-1, offset);
      EXPECT_EQ(0, length);
    } else {
      EXPECT_EQ(thumb, scanner_test::bytesAt(path, offset, length));
    }
    EXPECT_EQ("image/jpeg", column("ImageTable", path, "MimeType"));
    ++checked;
  }
  EXPECT_EQ(40, checked);
}

TEST_F(ScannerRows, TitleIsTheFileNameAndDateFallsBackToTheFileTime) {
  const std::string dir = content_test::scratchPath("plain");
  content_test::removeTree(dir);
  const std::string photo = dir + "/My Holiday.jpg";
  scanner_test::copyFile(mediaPath("photos/sony_mavica-fd5_MVC-004S.JPG"), photo);
  scanner_test::setMtime(photo, 1700000000);
  scan(dir);
  EXPECT_EQ("My Holiday", column("ImageTable", photo, "Title"));
  time_t t = 1700000000;
  struct tm parts {};
  localtime_r(&t, &parts);
  char expected[32];
  strftime(expected, sizeof expected, "%Y-%m-%dT%H:%M:%S", &parts);
  EXPECT_EQ(expected, column("ImageTable", photo, "date"));
}

TEST_F(ScannerRows, ListingsAndUriLookupsUseIndexes) {
  const std::string dir = content_test::scratchPath("indexed");
  content_test::removeTree(dir);
  scanner_test::copyFile(mediaPath("photos/sony_mavica-fd5_MVC-004S.JPG"), dir + "/a.jpg");
  scan(dir);
  const char* queries[] = {
      "select * from ImageTable where Share = 1 ORDER BY SortIndex DESC limit 0,100",
      "select * from VideoTable where Share = 1 ORDER BY SortIndex DESC limit 0,100",
      "select FullPath from ImageTable where uri = '/media/1.jpg'",
      "select FullPath from ImageTable where Thumbnailuri = '/nuvthumb1.jpg'",
      "select FullPath from ImageTable where Screennailuri = '/nuvscreen1.jpg'",
      "select FullPath from AudioTable where uri = '/media/1.mp3'",
      "select FullPath from VideoTable where uri = '/media/1.mp4'",
      "select FullPath from VideoTable where Thumbnailuri = '/nuvthumbvideo1.jpg'"};
  for (const char* sql : queries) {
    std::string plan;
    for (const auto& row : scanner_test::rows(db_, std::string("explain query plan ") + sql))
      plan += row.back() + "\n";
    // A full scan reads "SCAN <table>" without an index and, for the
    // listings, sorts with a temporary B-tree.
    EXPECT_NE(plan.find("USING INDEX"), std::string::npos) << sql << "\n" << plan;
    EXPECT_EQ(plan.find("TEMP B-TREE"), std::string::npos) << sql << "\n" << plan;
  }
}

// The schema as sqlite_master records it, one line per table and index.
std::string schemaOf(const std::string& db) {
  std::string schema;
  for (const auto& row :
       rows(db, "select type, name, tbl_name, sql from sqlite_master order by type, name"))
    schema += row[0] + " " + row[1] + " " + row[2] + ": " + (row.size() > 3 ? row[3] : "") + "\n";
  return schema;
}

TEST_F(ScannerRows, ScannerAndPreparationLayOutTheSameSchema) {
  // A database the scanner is handed empty, and one made ready for the
  // server: the same tables with the same columns and the same indexes.
  const std::string scanned = content_test::scratchPath("scanned.db");
  const std::string prepared = content_test::scratchPath("prepared.db");
  FILE* empty = fopen(scanned.c_str(), "w");
  ASSERT_NE(nullptr, empty);
  fclose(empty);
  const std::string dir = content_test::scratchPath("schema");
  content_test::removeTree(dir);
  scanner_test::copyFile(mediaPath("photos/sony_mavica-fd5_MVC-004S.JPG"), dir + "/a.jpg");
  db_ = scanned;
  EXPECT_EQ(1, scan(dir));
  ASSERT_EQ(0, DMSPrepareMediaDatabase(prepared.c_str()));

  const std::string schema = schemaOf(prepared);
  EXPECT_EQ(schema, schemaOf(scanned));
  for (const char* name : {"ObjectTable", "ContainerTable", "AudioTable", "VideoTable",
                           "ImageTable", "ScannerFileState"}) {
    EXPECT_NE(std::string::npos, schema.find(std::string("table ") + name + " " + name + ": "))
        << name << " in\n"
        << schema;
  }
  for (const char* name :
       {"ImageListing", "VideoListing", "ImageUri", "ImageThumbnailUri", "ImageScreennailUri",
        "AudioUri", "VideoUri", "VideoThumbnailUri", "ObjectPath"}) {
    EXPECT_NE(std::string::npos, schema.find(std::string("index ") + name + " ")) << name << " in\n"
                                                                                  << schema;
  }
  // Preparing again, or scanning into a prepared file, changes nothing.
  ASSERT_EQ(0, DMSPrepareMediaDatabase(prepared.c_str()));
  db_ = prepared;
  EXPECT_EQ(1, scan(dir));
  EXPECT_EQ(schema, schemaOf(prepared));
}

TEST_F(ScannerRows, ExifTitleWinsOverTheFileName) {
  const std::string dir = content_test::scratchPath("titled");
  content_test::removeTree(dir);
  const std::string photo = dir + "/IMG_0001.JPG";
  scanner_test::copyFile(mediaPath("photos/canon_powershot-s50_IMG_1909.JPG"), photo);
  scanner_test::run("exiftool -q -overwrite_original -XPTitle='Sunset över sjön' " +
                    scanner_test::shq(photo));
  scan(dir);
  EXPECT_EQ("Sunset över sjön", column("ImageTable", photo, "Title"));
}

TEST_F(ScannerRows, AudioColumnsEqualWhatFfprobeReports) {
  const std::string music = mediaPath("music");
  scan(music);
  for (const char* name : {"bear-id3v23-apic.mp3", "bear-cbr-notags.mp3", "v23-chapters.mp3",
                           "sine-cbr-id3v23-id3v1.mp3", "bbb_aac_lc.m4a", "sample_adts.aac",
                           "tagged_with_cover.m4a", "v1tag-only.mp3"}) {
    const std::string path = music + "/" + name;
    SCOPED_TRACE(path);
    EXPECT_EQ(scanner_test::ffprobe(path, "stream=sample_rate", "a:0"),
              column("AudioTable", path, "Frequency"));
    EXPECT_EQ(scanner_test::ffprobe(path, "stream=channels", "a:0"),
              column("AudioTable", path, "Channel"));
    double seconds = atof(scanner_test::ffprobe(path, "format=duration").c_str());
    std::string duration = column("AudioTable", path, "Duration");
    int h = 0, m = 0;
    double s = 0;
    ASSERT_EQ(3, sscanf(duration.c_str(), "%d:%d:%lf", &h, &m, &s)) << duration;
    EXPECT_NEAR(seconds, h * 3600 + m * 60 + s, 0.06 + seconds * 0.02);
    std::string title = scanner_test::ffprobe(path, "format_tags=title");
    EXPECT_EQ(title.empty() ? stemOf(name) : title, column("AudioTable", path, "Title"));
    EXPECT_EQ(scanner_test::ffprobe(path, "format_tags=artist"),
              column("AudioTable", path, "Artist"));
    EXPECT_EQ(scanner_test::ffprobe(path, "format_tags=album"),
              column("AudioTable", path, "AlbumTitle"));
  }
}

TEST_F(ScannerRows, EmbeddedAlbumArtIsLocatedInTheFile) {
  const std::string path = mediaPath("music/bear-id3v23-apic.mp3");
  scan(mediaPath("music"));
  long long offset = atoll(column("AudioTable", path, "AlbumArtOffset").c_str());
  long long length = atoll(column("AudioTable", path, "AlbumArtLength").c_str());
  ASSERT_GT(length, 0);
  std::string picture = scanner_test::run("exiftool -b -Picture " + scanner_test::shq(path));
  EXPECT_EQ(picture, scanner_test::bytesAt(path, offset, length));
  const std::string m4a = mediaPath("music/tagged_with_cover.m4a");
  std::string cover = scanner_test::run("exiftool -b -CoverArt " + scanner_test::shq(m4a));
  EXPECT_EQ(cover,
            scanner_test::bytesAt(m4a, atoll(column("AudioTable", m4a, "AlbumArtOffset").c_str()),
                                  atoll(column("AudioTable", m4a, "AlbumArtLength").c_str())));
}

TEST_F(ScannerRows, VideoColumnsEqualWhatFfprobeReports) {
  const std::string video = mediaPath("video");
  scan(video);
  int checked = 0;
  for (const auto& row : rows(db_, "select FullPath from VideoTable")) {
    const std::string path = row[0];
    SCOPED_TRACE(path);
    EXPECT_EQ(scanner_test::ffprobe(path, "stream=width", "v:0"),
              column("VideoTable", path, "Width"));
    EXPECT_EQ(scanner_test::ffprobe(path, "stream=height", "v:0"),
              column("VideoTable", path, "Height"));
    int num = 0, den = 1;
    sscanf(scanner_test::ffprobe(path, "stream=avg_frame_rate", "v:0").c_str(), "%d/%d", &num,
           &den);
    EXPECT_EQ(std::to_string(den > 0 ? static_cast<int>(std::lround(double(num) / den)) : 0),
              column("VideoTable", path, "VideoFrameRate"));
    std::string title = scanner_test::ffprobe(path, "format_tags=title");
    if (!title.empty()) {
      EXPECT_EQ(title, column("VideoTable", path, "Title"));
    }
    std::string rate = scanner_test::ffprobe(path, "stream=sample_rate", "a:0");
    EXPECT_EQ(rate.empty() ? "0" : rate, column("VideoTable", path, "AudioFrequency"));
    double seconds = atof(scanner_test::ffprobe(path, "format=duration").c_str());
    int h = 0, m = 0;
    double s = 0;
    sscanf(column("VideoTable", path, "Duration").c_str(), "%d:%d:%lf", &h, &m, &s);
    EXPECT_NEAR(seconds, h * 3600 + m * 60 + s, 0.0015);
    EXPECT_EQ(std::to_string(atoll(scanner_test::ffprobe(path, "format=bit_rate").c_str()) / 8),
              column("VideoTable", path, "VideoBitrate"));
    ++checked;
  }
  EXPECT_EQ(8, checked);
  EXPECT_EQ("video/quicktime", column("VideoTable", video + "/bt601_h264_aac.mov", "MimeType"));
  EXPECT_EQ("video/mp4", column("VideoTable", video + "/sample_h264_aac.mp4", "MimeType"));
  EXPECT_EQ("video/3gpp", column("VideoTable", video + "/bbb_h263.3gp", "MimeType"));
  EXPECT_EQ("bt601_h264_aac", column("VideoTable", video + "/bt601_h264_aac.mov", "Title"));
}

TEST_F(ScannerRows, ProfilesComeFromWhatTheFileIs) {
  scan(mediaPath(""));
  auto profile = [&](const char* table, const std::string& file) {
    return column(table, mediaPath(file), "ifnull(DLNAProfile,'<none>')");
  };
  EXPECT_EQ("JPEG_SM", profile("ImageTable", "photos/canon_powershot-s50_IMG_1909.JPG"));
  EXPECT_EQ("JPEG_MED", profile("ImageTable", "card/DCIM/100DC280/DCP_4385.JPG"));
  EXPECT_EQ("JPEG_LRG", profile("ImageTable", "photos/canon_eos-rp__MG_0635.JPG"));
  EXPECT_EQ("<none>", profile("ImageTable", "photos/google_pixel7pro_london.jpg"));  // progressive
  EXPECT_EQ("<none>", profile("ImageTable", "photos/leica_t-typ701.jpg"));           // beyond 4096
  EXPECT_EQ("MP3", profile("AudioTable", "music/bear-cbr-notags.mp3"));
  EXPECT_EQ("AAC_ISO_320", profile("AudioTable", "music/bbb_aac_lc.m4a"));
  EXPECT_EQ("AAC_ADTS_320", profile("AudioTable", "music/sample_adts.aac"));
  EXPECT_EQ("<none>", profile("AudioTable", "music/tagged_with_cover.m4a"));  // 8 channels
  EXPECT_EQ("<none>", profile("VideoTable", "video/sample_h264_aac.mp4"));    // High profile
  EXPECT_EQ("audio/mpeg", column("AudioTable", mediaPath("music/bear-cbr-notags.mp3"), "MimeType"));
  EXPECT_EQ("audio/mp4", column("AudioTable", mediaPath("music/bbb_aac_lc.m4a"), "MimeType"));
  EXPECT_EQ("audio/vnd.dlna.adts",
            column("AudioTable", mediaPath("music/sample_adts.aac"), "MimeType"));
  EXPECT_EQ("video/x-msvideo",
            column("VideoTable", mediaPath("card/DCIM/100CANON/MVI_0314.AVI"), "MimeType"));
}

TEST_F(ScannerRows, BaselineCifMovieGetsTheAvcProfile) {
  const std::string dir = content_test::scratchPath("avc");
  content_test::removeTree(dir);
  scanner_test::run("mkdir -p " + dir);
  const std::string movie = dir + "/cif15.mp4";
  scanner_test::run(
      "ffmpeg -v error -f lavfi -i testsrc=size=320x240:rate=15 -f lavfi -i "
      "sine=frequency=440:sample_rate=44100 -t 2 -c:v libx264 -profile:v baseline "
      "-level 1.2 -pix_fmt yuv420p -b:v 250k -maxrate 250k -bufsize 500k -c:a aac -ac 2 -b:a 96k " +
      movie);
  const std::string big = dir + "/sd30.mp4";
  scanner_test::run(
      "ffmpeg -v error -f lavfi -i testsrc=size=640x480:rate=30 -t 1 -c:v libx264 "
      "-profile:v baseline -level 3.0 -pix_fmt yuv420p -b:v 1500k " +
      big);
  const std::string mkv = dir + "/cif15.mkv";  // same streams, not MP4: no profile
  scanner_test::run("ffmpeg -v error -i " + movie + " -c copy " + mkv);
  // The list a full scan hands over names one AVC profile.
  scan(dir, false,
       "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01,"
       "http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_CIF15_AAC_520;DLNA.ORG_OP=01");
  EXPECT_EQ("AVC_MP4_BL_CIF15_AAC_520", column("VideoTable", movie, "DLNAProfile"));
  EXPECT_EQ("video/mp4", column("VideoTable", movie, "MimeType"));
  EXPECT_EQ("12", column("VideoTable", movie, "VideoLevel"));
  EXPECT_EQ("2", column("VideoTable", movie, "AudioChannel"));
  EXPECT_EQ("", column("VideoTable", big, "DLNAProfile"));  // not on the full scan's list
  EXPECT_EQ("", column("VideoTable", mkv, "DLNAProfile"));
  EXPECT_EQ("video/x-matroska", column("VideoTable", mkv, "MimeType"));

  // A single registration under the server's list may assign the SD profile.
  DirectoryScanner* scanner = DirectoryScanner::GetInstance();
  scanner->SetDlnaProfiles("http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_L3_SD_ACC;DLNA.ORG_OP=01");
  EXPECT_EQ(3, scanner->ParseAndRegisterFile(db_.c_str(), big.c_str()));
  DirectoryScanner::DestroyInstance();
  EXPECT_EQ("AVC_MP4_BL_L3_SD_ACC", column("VideoTable", big, "DLNAProfile"));
}

TEST_F(ScannerRows, UrisFollowTheUrlGrammarAndAreUnique) {
  scan(mediaPath(""));
  std::set<std::string> uris;
  for (const auto& r : rows(db_,
                            "select id,uri,Thumbnailuri,ifnull(Screennailuri,''),Share,"
                            "SortIndex,FullPath from ImageTable")) {
    SCOPED_TRACE(r[6]);
    ASSERT_EQ(7u, r.size());
    EXPECT_EQ(0u, r[1].rfind("/media/" + r[0] + ".", 0));
    EXPECT_EQ("/nuvthumb" + r[0] + ".jpg", r[2]);
    if (!r[3].empty()) {
      EXPECT_EQ("/nuvscreen" + r[0] + ".jpg", r[3]);
    }
    EXPECT_EQ("1", r[4]);
    EXPECT_EQ(16u, r[5].size());
    EXPECT_TRUE(uris.insert(r[1]).second);
  }
  EXPECT_EQ("3", one(db_, "select count(*) from ImageTable where Screennailuri is not null"));
  for (const auto& r : rows(db_, "select id,uri,Thumbnailuri from VideoTable")) {
    EXPECT_EQ("/nuvthumbvideo" + r[0] + ".jpg", r[2]);
    EXPECT_TRUE(uris.insert(r[1]).second);
  }
  for (const auto& r : rows(db_, "select id,uri from AudioTable")) {
    EXPECT_EQ(0u, r[1].rfind("/media/" + r[0] + ".", 0));
    EXPECT_TRUE(uris.insert(r[1]).second);
  }
  EXPECT_EQ(67u, uris.size());  // every sample but the .THM sidecar
  // Object rows match the media rows one to one.
  EXPECT_EQ("67", one(db_, "select count(*) from ObjectTable where Valid=1"));
  EXPECT_EQ("0", one(db_,
                     "select count(*) from ObjectTable o where not exists (select 1 from "
                     "ImageTable i where i.id=o.id union select 1 from AudioTable a where "
                     "a.id=o.id union select 1 from VideoTable v where v.id=o.id)"));
}

TEST_F(ScannerRows, SortIndexOrdersNewestFirst) {
  scan(mediaPath("photos"));
  auto r = rows(db_, "select date from ImageTable order by SortIndex desc");
  ASSERT_GT(r.size(), 10u);
  for (size_t i = 1; i < r.size(); ++i) EXPECT_GE(r[i - 1][0], r[i][0]);
}

TEST_F(ScannerRows, RowsReadBackThroughTheConnector) {
  scan(mediaPath("card"));
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  ASSERT_EQ(7, db->GetTotalImageItem());
  ASSERT_EQ(2, db->GetTotalVideoItem());
  DMSCDSList* list = db->GetImageItems(0, 7);
  ASSERT_NE(nullptr, list);
  int seen = 0;
  for (stDMSCDSListItem* item = list->ReadFirstItem(); item != nullptr; item = item->next) {
    if (seen++ < 2) continue;  // the kind and the page size
    auto* record = static_cast<ContentsEnumeratorArgument*>(item->data);
    const std::string path =
        content_test::text(record->GetFilePath()) + "/" + content_test::text(record->GetFileName());
    EXPECT_EQ(column("ImageTable", path, "Title"), content_test::text(record->GetTitle()));
    EXPECT_EQ(column("ImageTable", path, "uri"), content_test::text(record->GetUri()));
    EXPECT_EQ("image/jpeg", content_test::text(record->GetMimeTypeString()));
    EXPECT_EQ(column("ImageTable", path, "Width") + "x" + column("ImageTable", path, "Height"),
              content_test::text(record->GetResolution()));
  }
  EXPECT_EQ(9, seen);
  freeRecordList(list);

  // The thumbnail of a photo resolves to its embedded span.
  const std::string photo = mediaPath("card/DCIM/100EPSON/EPSN0011.JPG");
  DMSAppString uri(column("ImageTable", photo, "Thumbnailuri").c_str());
  DMSAppString* path = nullptr;
  int offset = 0, length = 0, fromBuffer = -1, substitute = -1;
  char* buffer = nullptr;
  ASSERT_TRUE(
      db->GetThumbnailInfoFromURI(&uri, &path, &offset, length, &fromBuffer, &substitute, buffer));
  EXPECT_EQ(photo, content_test::text(path));
  EXPECT_EQ(4096, offset);
  EXPECT_EQ(2646, length);
  EXPECT_EQ(0, fromBuffer);
  delete path;

  // A movie's thumbnail is rendered by the camera platform.
  DMSSetThumbnailRenderers(ASLWifi_getMovieThumbBuffer, ASLWifi_getJpegThumbBuffer);
  const std::string movie = mediaPath("card/DCIM/100CANON/MVI_0314.AVI");
  DMSAppString videoUri(column("VideoTable", movie, "Thumbnailuri").c_str());
  path = nullptr;
  ASSERT_TRUE(db->GetThumbnailInfoFromURI(&videoUri, &path, &offset, length, &fromBuffer,
                                          &substitute, buffer));
  EXPECT_EQ(1, fromBuffer);
  EXPECT_EQ(0, substitute);
  ASSERT_NE(nullptr, buffer);
  EXPECT_EQ('\xFF', buffer[0]);
  EXPECT_EQ('\xD8', buffer[1]);
  DMSAppMemFree(buffer);
  delete path;
  DMSSetThumbnailRenderers(nullptr, nullptr);
  MultiMediaDbConnector::DestroyInstance();
}

TEST_F(ScannerRows, PhotoWithoutThumbnailIsServedARenderedOne) {
  const std::string dir = content_test::scratchPath("nothumb");
  content_test::removeTree(dir);
  const std::string photo = dir + "/IMG_0002.JPG";
  scanner_test::copyFile(mediaPath("photos/apple_iphone4.jpg"), photo);
  scan(dir);
  EXPECT_EQ("-1", column("ImageTable", photo, "ThumbnailOffset"));
  EXPECT_EQ("160", column("ImageTable", photo, "ThumbnailWidth"));
  EXPECT_EQ("120", column("ImageTable", photo, "ThumbnailHeight"));  // 1296x968
  const std::string thumbnail = renderedThumbnail(photo);
  ASSERT_GT(thumbnail.size(), 100u);
  const std::string rendered = content_test::scratchPath("rendered.jpg");
  content_test::writeFile(rendered, thumbnail);
  ASLWifiJpegMainInfo info{};
  ASSERT_EQ(0, ASLWifi_getJpegMainInfo(rendered.c_str(), &info));
  EXPECT_EQ(160, info.width);
  EXPECT_EQ(120, info.height);
}

// The byte offset of the primary image's scan (its SOS marker) in `jpeg`.
size_t scanStart(const std::string& jpeg) {
  size_t pos = 2;
  while (pos + 4 <= jpeg.size() && static_cast<unsigned char>(jpeg[pos + 1]) != 0xDA) {
    pos += 2 + ((static_cast<unsigned char>(jpeg[pos + 2]) << 8) |
                static_cast<unsigned char>(jpeg[pos + 3]));
  }
  return pos;
}

// The photo with its entropy-coded data overwritten from 2 KiB into the scan
// on: markers, EXIF and any thumbnail stay whole.
std::string withDamagedScan(const std::string& jpeg) {
  std::string damaged = jpeg;
  const size_t from = scanStart(jpeg) + 2048;
  for (size_t i = from; i < damaged.size() - 2 && i < from + 16384; ++i)
    damaged[i] = static_cast<char>((i * 7919) & 0x7F);  // no 0xFF: no false markers
  return damaged;
}

TEST_F(ScannerRows, FilesThatOtherReadersIdentifyAreRegistered) {
  const std::string dir = content_test::scratchPath("others");
  content_test::removeTree(dir);
  scanner_test::run("mkdir -p " + dir);
  auto make = [](const std::string& args) {
    scanner_test::run("ffmpeg -v error -y -f lavfi " + args);
  };
  // AAC in ADTS frames behind an ID3v2 tag, as phones and recorders write it.
  const std::string adts = dir + "/voice.aac";
  make("-i sine=duration=2 -c:a aac -f adts -write_id3v2 1 -metadata title='Tagged ADTS' " + adts);
  ASSERT_EQ("ID3", content_test::readFile(adts).substr(0, 3));
  // FLAC behind an ID3v2 tag (a TIT2 frame written here).
  const std::string flac = dir + "/tone.flac";
  make("-i sine=duration=2 -c:a flac " + dir + "/plain.flac");
  const std::string frame = std::string("TIT2\0\0\0\x0c\0\0\0", 11) + "Flac Title!";
  content_test::writeFile(flac, std::string("ID3\x03\0\0\0\0\0", 9) +
                                    static_cast<char>(frame.size()) + frame +
                                    content_test::readFile(dir + "/plain.flac"));
  std::remove((dir + "/plain.flac").c_str());
  // Photos whose entropy-coded data is damaged, with and without an EXIF
  // thumbnail, and one with stray bytes between two header segments.
  const std::string source = dir + "/source.jpg";
  make("-i testsrc2=size=1280x960 -frames:v 1 -q:v 3 " + source);
  const std::string thumb = dir + "/thumb.jpg";
  make("-i testsrc2=size=160x120 -frames:v 1 " + thumb);
  scanner_test::run("exiftool -q -overwrite_original -Model=Tester '-ThumbnailImage<=" + thumb +
                    "' " + scanner_test::shq(source));
  std::remove(thumb.c_str());
  const std::string withThumb = content_test::readFile(source);
  scanner_test::run("exiftool -q -overwrite_original -ThumbnailImage= " +
                    scanner_test::shq(source));
  const std::string bare = content_test::readFile(source);
  std::remove(source.c_str());
  const std::string damaged = dir + "/damaged.jpg";
  const std::string damagedBare = dir + "/damaged_bare.jpg";
  const std::string stray = dir + "/stray.jpg";
  content_test::writeFile(damaged, withDamagedScan(withThumb));
  content_test::writeFile(damagedBare, withDamagedScan(bare));
  const size_t afterFirst =
      4 + ((static_cast<unsigned char>(bare[4]) << 8) | static_cast<unsigned char>(bare[5]));
  content_test::writeFile(
      stray, bare.substr(0, afterFirst) + std::string("\0\x12\x34", 3) + bare.substr(afterFirst));
  // The independent readers know each of them.
  EXPECT_EQ("aac", scanner_test::ffprobe(adts, "format=format_name"));
  EXPECT_EQ("flac", scanner_test::ffprobe(flac, "format=format_name"));
  for (const std::string& photo : {damaged, damagedBare, stray})
    EXPECT_EQ("1280 960", scanner_test::exiftool(photo, "ImageSize")) << photo;

  LogCapture log;
  scan(dir);
  for (const auto& line : log.lines())
    EXPECT_EQ(std::string::npos, line.text.find("skipped")) << line.text;
  EXPECT_EQ("2", one(db_, "select count(*) from AudioTable"));
  EXPECT_EQ("3", one(db_, "select count(*) from ImageTable"));
  EXPECT_EQ("Tagged ADTS", column("AudioTable", adts, "Title"));
  EXPECT_EQ("AAC_ADTS_320", column("AudioTable", adts, "DLNAProfile"));
  EXPECT_EQ("0:00:02", column("AudioTable", adts, "Duration").substr(0, 7));
  EXPECT_EQ("Flac Title!", column("AudioTable", flac, "Title"));
  for (const std::string& photo : {damaged, damagedBare, stray}) {
    EXPECT_EQ("1280", column("ImageTable", photo, "Width")) << photo;
    EXPECT_EQ("960", column("ImageTable", photo, "Height")) << photo;
  }
  // The intact EXIF thumbnail is served from its place in the file.
  const std::string exifThumb =
      scanner_test::run("exiftool -b -ThumbnailImage " + scanner_test::shq(damaged));
  ASSERT_GT(exifThumb.size(), 100u);
  EXPECT_EQ(exifThumb, scanner_test::bytesAt(
                           damaged, atoll(column("ImageTable", damaged, "ThumbnailOffset").c_str()),
                           atoll(column("ImageTable", damaged, "ThumbnailLength").c_str())));

  // The photo without one gets a thumbnail rendered from what decodes, and
  // the decoder's complaint is logged at level 1.
  log.clear();
  const std::string thumbnail = renderedThumbnail(damagedBare);
  ASSERT_GT(thumbnail.size(), 100u) << "rendered, not the substitute picture";
  EXPECT_EQ(std::string("\xFF\xD8", 2), thumbnail.substr(0, 2));
  bool complained = false;
  for (const auto& line : log.lines())
    complained =
        complained || (line.level == NUV_LOG_INFO &&
                       line.text.rfind("[Thumbnail] rendered from damaged JPEG data: ", 0) == 0);
  EXPECT_TRUE(complained);
}

TEST_F(ScannerRows, CorruptAndUnsupportedFilesAreSkippedWithOneLogLine) {
  const std::string dir = content_test::scratchPath("corrupt");
  content_test::removeTree(dir);
  scanner_test::run("mkdir -p " + dir);
  content_test::writeFile(dir + "/empty.jpg", "");
  content_test::writeFile(dir + "/text.mp3", "this is not music at all, just text\n");
  content_test::writeFile(dir + "/garbage.mp4", std::string(5000, '\x17'));
  std::string movie = content_test::readFile(mediaPath("video/sample_h264_aac.mp4"));
  content_test::writeFile(dir + "/cut.mp4", movie.substr(0, 300));
  content_test::writeFile(dir + "/notes.txt", "not even looked at");
  scanner_test::copyFile(mediaPath("photos/truncated_small.jpg"), dir + "/truncated.jpg");
  scanner_test::copyFile(mediaPath("music/bear-cbr-notags.mp3"), dir + "/zz_good.mp3");
  scanner_test::run("chmod 000 " + dir + "/garbage.mp4");
  LogCapture log;
  EXPECT_EQ(1, scan(dir));
  int skippedLines = 0;
  for (const auto& line : log.lines())
    if (line.text.rfind("[DirectoryScanner] skipped ", 0) == 0) ++skippedLines;
  EXPECT_EQ(4, skippedLines);
  EXPECT_EQ("1", one(db_, "select count(*) from AudioTable"));
  EXPECT_EQ("1", one(db_, "select count(*) from ImageTable"));  // headers of a cut photo are whole
  // A rescan of the same files parses (and logs) nothing again.
  log.clear();
  EXPECT_EQ(0, scan(dir));
  for (const auto& line : log.lines()) EXPECT_EQ(std::string::npos, line.text.find("skipped"));
  scanner_test::run("chmod 644 " + dir + "/garbage.mp4");
}

}  // namespace
