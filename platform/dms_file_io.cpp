#include "dms_file_io.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <cstring>

#include "dms_string.h"
#include "export_guard.h"

DMSAppFileIOClass* DMSAppFileIOClass::instance_ = nullptr;

namespace {

const char* modeText(DMSAppFileMode mode) {
  switch (mode) {
    case DMSAPP_FILE_READ:
      return "r";
    case DMSAPP_FILE_WRITE:
      return "w";
    case DMSAPP_FILE_APPEND:
      return "a";
    case DMSAPP_FILE_READ_UPDATE:
      return "r+";
    case DMSAPP_FILE_WRITE_UPDATE:
      return "w+";
    case DMSAPP_FILE_APPEND_UPDATE:
      return "a+";
    case DMSAPP_FILE_READ_UPDATE_ALT:
      return "r+";
  }
  return nullptr;
}

int seekTo(FILE* f, DMSAppSeekMode mode, off_t offset) {
  if (f == nullptr) return 0;
  return fseeko(f, offset, static_cast<int>(mode)) == 0 ? 1 : 0;
}

}  // namespace

DMSAppFileIOClass* DMSAppFileIOClass::GetInstance() {
  if (instance_ == nullptr) instance_ = new DMSAppFileIOClass();
  return instance_;
}

void DMSAppFileIOClass::DestroyInstance() { delete instance_; }

DMSAppFileIOClass::~DMSAppFileIOClass() {
  if (instance_ == this) instance_ = nullptr;
}

int DMSAppFileIOClass::CreatDirectory(const char* path) {
  if (path == nullptr) return 0;
  return mkdir(path, 0777) == 0 ? 1 : 0;
}

FILE* DMSAppFileIOClass::OpenTheFile(const char* path, DMSAppFileMode mode) {
  const char* text = modeText(mode);
  if (path == nullptr || text == nullptr) return nullptr;
  return fopen(path, text);  // fopen64 with _FILE_OFFSET_BITS=64
}

int DMSAppFileIOClass::CloseTheFile(FILE* f) {
  if (f == nullptr) return 0;
  return fclose(f) == 0 ? 1 : 0;
}

int DMSAppFileIOClass::WriteIntoFile(FILE* f, const char* buf, unsigned long n) {
  if (f == nullptr || buf == nullptr) return 0;
  return (n != 0 && fwrite(buf, 1, n, f) == n) ? 1 : 0;
}

int DMSAppFileIOClass::WriteBufferPtrIntoFile(FILE* f, const char* buf, unsigned long n) {
  if (f == nullptr || buf == nullptr) return 0;
  return fwrite(buf, 1, n, f) == n ? 1 : 0;
}

int DMSAppFileIOClass::ReadFromFile(FILE* f, char* buf, unsigned long n, unsigned long* got) {
  if (f == nullptr || buf == nullptr || got == nullptr) return 0;
  size_t count = fread(buf, 1, n, f);
  if (count == 0) return 0;
  *got = count;
  return 1;
}

int DMSAppFileIOClass::ReadFromFileByChar(FILE* f, char* buf, unsigned long n, unsigned long* got) {
  return ReadFromFile(f, buf, n, got);
}

int DMSAppFileIOClass::RemoveThisFile(const char* path) {
  if (path == nullptr) return 0;
  return remove(path) == 0 ? 1 : 0;
}

// The offset is a signed 32-bit value whatever the width of long.
int DMSAppFileIOClass::SeekDataFromFile(FILE* f, DMSAppSeekMode mode, long offset) {
  return seekTo(f, mode, static_cast<off_t>(static_cast<int32_t>(offset)));
}

// An unsigned 32-bit offset reaches files between 2 and 4 GiB.
int DMSAppFileIOClass::SeekDataFromFileUlong(FILE* f, DMSAppSeekMode mode, unsigned long offset) {
  return seekTo(f, mode, static_cast<off_t>(static_cast<uint32_t>(offset)));
}

int DMSAppFileIOClass::DoesFileExist(const char* path) {
  struct stat st;
  return (path != nullptr && stat(path, &st) == 0) ? 1 : 0;
}

int64_t DMSAppFileIOClass::GetTheFileSize(const char* path) {
  if (path == nullptr) return 0;
  struct stat st;
  if (stat(path, &st) != 0) return -1;
  return static_cast<int64_t>(st.st_size);
}

int64_t DMSAppFileIOClass::GetTheFileSize(FILE* f) {
  if (f == nullptr) return 0;
  struct stat st;
  if (fstat(fileno(f), &st) != 0) return -1;
  return static_cast<int64_t>(st.st_size);
}

namespace {
DMSAppFileIOClass* io() { return DMSAppFileIOClass::GetInstance(); }
}  // namespace

extern "C" int DMSAppCreatDirecotry(const char* path) {
  return dms_export::guarded("DMSAppCreatDirecotry", 0,
                             [&]() -> int { return io()->CreatDirectory(path); });
}

extern "C" FILE* DMSAppOpenFile(const char* path, DMSAppFileMode mode) {
  return dms_export::guarded("DMSAppOpenFile", static_cast<FILE*>(nullptr),
                             [&]() -> FILE* { return io()->OpenTheFile(path, mode); });
}

extern "C" int DMSAppCloseFile(FILE* f) {
  return dms_export::guarded("DMSAppCloseFile", 0, [&]() -> int { return io()->CloseTheFile(f); });
}

extern "C" int DMSAppWriteFile(FILE* f, const char* buf, unsigned long n) {
  return dms_export::guarded("DMSAppWriteFile", 0,
                             [&]() -> int { return io()->WriteIntoFile(f, buf, n); });
}

extern "C" int DMSAppBufferPtrWriteFile(FILE* f, const char* buf, unsigned long n) {
  return dms_export::guarded("DMSAppBufferPtrWriteFile", 0,
                             [&]() -> int { return io()->WriteBufferPtrIntoFile(f, buf, n); });
}

extern "C" int DMSAppReadFile(FILE* f, char* buf, unsigned long n, unsigned long* got) {
  return dms_export::guarded("DMSAppReadFile", 0,
                             [&]() -> int { return io()->ReadFromFile(f, buf, n, got); });
}

extern "C" int DMSAppReadFileByChar(FILE* f, char* buf, unsigned long n, unsigned long* got) {
  return dms_export::guarded("DMSAppReadFileByChar", 0,
                             [&]() -> int { return io()->ReadFromFileByChar(f, buf, n, got); });
}

extern "C" int DMSAppRemoveFile(const char* path) {
  return dms_export::guarded("DMSAppRemoveFile", 0,
                             [&]() -> int { return io()->RemoveThisFile(path); });
}

extern "C" int DMSAppSeekFile(FILE* f, DMSAppSeekMode mode, long offset) {
  return dms_export::guarded("DMSAppSeekFile", 0,
                             [&]() -> int { return io()->SeekDataFromFile(f, mode, offset); });
}

extern "C" int DMSAppSeekFileUlong(FILE* f, DMSAppSeekMode mode, unsigned long offset) {
  return dms_export::guarded("DMSAppSeekFileUlong", 0,
                             [&]() -> int { return io()->SeekDataFromFileUlong(f, mode, offset); });
}

int64_t DMSAppGetFileSize(const char* path) { return io()->GetTheFileSize(path); }

int64_t DMSAppGetFileSize(FILE* f) { return io()->GetTheFileSize(f); }

extern "C" int DMSAppReadBufferByChar(void* dst, const void* src, unsigned long offset,
                                      unsigned long wanted, unsigned long available,
                                      unsigned long* got) {
  if (dst == nullptr || src == nullptr || got == nullptr) return 0;
  unsigned long count = wanted < available ? wanted : available;
  memcpy(dst, static_cast<const char*>(src) + offset, count);
  *got = count;
  return 1;
}

extern "C" int DMSAppConvertHexToInteger(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 0;
}
