// One request's hand-over between libmicrohttpd and its handler (see
// http_connection.h).
#include "http_connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "http_limits.h"

namespace dmsstack {

HttpConnection::HttpConnection(int id, int profile, std::string target)
    : headerReleased(std::make_shared<std::atomic<bool>>(false)),
      id_(id),
      profile_(profile),
      target_(std::move(target)) {}

bool HttpConnection::setResponse(QueuedResponse response) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (hasResponse_ || ended_ || cancelled_) return false;
  response_ = std::move(response);
  hasResponse_ = true;
  changed_.notify_all();
  return true;
}

bool HttpConnection::takeResponse(QueuedResponse* out, std::chrono::milliseconds wait) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, wait, [this] { return (hasResponse_ && !responseTaken_) || cancelled_; });
  if (cancelled_ || !hasResponse_ || responseTaken_) return false;
  *out = response_;
  responseTaken_ = true;
  return true;
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
  }
  lastArrived_ = last;
  pieceArrived_ = true;
  changed_.notify_all();
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
  size_t total = 0;
  for (;;) {
    const ssize_t n = readPiece(buffer + total, max - total, askForPiece);
    // The end or an error shows on the next call once the bytes are out.
    if (n < 0) return total > 0 ? static_cast<ssize_t>(total) : n;
    total += static_cast<size_t>(n);
    if (total + kHttpPieceBytes > max || !moreAtHand()) return static_cast<ssize_t>(total);
  }
}

bool HttpConnection::moreAtHand() const {
  std::lock_guard<std::mutex> lock(mutex_);
  // A handler that answers from another thread (a live stream) has its
  // piece sent at once instead of waiting for the buffer to fill.
  return !lastArrived_ && piecePrompt_;
}

ssize_t HttpConnection::readPiece(char* buffer, size_t max,
                                  const std::function<void()>& askForPiece) {
  std::unique_lock<std::mutex> lock(mutex_);
  for (int empty = 0; empty < kMaxEmptyPieces; ++empty) {
    if (cancelled_ || max == 0) return -2;
    if (pendingOffset_ < pending_.size()) return static_cast<ssize_t>(takePending(buffer, max));
    if (lastArrived_) return -1;
    target_buffer_ = buffer;
    targetMax_ = max;
    filled_ = 0;
    pieceArrived_ = false;
    lock.unlock();
    askForPiece();
    lock.lock();
    piecePrompt_ = pieceArrived_;
    changed_.wait_for(lock, kHttpHandlerWait, [this] { return pieceArrived_ || cancelled_; });
    target_buffer_ = nullptr;
    const size_t filled = filled_;
    filled_ = 0;
    if (cancelled_ || !pieceArrived_) return -2;
    if (filled > 0) return static_cast<ssize_t>(filled);
    // An empty piece: left-over bytes, the end, or another round.
  }
  return -2;
}

void HttpConnection::cancel() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (ended_) return;
  cancelled_ = true;
  // Unblocks a send or receive in progress; the descriptor stays libmicrohttpd's.
  if (socket_ >= 0) shutdown(socket_, SHUT_RDWR);
  changed_.notify_all();
}

bool HttpConnection::cancelled() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return cancelled_;
}

void HttpConnection::end() {
  std::lock_guard<std::mutex> lock(mutex_);
  ended_ = true;
  socket_ = -1;
  changed_.notify_all();
}

void HttpConnection::setSocket(int fd) {
  std::lock_guard<std::mutex> lock(mutex_);
  socket_ = fd;
}

}  // namespace dmsstack
