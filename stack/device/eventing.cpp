// Immediate and moderated eventing of state-variable changes.
#include "eventing.h"

#include <map>
#include <vector>

namespace dmsstack {

namespace {

const char kKeySeparator = '|';

std::string keyOf(const std::string& service, const std::string& name) {
  return service + kKeySeparator + name;
}

}  // namespace

Eventing::Eventing(const StateTable& table, std::chrono::milliseconds interval)
    : table_(table), moderator_(interval) {}

Eventing::~Eventing() { stop(); }

void Eventing::start(Notifier notifier) {
  stop();
  std::lock_guard<std::mutex> lock(mutex_);
  notifier_ = std::move(notifier);
  moderator_.clear();
  running_ = true;
  thread_ = std::thread(&Eventing::run, this);
}

void Eventing::stop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    running_ = false;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
  // Wait for a notifier call in progress on a reporting thread.
  std::lock_guard<std::mutex> sendLock(sendMutex_);
  std::lock_guard<std::mutex> lock(mutex_);
  notifier_ = nullptr;
}

void Eventing::changed(const std::string& service, const std::string& name, bool moderated) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!running_) return;
    if (moderated && !moderator_.changed(keyOf(service, name), EventModerator::Clock::now())) {
      wake_.notify_all();
      return;
    }
  }
  send(service, {name});
}

void Eventing::send(const std::string& service, const std::vector<std::string>& names) {
  // Reading the values under sendMutex_ keeps the order of events the order
  // of values: a later event never carries an older value.
  std::lock_guard<std::mutex> sendLock(sendMutex_);
  NameValueList changes;
  for (const std::string& name : names) {
    std::string value;
    if (table_.get(service, name, &value)) changes.emplace_back(name, std::move(value));
  }
  if (changes.empty()) return;
  Notifier notifier;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!running_) return;
    notifier = notifier_;
  }
  if (notifier) notifier(service, changes);
}

void Eventing::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (running_) {
    std::optional<EventModerator::TimePoint> due = moderator_.nextDue();
    if (due) {
      wake_.wait_until(lock, *due);
    } else {
      wake_.wait(lock);
    }
    if (!running_) break;
    std::vector<std::string> keys = moderator_.takeDue(EventModerator::Clock::now());
    if (keys.empty()) continue;
    lock.unlock();
    // One event per service carries all of its due variables.
    std::map<std::string, std::vector<std::string>> byService;
    for (const std::string& key : keys) {
      size_t split = key.find(kKeySeparator);
      byService[key.substr(0, split)].push_back(key.substr(split + 1));
    }
    for (const auto& [service, names] : byService) send(service, names);
    lock.lock();
  }
}

}  // namespace dmsstack
