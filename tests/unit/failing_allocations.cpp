#include "failing_allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long tCountdown = -1;
thread_local bool tFailed = false;

void* allocate(std::size_t size) {
  if (tCountdown >= 0 && tCountdown-- == 0) {
    tFailed = true;
    throw std::bad_alloc();
  }
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

void* allocateNoThrow(std::size_t size) noexcept {
  try {
    return allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

namespace failing_allocations {

Armed::Armed(long n) {
  tFailed = false;
  tCountdown = n;
}
Armed::~Armed() { tCountdown = -1; }
bool Armed::failed() const { return tFailed; }

}  // namespace failing_allocations

// Every form that ends in malloc and free, so that the sanitizers see
// matching pairs. (The aligned forms are left to the runtime.)
void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocateNoThrow(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocateNoThrow(size);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
