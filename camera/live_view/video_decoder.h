// One pass through a video file's best video stream with FFmpeg: pictures
// in presentation order until the end, then back to the start on request.
//
// Thread safety: a decoder is used by one thread at a time.
#ifndef DMS_CAMERA_LIVE_VIEW_VIDEO_DECODER_H
#define DMS_CAMERA_LIVE_VIEW_VIDEO_DECODER_H

#include <memory>
#include <string>

#include "ffmpeg_handles.h"
#include "ffmpeg_loader.h"

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
  VideoDecoder() = default;
  bool openStream(std::string* error);
  Result fail(const char* what, int rc, std::string* error) const;
  void noteError(int rc);

  dms_ffmpeg::FFmpegUse ffmpeg_;  // first: it outlives the FFmpeg objects
  std::string path_;
  dms_ffmpeg::Input input_;
  dms_ffmpeg::Codec codec_;
  dms_ffmpeg::Frame frame_;
  dms_ffmpeg::Packet packet_;
  AVStream* stream_ = nullptr;  // owned by input_
  bool draining_ = false;
  int packetsWithoutPicture_ = 0;
  int errorsInARow_ = 0;
  int lastDecodeError_ = 0;
};

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_VIDEO_DECODER_H
