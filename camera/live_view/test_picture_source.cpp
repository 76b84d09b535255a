// The test picture: colour bars that move every picture, under the local
// time to the millisecond, so that a viewer sees both motion and delay.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <ctime>

#include "digit_font.h"
#include "frame_sources.h"
#include "frame_timing.h"
#include "jpeg_encoder.h"

namespace dms_camera {

namespace {

constexpr int kBars = 8;
constexpr int kBarStep = 4;      // pixels the bars move per picture
constexpr int kClockChars = 12;  // "HH:MM:SS.mmm"

// White, yellow, cyan, green, magenta, red, blue, black as red, green and
// blue bits.
constexpr unsigned kBarColours[kBars] = {7, 6, 3, 2, 5, 4, 1, 0};

void paintBars(const RgbCanvas& canvas, long long picture) {
  int shift = static_cast<int>(picture * kBarStep % canvas.width);
  for (int y = 0; y < canvas.height; ++y) {
    // Brighter at the top, so that the bars also show a gradient.
    auto level = static_cast<unsigned char>(255 - 160 * y / canvas.height);
    unsigned char* row = canvas.pixels + static_cast<ptrdiff_t>(y) * canvas.pitch;
    for (int x = 0; x < canvas.width; ++x) {
      unsigned bits = kBarColours[(x + shift) % canvas.width * kBars / canvas.width];
      row[3 * x] = bits & 4 ? level : 16;
      row[3 * x + 1] = bits & 2 ? level : 16;
      row[3 * x + 2] = bits & 1 ? level : 16;
    }
  }
}

std::string clockText() {
  auto now = std::chrono::system_clock::now();
  std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()) % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                static_cast<int>(ms.count()));
  return text;
}

// The time in white on a black box in the middle, as large as fits.
void paintClock(const RgbCanvas& canvas) {
  int textWidth = kClockChars * kGlyphAdvance;
  int scale =
      std::max(1, std::min(canvas.width / (textWidth + 2), canvas.height / 5 / kGlyphHeight));
  int boxWidth = (textWidth + 1) * scale;
  int boxHeight = (kGlyphHeight + 2) * scale;
  int left = (canvas.width - boxWidth) / 2;
  int top = (canvas.height - boxHeight) / 2;
  for (int y = std::max(top, 0); y < top + boxHeight && y < canvas.height; ++y) {
    unsigned char* row = canvas.pixels + static_cast<ptrdiff_t>(y) * canvas.pitch;
    int from = std::max(left, 0);
    int to = std::min(left + boxWidth, canvas.width);
    std::fill(row + 3 * from, row + 3 * to, 0);
  }
  const unsigned char white[3] = {255, 255, 255};
  drawText(canvas, left + scale, top + scale, scale, clockText(), white);
}

class TestPictureSource final : public FrameSource {
 public:
  double rate() const override { return kMaxRate; }

  bool next(FrameSize size, std::vector<unsigned char>* out, std::string* error) override {
    if (!checkPictureSize(size, error)) return false;
    clock_.sleepUntil(static_cast<double>(pictures_) / kMaxRate);
    rgb_.resize(static_cast<size_t>(size.width) * size.height * 3);
    RgbCanvas canvas{rgb_.data(), size.width, size.height, size.width * 3};
    paintBars(canvas, pictures_);
    paintClock(canvas);
    ++pictures_;
    return encoder_.encodeRgb(rgb_.data(), size.width, size.height, canvas.pitch, out, error);
  }

 private:
  FrameClock clock_;
  JpegEncoder encoder_;
  std::vector<unsigned char> rgb_;
  long long pictures_ = 0;
};

}  // namespace

std::unique_ptr<FrameSource> openTestPictureSource() {
  return std::make_unique<TestPictureSource>();
}

}  // namespace dms_camera
