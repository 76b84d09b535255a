// The GLib main context and loop the device side runs on, on a thread of its
// own. Every GUPnP, GSSDP and libsoup object of the device is created, used
// and destroyed on that thread; other threads reach it with run() (waits)
// or post() (does not).
//
// Thread safety: every member may be called from any thread. Work handed
// over travels through a queue under a std::mutex, so the hand-off is
// visible to thread checkers that do not see GLib's own futex-based locks.
#ifndef DMS_STACK_DEVICE_GLIB_LOOP_H
#define DMS_STACK_DEVICE_GLIB_LOOP_H

#include <glib.h>

#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace dmsstack {

class GLibLoop {
 public:
  GLibLoop() = default;
  ~GLibLoop();
  GLibLoop(const GLibLoop&) = delete;
  GLibLoop& operator=(const GLibLoop&) = delete;

  // Starts the thread ("DMSStackGLib"). False when it already runs.
  bool start();
  // Runs what is still queued, then ends the loop and joins the thread.
  // Not to be called on the loop thread.
  void stop();

  // Runs `work` on the loop thread and returns when it has run. False (and
  // `work` not run) when the loop is not running or this is the loop thread
  // itself, where `work` would have to wait for itself.
  bool run(const std::function<void()>& work);
  // Queues `work` for the loop thread. False when the loop is not running.
  bool post(std::function<void()> work);

  bool onLoopThread() const;
  // The loop's context (valid while running), for sources of the loop thread.
  GMainContext* context() const { return context_; }

 private:
  static gboolean drainQueue(gpointer self);
  void drain();

  GMainContext* context_ = nullptr;
  GMainLoop* loop_ = nullptr;
  std::thread thread_;
  std::thread::id threadId_;

  std::mutex mutex_;
  std::deque<std::function<void()>> queue_;  // guarded by mutex_
  bool running_ = false;                     // guarded by mutex_
  bool wakeQueued_ = false;                  // guarded by mutex_
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_GLIB_LOOP_H
