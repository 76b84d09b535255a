#include "log_capture.h"

#include "nuv_log.h"

LogCapture::LogCapture() : savedMask_(NUVLogGetMask()) {
  NUVLogSetMask(0xffffffffu);
  NUVLogSetSink(&LogCapture::sink, this);
}

LogCapture::~LogCapture() {
  NUVLogSetSink(nullptr, nullptr);
  NUVLogSetMask(savedMask_);
}

void LogCapture::sink(int level, const char* message, void* context) {
  auto* self = static_cast<LogCapture*>(context);
  std::lock_guard<std::mutex> lock(self->mutex_);
  self->lines_.push_back({level, message});
}

std::vector<LogCapture::Line> LogCapture::lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

bool LogCapture::has(const std::string& text, int level) const {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const Line& line : lines_)
    if (line.text == text && (level == -1 || line.level == level)) return true;
  return false;
}

size_t LogCapture::count(const std::string& text) const {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t n = 0;
  for (const Line& line : lines_)
    if (line.text == text) ++n;
  return n;
}

void LogCapture::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.clear();
}
