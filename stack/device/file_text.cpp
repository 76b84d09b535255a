// Whole-file reads and atomic writes.
#include "file_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace dmsstack {

namespace {

struct FdCloser {
  int fd;
  ~FdCloser() {
    if (fd >= 0) close(fd);
  }
};

bool writeAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t n = write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

}  // namespace

bool readWholeFile(const std::string& path, size_t limit, std::string* text) {
  FdCloser file{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
  if (file.fd < 0) return false;
  struct stat st;
  if (fstat(file.fd, &st) != 0 || !S_ISREG(st.st_mode) || static_cast<size_t>(st.st_size) > limit)
    return false;
  std::string content;
  char buffer[8192];
  for (;;) {
    ssize_t n = read(file.fd, buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) break;
    if (content.size() + static_cast<size_t>(n) > limit) return false;
    content.append(buffer, static_cast<size_t>(n));
  }
  *text = std::move(content);
  return true;
}

bool writeFileAtomically(const std::string& path, const std::string& text) {
  std::string temp = path + ".XXXXXX";
  FdCloser file{mkostemp(&temp[0], O_CLOEXEC)};
  if (file.fd < 0) return false;
  bool ok = fchmod(file.fd, 0644) == 0 && writeAll(file.fd, text.data(), text.size()) &&
            fsync(file.fd) == 0;
  if (ok) ok = rename(temp.c_str(), path.c_str()) == 0;
  if (!ok) unlink(temp.c_str());
  return ok;
}

std::string joinPath(const std::string& dir, const std::string& name) {
  if (dir.empty()) return name;
  if (dir.back() == '/' || (!name.empty() && name.front() == '/')) {
    if (dir.back() == '/' && !name.empty() && name.front() == '/') return dir + name.substr(1);
    return dir + name;
  }
  return dir + "/" + name;
}

}  // namespace dmsstack
