// The live view's last photo on a Linux host (see last_photo.h).
#include "last_photo.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "dms_camera.h"
#include "nuv_config.h"
#include "nuv_log.h"
#include "server_hooks.h"

namespace dms_camera {

namespace {

constexpr const char* kCameraPhotoDir = "/b";

std::string photoDir() {
  char* configured = NUVGetConfigurationMA("LAST-PHOTO-DIR");
  std::string dir = configured != nullptr && configured[0] != '\0' ? configured : kCameraPhotoDir;
  free(configured);
  return dir;
}

std::string baseName(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The bytes [offset, offset + length) of the file at `path`.
bool readPart(const std::string& path, long long offset, long long length,
              std::vector<unsigned char>* out) {
  std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "rb"), fclose);
  if (file == nullptr || length <= 0 || fseeko(file.get(), offset, SEEK_SET) != 0) return false;
  out->resize(static_cast<size_t>(length));
  return fread(out->data(), 1, out->size(), file.get()) == out->size();
}

// Written beside the target and renamed over it, so that the handler never
// opens a half-written file.
bool writeWhole(const std::string& path, const std::vector<unsigned char>& bytes) {
  const std::string part = path + ".part";
  const int fd = open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  const bool ok = close(fd) == 0 && done == bytes.size();
  if (!ok || rename(part.c_str(), path.c_str()) != 0) {
    unlink(part.c_str());
    return false;
  }
  return true;
}

}  // namespace

LastPhoto& LastPhoto::instance() {
  static LastPhoto photo;
  return photo;
}

bool LastPhoto::Taken(const std::string& path) {
  ASLWifiJpegPicture screennail{};
  ASLWifiJpegPicture thumbnail{};
  if (ASLWifi_getJpegInfo(path.c_str(), nullptr, &screennail, &thumbnail) != 0) return false;
  const ASLWifiJpegPicture& small = screennail.present != 0 ? screennail : thumbnail;
  std::vector<unsigned char> bytes;
  if (small.present != 0 && !readPart(path, small.offset, small.length, &bytes)) bytes.clear();
  const std::string name = baseName(path);
  const std::string folder = photoDir();
  if (!writeWhole(folder + "/" + name + "_SM", bytes)) {
    NUVPrintf(NUV_LOG_ERROR, "[LiveView] cannot write the small image of %s into %s", path.c_str(),
              folder.c_str());
    return false;
  }
  if (serverSetLastTakenPhotoName(name.c_str()) != 0) return false;
  std::lock_guard<std::mutex> lock(mutex_);
  if (!name_.empty() && (name_ != name || folder_ != folder))
    unlink((folder_ + "/" + name_ + "_SM").c_str());
  name_ = name;
  folder_ = folder;
  size_ = static_cast<long>(bytes.size());
  return true;
}

bool LastPhoto::SmallImage(const std::string& name, long* offset, long* size) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (name.empty() || name != name_ || size_ <= 0) return false;
  *offset = 0;
  *size = size_;
  return true;
}

}  // namespace dms_camera
