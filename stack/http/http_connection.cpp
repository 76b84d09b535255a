// One request's hand-over between libmicrohttpd and its handler, and the
// thread that bounds the waits of suspended requests (see
// http_connection.h).
#include "http_connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <system_error>

#include "http_limits.h"
#include "nuv_log.h"

namespace dmsstack {

namespace {

std::atomic<long long> gHandlerWaitMs{kHttpHandlerWait.count()};

}  // namespace

std::chrono::milliseconds handlerWait() { return std::chrono::milliseconds(gHandlerWaitMs.load()); }

void setHandlerWaitForTest(std::chrono::milliseconds wait) { gHandlerWaitMs.store(wait.count()); }

HttpConnection::HttpConnection(int id, int profile, std::string target)
    : headerReleased(std::make_shared<std::atomic<bool>>(false)),
      id_(id),
      profile_(profile),
      target_(std::move(target)) {}

void HttpConnection::setPause(std::function<void()> suspend, std::function<void()> resume) {
  std::lock_guard<std::mutex> lock(mutex_);
  suspend_ = std::move(suspend);
  resume_ = std::move(resume);
}

void HttpConnection::suspendFor(Waiting what) {
  if (waiting_ == Waiting::Nothing) {
    waitUntil_ = std::chrono::steady_clock::now() + handlerWait();
    if (suspend_) suspend_();
    HandlerDeadlines::instance().arm(id_, waitUntil_, weak_from_this());
  }
  waiting_ = what;
}

void HttpConnection::wake() {
  if (waiting_ == Waiting::Nothing) return;
  waiting_ = Waiting::Nothing;
  HandlerDeadlines::instance().disarm(id_);
  if (resume_) resume_();
}

bool HttpConnection::setResponse(QueuedResponse response) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (hasResponse_ || ended_ || cancelled_) return false;
  response_ = std::move(response);
  hasResponse_ = true;
  if (waiting_ == Waiting::Response) wake();
  return true;
}

HttpConnection::Answer HttpConnection::takeResponse(QueuedResponse* out, bool mayWait) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (cancelled_ || timedOut_ || responseTaken_) return Answer::Never;
  if (hasResponse_) {
    *out = response_;
    responseTaken_ = true;
    return Answer::Ready;
  }
  if (!mayWait) return Answer::Never;
  suspendFor(Waiting::Response);
  return Answer::Later;
}

bool HttpConnection::responseTaken() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return responseTaken_;
}

bool HttpConnection::addPacket(const char* data, size_t length, bool last) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ended_ || cancelled_ || lastArrived_) return false;
  if (length > 0 && data != nullptr) {
    size_t direct = 0;
    if (target_buffer_ != nullptr && filled_ == 0 && pendingOffset_ >= pending_.size()) {
      direct = std::min(length, targetMax_);
      memcpy(target_buffer_, data, direct);
      filled_ = direct;
    }
    if (direct < length) {
      if (pendingOffset_ >= pending_.size()) {
        pending_.clear();
        pendingOffset_ = 0;
      }
      pending_.append(data + direct, length - direct);
    }
    emptyPieces_ = 0;
  } else if (!last) {
    ++emptyPieces_;
  }
  lastArrived_ = last;
  pieceAsked_ = false;
  if (waiting_ == Waiting::Piece) wake();
  return true;
}

size_t HttpConnection::takePending(char* buffer, size_t max) {
  const size_t n = std::min(max, pending_.size() - pendingOffset_);
  memcpy(buffer, pending_.data() + pendingOffset_, n);
  pendingOffset_ += n;
  if (pendingOffset_ >= pending_.size()) {
    pending_.clear();
    pendingOffset_ = 0;
  }
  return n;
}

ssize_t HttpConnection::read(char* buffer, size_t max, const std::function<void()>& askForPiece) {
  std::unique_lock<std::mutex> lock(mutex_);
  size_t total = 0;
  for (;;) {
    const ssize_t n = readPiece(buffer + total, max - total, askForPiece, lock);
    if (n == 0) {
      // What is at hand goes out now; the request waits only with nothing.
      if (total > 0) return static_cast<ssize_t>(total);
      suspendFor(Waiting::Piece);
      return 0;
    }
    // The end or an error shows on the next call once the bytes are out.
    if (n < 0) return total > 0 ? static_cast<ssize_t>(total) : n;
    total += static_cast<size_t>(n);
    // A handler that answers from another thread (a live stream) has its
    // piece sent at once instead of waiting for the buffer to fill.
    if (total + kHttpPieceBytes > max || lastArrived_ || !piecePrompt_)
      return static_cast<ssize_t>(total);
  }
}

ssize_t HttpConnection::readPiece(char* buffer, size_t max,
                                  const std::function<void()>& askForPiece,
                                  std::unique_lock<std::mutex>& lock) {
  for (;;) {
    // Checked under the lock just before any suspension: a cancel or time-out
    // cannot slip in between and leave the request suspended for good.
    if (cancelled_ || timedOut_ || max == 0) return -2;
    if (pendingOffset_ < pending_.size()) return static_cast<ssize_t>(takePending(buffer, max));
    if (lastArrived_) return -1;
    if (pieceAsked_) return 0;
    if (emptyPieces_ >= kMaxEmptyPieces) return -2;
    target_buffer_ = buffer;
    targetMax_ = max;
    filled_ = 0;
    pieceAsked_ = true;
    lock.unlock();
    askForPiece();
    lock.lock();
    target_buffer_ = nullptr;
    piecePrompt_ = !pieceAsked_;
    const size_t filled = filled_;
    filled_ = 0;
    if (filled > 0) return static_cast<ssize_t>(filled);
    // No byte yet: left-over bytes, the end, a wait, or another round.
  }
}

void HttpConnection::cancel() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ended_) return;
  cancelled_ = true;
  // Makes libmicrohttpd notice at once even while it waits for the socket;
  // the descriptor stays libmicrohttpd's.
  if (socket_ >= 0) shutdown(socket_, SHUT_RDWR);
  wake();
}

bool HttpConnection::cancelled() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return cancelled_;
}

void HttpConnection::end() {
  std::lock_guard<std::mutex> lock(mutex_);
  ended_ = true;
  socket_ = -1;
  // libmicrohttpd ends no suspended request; should one end anyway, nothing
  // may resume it any more.
  if (waiting_ != Waiting::Nothing) HandlerDeadlines::instance().disarm(id_);
  waiting_ = Waiting::Nothing;
  suspend_ = nullptr;
  resume_ = nullptr;
}

void HttpConnection::expire(std::chrono::steady_clock::time_point now) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (waiting_ == Waiting::Nothing || waitUntil_ > now) return;
  timedOut_ = true;
  wake();
}

void HttpConnection::setSocket(int fd) {
  std::lock_guard<std::mutex> lock(mutex_);
  socket_ = fd;
}

HandlerDeadlines& HandlerDeadlines::instance() {
  // Never destroyed: pool threads may still arm deadlines while the process
  // exits.
  static HandlerDeadlines* deadlines = new HandlerDeadlines;
  return *deadlines;
}

void HandlerDeadlines::acquire() {
  std::lock_guard<std::mutex> lifecycle(lifecycle_);
  if (users_++ > 0) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = false;
  }
  try {
    thread_ = std::thread(&HandlerDeadlines::run, this);
  } catch (const std::system_error& e) {
    // Requests then wait for their handler without a bound.
    NUVPrintf(NUV_LOG_ERROR, "[HTTP] cannot start the wait bound's thread: %s", e.what());
  }
}

void HandlerDeadlines::release() {
  std::lock_guard<std::mutex> lifecycle(lifecycle_);
  if (users_ == 0 || --users_ > 0) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
    pending_.clear();  // every request of the stopped profiles has ended
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void HandlerDeadlines::arm(int id, std::chrono::steady_clock::time_point when,
                           std::weak_ptr<HttpConnection> c) {
  if (c.expired()) return;
  std::lock_guard<std::mutex> lock(mutex_);
  pending_[id] = Deadline{when, std::move(c)};
  changed_.notify_all();
}

void HandlerDeadlines::disarm(int id) {
  std::lock_guard<std::mutex> lock(mutex_);
  pending_.erase(id);
}

void HandlerDeadlines::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    const auto now = std::chrono::steady_clock::now();
    auto next = std::chrono::steady_clock::time_point::max();
    std::vector<std::weak_ptr<HttpConnection>> due;
    for (auto it = pending_.begin(); it != pending_.end();) {
      if (it->second.when <= now) {
        due.push_back(std::move(it->second.connection));
        it = pending_.erase(it);
      } else {
        next = std::min(next, it->second.when);
        ++it;
      }
    }
    if (!due.empty()) {
      // Without this lock: expire() takes the connection's, which may be
      // held by a caller of arm().
      lock.unlock();
      for (const auto& entry : due) {
        if (std::shared_ptr<HttpConnection> c = entry.lock()) c->expire(now);
      }
      due.clear();
      lock.lock();
      continue;
    }
    if (next == std::chrono::steady_clock::time_point::max()) {
      changed_.wait(lock);
    } else {
      changed_.wait_until(lock, next);
    }
  }
}

}  // namespace dmsstack
