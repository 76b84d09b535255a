// Camera actions handed to the remote-viewfinder hook and not yet answered.
// The hook gets a token per action; answering through the token ends the
// action once, and a token that was answered (or dropped) is refused.
//
// Thread safety: every function may be called from any thread.
#ifndef DMS_CDS_CAMERA_ACTIONS_H
#define DMS_CDS_CAMERA_ACTIONS_H

class DMSAppActionInfo;

namespace dms_cds {

// Registers `actionInfo` (owned from now on) and returns its token, or null
// when memory runs out (the record then stays with the caller).
void* openCameraAction(DMSAppActionInfo* actionInfo);
// Unregisters the token and hands its record back; null when the token was
// already answered or dropped.
DMSAppActionInfo* takeCameraAction(void* token);
// The hook's respond function: ends the action with `resultCode` (0 success
// with no out-arguments; 801-804 camera errors) through
// UPnPAppCDS::NotifyCommandResponse. An unknown token is logged and ignored.
void respondToCameraAction(void* token, int resultCode);
// Deletes every pending record without answering (service teardown).
void dropCameraActions();
// Number of pending camera actions.
int pendingCameraActions();

}  // namespace dms_cds

#endif  // DMS_CDS_CAMERA_ACTIONS_H
