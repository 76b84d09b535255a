// UploadFile: the file an upload writes, kept under a hidden name beside its
// final path until the whole body has arrived. Readers of the folder (the
// media watcher, a rescan) skip hidden names, so they never see half a file;
// the complete file then appears at its final path in one rename.
//
// The hidden file is created exclusively and without following symbolic
// links, and the rename never replaces an existing file, so nothing planted
// in the folder is written through or overwritten.
//
// Thread safety: one thread at a time; the destructor discards an
// uncommitted file.
#ifndef DMS_TRANSFER_UPLOAD_FILE_H
#define DMS_TRANSFER_UPLOAD_FILE_H

#include <cstdint>
#include <string>

class UploadFile {
 public:
  // Nothing is created until the first Write.
  explicit UploadFile(std::string finalPath);
  ~UploadFile();
  UploadFile(const UploadFile&) = delete;
  UploadFile& operator=(const UploadFile&) = delete;

  // Writes `length` bytes at `offset` (creating the hidden file first). 0, or
  // the errno of the failure (ENOSPC when the disk is full).
  int Write(const char* data, size_t length, uint64_t offset);
  // Closes the file; false when the close reported an error (data lost).
  bool Close();
  // Moves the closed file to its final path; false (file left hidden) when
  // something is already there or the rename fails.
  bool Commit();
  // Closes and deletes whatever was written; false when a file existed and
  // could not be deleted.
  bool Discard();

  bool opened() const { return fd_ >= 0 || created_; }
  const std::string& finalPath() const { return finalPath_; }
  const std::string& hiddenPath() const { return hiddenPath_; }

 private:
  std::string finalPath_;
  std::string hiddenPath_;
  int fd_ = -1;
  bool created_ = false;    // the hidden file exists
  bool committed_ = false;  // renamed into place
};

#endif  // DMS_TRANSFER_UPLOAD_FILE_H
