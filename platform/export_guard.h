// The one place where a C++ exception is stopped at the C boundary: every
// exported function of libdms, and every callback it hands the stack, runs
// its body through guarded(),
// so a failure inside (out of memory in a std::string, say) becomes the
// function's failure result and a level-2 log line, never an escaping throw.
#ifndef DMS_PLATFORM_EXPORT_GUARD_H
#define DMS_PLATFORM_EXPORT_GUARD_H

#include <exception>

#include "nuv_log.h"

namespace dms_export {

// Runs `body` and returns its result, or `onFailure` if it threw.
template <typename R, typename F>
R guarded(const char* function, R onFailure, F&& body) noexcept {
  try {
    return body();
  } catch (const std::exception& e) {
    NUVPrintf(2, "[%s] failed: %s", function, e.what());
  } catch (...) {
    NUVPrintf(2, "[%s] failed", function);
  }
  return onFailure;
}

// The same for a body without a result.
template <typename F>
void guardedVoid(const char* function, F&& body) noexcept {
  guarded(function, 0, [&body] {
    body();
    return 0;
  });
}

}  // namespace dms_export

#endif  // DMS_PLATFORM_EXPORT_GUARD_H
