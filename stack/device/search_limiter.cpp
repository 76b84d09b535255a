#include "search_limiter.h"

#include <algorithm>

namespace dmsstack {

namespace {

// Senders whose buckets are full again are forgotten past this many, so
// that spoofed addresses cannot grow the table without bound.
constexpr size_t kMaxSenders = 256;

}  // namespace

void SearchLimiter::refill(Bucket& bucket, double burst, double perSecond, TimePoint now) {
  if (!bucket.started) {
    bucket.tokens = burst;
    bucket.filled = now;
    bucket.started = true;
    return;
  }
  if (now <= bucket.filled) return;
  const double seconds = std::chrono::duration<double>(now - bucket.filled).count();
  bucket.tokens = std::min(burst, bucket.tokens + seconds * perSecond);
  bucket.filled = now;
}

bool SearchLimiter::admit(const std::string& sender, TimePoint now) {
  refill(all_, limits_.allBurst, limits_.allPerSecond, now);
  if (senders_.size() >= kMaxSenders && senders_.find(sender) == senders_.end()) {
    for (auto it = senders_.begin(); it != senders_.end();) {
      refill(it->second, limits_.perSenderBurst, limits_.perSenderPerSecond, now);
      it = it->second.tokens >= limits_.perSenderBurst ? senders_.erase(it) : std::next(it);
    }
  }
  // With the table still full a new sender shares the common bucket only.
  Bucket* own = nullptr;
  if (senders_.size() < kMaxSenders || senders_.count(sender) != 0) {
    own = &senders_[sender];
    refill(*own, limits_.perSenderBurst, limits_.perSenderPerSecond, now);
  }
  if (all_.tokens < 1 || (own != nullptr && own->tokens < 1)) {
    ++dropped_;
    return false;
  }
  all_.tokens -= 1;
  if (own != nullptr) own->tokens -= 1;
  return true;
}

unsigned long SearchLimiter::takeDropped() {
  const unsigned long dropped = dropped_;
  dropped_ = 0;
  return dropped;
}

}  // namespace dmsstack
