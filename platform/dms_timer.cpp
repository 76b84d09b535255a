// DMSAppTimer. See the header for the contract.
#include "dms_timer.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <new>

#include "dms_list.h"
#include "dms_mem_ptr.h"
#include "dms_mutex.h"
#include "dms_string.h"
#include "export_guard.h"
#include "nuv_log.h"

namespace {

// The expiries collected in one scan; a full batch is followed by another scan
// at once, so more expiries within one period are fired, not lost.
constexpr int kMaxExpiredPerScan = 128;
constexpr useconds_t kPollPeriodUs = 10000;

// Set on the poll thread, which must never try to join itself.
thread_local bool onTimerThread = false;

// SA_RESTART so that the alarms of expiring timers interrupt as few system
// calls of other threads as possible.
void installAlarmHandler() {
  struct sigaction action = {};
  action.sa_handler = DMSAppALARMhandler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGALRM, &action, nullptr);
}

}  // namespace

extern "C" void DMSAppALARMhandler(int /*signal*/) { installAlarmHandler(); }

DMSAppTimer* DMSAppTimer::instance_ = nullptr;

DMSAppTimer::DMSAppTimer()
    : handleCounter_(0),
      timerList_(nullptr),
      listMutex_(nullptr),
      bDMSAppRunTimerThread(false),
      thread_(),
      threadStarted_(false) {
  installAlarmHandler();
}

// Only reached with the thread stopped, so the list needs no lock here.
DMSAppTimer::~DMSAppTimer() {
  if (timerList_ != nullptr) {
    timerList_->RemoveAllListItem([](void* info) {
      FreeTimerInfoStructData(static_cast<DMSAppTimerInfo*>(info));
      return 0;
    });
  }
  if (instance_ == this) instance_ = nullptr;
}

DMSAppTimer* DMSAppTimer::GetInstance() {
  if (instance_ != nullptr) return instance_;
  auto* timer = new DMSAppTimer();
  instance_ = timer;
  timer->timerList_.reset(new (std::nothrow) DMSCDSList());
  DMSAppString mutexName("TimerMutex");
  timer->listMutex_ = DMSAppCreateMutex(&mutexName);
  timer->bDMSAppRunTimerThread = true;
  if (pthread_create(&timer->thread_, nullptr, &DMSAppTimer::DMSAppSignalHandler, timer) == 0) {
    timer->threadStarted_ = true;
  } else {
    NUVPrintf(2, "Timer: Thread creation failed");
    timer->bDMSAppRunTimerThread = false;  // nothing runs, so StopThread succeeds
  }
  return timer;
}

void DMSAppTimer::DestroyInstance() {
  DMSAppTimer* timer = instance_;
  if (timer == nullptr || onTimerThread) return;
  timer->StopThread();
  if (timer->listMutex_ != nullptr) DMSAppDeleteMutex(timer->listMutex_);
  timer->listMutex_ = nullptr;
  delete timer;
}

void DMSAppTimer::FreeTimerInfoStructData(DMSAppTimerInfo* info) {
  if (info == nullptr) return;
  timer_delete(info->timer);
  info->~DMSAppTimerInfo();
  DMSAppMemFree(info);
}

unsigned long DMSAppTimer::NUVCreateTimer(DMSAppString* name) {
  if (timerList_ == nullptr) return 0;
  DMSAppMutexLock lock(listMutex_);
  unsigned int handle = ++handleCounter_;
  std::unique_ptr<void, DMSAppMemDeleter> block(DMSAppMemAllocMA(sizeof(DMSAppTimerInfo)));
  if (block == nullptr) {
    NUVPrintf(2, "Timer: Timer creation failed");
    return 0;
  }
  // A null sigevent is the default notification (SIGALRM); the handler
  // installed by the constructor absorbs it and the poll thread does the work.
  timer_t posixTimer;
  if (timer_create(CLOCK_REALTIME, nullptr, &posixTimer) != 0) {
    NUVPrintf(2, "Timer: Timer creation failed");
    return 0;
  }
  // From here on the record owns the block and the POSIX timer.
  struct Release {
    void operator()(DMSAppTimerInfo* info) const { FreeTimerInfoStructData(info); }
  };
  std::unique_ptr<DMSAppTimerInfo, Release> info(
      new (block.release()) DMSAppTimerInfo{handle, nullptr, posixTimer, nullptr, 0, false});
  if (name != nullptr) info->name.reset(new DMSAppString(static_cast<const DMSAppString*>(name)));
  if (timerList_->AddItem(info.get()) != 0) {
    NUVPrintf(2, "Timer: Timer creation failed");
    return 0;
  }
  info.release();  // the list's now
  return handle;
}

int DMSAppTimer::NUVStartTimer(unsigned long handle, unsigned long timeoutMs,
                               DMSAppTimerCallback callback, void* param) {
  if (callback == nullptr) {
    NUVPrintf(2, "Timer: NUVStartTimer: callback or timeout is invalid");
    return 0;
  }
  DMSAppMutexLock lock(listMutex_);
  DMSAppTimerInfo* info = __GetTimerInfo(handle);
  if (info == nullptr) return 1;  // callers cannot tell this from a start, by design
  struct itimerspec expiry = {};
  expiry.it_value.tv_sec = static_cast<time_t>(timeoutMs / 1000);
  expiry.it_value.tv_nsec = static_cast<long>((timeoutMs % 1000) * 1000000);
  if (timer_settime(info->timer, 0, &expiry, nullptr) != 0) return 0;
  info->callback = callback;
  info->param = static_cast<unsigned long>(reinterpret_cast<uintptr_t>(param));
  // A 0 ms start disarms the POSIX timer, and a disarmed timer reads zero
  // remaining time just as an expired one does; it must not count as running
  // or it would fire at the next poll instead of never.
  info->running = timeoutMs != 0;
  return 1;
}

int DMSAppTimer::TimerManipulationOnTimerCancel(unsigned long handle) {
  if (timerList_ == nullptr) {
    NUVPrintf(2, "Timer: TimerManipulationOnTimerCancel invalid m_pTimerList");
    return 0;
  }
  DMSAppMutexLock lock(listMutex_);
  DMSAppTimerInfo* info = __GetTimerInfo(handle);
  if (info != nullptr) {
    timerList_->DeleteItem(info);
    FreeTimerInfoStructData(info);
  }
  return 1;
}

DMSAppString* DMSAppTimer::NUVGetTimerNameFromHandle(unsigned long handle) {
  DMSAppMutexLock lock(listMutex_);
  DMSAppTimerInfo* info = __GetTimerInfo(handle);
  if (info == nullptr || info->name == nullptr) return nullptr;
  return new DMSAppString(static_cast<const DMSAppString*>(info->name.get()));
}

unsigned long DMSAppTimer::GetTimerHandleFromTimerName(DMSAppString* /*name*/) { return 0; }

DMSAppTimerInfo* DMSAppTimer::__GetTimerInfo(unsigned long handle) {
  if (timerList_ == nullptr) return nullptr;
  DMSAppMutexLock lock(listMutex_);
  for (stDMSCDSListItem* item = timerList_->ReadFirstItem(); item != nullptr; item = item->next) {
    auto* info = static_cast<DMSAppTimerInfo*>(item->data);
    if (static_cast<unsigned long>(info->handle) == handle) return info;
  }
  return nullptr;
}

int DMSAppTimer::StopThread() {
  if (threadStarted_ && bDMSAppRunTimerThread.load()) {
    bDMSAppRunTimerThread = false;
    if (!onTimerThread) {
      pthread_join(thread_, nullptr);
      threadStarted_ = false;
    }
    NUVPrintf(1, "[DMSAppTimer::StopThread]Stop DMSAppTimerTask thread\n");
  } else if (threadStarted_ && !onTimerThread) {
    // Stopped earlier from inside a callback: join it now.
    pthread_join(thread_, nullptr);
    threadStarted_ = false;
  }
  return bDMSAppRunTimerThread.load() ? 0 : 1;
}

int DMSAppTimer::collectExpired(unsigned long* handles, int capacity) {
  DMSAppMutexLock lock(listMutex_);
  int count = 0;
  for (stDMSCDSListItem* item = timerList_->ReadFirstItem(); item != nullptr && count < capacity;
       item = item->next) {
    auto* info = static_cast<DMSAppTimerInfo*>(item->data);
    if (!info->running) continue;
    struct itimerspec remaining = {};
    if (timer_gettime(info->timer, &remaining) != 0) continue;
    if (remaining.it_value.tv_sec == 0 && remaining.it_value.tv_nsec == 0) {
      handles[count++] = info->handle;
    }
  }
  return count;
}

// The record may have gone since it was noted; callback and param are copied
// under the lock because another thread may delete it once the lock is left.
void DMSAppTimer::fireExpired(unsigned long handle) {
  DMSAppTimerCallback callback = nullptr;
  unsigned long param = 0;
  {
    DMSAppMutexLock lock(listMutex_);
    DMSAppTimerInfo* info = __GetTimerInfo(handle);
    if (info == nullptr) return;
    callback = info->callback;
    param = info->param;
  }
  if (callback != nullptr) callback(handle, param, false);
  TimerManipulationOnTimerCancel(handle);  // nothing if the callback deleted it
}

void DMSAppTimer::pollOnce() {
  if (timerList_ == nullptr) return;
  unsigned long expired[kMaxExpiredPerScan];
  int count = 0;
  do {
    count = collectExpired(expired, kMaxExpiredPerScan);
    for (int i = 0; i < count; ++i) fireExpired(expired[i]);
  } while (count == kMaxExpiredPerScan && bDMSAppRunTimerThread.load());
}

void* DMSAppTimer::DMSAppSignalHandler(void* self) {
  prctl(PR_SET_NAME, "DMSAppTimer", 0, 0, 0);
  onTimerThread = true;
  auto* timer = static_cast<DMSAppTimer*>(self);
  while (timer->bDMSAppRunTimerThread.load()) {
    timer->pollOnce();
    usleep(kPollPeriodUs);
  }
  return nullptr;
}

extern "C" unsigned long DMSAppCreateTimer(DMSAppString* name) {
  return dms_export::guarded("DMSAppCreateTimer", 0UL, [&]() -> unsigned long {
    return DMSAppTimer::GetInstance()->NUVCreateTimer(name);
  });
}

extern "C" int DMSAppStartTimer(unsigned long handle, unsigned long timeoutMs,
                                DMSAppTimerCallback callback, void* param) {
  return dms_export::guarded("DMSAppStartTimer", 0, [&]() -> int {
    return DMSAppTimer::GetInstance()->NUVStartTimer(handle, timeoutMs, callback, param);
  });
}

extern "C" int DMSAppDeleteTimer(unsigned long handle) {
  return dms_export::guarded("DMSAppDeleteTimer", 0, [&]() -> int {
    return DMSAppTimer::GetInstance()->TimerManipulationOnTimerCancel(handle);
  });
}

// Without a service there is no thread to stop; creating one only to stop it
// would be wasted.
extern "C" int DMSAppStopTimerThread(void) {
  DMSAppTimer* timer = DMSAppTimer::instance_;
  return timer != nullptr ? timer->StopThread() : 1;
}

extern "C" int DMSAppHelperStopDMSAppTimerThread(void) { return DMSAppStopTimerThread(); }
