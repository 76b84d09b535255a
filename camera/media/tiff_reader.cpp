#include "tiff_reader.h"

namespace camera_jpeg {

namespace {
constexpr uint16_t kTypeShort = 3;
constexpr size_t kEntrySize = 12;
}  // namespace

bool TiffReader::open(uint32_t* firstIfd) {
  if (size_ < 8) return false;
  if (block_[0] == 'I' && block_[1] == 'I') {
    bigEndian_ = false;
  } else if (block_[0] == 'M' && block_[1] == 'M') {
    bigEndian_ = true;
  } else {
    return false;
  }
  uint16_t magic = 0;
  return u16(2, &magic) && magic == 42 && u32(4, firstIfd);
}

bool TiffReader::u16(size_t at, uint16_t* value) const {
  if (at > size_ || size_ - at < 2) return false;
  const uint8_t* p = block_ + at;
  *value = bigEndian_ ? static_cast<uint16_t>((p[0] << 8) | p[1])
                      : static_cast<uint16_t>((p[1] << 8) | p[0]);
  return true;
}

bool TiffReader::u32(size_t at, uint32_t* value) const {
  if (at > size_ || size_ - at < 4) return false;
  const uint8_t* p = block_ + at;
  *value = bigEndian_
               ? (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3]
               : (uint32_t{p[3]} << 24) | (uint32_t{p[2]} << 16) | (uint32_t{p[1]} << 8) | p[0];
  return true;
}

bool TiffReader::tagValue(uint32_t ifd, uint16_t tag, uint32_t* value) const {
  uint16_t count = 0;
  if (!u16(ifd, &count)) return false;
  for (uint16_t i = 0; i < count; ++i) {
    size_t entry = ifd + 2 + size_t{i} * kEntrySize;
    uint16_t entryTag = 0;
    uint16_t type = 0;
    if (!u16(entry, &entryTag) || !u16(entry + 2, &type)) return false;
    if (entryTag != tag) continue;
    if (type == kTypeShort) {
      uint16_t v = 0;
      if (!u16(entry + 8, &v)) return false;
      *value = v;
      return true;
    }
    // LONG, or the offset of a value too long for the field (MP Entry).
    return u32(entry + 8, value);
  }
  return false;
}

bool TiffReader::nextIfd(uint32_t ifd, uint32_t* next) const {
  uint16_t count = 0;
  return u16(ifd, &count) && u32(ifd + 2 + size_t{count} * kEntrySize, next);
}

}  // namespace camera_jpeg
