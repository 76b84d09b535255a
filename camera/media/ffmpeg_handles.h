// Owning handles of the FFmpeg objects the camera library uses (movie
// thumbnails, the live view's video files and scaling).
#ifndef DMS_CAMERA_FFMPEG_HANDLES_H
#define DMS_CAMERA_FFMPEG_HANDLES_H

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <memory>

namespace dms_ffmpeg {

struct InputCloser {
  void operator()(AVFormatContext* c) const { avformat_close_input(&c); }
};
struct CodecFree {
  void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct FrameFree {
  void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct PacketFree {
  void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct SwsFree {
  void operator()(SwsContext* c) const { sws_freeContext(c); }
};

using Input = std::unique_ptr<AVFormatContext, InputCloser>;
using Codec = std::unique_ptr<AVCodecContext, CodecFree>;
using Frame = std::unique_ptr<AVFrame, FrameFree>;
using Packet = std::unique_ptr<AVPacket, PacketFree>;
using Scaler = std::unique_ptr<SwsContext, SwsFree>;

}  // namespace dms_ffmpeg

#endif  // DMS_CAMERA_FFMPEG_HANDLES_H
