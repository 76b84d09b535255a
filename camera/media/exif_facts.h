// What the photo reader takes from an EXIF APP1 segment.
#ifndef DMS_CAMERA_EXIF_FACTS_H
#define DMS_CAMERA_EXIF_FACTS_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace camera_jpeg {

struct ExifFacts {
  std::string date;         // "YYYY-MM-DDTHH:MM:SS" or ""
  std::string title;        // XPTitle as UTF-8
  std::string description;  // ImageDescription, blanks trimmed
  int orientation = 0;
  // The IFD1 JPEG thumbnail, relative to the TIFF header; length 0 if none.
  uint32_t thumbnailOffset = 0;
  uint32_t thumbnailLength = 0;
};

// `payload` is the APP1 payload beginning with "Exif\0\0". False when it is
// not EXIF. The TIFF header is at payload + 6.
bool readExifFacts(const uint8_t* payload, size_t size, ExifFacts* facts);

}  // namespace camera_jpeg

#endif  // DMS_CAMERA_EXIF_FACTS_H
