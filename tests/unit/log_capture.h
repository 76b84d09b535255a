// Captures the messages given to NUVPrintf while an instance lives, so tests
// can check logged lines exactly. Only one instance may exist at a time.
#ifndef DMS_TESTS_LOG_CAPTURE_H
#define DMS_TESTS_LOG_CAPTURE_H

#include <mutex>
#include <string>
#include <vector>

class LogCapture {
 public:
  struct Line {
    int level;
    std::string text;
  };

  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<Line> lines() const;
  // True if some message equals `text` exactly (at `level`, unless -1).
  bool has(const std::string& text, int level = -1) const;
  // Number of messages equal to `text`.
  size_t count(const std::string& text) const;
  void clear();

 private:
  static void sink(int level, const char* message, void* context);
  mutable std::mutex mutex_;
  std::vector<Line> lines_;
  unsigned int savedMask_;
};

#endif  // DMS_TESTS_LOG_CAPTURE_H
