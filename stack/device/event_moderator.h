// Moderation of evented state variables: a moderated variable is evented at
// most once per interval; a change inside the interval is held back and sent
// when the interval ends, carrying the value current at that time, so several
// quick changes give one event.
//
// Time is passed in by the caller, which keeps this class free of clocks and
// testable. Thread safety: none; the owner serialises calls.
#ifndef DMS_STACK_DEVICE_EVENT_MODERATOR_H
#define DMS_STACK_DEVICE_EVENT_MODERATOR_H

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace dmsstack {

class EventModerator {
 public:
  using Clock = std::chrono::steady_clock;
  using TimePoint = Clock::time_point;

  explicit EventModerator(Clock::duration interval) : interval_(interval) {}

  // The variable `key` changed at `now`. True: event it now (recorded as sent
  // at `now`). False: it is held back until nextDue().
  bool changed(const std::string& key, TimePoint now);

  // The held-back variables whose interval has ended at `now`, in key order;
  // each is recorded as sent at `now`.
  std::vector<std::string> takeDue(TimePoint now);

  // When the earliest held-back variable becomes due; empty if none is held.
  std::optional<TimePoint> nextDue() const;

  // Forgets every variable (a fresh start sends the next change at once).
  void clear() { entries_.clear(); }

 private:
  struct Entry {
    TimePoint lastSent;
    bool pending = false;
  };
  Clock::duration interval_;
  std::map<std::string, Entry> entries_;
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_EVENT_MODERATOR_H
