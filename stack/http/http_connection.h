// One request on a server profile, from its request line to the end of its
// exchange: the response a handler queued, the body pieces it sent and the
// hand-over between the connection's thread (which asks for pieces) and the
// handler (which may answer from any thread).
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
#include <memory>
#include <mutex>
#include <string>
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

class HttpConnection {
 public:
  HttpConnection(int id, int profile, std::string target);

  int id() const { return id_; }
  int profile() const { return profile_; }
  const std::string& target() const { return target_; }

  // Set by the connection's thread once the request's callbacks have begun.
  std::atomic<bool> started{false};
  // Set when the header list given to callback 5 was released.
  const std::shared_ptr<std::atomic<bool>> headerReleased;

  // What only the connection's own thread touches.
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

  // The response: false when one was queued before or the request has ended.
  bool setResponse(QueuedResponse response);
  // Takes the queued response, waiting up to `wait` for one; false when none
  // came or the request was cancelled.
  bool takeResponse(QueuedResponse* out, std::chrono::milliseconds wait);
  bool responseTaken() const;

  // A body piece (copied); false when the request has ended.
  bool addPacket(const char* data, size_t length, bool last);
  // Fills `buffer` with the next body bytes for libmicrohttpd: bytes left
  // over from an earlier piece first, else asks the handler for a piece with
  // `askForPiece` (callback 3) and takes what it sends, directly into
  // `buffer`; further whole pieces while they fit. The count, 0 never; -1
  // at the end of the body, -2 on failure (cancelled, or no piece within
  // the wait).
  ssize_t read(char* buffer, size_t max, const std::function<void()>& askForPiece);

  // Ends the request early: waits end, reads fail, the socket is shut down.
  void cancel();
  bool cancelled() const;
  // The request's exchange is over: nothing more is accepted.
  void end();

  void setSocket(int fd);

 private:
  // One piece (or left-over bytes) into `buffer`, as read() returns.
  ssize_t readPiece(char* buffer, size_t max, const std::function<void()>& askForPiece);
  // Whether read() may gather another piece now: the last one has not come
  // and the handler answered the latest request for a piece at once.
  bool moreAtHand() const;

  size_t takePending(char* buffer, size_t max);  // mutex_ held

  const int id_;
  const int profile_;
  const std::string target_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool hasResponse_ = false;    // guarded by mutex_
  bool responseTaken_ = false;  // guarded by mutex_
  QueuedResponse response_;     // guarded by mutex_
  bool cancelled_ = false;      // guarded by mutex_
  bool ended_ = false;          // guarded by mutex_
  int socket_ = -1;             // guarded by mutex_
  // Body hand-over, guarded by mutex_.
  char* target_buffer_ = nullptr;  // libmicrohttpd's buffer while a read waits
  size_t targetMax_ = 0;
  size_t filled_ = 0;
  bool pieceArrived_ = false;
  bool piecePrompt_ = false;  // guarded by mutex_: the latest piece came during the request
  bool lastArrived_ = false;
  std::string pending_;  // bytes beyond what the waiting buffer took
  size_t pendingOffset_ = 0;
};

}  // namespace dmsstack

#endif  // DMS_STACK_HTTP_HTTP_CONNECTION_H
