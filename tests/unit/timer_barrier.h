// Waiting on the platform's timer thread rather than on the clock. The
// "DMSAppTimer" thread runs timers in order of expiry, so once a timer of
// `ms` started now has fired, every timer that was due before it has run: a
// test that something armed on that thread did not fire waits on this.
#ifndef DMS_TESTS_TIMER_BARRIER_H
#define DMS_TESTS_TIMER_BARRIER_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "dms_platform.h"

namespace timer_barrier {

inline void markFired(unsigned long /*handle*/, unsigned long param, bool /*expired*/) {
  reinterpret_cast<std::atomic<bool>*>(static_cast<uintptr_t>(param))->store(true);
}

// True once a timer of `ms` started now has fired (within `ms` plus 10 s).
inline bool passBeyond(int ms) {
  std::atomic<bool> fired{false};
  const unsigned long handle = DMSAppCreateTimer(nullptr);
  if (handle == 0 ||
      DMSAppStartTimer(handle, static_cast<unsigned long>(ms), &markFired, &fired) != 1)
    return false;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms + 10000);
  while (!fired.load()) {
    if (std::chrono::steady_clock::now() > end) {
      DMSAppDeleteTimer(handle);  // the flag goes with this frame
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace timer_barrier

#endif  // DMS_TESTS_TIMER_BARRIER_H
