#include "jpeg_markers.h"

namespace camera_jpeg {

bool frameSize(const uint8_t* bytes, size_t size, int* width, int* height, bool* baseline) {
  bool found = false;
  size_t resume = 0;
  walkSegments(bytes, size, &resume, [&](const Segment& s) {
    if (!isStartOfFrame(s.marker) || s.size < 5) return true;
    *height = (s.data[1] << 8) | s.data[2];
    *width = (s.data[3] << 8) | s.data[4];
    if (baseline != nullptr) *baseline = s.marker == 0xC0 || s.marker == 0xC1;
    found = true;
    return false;
  });
  return found && *width > 0 && *height > 0;
}

}  // namespace camera_jpeg
