// MultiMediaDbConnector: lookups by path, ID and URI, thumbnails and the
// substitute pictures, and what hostile values do to them.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "content_test_support.h"
#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "log_capture.h"
#include "multimedia_db_connector.h"
#include "nuv_config.h"

namespace {

using content_test::AudioRow;
using content_test::ContentTest;
using content_test::dbPath;
using content_test::ImageRow;
using content_test::shell;
using content_test::text;
using content_test::VideoRow;

using Text = std::unique_ptr<DMSAppString>;

Text s(const std::string& value) { return Text(new DMSAppString(value.c_str())); }

std::string take(DMSAppString* result) {
  Text owned(result);
  return result == nullptr ? "<null>" : text(result);
}

const std::string kPictures = CONTENT_PICTURES_DIR;

// One row per kind, with a URI shared by the image and the video and one
// shared by the audio and the video.
std::string overlappingRows() {
  ImageRow image;
  image.uri = "/nuvmedia/shared-iv";
  AudioRow audio;
  audio.uri = "/nuvmedia/shared-av";
  VideoRow video;
  video.uri = "/nuvmedia/shared-iv";
  VideoRow video2;
  video2.id = 4;
  video2.path = "/media/DCIM/second.mp4";
  video2.uri = "/nuvmedia/shared-av";
  VideoRow video3;
  video3.id = 5;
  video3.path = "/media/DCIM/third.mp4";
  video3.uri = "/nuvmedia/video-only";
  return content_test::insertImageSql(image) + content_test::insertAudioSql(audio) +
         content_test::insertVideoSql(video) + content_test::insertVideoSql(video2) +
         content_test::insertVideoSql(video3);
}

class Lookup : public ContentTest {
 protected:
  MultiMediaDbConnector* db() { return MultiMediaDbConnector::GetInstance(); }
};

TEST_F(Lookup, MimeTypeAndIdByPathPerKind) {
  seed(content_test::insertImageSql(ImageRow()) + content_test::insertAudioSql(AudioRow()) +
       content_test::insertVideoSql(VideoRow()));
  EXPECT_EQ("image/jpeg", take(db()->GetMimeTypeOfImageItem(s("/media/DCIM/photo.jpg").get())));
  EXPECT_EQ("audio/mpeg", take(db()->GetMimeTypeOfAudioItem(s("/media/MUSIC/song.mp3").get())));
  EXPECT_EQ("video/mp4", take(db()->GetMimeTypeOfVideoItem(s("/media/DCIM/movie.mp4").get())));
  EXPECT_EQ("<null>", take(db()->GetMimeTypeOfAudioItem(s("/media/DCIM/photo.jpg").get())));
  EXPECT_EQ("1", take(db()->GetIDOfItem(1, "/media/DCIM/photo.jpg")));
  EXPECT_EQ("2", take(db()->GetIDOfItem(2, "/media/MUSIC/song.mp3")));
  EXPECT_EQ("3", take(db()->GetIDOfItem(3, "/media/DCIM/movie.mp4")));
  EXPECT_EQ("<null>", take(db()->GetIDOfItem(3, "/media/DCIM/photo.jpg")));
  EXPECT_EQ("<null>", take(db()->GetIDOfItem(1, nullptr)));
}

TEST_F(Lookup, InvalidModesAreLogged) {
  LogCapture log;
  EXPECT_EQ("<null>", take(db()->GetMimeTypeOfItem(4, s("/x").get())));
  EXPECT_TRUE(log.has("[MMDB] Invalid Mode!!!, GetMimeTypeOfItem()"));
  EXPECT_EQ("<null>", take(db()->GetIDOfItem(0, "/x")));
  EXPECT_TRUE(log.has("[MMDB] Invalid Mode!!!, GetIDOfItem()"));
  EXPECT_FALSE(db()->GetContent(9, nullptr, s("1").get()));
  EXPECT_TRUE(log.has(" [MultiMediaDbConnector] Media Type not found -- GetContent"));
}

TEST_F(Lookup, GetContentTellsWhetherTheRowExists) {
  seed(content_test::insertAudioSql(AudioRow()));
  EXPECT_TRUE(db()->GetContent(2, s("2").get(), s("2").get()));
  EXPECT_FALSE(db()->GetContent(2, s("2").get(), s("77").get()));
  EXPECT_FALSE(db()->GetContent(1, s("1").get(), s("2").get()));
  shell(dbPath(), "drop table AudioTable;");
  LogCapture log;
  EXPECT_FALSE(db()->GetContent(2, nullptr, s("2").get()));
  EXPECT_TRUE(
      log.has(" [MultiMediaDbConnector] Error in  db call -- GetContent[select * from "
              "AudioTable where id = \"2\"][no such table: AudioTable]"));
}

TEST_F(Lookup, UriLookupTriesImageThenAudioThenVideo) {
  seed(overlappingRows());
  EXPECT_EQ("/media/DCIM/photo.jpg",
            take(db()->GetFilePathFromURI(s("/nuvmedia/shared-iv").get())));
  EXPECT_EQ("/media/MUSIC/song.mp3",
            take(db()->GetFilePathFromURI(s("/nuvmedia/shared-av").get())));
  EXPECT_EQ("/media/DCIM/third.mp4",
            take(db()->GetFilePathFromURI(s("/nuvmedia/video-only").get())));
  EXPECT_EQ("<null>", take(db()->GetFilePathFromURI(s("/nuvmedia/none").get())));
  EXPECT_EQ("image/jpeg", take(db()->GetMimeTypeFromURI(s("/nuvmedia/shared-iv").get())));
  EXPECT_EQ("audio/mpeg", take(db()->GetMimeTypeFromURI(s("/nuvmedia/shared-av").get())));
  EXPECT_EQ("video/mp4", take(db()->GetMimeTypeFromURI(s("/nuvmedia/video-only").get())));
  EXPECT_EQ("JPEG_LRG", take(db()->GetDLNAProfileNameFromURI(s("/nuvmedia/shared-iv").get())));
  EXPECT_EQ("MP3", take(db()->GetDLNAProfileNameFromURI(s("/nuvmedia/shared-av").get())));
  EXPECT_EQ("AVC_MP4_BL_CIF15_AAC_520",
            take(db()->GetDLNAProfileNameFromURI(s("/nuvmedia/video-only").get())));
}

TEST_F(Lookup, UriThatIsNotAPathIsRefusedEvenWhenARowHoldsIt) {
  ImageRow r;
  r.uri = "nuvmedia/relative.jpg";
  seed(content_test::insertImageSql(r));
  LogCapture log;
  EXPECT_EQ("<null>", take(db()->GetFilePathFromURI(s("nuvmedia/relative.jpg").get())));
  EXPECT_EQ("<null>", take(db()->GetMimeTypeFromURI(s("").get())));
  EXPECT_EQ("<null>", take(db()->GetDLNAProfileNameFromURI(nullptr)));
  EXPECT_TRUE(log.has("[MultiMediaDbConnector] URI refused: not a path beginning with /", 2));
}

TEST_F(Lookup, QuotesInAUriAreMatchedLiterally) {
  ImageRow r;
  r.uri = "/nuvmedia/say \"cheese\".jpg";
  seed(content_test::insertImageSql(r));
  EXPECT_EQ("/media/DCIM/photo.jpg",
            take(db()->GetFilePathFromURI(s("/nuvmedia/say \"cheese\".jpg").get())));
  EXPECT_EQ("<null>", take(db()->GetFilePathFromURI(s("/nuvmedia/say \"cheese\"").get())));
}

TEST_F(Lookup, HostileUrisFindNothingAndChangeNothing) {
  seed(content_test::insertImageSql(ImageRow()) + content_test::insertAudioSql(AudioRow()));
  const std::string attacks[] = {
      "/x\" or \"1\"=\"1",
      "/x\" or 1=1 --",
      "/x\"; drop table ImageTable; --",
      "/x\"; delete from AudioTable; select \"",
      "/x\" union select FullPath from ObjectTable where \"1\"=\"1",
      "/\"",
      "/\"\"\"\"",
      "/x';--",
  };
  for (const std::string& attack : attacks) {
    EXPECT_EQ("<null>", take(db()->GetFilePathFromURI(s(attack).get()))) << attack;
    EXPECT_EQ("<null>", take(db()->GetMimeTypeFromURI(s(attack).get()))) << attack;
    EXPECT_EQ("<null>", take(db()->GetMimeTypeFromURI2(s(attack).get()))) << attack;
    EXPECT_EQ("<null>", take(db()->GetDLNAProfileNameFromURI(s(attack).get()))) << attack;
    EXPECT_EQ("<null>", take(db()->GetIDOfItem(1, attack.c_str()))) << attack;
    EXPECT_EQ("<null>", take(db()->GetMimeTypeOfImageItem(s(attack).get()))) << attack;
    EXPECT_FALSE(db()->GetContent(1, nullptr, s(attack).get())) << attack;
  }
  EXPECT_EQ("1\n1\n2\n", shell(dbPath(),
                               "select count(*) from ImageTable; select count(*) from "
                               "AudioTable; select count(*) from ObjectTable;"));
}

TEST_F(Lookup, TextEndsAtAnEmbeddedNul) {
  seed(content_test::insertImageSql(ImageRow()));
  // A string whose length runs past a NUL planted in its buffer.
  DMSAppString uri("/nuvmedia/1.jpg#\" or \"1\"=\"1");
  uri.ReadString()[15] = '\0';
  ASSERT_EQ(27u, uri.GetStringLength());
  // What follows the NUL never reaches SQL: the lookup is that of the
  // text before it.
  EXPECT_EQ("/media/DCIM/photo.jpg", take(db()->GetFilePathFromURI(&uri)));
  DMSAppString other("/nope#/nuvmedia/1.jpg");
  other.ReadString()[5] = '\0';
  EXPECT_EQ("<null>", take(db()->GetFilePathFromURI(&other)));
  EXPECT_EQ("1\n", shell(dbPath(), "select count(*) from ImageTable;"));
}

TEST_F(Lookup, VeryLongValuesAreRefusedOrServedButNeverCrash) {
  ImageRow r;
  r.uri = "/" + std::string(5000, 'u');
  seed(content_test::insertImageSql(r));
  EXPECT_EQ("/media/DCIM/photo.jpg", take(db()->GetFilePathFromURI(s(r.uri).get())));
  std::string huge = "/" + std::string(1 << 20, 'v');
  EXPECT_EQ("<null>", take(db()->GetFilePathFromURI(s(huge).get())));
  std::string quotes = "/" + std::string(100000, '"');
  EXPECT_EQ("<null>", take(db()->GetFilePathFromURI(s(quotes).get())));
  EXPECT_EQ("<null>", take(db()->GetIDOfItem(1, huge.c_str())));
  EXPECT_FALSE(db()->GetContent(1, nullptr, s(huge).get()));
}

TEST_F(Lookup, MimeTypeFromUri2AnswersFromTheCache) {
  seed(content_test::insertImageSql(ImageRow()) + content_test::insertAudioSql(AudioRow()));
  MultiMediaDbConnector* connector = db();
  ASSERT_TRUE(connector->ExecSqlStatmentNoValueReturn("delete from ImageTable;"));
  EXPECT_EQ("<null>", take(connector->GetMimeTypeFromURI(s("/nuvmedia/1.jpg").get())));
  EXPECT_EQ("image/jpeg", take(connector->GetMimeTypeFromURI2(s("/nuvmedia/1.jpg").get())));
  // Not cached (audio): the database answers.
  EXPECT_EQ("audio/mpeg", take(connector->GetMimeTypeFromURI2(s("/nuvmedia/2.mp3").get())));
}

class Thumbnail : public Lookup {
 protected:
  struct Result {
    bool ok = false;
    std::string path;
    int offset = -7;
    int length = -7;
    int video = -7;
    int substitute = -7;
    std::string bytes;
  };

  Result lookup(const std::string& uri) {
    Result r;
    DMSAppString* path = nullptr;
    char* buffer = nullptr;
    r.ok = db()->GetThumbnailInfoFromURI(s(uri).get(), &path, &r.offset, r.length, &r.video,
                                         &r.substitute, buffer);
    r.path = take(path);
    DMSAppMemText owned(buffer);
    if (buffer != nullptr && r.length > 0) r.bytes.assign(buffer, static_cast<size_t>(r.length));
    return r;
  }

  static int fakeMovieThumbnail(const char* path, char** buffer, unsigned int* size) {
    if (strcmp(path, "/media/DCIM/movie.mp4") != 0) return 1;
    static const char kJpeg[] = "\xFF\xD8 fake thumbnail \xFF\xD9";
    *buffer = static_cast<char*>(DMSAppMemAllocMA(sizeof kJpeg - 1));
    memcpy(*buffer, kJpeg, sizeof kJpeg - 1);
    *size = sizeof kJpeg - 1;
    return 0;
  }

  void TearDown() override {
    MultiMediaDbConnector::SetMovieThumbnailSource(nullptr);
    Lookup::TearDown();
  }
};

TEST_F(Thumbnail, ImageThumbnailAndScreennailAreSpansOfTheFile) {
  seed(content_test::insertImageSql(ImageRow()));
  Result thumb = lookup("/nuvthumb/1.jpg");
  EXPECT_TRUE(thumb.ok);
  EXPECT_EQ("/media/DCIM/photo.jpg", thumb.path);
  EXPECT_EQ(100, thumb.offset);
  EXPECT_EQ(2000, thumb.length);
  EXPECT_EQ(0, thumb.video);
  EXPECT_EQ(0, thumb.substitute);
  Result screen = lookup("/nuvscreen/1.jpg");
  EXPECT_TRUE(screen.ok);
  EXPECT_EQ("/media/DCIM/photo.jpg", screen.path);
  EXPECT_EQ(3000, screen.offset);
  EXPECT_EQ(4000, screen.length);
  EXPECT_FALSE(lookup("/nuvthumb/2.jpg").ok);
  EXPECT_FALSE(lookup("/nuvmedia/1.jpg").ok);
  EXPECT_FALSE(lookup("nuvthumb/1.jpg").ok);
  EXPECT_FALSE(lookup("/nuvthumb/1.jpg\" or \"1\"=\"1").ok);
}

TEST_F(Thumbnail, MovieThumbnailIsRenderedIntoABuffer) {
  seed(content_test::insertVideoSql(VideoRow()));
  MultiMediaDbConnector::SetMovieThumbnailSource(&fakeMovieThumbnail);
  LogCapture log;
  Result r = lookup("/nuvthumbvideo/3.jpg");
  EXPECT_TRUE(r.ok);
  EXPECT_EQ("/media/DCIM/movie.mp4", r.path);
  EXPECT_EQ(1, r.video);
  EXPECT_EQ(0, r.substitute);
  EXPECT_EQ(0, r.offset);
  EXPECT_EQ("\xFF\xD8 fake thumbnail \xFF\xD9", r.bytes);
  EXPECT_TRUE(log.has("ThumbBuffer Get Start [/media/DCIM/movie.mp4]\n"));
  bool endLogged = false;
  for (const auto& line : log.lines()) {
    if (line.text.rfind("ThumbBuffer Get End [0, 20, 0x", 0) == 0) endLogged = true;
  }
  EXPECT_TRUE(endLogged);
}

TEST_F(Thumbnail, FailedMovieThumbnailServesTheNoThumbPictureFromItsFile) {
  seed(content_test::insertVideoSql(VideoRow()));
  NUVSetConfiguration("SUBSTITUTE-PICTURE-DIR", kPictures.c_str());
  LogCapture log;
  Result r = lookup("/nuvthumbvideo/3.jpg");
  EXPECT_TRUE(r.ok);
  EXPECT_TRUE(log.has("[GetThumbnailInfoFromURI] Get Video Thumbnail Fail!!"));
  EXPECT_EQ(kPictures + "/NoThumb.JPG", r.path);
  EXPECT_EQ(0, r.offset);
  EXPECT_EQ(static_cast<int>(DMSAppGetFileSize((kPictures + "/NoThumb.JPG").c_str())), r.length);
  EXPECT_EQ(0, r.video);  // read from the file, not from memory
  EXPECT_EQ(1, r.substitute);
  EXPECT_EQ("", r.bytes);
}

TEST_F(Thumbnail, ImageWithoutEmbeddedThumbnailGetsTheNoSupportPictureInMemory) {
  ImageRow row;
  row.thumbOffset = 0;
  row.thumbLength = 0;
  seed(content_test::insertImageSql(row));
  NUVSetConfiguration("SUBSTITUTE-PICTURE-DIR", (kPictures + "/").c_str());
  Result r = lookup("/nuvthumb/1.jpg");
  EXPECT_TRUE(r.ok);
  EXPECT_EQ(kPictures + "/NoSupport.JPG", r.path);
  EXPECT_EQ(1, r.video);  // bytes come from the buffer
  EXPECT_EQ(1, r.substitute);
  EXPECT_EQ(content_test::readFile(kPictures + "/NoSupport.JPG"), r.bytes);
  EXPECT_EQ("\xFF\xD8", r.bytes.substr(0, 2));
}

TEST_F(Thumbnail, SubstitutesDefaultToTheCameraDirectory) {
  seed(content_test::insertVideoSql(VideoRow()));
  LogCapture log;
  Result r = lookup("/nuvthumbvideo/3.jpg");
  EXPECT_FALSE(r.ok);  // not present on this host
  EXPECT_TRUE(
      log.has("[MultiMediaDbConnector] substitute picture missing: "
              "/mnt/mmc/config/DMS/xml/NoThumb.JPG"));
  EXPECT_EQ(-7, r.offset);  // outputs untouched on failure
}

TEST_F(Thumbnail, SubstitutePicturesAreSmallJpegs) {
  for (const char* name : {"/NoThumb.JPG", "/NoSupport.JPG"}) {
    std::string bytes = content_test::readFile(kPictures + name);
    EXPECT_GT(bytes.size(), 100u) << name;
    EXPECT_LT(bytes.size(), 10u * 1024u) << name;
    EXPECT_EQ("\xFF\xD8\xFF", bytes.substr(0, 3)) << name;
    EXPECT_EQ("\xFF\xD9", bytes.substr(bytes.size() - 2)) << name;
  }
}

TEST_F(Thumbnail, NoSupportBufferFailuresAreLogged) {
  MultiMediaDbConnector* connector = db();
  char* buffer = nullptr;
  unsigned int size = 0;
  LogCapture log;
  EXPECT_EQ(1, connector->GetNoSupportImgBuffer("/nonexistent/NoSupport.JPG", 0, 0, buffer, size));
  EXPECT_TRUE(
      log.has("[MultiMediaDbConnector::GetNoSupportImgBuffer] DMSAPP_INVALID_FILE_HANDLE!!!"));
  std::string empty = content_test::scratchPath("empty.jpg");
  content_test::writeFile(empty, "");
  EXPECT_EQ(1, connector->GetNoSupportImgBuffer(empty.c_str(), 0, 0, buffer, size));
  EXPECT_TRUE(log.has("[MultiMediaDbConnector::GetNoSupportImgBuffer] nReadBytes size error!!!"));
  std::string picture = kPictures + "/NoSupport.JPG";
  EXPECT_EQ(1, connector->GetNoSupportImgBuffer(picture.c_str(), -4, 0, buffer, size));
  EXPECT_TRUE(log.has("[MultiMediaDbConnector::GetNoSupportImgBuffer] seek error!!!"));
  EXPECT_EQ(1, connector->GetNoSupportImgBuffer(picture.c_str(), 0, 10, buffer, size));
  EXPECT_EQ(nullptr, buffer);
  ASSERT_EQ(0, connector->GetNoSupportImgBuffer(picture.c_str(), 2, 0, buffer, size));
  DMSAppMemText owned(buffer);
  EXPECT_EQ(content_test::readFile(picture).substr(2), std::string(buffer, size));
}

}  // namespace

TEST_F(Lookup, ItemObjectIdOfAKnownImageIsKindDollarId) {
  ImageRow r;
  r.id = 17;
  r.path = "/media/DCIM/100CAMRA/IMG_0017.JPG";
  r.uri = "/nuvmedia/17.jpg";
  seed(content_test::insertImageSql(r));
  DMSAppMemText id(DMSGetItemObjectID(r.path.c_str()));
  ASSERT_NE(id, nullptr);
  EXPECT_STREQ(id.get(), "1$17");
  EXPECT_EQ(DMSGetItemObjectID("/media/DCIM/unknown.jpg"), nullptr);
  EXPECT_EQ(DMSGetItemObjectID(nullptr), nullptr);
}
