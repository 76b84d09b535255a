// The device side's GLib thread.
#include "glib_loop.h"

#include <pthread.h>

#include <condition_variable>

namespace dmsstack {

GLibLoop::~GLibLoop() { stop(); }

bool GLibLoop::start() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (running_ || thread_.joinable()) return false;
  context_ = g_main_context_new();
  loop_ = g_main_loop_new(context_, FALSE);
  running_ = true;
  std::mutex startedMutex;
  std::condition_variable startedCond;
  bool started = false;
  thread_ = std::thread([&] {
    pthread_setname_np(pthread_self(), "DMSStackGLib");
    g_main_context_push_thread_default(context_);
    {
      // Notified under the lock: start() returns, and its locals go, as
      // soon as it sees `started`.
      std::lock_guard<std::mutex> startedLock(startedMutex);
      threadId_ = std::this_thread::get_id();
      started = true;
      startedCond.notify_all();
    }
    g_main_loop_run(loop_);
    // Sources that finalisation left behind (a closing connection) run once.
    while (g_main_context_iteration(context_, FALSE)) {
    }
    g_main_context_pop_thread_default(context_);
  });
  std::unique_lock<std::mutex> startedLock(startedMutex);
  startedCond.wait(startedLock, [&] { return started; });
  return true;
}

void GLibLoop::stop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!thread_.joinable()) return;
    running_ = false;
  }
  // Queued work still runs first: it may hold a reply a client waits for.
  {
    GSource* source = g_idle_source_new();
    // At the priority of I/O, so that a busy server cannot starve it.
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer self) -> gboolean {
          auto* loop = static_cast<GLibLoop*>(self);
          loop->drain();
          g_main_loop_quit(loop->loop_);
          return G_SOURCE_REMOVE;
        },
        this, nullptr);
    g_source_attach(source, context_);
    g_source_unref(source);
  }
  thread_.join();
  g_main_loop_unref(loop_);
  g_main_context_unref(context_);
  loop_ = nullptr;
  context_ = nullptr;
  threadId_ = std::thread::id();
}

bool GLibLoop::onLoopThread() const { return std::this_thread::get_id() == threadId_; }

bool GLibLoop::post(std::function<void()> work) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!running_) return false;
  queue_.push_back(std::move(work));
  if (wakeQueued_) return true;
  wakeQueued_ = true;
  // Attached under the lock: stop() cannot release the context meanwhile.
  GSource* source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  g_source_set_callback(source, &GLibLoop::drainQueue, this, nullptr);
  g_source_attach(source, context_);
  g_source_unref(source);
  return true;
}

bool GLibLoop::run(const std::function<void()>& work) {
  if (onLoopThread()) return false;
  std::mutex doneMutex;
  std::condition_variable doneCond;
  bool done = false;
  bool queued = post([&] {
    work();
    std::lock_guard<std::mutex> lock(doneMutex);
    done = true;
    doneCond.notify_all();
  });
  if (!queued) return false;
  std::unique_lock<std::mutex> lock(doneMutex);
  doneCond.wait(lock, [&] { return done; });
  return true;
}

gboolean GLibLoop::drainQueue(gpointer self) {
  static_cast<GLibLoop*>(self)->drain();
  return G_SOURCE_REMOVE;
}

void GLibLoop::drain() {
  std::deque<std::function<void()>> work;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    work.swap(queue_);
    wakeQueued_ = false;
  }
  for (auto& item : work) item();
}

}  // namespace dmsstack
