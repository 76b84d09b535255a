// The camera platform on a Linux host: sharing setting, UI events and the
// remote-viewfinder hook. There is no camera UI on a host, so UI events go to
// a handler the application installs (dmsd prints them and decides).
#include <atomic>
#include <cstdlib>

#include "dms_camera.h"
#include "dms_camera_host.h"
#include "nuv_config.h"

namespace {

std::atomic<DmsUiEventHandler> gUiHandler{nullptr};
std::atomic<DmsRVFHook> gRVFHook{nullptr};

int declineEveryAction(const char*, const char*, void*, DmsRVFRespond) { return 0; }

}  // namespace

extern "C" int GetAllShareMode(void) {
  char* value = NUVGetConfigurationMA("SHARE-MODE");
  if (value == nullptr) return 1;  // share with every device admitted by the mode
  int mode = atoi(value);
  free(value);
  return mode;
}

extern "C" int DmsSendEventToUI(int event, const char* text1, const char* text2) {
  DmsUiEventHandler handler = gUiHandler.load();
  if (handler == nullptr) return 1;
  handler(event, text1 != nullptr ? text1 : "", text2 != nullptr ? text2 : "");
  return 0;
}

extern "C" void DmsSetUiEventHandler(DmsUiEventHandler handler) { gUiHandler.store(handler); }

extern "C" DmsRVFHook DmsGetRVFHook(void) {
  DmsRVFHook hook = gRVFHook.load();
  return hook != nullptr ? hook : declineEveryAction;
}

extern "C" void DmsSetRVFHook(DmsRVFHook hook) { gRVFHook.store(hook); }
