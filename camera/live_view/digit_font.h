// A tiny bitmap font for the test picture's clock: the digits, ':' and '.',
// 5x7 font pixels each, drawn at any whole scale into packed RGB24.
#ifndef DMS_CAMERA_LIVE_VIEW_DIGIT_FONT_H
#define DMS_CAMERA_LIVE_VIEW_DIGIT_FONT_H

#include <string_view>

namespace dms_camera {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
constexpr int kGlyphAdvance = kGlyphWidth + 1;  // one font pixel between characters

// Packed RGB24 rows `pitch` bytes apart, owned by the caller.
struct RgbCanvas {
  unsigned char* pixels;
  int width;
  int height;
  int pitch;
};

// Whether font pixel (`column`, `row`) of `c` is lit; false for characters
// the font lacks, which draw as blanks.
bool glyphPixel(char c, int column, int row);

// Draws `text` with its top left corner at (`x`, `y`), each font pixel a
// `scale` x `scale` square of `rgb`; what falls outside the canvas is cut off.
void drawText(const RgbCanvas& canvas, int x, int y, int scale, std::string_view text,
              const unsigned char rgb[3]);

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_DIGIT_FONT_H
