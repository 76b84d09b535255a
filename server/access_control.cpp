// Access control over the stack's ACL (see access_control.h). Every exported
// function logs its name followed by "  SUCCESS" (level 1) or "  Failed"
// (level 2) and returns 1 or 0.
#include "access_control.h"
#include "dms_mem_ptr.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

#include "dms_camera.h"
#include "dms_server.h"
#include "dms_string.h"
#include "export_guard.h"
#include "nuv_log.h"

namespace dms_server {
namespace {

constexpr size_t kDeviceNameBytes = 128;
constexpr size_t kMacAddressBytes = 18;  // six hex pairs with colons, and NUL

// Notifications arrive on the stack's threads and decisions on the
// application's: this lock makes the one-pending-device check and the
// buffers safe without changing any result. The UI event is sent after it is
// released, so a UI that answers at once (from any thread) cannot deadlock.
std::recursive_mutex gStateMutex;
int gAclActive = 0;
int gConfirmationPending = 0;
char gPendingDeviceName[kDeviceNameBytes];
char gPendingMacAddress[kMacAddressBytes];

int report(const char* function, bool ok) {
  if (ok)
    NUVPrintf(1, "%s  SUCCESS", function);
  else
    NUVPrintf(2, "%s  Failed", function);
  return ok ? 1 : 0;
}

using CText = DMSAppMemText;

// Copies one text of the notification: first into a DMSAppString, then into
// a plain buffer for logging and the UI. Logs the allocation failure with
// `stringName` or `textName` (and the source line) and returns null.
CText copyField(const char* text, const char* stringName, const char* textName, int line) {
  std::unique_ptr<DMSAppString> copy(new (std::nothrow) DMSAppString(text));
  if (!copy) {
    NUVPrintf(2, "[UPnPAppCDS] Memory allocation failed!!! for %s %d, %s", stringName, line,
              "DMSAclNotificationCallback");
    return nullptr;
  }
  CText plain(copy->GetString());
  if (!plain) {
    NUVPrintf(2, "[UPnPAppCDS] Memory allocation failed!!! for %s %d, %s", textName, line,
              "DMSAclNotificationCallback");
  }
  return plain;
}

void copyBounded(char* to, size_t size, const char* from) {
  std::memset(to, 0, size);
  std::strncpy(to, from, size - 1);
}

void notify(stNUVAppList* request) {
  NUVPrintf(1, "aclType = %d\n", HNuvDMSGetACLTYPE(request));
  NUVPrintf(1, "eventType = %d", HNuvDMSGetACLEventType(request));
  CText mac = copyField(HNuvDMSGetACLMacADDR(request), "macAddress", "pszMacAddress", __LINE__);
  CText ip = mac ? copyField(HNuvDMSGetACLIPAddr(request), "ipAddress", "pszIPAddress", __LINE__)
                 : nullptr;
  CText name =
      ip ? copyField(HNuvDMSGetACLDeviceName(request), "deviceName", "pszDeviceName", __LINE__)
         : nullptr;
  if (!name) {
    HNuvDMSReleaseUIRequestData(request);
    return;
  }
  NUVPrintf(1, "pszMacAddress = %s", mac.get());
  NUVPrintf(1, "pszIPAddress = %s", ip.get());
  NUVPrintf(1, "pszDeviceName = %s", name.get());
  HNuvDMSReleaseUIRequestData(request);

  char waitingName[kDeviceNameBytes];
  char waitingMac[kMacAddressBytes];
  bool first = false;
  {
    std::lock_guard<std::recursive_mutex> lock(gStateMutex);
    if (gConfirmationPending == 0) {
      first = true;
      gConfirmationPending = 1;
      copyBounded(gPendingMacAddress, sizeof gPendingMacAddress, mac.get());
      copyBounded(gPendingDeviceName, sizeof gPendingDeviceName, name.get());
      std::memcpy(waitingName, gPendingDeviceName, sizeof waitingName);
      std::memcpy(waitingMac, gPendingMacAddress, sizeof waitingMac);
    }
  }
  if (first) {
    NUVPrintf(1, "send to UI for comfirmation");
    DmsSendEventToUI(DMS_UI_EVENT_DEVICE_WAITING, waitingName, waitingMac);
  } else {
    NUVPrintf(1, "do thing\n");
  }
  NUVPrintf(1, "DMSNUVAclNotificationCallback() Exit");
}

}  // namespace

int aclActive() {
  std::lock_guard<std::recursive_mutex> lock(gStateMutex);
  return gAclActive;
}

int aclConfirmationPending() {
  std::lock_guard<std::recursive_mutex> lock(gStateMutex);
  return gConfirmationPending;
}

void setAclActive(int active) {
  std::lock_guard<std::recursive_mutex> lock(gStateMutex);
  gAclActive = active;
}

void clearConfirmationPending() {
  std::lock_guard<std::recursive_mutex> lock(gStateMutex);
  gConfirmationPending = 0;
}
const char* pendingDeviceName() { return gPendingDeviceName; }
const char* pendingDeviceMac() { return gPendingMacAddress; }

void resetAccessControlState() {
  std::lock_guard<std::recursive_mutex> lock(gStateMutex);
  gAclActive = 0;
  gConfirmationPending = 0;
  std::memset(gPendingDeviceName, 0, sizeof gPendingDeviceName);
  std::memset(gPendingMacAddress, 0, sizeof gPendingMacAddress);
}

}  // namespace dms_server

using dms_server::report;

extern "C" {

void DMSAclNotificationCallback(int /*connectionID*/, stNUVAppList* request) {
  NUVPrintf(1, "DMSNUVAclNotificationCallback() Enter");
  if (request == nullptr) {
    NUVPrintf(2, "[DMSAclNotificationCallback] no request");
    return;
  }
  dms_export::guardedVoid("DMSAclNotificationCallback", [request] { dms_server::notify(request); });
}

int DmsAppACLInitialize(void) {
  dms_server::clearConfirmationPending();
  const bool ok = NUVDmsACLInitialize(DMSGetConnectionID()) == 0;
  if (ok) dms_server::setAclActive(1);
  return report("DmsAppACLInitialize", ok);
}

int DmsAppACLTerminate(void) {
  dms_server::setAclActive(0);
  return report("DmsAppACLTerminate", NUVDmsACLTerminate(DMSGetConnectionID()) == 0);
}

int DmsAppACLSetMode(int mode) {
  return report("DmsAppACLSetMode", NUVDmsACLSetMode(DMSGetConnectionID(), mode) == 0);
}

int DmsAppACLAddDevNameFilterRule(const char* namePrefix, int flag, const char* rule) {
  const bool ok = namePrefix != nullptr && rule != nullptr &&
                  NUVDmsACLAddDevNameFilterRule(DMSGetConnectionID(), namePrefix, flag, rule) == 0;
  return report("DmsAppACLAddDevNameFilterRule", ok);
}

// The IP address and device name are fixed placeholders on purpose: with
// the pending-device kind the stack applies the decision to the device it
// last reported and ignores both.
int DmsAppACLAddEntry(int decision, int kind) {
  const bool ok =
      NUVDmsACLAddEntry(DMSGetConnectionID(), decision, kind, "1.1.1.1", "DEV_MELONG") == 0;
  dms_server::clearConfirmationPending();
  return report("DmsAppACLAddEntry", ok);
}

}  // extern "C"
