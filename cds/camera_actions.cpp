// Pending camera actions and the remote-viewfinder hook's respond function.
#include "camera_actions.h"

#include <mutex>
#include <new>

#include "action_info.h"
#include "app_cds.h"
#include "dms_list.h"
#include "nuv_log.h"

namespace dms_cds {
namespace {

struct PendingCameraAction {
  DMSAppActionInfo* actionInfo;
};

std::mutex gPendingMutex;
DMSCDSList gPending;  // of PendingCameraAction*, guarded by gPendingMutex

int deletePending(void* data) {
  auto* pending = static_cast<PendingCameraAction*>(data);
  delete pending->actionInfo;
  delete pending;
  return 0;
}

}  // namespace

void* openCameraAction(DMSAppActionInfo* actionInfo) {
  auto* pending = new (std::nothrow) PendingCameraAction{actionInfo};
  if (pending == nullptr) return nullptr;
  std::lock_guard<std::mutex> lock(gPendingMutex);
  if (gPending.AddItem(pending) != 0) {
    delete pending;
    return nullptr;
  }
  return pending;
}

DMSAppActionInfo* takeCameraAction(void* token) {
  if (token == nullptr) return nullptr;
  std::lock_guard<std::mutex> lock(gPendingMutex);
  // DeleteItem compares pointers only, so an unknown token is never touched.
  if (gPending.DeleteItem(token) != 1) return nullptr;
  auto* pending = static_cast<PendingCameraAction*>(token);
  DMSAppActionInfo* actionInfo = pending->actionInfo;
  delete pending;
  return actionInfo;
}

void respondToCameraAction(void* token, int resultCode) {
  DMSAppActionInfo* actionInfo = takeCameraAction(token);
  if (actionInfo == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__RVFProcessAction] Unknown or answered action token");
    return;
  }
  // A success carries no out-arguments, but an empty list rather than none:
  // the response generator refuses a missing list.
  UPnPAppCDS::GetInstance()->NotifyCommandResponse(resultCode, actionInfo,
                                                   new (std::nothrow) DMSCDSList(), 0);
  delete actionInfo;
}

void dropCameraActions() {
  std::lock_guard<std::mutex> lock(gPendingMutex);
  gPending.RemoveAllListItem(deletePending);
}

int pendingCameraActions() {
  std::lock_guard<std::mutex> lock(gPendingMutex);
  return gPending.Size();
}

}  // namespace dms_cds
