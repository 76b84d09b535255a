/* The content engine: the flat API through which the ContentDirectory side
 * and the camera application reach the content store. Most requests are
 * answered asynchronously through the registered response callback, always
 * on the engine's own worker thread.
 *
 * Thread safety: every function may be called from any thread. */
#ifndef DMS_CONTENT_ENGINE_H
#define DMS_CONTENT_ENGINE_H

#ifdef __cplusplus
class DMSAppString;
class DMSCDSList;
#endif

/* Response types raised by the engine. */
typedef enum NUVCDSWL_RES_TYPE {
  NUVCDSWL_RES_PASS_THROUGH = 0,
  NUVCDSWL_RES_CONTENT_CREATED = 1, /* what type 10 is forwarded as */
  NUVCDSWL_RES_CONTENT_DESTROYED = 2,
  NUVCDSWL_RES_UPLOAD_REGISTERED = 3,
  NUVCDSWL_RES_CONTENTS = 6,          /* a batch of records */
  NUVCDSWL_RES_CONTENT = 7,           /* whether one content exists (NUVCEGetContent) */
  NUVCDSWL_RES_CONTENT_RESERVED = 10, /* an ID was reserved for a new object */
  NUVCDSWL_RES_UPLOAD_CHECK = 11,
  NUVCDSWL_RES_EXISTENCE_CHECK = 12,
  NUVCDSWL_RES_STOP_TRANSFER = 13,    /* raised by the resource actions themselves */
  NUVCDSWL_RES_TRANSFER_PROGRESS = 14 /* likewise */
} NUVCDSWL_RES_TYPE;

/* 0 success, 1 failure. */
typedef enum NUVCDSWL_RES_RESULT {
  NUVCDSWL_RES_SUCCESS = 0,
  NUVCDSWL_RES_FAILURE = 1
} NUVCDSWL_RES_RESULT;

#ifdef __cplusplus
class ContainerEventListener;
class ContainerPublicInfo;
class ContentsEnumeratorArgument;

/* The one process-wide response slot. Called on the engine's worker thread,
 * in request order. `text` and `list` are lent for the call, except that the
 * record list of type 6 becomes the receiver's (release it with
 * freeRecordList of content/record_list.h; it may be null).
 *
 * What each type carries:
 *   1  content created (type 10 as forwarded): result 0 with text = the new
 *      content ID and list = [DMSAppString* ID, ContentsEnumeratorArgument*
 *      record]; result 1 with neither;
 *   2  content destroyed: result only (list null);
 *   6  listing: list = record list, or null when the page could not be read;
 *   7  content lookup: result, text = the content ID asked for;
 *   11 upload check: result 0 when a created object has that import URI;
 *   12 existence check: result 0 when a resource has that URI. */
typedef void (*NUVCDSWLResponseCallback)(int requestID, NUVCDSWL_RES_TYPE type,
                                         NUVCDSWL_RES_RESULT result, int value, DMSAppString* text,
                                         DMSCDSList* list);

/* Sets the slot (the last registration wins); 0. */
int NUVCERegisterResponseCallback(NUVCDSWLResponseCallback callback);
/* Clears the slot; 0. */
int NUVCEDeregisterResponseCallback();
/* The registered callback, or null. */
NUVCDSWLResponseCallback NUVCEGetResponseCallback();

/* Delivers one answer of the store to the registered callback after the
 * bookkeeping its type asks for (temporary contents for types 2, 3 and 10;
 * type 10 is forwarded as type 1). Unknown types are logged and dropped;
 * without a callback nothing is sent (a type-6 list is then released here).
 * `text` and `list` stay the caller's, except a type-6 list. */
void NotifyCDSWLResponse(int requestID, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result,
                         int value, DMSAppString* text, DMSCDSList* list);

/* ---- Lifecycle ----------------------------------------------------------
 * Initialize opens the database connector (if not yet open), creates the
 * container tree (and with it the temporary contents) and starts the worker
 * thread; 0, or 1 when the thread cannot start. Terminate runs the requests
 * already queued, stops the thread and destroys the tree (and the temporary
 * contents); 0. The connector stays: MultiMediaDbConnector::DestroyInstance
 * follows separately. Neither may be called from the engine's own thread (a
 * response callback). */
int NUVCEInitializeWrapper();
int NUVCETerminateWrapper();

/* ---- Synchronous requests ----------------------------------------------
 * Arguments are lent for the call; DMSAppString* results are new (delete),
 * ContainerPublicInfo* results are new (delete). */
int NUVCEGetContainerTotalMatches(DMSAppString* containerID, unsigned int requestID);
ContainerPublicInfo* NUVCEGetFirstContainer(unsigned int requestID);
ContainerPublicInfo* NUVCEGetNextContainer(unsigned int requestID, DMSAppString* afterID);
ContainerPublicInfo* NUVCEGetContainerInfo(unsigned int requestID, DMSAppString* containerID);
DMSAppString* NUVCEGetContentMIMEType(DMSAppString* fullPath);
/* The new container's ID, or null. */
DMSAppString* NUVCECreateContainer(unsigned int requestID, DMSAppString* parentID,
                                   DMSAppString* name, DMSAppString* upnpClass);
/* Ends the temporary life of the created object whose file is at `path`
 * (its upload completed): returns a copy of its content ID, or null when no
 * created object waits for that path. */
DMSAppString* NUVCERegisterUploadedContent(unsigned int requestID, DMSAppString* containerID,
                                           DMSAppString* path);
/* 0 when an object with that import URI took the transfer ID, else 1. */
int NUVCESetCreatedContentTransferID(DMSAppString* importURI, unsigned int transferID);
/* 1 when registered (the listener's GetListenerID() then names it), 0 for
 * null. */
int NUVCERegisterContainerEventListener(ContainerEventListener* listener);
int NUVCEDeregisterContainerEventListener(unsigned int listenerID);
/* Bit 0 image, bit 1 audio, bit 2 video: which media containers the basic
 * view offers. 0, or 1 for a value outside 0..7. */
int NUVCESetDefaultContainer(int mask);
/* The X_GetFeatureList document, new; null without an engine. */
DMSAppString* NUVCEGetBasicViewInfomationMA();

/* ---- Asynchronous requests ---------------------------------------------
 * Queued and run in order on the engine's thread, which answers each through
 * the callback. Arguments are copied (NUVCECreateContent takes the record).
 * 0 when queued; 1 when refused (no engine, unknown container, null
 * arguments, or a full queue), and then no answer will come. */
int NUVCEGetContents(unsigned int requestID, DMSAppString* containerID, unsigned int start,
                     unsigned int count, bool flag);
int NUVCEGetContent(unsigned int requestID, DMSAppString* containerID, DMSAppString* id, bool flag);
/* One listed item by its content ID, answered as a batch (response type 6)
 * holding that record, or no record when the container does not list it. */
int NUVCEGetContentRecord(unsigned int requestID, DMSAppString* containerID, DMSAppString* id);
int NUVCEDestroyContent(unsigned int requestID, DMSAppString* containerID, DMSAppString* id);
/* Takes ownership of `record` (also when refused). Its MIME type is set from
 * its file path; it becomes a temporary content once its ID is reserved. */
int NUVCECreateContent(unsigned int requestID, DMSAppString* containerID,
                       ContentsEnumeratorArgument* record);
int NUVCECheckContentForUpload(unsigned int requestID, DMSAppString* importURI);
int NUVCECheckContentExistence(unsigned int requestID, DMSAppString* uri);
#endif

#endif /* DMS_CONTENT_ENGINE_H */
