// Feeds arbitrary bytes, as a file, through the camera platform's JPEG
// reader (segments, EXIF and its TIFF directories, the MPF index, the
// embedded pictures' frame headers): uploaded and imported files reach it.
// Checks what its callers rely on: sizes are a frame header's, texts are
// terminated, and every picture it reports lies inside the file.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "dms_camera.h"

namespace {

void checkPicture(const ASLWifiJpegPicture& p, size_t size) {
  if (!p.present) return;
  if (p.offset <= 0 || p.length <= 0 || static_cast<unsigned long long>(p.offset) > size ||
      static_cast<unsigned long long>(p.length) > size - static_cast<size_t>(p.offset)) {
    abort();
  }
  if (p.width <= 0 || p.height <= 0) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const int fd = memfd_create("fuzz_jpeg_info", 0);
  if (fd < 0) abort();
  if (ftruncate(fd, 0) != 0 || pwrite(fd, data, size, 0) != static_cast<ssize_t>(size)) abort();
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  ASLWifiJpegMainInfo info{};
  ASLWifiJpegPicture screennail{};
  ASLWifiJpegPicture thumbnail{};
  if (ASLWifi_getJpegInfo(path.c_str(), &info, &screennail, &thumbnail) == 0) {
    // A frame header's 16-bit size; 0 stands for unknown.
    if (info.width < 0 || info.width > 65535 || info.height < 0 || info.height > 65535) abort();
    if (info.date[sizeof info.date - 1] != '\0' || info.title[sizeof info.title - 1] != '\0')
      abort();
    checkPicture(thumbnail, size);
    checkPicture(screennail, size);
  }
  return 0;
}
