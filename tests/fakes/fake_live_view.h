// A fake of the camera's live-view producer interface (dms_live_view.h) for
// unit tests of the live-view handler: every operation is recorded, its
// result and whether it posts its semaphore are set by the test, and the
// five semaphores are real ones the test can post and inspect.
//
// Thread safety: all members may be used from any thread.
#ifndef DMS_TESTS_FAKE_LIVE_VIEW_H
#define DMS_TESTS_FAKE_LIVE_VIEW_H

#include <semaphore.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

class FakeLiveView {
 public:
  static FakeLiveView& instance();

  // Results and behaviour back to the defaults below, calls forgotten, every
  // semaphore at 0 and provided.
  void reset();
  // Makes the camera provide none of the five semaphores (null pointers).
  void withdrawSemaphores();

  // Defaults after reset() in brackets.
  std::atomic<bool> startResult{true};       // CDSRVF_Mpegfunc_mpeg_start [true]
  std::atomic<bool> stopResult{true};        // CDSRVF_Mpegfunc_mpeg_stop [true]
  std::atomic<bool> postStopped{true};       // stop posts gMpegStopedSemaphore [true]
  std::atomic<bool> qualityResult{true};     // CDSRVF_Sysfunc_setStreamQuality [true]
  std::atomic<bool> postQuality{true};       // ... and posts g_RVFsemStreamQuality [true]
  std::atomic<bool> hotswap{false};          // CDSRVF_Sysfunc_get_Isvideo_hotswap [false]
  std::atomic<bool> screenNailResult{true};  // CDSRVF_req_ScreenNailInfo [true]
  std::atomic<bool> postScreenNail{true};    // ... and posts g_RVFsemSNInfo [true]
  std::atomic<long> screenNailOffset{0};     // announced with DMSLiveViewSetSNInfo [0]
  std::atomic<long> screenNailSize{0};       // [0]
  // Run inside CDSRVF_Mpegfunc_mpeg_start (after it is recorded) [none].
  std::function<void()> onStart;

  // Calls as "name(arg, ...)" in order.
  std::vector<std::string> calls() const;
  size_t count(const std::string& prefix) const;
  void record(const std::string& call);

  sem_t ready4Read;
  sem_t readComplete;
  sem_t snInfo;
  sem_t streamQuality;
  sem_t mpegStopped;

 private:
  FakeLiveView();
  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
};

// A semaphore's count now.
int SemaphoreValue(sem_t* sem);

#endif  // DMS_TESTS_FAKE_LIVE_VIEW_H
