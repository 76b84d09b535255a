// Timestamped, level-filtered logging to standard error or to a sink.
#include "nuv_log.h"

#include <sys/time.h>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <string>

namespace {

std::atomic<unsigned int> gMask{NUV_LOG_DEFAULT_MASK};
std::mutex gSinkMutex;  // guards the sink pair and serialises writes
NUVLogSink gSink = nullptr;
void* gSinkContext = nullptr;

std::string formatMessage(const char* format, va_list args) {
  char small[512];
  va_list copy;
  va_copy(copy, args);
  int needed = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (needed < 0) return std::string();
  if (static_cast<size_t>(needed) < sizeof small) return std::string(small, needed);
  std::string text(static_cast<size_t>(needed) + 1, '\0');
  std::vsnprintf(&text[0], text.size(), format, args);
  text.resize(static_cast<size_t>(needed));
  return text;
}

void emit(int level, unsigned int filterLevel, const char* format, va_list args) {
  if (format == nullptr || (gMask.load(std::memory_order_relaxed) & filterLevel) == 0) return;
  std::string message = formatMessage(format, args);
  std::lock_guard<std::mutex> lock(gSinkMutex);
  if (gSink != nullptr) {
    gSink(level, message.c_str(), gSinkContext);
    return;
  }
  struct timeval now;
  gettimeofday(&now, nullptr);
  struct tm local;
  localtime_r(&now.tv_sec, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  const bool hasNewline = !message.empty() && message.back() == '\n';
  std::fprintf(stderr, "%s.%03ld [%d] %s%s", stamp, static_cast<long>(now.tv_usec / 1000), level,
               message.c_str(), hasNewline ? "" : "\n");
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
  std::lock_guard<std::mutex> lock(gSinkMutex);
  gSink = sink;
  gSinkContext = context;
}
