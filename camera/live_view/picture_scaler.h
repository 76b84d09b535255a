// Scales decoded pictures (a video file's frames, a camera's YUYV) with
// libswscale to the asked size as full-range planar 4:2:0, ready for JPEG.
// The picture keeps its shape: a picture of another shape than the asked
// size is centred between black bars (letterbox or pillarbox).
//
// Thread safety: a scaler is used by one thread at a time.
#ifndef DMS_CAMERA_LIVE_VIEW_PICTURE_SCALER_H
#define DMS_CAMERA_LIVE_VIEW_PICTURE_SCALER_H

extern "C" {
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

#include <memory>
#include <string>
#include <vector>

#include "ffmpeg_loader.h"
#include "frame_source.h"
#include "jpeg_encoder.h"

struct SwsContext;

namespace dms_camera {

// A picture to scale; the caller owns its planes.
struct SourcePicture {
  const unsigned char* const* planes;
  const int* strides;
  AVPixelFormat format;
  int width;
  int height;
  AVRational sampleAspect;  // 0/1 when unknown: square pixels
  AVColorRange range;
  AVColorSpace colorSpace;
};

class PictureScaler {
 public:
  PictureScaler();
  ~PictureScaler();
  PictureScaler(const PictureScaler&) = delete;
  PictureScaler& operator=(const PictureScaler&) = delete;

  // Scales `picture` to `size`. The result stays valid until the next call.
  bool scale(const SourcePicture& picture, FrameSize size, I420View* result, std::string* error);

  // What a scaling context is made for.
  struct Setup {
    int width, height, format, range, colorSpace;
    int outWidth, outHeight, aspectNum, aspectDen;
    bool operator==(const Setup& o) const;
  };

 private:
  bool configure(const Setup& setup, std::string* error);

  struct SwsDeleter {
    void operator()(SwsContext* context) const;
  };
  dms_ffmpeg::FFmpegUse ffmpeg_;  // first: it outlives the scaling context
  std::unique_ptr<SwsContext, SwsDeleter> sws_;
  Setup setup_{};
  std::vector<unsigned char> buffer_;  // the three planes, one after another
  I420View whole_{};                   // the asked size
  unsigned char* inner_[4] = {};       // where the picture goes, bars excluded
  int innerStrides_[4] = {};
};

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_PICTURE_SCALER_H
