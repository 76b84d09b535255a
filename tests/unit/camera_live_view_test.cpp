// The host's live-view producer: the AVI framing, the producer's life
// (start, stop, quality, a consumer that goes away, pause), the producer and
// the server's live-view handler together, and the last photo.
#include <turbojpeg.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "avi_stream.h"
#include "dms_camera_host.h"
#include "dms_live_view.h"
#include "dms_live_view_server.h"
#include "fake_http.h"
#include "gtest/gtest.h"
#include "last_photo.h"
#include "live_view_producer.h"
#include "nuv_config.h"
#include "rvf_streaming_thru_get.h"
#include "transfer_test_support.h"

using dms_camera::LiveViewProducer;
using transfer_test::eventually;

namespace {

uint32_t u32(const unsigned char* p) {
  return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
uint16_t u16(const unsigned char* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
std::string tag(const unsigned char* p) { return std::string(reinterpret_cast<const char*>(p), 4); }

int semaphoreValue(sem_t* sem) {
  int value = 0;
  sem_getvalue(sem, &value);
  return value;
}

// Width and height of a JPEG picture, {0, 0} when it does not decode.
std::pair<int, int> jpegSize(const std::string& jpeg) {
  tjhandle tj = tjInitDecompress();
  int width = 0;
  int height = 0;
  int subsampling = 0;
  int colours = 0;
  if (tjDecompressHeader3(tj, reinterpret_cast<const unsigned char*>(jpeg.data()),
                          static_cast<unsigned long>(jpeg.size()), &width, &height, &subsampling,
                          &colours) != 0) {
    width = height = 0;
  }
  tjDestroy(tj);
  return {width, height};
}

class Producer : public ::testing::Test {
 protected:
  void SetUp() override {
    FakeHttp::instance().reset();
    RVFStreamingThruGet::SetStartSettleMsForTest(0);
    DMSLiveViewSetStreamingStop(false);
    DMSLiveViewResumeStreaming();
    std::string error;
    ASSERT_TRUE(producer().Configure("test", &error)) << error;
  }
  void TearDown() override {
    DmsLiveViewShutdown();
    producer().SetConsumerGoneMsForTest(LiveViewProducer::kConsumerGoneMs);
    DMSLiveViewResumeStreaming();
    std::string error;
    producer().Configure("", &error);
    RVFStreamingThruGet::SetStartSettleMsForTest(1000);
  }
  static LiveViewProducer& producer() { return LiveViewProducer::instance(); }
};

}  // namespace

// ---- AVI framing ------------------------------------------------------------

TEST(AviStream, HeaderIs224BytesDescribingOneMjpegStream) {
  const auto h = dms_camera::AviStreamHeader(640, 480, 30.0);
  ASSERT_EQ(h.size(), 224u);
  EXPECT_EQ(tag(&h[0]), "RIFF");
  EXPECT_EQ(u32(&h[4]), 0u) << "open-ended";
  EXPECT_EQ(tag(&h[8]), "AVI ");
  EXPECT_EQ(tag(&h[12]), "LIST");
  EXPECT_EQ(u32(&h[16]), 192u) << "hdrl runs up to the movi list";
  EXPECT_EQ(tag(&h[20]), "hdrl");
  EXPECT_EQ(tag(&h[24]), "avih");
  EXPECT_EQ(u32(&h[28]), 56u);
  EXPECT_EQ(u32(&h[32]), 33333u) << "microseconds per picture";
  EXPECT_EQ(u32(&h[56]), 1u) << "one stream";
  EXPECT_EQ(u32(&h[64]), 640u);
  EXPECT_EQ(u32(&h[68]), 480u);
  EXPECT_EQ(tag(&h[88]), "LIST");
  EXPECT_EQ(u32(&h[92]), 116u);
  EXPECT_EQ(tag(&h[96]), "strl");
  EXPECT_EQ(tag(&h[100]), "strh");
  EXPECT_EQ(tag(&h[108]), "vids");
  EXPECT_EQ(tag(&h[112]), "MJPG");
  EXPECT_EQ(u32(&h[128]), 1000u);
  EXPECT_EQ(u32(&h[132]), 30000u) << "rate / scale = 30";
  EXPECT_EQ(u16(&h[160]), 640u);
  EXPECT_EQ(u16(&h[162]), 480u);
  EXPECT_EQ(tag(&h[164]), "strf");
  EXPECT_EQ(u32(&h[168]), 40u);
  EXPECT_EQ(u32(&h[176]), 640u);
  EXPECT_EQ(u32(&h[180]), 480u);
  EXPECT_EQ(tag(&h[188]), "MJPG");
  EXPECT_EQ(tag(&h[212]), "LIST");
  EXPECT_EQ(tag(&h[220]), "movi");
}

TEST(AviStream, HeaderOfAnUnusableRateAssumes30) {
  const auto h = dms_camera::AviStreamHeader(320, 240, 0.0);
  EXPECT_EQ(u32(&h[32]), 33333u);
  EXPECT_EQ(u32(&h[64]), 320u);
  EXPECT_EQ(u32(&dms_camera::AviStreamHeader(320, 240, 12.5)[32]), 80000u);
}

TEST(AviStream, ChunkCarriesItsPictureSizeAndIsPaddedToEven) {
  std::vector<unsigned char> chunk;
  dms_camera::BeginAviChunk(&chunk);
  EXPECT_FALSE(dms_camera::FinishAviChunk(&chunk)) << "no picture";
  chunk.insert(chunk.end(), {1, 2, 3});
  ASSERT_TRUE(dms_camera::FinishAviChunk(&chunk));
  EXPECT_EQ(tag(chunk.data()), "00dc");
  EXPECT_EQ(u32(&chunk[4]), 3u);
  ASSERT_EQ(chunk.size(), 12u);
  EXPECT_EQ(chunk[11], 0);
}

// ---- The producer -----------------------------------------------------------

TEST_F(Producer, StartsOnceStopsWhenAskedAndReportsItsStop) {
  ASSERT_TRUE(CDSRVF_Mpegfunc_mpeg_start());
  EXPECT_TRUE(CDSRVF_Sysfunc_get_Isvideo_hotswap());
  EXPECT_FALSE(CDSRVF_Mpegfunc_mpeg_start()) << "one stream at a time";
  ASSERT_TRUE(eventually([] { return semaphoreValue(g_RVFsemBufferReady4Read) == 1; }))
      << "the header is handed over";
  ASSERT_TRUE(CDSRVF_Mpegfunc_mpeg_stop());
  ASSERT_EQ(sem_wait(gMpegStopedSemaphore), 0);
  EXPECT_FALSE(CDSRVF_Sysfunc_get_Isvideo_hotswap());
  EXPECT_FALSE(CDSRVF_Mpegfunc_mpeg_stop()) << "nothing runs";
}

TEST_F(Producer, WithoutASourceNothingStarts) {
  std::string error;
  ASSERT_TRUE(producer().Configure("", &error));
  EXPECT_FALSE(CDSRVF_Mpegfunc_mpeg_start());
  EXPECT_FALSE(CDSRVF_Sysfunc_get_Isvideo_hotswap());
}

TEST_F(Producer, SourceThatCannotBeOpenedIsRefusedWithItsReason) {
  char error[256] = {0};
  EXPECT_EQ(DmsLiveViewSetSource("/nonexistent/clip.mp4", error, sizeof(error)), 1);
  EXPECT_NE(std::string(error).find("/nonexistent/clip.mp4"), std::string::npos) << error;
  EXPECT_EQ(DmsLiveViewSetSource("test", error, sizeof(error)), 0);
}

TEST_F(Producer, QualityIsAppliedAndAnnounced) {
  EXPECT_FALSE(CDSRVF_Sysfunc_setStreamQuality(2));
  ASSERT_TRUE(CDSRVF_Sysfunc_setStreamQuality(1));
  EXPECT_EQ(sem_trywait(g_RVFsemStreamQuality), 0);
}

TEST_F(Producer, StreamWhoseFramesNobodyTakesEndsByItself) {
  producer().SetConsumerGoneMsForTest(200);
  ASSERT_TRUE(CDSRVF_Mpegfunc_mpeg_start());
  ASSERT_TRUE(eventually([] { return !CDSRVF_Sysfunc_get_Isvideo_hotswap(); }));
  EXPECT_EQ(semaphoreValue(g_RVFsemBufferReady4Read), 0) << "the untaken frame was taken back";
  EXPECT_TRUE(CDSRVF_Mpegfunc_mpeg_start()) << "the camera is free again";
}

TEST_F(Producer, PausedProducerHandsOverNoPictures) {
  DMSLiveViewPauseStreaming();
  ASSERT_TRUE(CDSRVF_Mpegfunc_mpeg_start());
  ASSERT_EQ(sem_wait(g_RVFsemBufferReady4Read), 0);  // the header
  sem_post(g_RVFsemBufferReadComplete);
  // The thread has seen the pause three times, each time making no frame.
  const unsigned long seen = producer().PausedSlicesForTest();
  ASSERT_TRUE(eventually([seen] { return producer().PausedSlicesForTest() >= seen + 3; }));
  EXPECT_EQ(semaphoreValue(g_RVFsemBufferReady4Read), 0) << "nothing while paused";
  DMSLiveViewResumeStreaming();
  ASSERT_TRUE(eventually([] { return semaphoreValue(g_RVFsemBufferReady4Read) == 1; }));
}

TEST_F(Producer, WithTheHandlerAQvgaRequestGetsAHeaderThenJpegChunks) {
  RVFStreamingThruGet handler(1, 7);
  ASSERT_TRUE(
      handler.HandleHeader(FakeHttp::instance().makeRequest(NUV_HTTP_GET, "/qvga_livestream.avi")));
  ASSERT_TRUE(eventually([] { return FakeHttp::instance().responses().size() == 1; }));
  EXPECT_EQ(FakeHttp::instance().responses()[0].status, 200);
  for (int i = 1; i <= 6; ++i) {
    handler.SendResponse(0);
    ASSERT_TRUE(eventually([i] { return FakeHttp::instance().packets().size() >= size_t(i); }));
  }
  const auto packets = FakeHttp::instance().packets();
  ASSERT_EQ(packets[0].data.size(), 224u);
  const auto* header = reinterpret_cast<const unsigned char*>(packets[0].data.data());
  EXPECT_EQ(u32(header + 64), 320u);
  EXPECT_EQ(u32(header + 68), 240u);
  for (size_t i = 1; i < packets.size(); ++i) {
    const std::string& chunk = packets[i].data;
    ASSERT_GT(chunk.size(), 8u);
    EXPECT_EQ(chunk.substr(0, 4), "00dc");
    const uint32_t size = u32(reinterpret_cast<const unsigned char*>(chunk.data()) + 4);
    ASSERT_LE(size + 8, chunk.size());
    EXPECT_EQ(jpegSize(chunk.substr(8, size)), std::make_pair(320, 240)) << "chunk " << i;
    EXPECT_FALSE(packets[i].last);
  }
}

// ---- The last photo ---------------------------------------------------------

namespace {

class LastPhotoTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char folder[] = "/tmp/dms_last_photo_XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    dir_ = folder;
    NUVSetConfiguration("LAST-PHOTO-DIR", dir_.c_str());
  }
  void TearDown() override {
    NUVSetConfiguration("LAST-PHOTO-DIR", "");
    std::system(("rm -rf '" + dir_ + "'").c_str());
  }
  static std::string slurp(const std::string& path) {
    std::string out;
    FILE* f = fopen(path.c_str(), "rb");
    if (f == nullptr) return "<missing>";
    char buffer[65536];
    size_t n = 0;
    while ((n = fread(buffer, 1, sizeof(buffer), f)) > 0) out.append(buffer, n);
    fclose(f);
    return out;
  }
  static std::string exiftool(const std::string& tagName, const std::string& path) {
    const std::string out = "/tmp/dms_last_photo_exif_" + std::to_string(getpid());
    std::system(("exiftool -b -" + tagName + " '" + path + "' > " + out).c_str());
    std::string bytes = slurp(out);
    std::remove(out.c_str());
    return bytes;
  }
  std::string dir_;
};

const std::string kMedia = DMS_SHARED_MEDIA_DIR;

}  // namespace

TEST_F(LastPhotoTest, ScreennailOfTheNewestPhotoIsKeptAndAnnounced) {
  const std::string photo = kMedia + "/photos/sony_slt-a57__DSC8832.JPG";
  ASSERT_EQ(DmsLiveViewPhotoRegistered(photo.c_str()), 0);
  EXPECT_EQ(RVFStreamingThruGet::LastTakenPhotoName(), "sony_slt-a57__DSC8832.JPG");
  const std::string kept = slurp(dir_ + "/sony_slt-a57__DSC8832.JPG_SM");
  EXPECT_EQ(kept, exiftool("PreviewImage", photo));
  while (sem_trywait(g_RVFsemSNInfo) == 0) {
  }
  ASSERT_TRUE(CDSRVF_req_ScreenNailInfo("sony_slt-a57__DSC8832.JPG"));
  EXPECT_EQ(sem_trywait(g_RVFsemSNInfo), 0);
  EXPECT_FALSE(CDSRVF_req_ScreenNailInfo("other.jpg"));
}

TEST_F(LastPhotoTest, PhotoWithoutScreennailGivesItsExifThumbnailAndReplacesTheOldOne) {
  ASSERT_EQ(DmsLiveViewPhotoRegistered((kMedia + "/photos/sony_slt-a57__DSC8832.JPG").c_str()), 0);
  const std::string photo = kMedia + "/photos/nikon_d90_DSC_0003.JPG";
  ASSERT_EQ(DmsLiveViewPhotoRegistered(photo.c_str()), 0);
  EXPECT_EQ(slurp(dir_ + "/nikon_d90_DSC_0003.JPG_SM"), exiftool("ThumbnailImage", photo));
  EXPECT_EQ(slurp(dir_ + "/sony_slt-a57__DSC8832.JPG_SM"), "<missing>") << "old one removed";
  long offset = -1;
  long size = -1;
  ASSERT_TRUE(
      dms_camera::LastPhoto::instance().SmallImage("nikon_d90_DSC_0003.JPG", &offset, &size));
  EXPECT_EQ(offset, 0);
  EXPECT_EQ(size, static_cast<long>(exiftool("ThumbnailImage", photo).size()));
}

TEST_F(LastPhotoTest, PhotoWithNoSmallImageIsLastButAnnouncesNone) {
  const std::string photo = kMedia + "/photos/apple_iphone4.jpg";
  ASSERT_EQ(DmsLiveViewPhotoRegistered(photo.c_str()), 0);
  EXPECT_EQ(slurp(dir_ + "/apple_iphone4.jpg_SM"), "");
  EXPECT_FALSE(CDSRVF_req_ScreenNailInfo("apple_iphone4.jpg"));
}

TEST_F(LastPhotoTest, FilesThatAreNotPhotosChangeNothing) {
  ASSERT_EQ(DmsLiveViewPhotoRegistered((kMedia + "/photos/nikon_d90_DSC_0003.JPG").c_str()), 0);
  EXPECT_EQ(DmsLiveViewPhotoRegistered("/etc/hostname"), 1);
  EXPECT_EQ(DmsLiveViewPhotoRegistered(nullptr), 1);
  EXPECT_EQ(RVFStreamingThruGet::LastTakenPhotoName(), "nikon_d90_DSC_0003.JPG");
}
