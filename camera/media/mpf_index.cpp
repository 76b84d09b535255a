#include "mpf_index.h"

#include <cstring>

#include "tiff_reader.h"

namespace camera_jpeg {

namespace {
constexpr uint16_t kTagNumberOfImages = 0xB001;
constexpr uint16_t kTagMpEntry = 0xB002;
constexpr size_t kEntryBytes = 16;
constexpr uint32_t kMaxImages = 64;
}  // namespace

bool readMpfIndex(const uint8_t* payload, size_t size, std::vector<MpfImage>* images) {
  if (size < 4 || memcmp(payload, "MPF\0", 4) != 0) return false;
  TiffReader reader(payload + 4, size - 4);
  uint32_t ifd = 0;
  uint32_t count = 0;
  uint32_t entries = 0;
  if (!reader.open(&ifd) || !reader.tagValue(ifd, kTagNumberOfImages, &count) ||
      !reader.tagValue(ifd, kTagMpEntry, &entries) || count == 0 || count > kMaxImages) {
    return false;
  }
  // The MP Entry value is UNDEFINED (count x 16 bytes) stored at an offset;
  // tagValue read the offset as the LONG in the value field.
  for (uint32_t i = 0; i < count; ++i) {
    size_t at = entries + size_t{i} * kEntryBytes;
    uint32_t attribute = 0;
    MpfImage image{};
    if (!reader.u32(at, &attribute) || !reader.u32(at + 4, &image.size) ||
        !reader.u32(at + 8, &image.offset)) {
      return false;
    }
    image.type = attribute & 0xFFFFFF;
    images->push_back(image);
  }
  return true;
}

}  // namespace camera_jpeg
