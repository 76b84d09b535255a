/* What the application on a Linux host adds to the camera platform: a handler
 * for the events a camera would show on its screen. The configuration key
 * "SHARE-MODE" sets GetAllShareMode's answer (default 1). */
#ifndef DMS_CAMERA_HOST_H
#define DMS_CAMERA_HOST_H

#ifdef __cplusplus
extern "C" {
#endif

/* Called on the thread that raised the event; the texts are valid only
 * during the call. */
typedef void (*DmsUiEventHandler)(int event, const char* text1, const char* text2);
void DmsSetUiEventHandler(DmsUiEventHandler handler);

#ifdef __cplusplus
}
#endif

#endif /* DMS_CAMERA_HOST_H */
