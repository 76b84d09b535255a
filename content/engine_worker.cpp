#include "engine_worker.h"

#include <sys/prctl.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "content_limits.h"
#include "nuv_log.h"

namespace engine_worker {
namespace {

struct Worker {
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<std::function<void()>> queue;
  bool running = false;   // accepting posts
  bool stopping = false;  // drain, then leave
  std::thread thread;
  std::thread::id threadId;
};

Worker& worker() {
  static Worker* instance = new Worker();  // outlives every static destructor
  return *instance;
}

void run() {
  prctl(PR_SET_NAME, "DMSAppCEngine", 0, 0, 0);
  Worker& w = worker();
  std::unique_lock<std::mutex> lock(w.mutex);
  for (;;) {
    w.wake.wait(lock, [&w] { return w.stopping || !w.queue.empty(); });
    if (w.queue.empty()) return;  // stopping and drained
    std::function<void()> request = std::move(w.queue.front());
    w.queue.pop_front();
    lock.unlock();
    request();
    request = nullptr;  // release what it captured before taking the lock
    lock.lock();
  }
}

}  // namespace

bool start() {
  Worker& w = worker();
  std::lock_guard<std::mutex> lock(w.mutex);
  if (w.running) return true;
  if (w.thread.joinable()) return false;  // a stop is still under way
  w.stopping = false;
  try {
    w.thread = std::thread(run);
  } catch (const std::system_error&) {
    NUVPrintf(NUV_LOG_ERROR, "[ContentEngine] cannot start the worker thread");
    return false;
  }
  w.threadId = w.thread.get_id();
  w.running = true;
  return true;
}

void stop() {
  Worker& w = worker();
  std::thread finishing;
  {
    std::lock_guard<std::mutex> lock(w.mutex);
    if (!w.thread.joinable() || std::this_thread::get_id() == w.threadId) return;
    w.running = false;
    w.stopping = true;
    finishing = std::move(w.thread);
  }
  w.wake.notify_all();
  finishing.join();
  std::lock_guard<std::mutex> lock(w.mutex);
  w.threadId = std::thread::id();
}

bool post(std::function<void()> request) {
  Worker& w = worker();
  {
    std::lock_guard<std::mutex> lock(w.mutex);
    if (!w.running) return false;
    if (w.queue.size() >= content_limits::kMaxEngineQueuedRequests) {
      NUVPrintf(NUV_LOG_ERROR, "[ContentEngine] request queue full, request refused");
      return false;
    }
    try {
      w.queue.push_back(std::move(request));
    } catch (const std::bad_alloc&) {
      return false;
    }
  }
  w.wake.notify_one();
  return true;
}

bool onWorkerThread() {
  Worker& w = worker();
  std::lock_guard<std::mutex> lock(w.mutex);
  return w.thread.joinable() && std::this_thread::get_id() == w.threadId;
}

}  // namespace engine_worker
