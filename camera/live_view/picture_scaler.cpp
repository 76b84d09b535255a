// The live view's scaler (picture_scaler.h).
#include "picture_scaler.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace dms_camera {

namespace {

// Bars narrower than this are not worth it: the picture fills the size.
constexpr int kSmallestBar = 4;
constexpr unsigned char kBlackLuma = 0;  // full range
constexpr unsigned char kNeutralChroma = 128;

// Shape of the picture as shown (pixels need not be square).
double displayAspect(int width, int height, int aspectNum, int aspectDen) {
  double aspect = static_cast<double>(width) / height;
  if (aspectNum > 0 && aspectDen > 0) aspect = aspect * aspectNum / aspectDen;
  return aspect;
}

// The yuvj formats of JPEG decoders are full-range forms of the yuv ones;
// libswscale wants the yuv format with the range said separately.
AVPixelFormat withoutRange(AVPixelFormat format, AVColorRange* range) {
  switch (format) {
    case AV_PIX_FMT_YUVJ420P:
      *range = AVCOL_RANGE_JPEG;
      return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
      *range = AVCOL_RANGE_JPEG;
      return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
      *range = AVCOL_RANGE_JPEG;
      return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
      *range = AVCOL_RANGE_JPEG;
      return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
      *range = AVCOL_RANGE_JPEG;
      return AV_PIX_FMT_YUV411P;
    default:
      return format;
  }
}

// The part of `side` the picture takes: all of it, or an even part so that
// the chroma planes stay aligned with the luma plane.
int fitted(long fit, int side) {
  if (side - fit < kSmallestBar) return side;
  return std::max(2, static_cast<int>(fit) & ~1);
}

// A context from the source's format to full-range BT.601 (as JPEG wants)
// of `width` x `height`. The ranges are set before the context starts: a
// copy without scaling would otherwise ignore a later change of range.
SwsContext* createContext(const PictureScaler::Setup& s, int width, int height) {
  SwsContext* context = sws_alloc_context();
  if (context == nullptr) return nullptr;
  bool fullRange = s.range == AVCOL_RANGE_JPEG;
  if (av_opt_set_int(context, "srcw", s.width, 0) < 0 ||
      av_opt_set_int(context, "srch", s.height, 0) < 0 ||
      av_opt_set_int(context, "src_format", s.format, 0) < 0 ||
      av_opt_set_int(context, "src_range", fullRange, 0) < 0 ||
      av_opt_set_int(context, "dstw", width, 0) < 0 ||
      av_opt_set_int(context, "dsth", height, 0) < 0 ||
      av_opt_set_int(context, "dst_format", AV_PIX_FMT_YUV420P, 0) < 0 ||
      av_opt_set_int(context, "dst_range", 1, 0) < 0 ||
      av_opt_set_int(context, "sws_flags", SWS_BILINEAR, 0) < 0 ||
      sws_init_context(context, nullptr, nullptr) < 0) {
    sws_freeContext(context);
    return nullptr;
  }
  const int* srcTable =
      sws_getCoefficients(s.colorSpace == AVCOL_SPC_BT709 ? SWS_CS_ITU709 : SWS_CS_ITU601);
  // Fails only for formats without these details; the picture then still scales.
  sws_setColorspaceDetails(context, srcTable, fullRange, sws_getCoefficients(SWS_CS_ITU601), 1, 0,
                           1 << 16, 1 << 16);
  return context;
}

}  // namespace

void PictureScaler::SwsDeleter::operator()(SwsContext* context) const { sws_freeContext(context); }

bool PictureScaler::Setup::operator==(const Setup& o) const {
  return width == o.width && height == o.height && format == o.format && range == o.range &&
         colorSpace == o.colorSpace && outWidth == o.outWidth && outHeight == o.outHeight &&
         aspectNum == o.aspectNum && aspectDen == o.aspectDen;
}

PictureScaler::PictureScaler() = default;

PictureScaler::~PictureScaler() = default;

bool PictureScaler::configure(const Setup& s, std::string* error) {
  double aspect = displayAspect(s.width, s.height, s.aspectNum, s.aspectDen);
  int fitWidth = s.outWidth;
  int fitHeight = fitted(std::lround(s.outWidth / aspect), s.outHeight);
  if (std::lround(s.outWidth / aspect) > s.outHeight) {
    fitHeight = s.outHeight;
    fitWidth = fitted(std::lround(s.outHeight * aspect), s.outWidth);
  }
  sws_.reset(createContext(s, fitWidth, fitHeight));
  if (sws_ == nullptr) {
    const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(s.format));
    *error = std::string("cannot scale ") + (name != nullptr ? name : "unknown") + " pictures of " +
             std::to_string(s.width) + "x" + std::to_string(s.height);
    return false;
  }
  int chromaWidth = (s.outWidth + 1) / 2;
  int chromaHeight = (s.outHeight + 1) / 2;
  size_t luma = static_cast<size_t>(s.outWidth) * s.outHeight;
  size_t chroma = static_cast<size_t>(chromaWidth) * chromaHeight;
  buffer_.assign(luma + 2 * chroma, kNeutralChroma);
  std::memset(buffer_.data(), kBlackLuma, luma);
  unsigned char* planes[3] = {buffer_.data(), buffer_.data() + luma,
                              buffer_.data() + luma + chroma};
  whole_ = I420View{{planes[0], planes[1], planes[2]},
                    {s.outWidth, chromaWidth, chromaWidth},
                    s.outWidth,
                    s.outHeight};
  int left = (s.outWidth - fitWidth) / 2 & ~1;
  int top = (s.outHeight - fitHeight) / 2 & ~1;
  inner_[0] = planes[0] + static_cast<ptrdiff_t>(top) * s.outWidth + left;
  inner_[1] = planes[1] + static_cast<ptrdiff_t>(top / 2) * chromaWidth + left / 2;
  inner_[2] = planes[2] + static_cast<ptrdiff_t>(top / 2) * chromaWidth + left / 2;
  std::copy(whole_.strides, whole_.strides + 3, innerStrides_);
  setup_ = s;
  return true;
}

bool PictureScaler::scale(const SourcePicture& picture, FrameSize size, I420View* result,
                          std::string* error) {
  if (picture.width <= 0 || picture.height <= 0) {
    *error = "the picture to scale is empty";
    return false;
  }
  AVColorRange range = picture.range;
  AVPixelFormat format = withoutRange(picture.format, &range);
  Setup s{picture.width, picture.height,           format,
          range,         picture.colorSpace,       size.width,
          size.height,   picture.sampleAspect.num, picture.sampleAspect.den};
  if ((sws_ == nullptr || !(s == setup_)) && !configure(s, error)) return false;
  if (sws_scale(sws_.get(), picture.planes, picture.strides, 0, picture.height, inner_,
                innerStrides_) <= 0) {
    *error = "cannot scale the picture";
    return false;
  }
  *result = whole_;
  return true;
}

}  // namespace dms_camera
