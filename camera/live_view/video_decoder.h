// One pass through a video file's best video stream with FFmpeg: pictures
// in presentation order until the end, then back to the start on request.
//
// Thread safety: a decoder is used by one thread at a time.
#ifndef DMS_CAMERA_LIVE_VIEW_VIDEO_DECODER_H
#define DMS_CAMERA_LIVE_VIEW_VIDEO_DECODER_H

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <memory>
#include <string>

namespace dms_camera {

class VideoDecoder {
 public:
  // Null with `error` naming the file and FFmpeg's reason when the file
  // cannot be opened or has no video stream that FFmpeg can decode.
  static std::unique_ptr<VideoDecoder> open(const std::string& path, std::string* error);

  enum class Result { kPicture, kEnd, kError };
  // The next picture, valid until the next call of next() or rewind().
  // kEnd at the end of the file; kError with `error` set when the file
  // cannot be read or its pictures no longer decode.
  Result next(const AVFrame** picture, std::string* error);
  // Goes back to the start. False when the file cannot seek.
  bool rewind();

  // Seconds of `picture` from the stream's start; NaN when it has no time.
  double seconds(const AVFrame& picture) const;
  // Average pictures per second of the stream; 0 when unknown.
  double averageRate() const;
  AVRational sampleAspect(const AVFrame& picture) const;

 private:
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

  VideoDecoder() = default;
  bool openStream(std::string* error);
  Result fail(const char* what, int rc, std::string* error) const;
  void noteError(int rc);

  std::string path_;
  std::unique_ptr<AVFormatContext, InputCloser> input_;
  std::unique_ptr<AVCodecContext, CodecFree> codec_;
  std::unique_ptr<AVFrame, FrameFree> frame_;
  std::unique_ptr<AVPacket, PacketFree> packet_;
  AVStream* stream_ = nullptr;  // owned by input_
  bool draining_ = false;
  int packetsWithoutPicture_ = 0;
  int errorsInARow_ = 0;
  int lastDecodeError_ = 0;
};

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_VIDEO_DECODER_H
