// Pacing of the live view's pictures: when each is due, which are dropped
// to stay at 30 pictures/s, and one unbroken timeline across a file's loops.
//
// Thread safety: each object is used by one thread at a time.
#ifndef DMS_CAMERA_LIVE_VIEW_FRAME_TIMING_H
#define DMS_CAMERA_LIVE_VIEW_FRAME_TIMING_H

#include <chrono>

namespace dms_camera {

// The most pictures per second any source delivers.
constexpr double kMaxRate = 30.0;

// Maps seconds of a source's timeline to the steady clock. The first
// picture placed is due at once; the others keep their distance from it.
class FrameClock {
 public:
  // Seconds from the origin to now, fixing the origin at the first call.
  double now();
  // How many seconds the picture at `seconds` is overdue (negative: early).
  double lateness(double seconds);
  // Sleeps until the picture at `seconds` is due. A picture more than a
  // second overdue (the machine stalled) moves the origin instead, so that
  // the pictures after it do not come in a burst.
  void sleepUntil(double seconds);

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point origin_{};
  bool started_ = false;
};

// Admits at most one picture per 1/30 s slot of a timeline.
class RateCap {
 public:
  bool admit(double seconds);

 private:
  long long lastSlot_ = -1;
};

// Turns a file's presentation times into one increasing timeline: the time
// going back (the file started again) or jumping far ahead continues from
// the previous picture instead.
class Timeline {
 public:
  // `frameSeconds` is the usual distance between pictures; `raw` may be
  // NaN when the picture has no time, which places it one picture later.
  double place(double raw, double frameSeconds);

 private:
  double offset_ = 0;
  double last_ = 0;
  bool started_ = false;
};

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_FRAME_TIMING_H
