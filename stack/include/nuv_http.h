/* The HTTP server side of the UPnP/DLNA stack, as the media server sees it:
 * server profiles (one listening socket each), the records that describe
 * them, request and response header records, and the body pieces that flow
 * between the stack and a request's handler.
 *
 * Conventions: functions return 0 for success and non-zero for failure
 * unless stated. Texts handed in are copied. Texts returned by functions
 * whose names end in MA, and the value of NUVHTTPGetAdditionalHeaderValue,
 * are malloc'd copies the caller releases with DMSAppMemFree (free).
 *
 * Identifiers: a profile handle (> 0) names one started server profile. A
 * connection identifier (> 0) names one request on it, from its header to
 * the end of its response; with keep-alive a socket carries several in turn.
 *
 * Threads: every callback of a profile runs on one of the profile's pool
 * threads (always the same one for a given connection), never with a lock
 * of the stack held. A callback must not block for long: it holds up the
 * other connections of its thread. A handler that must wait answers later,
 * from any thread; the request waits without holding a thread. The
 * callbacks of one connection never overlap. Every function here may be
 * called from any thread.
 *
 * Flow of one request:
 *   7 connect, then 5 request header (the handler answers with
 *   NUVHTTPSendResponse, usually before returning); for a body, 0 once per
 *   piece and once more with `last` set; then, while the response body is
 *   wanted, 3 "response sent" once per piece, each answered with one
 *   NUVHTTPSendPacket (from the callback or later from any thread); finally
 *   exception 6 when the request's exchange has ended, whatever the reason.
 * A handler that has released the request's header list answers during
 * callback 5 or, for a request with a body, during the last callback 0: if
 * no response has come by then, the connection is closed unanswered. One
 * that keeps the list may answer later from any thread (within 30 s).
 *
 * Linking: libdmsstack defines these functions. libdms, libdmscamera and
 * libdmsscanner call them without linking libdmsstack, on purpose: the
 * executable links the stack they run on (dmsd the real one, the unit tests
 * the fakes of tests/fakes, which keep the network out of them). A program
 * that loads those libraries must therefore link or load a stack first. */
#ifndef NUV_HTTP_H
#define NUV_HTTP_H

#include <stdbool.h>

#include "nuv_list.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum eHTTPMessageType {
  NUV_HTTP_METHOD_OTHER = 0, /* any method not listed */
  NUV_HTTP_GET = 1,
  NUV_HTTP_HEAD = 2,
  NUV_HTTP_PUT = 3,
  NUV_HTTP_POST = 4,
  NUV_HTTP_DELETE = 5,
  NUV_HTTP_OPTIONS = 6
} eHTTPMessageType;

typedef enum eExceptionType {
  /* The profile was stopped (its address went away, or the media server
   * stopped it) while the request was in progress. */
  NUV_HTTP_EXCEPTION_NETWORK_DISABLED = 0,
  /* The response could not be sent completely (the peer went away, or the
   * handler ended the body early). */
  NUV_HTTP_EXCEPTION_SEND_FAILURE = 2,
  /* The request's exchange is over: raised exactly once per connection
   * identifier, last of all its callbacks. */
  NUV_HTTP_EXCEPTION_SOCKET_CLOSED = 6
} eExceptionType;

typedef enum eHTTPVersion { NUV_HTTP_VERSION_1_0 = 0, NUV_HTTP_VERSION_1_1 = 1 } eHTTPVersion;

/* ---- Callbacks (server mode) ---------------------------------------------
 * `error` is 0 unless the stack could not complete the step it reports. */
/* 0: one piece of a request body; `length` bytes at `data` (valid during the
 * call only), `target` the request target. The final call has `last` set and
 * may carry no bytes. */
typedef void (*NUVHTTPRequestReceiveCallback)(int profile, int connection, eHTTPVersion version,
                                              int length, eHTTPMessageType method, char* data,
                                              char* target, bool last, int error);
/* Client profiles (see "Client mode" below).
 * 1: one piece of the response body; `length` bytes at `data` (valid during
 * the call only). The final call has `last` set and may carry no bytes. */
typedef void (*NUVHTTPResponseReceiveCallback)(int profile, int connection, eHTTPVersion version,
                                               int length, char* data, bool last, int error);
/* 2: a response header arrived (an interim 100 as well as the final one).
 * `headerList` belongs to the handler: release it with
 * NUVHTTPReleaseHeaderInfo; read it with NUVHTTPGetResponseHeaderInfo. */
typedef void (*NUVHTTPResponseHeaderCallback)(int profile, int connection, stNUVAppList* headerList,
                                              int error);
/* 6: the request body wants its next piece: answer with NUVHTTPSendPacket
 * (from the callback or later from any thread). */
typedef void (*NUVHTTPSendRequestCallback)(int profile, int connection, int error);
/* 3: the previous piece of the response has gone; send the next one. */
typedef void (*NUVHTTPSendResponseCallback)(int profile, int connection, int error);
/* 4: see eExceptionType. */
typedef void (*NUVHTTPExceptionCallback)(int profile, int connection, eExceptionType type);
/* 5: the request's headers are complete. `headerList` belongs to the handler
 * from here on: it releases it with NUVHTTPReleaseHeaderInfo. */
typedef void (*NUVHTTPRequestHeaderCallback)(int profile, int connection, stNUVAppList* headerList,
                                             int error);
/* 7: a request starts on `connection`. */
typedef void (*NUVHTTPConnectCallback)(int profile, int connection);

typedef struct stNUVHTTPCallbacks {
  NUVHTTPRequestReceiveCallback requestReceive;   /* 0, server */
  NUVHTTPResponseReceiveCallback responseReceive; /* 1, client */
  NUVHTTPResponseHeaderCallback responseHeader;   /* 2, client */
  NUVHTTPSendResponseCallback sendResponse;       /* 3, server */
  NUVHTTPExceptionCallback exception;             /* 4, both */
  NUVHTTPRequestHeaderCallback requestHeader;     /* 5, server */
  NUVHTTPSendRequestCallback sendRequest;         /* 6, client */
  NUVHTTPConnectCallback connect;                 /* 7, both */
} stNUVHTTPCallbacks;

/* ---- Profiles and their records ------------------------------------------ */

/* One or more started profiles: each a handle and the address it listens on.
 * Opaque; made by NUVHTTPStartHTTPProfile, released with
 * NUVHTTPFreeConnectionInfo. Not locked: one owner at a time. */
typedef struct stNUVHTTPConnInfo stNUVHTTPConnInfo;

/* Starts server profiles on `port` (0: a free port). With `address`, one
 * profile on that IPv4 address; with NULL, one on each address the device
 * side serves (NUVDMSSetBindAddress / NUVDMSSetBindInterface; 127.0.0.1 by
 * default). `reserved` must be NULL. On success *connInfo receives a new
 * record of the started profiles. Returns 0; 4 when no network interface
 * (address) is up; 1 for a bad argument or when no profile could listen. */
int NUVHTTPStartHTTPProfile(const stNUVHTTPCallbacks* callbacks, void* reserved,
                            const char* address, int port, stNUVHTTPConnInfo** connInfo);
/* Number of profiles in the record; 0 for NULL. */
int NUVHTTPGetConnProfilesCount(const stNUVHTTPConnInfo* connInfo);
/* Appends copies of the entries of `added` to `stored` (`added` is left
 * alone; free it yourself). */
int NUVHTTPAddConnInfo(stNUVHTTPConnInfo* stored, const stNUVHTTPConnInfo* added);
/* Entry `index` (from 1): its profile handle and address (owned by the
 * record, valid until it changes). 1 for a bad index. */
int NUVHTTPGetConnectionInfo(const stNUVHTTPConnInfo* connInfo, int index, int* profile,
                             char** address);
/* Removes entry `index` (from 1); 1 for a bad index. */
int NUVHTTPRemoveConnectionInfo(stNUVHTTPConnInfo* connInfo, int index);
void NUVHTTPFreeConnectionInfo(stNUVHTTPConnInfo* connInfo);
/* The TCP port profile `profile` listens on, or -1. */
int NUVHTTPGetProfilePort(int profile);

/* With `connection` NUV_HTTP_ALL_CONNECTIONS: stops the whole profile; its
 * requests in progress end (exception 0, then 6) before this returns, unless
 * it is called from one of that profile's own callbacks, in which case the
 * profile stops listening at once and its requests end just after. With a
 * connection identifier: ends that request only (its body stops at the next
 * piece; exception 2 then 6 follow on its own thread). 1 for an unknown
 * profile or connection. */
#define NUV_HTTP_ALL_CONNECTIONS (-1)
int NUVHTTPStopHTTPProfile(int profile, int connection);

/* ---- Request header records ------------------------------------------------ */

/* What NUVHTTPGetRequestHeaderInfo gives. Owned by the header list. */
typedef struct NUVHTTPRequestHeaderInfo {
  eHTTPMessageType method;
  char* target;                    /* the request target as received */
  char* methodName;                /* the method as received */
  int hostPresent;                 /* 1 when the request had a Host header */
  int notHttp10;                   /* 1 unless the request was HTTP/1.0 */
  eHTTPVersion version;            /* NUV_HTTP_VERSION_1_0 or _1_1 */
  char* clientAddress;             /* dotted IPv4 of the peer, "" if unknown */
  long long contentLength;         /* of the request body; -1 when not given */
  int expectContinue;              /* 1 for "Expect: 100-continue" */
  stNUVAppList* additionalHeaders; /* every header but Host: stNUVHeader items */
} NUVHTTPRequestHeaderInfo;

/* Builds a header list as the stack hands it to callback 5 (also used by
 * tests). `headers` may be NULL; it is copied. NULL when out of memory. */
stNUVAppList* NUVHTTPCreateRequestHeaderList(eHTTPMessageType method, const char* methodName,
                                             const char* target, eHTTPVersion version,
                                             int hostPresent, const char* clientAddress,
                                             long long contentLength, stNUVAppList* headers);
/* 0 when `headerList` is a request or response header list of the stack. */
int NUVHTTPValidateHeaderInfo(stNUVAppList* headerList);
/* *info receives the list's record (owned by the list). */
int NUVHTTPGetRequestHeaderInfo(stNUVAppList* headerList, NUVHTTPRequestHeaderInfo** info);
/* Frees a request or response header list and everything in it; NULL is
 * ignored. */
int NUVHTTPReleaseHeaderInfo(stNUVAppList* headerList);
/* The value of the first header named `name` (compared ignoring case) in a
 * list of stNUVHeader, as a new copy; NULL when absent. */
char* NUVHTTPGetAdditionalHeaderValue(stNUVAppList* headers, const char* name);
/* Appends a copy of `name: value` to a list of stNUVHeader (make the list
 * with NUVListCreate). */
int NUVHTTPAddAdditionalHeaderValue(stNUVAppList* headers, const char* name, const char* value);
/* Frees a list of stNUVHeader and its texts; NULL is ignored. */
void FreeAdditionalHeaders(stNUVAppList* headers);

/* ---- Responses ---------------------------------------------------------- */

/* A response header. Texts are malloc'd (set them with strdup or
 * DMSAppMemAllocMA) and freed by FreeResponseHeader. */
typedef struct NUVHTTPResponseHeaderInfo {
  int statusCode;
  char* connection;                /* "close", or NULL */
  char* contentType;               /* may hold further "Name: value" lines after a line break */
  char* contentLength;             /* decimal text, or NULL when the length is not known */
  int http11;                      /* 1: answer as HTTP/1.1, 0: as HTTP/1.0 */
  stNUVAppList* additionalHeaders; /* stNUVHeader items, or NULL */
} NUVHTTPResponseHeaderInfo;

/* Frees the record, its texts and its additional headers; NULL is ignored. */
void FreeResponseHeader(NUVHTTPResponseHeaderInfo* header);

/* Queues the response of a request (the record is copied). With `headerOnly`
 * no body follows: a HEAD response announces contentLength, any other gets
 * an empty body. Otherwise the body is pulled with callback 3 and
 * NUVHTTPSendPacket; without a contentLength it ends when the connection
 * closes. Status 100 is accepted and ignored ("Expect: 100-continue" is
 * answered by the stack). 1 for an unknown connection or a second response. */
int NUVHTTPSendResponse(int profile, int connection, NUVHTTPResponseHeaderInfo* header,
                        int headerOnly);
/* The next piece of a response body (copied); `last` ends the body. A
 * length of 0 without `last` asks for another callback 3. For a client
 * profile: the next piece of the request body, and callback 6 for more
 * (refused while more than 256 KiB of earlier pieces wait). 1 for an unknown
 * or ended connection. */
int NUVHTTPSendPacket(int profile, int connection, const char* buffer, int length, int last);

/* ---- Client mode ---------------------------------------------------------
 * A callbacks table with slot 2 (responseHeader) set and slot 5 NULL starts a
 * client profile: NUVHTTPStartHTTPProfile then ignores `address` and `port`,
 * opens nothing yet, and gives a record of one entry whose profile handle is
 * also the identifier of the profile's one connection (its address is "").
 * One request per profile: NUVHTTPSendRequest, then callback 7, callback 2
 * for each response header (an interim 100 included; redirects that are
 * followed are not reported), callback 6 while the request body wants
 * pieces, callback 1 for the response body pieces (a final one with `last`
 * set when the exchange completed), and finally exception 6 (after
 * exception 2 when the exchange failed: no connection, a refused redirect, a
 * time-out, a reset, a request body longer or shorter than its
 * Content-Length).
 *
 * A profile stays, with its byte count, until it is stopped with
 * NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS or the profile
 * handle) from any thread. An exchange in progress then ends with exception
 * 0 and 6 before the stop returns or, when it is called from a callback of
 * any client profile, just after that callback returns, with no other
 * callback of the stopped profile in between. A profile stopped before its
 * request or after its exception 6 raises nothing more. Its handle is
 * unknown from the stop on.
 *
 * Only "http://" URLs are fetched and followed (at most 5 redirects, for
 * GET). A connect that takes 10 s, a transfer that stalls (under 1 byte/s
 * for 30 s) and a request body piece not given within 30 s fail the
 * exchange. The callbacks of all client profiles run on the stack's one
 * client thread, never with a lock of the stack held; a callback must not
 * block for long. */

/* A request of a client profile. Texts are malloc'd (strdup) and freed by
 * NUVHTTPFreeClientRequest. Host, Content-Length, Transfer-Encoding and
 * Expect come from the fields: additional headers of those names are
 * ignored, as are headers with a line break. */
typedef struct NUVHTTPClientRequest {
  eHTTPMessageType method;         /* NUV_HTTP_GET or NUV_HTTP_POST */
  char* url;                       /* "http://host[:port]/path" */
  char* host;                      /* Host header value; NULL: from the URL */
  int http11;                      /* 1: HTTP/1.1, 0: HTTP/1.0 */
  int expectContinue;              /* 1: "Expect: 100-continue" before a body */
  long long contentLength;         /* of the request body; -1: chunked (HTTP/1.1) */
  stNUVAppList* additionalHeaders; /* stNUVHeader items, or NULL */
} NUVHTTPClientRequest;

/* Frees the record, its texts and its headers; NULL is ignored. */
void NUVHTTPFreeClientRequest(NUVHTTPClientRequest* request);

/* Starts the profile's request (the record is copied); `connection` is the
 * profile handle. `complete` 1: the request has no body; 0: a body follows
 * (POST only), pulled with callback 6 and NUVHTTPSendPacket (whose `last`
 * ends it). 1 for an unknown profile or connection, a second request, a bad
 * record (a GET with a body, chunks over HTTP/1.0) or a URL that is not
 * "http://". */
int NUVHTTPSendRequest(int profile, int connection, const NUVHTTPClientRequest* request,
                       int complete);

/* Builds a response header list as a client profile hands it to callback 2
 * (also used by tests). `headers` may be NULL; it is copied, and its
 * Content-Type, Content-Length and Connection fill the record's fields.
 * NULL when out of memory. */
stNUVAppList* NUVHTTPCreateResponseHeaderList(int status, int http11, stNUVAppList* headers);

/* A received response header as a record (owned by the list). Its
 * additionalHeaders hold every header; contentLength is NULL when absent. */
int NUVHTTPGetResponseHeaderInfo(stNUVAppList* headerList, NUVHTTPResponseHeaderInfo** info);

/* Bytes of the request body sent so far (client profiles), or of the
 * response body received when the request has no body; -1 for an unknown
 * profile. */
long long NUVHTTPGetTransferBytesCount(int profile);

#ifdef __cplusplus
}
#endif

#endif /* NUV_HTTP_H */
