#include "thumbnail_cache.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "nuv_config.h"

namespace camera_thumb {

namespace {

constexpr const char* kCacheDirKey = "THUMBNAIL-CACHE-DIR";
constexpr size_t kMaxCachedBytes = 4u << 20;

struct FileCloser {
  void operator()(FILE* f) const { fclose(f); }
};

uint64_t fnv1a(const std::string& text) {
  uint64_t hash = 1469598103934665603ull;
  for (unsigned char c : text) {
    hash ^= c;
    hash *= 1099511628211ull;
  }
  return hash;
}

}  // namespace

std::string cacheFileFor(const char* path, const char* kind) {
  std::unique_ptr<char, decltype(&free)> dir(NUVGetConfigurationMA(kCacheDirKey), &free);
  struct stat st {};
  if (dir == nullptr || dir.get()[0] == '\0' || stat(path, &st) != 0) return "";
  char key[64];
  snprintf(key, sizeof key, "|%lld|%lld.%09ld|", static_cast<long long>(st.st_size),
           static_cast<long long>(st.st_mtim.tv_sec), static_cast<long>(st.st_mtim.tv_nsec));
  char name[48];
  snprintf(name, sizeof name, "%016" PRIx64 ".jpg", fnv1a(std::string(path) + key + kind));
  std::string file = dir.get();
  if (file.back() != '/') file += '/';
  return file + name;
}

bool loadCached(const std::string& cacheFile, std::vector<unsigned char>* picture) {
  if (cacheFile.empty()) return false;
  std::unique_ptr<FILE, FileCloser> f(fopen(cacheFile.c_str(), "rb"));
  struct stat st {};
  if (f == nullptr || fstat(fileno(f.get()), &st) != 0 || st.st_size <= 0 ||
      static_cast<size_t>(st.st_size) > kMaxCachedBytes) {
    return false;
  }
  picture->resize(static_cast<size_t>(st.st_size));
  return fread(picture->data(), 1, picture->size(), f.get()) == picture->size();
}

void storeCached(const std::string& cacheFile, const std::vector<unsigned char>& picture) {
  if (cacheFile.empty() || picture.empty()) return;
  static std::atomic<unsigned> serial{0};
  std::string dir = cacheFile.substr(0, cacheFile.rfind('/'));
  mkdir(dir.c_str(), 0755);  // the state folder's thumbnails/ may not exist yet
  char suffix[48];
  snprintf(suffix, sizeof suffix, ".%d.%u.tmp", static_cast<int>(getpid()), serial.fetch_add(1));
  std::string temporary = cacheFile + suffix;
  {
    std::unique_ptr<FILE, FileCloser> f(fopen(temporary.c_str(), "wb"));
    if (f == nullptr) return;
    if (fwrite(picture.data(), 1, picture.size(), f.get()) != picture.size() ||
        fflush(f.get()) != 0) {
      f.reset();
      unlink(temporary.c_str());
      return;
    }
  }
  if (rename(temporary.c_str(), cacheFile.c_str()) != 0) unlink(temporary.c_str());
}

bool handOut(const std::vector<unsigned char>& picture, char** buffer, unsigned int* size) {
  if (picture.empty()) return false;
  char* copy = static_cast<char*>(malloc(picture.size()));
  if (copy == nullptr) return false;
  memcpy(copy, picture.data(), picture.size());
  *buffer = copy;
  *size = static_cast<unsigned int>(picture.size());
  return true;
}

}  // namespace camera_thumb
