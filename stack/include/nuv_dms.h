/* The device side of the UPnP/DLNA stack, as the media server sees it:
 * lifecycle, actions, state variables and eventing, announcements, friendly
 * name, network interfaces and their exceptions, and access control.
 *
 * Conventions: functions return 0 for success and non-zero for failure,
 * except NUVDMSTerminate (1 success, 0 failure). Strings returned through an
 * out-pointer by the HNuv... accessors belong to the request or exception
 * they came from and stay valid until it is released. Strings returned by
 * functions whose names end in MA, and state-variable values, are malloc'd
 * copies the caller releases with DMSAppMemFree (free).
 *
 * Threads: callbacks arrive on the stack's own threads; every function here
 * may be called from any thread.
 *
 * Linking: libdmsstack defines these functions. libdms, libdmscamera and
 * libdmsscanner call them without linking libdmsstack, on purpose: the
 * executable links the stack they run on (dmsd the real one, the unit tests
 * the fakes of tests/fakes, which keep the network out of them). A program
 * that loads those libraries must therefore link or load a stack first. */
#ifndef NUV_DMS_H
#define NUV_DMS_H

#include "nuv_list.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Callback table ------------------------------------------------------
 * Slot 1 receives every ContentDirectory action: `request` is valid until the
 * server calls HNuvDMSReleaseUIRequestData on it, and the server answers the
 * action exactly once with NUVDMSSendResponse(connectionID, actionID, body),
 * from any thread. Slot 2 is unused (NULL). Slot 3 receives network
 * exceptions (an interface's address appeared or went away); the server
 * releases the handle with HNuvReleaseExceptionResource. Slot 4 receives
 * access-control notifications about a device the mode does not admit yet;
 * the server releases them with HNuvDMSReleaseUIRequestData. */
typedef void (*NUVDMSActionCallback)(int connectionID, int actionID, stNUVAppList* request);
typedef void (*NUVDMSReservedCallback)(void);
typedef void (*NUVDMSExceptionCallback)(stNUVAppList* exception);
typedef void (*NUVDMSAclCallback)(int connectionID, stNUVAppList* request);

typedef struct stNUVDMSCallbacks {
  NUVDMSActionCallback actionCallback;       /* 1 */
  NUVDMSReservedCallback reserved;           /* 2, NULL */
  NUVDMSExceptionCallback exceptionCallback; /* 3 */
  NUVDMSAclCallback aclCallback;             /* 4 */
} stNUVDMSCallbacks;

/* ---- Lifecycle ----------------------------------------------------------- */

/* Keeps a copy of the callback table and the description directory (which
 * holds DeviceDescription.xml, ContentDirectory_1.xml, ConnectionManager_1.xml
 * and the icons) and writes a connection ID (>= 0) through `connectionID`. */
int NUVDMSInitialize(const stNUVDMSCallbacks* callbacks, const char* descriptionDir,
                     int* connectionID);
/* Starts UPnP on the configured interface or address, registers the root
 * device and announces it. `maxAge` is the SSDP max-age in seconds (0 for
 * the default of 1800) and `flags` is reserved (0). */
int NUVDMSStart(int connectionID, int maxAge, int flags);
/* Sends byebye and stops UPnP; the device can be started again. Actions
 * still waiting for an answer are answered 501. Not to be called from a
 * callback of the stack. */
int NUVDMSStop(int connectionID);
/* Releases everything NUVDMSInitialize kept. 1 on success, 0 on failure. */
int NUVDMSTerminate(int connectionID);
/* Re-announces the device: `count` alive rounds (0 for one) with `maxAge`
 * (0 for the default). */
int NUVDMSSendAliveTemporary(int connectionID, int count, int maxAge);
/* Rewrites friendlyName in the device description file at `descriptionPath`
 * (atomically; every other byte is kept). A running device announces the new
 * name from its next NUVDMSStart. */
int NUVSetDeviceName(const char* descriptionPath, const char* name);

/* Where the stack serves: an explicit IPv4 address (127.0.0.1 works) or an
 * interface name. Set before NUVDMSStart; the last call wins. Without either
 * the stack serves on 127.0.0.1 only. Network exceptions (callback 3) are
 * raised only for that address, or for that interface's addresses. */
int NUVDMSSetBindAddress(const char* address);
int NUVDMSSetBindInterface(const char* interfaceName);

/* The TCP port of the UPnP server (description, SOAP control, eventing):
 * 0, the default, takes the first free one from 49152 on. Set before
 * NUVDMSStart. 1 for a value outside 0..65535. */
int NUVDMSSetPort(int port);
/* How long a delivered action waits for NUVDMSSendResponse before it is
 * answered 501 (default 30000 ms). 1 for a value <= 0. */
int NUVDMSSetActionTimeout(int milliseconds);
/* The description URL announced in SSDP LOCATION while the device is
 * started ("http://ADDRESS:PORT/DeviceDescription.xml"), malloc'd for
 * DMSAppMemFree; NULL otherwise. */
char* NUVDMSGetDescriptionURLMA(int connectionID);

/* ---- Actions ------------------------------------------------------------- */

int HNuvDMSGetActionName(stNUVAppList* request, char** name);
/* The control point's IPv4 address in dotted form. */
int HNuvDMSGetCPIPAddress(stNUVAppList* request, char** ipAddress);
/* The in-arguments in message order: a list of stNUVArgument. */
int HNuvDMSGetActionArgumentList(stNUVAppList* request, stNUVAppList** arguments);
/* Releases an action request or an access-control notification. */
int HNuvDMSReleaseUIRequestData(stNUVAppList* request);
/* Answers an action. `body` is the SOAP body content without the envelope:
 * either "<u:ActionResponse ...>...</u:ActionResponse>" or an "<s:Fault>"
 * whose errorCode and errorDescription become the UPnP error. */
int NUVDMSSendResponse(int connectionID, int actionID, const char* body);

/* ---- State variables ----------------------------------------------------- */

/* `serviceType` without version, e.g. "urn:schemas-upnp-org:service:
 * ContentDirectory". *value receives a malloc'd copy. */
int NUVDMSGetStateVariableValue(int connectionID, const char* serviceType, const char* name,
                                char** value);
/* Stores the value and events it to subscribers (SystemUpdateID and
 * ContainerUpdateIDs at most once every 2 s, carrying the latest value). */
int NUVDMSUpdateStateVariableValue(int connectionID, const char* serviceType, const char* name,
                                   const char* value);

/* ---- Network interfaces and exceptions ----------------------------------- */

/* Exception types of callback 3. */
#define NUV_EXCEPTION_NIC_UP 2   /* an interface address appeared */
#define NUV_EXCEPTION_NIC_DOWN 3 /* an interface address went away */

int HNuvGetTypeOfException(stNUVAppList* exception);
/* The IPv4 address of the interface the exception is about. */
int HNuvGetNICExceptionInfo(stNUVAppList* exception, char** address);
void HNuvReleaseExceptionResource(stNUVAppList* exception);

/* The local IPv4 address facing `clientIP`, malloc'd, or NULL. */
char* NUVUtilGetInterfaceIPAddress(const char* clientIP);
/* The up IPv4 interfaces: *response receives a list to read with the two
 * HNUV accessors and release with NUVReleaseNetworkInterfaceList. */
int NUVGetNetworkInterfaceList(stNUVAppList** response);
int HNUVGetNoOfNetworkInterfaceFromResponse(stNUVAppList* response);
/* Interface `index` (from 0): its name and dotted IPv4 address, owned by the
 * response. */
int HNUVGetNetworkInfoFromResponse(stNUVAppList* response, int index, char** name, char** address);
void NUVReleaseNetworkInterfaceList(stNUVAppList* response);

/* ---- Access control -------------------------------------------------------
 * The stack admits or refuses each client device (by IP, and by MAC where the
 * ARP table has it). A refused request gets SOAP fault 606 or HTTP 403.
 * Modes:
 *   0 NUV_ACL_MODE_ALLOW_ALL      every device is admitted;
 *   1 NUV_ACL_MODE_ALLOW_LISTED   only admitted entries and "+" name rules;
 *   2 NUV_ACL_MODE_DENY_ALL       nobody but "+" name rules;
 *   3 NUV_ACL_MODE_DENY_LISTED    everyone but refused entries and "-" rules;
 *   4 NUV_ACL_MODE_CONFIRM        admitted entries and "+" rules pass; the
 *                                 first request of any other device is refused
 *                                 and reported to callback 4 for the user's
 *                                 decision, later ones refused silently until
 *                                 an entry is added. One device waits at a
 *                                 time: while one waits, other unknown devices
 *                                 are refused silently and reported on a
 *                                 request after the decision.
 * An entry (matched by MAC when both it and the request have one, else by
 * IP) decides before the name rules; a refusing entry refuses in every mode
 * but 0, an admitting one admits in modes 1, 3 and 4.
 * Name rules match the start of the device name (User-Agent or
 * X-AV-Client-Info); rule "+" admits, "-" refuses; `flag` is reserved (0).
 * A request is named by its own headers; one without either header carries
 * the name last seen from its IP, and a device never seen with one has no
 * name (""). */
#define NUV_ACL_MODE_ALLOW_ALL 0
#define NUV_ACL_MODE_ALLOW_LISTED 1
#define NUV_ACL_MODE_DENY_ALL 2
#define NUV_ACL_MODE_DENY_LISTED 3
#define NUV_ACL_MODE_CONFIRM 4

/* AddEntry decisions and kinds. Kind NUV_ACL_ENTRY_PENDING applies the
 * decision to the device last reported to callback 4 (the IP and name
 * arguments are then ignored); kind NUV_ACL_ENTRY_BY_IP to the device with
 * that IP. */
#define NUV_ACL_REFUSE 0
#define NUV_ACL_ADMIT 1
#define NUV_ACL_ENTRY_PENDING 0
#define NUV_ACL_ENTRY_BY_IP 1

int NUVDmsACLInitialize(int connectionID);
int NUVDmsACLTerminate(int connectionID);
int NUVDmsACLSetMode(int connectionID, int mode);
int NUVDmsACLAddDevNameFilterRule(int connectionID, const char* namePrefix, int flag,
                                  const char* rule);
int NUVDmsACLAddEntry(int connectionID, int decision, int kind, const char* ipAddress,
                      const char* deviceName);

/* Accessors of an access-control notification (callback 4). The strings are
 * owned by the notification. */
int HNuvDMSGetACLTYPE(stNUVAppList* request);            /* the mode in force */
int HNuvDMSGetACLEventType(stNUVAppList* request);       /* 1: a device waits */
const char* HNuvDMSGetACLMacADDR(stNUVAppList* request); /* "" when unknown */
const char* HNuvDMSGetACLIPAddr(stNUVAppList* request);
const char* HNuvDMSGetACLDeviceName(stNUVAppList* request);

#ifdef __cplusplus
}
#endif

#endif /* NUV_DMS_H */
