// DMSAppMutex: the mutex service. Every mutex it makes is recursive, so a
// thread may lock a mutex it already holds (and must unlock it as often).
// The exported DMSAppCreateMutex/DeleteMutex/AcquireMutex/ReleaseMutex
// (dms_platform.h) reach the singleton.
#ifndef DMS_PLATFORM_DMS_MUTEX_H
#define DMS_PLATFORM_DMS_MUTEX_H

#include <pthread.h>

class DMSAppString;

class DMSAppMutex {
 public:
  static DMSAppMutex* GetInstance();
  static void DestroyInstance();

  pthread_mutex_t* CreatingMutex(const DMSAppString* name);
  int DeletingMutex(pthread_mutex_t* m);
  int AcquiringMutex(pthread_mutex_t* m);
  int ReleasingMutex(pthread_mutex_t* m);

 private:
  DMSAppMutex();
  ~DMSAppMutex();
  static DMSAppMutex* instance_;
  pthread_mutexattr_t attribute_;
};

// Holds a platform mutex for the lifetime of a scope.
class DMSAppMutexLock {
 public:
  explicit DMSAppMutexLock(pthread_mutex_t* m) : m_(m) {
    if (m_ != nullptr) pthread_mutex_lock(m_);
  }
  ~DMSAppMutexLock() {
    if (m_ != nullptr) pthread_mutex_unlock(m_);
  }
  DMSAppMutexLock(const DMSAppMutexLock&) = delete;
  DMSAppMutexLock& operator=(const DMSAppMutexLock&) = delete;

 private:
  pthread_mutex_t* m_;
};

#endif  // DMS_PLATFORM_DMS_MUTEX_H
