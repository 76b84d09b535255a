// The live view's pacing (frame_timing.h).
#include "frame_timing.h"

#include <cmath>
#include <thread>

namespace dms_camera {

namespace {

constexpr double kResyncSeconds = 1.0;
// Presentation times further apart than this are a break in the file (a
// broken timestamp), not a still picture to wait for.
constexpr double kLongestGap = 10.0;

}  // namespace

double FrameClock::now() {
  Clock::time_point t = Clock::now();
  if (!started_) {
    origin_ = t;
    started_ = true;
  }
  return std::chrono::duration<double>(t - origin_).count();
}

double FrameClock::lateness(double seconds) {
  if (!started_) {
    now();
    origin_ -= std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    return 0;
  }
  return now() - seconds;
}

void FrameClock::sleepUntil(double seconds) {
  double late = lateness(seconds);
  if (late > kResyncSeconds) {
    origin_ += std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(late));
    return;
  }
  if (late >= 0) return;
  std::this_thread::sleep_until(origin_ + std::chrono::duration_cast<Clock::duration>(
                                              std::chrono::duration<double>(seconds)));
}

bool RateCap::admit(double seconds) {
  // Rounding, not truncation: times stored in whole milliseconds (33, 67,
  // 100 ms) still fall into successive slots.
  long long slot = std::llround(seconds * kMaxRate);
  if (slot <= lastSlot_) return false;
  lastSlot_ = slot;
  return true;
}

double Timeline::place(double raw, double frameSeconds) {
  if (!started_) {
    started_ = true;
    offset_ = std::isnan(raw) ? 0 : -raw;
    last_ = 0;
    return last_;
  }
  double t = std::isnan(raw) ? last_ + frameSeconds : raw + offset_;
  if (t < last_ - frameSeconds / 2 || t > last_ + kLongestGap) {
    t = last_ + frameSeconds;
    offset_ = std::isnan(raw) ? offset_ : t - raw;
  }
  last_ = t;
  return t;
}

}  // namespace dms_camera
