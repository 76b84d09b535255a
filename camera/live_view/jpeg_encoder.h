// JPEG encoding of the live view's pictures with one reused libjpeg-turbo
// handle: quality 80, 4:2:0, appended to the caller's buffer.
//
// Thread safety: an encoder is used by one thread at a time.
#ifndef DMS_CAMERA_LIVE_VIEW_JPEG_ENCODER_H
#define DMS_CAMERA_LIVE_VIEW_JPEG_ENCODER_H

#include <memory>
#include <string>
#include <vector>

namespace dms_camera {

// A planar 4:2:0 picture whose planes the caller owns.
struct I420View {
  const unsigned char* planes[3];
  int strides[3];
  int width;
  int height;
};

class JpegEncoder {
 public:
  JpegEncoder();
  ~JpegEncoder();
  JpegEncoder(const JpegEncoder&) = delete;
  JpegEncoder& operator=(const JpegEncoder&) = delete;

  // Append one JPEG picture to `out`, whose earlier bytes stay in front.
  // False with `error` set (and `out` unchanged) when libjpeg-turbo fails.
  bool encodeRgb(const unsigned char* rgb, int width, int height, int pitch,
                 std::vector<unsigned char>* out, std::string* error);
  bool encodeI420(const I420View& picture, std::vector<unsigned char>* out, std::string* error);

 private:
  bool prepare(int width, int height, std::string* error);
  bool finish(int rc, unsigned long size, std::vector<unsigned char>* out, std::string* error);

  struct TjDeleter {
    void operator()(void* handle) const;
  };
  std::unique_ptr<void, TjDeleter> tj_;
  // Sized for the worst case so that libjpeg-turbo never reallocates it.
  std::vector<unsigned char> scratch_;
};

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_JPEG_ENCODER_H
