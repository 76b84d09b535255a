// ServerToHandleFileTransfer: the process-wide transfer server. It starts
// and stops the media server's HTTP profiles of the stack, receives every
// notification the stack raises for them, creates one handler per request
// by method and URL, and keeps the registry from the stack's connection
// identifier to that handler until the connection ends.
//
// Threads: the stack's callbacks arrive on its connection threads; start,
// stop and terminate on the application's control thread; the delayed
// self-removal on the timer thread. "ServerToHandleFileTransferMutex"
// (ListLock, recursive) guards the registry and the profile record, and is
// held while a handler's HandleHeader, SendResponse or HandlePayload runs, so
// a handler is never deleted under a running call. It is not held while the stack stops
// a profile, because the stack waits for the profile's connection threads,
// which take it.
//
// Lifetime: GetInstance creates the server on first call (the lifecycle
// does so at initialisation, before any profile runs); the callbacks only
// reach an existing one.
#ifndef DMS_TRANSFER_SERVER_TO_HANDLE_FILE_TRANSFER_H
#define DMS_TRANSFER_SERVER_TO_HANDLE_FILE_TRANSFER_H

#include <pthread.h>

#include <atomic>
#include <functional>

#include "nuv_http.h"
#include "server_interface.h"

class DMSAppString;
class DMSCDSList;

class ServerToHandleFileTransfer {
 public:
  using ConnectionCallback = void (*)(int profile, int connection);

  static ServerToHandleFileTransfer* GetInstance();
  static void DestroyInstance();
  // True while an instance exists (the lifecycle's teardown asks first).
  static bool HasInstance();

  // The stack's error code: 0 started, 4 no network interface, else failed.
  int StartHTTPServer(unsigned int profileIdentifier, DMSAppString* address, int port);
  // 0 when no profile runs, else 1. A null address stops every profile.
  int StopHTTPServer(DMSAppString* address);
  static void SetConnectionCallback(ConnectionCallback callback);
  // Ends the request on `connection` and deletes its handler: 1 when a
  // handler was removed, else 0.
  int NUVHTTPStopCurrentTransfer(int profile, int connection);

  // 0 when added; 1 for a negative identifier, a null handler or no memory.
  int AddInstanceToList(int profile, int connection, ServerInterface* handler);
  // The handler of `connection`, or null. Valid while ListLock is held.
  ServerInterface* FindInstanceInMappingList(int connection);
  // Runs `visit` on the handler of `connection` with ListLock held, so that
  // no other thread deletes it meanwhile (for timer callbacks, which must
  // not keep a handler's address). False when there is none.
  bool WithInstance(int connection, const std::function<void(ServerInterface*)>& visit);
  // 1 when a handler was removed and deleted, else 0.
  int RemoveInstanceFromList(int connection);
  // Deletes every handler and the registry itself.
  void RemoveAllInstanceFromList();
  // Number of registered handlers (for tests and diagnostics).
  int InstanceCount();

  // Timer callback of a handler's delayed self-removal (`connection` as the
  // timer's parameter).
  static void DestroyObjectCallback(unsigned long timer, unsigned long connection, bool expired);

  // The stack's notification callbacks (slots 0, 3, 4, 5 and 7).
  static void NUVHTTPRequestReceiveNotificationCallback(int profile, int connection,
                                                        eHTTPVersion version, int length,
                                                        eHTTPMessageType method, char* data,
                                                        char* target, bool last, int error);
  static void NUVHTTPSendResponseNotificationCallback(int profile, int connection, int error);
  static void NUVHTTPExceptionNotificationCallback(int profile, int connection,
                                                   eExceptionType type);
  static void NUVHTTPRequestHeaderInfoNotificationCallback(int profile, int connection,
                                                           stNUVAppList* headerList, int error);
  static void NUVHTTPConnectNotificationCallback(int profile, int connection);

 private:
  ServerToHandleFileTransfer();
  ~ServerToHandleFileTransfer();
  static ServerToHandleFileTransfer* __Existing();
  ServerInterface* __CreateHandler(eHTTPMessageType method, const char* target, int profile,
                                   int connection);
  void __RouteHeader(int profile, int connection, stNUVAppList* headerList);

  static std::atomic<ServerToHandleFileTransfer*> thisInstance;
  static std::atomic<ConnectionCallback> pConnectionCallback;
  pthread_mutex_t* ListLock = nullptr;
  DMSCDSList* TransferInstanceList = nullptr;  // guarded by ListLock
  stNUVHTTPCallbacks pCallback{};
  stNUVHTTPConnInfo* m_pConnInfo = nullptr;  // guarded by ListLock
  unsigned int nDmsProfileId = 0;            // guarded by ListLock
};

#endif  // DMS_TRANSFER_SERVER_TO_HANDLE_FILE_TRANSFER_H
