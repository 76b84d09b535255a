// The camera platform's thumbnail renderer: movie frames and photos without
// an embedded thumbnail, rendered once and then served from the cache.
#include <dirent.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "dms_camera.h"
#include "failing_allocations.h"
#include "nuv_config.h"
#include "scanner_test_support.h"

using scanner_test::mediaPath;

namespace {

class CameraThumbnail : public ::testing::Test {
 protected:
  void SetUp() override {
    cacheDir_ = content_test::scratchPath("thumbs");
    content_test::removeTree(cacheDir_);
    NUVSetConfiguration("THUMBNAIL-CACHE-DIR", cacheDir_.c_str());
  }
  void TearDown() override { NUVClearConfiguration(); }

  std::vector<std::string> cached() {
    std::vector<std::string> names;
    DIR* d = opendir(cacheDir_.c_str());
    if (d == nullptr) return names;
    while (dirent* e = readdir(d))
      if (e->d_name[0] != '.') names.push_back(e->d_name);
    closedir(d);
    return names;
  }

  // Size of the rendered picture, read back by the JPEG reader.
  static void pictureSize(const std::string& bytes, int* width, int* height) {
    const std::string file = content_test::scratchPath("rendered.jpg");
    content_test::writeFile(file, bytes);
    ASLWifiJpegMainInfo info{};
    ASSERT_EQ(0, ASLWifi_getJpegMainInfo(file.c_str(), &info));
    *width = info.width;
    *height = info.height;
  }

  std::string cacheDir_;
};

std::string take(char* buffer, unsigned int size) {
  std::string bytes(buffer, size);
  free(buffer);
  return bytes;
}

TEST_F(CameraThumbnail, MovieFrameIsAJpegWithin160KeepingAspect) {
  struct {
    const char* file;
    int width;
    int height;
  } movies[] = {{"video/sample_h264_aac.mp4", 160, 107},
                {"video/flir_thermal.mp4", 120, 160},
                {"card/DCIM/100CANON/MVI_0314.AVI", 160, 120},
                {"video/apple_iphonexr_IMG_3589.mov", 160, 120}};
  for (const auto& m : movies) {
    SCOPED_TRACE(m.file);
    char* buffer = nullptr;
    unsigned int size = 0;
    ASSERT_EQ(0, ASLWifi_getMovieThumbBuffer(mediaPath(m.file).c_str(), &buffer, &size));
    ASSERT_NE(nullptr, buffer);
    std::string bytes = take(buffer, size);
    ASSERT_GT(bytes.size(), 100u);
    int w = 0;
    int h = 0;
    pictureSize(bytes, &w, &h);
    EXPECT_EQ(m.width, w);
    EXPECT_EQ(m.height, h);
  }
}

TEST_F(CameraThumbnail, SecondRequestIsServedFromTheCacheWithoutDecoding) {
  const std::string movie = mediaPath("video/sample_h264_aac.mp4");
  char* buffer = nullptr;
  unsigned int size = 0;
  ASSERT_EQ(0, ASLWifi_getMovieThumbBuffer(movie.c_str(), &buffer, &size));
  std::string first = take(buffer, size);
  std::vector<std::string> entries = cached();
  ASSERT_EQ(1u, entries.size());
  // Replace the cached picture: if the second request decoded the movie it
  // would not return these bytes.
  const std::string marker = "\xFF\xD8 cached marker \xFF\xD9";
  content_test::writeFile(cacheDir_ + "/" + entries[0], marker);
  ASSERT_EQ(0, ASLWifi_getMovieThumbBuffer(movie.c_str(), &buffer, &size));
  EXPECT_EQ(marker, take(buffer, size));
  EXPECT_NE(marker, first);
}

TEST_F(CameraThumbnail, ChangedFileGetsANewCacheEntry) {
  const std::string copy = content_test::scratchPath("movie.mp4");
  scanner_test::copyFile(mediaPath("video/sample_h264_aac.mp4"), copy);
  char* buffer = nullptr;
  unsigned int size = 0;
  ASSERT_EQ(0, ASLWifi_getMovieThumbBuffer(copy.c_str(), &buffer, &size));
  free(buffer);
  scanner_test::setMtime(copy, 1000000000);
  ASSERT_EQ(0, ASLWifi_getMovieThumbBuffer(copy.c_str(), &buffer, &size));
  free(buffer);
  EXPECT_EQ(2u, cached().size());
}

TEST_F(CameraThumbnail, PhotoWithoutThumbnailIsRenderedSmall) {
  for (const char* file :
       {"photos/apple_iphone4.jpg", "photos/orientation5_landscape.jpg",
        "photos/truncated_google_pixel4xl.jpg", "photos/noexif_london_without_app1.jpg"}) {
    SCOPED_TRACE(file);
    ASLWifiJpegMainInfo info{};
    ASSERT_EQ(0, ASLWifi_getJpegMainInfo(mediaPath(file).c_str(), &info));
    char* buffer = nullptr;
    unsigned int size = 0;
    ASSERT_EQ(0, ASLWifi_getJpegThumbBuffer(mediaPath(file).c_str(), &buffer, &size));
    std::string bytes = take(buffer, size);
    int w = 0;
    int h = 0;
    pictureSize(bytes, &w, &h);
    int ew = 0;
    int eh = 0;
    ASLWifi_thumbSize(info.width, info.height, &ew, &eh);
    EXPECT_EQ(ew, w);
    EXPECT_EQ(eh, h);
  }
}

TEST_F(CameraThumbnail, WithoutCacheFolderStillRenders) {
  NUVClearConfiguration();
  char* buffer = nullptr;
  unsigned int size = 0;
  ASSERT_EQ(
      0, ASLWifi_getJpegThumbBuffer(mediaPath("photos/apple_iphone4.jpg").c_str(), &buffer, &size));
  free(buffer);
  EXPECT_TRUE(cached().empty());
}

TEST_F(CameraThumbnail, UnreadableInputsFail) {
  char* buffer = nullptr;
  unsigned int size = 0;
  EXPECT_NE(0, ASLWifi_getMovieThumbBuffer("/nonexistent.mp4", &buffer, &size));
  EXPECT_EQ(nullptr, buffer);
  EXPECT_NE(0, ASLWifi_getMovieThumbBuffer(mediaPath("music/bear-cbr-notags.mp3").c_str(), &buffer,
                                           &size));
  const std::string junk = content_test::scratchPath("junk.jpg");
  content_test::writeFile(junk, "\xFF\xD8\xFF\xE0 not really a picture");
  EXPECT_NE(0, ASLWifi_getJpegThumbBuffer(junk.c_str(), &buffer, &size));
  EXPECT_NE(0, ASLWifi_getJpegThumbBuffer(nullptr, &buffer, &size));
  EXPECT_NE(0, ASLWifi_getJpegThumbBuffer(junk.c_str(), nullptr, &size));
}

// An allocation failure anywhere in a render is the call's failure result,
// never an exception out of the library, and leaks nothing (ASan).
TEST_F(CameraThumbnail, AllocationFailureInARenderBecomesItsFailureResult) {
  const std::string photo = mediaPath("photos/polaroid_pdc640m_POL_0136.JPG");
  const int points = failing_allocations::sweep(
      [&] {
        char* buffer = nullptr;
        unsigned int size = 0;
        const int rc = ASLWifi_getJpegThumbBuffer(photo.c_str(), &buffer, &size);
        const bool handedOut = buffer != nullptr && size > 0;
        free(buffer);
        return std::make_pair(rc, handedOut);
      },
      [](std::pair<int, bool> result, bool failed) {
        EXPECT_TRUE((result.first == 0 && result.second) || (failed && result.first == 1))
            << result.first;
      });
  EXPECT_GT(points, 0);
}

}  // namespace
