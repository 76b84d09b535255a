// The content engine's one worker thread ("DMSAppCEngine"): runs queued
// requests one after the other, in the order they were posted, so that every
// asynchronous answer reaches the response callback on this thread and in
// request order.
//
// Thread safety: Post may be called from any thread, including the worker
// itself (the request then runs after the current one). Start and Stop are
// the lifecycle's and must not be called from the worker.
#ifndef DMS_CONTENT_ENGINE_WORKER_H
#define DMS_CONTENT_ENGINE_WORKER_H

#include <functional>

namespace engine_worker {

// Starts the thread; true when it runs afterwards (also if it already ran).
bool start();
// Runs what is queued, then stops and joins the thread. Posts made meanwhile
// are refused. Does nothing when called on the worker itself.
void stop();
// Queues `request`; false (and it will never run) when the worker is not
// running, the queue is full or memory runs out.
bool post(std::function<void()> request);
// True on the worker thread.
bool onWorkerThread();

}  // namespace engine_worker

#endif  // DMS_CONTENT_ENGINE_WORKER_H
