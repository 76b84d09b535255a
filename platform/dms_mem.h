// DMSAppMem: the memory service. Stateless; it exists so that the whole
// server allocates through one layer. The exported functions of the same
// names (dms_platform.h) reach the singleton.
#ifndef DMS_PLATFORM_DMS_MEM_H
#define DMS_PLATFORM_DMS_MEM_H

class DMSAppMem {
 public:
  static DMSAppMem* GetInstance();
  static void DestroyInstance();

  void* DMSAppMemAllocMA(unsigned long size);
  void* DMSAppMemCallocMA(unsigned long count, unsigned long size);
  void* DMSAppMemReallocMA(void* p, unsigned long size);
  void DMSAppMemFree(void* p);
  void* DMSAppMemSet(void* p, int value, unsigned long n);
  void* DMSAppMemCpy(void* dst, const void* src, unsigned long n);
  void* DMSAppMemmove(void* dst, const void* src, unsigned int n);

 private:
  DMSAppMem() = default;
};

#endif  // DMS_PLATFORM_DMS_MEM_H
