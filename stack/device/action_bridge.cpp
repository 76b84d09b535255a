// Hand-over of action answers between threads.
#include "action_bridge.h"

#include <climits>

namespace dmsstack {

void ActionBridge::open() {
  std::lock_guard<std::mutex> lock(mutex_);
  open_ = true;
}

void ActionBridge::close() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = false;
    ++generation_;
  }
  answered_.notify_all();
}

int ActionBridge::begin() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!open_) return -1;
  do {
    lastId_ = lastId_ == INT_MAX ? 1 : lastId_ + 1;
  } while (pending_.count(lastId_) != 0);
  pending_.emplace(lastId_, Pending{});
  return lastId_;
}

ActionBridge::Outcome ActionBridge::wait(int id, std::chrono::milliseconds timeout,
                                         std::string* body) {
  std::unique_lock<std::mutex> lock(mutex_);
  auto it = pending_.find(id);
  if (it == pending_.end()) return Outcome::Cancelled;
  const unsigned generation = generation_;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  Outcome outcome = Outcome::TimedOut;
  for (;;) {
    if (it->second.answered) {
      outcome = Outcome::Answered;
      break;
    }
    if (generation_ != generation) {
      outcome = Outcome::Cancelled;
      break;
    }
    if (answered_.wait_until(lock, deadline) == std::cv_status::timeout) {
      // The answer may have come with the timeout; it still counts.
      outcome = it->second.answered ? Outcome::Answered : Outcome::TimedOut;
      break;
    }
  }
  if (outcome == Outcome::Answered) *body = std::move(it->second.body);
  pending_.erase(it);
  return outcome;
}

int ActionBridge::answer(int id, std::string body) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = pending_.find(id);
    if (it == pending_.end() || it->second.answered) return 1;
    it->second.answered = true;
    it->second.body = std::move(body);
  }
  answered_.notify_all();
  return 0;
}

size_t ActionBridge::pending() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return pending_.size();
}

}  // namespace dmsstack
