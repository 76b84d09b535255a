// Event moderation bookkeeping.
#include "event_moderator.h"

namespace dmsstack {

bool EventModerator::changed(const std::string& key, TimePoint now) {
  auto it = entries_.find(key);
  if (it == entries_.end()) {
    entries_[key] = Entry{now, false};
    return true;
  }
  Entry& entry = it->second;
  if (entry.pending) return false;
  if (now - entry.lastSent >= interval_) {
    entry.lastSent = now;
    return true;
  }
  entry.pending = true;
  return false;
}

std::vector<std::string> EventModerator::takeDue(TimePoint now) {
  std::vector<std::string> due;
  for (auto& [key, entry] : entries_) {
    if (entry.pending && now - entry.lastSent >= interval_) {
      entry.pending = false;
      entry.lastSent = now;
      due.push_back(key);
    }
  }
  return due;
}

std::optional<EventModerator::TimePoint> EventModerator::nextDue() const {
  std::optional<TimePoint> earliest;
  for (const auto& [key, entry] : entries_) {
    if (!entry.pending) continue;
    TimePoint due = entry.lastSent + interval_;
    if (!earliest || due < *earliest) earliest = due;
  }
  return earliest;
}

}  // namespace dmsstack
