// Hand-over of action answers between threads.
#include "action_bridge.h"

#include <climits>

namespace dmsstack {

void ActionBridge::open(Wake wake) {
  std::lock_guard<std::mutex> lock(mutex_);
  open_ = true;
  wake_ = std::move(wake);
}

void ActionBridge::close() {
  Wake wake;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = false;
    for (auto& [id, finished] : pending_)
      if (!finished) finish(id, Outcome::Cancelled, std::string());
    wake = wake_;
  }
  if (wake) wake();
}

int ActionBridge::begin() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!open_) return -1;
  do {
    lastId_ = lastId_ == INT_MAX ? 1 : lastId_ + 1;
  } while (pending_.count(lastId_) != 0);
  pending_.emplace(lastId_, false);
  return lastId_;
}

void ActionBridge::finish(int id, Outcome outcome, std::string body) {
  pending_[id] = true;
  finished_.push_back(Finished{id, outcome, std::move(body)});
}

int ActionBridge::answer(int id, std::string body) {
  Wake wake;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = pending_.find(id);
    if (it == pending_.end() || it->second) return 1;
    finish(id, Outcome::Answered, std::move(body));
    wake = wake_;
  }
  if (wake) wake();
  return 0;
}

void ActionBridge::expire(int id) {
  Wake wake;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = pending_.find(id);
    if (it == pending_.end() || it->second) return;
    finish(id, Outcome::TimedOut, std::string());
    wake = wake_;
  }
  if (wake) wake();
}

std::vector<ActionBridge::Finished> ActionBridge::takeFinished() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Finished> taken;
  taken.swap(finished_);
  for (const Finished& item : taken) pending_.erase(item.id);
  return taken;
}

size_t ActionBridge::pending() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return pending_.size();
}

}  // namespace dmsstack
