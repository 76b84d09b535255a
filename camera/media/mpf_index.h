// The image list of a Multi-Picture Format (CIPA DC-007) APP2 segment.
#ifndef DMS_CAMERA_MPF_INDEX_H
#define DMS_CAMERA_MPF_INDEX_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace camera_jpeg {

struct MpfImage {
  uint32_t type;    // MP image type code (attribute & 0xFFFFFF)
  uint32_t size;    // bytes
  uint32_t offset;  // from the MP header (0 for the primary image)
};

constexpr uint32_t kMpfLargeThumbnailVga = 0x010001;
constexpr uint32_t kMpfLargeThumbnailFullHd = 0x010002;

// `payload` is the APP2 payload beginning with "MPF\0"; the MP header (the
// base of the image offsets) is at payload + 4. False when it is not MPF.
bool readMpfIndex(const uint8_t* payload, size_t size, std::vector<MpfImage>* images);

}  // namespace camera_jpeg

#endif  // DMS_CAMERA_MPF_INDEX_H
