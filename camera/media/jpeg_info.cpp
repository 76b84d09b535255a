// ASLWifi JPEG information: one pass over a photo's header segments gives
// the primary image's size, the EXIF facts and thumbnail span, and the MPF
// image list; the thumbnail's and screennail's own frame headers give their
// sizes.
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "dms_camera.h"
#include "exif_facts.h"
#include "export_guard.h"
#include "jpeg_markers.h"
#include "mpf_index.h"

namespace {

using camera_jpeg::Segment;
using camera_jpeg::WalkResult;

// Header segments larger than this are not a photo's (EXIF is at most 64
// KiB per segment; a few of them fit).
constexpr size_t kMaxHeaderBytes = 4u << 20;
constexpr size_t kFirstRead = 128u << 10;
// Enough of an embedded picture to reach its frame header.
constexpr size_t kPictureHeadBytes = 64u << 10;

struct FileCloser {
  void operator()(FILE* f) const { fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

bool readAt(FILE* f, long long offset, size_t count, std::vector<uint8_t>* out) {
  out->resize(count);
  if (fseeko(f, static_cast<off_t>(offset), SEEK_SET) != 0) return false;
  size_t got = fread(out->data(), 1, count, f);
  out->resize(got);
  return true;
}

void copyText(char* out, size_t capacity, const std::string& text) {
  size_t n = text.size() < capacity - 1 ? text.size() : capacity - 1;
  memcpy(out, text.data(), n);
  out[n] = '\0';
}

struct Header {
  bool sawFrame = false;
  int width = 0;
  int height = 0;
  bool baseline = false;
  bool haveExif = false;
  camera_jpeg::ExifFacts exif;
  long long tiffPosition = 0;  // of the EXIF TIFF header in the file
  std::vector<camera_jpeg::MpfImage> mpf;
  long long mpfBase = 0;  // of the MP header in the file
};

// Reads header segments, growing the buffer until the scan starts.
bool readHeader(FILE* f, long long fileSize, std::vector<uint8_t>* buffer, Header* header) {
  size_t want =
      fileSize < static_cast<long long>(kFirstRead) ? static_cast<size_t>(fileSize) : kFirstRead;
  for (;;) {
    if (!readAt(f, 0, want, buffer)) return false;
    size_t resume = 0;
    Header h;
    WalkResult r =
        camera_jpeg::walkSegments(buffer->data(), buffer->size(), &resume, [&](const Segment& s) {
          if (camera_jpeg::isStartOfFrame(s.marker) && s.size >= 5 && !h.sawFrame) {
            h.sawFrame = true;
            h.height = (s.data[1] << 8) | s.data[2];
            h.width = (s.data[3] << 8) | s.data[4];
            h.baseline = s.marker == 0xC0 || s.marker == 0xC1;
          } else if (s.marker == 0xE1 && !h.haveExif &&
                     camera_jpeg::readExifFacts(s.data, s.size, &h.exif)) {
            h.haveExif = true;
            h.tiffPosition = static_cast<long long>(s.position) + 4 + 6;
          } else if (s.marker == 0xE2 && h.mpf.empty() &&
                     camera_jpeg::readMpfIndex(s.data, s.size, &h.mpf)) {
            h.mpfBase = static_cast<long long>(s.position) + 4 + 4;
          }
          return true;
        });
    if (r == WalkResult::kNotJpeg) return false;
    if (r == WalkResult::kScanStart || static_cast<long long>(buffer->size()) >= fileSize ||
        want >= kMaxHeaderBytes) {
      // A truncated header still yields what was read.
      *header = std::move(h);
      return true;
    }
    want = want * 4 < kMaxHeaderBytes ? want * 4 : kMaxHeaderBytes;
    if (static_cast<long long>(want) > fileSize) want = static_cast<size_t>(fileSize);
  }
}

// The picture at [offset, offset + length) when it is a JPEG inside the file.
bool embeddedPicture(FILE* f, long long fileSize, long long offset, long long length,
                     ASLWifiJpegPicture* out) {
  if (offset <= 0 || length <= 0 || offset > fileSize || length > fileSize - offset) return false;
  std::vector<uint8_t> head;
  size_t want = length < static_cast<long long>(kPictureHeadBytes) ? static_cast<size_t>(length)
                                                                   : kPictureHeadBytes;
  if (!readAt(f, offset, want, &head) || head.size() < 4 || head[0] != 0xFF || head[1] != 0xD8) {
    return false;
  }
  int width = 0;
  int height = 0;
  if (!camera_jpeg::frameSize(head.data(), head.size(), &width, &height, nullptr)) return false;
  out->present = 1;
  out->offset = offset;
  out->length = length;
  out->width = width;
  out->height = height;
  return true;
}

void screennailOf(FILE* f, long long fileSize, const Header& h, ASLWifiJpegPicture* out) {
  long long bestArea = -1;
  for (const camera_jpeg::MpfImage& image : h.mpf) {
    if (image.type != camera_jpeg::kMpfLargeThumbnailVga &&
        image.type != camera_jpeg::kMpfLargeThumbnailFullHd) {
      continue;
    }
    ASLWifiJpegPicture candidate{};
    if (image.offset == 0 ||
        !embeddedPicture(f, fileSize, h.mpfBase + image.offset, image.size, &candidate)) {
      continue;
    }
    long long area = static_cast<long long>(candidate.width) * candidate.height;
    if (area > bestArea) {
      bestArea = area;
      *out = candidate;
    }
  }
}

}  // namespace

extern "C" int ASLWifi_getJpegInfo(const char* path, ASLWifiJpegMainInfo* mainInfo,
                                   ASLWifiJpegPicture* screennail, ASLWifiJpegPicture* thumbnail) {
  return dms_export::guarded("ASLWifi_getJpegInfo", 1, [&]() -> int {
    if (mainInfo != nullptr) memset(mainInfo, 0, sizeof *mainInfo);
    if (screennail != nullptr) memset(screennail, 0, sizeof *screennail);
    if (thumbnail != nullptr) memset(thumbnail, 0, sizeof *thumbnail);
    if (path == nullptr) return 1;
    File f(fopen(path, "rb"));
    struct stat st {};
    if (f == nullptr || fstat(fileno(f.get()), &st) != 0 || !S_ISREG(st.st_mode)) return 1;
    const long long fileSize = st.st_size;

    std::vector<uint8_t> buffer;
    Header h;
    if (!readHeader(f.get(), fileSize, &buffer, &h) || !h.sawFrame) return 1;

    if (mainInfo != nullptr) {
      mainInfo->width = h.width;
      mainInfo->height = h.height;
      mainInfo->baseline = h.baseline ? 1 : 0;
      mainInfo->orientation = h.exif.orientation;
      copyText(mainInfo->date, sizeof mainInfo->date, h.exif.date);
      copyText(mainInfo->title, sizeof mainInfo->title, h.exif.title);
      copyText(mainInfo->description, sizeof mainInfo->description, h.exif.description);
    }
    if (thumbnail != nullptr && h.haveExif && h.exif.thumbnailLength > 0) {
      embeddedPicture(f.get(), fileSize, h.tiffPosition + h.exif.thumbnailOffset,
                      h.exif.thumbnailLength, thumbnail);
    }
    if (screennail != nullptr && !h.mpf.empty()) screennailOf(f.get(), fileSize, h, screennail);
    return 0;
  });
}

extern "C" int ASLWifi_getJpegMainInfo(const char* path, ASLWifiJpegMainInfo* info) {
  if (info == nullptr) return 1;
  return ASLWifi_getJpegInfo(path, info, nullptr, nullptr);
}

extern "C" int ASLWifi_getJpegScreennailInfo(const char* path, ASLWifiJpegPicture* screennail) {
  if (screennail == nullptr) return 1;
  return ASLWifi_getJpegInfo(path, nullptr, screennail, nullptr);
}

extern "C" int ASLWifi_getJpegThumbnaillInfo(const char* path, ASLWifiJpegPicture* thumbnail) {
  if (thumbnail == nullptr) return 1;
  return ASLWifi_getJpegInfo(path, nullptr, nullptr, thumbnail);
}

extern "C" void ASLWifi_thumbSize(int width, int height, int* thumbWidth, int* thumbHeight) {
  int w = width > 0 ? width : 1;
  int h = height > 0 ? height : 1;
  if (w > ASLWIFI_THUMB_MAX_SIDE || h > ASLWIFI_THUMB_MAX_SIDE) {
    if (w >= h) {
      h = static_cast<int>((static_cast<long long>(h) * ASLWIFI_THUMB_MAX_SIDE + w / 2) / w);
      w = ASLWIFI_THUMB_MAX_SIDE;
    } else {
      w = static_cast<int>((static_cast<long long>(w) * ASLWIFI_THUMB_MAX_SIDE + h / 2) / h);
      h = ASLWIFI_THUMB_MAX_SIDE;
    }
  }
  *thumbWidth = w > 0 ? w : 1;
  *thumbHeight = h > 0 ? h : 1;
}
