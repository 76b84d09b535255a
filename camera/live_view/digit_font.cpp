// The test picture's bitmap font (digit_font.h).
#include "digit_font.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace dms_camera {

namespace {

// Rows from the top; bit 4 is the leftmost font pixel.
constexpr uint8_t kDigits[10][kGlyphHeight] = {
    {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E},  // 0
    {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E},  // 1
    {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F},  // 2
    {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E},  // 3
    {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02},  // 4
    {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E},  // 5
    {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E},  // 6
    {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},  // 7
    {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E},  // 8
    {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C},  // 9
};
constexpr uint8_t kColon[kGlyphHeight] = {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00};
constexpr uint8_t kPoint[kGlyphHeight] = {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C};

const uint8_t* glyphRows(char c) {
  if (c >= '0' && c <= '9') return kDigits[c - '0'];
  if (c == ':') return kColon;
  if (c == '.') return kPoint;
  return nullptr;
}

void fillSquare(const RgbCanvas& canvas, int x, int y, int size, const unsigned char rgb[3]) {
  for (int row = y < 0 ? 0 : y; row < y + size && row < canvas.height; ++row) {
    unsigned char* line = canvas.pixels + static_cast<ptrdiff_t>(row) * canvas.pitch;
    for (int col = x < 0 ? 0 : x; col < x + size && col < canvas.width; ++col) {
      std::memcpy(line + static_cast<ptrdiff_t>(col) * 3, rgb, 3);
    }
  }
}

}  // namespace

bool glyphPixel(char c, int column, int row) {
  const uint8_t* rows = glyphRows(c);
  if (rows == nullptr || column < 0 || column >= kGlyphWidth || row < 0 || row >= kGlyphHeight) {
    return false;
  }
  return (rows[row] >> (kGlyphWidth - 1 - column) & 1) != 0;
}

void drawText(const RgbCanvas& canvas, int x, int y, int scale, std::string_view text,
              const unsigned char rgb[3]) {
  for (char c : text) {
    for (int row = 0; row < kGlyphHeight; ++row) {
      for (int column = 0; column < kGlyphWidth; ++column) {
        if (glyphPixel(c, column, row)) {
          fillSquare(canvas, x + column * scale, y + row * scale, scale, rgb);
        }
      }
    }
    x += kGlyphAdvance * scale;
  }
}

}  // namespace dms_camera
