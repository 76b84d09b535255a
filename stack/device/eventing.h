// Sends state-variable changes to subscribers: unmoderated variables at once,
// moderated ones through an EventModerator, with a thread that sends what was
// held back when its interval ends. The value sent is always the one current
// in the StateTable at sending time.
//
// Thread safety: every member may be called from any thread. The notifier is
// called without any lock of this class held, on the thread that reported
// the change or on the eventing thread; calls to it never overlap.
#ifndef DMS_STACK_DEVICE_EVENTING_H
#define DMS_STACK_DEVICE_EVENTING_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "event_moderator.h"
#include "state_table.h"

namespace dmsstack {

class Eventing {
 public:
  // Receives the service key (type without version) and the changed
  // variables with their values (unescaped).
  using Notifier = std::function<void(const std::string& service, const NameValueList& changes)>;

  Eventing(const StateTable& table, std::chrono::milliseconds interval);
  ~Eventing();
  Eventing(const Eventing&) = delete;
  Eventing& operator=(const Eventing&) = delete;

  // Begins sending through `notifier`; moderation starts afresh.
  void start(Notifier notifier);
  // Stops the thread; held-back changes are dropped. Returns after the last
  // notifier call has returned.
  void stop();

  // The variable was stored in the table; send it as its kind requires.
  // Ignored while stopped.
  void changed(const std::string& service, const std::string& name, bool moderated);

 private:
  void run();
  void send(const std::string& service, const std::vector<std::string>& names);

  const StateTable& table_;
  std::mutex mutex_;
  std::condition_variable wake_;
  EventModerator moderator_;  // guarded by mutex_
  Notifier notifier_;         // guarded by mutex_ (copied under it)
  bool running_ = false;      // guarded by mutex_
  std::thread thread_;
  std::mutex sendMutex_;  // serialises notifier calls
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_EVENTING_H
