// Where the live view's pictures come from: a V4L2 camera, a video file or
// a moving test picture. A source delivers JPEG pictures at its own pace.
//
// Thread safety: a source is used by one thread at a time (the producer's).
#ifndef DMS_CAMERA_LIVE_VIEW_FRAME_SOURCE_H
#define DMS_CAMERA_LIVE_VIEW_FRAME_SOURCE_H

#include <memory>
#include <string>
#include <vector>

namespace dms_camera {

struct FrameSize {
  int width;
  int height;
};

class FrameSource {
 public:
  virtual ~FrameSource() = default;

  // Pictures per second the source delivers, at most 30.
  virtual double rate() const = 0;
  // Waits until the next picture is due at the source's rate, then appends
  // one JPEG picture to `out` (what is already in `out` stays in front of
  // it). The picture is `size` or, for a camera's own MJPEG pictures, what
  // the camera gives nearest to it. False when the source cannot go on
  // (`error` says why); the producer then ends the stream.
  virtual bool next(FrameSize size, std::vector<unsigned char>* out, std::string* error) = 0;
};

// Opens "test" (a moving test picture with the time on it), a V4L2 device
// ("/dev/videoN") or a video file. Null with `error` set when it cannot be
// opened.
std::unique_ptr<FrameSource> OpenFrameSource(const std::string& name, std::string* error);

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_FRAME_SOURCE_H
