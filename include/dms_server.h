/* Exported lifecycle, configuration and access-control functions of the media
 * server, for the camera application (C linkage).
 *
 * Results: 1 for success and 0 for failure unless a function says otherwise.
 * Functions whose names end in MA (and DMSAppGetDMSSharedFilePath) return a
 * new DMSAppString the caller deletes.
 *
 * Threads: the lifecycle functions are called from the application's control
 * thread, one at a time. The settings are plain process-wide values written
 * during initialisation and read afterwards from any thread. */
#ifndef DMS_SERVER_H
#define DMS_SERVER_H

#ifdef __cplusplus
class DMSAppString;
extern "C" {
#else
typedef struct DMSAppString DMSAppString;
#endif

typedef struct DMSAppInitInfo {
  const char* dbPath;         /* may be NULL */
  const char* thumbsFilePath; /* may be NULL */
  const char* sharedFilePath; /* may be NULL */
  const char* descriptionDir; /* description files, also given to the stack */
  int httpStreamingPort;
} DMSAppInitInfo;

typedef enum DLNADMS_DESCRIOPTION_TYPE {
  DLNADMS_DEVICE_DESCRIPTION = 0,
  DLNADMS_CONTENT_DIRECTORY_DESCRIPTION = 1,
  DLNADMS_CONNECTION_MANAGER_DESCRIPTION = 2
} DLNADMS_DESCRIOPTION_TYPE;

/* ---- Lifecycle ---------------------------------------------------------- */
int DMSAppInitialize(int* outConnectionID, DMSAppInitInfo* info);
/* Starts the stack and then access control. `aclMode` is the access mode
 * (NUV_ACL_MODE_... of nuv_dms.h: 0 all, 1 listed, 2 none, 3 all but
 * refused, 4 ask), used when the share mode is "all" (else 4); `maxAge`
 * is the SSDP max-age in seconds (0 for 1800) and `stackFlags` is passed to
 * NUVDMSStart as is (reserved, 0). 1 when the stack started, 0 otherwise.
 * Devices whose name begins with "TLX_HHP_" are admitted by a name rule
 * added here; a name is not a credential (any client may send it). */
int DMSAppStart(int aclMode, int maxAge, int stackFlags);
int DMSAppStop(void);
/* Returns the stack's NUVDMSTerminate result (1 success). */
int DMSAppTerminate(void);
/* DMSAppStopTimerThread is declared in dms_platform.h. */

/* ---- Settings ----------------------------------------------------------- */
int DMSGetConnectionID(void);
void DMSAppSetDMSConnectionID(unsigned int id);
int DMSAppGetDMSConnectionID(void);
void DMSAppSetDBPathMA(const char* path);
void DMSAppSetThumbsFilePathMA(const char* path);
void DMSAppSetDMSSharedFilePath(const char* path);
DMSAppString* DMSAppGetDBPathMA(void);
DMSAppString* DMSAppGetThumbsFilePathMA(void);
DMSAppString* DMSAppGetDMSSharedFilePath(void);
void DMSAppSetHTTPStreamingPort(int port);
int DMSAppGetHTTPStreamingPort(void);

/* ---- Services while running --------------------------------------------- */
DMSAppString* DMSAppDMSGetClientInterfaceIPAddressMA(const char* clientIP);
DMSAppString* DMSAppGetStateVariableValue(const char* serviceType, const char* variableName);
int DMSAppSendTransferIDEvent(DMSAppString* transferIDs);
int DmsSetFriendlyName(const char* descriptionDir, const char* modelName);
/* Re-announces the device on the network: `count` alive rounds (0 for one)
 * with `maxAge` seconds (0 for the default); the first value is not used.
 * 1 on success, 0 on failure. */
int DMSAppSendAliveTemporary(int unused, int count, int maxAge);
int DMSDeleteMediaDB(const char* path);
/* A new 512-byte buffer "kind$id" (release with DMSAppMemFree), or NULL. */
char* DMSGetItemObjectID(const char* filePath);
void NUVSetDefaultContainer(int image, int audio, int video);
typedef void (*DMSHttpConnectionRequestCallback)(int profile, int connection);
void DMSSetHttpConnectionRequestCallback(DMSHttpConnectionRequestCallback callback);
int DMSStopHttpTransfer(int profile, int connection);
const char* DMSGetDeviceDescriptionFilename(DLNADMS_DESCRIOPTION_TYPE type);
int DMSAppCheckFileState(const char* descriptionDir);

/* ---- Access control ----------------------------------------------------- */
int DmsAppACLInitialize(void);
int DmsAppACLTerminate(void);
int DmsAppACLSetMode(int mode);
int DmsAppACLAddDevNameFilterRule(const char* namePrefix, int flag, const char* rule);
/* The user's answer about the device that waits: `decision`
 * (NUV_ACL_ADMIT, NUV_ACL_REFUSE of nuv_dms.h) and the entry `kind`
 * (NUV_ACL_ENTRY_PENDING: the device last reported). 1 on success. */
int DmsAppACLAddEntry(int decision, int kind);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* DMS_SERVER_H */
