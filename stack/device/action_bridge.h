// Meeting point of an action the stack delivered to the media server and
// its answer, which comes with NUVDMSSendResponse(connectionID, actionID,
// body) from any thread, possibly from inside the action callback itself.
// Nobody waits here: an action that finishes (answered, out of time or
// cancelled) is queued, the wake function is called, and the GLib thread
// takes the finished ones and completes their requests.
//
// Thread safety: every member may be called from any thread; the wake
// function is called with no lock of this class held.
#ifndef DMS_STACK_DEVICE_ACTION_BRIDGE_H
#define DMS_STACK_DEVICE_ACTION_BRIDGE_H

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace dmsstack {

class ActionBridge {
 public:
  enum class Outcome { Answered, TimedOut, Cancelled };
  struct Finished {
    int id = 0;
    Outcome outcome = Outcome::Cancelled;
    std::string body;  // Answered only
  };
  using Wake = std::function<void()>;

  // Accepts new actions (the device started); `wake` announces finished ones.
  void open(Wake wake);
  // Refuses new actions; every pending one finishes Cancelled.
  void close();

  // Registers a new action and returns its ID (> 0), or -1 when closed.
  int begin();
  // The answer of action `id`. 0 on success; 1 when the ID is unknown,
  // already answered, out of time or cancelled.
  int answer(int id, std::string body);
  // Action `id` is out of time: it finishes TimedOut unless it finished.
  void expire(int id);

  // The actions finished since the last call, in the order they finished;
  // they are forgotten here.
  std::vector<Finished> takeFinished();

  // Actions registered and not yet taken.
  size_t pending() const;

 private:
  void finish(int id, Outcome outcome, std::string body);  // mutex_ held

  mutable std::mutex mutex_;
  std::map<int, bool> pending_;     // id -> finished; guarded by mutex_
  std::vector<Finished> finished_;  // guarded by mutex_
  int lastId_ = 0;                  // guarded by mutex_
  bool open_ = false;               // guarded by mutex_
  Wake wake_;                       // guarded by mutex_ (copied under it)
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_ACTION_BRIDGE_H
