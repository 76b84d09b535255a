#include "dms_mem.h"

#include <cstdlib>
#include <cstring>

#include "dms_platform.h"

// The service has no state, so its one object lives in static storage: the
// first allocation through it cannot fail for want of memory for the service
// itself, and a thread that frees memory while another tears the platform
// down never meets a deleted object.
DMSAppMem* DMSAppMem::GetInstance() {
  static DMSAppMem instance;
  return &instance;
}

void DMSAppMem::DestroyInstance() {}

void* DMSAppMem::DMSAppMemAllocMA(unsigned long size) { return size == 0 ? nullptr : malloc(size); }

void* DMSAppMem::DMSAppMemCallocMA(unsigned long count, unsigned long size) {
  return size == 0 ? nullptr : calloc(count, size);
}

// A null pointer is not turned into an allocation: callers rely on that.
void* DMSAppMem::DMSAppMemReallocMA(void* p, unsigned long size) {
  if (p == nullptr) return nullptr;
  return realloc(p, size);
}

void DMSAppMem::DMSAppMemFree(void* p) { free(p); }

void* DMSAppMem::DMSAppMemSet(void* p, int value, unsigned long n) {
  return p == nullptr ? nullptr : memset(p, value, n);
}

void* DMSAppMem::DMSAppMemCpy(void* dst, const void* src, unsigned long n) {
  return (dst == nullptr || src == nullptr) ? nullptr : memcpy(dst, src, n);
}

void* DMSAppMem::DMSAppMemmove(void* dst, const void* src, unsigned int n) {
  return (dst == nullptr || src == nullptr) ? nullptr : memmove(dst, src, n);
}

// The exported functions reach the singleton.
namespace {
DMSAppMem* mem() { return DMSAppMem::GetInstance(); }
}  // namespace

extern "C" void* DMSAppMemAllocMA(unsigned long size) { return mem()->DMSAppMemAllocMA(size); }

extern "C" void* DMSAppMemCallocMA(unsigned long count, unsigned long size) {
  return mem()->DMSAppMemCallocMA(count, size);
}

extern "C" void* DMSAppMemReallocMA(void* p, unsigned long size) {
  return mem()->DMSAppMemReallocMA(p, size);
}

extern "C" void DMSAppMemFree(void* p) { mem()->DMSAppMemFree(p); }

extern "C" void* DMSAppMemSet(void* p, int value, unsigned long n) {
  return mem()->DMSAppMemSet(p, value, n);
}

extern "C" void* DMSAppMemCpy(void* dst, const void* src, unsigned long n) {
  return mem()->DMSAppMemCpy(dst, src, n);
}

extern "C" void* DMSAppMemmove(void* dst, const void* src, unsigned int n) {
  return mem()->DMSAppMemmove(dst, src, n);
}
