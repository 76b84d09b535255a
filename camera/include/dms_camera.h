/* The camera platform as the media server sees it: the sharing setting, events
 * to the camera's user interface, and the remote-viewfinder action hook.
 *
 * Thread safety: every function may be called from any thread. */
#ifndef DMS_CAMERA_H
#define DMS_CAMERA_H

#ifdef __cplusplus
extern "C" {
#endif

/* The camera's sharing setting: 1 shares with every device (the application's
 * access-control mode applies), 2 shares for a TV (fewer metadata fields,
 * frame rates in res), any other value shares only with confirmed devices. */
int GetAllShareMode(void);

/* UI events. Event 7: a device waits for the user's decision; `text1` is its
 * name and `text2` its MAC address. Returns 0 when delivered. */
#define DMS_UI_EVENT_DEVICE_WAITING 7
int DmsSendEventToUI(int event, const char* text1, const char* text2);

/* Remote-viewfinder actions (camera control through ContentDirectory action
 * names the server does not know). The hook is offered the action name and
 * may take the action: it returns non-zero when it did, and then answers it
 * later through the `respond` function it was given, exactly once, with a
 * result code (0 success, answered with no out-arguments; 801-804 camera
 * errors). The default hook declines every action. */
typedef void (*DmsRVFRespond)(void* token, int resultCode);
typedef int (*DmsRVFHook)(const char* actionName, const char* ipAddress, void* token,
                          DmsRVFRespond respond);
/* The hook in force; never NULL (the default declines). */
DmsRVFHook DmsGetRVFHook(void);
/* Installs a hook; NULL restores the default. */
void DmsSetRVFHook(DmsRVFHook hook);

/* ---- JPEG and movie information ----------------------------------------
 * The one JPEG/EXIF/Multi-Picture-Format reader of the system: the scanner
 * registers photos with it and the server serves thumbnails through it.
 * Offsets are absolute byte offsets from the start of the file. Functions
 * return 0 on success and non-zero when the file cannot be read or is not a
 * JPEG (outputs are then zero-filled). */
typedef struct ASLWifiJpegMainInfo {
  int width; /* of the primary image (SOF), 0 when unknown */
  int height;
  int baseline;    /* 1 for a sequential Huffman (SOF0/SOF1) primary image */
  int orientation; /* EXIF orientation, 0 when absent */
  /* EXIF DateTimeOriginal (else DateTime) as "YYYY-MM-DDTHH:MM:SS"; "" when
   * absent or malformed. */
  char date[20];
  char title[256];       /* EXIF XPTitle in UTF-8, "" when absent */
  char description[512]; /* EXIF ImageDescription, blanks trimmed */
} ASLWifiJpegMainInfo;

/* An embedded picture: present is 0 when there is none (then the other
 * fields are 0). width/height come from the picture's own SOF. */
typedef struct ASLWifiJpegPicture {
  int present;
  long long offset;
  long long length;
  int width;
  int height;
} ASLWifiJpegPicture;

/* Reads the file once and fills whichever outputs are not NULL. */
int ASLWifi_getJpegInfo(const char* path, ASLWifiJpegMainInfo* mainInfo,
                        ASLWifiJpegPicture* screennail, ASLWifiJpegPicture* thumbnail);
int ASLWifi_getJpegMainInfo(const char* path, ASLWifiJpegMainInfo* info);
/* The largest "Large Thumbnail" image of the MPF APP2 segment. */
int ASLWifi_getJpegScreennailInfo(const char* path, ASLWifiJpegPicture* screennail);
/* The EXIF (IFD1) JPEG thumbnail; a missing, empty, non-JPEG or
 * out-of-file thumbnail is reported as not present. */
int ASLWifi_getJpegThumbnaillInfo(const char* path, ASLWifiJpegPicture* thumbnail);

/* Largest side of the pictures rendered below. */
#define ASLWIFI_THUMB_MAX_SIDE 160
/* A JPEG picture of a representative frame of the movie at `path`, at most
 * 160x160 keeping the aspect ratio, in a new malloc'd buffer (*buffer,
 * *size; release with free or DMSAppMemFree). Rendered pictures are cached
 * in the folder of the configuration key "THUMBNAIL-CACHE-DIR" (when set),
 * keyed by path, size and modification time, so a second request decodes
 * nothing. 0 on success. */
int ASLWifi_getMovieThumbBuffer(const char* path, char** buffer, unsigned int* size);
/* The same for a JPEG photo without an embedded thumbnail: the photo decoded
 * at a reduced scale and re-encoded. */
int ASLWifi_getJpegThumbBuffer(const char* path, char** buffer, unsigned int* size);
/* Removes the cached pictures rendered for the file at `path` (call it while
 * the file still exists: the cache is keyed by its size and time). 0, or 1
 * for a null path. */
int ASLWifi_removeThumbBuffers(const char* path);
/* The width and height a rendered thumbnail of a width x height picture
 * gets (the longer side 160, never enlarged, at least 1). */
void ASLWifi_thumbSize(int width, int height, int* thumbWidth, int* thumbHeight);

#ifdef __cplusplus
}
#endif

#endif /* DMS_CAMERA_H */
