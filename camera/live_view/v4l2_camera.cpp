// The V4L2 capture device (v4l2_camera.h).
#include "v4l2_camera.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace dms_camera {

namespace {

constexpr uint32_t kBufferCount = 4;
constexpr int64_t kPictureTimeoutMs = 2000;
constexpr double kDefaultRate = 30;

int64_t nowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

V4l2Camera::Fd::~Fd() {
  if (fd_ >= 0) ::close(fd_);
}

void V4l2Camera::Unmapper::operator()(void* start) const { munmap(start, length); }

int V4l2Camera::control(unsigned long request, void* arg) const {
  int rc;
  do {
    rc = ioctl(fd_->get(), request, arg);
  } while (rc < 0 && errno == EINTR);
  return rc;
}

bool V4l2Camera::failed(const char* what, std::string* error) const {
  *error = std::string("cannot ") + what + " " + path_ + ": " + std::strerror(errno);
  return false;
}

std::unique_ptr<V4l2Camera> V4l2Camera::open(const std::string& path, std::string* error) {
  std::unique_ptr<V4l2Camera> camera(new V4l2Camera);
  camera->path_ = path;
  int fd;
  do {
    fd = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    camera->failed("open", error);
    return nullptr;
  }
  camera->fd_ = std::make_unique<Fd>(fd);
  v4l2_capability capability{};
  if (camera->control(VIDIOC_QUERYCAP, &capability) < 0) {
    *error = path + " is not a video capture device";
    return nullptr;
  }
  uint32_t caps = capability.capabilities & V4L2_CAP_DEVICE_CAPS ? capability.device_caps
                                                                 : capability.capabilities;
  if (!(caps & V4L2_CAP_VIDEO_CAPTURE)) {
    *error = path + " is not a video capture device";
    return nullptr;
  }
  if (!(caps & V4L2_CAP_STREAMING)) {
    *error = path + " cannot stream its pictures";
    return nullptr;
  }
  if (!camera->chooseFormat(error)) return nullptr;
  return camera;
}

bool V4l2Camera::chooseFormat(std::string* error) {
  bool mjpeg = false;
  bool jpeg = false;
  bool yuyv = false;
  v4l2_fmtdesc format{};
  format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  for (format.index = 0; control(VIDIOC_ENUM_FMT, &format) == 0; ++format.index) {
    mjpeg = mjpeg || format.pixelformat == V4L2_PIX_FMT_MJPEG;
    jpeg = jpeg || format.pixelformat == V4L2_PIX_FMT_JPEG;  // some cameras' name for MJPEG
    yuyv = yuyv || format.pixelformat == V4L2_PIX_FMT_YUYV;
  }
  if (!mjpeg && !jpeg && !yuyv) {
    *error = path_ + " supports neither MJPEG nor YUYV";
    return false;
  }
  pixelFormat_ = mjpeg ? V4L2_PIX_FMT_MJPEG : jpeg ? V4L2_PIX_FMT_JPEG : V4L2_PIX_FMT_YUYV;
  return true;
}

V4l2Camera::~V4l2Camera() { stop(); }

bool V4l2Camera::isMjpeg() const { return pixelFormat_ != V4L2_PIX_FMT_YUYV; }

void V4l2Camera::stop() {
  if (streaming_) {
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    control(VIDIOC_STREAMOFF, &type);
    streaming_ = false;
  }
  buffers_.clear();
  if (requested_) {
    // Frees the driver's buffers: many drivers refuse a new format before.
    v4l2_requestbuffers request{};
    request.count = 0;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    control(VIDIOC_REQBUFS, &request);
    requested_ = false;
  }
}

bool V4l2Camera::start(FrameSize size, std::string* error) {
  stop();
  if (!setFormat(size, error)) return false;
  negotiateRate();
  if (!mapBuffers(error)) return false;
  for (uint32_t i = 0; i < buffers_.size(); ++i) {
    if (!queue(i, error)) return false;
  }
  int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  if (control(VIDIOC_STREAMON, &type) < 0) return failed("start streaming from", error);
  streaming_ = true;
  return true;
}

bool V4l2Camera::setFormat(FrameSize size, std::string* error) {
  v4l2_format format{};
  format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  format.fmt.pix.width = static_cast<uint32_t>(size.width);
  format.fmt.pix.height = static_cast<uint32_t>(size.height);
  format.fmt.pix.pixelformat = pixelFormat_;
  format.fmt.pix.field = V4L2_FIELD_ANY;
  format.fmt.pix.priv = V4L2_PIX_FMT_PRIV_MAGIC;  // asks for the colour fields too
  if (control(VIDIOC_S_FMT, &format) < 0) return failed("set the picture format of", error);
  width_ = static_cast<int>(format.fmt.pix.width);
  height_ = static_cast<int>(format.fmt.pix.height);
  if (format.fmt.pix.pixelformat != pixelFormat_ || width_ <= 0 || height_ <= 0) {
    *error = path_ + " does not keep the picture format asked";
    return false;
  }
  bytesPerLine_ = std::max(static_cast<int>(format.fmt.pix.bytesperline), width_ * 2);
  bool colourKnown = format.fmt.pix.priv == V4L2_PIX_FMT_PRIV_MAGIC;
  fullRange_ = colourKnown && format.fmt.pix.quantization == V4L2_QUANTIZATION_FULL_RANGE;
  bt709_ = colourKnown && format.fmt.pix.ycbcr_enc == V4L2_YCBCR_ENC_709;
  return true;
}

// Asks for 30 pictures/s where the driver lets us choose, then reads what
// it gives. A driver that says nothing is taken to give 30.
void V4l2Camera::negotiateRate() {
  v4l2_streamparm parm{};
  parm.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  rate_ = kDefaultRate;
  if (control(VIDIOC_G_PARM, &parm) < 0) return;
  if (parm.parm.capture.capability & V4L2_CAP_TIMEPERFRAME) {
    parm.parm.capture.timeperframe = v4l2_fract{1, static_cast<uint32_t>(kDefaultRate)};
    control(VIDIOC_S_PARM, &parm);
    if (control(VIDIOC_G_PARM, &parm) < 0) return;
  }
  const v4l2_fract& period = parm.parm.capture.timeperframe;
  if (period.numerator > 0 && period.denominator > 0) {
    rate_ = static_cast<double>(period.denominator) / period.numerator;
  }
}

bool V4l2Camera::mapBuffers(std::string* error) {
  v4l2_requestbuffers request{};
  request.count = kBufferCount;
  request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  request.memory = V4L2_MEMORY_MMAP;
  if (control(VIDIOC_REQBUFS, &request) < 0) return failed("get buffers from", error);
  requested_ = true;
  if (request.count < 2) {
    *error = path_ + " has too little buffer memory";
    return false;
  }
  for (uint32_t i = 0; i < request.count; ++i) {
    v4l2_buffer buffer{};
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    buffer.index = i;
    if (control(VIDIOC_QUERYBUF, &buffer) < 0) return failed("query the buffers of", error);
    void* start = mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd_->get(),
                       buffer.m.offset);
    if (start == MAP_FAILED) return failed("map the buffers of", error);
    buffers_.emplace_back(start, Unmapper{buffer.length});
  }
  return true;
}

bool V4l2Camera::queue(uint32_t index, std::string* error) {
  v4l2_buffer buffer{};
  buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
  buffer.memory = V4L2_MEMORY_MMAP;
  buffer.index = index;
  if (control(VIDIOC_QBUF, &buffer) < 0) return failed("queue a buffer of", error);
  return true;
}

bool V4l2Camera::waitForPicture(int64_t deadlineMs, std::string* error) {
  for (;;) {
    int64_t left = deadlineMs - nowMs();
    pollfd wait{fd_->get(), POLLIN, 0};
    int rc = left > 0 ? poll(&wait, 1, static_cast<int>(left)) : 0;
    if (rc > 0) return true;  // a picture, or an error that dequeuing reports
    if (rc == 0) {
      *error = "camera " + path_ + " gave no picture in " +
               std::to_string(kPictureTimeoutMs / 1000) + " s";
      return false;
    }
    if (errno != EINTR) return failed("wait for a picture from", error);
  }
}

bool V4l2Camera::capture(const Taker& take, std::string* error) {
  if (!streaming_) {
    *error = "camera " + path_ + " is not started";
    return false;
  }
  int64_t deadline = nowMs() + kPictureTimeoutMs;
  for (;;) {
    if (!waitForPicture(deadline, error)) return false;
    v4l2_buffer buffer{};
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    if (control(VIDIOC_DQBUF, &buffer) < 0) {
      if (errno == EAGAIN) continue;  // woken, but the picture is not complete yet
      return failed("take a picture from", error);
    }
    if (buffer.index >= buffers_.size()) {
      *error = "camera " + path_ + " returned an unknown buffer";
      return false;
    }
    Take result = Take::kSkipped;
    if (!(buffer.flags & V4L2_BUF_FLAG_ERROR) && buffer.bytesused > 0) {
      const Mapping& mapping = buffers_[buffer.index];
      size_t size = std::min<size_t>(buffer.bytesused, mapping.get_deleter().length);
      result = take(static_cast<const unsigned char*>(mapping.get()), size);
    }
    if (!queue(buffer.index, error)) return false;
    if (result == Take::kTaken) return true;
    if (result == Take::kFailed) return false;
  }
}

}  // namespace dms_camera
