// A V4L2 capture device streaming MJPEG or YUYV pictures through four
// memory-mapped buffers.
//
// Thread safety: a camera is used by one thread at a time.
#ifndef DMS_CAMERA_LIVE_VIEW_V4L2_CAMERA_H
#define DMS_CAMERA_LIVE_VIEW_V4L2_CAMERA_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "frame_source.h"

namespace dms_camera {

class V4l2Camera {
 public:
  // Opens `path` and checks that it captures pictures by streaming in MJPEG
  // (preferred) or YUYV. Null with `error` set otherwise.
  static std::unique_ptr<V4l2Camera> open(const std::string& path, std::string* error);
  ~V4l2Camera();
  V4l2Camera(const V4l2Camera&) = delete;
  V4l2Camera& operator=(const V4l2Camera&) = delete;

  // (Re)starts streaming at the size nearest to `size` the driver has.
  bool start(FrameSize size, std::string* error);

  enum class Take { kTaken, kSkipped, kFailed };
  // Waits for pictures (at most 2 s) and hands each to `take` until it
  // takes one; the bytes are valid only during the call. Skipped pictures
  // and the driver's broken ones do not restart the wait. False with
  // `error` set on a timeout, a failing device or kFailed (whose reason
  // `take` sets).
  using Taker = std::function<Take(const unsigned char* data, size_t size)>;
  bool capture(const Taker& take, std::string* error);

  bool isMjpeg() const;
  int width() const { return width_; }
  int height() const { return height_; }
  int bytesPerLine() const { return bytesPerLine_; }
  bool fullRange() const { return fullRange_; }
  bool bt709() const { return bt709_; }
  // Pictures per second the driver says it delivers (30 when it does not).
  double rate() const { return rate_; }

 private:
  class Fd {
   public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd();
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }

   private:
    int fd_;
  };
  struct Unmapper {
    size_t length;
    void operator()(void* start) const;
  };
  using Mapping = std::unique_ptr<void, Unmapper>;

  V4l2Camera() = default;
  bool chooseFormat(std::string* error);
  bool setFormat(FrameSize size, std::string* error);
  void negotiateRate();
  bool mapBuffers(std::string* error);
  bool queue(uint32_t index, std::string* error);
  bool waitForPicture(int64_t deadlineMs, std::string* error);
  void stop();
  bool failed(const char* what, std::string* error) const;
  int control(unsigned long request, void* arg) const;

  std::unique_ptr<Fd> fd_;  // declared first: closed after the buffers are unmapped
  std::vector<Mapping> buffers_;
  std::string path_;
  uint32_t pixelFormat_ = 0;
  bool requested_ = false;
  bool streaming_ = false;
  int width_ = 0;
  int height_ = 0;
  int bytesPerLine_ = 0;
  bool fullRange_ = false;
  bool bt709_ = false;
  double rate_ = 30;
};

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_V4L2_CAMERA_H
