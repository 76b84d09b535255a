// A V4L2 camera as the live view: its MJPEG pictures as they come (with
// Huffman tables added where the camera leaves them out), or its YUYV
// pictures scaled to the asked size and encoded as JPEG.
#include <algorithm>

#include "camera_jpeg.h"
#include "frame_sources.h"
#include "frame_timing.h"
#include "jpeg_encoder.h"
#include "picture_scaler.h"
#include "v4l2_camera.h"

namespace dms_camera {

namespace {

class V4l2Source final : public FrameSource {
 public:
  explicit V4l2Source(std::unique_ptr<V4l2Camera> camera) : camera_(std::move(camera)) {}

  double rate() const override { return std::min(camera_->rate(), kMaxRate); }

  bool next(FrameSize size, std::vector<unsigned char>* out, std::string* error) override {
    if (!checkPictureSize(size, error)) return false;
    // The camera's size may differ from the one asked: compare with the
    // asked one, or every picture would restart the camera.
    if (!started_ || size.width != asked_.width || size.height != asked_.height) {
      started_ = false;
      if (!camera_->start(size, error)) return false;
      started_ = true;
      asked_ = size;
    }
    return camera_->capture([&](const unsigned char* data,
                                size_t length) { return take(data, length, size, out, error); },
                            error);
  }

 private:
  V4l2Camera::Take take(const unsigned char* data, size_t length, FrameSize size,
                        std::vector<unsigned char>* out, std::string* error) {
    // A camera faster than 30 pictures/s: keep one picture per 1/30 s.
    if (camera_->rate() > kMaxRate && !rateCap_.admit(clock_.now())) {
      return V4l2Camera::Take::kSkipped;
    }
    if (camera_->isMjpeg()) {
      return appendCameraJpeg(data, length, out) ? V4l2Camera::Take::kTaken
                                                 : V4l2Camera::Take::kSkipped;
    }
    size_t needed = static_cast<size_t>(camera_->bytesPerLine()) * (camera_->height() - 1) +
                    static_cast<size_t>(camera_->width()) * 2;
    if (length < needed) return V4l2Camera::Take::kSkipped;  // a short, broken picture
    const unsigned char* planes[1] = {data};
    int strides[1] = {camera_->bytesPerLine()};
    SourcePicture picture{planes,
                          strides,
                          AV_PIX_FMT_YUYV422,
                          camera_->width(),
                          camera_->height(),
                          AVRational{0, 1},
                          camera_->fullRange() ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG,
                          camera_->bt709() ? AVCOL_SPC_BT709 : AVCOL_SPC_BT470BG};
    I420View scaled{};
    if (!scaler_.scale(picture, size, &scaled, error) || !encoder_.encodeI420(scaled, out, error)) {
      return V4l2Camera::Take::kFailed;
    }
    return V4l2Camera::Take::kTaken;
  }

  std::unique_ptr<V4l2Camera> camera_;
  bool started_ = false;
  FrameSize asked_{0, 0};
  FrameClock clock_;
  RateCap rateCap_;
  PictureScaler scaler_;
  JpegEncoder encoder_;
};

}  // namespace

std::unique_ptr<FrameSource> openV4l2Source(const std::string& path, std::string* error) {
  std::unique_ptr<V4l2Camera> camera = V4l2Camera::open(path, error);
  if (camera == nullptr) return nullptr;
  return std::make_unique<V4l2Source>(std::move(camera));
}

}  // namespace dms_camera
