// The live-view producer on a Linux host (see live_view_producer.h).
#include "live_view_producer.h"

#include <cerrno>
#include <chrono>
#include <ctime>

#include "avi_stream.h"
#include "dms_live_view.h"
#include "nuv_log.h"
#include "server_hooks.h"

namespace dms_camera {

namespace {

constexpr FrameSize kFullSize{640, 480};
constexpr FrameSize kQvgaSize{320, 240};
constexpr unsigned long kSliceMs = 50;
constexpr size_t kFrameReserveBytes = 512 * 1024;

bool waitSlice(sem_t* sem) {
  timespec at{};
  // The wall clock, as sem_timedwait wants: a clock change stretches one
  // short slice at most (sem_clockwait escapes ThreadSanitizer's view).
  clock_gettime(CLOCK_REALTIME, &at);
  at.tv_nsec += static_cast<long>(kSliceMs) * 1000000L;
  if (at.tv_nsec >= 1000000000L) {
    at.tv_sec += 1;
    at.tv_nsec -= 1000000000L;
  }
  return sem_timedwait(sem, &at) == 0;
}

void drain(sem_t* sem) {
  if (sem == nullptr) return;
  while (sem_trywait(sem) == 0) {
  }
}

}  // namespace

LiveViewProducer& LiveViewProducer::instance() {
  static LiveViewProducer producer;
  return producer;
}

bool LiveViewProducer::Configure(const std::string& source, std::string* error) {
  if (!source.empty() && OpenFrameSource(source, error) == nullptr) return false;
  std::lock_guard<std::mutex> lock(mutex_);
  source_ = source;
  return true;
}

bool LiveViewProducer::Start() {
  std::unique_lock<std::mutex> lock(mutex_);
  if (threadAlive_ || source_.empty()) return false;
  if (thread_.joinable()) thread_.join();  // an ended stream's thread, past its last lock
  std::string error;
  std::unique_ptr<FrameSource> source = OpenFrameSource(source_, &error);
  if (source == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[LiveView] cannot start: %s", error.c_str());
    return false;
  }
  // Counts left by an earlier stream would hand the server a stale frame
  // before this stream's header.
  drain(g_RVFsemBufferReady4Read);
  drain(g_RVFsemBufferReadComplete);
  const FrameSize size = quality_ == 1 ? kQvgaSize : kFullSize;
  stopAsked_ = false;
  consumerStopped_ = false;
  try {
    thread_ = std::thread(&LiveViewProducer::Run, this, std::move(source), size);
  } catch (const std::system_error& e) {
    NUVPrintf(NUV_LOG_ERROR, "[LiveView] cannot start the producer thread: %s", e.what());
    return false;
  }
  threadAlive_ = true;
  hotswap_ = true;
  NUVPrintf(NUV_LOG_INFO, "[LiveView] stream started: %dx%d from %s", size.width, size.height,
            source_.c_str());
  return true;
}

bool LiveViewProducer::Stop() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!threadAlive_) return false;
  stopAsked_ = true;
  return true;
}

bool LiveViewProducer::SetQuality(int quality) {
  if (quality != 0 && quality != 1) return false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    quality_ = quality;
  }
  if (g_RVFsemStreamQuality != nullptr) sem_post(g_RVFsemStreamQuality);
  return true;
}

bool LiveViewProducer::Running() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return hotswap_;
}

void LiveViewProducer::SetRunning(bool running) {
  std::lock_guard<std::mutex> lock(mutex_);
  hotswap_ = running;
}

void LiveViewProducer::SetConsumerStopped(bool stopped) {
  std::lock_guard<std::mutex> lock(mutex_);
  consumerStopped_ = stopped;
}

void LiveViewProducer::Shutdown() {
  std::unique_lock<std::mutex> lock(mutex_);
  stopAsked_ = threadAlive_;
  ended_.wait(lock, [this] { return !threadAlive_; });
  if (thread_.joinable()) thread_.join();
}

void LiveViewProducer::SetConsumerGoneMsForTest(unsigned long ms) { consumerGoneMs_.store(ms); }

bool LiveViewProducer::StopAsked() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return stopAsked_;
}

void LiveViewProducer::Hand(const unsigned char* frame, size_t size) {
  serverSetBufferPtr(const_cast<unsigned char*>(frame), static_cast<long long>(size));
  if (g_RVFsemBufferReady4Read != nullptr) sem_post(g_RVFsemBufferReady4Read);
}

bool LiveViewProducer::WaitConsumed() {
  if (g_RVFsemBufferReadComplete == nullptr) return !StopAsked();
  const auto start = std::chrono::steady_clock::now();
  for (;;) {
    if (waitSlice(g_RVFsemBufferReadComplete)) return true;
    if (StopAsked()) return false;
    const auto waited = std::chrono::steady_clock::now() - start;
    if (waited < std::chrono::milliseconds(consumerGoneMs_.load())) continue;
    // Nobody took the frame: its client went away. Taking the post back
    // leaves the counts clean. Otherwise a sender has it and releases it soon.
    if (g_RVFsemBufferReady4Read == nullptr || sem_trywait(g_RVFsemBufferReady4Read) == 0) {
      NUVPrintf(NUV_LOG_INFO, "[LiveView] no client takes the frames: stream ended");
      return false;
    }
  }
}

void LiveViewProducer::Run(std::unique_ptr<FrameSource> source, FrameSize size) {
  header_ = AviStreamHeader(size.width, size.height, source->rate());
  Hand(header_.data(), header_.size());
  int current = 0;
  for (;;) {
    if (StopAsked()) break;
    if (serverIsPaused()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(kSliceMs));
      pausedSlices_.fetch_add(1);
      continue;
    }
    std::vector<unsigned char>& chunk = frames_[current];
    if (chunk.capacity() < kFrameReserveBytes) chunk.reserve(kFrameReserveBytes);
    BeginAviChunk(&chunk);
    std::string error;
    if (!source->next(size, &chunk, &error)) {
      NUVPrintf(NUV_LOG_ERROR, "[LiveView] the picture source failed: %s", error.c_str());
      break;
    }
    if (!FinishAviChunk(&chunk)) continue;
    // The frame before is still out: the slot is free once it is sent.
    if (!WaitConsumed()) break;
    Hand(chunk.data(), chunk.size());
    current ^= 1;
  }
  Ended();
}

void LiveViewProducer::Ended() {
  serverSetBufferPtr(nullptr, 0);
  std::lock_guard<std::mutex> lock(mutex_);
  const bool asked = stopAsked_;
  threadAlive_ = false;
  hotswap_ = false;
  stopAsked_ = false;
  // Full size unless the next request asks for QVGA: a request for the full
  // size sets no quality when no stream runs.
  quality_ = 0;
  if (asked && gMpegStopedSemaphore != nullptr) sem_post(gMpegStopedSemaphore);
  ended_.notify_all();
  NUVPrintf(NUV_LOG_INFO, "[LiveView] stream ended");
}

}  // namespace dms_camera
