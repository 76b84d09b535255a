/* The live-view handler's process-wide state, as the camera side and the
 * host application set it (the static members of RVFStreamingThruGet).
 *
 * Thread safety: every function may be called from any thread. */
#ifndef DMS_LIVE_VIEW_SERVER_H
#define DMS_LIVE_VIEW_SERVER_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The frame ready to send: `frame` stays the caller's and must stay valid
 * until g_RVFsemBufferReadComplete is posted for it. */
void DMSLiveViewSetBufferPtr(void* frame, long long size);
/* Offset and size of the small image inside its file (signed 32 bits). */
void DMSLiveViewSetSNInfo(long offset, long size);
void DMSLiveViewSetStreamingStop(bool stop);
/* Ends the stream: the sender sends the frame in the slot as the last piece
 * and a sender waiting for a frame wakes up. */
void DMSLiveViewStopStreaming(void);
void DMSLiveViewPauseStreaming(void);
void DMSLiveViewResumeStreaming(void);
bool DMSLiveViewIsPaused(void);

/* The photo just taken: its small image is served at "/" + name + "_SM".
 * 0 on success, 1 for NULL or an empty name, or a name with '/'. */
int DMSLiveViewSetLastTakenPhotoName(const char* name);

#ifdef __cplusplus
}
#endif

#endif /* DMS_LIVE_VIEW_SERVER_H */
