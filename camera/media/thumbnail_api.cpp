// ASLWifi thumbnail buffers: from the cache when the file version was
// rendered before, else rendered and stored.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "dms_camera.h"
#include "export_guard.h"
#include "picture_codec.h"
#include "thumbnail_cache.h"

namespace {

// Photos larger than this are not read whole for a thumbnail.
constexpr long long kMaxPhotoBytes = 256ll << 20;

struct FileCloser {
  void operator()(FILE* f) const { fclose(f); }
};

bool readWhole(const char* path, std::vector<unsigned char>* data) {
  std::unique_ptr<FILE, FileCloser> f(fopen(path, "rb"));
  struct stat st {};
  if (f == nullptr || fstat(fileno(f.get()), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size <= 0 ||
      st.st_size > kMaxPhotoBytes) {
    return false;
  }
  data->resize(static_cast<size_t>(st.st_size));
  return fread(data->data(), 1, data->size(), f.get()) == data->size();
}

template <typename Render>
int cachedRender(const char* path, const char* kind, char** buffer, unsigned int* size,
                 Render render) {
  if (path == nullptr || buffer == nullptr || size == nullptr) return 1;
  *buffer = nullptr;
  *size = 0;
  std::string cacheFile = camera_thumb::cacheFileFor(path, kind);
  std::vector<unsigned char> picture;
  if (camera_thumb::loadCached(cacheFile, &picture)) {
    return camera_thumb::handOut(picture, buffer, size) ? 0 : 1;
  }
  if (!render(&picture)) return 1;
  camera_thumb::storeCached(cacheFile, picture);
  return camera_thumb::handOut(picture, buffer, size) ? 0 : 1;
}

}  // namespace

extern "C" int ASLWifi_getMovieThumbBuffer(const char* path, char** buffer, unsigned int* size) {
  return dms_export::guarded("ASLWifi_getMovieThumbBuffer", 1, [&]() -> int {
    return cachedRender(path, "movie", buffer, size, [path](std::vector<unsigned char>* picture) {
      return camera_thumb::renderMovieThumbnail(path, picture);
    });
  });
}

extern "C" int ASLWifi_getJpegThumbBuffer(const char* path, char** buffer, unsigned int* size) {
  return dms_export::guarded("ASLWifi_getJpegThumbBuffer", 1, [&]() -> int {
    return cachedRender(path, "photo", buffer, size, [path](std::vector<unsigned char>* picture) {
      std::vector<unsigned char> data;
      return readWhole(path, &data) && camera_thumb::renderJpegThumbnail(data, picture);
    });
  });
}

extern "C" int ASLWifi_removeThumbBuffers(const char* path) {
  return dms_export::guarded("ASLWifi_removeThumbBuffers", 1, [&]() -> int {
    if (path == nullptr) return 1;
    // Both kinds: the file's kind is not known here, and a missing entry costs
    // one failed unlink.
    for (const char* kind : {"movie", "photo"}) {
      const std::string cacheFile = camera_thumb::cacheFileFor(path, kind);
      if (!cacheFile.empty()) unlink(cacheFile.c_str());
    }
    return 0;
  });
}
