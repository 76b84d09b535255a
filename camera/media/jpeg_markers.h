// Walking the marker segments of a JPEG stream held in memory. Shared by the
// photo reader (primary image, EXIF thumbnail, MPF images) and the
// thumbnail renderer.
#ifndef DMS_CAMERA_JPEG_MARKERS_H
#define DMS_CAMERA_JPEG_MARKERS_H

#include <cstddef>
#include <cstdint>

namespace camera_jpeg {

// One marker segment: `marker` is the second byte (0xE1 for APP1...);
// `data` points after the two length bytes, `size` is the payload size and
// `position` the offset of the 0xFF byte within the scanned buffer.
struct Segment {
  uint8_t marker;
  const uint8_t* data;
  size_t size;
  size_t position;
};

enum class WalkResult {
  kScanStart,  // stopped at SOS (or EOI): every header segment was seen
  kNeedMore,   // a segment runs past the end of the buffer
  kNotJpeg,    // no SOI, or a byte sequence that is not a marker
};

// Calls visit(segment) for each segment before the first SOS; visit returns
// false to stop early (reported as kScanStart). `*resumeAt` receives the
// offset where a segment ran past the end, so a caller can read more.
template <typename Visit>
WalkResult walkSegments(const uint8_t* bytes, size_t size, size_t* resumeAt, Visit visit) {
  if (size < 2 || bytes[0] != 0xFF || bytes[1] != 0xD8) return WalkResult::kNotJpeg;
  size_t pos = 2;
  for (;;) {
    if (pos >= size) {
      *resumeAt = pos;
      return WalkResult::kNeedMore;
    }
    // Bytes where a marker should be are skipped up to the next 0xFF, as
    // decoders do: damaged files and some writers leave a few there.
    while (pos < size && bytes[pos] != 0xFF) ++pos;
    if (pos >= size) {
      *resumeAt = pos;
      return WalkResult::kNeedMore;
    }
    size_t start = pos;
    while (pos < size && bytes[pos] == 0xFF) ++pos;  // fill bytes
    if (pos >= size) {
      *resumeAt = start;
      return WalkResult::kNeedMore;
    }
    uint8_t marker = bytes[pos++];
    if (marker == 0xD9 || marker == 0xDA) return WalkResult::kScanStart;
    if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) continue;  // no payload
    if (marker == 0x00) continue;  // a stuffed 0xFF00 is data, not a marker
    if (pos + 2 > size) {
      *resumeAt = start;
      return WalkResult::kNeedMore;
    }
    size_t length = (static_cast<size_t>(bytes[pos]) << 8) | bytes[pos + 1];
    if (length < 2) return WalkResult::kNotJpeg;
    if (pos + length > size) {
      *resumeAt = start;
      return WalkResult::kNeedMore;
    }
    if (!visit(Segment{marker, bytes + pos + 2, length - 2, start})) return WalkResult::kScanStart;
    pos += length;
  }
}

// True for the start-of-frame markers (C0-CF except DHT C4, JPG C8, DAC CC).
inline bool isStartOfFrame(uint8_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Width, height and whether the frame is sequential Huffman (SOF0/SOF1) of
// the JPEG stream in `bytes`. False when no frame header is found.
bool frameSize(const uint8_t* bytes, size_t size, int* width, int* height, bool* baseline);

}  // namespace camera_jpeg

#endif  // DMS_CAMERA_JPEG_MARKERS_H
