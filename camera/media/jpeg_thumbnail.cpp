// Thumbnails of photos that carry none: libjpeg-turbo decodes at a reduced
// scale (cheap: the IDCT does most of the shrinking), libswscale finishes.
#include <turbojpeg.h>

extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>

#include "dms_camera.h"
#include "ffmpeg_handles.h"
#include "nuv_log.h"
#include "picture_codec.h"

namespace camera_thumb {

namespace {

constexpr int kQuality = 85;

struct TjDeleter {
  void operator()(void* handle) const { tjDestroy(static_cast<tjhandle>(handle)); }
};
using TjHandle = std::unique_ptr<void, TjDeleter>;

struct TjBufferDeleter {
  void operator()(unsigned char* buffer) const { tjFree(buffer); }
};

// Scales packed RGB24 to `w` x `h` packed RGB24.
bool scaleRgb(const unsigned char* src, int srcW, int srcH, int w, int h,
              std::vector<unsigned char>* out) {
  dms_ffmpeg::Scaler sws(sws_getContext(srcW, srcH, AV_PIX_FMT_RGB24, w, h, AV_PIX_FMT_RGB24,
                                        SWS_AREA, nullptr, nullptr, nullptr));
  if (sws == nullptr) return false;
  out->resize(static_cast<size_t>(w) * h * 3);
  const uint8_t* srcPlanes[1] = {src};
  int srcStride[1] = {srcW * 3};
  uint8_t* dstPlanes[1] = {out->data()};
  int dstStride[1] = {w * 3};
  return sws_scale(sws.get(), srcPlanes, srcStride, 0, srcH, dstPlanes, dstStride) == h;
}

}  // namespace

bool encodeRgbJpeg(const unsigned char* rgb, int width, int height, int pitch,
                   std::vector<unsigned char>* jpeg) {
  TjHandle tj(tjInitCompress());
  if (tj == nullptr) return false;
  unsigned char* out = nullptr;
  unsigned long size = 0;
  const int rc = tjCompress2(tj.get(), rgb, width, pitch, height, TJPF_RGB, &out, &size, TJSAMP_420,
                             kQuality, TJFLAG_FASTDCT);
  // Freed however this ends: the copy below may throw.
  std::unique_ptr<unsigned char, TjBufferDeleter> owned(out);
  if (rc != 0) return false;
  jpeg->assign(out, out + size);
  return true;
}

bool renderJpegThumbnail(const std::vector<unsigned char>& data, std::vector<unsigned char>* jpeg) {
  TjHandle tj(tjInitDecompress());
  int width = 0;
  int height = 0;
  int subsampling = 0;
  int colorspace = 0;
  if (tj == nullptr || data.empty() ||
      tjDecompressHeader3(tj.get(), data.data(), data.size(), &width, &height, &subsampling,
                          &colorspace) != 0 ||
      width <= 0 || height <= 0) {
    return false;
  }
  int thumbW = 0;
  int thumbH = 0;
  ASLWifi_thumbSize(width, height, &thumbW, &thumbH);

  // The smallest scale whose result still covers the thumbnail.
  int factors = 0;
  tjscalingfactor* scaling = tjGetScalingFactors(&factors);
  int decodeW = width;
  int decodeH = height;
  for (int i = 0; scaling != nullptr && i < factors; ++i) {
    int w = TJSCALED(width, scaling[i]);
    int h = TJSCALED(height, scaling[i]);
    if (w >= thumbW && h >= thumbH && w * h < decodeW * decodeH) {
      decodeW = w;
      decodeH = h;
    }
  }
  std::vector<unsigned char> rgb(static_cast<size_t>(decodeW) * decodeH * 3);
  if (tjDecompress2(tj.get(), data.data(), data.size(), rgb.data(), decodeW, decodeW * 3, decodeH,
                    TJPF_RGB, TJFLAG_FASTDCT) != 0) {
    if (tjGetErrorCode(tj.get()) != TJERR_WARNING) return false;
    // Damaged or truncated data still leaves a usable picture.
    NUVPrintf(NUV_LOG_INFO, "[Thumbnail] rendered from damaged JPEG data: %s",
              tjGetErrorStr2(tj.get()));
  }
  if (decodeW == thumbW && decodeH == thumbH) {
    return encodeRgbJpeg(rgb.data(), thumbW, thumbH, thumbW * 3, jpeg);
  }
  std::vector<unsigned char> scaled;
  return scaleRgb(rgb.data(), decodeW, decodeH, thumbW, thumbH, &scaled) &&
         encodeRgbJpeg(scaled.data(), thumbW, thumbH, thumbW * 3, jpeg);
}

}  // namespace camera_thumb
