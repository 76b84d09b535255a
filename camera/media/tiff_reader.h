// Bounds-checked reads of a TIFF-structured block (EXIF APP1 and MPF APP2
// both use TIFF byte order headers and IFDs).
#ifndef DMS_CAMERA_TIFF_READER_H
#define DMS_CAMERA_TIFF_READER_H

#include <cstddef>
#include <cstdint>

namespace camera_jpeg {

class TiffReader {
 public:
  // `block` starts at the byte-order mark ("II" or "MM").
  TiffReader(const uint8_t* block, size_t size) : block_(block), size_(size) {}

  // Reads the byte order and the first IFD's offset; false when malformed.
  bool open(uint32_t* firstIfd);
  bool u16(size_t at, uint16_t* value) const;
  bool u32(size_t at, uint32_t* value) const;
  // The value of `tag` in the IFD at `ifd`: a SHORT's value, else the
  // 4-byte value field (a LONG, or the offset of a longer value).
  bool tagValue(uint32_t ifd, uint16_t tag, uint32_t* value) const;
  // The offset of the IFD that follows the one at `ifd` (0 when none).
  bool nextIfd(uint32_t ifd, uint32_t* next) const;
  size_t size() const { return size_; }

 private:
  const uint8_t* block_;
  size_t size_;
  bool bigEndian_ = false;
};

}  // namespace camera_jpeg

#endif  // DMS_CAMERA_TIFF_READER_H
