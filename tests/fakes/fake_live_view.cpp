// The fake live-view producer interface (see fake_live_view.h).
#include "fake_live_view.h"

#include "dms_live_view.h"
#include "dms_live_view_server.h"

// The semaphore pointers are the camera library's own (libdms needs it): the
// fake points them at its semaphores rather than defining a second set.

FakeLiveView& FakeLiveView::instance() {
  static FakeLiveView fake;
  return fake;
}

FakeLiveView::FakeLiveView() {
  for (sem_t* sem : {&ready4Read, &readComplete, &snInfo, &streamQuality, &mpegStopped})
    sem_init(sem, 0, 0);
  reset();
}

void FakeLiveView::reset() {
  std::lock_guard<std::mutex> lock(mutex_);
  startResult = true;
  stopResult = true;
  postStopped = true;
  qualityResult = true;
  postQuality = true;
  hotswap = false;
  screenNailResult = true;
  postScreenNail = true;
  screenNailOffset = 0;
  screenNailSize = 0;
  onStart = nullptr;
  calls_.clear();
  for (sem_t* sem : {&ready4Read, &readComplete, &snInfo, &streamQuality, &mpegStopped}) {
    while (sem_trywait(sem) == 0) {
    }
  }
  g_RVFsemBufferReady4Read = &ready4Read;
  g_RVFsemBufferReadComplete = &readComplete;
  g_RVFsemSNInfo = &snInfo;
  g_RVFsemStreamQuality = &streamQuality;
  gMpegStopedSemaphore = &mpegStopped;
}

void FakeLiveView::withdrawSemaphores() {
  g_RVFsemBufferReady4Read = nullptr;
  g_RVFsemBufferReadComplete = nullptr;
  g_RVFsemSNInfo = nullptr;
  g_RVFsemStreamQuality = nullptr;
  gMpegStopedSemaphore = nullptr;
}

std::vector<std::string> FakeLiveView::calls() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

size_t FakeLiveView::count(const std::string& prefix) const {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t n = 0;
  for (const auto& call : calls_) n += call.compare(0, prefix.size(), prefix) == 0 ? 1 : 0;
  return n;
}

void FakeLiveView::record(const std::string& call) {
  std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back(call);
}

int SemaphoreValue(sem_t* sem) {
  int value = 0;
  sem_getvalue(sem, &value);
  return value;
}

namespace {

FakeLiveView& fake() { return FakeLiveView::instance(); }

std::string flag(bool value) { return value ? "true" : "false"; }

}  // namespace

extern "C" bool CDSRVF_Mpegfunc_mpeg_start(void) {
  fake().record("mpeg_start()");
  if (fake().onStart) fake().onStart();
  return fake().startResult;
}

extern "C" bool CDSRVF_Mpegfunc_mpeg_stop(void) {
  fake().record("mpeg_stop()");
  if (fake().postStopped) sem_post(&fake().mpegStopped);
  return fake().stopResult;
}

extern "C" bool CDSRVF_Sysfunc_setStreamQuality(int quality) {
  fake().record("setStreamQuality(" + std::to_string(quality) + ")");
  if (fake().postQuality) sem_post(&fake().streamQuality);
  return fake().qualityResult;
}

extern "C" bool CDSRVF_Sysfunc_get_Isvideo_hotswap(void) {
  fake().record("get_Isvideo_hotswap()");
  return fake().hotswap;
}

extern "C" bool CDSRVF_Sysfunc_set_Isvideo_hotswap(bool running) {
  fake().record("set_Isvideo_hotswap(" + flag(running) + ")");
  fake().hotswap = running;
  return true;
}

extern "C" bool CDSRVF_Sysfunc_set_Streaming_stop_status(bool stopped) {
  fake().record("set_Streaming_stop_status(" + flag(stopped) + ")");
  return true;
}

extern "C" bool CDSRVF_Sysfunc_send_RVF_async_event(int event, char* data, int length) {
  fake().record("send_RVF_async_event(" + std::to_string(event) + ", " +
                (data == nullptr ? "null" : "data") + ", " + std::to_string(length) + ")");
  return true;
}

extern "C" bool CDSRVF_req_ScreenNailInfo(const char* name) {
  fake().record(std::string("req_ScreenNailInfo(") + (name != nullptr ? name : "null") + ")");
  if (!fake().screenNailResult) return false;
  DMSLiveViewSetSNInfo(fake().screenNailOffset, fake().screenNailSize);
  if (fake().postScreenNail) sem_post(&fake().snInfo);
  return true;
}
