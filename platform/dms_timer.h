// DMSAppTimer: one-shot millisecond timers with small integer handles.
//
// Each timer is a POSIX timer that is armed but never delivers anything; the
// poll thread "DMSAppTimer" reads the remaining times every 10 ms and runs the
// callbacks of those that ran out, so every callback runs on that one thread,
// never in signal context and without the list mutex held. A fired timer is
// deleted after its callback returns.
//
// Thread safety: all operations may be called from any thread, including from
// inside a timer callback. The list is guarded by the recursive "TimerMutex".
#ifndef DMS_PLATFORM_DMS_TIMER_H
#define DMS_PLATFORM_DMS_TIMER_H

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <memory>

#include "dms_platform.h"

class DMSAppString;
class DMSCDSList;

// One timer, built in a DMSAppMemAllocMA block owned by the service's list
// and released by FreeTimerInfoStructData.
struct DMSAppTimerInfo {
  unsigned int handle;
  std::unique_ptr<DMSAppString> name;
  timer_t timer;
  DMSAppTimerCallback callback;
  unsigned long param;
  bool running;  // armed with a non-zero timeout: only then does a zero reading mean expiry
};

class DMSAppTimer {
 public:
  // Creates the service, its list and mutex, and starts the poll thread on
  // first use. Not locked: the first call happens before other threads run.
  static DMSAppTimer* GetInstance();
  // Deletes the mutex, then the service. The thread should be stopped first
  // (StopThread); if it still runs it is stopped here. Does nothing when
  // called from a timer callback, since the thread cannot join itself.
  static void DestroyInstance();

  // The backers of DMSAppCreateTimer, DMSAppStartTimer and DMSAppDeleteTimer,
  // with their results (dms_platform.h). The name is copied.
  unsigned long NUVCreateTimer(DMSAppString* name);
  int NUVStartTimer(unsigned long handle, unsigned long timeoutMs, DMSAppTimerCallback callback,
                    void* param);
  int TimerManipulationOnTimerCancel(unsigned long handle);
  // A new copy of the timer's name (caller deletes), or null.
  DMSAppString* NUVGetTimerNameFromHandle(unsigned long handle);
  // Offered but never finds anything: always 0.
  unsigned long GetTimerHandleFromTimerName(DMSAppString* name);
  // Clears the run flag and joins the thread (the join is left to the next
  // StopThread or DestroyInstance when called from a callback). 1 when the
  // flag is clear afterwards.
  int StopThread();

 private:
  friend int ::DMSAppStopTimerThread(void);

  DMSAppTimer();
  ~DMSAppTimer();
  DMSAppTimerInfo* __GetTimerInfo(unsigned long handle);
  static void* DMSAppSignalHandler(void* self);
  void pollOnce();
  // Notes up to `capacity` expired handles in list order; returns the count.
  int collectExpired(unsigned long* handles, int capacity);
  void fireExpired(unsigned long handle);
  static void FreeTimerInfoStructData(DMSAppTimerInfo* info);

  static DMSAppTimer* instance_;
  unsigned int handleCounter_;
  // Owns its DMSAppTimerInfo records; the destructor releases them.
  std::unique_ptr<DMSCDSList> timerList_;
  pthread_mutex_t* listMutex_;
  std::atomic<bool> bDMSAppRunTimerThread;
  pthread_t thread_;
  bool threadStarted_;
};

// Re-installs itself for SIGALRM and does nothing else, so that a timer's
// default notification never ends the process.
extern "C" void DMSAppALARMhandler(int signal);

#endif  // DMS_PLATFORM_DMS_TIMER_H
