// RVFStreamingThruGet against a fake producer: the video URLs and their
// quality changes, the header-frame rule, the one-slot hand-off, stop and
// pause, the small image of the last photo, event 55 and every log line.
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "dms_live_view.h"
#include "dms_live_view_server.h"
#include "fake_http.h"
#include "fake_live_view.h"
#include "gtest/gtest.h"
#include "log_capture.h"
#include "nuv_config.h"
#include "rvf_streaming_thru_get.h"
#include "transfer_test_support.h"

using transfer_test::eventually;
using transfer_test::pattern;

namespace {

const char* const kVideoType = "video/x-avi \nCache-Control: no-cache";
const char* const kPhotoType = "image/jpeg \nCache-Control: no-cache";
const char* const kFeatures =
    "DLNA.ORG_PN=AVC_MP4_BL_CIF15_AAC_520;DLNA.ORG_OP=01;DLNA.ORG_CI=0;DLNA.ORG_FLAGS="
    "01500000000000000000000000000000";

// Hands frames over as a camera does: into the slot, Ready4Read, then waits
// for ReadComplete before the next one. The frames' memory stays its own.
class FakeProducer {
 public:
  explicit FakeProducer(std::vector<std::string> frames) : frames_(std::move(frames)) {}
  ~FakeProducer() { join(); }

  void start() {
    thread_ = std::thread([this] {
      FakeLiveView& camera = FakeLiveView::instance();
      for (const std::string& frame : frames_) {
        DMSLiveViewSetBufferPtr(const_cast<char*>(frame.data()),
                                static_cast<long long>(frame.size()));
        sem_post(&camera.ready4Read);
        if (!waitCompleted()) return;
        ++completed_;
      }
    });
  }
  void join() {
    if (thread_.joinable()) thread_.join();
  }
  int completed() const { return completed_.load(); }
  const std::string& frame(size_t i) const { return frames_[i]; }

 private:
  bool waitCompleted() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end) {
      if (sem_trywait(&FakeLiveView::instance().readComplete) == 0) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
  }

  std::vector<std::string> frames_;
  std::atomic<int> completed_{0};
  std::thread thread_;
};

class LiveView : public ::testing::Test {
 protected:
  void SetUp() override {
    FakeHttp::instance().reset();
    FakeLiveView::instance().reset();
    RVFStreamingThruGet::SetStartSettleMsForTest(0);
    DMSLiveViewSetStreamingStop(false);
    DMSLiveViewSetBufferPtr(nullptr, 0);
    DMSLiveViewResumeStreaming();
    char folder[] = "/tmp/dms_live_view_XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    dir_ = folder;
    NUVSetConfiguration("LAST-PHOTO-DIR", dir_.c_str());
    ASSERT_EQ(DMSLiveViewSetLastTakenPhotoName("111.jpg"), 0);
  }
  void TearDown() override {
    NUVSetConfiguration("LAST-PHOTO-DIR", "");
    DMSLiveViewSetStreamingStop(false);
    RVFStreamingThruGet::SetStartSettleMsForTest(1000);
    system(("rm -rf '" + dir_ + "'").c_str());
  }

  static bool request(RVFStreamingThruGet& handler, const std::string& target) {
    return handler.HandleHeader(FakeHttp::instance().makeRequest(NUV_HTTP_GET, target));
  }
  static bool answered(size_t count = 1) {
    return eventually([count] { return FakeHttp::instance().responses().size() >= count; });
  }
  static FakeHttpResponse response() { return FakeHttp::instance().responses().back(); }
  static bool packetsArrive(size_t count) {
    return eventually([count] { return FakeHttp::instance().packets().size() >= count; });
  }
  static FakeHttpPacket packet(size_t i) { return FakeHttp::instance().packets().at(i); }
  std::string writePhoto(const std::string& name, const std::string& bytes) {
    const std::string path = dir_ + "/" + name;
    FILE* f = fopen(path.c_str(), "wb");
    if (f == nullptr) return "";
    fwrite(bytes.data(), 1, bytes.size(), f);
    fclose(f);
    return path;
  }

  std::string dir_;
};

std::vector<std::string> cameraCalls() { return FakeLiveView::instance().calls(); }

}  // namespace

// ---- The video URLs ---------------------------------------------------------

TEST_F(LiveView, FullSizeUrlStartsTheEncoderAndAnswersWithTheVideoHeader) {
  LogCapture log;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  const FakeHttpResponse r = response();
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.connectionHeader, "close");
  EXPECT_EQ(r.contentType, kVideoType);
  EXPECT_FALSE(r.hasContentLength);
  EXPECT_TRUE(r.http11);
  EXPECT_FALSE(r.headerOnly);
  ASSERT_EQ(r.headers.size(), 2u);
  EXPECT_EQ(r.headers[0],
            std::make_pair(std::string("contentFeatures.dlna.org"), std::string(kFeatures)));
  EXPECT_EQ(r.headers[1],
            std::make_pair(std::string("transferMode.dlna.org"), std::string("Streaming")));
  EXPECT_EQ(cameraCalls(), (std::vector<std::string>{"get_Isvideo_hotswap()", "mpeg_start()"}))
      << "full size without a running stream sets no quality";
  EXPECT_TRUE(eventually([] { return FakeHttp::instance().unreleasedRequests() == 0; }));
  EXPECT_TRUE(log.has(" [RVFStreamingThruGet::setStreamingQuality]....VGA....0\n"));
  EXPECT_TRUE(log.has(" [RVFStreamingThruGet::setStreamingQuality] 222 !!\n"));
  EXPECT_TRUE(log.has("[RVFStreamingThruGet::start_RVF_streaming ()] is called \n"));
}

TEST_F(LiveView, EscapedVideoUrlIsUnescapedFirst) {
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/livestream%2Eavi"));
  ASSERT_TRUE(answered());
  EXPECT_EQ(response().status, 200);
  EXPECT_EQ(FakeLiveView::instance().count("mpeg_start"), 1u);
}

TEST_F(LiveView, QvgaUrlSetsQualityOneAndAnswersOnlyOnceItIsApplied) {
  LogCapture log;
  FakeLiveView::instance().postQuality = false;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/qvga_livestream.avi"));
  ASSERT_TRUE(
      eventually([] { return FakeLiveView::instance().count("setStreamQuality(1)") == 1; }));
  EXPECT_TRUE(FakeHttp::instance().responses().empty()) << "waits for the quality semaphore";
  EXPECT_EQ(FakeLiveView::instance().count("mpeg_start"), 0u);
  sem_post(&FakeLiveView::instance().streamQuality);
  ASSERT_TRUE(answered());
  EXPECT_EQ(response().status, 200);
  EXPECT_EQ(cameraCalls(), (std::vector<std::string>{"get_Isvideo_hotswap()", "setStreamQuality(1)",
                                                     "mpeg_start()"}));
  EXPECT_TRUE(log.has(" [RVFStreamingThruGet::setStreamingQuality]....QVGA....0\n"));
}

TEST_F(LiveView, QualityThatCannotBeSetAnswers503AndClearsTheHotSwapState) {
  LogCapture log;
  FakeLiveView::instance().qualityResult = false;
  auto handler = std::make_unique<RVFStreamingThruGet>(1, 7);
  EXPECT_TRUE(request(*handler, "/qvga_livestream.avi"));
  ASSERT_TRUE(answered());
  const FakeHttpResponse r = response();
  EXPECT_EQ(r.status, 503);
  EXPECT_TRUE(r.headerOnly);
  EXPECT_EQ(r.connectionHeader, "close");
  ASSERT_TRUE(
      eventually([] { return FakeLiveView::instance().count("set_Isvideo_hotswap(false)") == 1; }));
  EXPECT_EQ(FakeLiveView::instance().count("mpeg_start"), 0u);
  EXPECT_TRUE(log.has(
      "RVFStreamingThruGet::setStreamingQuality() CDSRVF_Sysfunc_setStreamQuality () returns "
      "FALSE \n"));
  handler.reset();
  EXPECT_EQ(FakeLiveView::instance().count("send_RVF_async_event(55, null, 0)"), 1u);
}

TEST_F(LiveView, QualityThatIsNeverAppliedEndsIn503WithTheTimeOutErrno) {
  LogCapture log;
  FakeLiveView::instance().postQuality = false;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/qvga_livestream.avi"));
  ASSERT_TRUE(answered());
  EXPECT_EQ(response().status, 503);
  EXPECT_TRUE(log.has(
      "CDSRVF_Sysfunc_setStreamQuality() sem_wait errno = " + std::to_string(ETIMEDOUT) + "\n"));
}

TEST_F(LiveView, EncoderThatDoesNotStartAnswers503) {
  LogCapture log;
  FakeLiveView::instance().startResult = false;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  EXPECT_EQ(response().status, 503);
  EXPECT_TRUE(log.has(
      "RVFStreamingThruGet::start_RVF_streaming () CDSRVF_Mpegfunc_mpeg_start () returns FALSE "
      "\n"));
}

TEST_F(LiveView, QualitySwitchOfARunningStreamStopsAndRestartsTheEncoder) {
  LogCapture log;
  FakeLiveView& camera = FakeLiveView::instance();
  camera.hotswap = true;
  sem_post(&camera.ready4Read);  // left over from the running stream
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/qvga_livestream.avi"));
  ASSERT_TRUE(answered());
  EXPECT_EQ(response().status, 200);
  EXPECT_EQ(cameraCalls(), (std::vector<std::string>{"get_Isvideo_hotswap()", "mpeg_stop()",
                                                     "set_Streaming_stop_status(true)",
                                                     "setStreamQuality(1)", "mpeg_start()"}));
  EXPECT_EQ(SemaphoreValue(&camera.ready4Read), 0) << "counts start afresh";
  EXPECT_EQ(SemaphoreValue(&camera.readComplete), 0);
  EXPECT_TRUE(log.has(" [RVFStreamingThruGet::setStreamingQuality]....QVGA....1\n"));
}

TEST_F(LiveView, SwitchBackToFullSizeDuringAStreamSetsQualityZero) {
  FakeLiveView::instance().hotswap = true;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  EXPECT_EQ(FakeLiveView::instance().count("setStreamQuality(0)"), 1u);
}

TEST_F(LiveView, EncoderThatDoesNotReportItsStopIsWaitedForBoundedly) {
  LogCapture log;
  FakeLiveView::instance().hotswap = true;
  FakeLiveView::instance().postStopped = false;
  FakeLiveView::instance().stopResult = false;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  EXPECT_EQ(response().status, 200) << "the quality is still applied";
  EXPECT_TRUE(log.has(
      "RVFStreamingThruGet::setStreamingQuality() CDSRVF_Mpegfunc_mpeg_stop () returns FALSE \n"));
  EXPECT_TRUE(
      log.has("CDSRVF_Mpegfunc_mpeg_stop () sem_wait errno = " + std::to_string(ETIMEDOUT) + "\n"));
}

TEST_F(LiveView, QualitySwitchDuringAStreamHandsTheNewStreamToTheNewRequest) {
  FakeProducer full({std::string(224, 'F'), pattern(6000)});
  RVFStreamingThruGet running(1, 7);
  ASSERT_TRUE(request(running, "/livestream.avi"));
  ASSERT_TRUE(answered());
  full.start();
  running.SendResponse(0);
  running.SendResponse(0);
  ASSERT_TRUE(packetsArrive(2));
  full.join();
  FakeLiveView::instance().hotswap = true;  // the encoder still runs
  RVFStreamingThruGet switched(1, 8);
  ASSERT_TRUE(request(switched, "/qvga_livestream.avi"));
  ASSERT_TRUE(answered(2));
  EXPECT_EQ(response().connection, 8);
  EXPECT_EQ(FakeLiveView::instance().count("mpeg_stop"), 1u);
  EXPECT_EQ(FakeLiveView::instance().count("setStreamQuality(1)"), 1u);
  EXPECT_EQ(FakeLiveView::instance().count("mpeg_start"), 2u);
  FakeProducer qvga({std::string(224, 'Q'), pattern(2000)});
  qvga.start();
  switched.SendResponse(0);
  switched.SendResponse(0);
  ASSERT_TRUE(packetsArrive(4));
  EXPECT_EQ(packet(2).connection, 8);
  EXPECT_EQ(packet(2).data, std::string(224, 'Q'));
  EXPECT_EQ(packet(3).data, pattern(2000));
  EXPECT_EQ(packet(3).connection, 8);
}

TEST_F(LiveView, WaitingSenderOfAnOlderStreamEndsWhenANewerOneStarts) {
  LogCapture log;
  FakeProducer full({std::string(224, 'F')});
  RVFStreamingThruGet older(1, 7);
  ASSERT_TRUE(request(older, "/livestream.avi"));
  ASSERT_TRUE(answered());
  full.start();
  older.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  full.join();
  older.SendResponse(0);  // waits for a frame of its stream
  RVFStreamingThruGet newer(1, 8);
  ASSERT_TRUE(request(newer, "/livestream.avi"));
  ASSERT_TRUE(answered(2));
  ASSERT_TRUE(packetsArrive(2));
  EXPECT_EQ(packet(1).connection, 7);
  EXPECT_TRUE(packet(1).last) << "the older stream ends";
  EXPECT_EQ(packet(1).data, "");
  EXPECT_TRUE(log.has("[RVFStreamingThruGet] a newer live view replaced this one"));
  FakeProducer next({std::string(224, 'N')});
  next.start();
  newer.SendResponse(0);
  ASSERT_TRUE(packetsArrive(3));
  EXPECT_EQ(packet(2).connection, 8);
  EXPECT_EQ(packet(2).data, std::string(224, 'N'));
}

// ---- Frames -----------------------------------------------------------------

TEST_F(LiveView, FirstFrameThatIsNotAHeaderIsDroppedAndTheSenderWaitsForTheNext) {
  LogCapture log;
  FakeProducer producer({pattern(100), pattern(224), pattern(5000)});
  RVFStreamingThruGet handler(1, 7);
  ASSERT_TRUE(request(handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  producer.start();
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  EXPECT_EQ(packet(0).data, pattern(224));
  EXPECT_FALSE(packet(0).last);
  EXPECT_TRUE(log.has(
      "[RVFStreamingThruGet::SendResponse] this is first packet but not a header frame (224 "
      "size) so drop this frame\n"));
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(2));
  EXPECT_EQ(packet(1).data, pattern(5000));
  producer.join();
  EXPECT_EQ(producer.completed(), 3) << "the dropped frame was released too";
}

TEST_F(LiveView, FramesGoOutFromTheProducersOwnMemory) {
  FakeProducer producer({std::string(224, 'H'), pattern(30000), pattern(31000)});
  RVFStreamingThruGet handler(1, 7);
  ASSERT_TRUE(request(handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  producer.start();
  for (size_t i = 0; i < 3; ++i) {
    handler.SendResponse(0);
    ASSERT_TRUE(packetsArrive(i + 1));
    EXPECT_EQ(packet(i).source, producer.frame(i).data()) << "frame " << i << " was copied";
    EXPECT_EQ(packet(i).data, producer.frame(i));
    EXPECT_EQ(packet(i).connection, 7);
  }
  producer.join();
  EXPECT_EQ(producer.completed(), 3);
}

TEST_F(LiveView, StopWhileTheSenderWaitsSendsTheSlotAsTheLastPiece) {
  LogCapture log;
  FakeProducer producer({std::string(224, 'H')});
  RVFStreamingThruGet handler(1, 7);
  ASSERT_TRUE(request(handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  producer.start();
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  producer.join();
  handler.SendResponse(0);  // waits: no frame comes
  DMSLiveViewStopStreaming();
  ASSERT_TRUE(packetsArrive(2));
  EXPECT_TRUE(packet(1).last);
  EXPECT_TRUE(log.has("[RVFStreamingThruGet::stop_streaming ()] is called \n"));
}

TEST_F(LiveView, StopBeforeTheHeaderFrameEndsWithTheAbnormalFinishLine) {
  RVFStreamingThruGet handler(1, 7);
  ASSERT_TRUE(request(handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  testing::internal::CaptureStdout();
  handler.SendResponse(0);
  DMSLiveViewStopStreaming();
  ASSERT_TRUE(packetsArrive(1));
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(out.find("[RVFStreamingThruGet::SendResponse] stream was not send!!! abnormal "
                     "finish!!!"),
            std::string::npos);
  EXPECT_TRUE(packet(0).last);
  EXPECT_EQ(packet(0).data, "");
}

TEST_F(LiveView, HeaderFrameAfterAStopIsTheLastPiece) {
  FakeProducer producer({std::string(224, 'H')});
  RVFStreamingThruGet handler(1, 7);
  ASSERT_TRUE(request(handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  DMSLiveViewSetStreamingStop(true);
  producer.start();
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  EXPECT_EQ(packet(0).data.size(), 224u);
  EXPECT_TRUE(packet(0).last);
}

TEST_F(LiveView, DeletingTheHandlerWhileTheProducerStallsReturnsPromptly) {
  auto handler = std::make_unique<RVFStreamingThruGet>(1, 7);
  ASSERT_TRUE(request(*handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  handler->SendResponse(0);  // the producer never sends a frame
  ASSERT_TRUE(eventually([] { return FakeLiveView::instance().count("mpeg_start") == 1; }));
  const auto start = std::chrono::steady_clock::now();
  handler.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_TRUE(FakeHttp::instance().packets().empty());
}

TEST_F(LiveView, DeletingTheHandlerWhileTheQualityChangeWaitsReturnsPromptly) {
  FakeLiveView::instance().postQuality = false;
  auto handler = std::make_unique<RVFStreamingThruGet>(1, 7);
  ASSERT_TRUE(request(*handler, "/qvga_livestream.avi"));
  ASSERT_TRUE(eventually([] { return FakeLiveView::instance().count("setStreamQuality") == 1; }));
  const auto start = std::chrono::steady_clock::now();
  handler.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_TRUE(FakeHttp::instance().responses().empty()) << "nothing after the deletion";
}

TEST_F(LiveView, DestructorRaisesEvent55OnlyWithoutARunningStream) {
  LogCapture log;
  { RVFStreamingThruGet idle(1, 7); }
  EXPECT_EQ(FakeLiveView::instance().count("send_RVF_async_event(55, null, 0)"), 1u);
  EXPECT_TRUE(log.has(" [RVFStreamingThruGet:~RVFStreamingThruGet] is called !!\n"));
  FakeLiveView::instance().hotswap = true;
  { RVFStreamingThruGet running(1, 8); }
  EXPECT_EQ(FakeLiveView::instance().count("send_RVF_async_event"), 1u);
}

TEST_F(LiveView, WithoutSemaphoresNothingIsWaitedOnOrPosted) {
  FakeLiveView::instance().withdrawSemaphores();
  writePhoto("111.jpg_SM", pattern(300));
  FakeLiveView::instance().screenNailSize = 300;
  FakeLiveView::instance().postScreenNail = false;
  RVFStreamingThruGet handler(1, 7);
  ASSERT_TRUE(request(handler, "/111.jpg_SM"));
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  EXPECT_EQ(packet(0).data, pattern(300));
}

// ---- Stop, pause, control ---------------------------------------------------

TEST_F(LiveView, StopAndPauseLogAndSetTheirFlags) {
  LogCapture log;
  DMSLiveViewPauseStreaming();
  EXPECT_TRUE(DMSLiveViewIsPaused());
  DMSLiveViewResumeStreaming();
  EXPECT_FALSE(DMSLiveViewIsPaused());
  EXPECT_TRUE(log.has("[RVFStreamingThruGet::pause_streaming ()] is called \n"));
  EXPECT_TRUE(log.has("[RVFStreamingThruGet::resume_streaming ()] is called \n"));
  DMSLiveViewStopStreaming();
  EXPECT_EQ(SemaphoreValue(&FakeLiveView::instance().ready4Read), 1);
  EXPECT_EQ(SemaphoreValue(&FakeLiveView::instance().readComplete), 1);
}

TEST_F(LiveView, StopRVFStreamingWaitsForTheEncoderToReportItsStop) {
  LogCapture log;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(handler.stop_RVF_streaming());
  EXPECT_TRUE(log.has("[RVFStreamingThruGet::stop_RVF_streaming ()] is called \n"));
  EXPECT_EQ(SemaphoreValue(&FakeLiveView::instance().mpegStopped), 0);
  FakeLiveView::instance().stopResult = false;
  FakeLiveView::instance().postStopped = false;
  EXPECT_FALSE(handler.stop_RVF_streaming());
  EXPECT_TRUE(log.has(
      "VFStreamingThruGet::stop_RVF_streaming () CDSRVF_Mpegfunc_mpeg_stop () returns FALSE \n"));
}

TEST_F(LiveView, StartClearsTheStopFlag) {
  FakeProducer producer({std::string(224, 'H')});
  DMSLiveViewSetStreamingStop(true);
  RVFStreamingThruGet handler(1, 7);
  ASSERT_TRUE(request(handler, "/livestream.avi"));
  ASSERT_TRUE(answered());
  producer.start();
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  EXPECT_FALSE(packet(0).last);
}

// ---- The last photo ---------------------------------------------------------

TEST_F(LiveView, PhotoUrlSendsTheAnnouncedSmallImageInOnePiece) {
  LogCapture log;
  const std::string path = writePhoto("DSC00042.JPG_SM", pattern(5000));
  ASSERT_EQ(DMSLiveViewSetLastTakenPhotoName("DSC00042.JPG"), 0);
  FakeLiveView::instance().screenNailOffset = 1000;
  FakeLiveView::instance().screenNailSize = 2000;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/DSC00042.JPG_SM"));
  ASSERT_EQ(FakeHttp::instance().responses().size(), 1u) << "answered at once";
  const FakeHttpResponse r = response();
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.connectionHeader, "");
  EXPECT_EQ(r.contentType, kPhotoType);
  EXPECT_EQ(r.contentLength, "5000");
  EXPECT_TRUE(r.http11);
  EXPECT_EQ(r.header("contentFeatures.dlna.org"), kFeatures);
  EXPECT_EQ(r.header("transferMode.dlna.org"), "Streaming");
  EXPECT_TRUE(log.has("[RVFStreamingThruGet:HandleHeader] Screen Nail Fila name = " + path + "\n"));
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  EXPECT_EQ(packet(0).data, pattern(5000).substr(1000, 2000));
  EXPECT_TRUE(packet(0).last);
  EXPECT_EQ(FakeLiveView::instance().count("req_ScreenNailInfo(DSC00042.JPG)"), 1u);
  EXPECT_EQ(FakeLiveView::instance().count("mpeg_start"), 0u);
}

TEST_F(LiveView, PhotoWithoutAnAnnouncedSmallImageGetsHeadersAndAnEmptyBody) {
  writePhoto("111.jpg_SM", pattern(10));
  FakeLiveView::instance().screenNailResult = false;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/111.jpg_SM"));
  EXPECT_EQ(response().status, 200);
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  EXPECT_EQ(packet(0).data, "");
  EXPECT_TRUE(packet(0).last);
}

TEST_F(LiveView, PhotoWhoseAnnouncementNeverComesGetsAnEmptyBody) {
  writePhoto("111.jpg_SM", pattern(10));
  FakeLiveView::instance().postScreenNail = false;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/111.jpg_SM"));
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  EXPECT_EQ(packet(0).data, "");
}

TEST_F(LiveView, MissingSmallImageFileAnswers503) {
  RVFStreamingThruGet handler(1, 7);
  EXPECT_FALSE(request(handler, "/111.jpg_SM"));
  EXPECT_EQ(response().status, 503);
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
}

TEST_F(LiveView, PhotoFileNameIsTheTailAfterTheLastSlash) {
  LogCapture log;
  const std::string path = writePhoto("x_SM", pattern(10));
  RVFStreamingThruGet handler(1, 7);
  EXPECT_TRUE(request(handler, "/a/..%2F..%2Fx_SM"));
  EXPECT_TRUE(log.has("[RVFStreamingThruGet:HandleHeader] Screen Nail Fila name = " + path + "\n"));
}

TEST_F(LiveView, AnnouncedSizeBeyondTheBufferIsCutToIt) {
  const size_t big = 1572865 + 1000;
  writePhoto("111.jpg_SM", pattern(big));
  FakeLiveView::instance().screenNailSize = static_cast<long>(big);
  RVFStreamingThruGet handler(1, 7);
  ASSERT_TRUE(request(handler, "/111.jpg_SM"));
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  EXPECT_EQ(packet(0).data.size(), 1572865u);
}

TEST_F(LiveView, NegativeAnnouncedPositionSendsNothing) {
  writePhoto("111.jpg_SM", pattern(100));
  FakeLiveView::instance().screenNailOffset = -5;
  FakeLiveView::instance().screenNailSize = 10;
  RVFStreamingThruGet handler(1, 7);
  ASSERT_TRUE(request(handler, "/111.jpg_SM"));
  handler.SendResponse(0);
  ASSERT_TRUE(packetsArrive(1));
  EXPECT_EQ(packet(0).data, "");
  EXPECT_TRUE(packet(0).last);
}

TEST_F(LiveView, LastTakenPhotoNameStartsAs111AndRefusesPaths) {
  EXPECT_EQ(RVFStreamingThruGet::LastTakenPhotoName(), "111.jpg");
  EXPECT_EQ(DMSLiveViewSetLastTakenPhotoName("../x.jpg"), 1);
  EXPECT_EQ(DMSLiveViewSetLastTakenPhotoName(""), 1);
  EXPECT_EQ(DMSLiveViewSetLastTakenPhotoName(nullptr), 1);
  EXPECT_EQ(RVFStreamingThruGet::LastTakenPhotoName(), "111.jpg");
  EXPECT_EQ(DMSLiveViewSetLastTakenPhotoName("P1.JPG"), 0);
  EXPECT_EQ(RVFStreamingThruGet::LastTakenPhotoName(), "P1.JPG");
}

TEST_F(LiveView, RequestWithoutARecordOrTargetIsRefusedWithItsLogLine) {
  LogCapture log;
  RVFStreamingThruGet handler(1, 7);
  EXPECT_FALSE(handler.HandleHeader(nullptr));
  EXPECT_TRUE(log.has("[RVFStreamingThruGet:HandleHeader] In-Param NULL -- Handle GET Header \n"));
  RVFStreamingThruGet empty(1, 8);
  EXPECT_FALSE(empty.HandleHeader(FakeHttp::instance().makeRequest(NUV_HTTP_GET, "")));
  EXPECT_TRUE(log.has(" [RVFStreamingThruGet:HandleHeader] There is no URI!!!\n"));
  EXPECT_EQ(FakeHttp::instance().unreleasedRequests(), 0);
}
