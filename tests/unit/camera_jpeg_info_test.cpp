// The camera platform's JPEG reader on real photos, against the offsets of
// the samples' documentation and against exiftool.
#include <gtest/gtest.h>

#include "dms_camera.h"
#include "failing_allocations.h"
#include "scanner_test_support.h"

using scanner_test::mediaPath;

namespace {

struct Expected {
  const char* file;
  int width;
  int height;
  long long thumbOffset;  // 0: no usable thumbnail
  long long thumbLength;
  int thumbWidth;
  int thumbHeight;
  long long screenOffset;  // 0: no screennail
  long long screenLength;
  int screenWidth;
  int screenHeight;
};

// From the samples' SOURCES.md.
const Expected kPhotos[] = {
    {"photos/canon_eos-rp__MG_0635.JPG", 3120, 2080, 16880, 10797, 160, 120, 671235, 175601, 1620,
     1080},
    {"photos/sony_slt-a57__DSC8832.JPG", 3568, 2368, 37176, 6727, 160, 120, 1088512, 393194, 1616,
     1080},
    {"photos/panasonic_dmc-lx7.jpg", 3648, 2736, 11776, 10032, 160, 120, 3428864, 718934, 1440,
     1080},
    {"photos/sony_slt-a57__DSC8833.JPG", 2448, 1624, 37164, 6738, 160, 120, 0, 0, 0, 0},
    {"photos/apple_iphone13pro_IMG_8568.JPG", 4032, 3024, 2608, 5854, 160, 120, 0, 0, 0, 0},
    {"photos/nintendo_3ds_frozenpond.mpo", 640, 480, 694, 6610, 160, 120, 0, 0, 0, 0},
    {"photos/google_pixel8_ultrahdr.jpg", 3072, 4080, 1306, 25962, 384, 510, 0, 0, 0, 0},
    {"photos/hp_c200_DSC00001.JPG", 576, 436, 874, 2452, 80, 60, 0, 0, 0, 0},
    {"photos/google_pixel7pro_london.jpg", 1020, 768, 1156, 7831, 256, 192, 0, 0, 0, 0},
    {"photos/polaroid_pdc640m_POL_0136.JPG", 640, 480, 0, 0, 0, 0, 0, 0, 0, 0},
    {"photos/kodak_dc210_DCP15614.JPG", 1152, 864, 0, 0, 0, 0, 0, 0, 0, 0},
    {"photos/canon_eos-d60.jpg", 1772, 1181, 0, 0, 0, 0, 0, 0, 0, 0},
    {"photos/sony_mavica-fd5_MVC-004S.JPG", 640, 480, 0, 0, 0, 0, 0, 0, 0, 0},
    {"photos/truncated_google_pixel4xl.jpg", 4032, 3024, 0, 0, 0, 0, 0, 0, 0, 0},
    {"card/DCIM/100_PANA/P1000240.JPG", 1280, 960, 740, 2685, 160, 120, 0, 0, 0, 0},
};

TEST(CameraJpegInfo, SamplesGiveTheDocumentedSizesAndOffsets) {
  for (const Expected& e : kPhotos) {
    SCOPED_TRACE(e.file);
    ASLWifiJpegMainInfo info{};
    ASLWifiJpegPicture screen{};
    ASLWifiJpegPicture thumb{};
    ASSERT_EQ(0, ASLWifi_getJpegInfo(mediaPath(e.file).c_str(), &info, &screen, &thumb));
    EXPECT_EQ(e.width, info.width);
    EXPECT_EQ(e.height, info.height);
    EXPECT_EQ(e.thumbOffset != 0 ? 1 : 0, thumb.present);
    EXPECT_EQ(e.thumbOffset, thumb.offset);
    EXPECT_EQ(e.thumbLength, thumb.length);
    EXPECT_EQ(e.thumbWidth, thumb.width);
    EXPECT_EQ(e.thumbHeight, thumb.height);
    EXPECT_EQ(e.screenOffset != 0 ? 1 : 0, screen.present);
    EXPECT_EQ(e.screenOffset, screen.offset);
    EXPECT_EQ(e.screenLength, screen.length);
    EXPECT_EQ(e.screenWidth, screen.width);
    EXPECT_EQ(e.screenHeight, screen.height);
  }
}

TEST(CameraJpegInfo, ThumbnailBytesEqualWhatExiftoolExtracts) {
  for (const char* file : {"photos/canon_eos-rp__MG_0635.JPG", "photos/nikon_d90_DSC_0003.JPG",
                           "photos/samsung_gt-i9000.jpg", "card/DCIM/100EPSON/EPSN0012.JPG"}) {
    SCOPED_TRACE(file);
    ASLWifiJpegPicture thumb{};
    ASSERT_EQ(0, ASLWifi_getJpegThumbnaillInfo(mediaPath(file).c_str(), &thumb));
    ASSERT_EQ(1, thumb.present);
    std::string extracted =
        scanner_test::run("exiftool -b -ThumbnailImage " + scanner_test::shq(mediaPath(file)));
    ASSERT_FALSE(extracted.empty());
    EXPECT_EQ(extracted, scanner_test::bytesAt(mediaPath(file), thumb.offset, thumb.length));
  }
}

TEST(CameraJpegInfo, ScreennailIsTheMpfLargeThumbnailExiftoolReports) {
  const std::string file = mediaPath("photos/sony_slt-a57__DSC8832.JPG");
  ASLWifiJpegPicture screen{};
  ASSERT_EQ(0, ASLWifi_getJpegScreennailInfo(file.c_str(), &screen));
  std::string starts =
      scanner_test::run("exiftool -s3 -n -a -MPImageStart " + scanner_test::shq(file));
  EXPECT_NE(std::string::npos, starts.find(std::to_string(screen.offset))) << starts;
}

TEST(CameraJpegInfo, DateTitleAndDescriptionComeFromExif) {
  ASLWifiJpegMainInfo info{};
  ASSERT_EQ(0,
            ASLWifi_getJpegMainInfo(mediaPath("photos/canon_eos-rp__MG_0635.JPG").c_str(), &info));
  EXPECT_STREQ("2020-02-18T08:56:13", info.date);
  EXPECT_EQ(1, info.baseline);
  ASSERT_EQ(0,
            ASLWifi_getJpegMainInfo(mediaPath("photos/olympus_c3000_PA250004.JPG").c_str(), &info));
  EXPECT_EQ(
      scanner_test::exiftool(mediaPath("photos/olympus_c3000_PA250004.JPG"), "ImageDescription"),
      std::string(info.description));
}

TEST(CameraJpegInfo, ProgressivePhotoIsNotBaseline) {
  ASLWifiJpegMainInfo info{};
  ASSERT_EQ(
      0, ASLWifi_getJpegMainInfo(mediaPath("photos/google_pixel7pro_london.jpg").c_str(), &info));
  EXPECT_EQ(0, info.baseline);
}

TEST(CameraJpegInfo, NonJpegAndMissingFilesFailWithZeroedOutputs) {
  ASLWifiJpegMainInfo info{};
  info.width = 7;
  EXPECT_NE(0, ASLWifi_getJpegMainInfo(mediaPath("music/bear-cbr-notags.mp3").c_str(), &info));
  EXPECT_EQ(0, info.width);
  EXPECT_NE(0, ASLWifi_getJpegMainInfo("/nonexistent/file.jpg", &info));
  EXPECT_NE(0, ASLWifi_getJpegMainInfo(nullptr, &info));
  EXPECT_NE(0, ASLWifi_getJpegMainInfo(mediaPath("photos").c_str(), &info));
}

TEST(CameraJpegInfo, HeaderCutShortIsRefusedNotOverread) {
  std::string all = content_test::readFile(mediaPath("photos/canon_eos-rp__MG_0635.JPG"));
  const std::string cut = content_test::scratchPath("cut.jpg");
  for (size_t length : {size_t{1}, size_t{3}, size_t{100}, size_t{20000}}) {
    content_test::writeFile(cut, all.substr(0, length));
    ASLWifiJpegMainInfo info{};
    ASLWifiJpegPicture thumb{};
    EXPECT_NE(0, ASLWifi_getJpegInfo(cut.c_str(), &info, nullptr, &thumb)) << length;
    EXPECT_EQ(0, thumb.present);
  }
}

// An allocation failure while reading is the call's failure result, with
// the outputs zeroed, never an exception out of the library.
TEST(CameraJpegInfo, AllocationFailureWhileReadingBecomesItsFailureResult) {
  const std::string photo = mediaPath("photos/canon_eos-rp__MG_0635.JPG");
  const int points = failing_allocations::sweep(
      [&] {
        ASLWifiJpegMainInfo info{};
        ASLWifiJpegPicture screen{};
        ASLWifiJpegPicture thumb{};
        const int rc = ASLWifi_getJpegInfo(photo.c_str(), &info, &screen, &thumb);
        return std::make_pair(rc, info.width);
      },
      [](std::pair<int, int> result, bool failed) {
        if (failed && result.first != 0) return;
        EXPECT_EQ(0, result.first);
        EXPECT_EQ(3120, result.second);
      });
  EXPECT_GT(points, 0);
}

TEST(CameraJpegInfo, ThumbSizeKeepsAspectWithin160) {
  int w = 0;
  int h = 0;
  ASLWifi_thumbSize(3120, 2080, &w, &h);
  EXPECT_EQ(160, w);
  EXPECT_EQ(107, h);
  ASLWifi_thumbSize(1080, 1440, &w, &h);
  EXPECT_EQ(120, w);
  EXPECT_EQ(160, h);
  ASLWifi_thumbSize(100, 50, &w, &h);  // never enlarged
  EXPECT_EQ(100, w);
  EXPECT_EQ(50, h);
  ASLWifi_thumbSize(10000, 1, &w, &h);
  EXPECT_EQ(160, w);
  EXPECT_EQ(1, h);
}

}  // namespace
