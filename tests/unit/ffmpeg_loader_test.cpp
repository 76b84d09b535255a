// The FFmpeg loader: FFmpeg is mapped only while a use holds it, the calls
// reach the real libraries, and a call without a use keeps them for good.
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libavutil/mathematics.h>
}

#include <cerrno>
#include <fstream>
#include <string>

#include "ffmpeg_loader.h"
#include "log_capture.h"

namespace {

// Whether a library whose path contains `name` is mapped into this process.
bool mapped(const std::string& name) {
  std::ifstream maps("/proc/self/maps");
  std::string line;
  while (std::getline(maps, line))
    if (line.find(name) != std::string::npos) return true;
  return false;
}

TEST(FFmpegLoader, MappedOnlyWhileAUseHoldsIt) {
  ASSERT_FALSE(mapped("libavcodec.so")) << "the test links FFmpeg itself";
  EXPECT_FALSE(dms_ffmpeg::loadedForTest());
  {
    dms_ffmpeg::FFmpegUse outer;
    EXPECT_TRUE(outer.available());
    EXPECT_TRUE(dms_ffmpeg::loadedForTest());
    EXPECT_TRUE(mapped("libavformat.so"));
    EXPECT_TRUE(mapped("libavcodec.so"));
    {
      dms_ffmpeg::FFmpegUse inner;
      EXPECT_TRUE(inner.available());
    }
    // The outer use still holds it.
    EXPECT_TRUE(mapped("libavcodec.so"));
    AVFrame* frame = av_frame_alloc();
    EXPECT_NE(frame, nullptr);
    av_frame_free(&frame);
    EXPECT_EQ(frame, nullptr);
  }
  EXPECT_FALSE(dms_ffmpeg::pinnedForTest() && dms_ffmpeg::unloadsForTest());
  EXPECT_EQ(dms_ffmpeg::loadedForTest(), !dms_ffmpeg::unloadsForTest());
  EXPECT_EQ(mapped("libavcodec.so"), !dms_ffmpeg::unloadsForTest());
}

TEST(FFmpegLoader, LoadsAgainAfterAnUnload) {
  for (int round = 0; round < 3; ++round) {
    dms_ffmpeg::FFmpegUse use;
    ASSERT_TRUE(use.available());
    char text[128] = {};
    EXPECT_EQ(av_strerror(AVERROR(ENOENT), text, sizeof text), 0);
    EXPECT_STRNE(text, "");
    EXPECT_EQ(av_rescale_q(3, AVRational{1, 1}, AVRational{1, 1000}), 3000);
  }
  EXPECT_EQ(dms_ffmpeg::loadedForTest(), !dms_ffmpeg::unloadsForTest());
}

TEST(FFmpegLoader, ACallWithoutAUseKeepsFFmpegForGood) {
  LogCapture log;
  AVFrame* frame = av_frame_alloc();  // no use held
  ASSERT_NE(frame, nullptr);
  av_frame_free(&frame);
  EXPECT_TRUE(dms_ffmpeg::pinnedForTest());
  EXPECT_TRUE(dms_ffmpeg::loadedForTest());
  if (dms_ffmpeg::unloadsForTest()) {
    EXPECT_TRUE(log.has("[FFmpeg] av_frame_alloc called outside a use: FFmpeg stays loaded"));
  }
  { dms_ffmpeg::FFmpegUse use; }
  EXPECT_TRUE(mapped("libavcodec.so"));
}

}  // namespace
