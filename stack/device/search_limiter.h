// A bound on the SSDP searches (M-SEARCH) the device answers: a token bucket
// per sender and one for all, so that a flood of searches, or a sender that
// spoofs many addresses, cannot make the device send answers without limit
// (each search of "ssdp:all" costs several answers). Searches beyond the
// bound are dropped unanswered; well-behaved control points search a few
// times at start and now and then, far below it.
//
// Time is passed in by the caller. Thread safety: none; the owner
// serialises calls (the GLib thread).
#ifndef DMS_STACK_DEVICE_SEARCH_LIMITER_H
#define DMS_STACK_DEVICE_SEARCH_LIMITER_H

#include <chrono>
#include <map>
#include <string>

namespace dmsstack {

class SearchLimiter {
 public:
  using Clock = std::chrono::steady_clock;
  using TimePoint = Clock::time_point;

  struct Limits {
    double perSenderBurst;
    double perSenderPerSecond;
    double allBurst;
    double allPerSecond;
  };
  static constexpr Limits kDefaultLimits{20, 5, 60, 30};

  explicit SearchLimiter(Limits limits = kDefaultLimits) : limits_(limits) {}

  // A search from `sender` arrived at `now`: true to answer it, false to
  // drop it (counted in dropped()).
  bool admit(const std::string& sender, TimePoint now);

  // Searches dropped since the last takeDropped().
  unsigned long takeDropped();

 private:
  struct Bucket {
    double tokens = 0;
    TimePoint filled{};
    bool started = false;
  };
  static void refill(Bucket& bucket, double burst, double perSecond, TimePoint now);

  Limits limits_;
  Bucket all_;
  std::map<std::string, Bucket> senders_;
  unsigned long dropped_ = 0;
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_SEARCH_LIMITER_H
