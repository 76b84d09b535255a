// Bytes the process has allocated and not freed, from the allocator in use
// (the sanitizer's, or glibc's), so that a test can check that something
// gives back all it took. glibc counts the blocks in its per-thread cache as
// allocated; the unit tests run with that cache off (tests/CMakeLists.txt).
#ifndef DMS_TESTS_ALLOCATED_BYTES_H
#define DMS_TESTS_ALLOCATED_BYTES_H

#include <malloc.h>

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define DMS_TEST_SANITIZER_ALLOCATOR 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define DMS_TEST_SANITIZER_ALLOCATOR 1
#endif

#ifdef DMS_TEST_SANITIZER_ALLOCATOR
// The sanitizer runtimes export it; not every compiler ships its header.
extern "C" size_t __sanitizer_get_current_allocated_bytes(void);
inline size_t allocatedBytes() { return __sanitizer_get_current_allocated_bytes(); }
#else
inline size_t allocatedBytes() { return mallinfo2().uordblks; }
#endif

#endif  // DMS_TESTS_ALLOCATED_BYTES_H
