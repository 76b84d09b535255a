// ServerToHandleFileTransfer: the stack's notifications and the routing of a
// request to its handler (see server_to_handle_file_transfer.h).
#include <cstring>
#include <new>
#include <string>

#include "dms_mutex.h"
#include "export_guard.h"
#include "handler_factories.h"
#include "nuv_log.h"
#include "send_file_thru_get.h"
#include "server_to_handle_file_transfer.h"

namespace {

// The live-view URLs, compared with the raw target (before unescaping).
bool isLiveViewTarget(const char* target) {
  if (target == nullptr) return false;
  if (strcmp(target, "/livestream.avi") == 0 || strcmp(target, "/qvga_livestream.avi") == 0)
    return true;
  const std::string photo = "/" + dms_transfer::LastTakenPhotoName() + "_SM";
  return photo == target;
}

}  // namespace

ServerInterface* ServerToHandleFileTransfer::__CreateHandler(eHTTPMessageType method,
                                                             const char* target, int profile,
                                                             int connection) {
  switch (method) {
    case NUV_HTTP_POST:
      return dms_transfer::CreateUploadHandler(nDmsProfileId, profile, connection);
    case NUV_HTTP_HEAD:
      return new (std::nothrow) SendFileThruGet(profile, connection);
    case NUV_HTTP_GET:
      if (isLiveViewTarget(target)) return dms_transfer::CreateLiveViewHandler(profile, connection);
      return new (std::nothrow) SendFileThruGet(profile, connection);
    default:
      return nullptr;
  }
}

void ServerToHandleFileTransfer::__RouteHeader(int profile, int connection,
                                               stNUVAppList* headerList) {
  NUVHTTPRequestHeaderInfo* info = nullptr;
  NUVHTTPGetRequestHeaderInfo(headerList, &info);
  ServerInterface* handler = __CreateHandler(info->method, info->target, profile, connection);
  if (handler != nullptr && AddInstanceToList(profile, connection, handler) != 0) {
    delete handler;
    handler = nullptr;
  }
  if (handler == nullptr) {
    NUVPrintf(NUV_LOG_INFO,
              "[ServerToHandleFileTransfer]Unable to find RecvFileThruPOST instance from the list "
              "-- NUVHTTPRequestHeaderInfoNotificationCallback(...)");
    NUVHTTPReleaseHeaderInfo(headerList);
    return;
  }
  bool sent = false;
  {
    // Held so that no other thread deletes the handler under the call.
    DMSAppMutexLock lock(ListLock);
    sent = handler->HandleHeader(headerList);
  }
  if (sent) {
    ConnectionCallback callback = pConnectionCallback.load();
    if (callback != nullptr) callback(profile, connection);
    NUVPrintf(NUV_LOG_INFO, "[ServerToHandleFileTransfer] Handle  Heade Header sent successfully");
  } else {
    NUVPrintf(NUV_LOG_INFO,
              "[ServerToHandleFileTransfer] Handle  Header returned FALSE in func "
              "NUVHTTPRequestHeaderInfoNotificationCallback(...)");
  }
}

void ServerToHandleFileTransfer::NUVHTTPRequestHeaderInfoNotificationCallback(
    int profile, int connection, stNUVAppList* headerList, int error) {
  dms_export::guardedVoid("NUVHTTPRequestHeaderInfoNotificationCallback", [&] {
    NUVHTTPRequestHeaderInfo* info = nullptr;
    if (NUVHTTPValidateHeaderInfo(headerList) != 0 ||
        NUVHTTPGetRequestHeaderInfo(headerList, &info) != 0 || info == nullptr) {
      NUVHTTPReleaseHeaderInfo(headerList);
      return;
    }
    if (error != 0) {
      NUVPrintf(NUV_LOG_INFO,
                "[ServerToHandleFileTransfer] HTTP Error -- "
                "NUVHTTPRequestHeaderInfoNotificationCallback(...)");
      NUVHTTPReleaseHeaderInfo(headerList);
      return;
    }
    ServerToHandleFileTransfer* server = __Existing();
    if (server == nullptr) {
      NUVHTTPReleaseHeaderInfo(headerList);
      return;
    }
    server->__RouteHeader(profile, connection, headerList);
  });
}

void ServerToHandleFileTransfer::NUVHTTPRequestReceiveNotificationCallback(
    int profile, int connection, eHTTPVersion version, int length, eHTTPMessageType method,
    char* data, char* target, bool last, int error) {
  dms_export::guardedVoid("NUVHTTPRequestReceiveNotificationCallback", [&] {
    ServerToHandleFileTransfer* server = __Existing();
    if (error != 0 || server == nullptr) {
      NUVPrintf(NUV_LOG_INFO,
                "[ServerToHandleFileTransfer] HTTP Error/Non-matchin profID -- "
                "NUVHTTPRequestReceiveNotificationCallback(...)");
      return;
    }
    DMSAppMutexLock lock(server->ListLock);
    ServerInterface* handler = server->FindInstanceInMappingList(connection);
    if (handler == nullptr) {
      NUVPrintf(
          NUV_LOG_INFO,
          "[ServerToHandleFileTransfer]Unable to find RecvFileThruPOST instance from the list "
          "-- NUVHTTPRequestReceiveNotificationCallback(...)");
      return;
    }
    handler->HandlePayload(profile, connection, version, length, method, data, target, last);
  });
}

void ServerToHandleFileTransfer::NUVHTTPSendResponseNotificationCallback(int, int connection,
                                                                         int error) {
  dms_export::guardedVoid("NUVHTTPSendResponseNotificationCallback", [&] {
    ServerToHandleFileTransfer* server = __Existing();
    if (error != 0 || server == nullptr) {
      NUVPrintf(NUV_LOG_INFO,
                "[ServerToHandleFileTransfer] HTTP Error -- "
                "NUVHTTPSendResponseNotificationCallback(...)");
      return;
    }
    DMSAppMutexLock lock(server->ListLock);
    ServerInterface* handler = server->FindInstanceInMappingList(connection);
    if (handler != nullptr && !handler->SendResponse(0)) {
      NUVPrintf(NUV_LOG_INFO,
                "[ServerToHandleFileTransfer] SendResponse returned FALSE -- "
                "NUVHTTPSendResponseNotificationCallback(...)");
    }
  });
}

void ServerToHandleFileTransfer::NUVHTTPExceptionNotificationCallback(int, int connection,
                                                                      eExceptionType type) {
  dms_export::guardedVoid("NUVHTTPExceptionNotificationCallback", [&] {
    switch (type) {
      case NUV_HTTP_EXCEPTION_NETWORK_DISABLED:
        NUVPrintf(NUV_LOG_INFO,
                  "[ServerToHandleFileTransfer] Network disabled -- "
                  "NUVHTTPExceptionNotificationCallback(...)");
        break;
      case NUV_HTTP_EXCEPTION_SEND_FAILURE:
        NUVPrintf(NUV_LOG_INFO,
                  "[ServerToHandleFileTransfer] Send Failure -- "
                  "NUVHTTPExceptionNotificationCallback(...)");
        break;
      case NUV_HTTP_EXCEPTION_SOCKET_CLOSED: {
        NUVPrintf(NUV_LOG_INFO,
                  "[ServerToHandleFileTransfer] SocketCloseEvent -- "
                  "NUVHTTPExceptionNotificationCallback(...)");
        ServerToHandleFileTransfer* server = __Existing();
        if (server != nullptr) server->RemoveInstanceFromList(connection);
        break;
      }
      default:
        NUVPrintf(NUV_LOG_INFO,
                  "[ServerToHandleFileTransfer] Unknown ExceptionType -- "
                  "NUVHTTPExceptionNotificationCallback(...)");
        break;
    }
  });
}

void ServerToHandleFileTransfer::NUVHTTPConnectNotificationCallback(int, int) {
  NUVPrintf(NUV_LOG_INFO,
            "[ServerToHandleFileTransfer] -- NUVHTTPConnectNotificationCallback(...)");
}
