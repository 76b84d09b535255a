// Creation and release of the platform services as one unit.
#include "dms_file_io.h"
#include "dms_mem.h"
#include "dms_mutex.h"
#include "dms_platform.h"
#include "dms_timer.h"
#include "export_guard.h"

extern "C" int DMSAppHelperInitialize(void) {
  return dms_export::guarded("DMSAppHelperInitialize", 0, [&]() -> int {
    DMSAppMutex::GetInstance();
    DMSAppMem::GetInstance();
    DMSAppFileIOClass::GetInstance();
    DMSAppTimer::GetInstance();
    return 1;
  });
}

extern "C" void DMSAppHelperTerminate(void) {
  DMSAppTimer::DestroyInstance();
  DMSAppMutex::DestroyInstance();
  DMSAppMem::DestroyInstance();
  DMSAppFileIOClass::DestroyInstance();
}
