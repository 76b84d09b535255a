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
  NUVCDSWL_RES_CONTENT_CREATED = 1,     /* what type 10 is forwarded as */
  NUVCDSWL_RES_CONTENT_DESTROYED = 2,
  NUVCDSWL_RES_UPLOAD_REGISTERED = 3,
  NUVCDSWL_RES_CONTENTS = 6,            /* a batch of records */
  NUVCDSWL_RES_CONTENT_RESERVED = 10,   /* an ID was reserved for a new object */
  NUVCDSWL_RES_UPLOAD_CHECK = 11,
  NUVCDSWL_RES_EXISTENCE_CHECK = 12
} NUVCDSWL_RES_TYPE;

/* 0 success, 1 failure. */
typedef enum NUVCDSWL_RES_RESULT {
  NUVCDSWL_RES_SUCCESS = 0,
  NUVCDSWL_RES_FAILURE = 1
} NUVCDSWL_RES_RESULT;

#ifdef __cplusplus
/* The one process-wide response slot. `text` and `list` are owned by the
 * engine unless a response type says otherwise. */
typedef void (*NUVCDSWLResponseCallback)(int requestID, NUVCDSWL_RES_TYPE type,
                                         NUVCDSWL_RES_RESULT result, int value, DMSAppString* text,
                                         DMSCDSList* list);

/* Sets the slot (the last registration wins); 0. */
int NUVCERegisterResponseCallback(NUVCDSWLResponseCallback callback);
/* Clears the slot; 0. */
int NUVCEDeregisterResponseCallback();
/* The registered callback, or null. */
NUVCDSWLResponseCallback NUVCEGetResponseCallback();
#endif

#endif /* DMS_CONTENT_ENGINE_H */
