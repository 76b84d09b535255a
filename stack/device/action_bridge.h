// Meeting point of a libupnp worker thread that delivered an action and
// waits for its answer, and the media server, which answers with
// NUVDMSSendResponse(connectionID, actionID, body) from any thread, possibly
// from inside the action callback itself.
//
// Thread safety: every member may be called from any thread.
#ifndef DMS_STACK_DEVICE_ACTION_BRIDGE_H
#define DMS_STACK_DEVICE_ACTION_BRIDGE_H

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>

namespace dmsstack {

class ActionBridge {
 public:
  enum class Outcome { Answered, TimedOut, Cancelled };

  // Accepts new actions (the device started).
  void open();
  // Refuses new actions and wakes every waiting one with Cancelled (the
  // device stops, so libupnp's threads must not stay blocked).
  void close();

  // Registers a new action and returns its ID (> 0), or -1 when closed.
  int begin();
  // Waits for the answer of action `id` for at most `timeout`, then forgets
  // the action: an answer arriving later is refused. `*body` receives the
  // answer when the outcome is Answered.
  Outcome wait(int id, std::chrono::milliseconds timeout, std::string* body);
  // Hands the answer to the waiting action. 0 on success; 1 when the ID is
  // unknown, already answered or no longer waited for.
  int answer(int id, std::string body);

  // Actions registered and not yet finished.
  size_t pending() const;

 private:
  struct Pending {
    bool answered = false;
    std::string body;
  };
  mutable std::mutex mutex_;
  std::condition_variable answered_;
  std::map<int, Pending> pending_;  // guarded by mutex_
  int lastId_ = 0;                  // guarded by mutex_
  bool open_ = false;               // guarded by mutex_
  unsigned generation_ = 0;         // guarded by mutex_; bumped by close()
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_ACTION_BRIDGE_H
