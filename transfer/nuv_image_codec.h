// NUVImageCodec: the server's image conversion interface (resizing and
// re-encoding a picture into another file). No codec is built in: every
// operation answers false and touches no file, so the server never offers
// resized or re-encoded representations. A real codec can be put behind the
// same operations; nothing calls them today.
//
// Thread safety: every operation may be called from any thread.
#ifndef DMS_TRANSFER_NUV_IMAGE_CODEC_H
#define DMS_TRANSFER_NUV_IMAGE_CODEC_H

class DMSAppString;

enum DlnaImgCodecType { DLNA_IMG_BMP = 0, DLNA_IMG_JPEG = 1, DLNA_IMG_PNG = 2, DLNA_IMG_GIF = 3 };

class NUVImageCodec {
 public:
  static bool CreateOutFile(const DMSAppString* output, const char* data, unsigned long length);
  static bool ImgResize(const DMSAppString* input, const DMSAppString* output, int width,
                        int height);
  static bool ImgEncode(const DMSAppString* input, const DMSAppString* output,
                        DlnaImgCodecType type, int width, int height);
  static bool ImgBMPEncode(const DMSAppString* input, const DMSAppString* output);
  static bool ImgJPGEncode(const DMSAppString* input, const DMSAppString* output);
  static bool ImgPNGEncode(const DMSAppString* input, const DMSAppString* output);
  static bool ImgGIFEncode(const DMSAppString* input, const DMSAppString* output);
  static bool ImgBMPEncode(const DMSAppString* input, const DMSAppString* output, int width,
                           int height);
  static bool ImgJPGEncode(const DMSAppString* input, const DMSAppString* output, int width,
                           int height);
  static bool ImgPNGEncode(const DMSAppString* input, const DMSAppString* output, int width,
                           int height);
  static bool ImgGIFEncode(const DMSAppString* input, const DMSAppString* output, int width,
                           int height);
};

#endif  // DMS_TRANSFER_NUV_IMAGE_CODEC_H
