// EXIF tags through libexif; the thumbnail's position through our own IFD1
// walk, because libexif copies the thumbnail out and drops its offset.
#include "exif_facts.h"

#include <libexif/exif-data.h>

#include <cstring>
#include <memory>

#include "tiff_reader.h"

namespace camera_jpeg {

namespace {

constexpr size_t kExifHeader = 6;  // "Exif\0\0"
constexpr uint16_t kTagCompression = 0x0103;
constexpr uint16_t kTagThumbnailOffset = 0x0201;
constexpr uint16_t kTagThumbnailLength = 0x0202;

struct ExifDataDeleter {
  void operator()(ExifData* data) const { exif_data_unref(data); }
};

std::string trimmed(const char* text, size_t size) {
  size_t end = strnlen(text, size);
  size_t begin = 0;
  while (begin < end && (text[begin] == ' ' || text[begin] == '\t')) ++begin;
  while (end > begin && (text[end - 1] == ' ' || text[end - 1] == '\t' || text[end - 1] == '\n' ||
                         text[end - 1] == '\r'))
    --end;
  return std::string(text + begin, end - begin);
}

ExifEntry* entryOf(ExifData* data, ExifIfd ifd, ExifTag tag) {
  return exif_content_get_entry(data->ifd[ifd], tag);
}

// "YYYY:MM:DD HH:MM:SS" to "YYYY-MM-DDTHH:MM:SS"; "" when malformed or
// zero (cameras with an unset clock write "0000:00:00 00:00:00").
std::string isoDate(const ExifEntry* e) {
  if (e == nullptr || e->format != EXIF_FORMAT_ASCII || e->size < 19) return "";
  const char* t = reinterpret_cast<const char*>(e->data);
  static const char kShape[] = "dddd:dd:dd dd:dd:dd";
  for (int i = 0; i < 19; ++i) {
    bool digit = t[i] >= '0' && t[i] <= '9';
    if (kShape[i] == 'd' ? !digit : (t[i] != kShape[i] && !(i == 10 && t[i] == 'T'))) return "";
  }
  if (strncmp(t, "0000", 4) == 0) return "";
  std::string iso(t, 19);
  iso[4] = '-';
  iso[7] = '-';
  iso[10] = 'T';
  return iso;
}

void appendUtf8(std::string* out, uint32_t cp) {
  if (cp < 0x80) {
    *out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    *out += static_cast<char>(0xC0 | (cp >> 6));
    *out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    *out += static_cast<char>(0xE0 | (cp >> 12));
    *out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    *out += static_cast<char>(0xF0 | (cp >> 18));
    *out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    *out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// XPTitle is UCS-2/UTF-16 little endian whatever the TIFF byte order.
std::string xpText(const ExifEntry* e) {
  if (e == nullptr || e->data == nullptr) return "";
  std::string out;
  for (size_t i = 0; i + 1 < e->size; i += 2) {
    uint32_t unit = e->data[i] | (e->data[i + 1] << 8);
    if (unit == 0) break;
    if (unit >= 0xD800 && unit < 0xDC00 && i + 3 < e->size) {
      uint32_t low = e->data[i + 2] | (e->data[i + 3] << 8);
      if (low >= 0xDC00 && low < 0xE000) {
        appendUtf8(&out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
        i += 2;
        continue;
      }
    }
    if (unit >= 0xD800 && unit < 0xE000) unit = 0xFFFD;
    appendUtf8(&out, unit);
  }
  return trimmed(out.c_str(), out.size());
}

void readThumbnailSpan(const uint8_t* tiff, size_t size, ExifFacts* facts) {
  TiffReader reader(tiff, size);
  uint32_t ifd0 = 0;
  uint32_t ifd1 = 0;
  if (!reader.open(&ifd0) || !reader.nextIfd(ifd0, &ifd1) || ifd1 == 0) return;
  uint32_t compression = 6;
  reader.tagValue(ifd1, kTagCompression, &compression);
  uint32_t offset = 0;
  uint32_t length = 0;
  if (compression != 6 || !reader.tagValue(ifd1, kTagThumbnailOffset, &offset) ||
      !reader.tagValue(ifd1, kTagThumbnailLength, &length)) {
    return;
  }
  facts->thumbnailOffset = offset;
  facts->thumbnailLength = length;
}

}  // namespace

bool readExifFacts(const uint8_t* payload, size_t size, ExifFacts* facts) {
  if (size <= kExifHeader || memcmp(payload, "Exif\0\0", kExifHeader) != 0) return false;
  readThumbnailSpan(payload + kExifHeader, size - kExifHeader, facts);

  std::unique_ptr<ExifData, ExifDataDeleter> data(exif_data_new());
  if (data == nullptr) return true;
  // Read as it stands: no fixing up, no tags added.
  exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
  exif_data_load_data(data.get(), payload, static_cast<unsigned int>(size));

  facts->date = isoDate(entryOf(data.get(), EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL));
  if (facts->date.empty())
    facts->date = isoDate(entryOf(data.get(), EXIF_IFD_0, EXIF_TAG_DATE_TIME));
  facts->title = xpText(entryOf(data.get(), EXIF_IFD_0, EXIF_TAG_XP_TITLE));
  ExifEntry* description = entryOf(data.get(), EXIF_IFD_0, EXIF_TAG_IMAGE_DESCRIPTION);
  if (description != nullptr && description->format == EXIF_FORMAT_ASCII && description->data) {
    facts->description =
        trimmed(reinterpret_cast<const char*>(description->data), description->size);
  }
  ExifEntry* orientation = entryOf(data.get(), EXIF_IFD_0, EXIF_TAG_ORIENTATION);
  if (orientation != nullptr && orientation->format == EXIF_FORMAT_SHORT &&
      orientation->size >= 2) {
    facts->orientation = exif_get_short(orientation->data, exif_data_get_byte_order(data.get()));
  }
  return true;
}

}  // namespace camera_jpeg
