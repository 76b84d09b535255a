// NUVImageCodec without a codec (see nuv_image_codec.h).
#include "nuv_image_codec.h"

bool NUVImageCodec::CreateOutFile(const DMSAppString*, const char*, unsigned long) { return false; }

bool NUVImageCodec::ImgResize(const DMSAppString*, const DMSAppString*, int, int) { return false; }

bool NUVImageCodec::ImgEncode(const DMSAppString*, const DMSAppString*, DlnaImgCodecType, int,
                              int) {
  return false;
}

bool NUVImageCodec::ImgBMPEncode(const DMSAppString* in, const DMSAppString* out) {
  return ImgEncode(in, out, DLNA_IMG_BMP, 0, 0);
}

bool NUVImageCodec::ImgJPGEncode(const DMSAppString* in, const DMSAppString* out) {
  return ImgEncode(in, out, DLNA_IMG_JPEG, 0, 0);
}

bool NUVImageCodec::ImgPNGEncode(const DMSAppString* in, const DMSAppString* out) {
  return ImgEncode(in, out, DLNA_IMG_PNG, 0, 0);
}

bool NUVImageCodec::ImgGIFEncode(const DMSAppString* in, const DMSAppString* out) {
  return ImgEncode(in, out, DLNA_IMG_GIF, 0, 0);
}

bool NUVImageCodec::ImgBMPEncode(const DMSAppString* in, const DMSAppString* out, int width,
                                 int height) {
  return ImgEncode(in, out, DLNA_IMG_BMP, width, height);
}

bool NUVImageCodec::ImgJPGEncode(const DMSAppString* in, const DMSAppString* out, int width,
                                 int height) {
  return ImgEncode(in, out, DLNA_IMG_JPEG, width, height);
}

bool NUVImageCodec::ImgPNGEncode(const DMSAppString* in, const DMSAppString* out, int width,
                                 int height) {
  return ImgEncode(in, out, DLNA_IMG_PNG, width, height);
}

bool NUVImageCodec::ImgGIFEncode(const DMSAppString* in, const DMSAppString* out, int width,
                                 int height) {
  return ImgEncode(in, out, DLNA_IMG_GIF, width, height);
}
