/* What the application on a Linux host adds to the camera platform: a handler
 * for the events a camera would show on its screen, and the live view's
 * source and last photo. The configuration key "SHARE-MODE" sets
 * GetAllShareMode's answer (default 1). */
#ifndef DMS_CAMERA_HOST_H
#define DMS_CAMERA_HOST_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Called on the thread that raised the event; the texts are valid only
 * during the call. */
typedef void (*DmsUiEventHandler)(int event, const char* text1, const char* text2);
void DmsSetUiEventHandler(DmsUiEventHandler handler);

/* The live view's picture source: "test" (a moving test picture with the
 * time on it), a V4L2 device ("/dev/videoN") or a video file; NULL or ""
 * for none (the live-view URLs then answer 503). The source is opened once
 * to check it. 0 on success; else 1 with a one-line reason in `error`. */
int DmsLiveViewSetSource(const char* source, char* error, size_t errorSize);
/* Ends a running live-view stream and waits for its thread (call it before
 * the media server is terminated). */
void DmsLiveViewShutdown(void);
/* A photo was registered: it becomes the last photo, whose small image the
 * live view serves. 0 when taken; 1 for a file that is not a readable
 * JPEG or whose small image cannot be written. The small images go to the
 * folder of the configuration key "LAST-PHOTO-DIR" ("/b" by default). */
int DmsLiveViewPhotoRegistered(const char* path);

#ifdef __cplusplus
}
#endif

#endif /* DMS_CAMERA_HOST_H */
