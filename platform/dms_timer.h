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

#include "dms_platform.h"

class DMSAppString;
class DMSCDSList;

struct DMSAppTimerInfo {
  unsigned int handle;
  DMSAppString* name;  // owned
  timer_t timer;
  DMSAppTimerCallback callback;
  unsigned long param;
  bool running;
};

class DMSAppTimer {
 public:
  // Creates the service, its list and mutex, and starts the poll thread.
  static DMSAppTimer* GetInstance();
  // Deletes the mutex, then the service. Stop the thread first (StopThread).
  static void DestroyInstance();

  unsigned long NUVCreateTimer(DMSAppString* name);
  int NUVStartTimer(unsigned long handle, unsigned long timeoutMs, DMSAppTimerCallback callback,
                    void* param);
  int TimerManipulationOnTimerCancel(unsigned long handle);
  // A new copy of the timer's name (caller deletes), or null.
  DMSAppString* NUVGetTimerNameFromHandle(unsigned long handle);
  // Offered but never finds anything: always 0.
  unsigned long GetTimerHandleFromTimerName(DMSAppString* name);
  int StopThread();

 private:
  DMSAppTimer();
  ~DMSAppTimer();
  DMSAppTimerInfo* __GetTimerInfo(unsigned long handle);
  static void* DMSAppSignalHandler(void* self);
  void pollOnce();
  static void FreeTimerInfoStructData(DMSAppTimerInfo* info);

  static DMSAppTimer* instance_;
  unsigned int handleCounter_;
  DMSCDSList* timerList_;
  pthread_mutex_t* listMutex_;
  std::atomic<bool> bDMSAppRunTimerThread;
  pthread_t thread_;
  bool threadStarted_;
};

// Re-installs itself for SIGALRM and does nothing else, so that a timer's
// default notification never ends the process.
extern "C" void DMSAppALARMhandler(int signal);

#endif  // DMS_PLATFORM_DMS_TIMER_H
