/* The camera's live-view producer as the media server's live-view handler
 * sees it: the operations that start, stop and tune the producer, and the
 * five process-wide semaphores of the one-slot frame hand-off.
 *
 * The hand-off: the producer puts a frame in the server's slot
 * (DMSLiveViewSetBufferPtr, dms_live_view_server.h) and posts
 * g_RVFsemBufferReady4Read; the server sends it and posts
 * g_RVFsemBufferReadComplete, after which the producer may reuse the
 * frame's memory. The first frame after CDSRVF_Mpegfunc_mpeg_start is the
 * stream's 224-byte header. Only one stream runs at a time.
 *
 * The semaphores are defined by the camera side; a null pointer means the
 * camera does not provide that one, and the server then neither waits on it
 * nor posts it.
 *
 * Thread safety: every operation may be called from any thread. */
#ifndef DMS_LIVE_VIEW_H
#define DMS_LIVE_VIEW_H

#include <semaphore.h>
#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

extern sem_t* g_RVFsemBufferReady4Read;   /* a frame is in the slot */
extern sem_t* g_RVFsemBufferReadComplete; /* the server has sent it */
extern sem_t* g_RVFsemSNInfo;             /* the small image's offset and size are set */
extern sem_t* g_RVFsemStreamQuality;      /* a quality change is applied */
extern sem_t* gMpegStopedSemaphore;       /* the encoder has stopped */

/* Starts the encoder; false when it cannot run (no source, already
 * running). */
bool CDSRVF_Mpegfunc_mpeg_start(void);
/* Asks a running encoder to stop: true when it will, and then
 * gMpegStopedSemaphore is posted once it has; false when none runs. */
bool CDSRVF_Mpegfunc_mpeg_stop(void);
/* 1 QVGA (320x240), 0 full size (640x480), for the next start; posts
 * g_RVFsemStreamQuality when applied. False for any other value. */
bool CDSRVF_Sysfunc_setStreamQuality(int quality);
/* Whether a stream is running (a quality change then needs a stop and a
 * restart), and its override. */
bool CDSRVF_Sysfunc_get_Isvideo_hotswap(void);
bool CDSRVF_Sysfunc_set_Isvideo_hotswap(bool running);
/* The consumer stopped taking frames. */
bool CDSRVF_Sysfunc_set_Streaming_stop_status(bool stopped);
/* An event towards the camera application (55: the live-view connection
 * ended with no stream running); `data` may be NULL with `length` 0. */
#define DMS_RVF_EVENT_STREAM_ENDED 55
bool CDSRVF_Sysfunc_send_RVF_async_event(int event, char* data, int length);
/* Asks for the small image of the photo `name`: on true the producer has set
 * its offset and size (DMSLiveViewSetSNInfo) and posted g_RVFsemSNInfo;
 * false when the photo has none. */
bool CDSRVF_req_ScreenNailInfo(const char* name);

#ifdef __cplusplus
}
#endif

#endif /* DMS_LIVE_VIEW_H */
