// One request on a server profile, from its request line to the end of its
// exchange: the response a handler queued, the body pieces it sent and the
// hand-over between libmicrohttpd's callbacks (which ask for the response
// and the pieces) and the handler (which may answer from any thread).
//
// Nothing here blocks a thread of the profile's pool: when the handler has
// not answered yet, the request is suspended (libmicrohttpd stops serving
// it) and resumed when the answer comes, when it is cancelled, or when the
// wait bound (handlerWait()) has passed, which the HandlerDeadlines thread
// watches.
//
// Thread safety: every member may be called from any thread.
#ifndef DMS_STACK_HTTP_HTTP_CONNECTION_H
#define DMS_STACK_HTTP_HTTP_CONNECTION_H

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace dmsstack {

// A response header as queued by NUVHTTPSendResponse.
struct QueuedResponse {
  int status = 0;
  bool close = false;
  std::string contentType;
  std::vector<std::pair<std::string, std::string>> headers;  // in order
  bool lengthKnown = false;
  uint64_t length = 0;
  bool http11 = true;
  bool headerOnly = false;
};

// How long a suspended request waits for its handler's response or next
// piece: kHttpHandlerWait unless a test shortened it.
std::chrono::milliseconds handlerWait();
void setHandlerWaitForTest(std::chrono::milliseconds wait);

class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  HttpConnection(int id, int profile, std::string target);

  int id() const { return id_; }
  int profile() const { return profile_; }
  const std::string& target() const { return target_; }

  // Set by the first callback of the request.
  std::atomic<bool> started{false};
  // Set when the header list given to callback 5 was released.
  const std::shared_ptr<std::atomic<bool>> headerReleased;

  // What only libmicrohttpd's callbacks of this request touch: they run one
  // at a time, on the pool thread that serves the connection.
  struct Local {
    void* owner = nullptr;   // the HttpProfile serving it
    bool announced = false;  // callbacks 7 and 5 were raised
    bool refused = false;    // answered 403 by access control
    bool hasBody = false;    // the request carries a body
    bool lastDelivered = false;
    bool isHead = false;
    int method = 0;   // eHTTPMessageType
    int version = 1;  // eHTTPVersion
  } local;

  // How the network side pauses: `suspend` stops libmicrohttpd serving the
  // request (called from one of its callbacks), `resume` serves it again
  // (from any thread, exactly once after each suspend). Both are called
  // with the connection's lock held, so never after end(): the connection
  // they name lives at least until then. Set before suspension is needed.
  void setPause(std::function<void()> suspend, std::function<void()> resume);

  // The response: false when one was queued before or the request has ended.
  // Resumes a request suspended waiting for it.
  bool setResponse(QueuedResponse response);
  enum class Answer { Ready, Later, Never };
  // Ready: the queued response was taken into *out. Later: none has come
  // yet and `mayWait`, so the request was suspended until one comes, the
  // request is cancelled or the wait bound passes; ask again when resumed.
  // Never: none will come (cancelled, out of time, or not `mayWait`).
  Answer takeResponse(QueuedResponse* out, bool mayWait);
  bool responseTaken() const;

  // A body piece (copied); false when the request has ended. Resumes a
  // request suspended waiting for it.
  bool addPacket(const char* data, size_t length, bool last);
  // Fills `buffer` with the next body bytes for libmicrohttpd: bytes left
  // over from an earlier piece first, else asks the handler for a piece with
  // `askForPiece` (callback 3) and takes what it sends during the call,
  // directly into `buffer`; further whole pieces while they fit and come
  // that promptly. The count; 0 when no byte is at hand, the request having
  // been suspended until the piece comes; -1 at the end of the body; -2 on
  // failure (cancelled, too many empty pieces, or no piece within the wait).
  ssize_t read(char* buffer, size_t max, const std::function<void()>& askForPiece);

  // Ends the request early: it is resumed if suspended, reads fail, the
  // socket is shut down.
  void cancel();
  bool cancelled() const;
  // The request's exchange is over: nothing more is accepted and the pause
  // functions are dropped.
  void end();
  // Resumes the request, out of time, if it is still suspended on a wait
  // that was due by `now` (called by HandlerDeadlines).
  void expire(std::chrono::steady_clock::time_point now);

  void setSocket(int fd);

 private:
  enum class Waiting { Nothing, Response, Piece };

  // One piece (or left-over bytes) into `buffer`: its count, 0 when the
  // piece asked for has not come, -1 at the end, -2 on failure. `lock`
  // holds mutex_ and is released while the handler is asked.
  ssize_t readPiece(char* buffer, size_t max, const std::function<void()>& askForPiece,
                    std::unique_lock<std::mutex>& lock);
  size_t takePending(char* buffer, size_t max);  // mutex_ held
  // Suspends the request until `what` comes or the wait bound passes.
  void suspendFor(Waiting what);  // mutex_ held
  // Resumes the request if it is suspended.
  void wake();  // mutex_ held

  const int id_;
  const int profile_;
  const std::string target_;

  mutable std::mutex mutex_;
  bool hasResponse_ = false;    // guarded by mutex_
  bool responseTaken_ = false;  // guarded by mutex_
  QueuedResponse response_;     // guarded by mutex_
  bool cancelled_ = false;      // guarded by mutex_
  bool ended_ = false;          // guarded by mutex_
  bool timedOut_ = false;       // guarded by mutex_: a wait passed its bound
  int socket_ = -1;             // guarded by mutex_
  // Suspension, guarded by mutex_.
  std::function<void()> suspend_;
  std::function<void()> resume_;
  Waiting waiting_ = Waiting::Nothing;  // what the suspended request waits for
  std::chrono::steady_clock::time_point waitUntil_;
  // Body hand-over, guarded by mutex_.
  char* target_buffer_ = nullptr;  // libmicrohttpd's buffer while the handler is asked
  size_t targetMax_ = 0;
  size_t filled_ = 0;
  bool pieceAsked_ = false;   // a piece was asked for and has not come
  bool piecePrompt_ = false;  // the latest piece came during the request for it
  bool lastArrived_ = false;
  int emptyPieces_ = 0;  // consecutive pieces without bytes
  std::string pending_;  // bytes beyond what the buffer took, or that came later
  size_t pendingOffset_ = 0;
};

// The wait bound of suspended requests: one thread, running while any
// server profile is, sleeps until the earliest deadline and expires the
// requests still waiting then.
//
// Lock order: a connection's lock may be held while calling arm() and
// disarm(); the thread calls HttpConnection::expire() with no lock held.
class HandlerDeadlines {
 public:
  static HandlerDeadlines& instance();

  // Every started profile holds the thread: it starts with the first and
  // stops (joined) with the last. Not from the thread itself.
  void acquire();
  void release();

  // Expires connection `c` (known by `id`) at `when`; replaces its earlier
  // deadline. Ignored when `c` is not owned by a shared_ptr.
  void arm(int id, std::chrono::steady_clock::time_point when, std::weak_ptr<HttpConnection> c);
  void disarm(int id);

 private:
  HandlerDeadlines() = default;
  void run();

  struct Deadline {
    std::chrono::steady_clock::time_point when;
    std::weak_ptr<HttpConnection> connection;
  };

  std::mutex lifecycle_;  // serialises acquire() and release()
  int users_ = 0;         // guarded by lifecycle_
  std::thread thread_;    // guarded by lifecycle_

  std::mutex mutex_;
  std::condition_variable changed_;
  bool stop_ = false;                // guarded by mutex_
  std::map<int, Deadline> pending_;  // guarded by mutex_: by connection id
};

}  // namespace dmsstack

#endif  // DMS_STACK_HTTP_HTTP_CONNECTION_H
