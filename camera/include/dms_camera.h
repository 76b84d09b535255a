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

#ifdef __cplusplus
}
#endif

#endif /* DMS_CAMERA_H */
