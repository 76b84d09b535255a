// The one place where a C++ exception is stopped at the C boundary: every
// exported function of libdmsstack, libdmscamera and libdms that can throw,
// and every callback handed across a library boundary, runs its body
// through guarded(), so a failure inside (out of memory in a std::string,
// say) becomes the function's failure result and a level-2 log line, never
// an escaping throw.
#ifndef DMS_BOUNDARY_EXPORT_GUARD_H
#define DMS_BOUNDARY_EXPORT_GUARD_H

#include <exception>

#include "nuv_log.h"

namespace dms_export {

// Runs `body` and returns its result, or `onFailure` if it threw.
template <typename R, typename F>
R guarded(const char* function, R onFailure, F&& body) noexcept {
  try {
    return body();
  } catch (const std::exception& e) {
    NUVPrintf(NUV_LOG_ERROR, "[%s] failed: %s", function, e.what());
  } catch (...) {
    NUVPrintf(NUV_LOG_ERROR, "[%s] failed", function);
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

#endif  // DMS_BOUNDARY_EXPORT_GUARD_H
