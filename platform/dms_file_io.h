// DMSAppFileIOClass: the file service, a thin layer over stdio with 64-bit
// offsets. Results are 1 for success and 0 for failure unless stated. The
// exported DMSApp...File functions (dms_platform.h) reach the singleton.
#ifndef DMS_PLATFORM_DMS_FILE_IO_H
#define DMS_PLATFORM_DMS_FILE_IO_H

#include <cstdint>
#include <cstdio>
#include <memory>

#include "dms_platform.h"

class DMSAppFileIOClass {
 public:
  static DMSAppFileIOClass* GetInstance();
  static void DestroyInstance();

  int CreatDirectory(const char* path);
  FILE* OpenTheFile(const char* path, DMSAppFileMode mode);
  int CloseTheFile(FILE* f);
  int WriteIntoFile(FILE* f, const char* buf, unsigned long n);
  int WriteBufferPtrIntoFile(FILE* f, const char* buf, unsigned long n);
  int ReadFromFile(FILE* f, char* buf, unsigned long n, unsigned long* got);
  int ReadFromFileByChar(FILE* f, char* buf, unsigned long n, unsigned long* got);
  int RemoveThisFile(const char* path);
  int SeekDataFromFile(FILE* f, DMSAppSeekMode mode, long offset);
  int SeekDataFromFileUlong(FILE* f, DMSAppSeekMode mode, unsigned long offset);
  int DoesFileExist(const char* path);
  int64_t GetTheFileSize(const char* path);
  int64_t GetTheFileSize(FILE* f);

 private:
  DMSAppFileIOClass() = default;
  ~DMSAppFileIOClass();
  static DMSAppFileIOClass* instance_;
  std::unique_ptr<DMSAppString> name_;  // never set by the service itself
};

#endif  // DMS_PLATFORM_DMS_FILE_IO_H
