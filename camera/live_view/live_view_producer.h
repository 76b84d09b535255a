// The live-view producer on a Linux host: one stream at a time, from the
// configured picture source, handed to the media server one frame at a
// time through its frame slot and the hand-off semaphores (dms_live_view.h).
// The first frame of every start is the 224-byte AVI header; each picture
// then goes as one "00dc" chunk. Two frame buffers alternate, so the next
// picture is made while the server sends the one before.
//
// A stream ends when asked (Stop), when the source fails, or when no
// consumer took a frame for kConsumerGoneMs (its client went away): the
// camera is then released until the next start.
//
// Thread safety: every member may be called from any thread.
#ifndef DMS_CAMERA_LIVE_VIEW_LIVE_VIEW_PRODUCER_H
#define DMS_CAMERA_LIVE_VIEW_LIVE_VIEW_PRODUCER_H

#include <array>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "frame_source.h"

namespace dms_camera {

class LiveViewProducer {
 public:
  static constexpr unsigned long kConsumerGoneMs = 10000;

  static LiveViewProducer& instance();

  // The source of later streams ("" for none: starts then fail). Opens it
  // once to check it; false with `error` set when it cannot be opened.
  bool Configure(const std::string& source, std::string* error);
  // mpeg_start: false without a source, when one runs, or when the source
  // cannot be opened.
  bool Start();
  // mpeg_stop: true when a stream runs; gMpegStopedSemaphore is posted once
  // it has ended.
  bool Stop();
  // 1 QVGA, 0 full size, for the next start; posts g_RVFsemStreamQuality.
  bool SetQuality(int quality);
  bool Running() const;
  void SetRunning(bool running);
  void SetConsumerStopped(bool stopped);
  // Ends a running stream and waits for it (the application's shutdown).
  void Shutdown();

  // Test seam: how long a frame may wait for a consumer before the stream
  // ends (kConsumerGoneMs unless a test shortens it).
  void SetConsumerGoneMsForTest(unsigned long ms);
  // Test seam: how many times a stream's thread found the stream paused and
  // waited a slice instead of making a frame.
  unsigned long PausedSlicesForTest() const { return pausedSlices_.load(); }

 private:
  LiveViewProducer() = default;
  void Run(std::unique_ptr<FrameSource> source, FrameSize size);
  // Waits for the consumer to release the slot: false when the stream must
  // end (stop asked, or the consumer is gone).
  bool WaitConsumed();
  void Hand(const unsigned char* frame, size_t size);
  void Ended();
  bool StopAsked() const;

  mutable std::mutex mutex_;
  std::condition_variable ended_;
  std::string source_;            // guarded by mutex_
  int quality_ = 0;               // guarded by mutex_
  bool threadAlive_ = false;      // guarded by mutex_: a stream's thread runs
  bool hotswap_ = false;          // guarded by mutex_: what Running() answers
  bool stopAsked_ = false;        // guarded by mutex_
  bool consumerStopped_ = false;  // guarded by mutex_
  std::thread thread_;            // guarded by mutex_
  std::atomic<unsigned long> consumerGoneMs_{kConsumerGoneMs};
  std::atomic<unsigned long> pausedSlices_{0};
  // The frames handed out. They live as long as the process: a sender that
  // took a frame's address just before its stream ended still reads valid
  // memory. A buffer is rewritten only after the server released it.
  std::array<unsigned char, 224> header_{};
  std::vector<unsigned char> frames_[2];
};

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_LIVE_VIEW_PRODUCER_H
