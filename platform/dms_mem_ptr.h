// Ownership of buffers that are released with DMSAppMemFree: results of the
// ...MA functions and of the stack's malloc'd copies.
#ifndef DMS_PLATFORM_DMS_MEM_PTR_H
#define DMS_PLATFORM_DMS_MEM_PTR_H

#include <memory>

#include "dms_platform.h"

struct DMSAppMemDeleter {
  void operator()(void* p) const { DMSAppMemFree(p); }
};

// A text owned by the caller and released with DMSAppMemFree.
using DMSAppMemText = std::unique_ptr<char, DMSAppMemDeleter>;

#endif  // DMS_PLATFORM_DMS_MEM_PTR_H
