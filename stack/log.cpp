// Timestamped, level-filtered logging to standard error or to a sink.
#include "nuv_log.h"

#include <sys/time.h>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <new>
#include <string>

#include "export_guard.h"

namespace {

std::atomic<unsigned int> gMask{NUV_LOG_DEFAULT_MASK};
std::mutex gSinkMutex;  // guards the sink pair and serialises writes
NUVLogSink gSink = nullptr;
void* gSinkContext = nullptr;

// Formats into `small`; when the message is longer, into `*large` as well.
// Returns the text to write: the whole message, or, if memory for a long one
// cannot be had, its first sizeof small - 1 bytes.
const char* formatMessage(char (&small)[512], std::string* large, const char* format,
                          va_list args) noexcept {
  va_list copy;
  va_copy(copy, args);
  int needed = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (needed < 0) return "";
  if (static_cast<size_t>(needed) < sizeof small) return small;
  try {
    large->assign(static_cast<size_t>(needed) + 1, '\0');
  } catch (const std::bad_alloc&) {
    return small;
  }
  std::vsnprintf(&(*large)[0], large->size(), format, args);
  large->resize(static_cast<size_t>(needed));
  return large->c_str();
}

// Logging is what reports failures, so it must not fail itself: a message
// that cannot be written (the lock, the sink) is dropped.
void emit(int level, unsigned int filterLevel, const char* format, va_list args) noexcept {
  if (format == nullptr || (gMask.load(std::memory_order_relaxed) & filterLevel) == 0) return;
  char small[512];
  std::string large;
  const char* message = formatMessage(small, &large, format, args);
  try {
    std::lock_guard<std::mutex> lock(gSinkMutex);
    if (gSink != nullptr) {
      gSink(level, message, gSinkContext);
      return;
    }
    struct timeval now;
    gettimeofday(&now, nullptr);
    struct tm local;
    localtime_r(&now.tv_sec, &local);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
    const size_t length = std::strlen(message);
    const bool hasNewline = length > 0 && message[length - 1] == '\n';
    std::fprintf(stderr, "%s.%03ld [%d] %s%s", stamp, static_cast<long>(now.tv_usec / 1000), level,
                 message, hasNewline ? "" : "\n");
  } catch (...) {
  }
}

}  // namespace

extern "C" void NUVPrintf(int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  emit(level, static_cast<unsigned int>(level), format, args);
  va_end(args);
}

extern "C" void NUVPrintfNoLevel(const char* format, ...) {
  va_list args;
  va_start(args, format);
  emit(0, NUV_LOG_INFO, format, args);
  va_end(args);
}

extern "C" void NUVLogSetMask(unsigned int mask) { gMask.store(mask); }

extern "C" unsigned int NUVLogGetMask(void) { return gMask.load(); }

extern "C" void NUVLogSetSink(NUVLogSink sink, void* context) {
  dms_export::guardedVoid("NUVLogSetSink", [&] {
    std::lock_guard<std::mutex> lock(gSinkMutex);
    gSink = sink;
    gSinkContext = context;
  });
}
