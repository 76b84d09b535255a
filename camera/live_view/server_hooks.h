// The media server's live-view functions (dms_live_view_server.h) as the
// camera library reaches them. libdms loads this library (through the
// scanner), so the camera cannot link libdms back: the references are weak,
// bound when libdms is in the process, as it always is when a stream runs.
// Each call below does nothing without libdms (a test of the sources alone).
#ifndef DMS_CAMERA_LIVE_VIEW_SERVER_HOOKS_H
#define DMS_CAMERA_LIVE_VIEW_SERVER_HOOKS_H

#include "dms_live_view_server.h"

#pragma weak DMSLiveViewSetBufferPtr
#pragma weak DMSLiveViewSetSNInfo
#pragma weak DMSLiveViewIsPaused
#pragma weak DMSLiveViewSetLastTakenPhotoName

namespace dms_camera {

inline void serverSetBufferPtr(void* frame, long long size) {
  if (&DMSLiveViewSetBufferPtr != nullptr) DMSLiveViewSetBufferPtr(frame, size);
}
inline void serverSetSNInfo(long offset, long size) {
  if (&DMSLiveViewSetSNInfo != nullptr) DMSLiveViewSetSNInfo(offset, size);
}
inline bool serverIsPaused() { return &DMSLiveViewIsPaused != nullptr && DMSLiveViewIsPaused(); }
inline int serverSetLastTakenPhotoName(const char* name) {
  return &DMSLiveViewSetLastTakenPhotoName != nullptr ? DMSLiveViewSetLastTakenPhotoName(name) : 1;
}

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_SERVER_HOOKS_H
