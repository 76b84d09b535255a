// The network-interface exception handler (see network_exceptions.h).
#include "network_exceptions.h"

#include "dms_server.h"
#include "export_guard.h"
#include "lifecycle_steps.h"
#include "nuv_log.h"

namespace dms_server {
namespace {

// The address the exception is about (owned by the exception), or null.
const char* exceptionAddress(stNUVAppList* exception) {
  char* address = nullptr;
  if (HNuvGetNICExceptionInfo(exception, &address) != 0 || address == nullptr) {
    NUVPrintf(2, "[DMSNetworkException] no interface address");
    return nullptr;
  }
  return address;
}

void dispatch(stNUVAppList* exception) {
  switch (HNuvGetTypeOfException(exception)) {
    case NUV_EXCEPTION_NIC_DOWN: {
      const char* address = exceptionAddress(exception);
      if (address != nullptr) stopHttpServer(address);
      break;
    }
    case NUV_EXCEPTION_NIC_UP: {
      const int port = DMSAppGetHTTPStreamingPort();
      if (port < 0) break;
      const char* address = exceptionAddress(exception);
      if (address != nullptr) startHttpServer(DMSAppGetDMSConnectionID(), address, port);
      break;
    }
    default:
      break;
  }
}

}  // namespace

void handleNetworkException(stNUVAppList* exception) {
  if (exception == nullptr) return;
  dms_export::guardedVoid("DMSNetworkException", [exception] { dispatch(exception); });
  HNuvReleaseExceptionResource(exception);
}

}  // namespace dms_server
