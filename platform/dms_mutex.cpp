#include "dms_mutex.h"

#include <cerrno>
#include <cstdlib>

#include "dms_platform.h"
#include "export_guard.h"
#include "nuv_log.h"

DMSAppMutex* DMSAppMutex::instance_ = nullptr;

DMSAppMutex::DMSAppMutex() {
  // A failure is logged and the service still made: mutexes created later
  // then get the default attribute, which is the best that can be done.
  if (pthread_mutexattr_init(&attribute_) != 0) {
    NUVPrintf(2, "[DMSAppMutex::DMSAppMutex()] mutex init failed err : %d", errno);
  }
  if (pthread_mutexattr_settype(&attribute_, PTHREAD_MUTEX_RECURSIVE) != 0) {
    NUVPrintf(2, "[DMSAppMutex::DMSAppMutex()] mutex set type failed err : %d", errno);
  }
}

DMSAppMutex::~DMSAppMutex() {
  pthread_mutexattr_destroy(&attribute_);
  if (instance_ == this) instance_ = nullptr;
}

DMSAppMutex* DMSAppMutex::GetInstance() {
  if (instance_ == nullptr) instance_ = new DMSAppMutex();
  return instance_;
}

void DMSAppMutex::DestroyInstance() { delete instance_; }

pthread_mutex_t* DMSAppMutex::CreatingMutex(const DMSAppString* name) {
  if (name == nullptr) NUVPrintf(2, "[DMSAppMutex::CreatingMutex] No Mutex Name given");
  auto* m = static_cast<pthread_mutex_t*>(malloc(sizeof(pthread_mutex_t)));
  if (m == nullptr) {
    NUVPrintf(2, "[DMSAppMutex::CreatingMutex] mutex malloc failed. err : %d", errno);
    return nullptr;
  }
  if (pthread_mutex_init(m, &attribute_) != 0) {
    free(m);
    return nullptr;
  }
  return m;
}

int DMSAppMutex::DeletingMutex(pthread_mutex_t* m) {
  if (m == nullptr) return 0;
  if (pthread_mutex_destroy(m) != 0) return 0;  // still locked: keep it
  free(m);
  return 1;
}

int DMSAppMutex::AcquiringMutex(pthread_mutex_t* m) {
  return (m != nullptr && pthread_mutex_lock(m) == 0) ? 1 : 0;
}

int DMSAppMutex::ReleasingMutex(pthread_mutex_t* m) {
  return (m != nullptr && pthread_mutex_unlock(m) == 0) ? 1 : 0;
}

extern "C" pthread_mutex_t* DMSAppCreateMutex(const DMSAppString* name) {
  return dms_export::guarded(
      "DMSAppCreateMutex", static_cast<pthread_mutex_t*>(nullptr),
      [&]() -> pthread_mutex_t* { return DMSAppMutex::GetInstance()->CreatingMutex(name); });
}

extern "C" int DMSAppDeleteMutex(pthread_mutex_t* m) {
  return dms_export::guarded("DMSAppDeleteMutex", 0,
                             [&]() -> int { return DMSAppMutex::GetInstance()->DeletingMutex(m); });
}

extern "C" int DMSAppAcquireMutex(pthread_mutex_t* m) {
  return dms_export::guarded("DMSAppAcquireMutex", 0, [&]() -> int {
    return DMSAppMutex::GetInstance()->AcquiringMutex(m);
  });
}

extern "C" int DMSAppReleaseMutex(pthread_mutex_t* m) {
  return dms_export::guarded("DMSAppReleaseMutex", 0, [&]() -> int {
    return DMSAppMutex::GetInstance()->ReleasingMutex(m);
  });
}
