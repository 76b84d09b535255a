// The live view's JPEG encoder (jpeg_encoder.h).
#include "jpeg_encoder.h"

#include <turbojpeg.h>

#include <cstddef>

namespace dms_camera {

namespace {

constexpr int kQuality = 80;
constexpr int kFlags = TJFLAG_FASTDCT | TJFLAG_NOREALLOC;

}  // namespace

void JpegEncoder::TjDeleter::operator()(void* handle) const {
  tjDestroy(static_cast<tjhandle>(handle));
}

JpegEncoder::JpegEncoder() : tj_(tjInitCompress()) {}

JpegEncoder::~JpegEncoder() = default;

bool JpegEncoder::prepare(int width, int height, std::string* error) {
  if (tj_ == nullptr) {
    *error = "cannot start the JPEG encoder";
    return false;
  }
  unsigned long bound = tjBufSize(width, height, TJSAMP_420);
  if (width <= 0 || height <= 0 || bound == static_cast<unsigned long>(-1)) {
    *error = "cannot encode a " + std::to_string(width) + "x" + std::to_string(height) + " picture";
    return false;
  }
  if (scratch_.size() < bound) scratch_.resize(bound);
  return true;
}

bool JpegEncoder::finish(int rc, unsigned long size, std::vector<unsigned char>* out,
                         std::string* error) {
  if (rc != 0) {
    *error = std::string("JPEG encoding failed: ") + tjGetErrorStr2(tj_.get());
    return false;
  }
  out->insert(out->end(), scratch_.begin(), scratch_.begin() + static_cast<ptrdiff_t>(size));
  return true;
}

bool JpegEncoder::encodeRgb(const unsigned char* rgb, int width, int height, int pitch,
                            std::vector<unsigned char>* out, std::string* error) {
  if (!prepare(width, height, error)) return false;
  unsigned char* dst = scratch_.data();
  unsigned long size = scratch_.size();
  int rc = tjCompress2(tj_.get(), rgb, width, pitch, height, TJPF_RGB, &dst, &size, TJSAMP_420,
                       kQuality, kFlags);
  return finish(rc, size, out, error);
}

bool JpegEncoder::encodeI420(const I420View& picture, std::vector<unsigned char>* out,
                             std::string* error) {
  if (!prepare(picture.width, picture.height, error)) return false;
  unsigned char* dst = scratch_.data();
  unsigned long size = scratch_.size();
  const unsigned char* planes[3] = {picture.planes[0], picture.planes[1], picture.planes[2]};
  int rc = tjCompressFromYUVPlanes(tj_.get(), planes, picture.width, picture.strides,
                                   picture.height, TJSAMP_420, &dst, &size, kQuality, kFlags);
  return finish(rc, size, out, error);
}

}  // namespace dms_camera
