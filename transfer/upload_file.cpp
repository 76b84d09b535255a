#include "upload_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

// ".NAME.part" in the folder of `path`.
std::string hiddenPathFor(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  return folder + "." + name + ".part";
}

}  // namespace

UploadFile::UploadFile(std::string finalPath)
    : finalPath_(std::move(finalPath)), hiddenPath_(hiddenPathFor(finalPath_)) {}

UploadFile::~UploadFile() {
  if (!committed_) Discard();
}

int UploadFile::Write(const char* data, size_t length, uint64_t offset) {
  if (fd_ < 0) {
    if (created_) return EBADF;  // closed: no more data
    // A hidden file left by an earlier run of this upload (the daemon was
    // killed) is stale: only this upload writes that name.
    unlink(hiddenPath_.c_str());
    fd_ = open(hiddenPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd_ < 0) return errno;
    created_ = true;
  }
  while (length > 0) {
    const ssize_t n = pwrite(fd_, data, length, static_cast<off_t>(offset));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return errno;
    if (n == 0) return ENOSPC;
    data += n;
    length -= static_cast<size_t>(n);
    offset += static_cast<uint64_t>(n);
  }
  return 0;
}

bool UploadFile::Close() {
  if (fd_ < 0) return true;
  const int rc = close(fd_);
  fd_ = -1;
  return rc == 0;
}

bool UploadFile::Commit() {
  if (!created_ && Write("", 0, 0) != 0) return false;  // an empty body is an empty file
  if (!Close()) return false;
  // RENAME_NOREPLACE: a file that appeared at the final path meanwhile
  // stays as it is.
  if (renameat2(AT_FDCWD, hiddenPath_.c_str(), AT_FDCWD, finalPath_.c_str(), RENAME_NOREPLACE) !=
      0) {
    return false;
  }
  committed_ = true;
  return true;
}

bool UploadFile::Discard() {
  Close();
  if (!created_ || committed_) return true;
  created_ = false;
  return unlink(hiddenPath_.c_str()) == 0 || errno == ENOENT;
}
