// Access control: the state behind the DmsAppACL... functions of
// dms_server.h and slot 4 of the stack's callback table.
//
// Threads: notifications arrive on the stack's thread and the user's answer
// (DmsAppACLAddEntry) comes from the application's thread. The flags and
// buffers are plain process-wide values, not locked; the one-pending rule is
// the only serialisation between the two.
#ifndef DMS_SERVER_ACCESS_CONTROL_H
#define DMS_SERVER_ACCESS_CONTROL_H

#include "nuv_dms.h"

extern "C" {
// Slot 4: a device the access mode does not admit yet. Passes the first such
// device to the camera UI (event 7 with its name and MAC address) and drops
// the others until the user's answer (DmsAppACLAddEntry) or a
// re-initialisation. Always releases `request` (HNuvDMSReleaseUIRequestData).
void DMSAclNotificationCallback(int connectionID, stNUVAppList* request);
}

namespace dms_server {

// 1 after a successful DmsAppACLInitialize, 0 after DmsAppACLTerminate.
int aclActive();
// 1 while a device waits for the user's decision.
int aclConfirmationPending();
// The waiting device's name (at most 127 bytes) and MAC address (at most 17),
// NUL-terminated; valid until the next notification.
const char* pendingDeviceName();
const char* pendingDeviceMac();

// Both flags to 0 and both buffers emptied, without the stack. For tests.
void resetAccessControlState();

}  // namespace dms_server

#endif  // DMS_SERVER_ACCESS_CONTROL_H
