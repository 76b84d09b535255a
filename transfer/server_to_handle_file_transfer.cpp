// ServerToHandleFileTransfer: the singleton, its profiles and its registry
// (see server_to_handle_file_transfer.h).
#include "server_to_handle_file_transfer.h"

#include <mutex>
#include <new>
#include <vector>

#include "dms_list.h"
#include "dms_mutex.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "nuv_log.h"

namespace {

// One registry entry, allocated with the memory service.
struct TransferInstanceInfo {
  int reserved;  // always 0
  int connection;
  ServerInterface* handler;  // owned
};

std::mutex gInstanceMutex;  // creation and destruction of the singleton

int freeEntry(void* data) {
  auto* entry = static_cast<TransferInstanceInfo*>(data);
  if (entry != nullptr) delete entry->handler;
  DMSAppMemFree(entry);
  return 0;
}

}  // namespace

std::atomic<ServerToHandleFileTransfer*> ServerToHandleFileTransfer::thisInstance{nullptr};
std::atomic<ServerToHandleFileTransfer::ConnectionCallback>
    ServerToHandleFileTransfer::pConnectionCallback{nullptr};

ServerToHandleFileTransfer* ServerToHandleFileTransfer::GetInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  ServerToHandleFileTransfer* instance = thisInstance.load();
  if (instance == nullptr) {
    instance = new (std::nothrow) ServerToHandleFileTransfer;
    thisInstance.store(instance);
  }
  return instance;
}

void ServerToHandleFileTransfer::DestroyInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  delete thisInstance.exchange(nullptr);
}

bool ServerToHandleFileTransfer::HasInstance() { return thisInstance.load() != nullptr; }

ServerToHandleFileTransfer* ServerToHandleFileTransfer::__Existing() { return thisInstance.load(); }

ServerToHandleFileTransfer::ServerToHandleFileTransfer() {
  DMSAppString name("ServerToHandleFileTransferMutex");
  ListLock = DMSAppCreateMutex(&name);
  TransferInstanceList = new (std::nothrow) DMSCDSList;
}

ServerToHandleFileTransfer::~ServerToHandleFileTransfer() {
  RemoveAllInstanceFromList();
  NUVHTTPFreeConnectionInfo(m_pConnInfo);
  m_pConnInfo = nullptr;
  if (ListLock != nullptr) DMSAppDeleteMutex(ListLock);
}

void ServerToHandleFileTransfer::SetConnectionCallback(ConnectionCallback callback) {
  pConnectionCallback.store(callback);
}

int ServerToHandleFileTransfer::StartHTTPServer(unsigned int profileIdentifier,
                                                DMSAppString* address, int port) {
  pCallback = stNUVHTTPCallbacks{};
  pCallback.requestReceive = &NUVHTTPRequestReceiveNotificationCallback;
  pCallback.sendResponse = &NUVHTTPSendResponseNotificationCallback;
  pCallback.exception = &NUVHTTPExceptionNotificationCallback;
  pCallback.requestHeader = &NUVHTTPRequestHeaderInfoNotificationCallback;
  pCallback.connect = &NUVHTTPConnectNotificationCallback;

  DMSAppMutexLock lock(ListLock);
  const char* where = (address != nullptr) ? address->ReadString() : nullptr;
  stNUVHTTPConnInfo* started = nullptr;
  const int result = NUVHTTPStartHTTPProfile(&pCallback, nullptr, where, port, &started);
  if (result != 0) {
    if (result == 4) {
      NUVPrintf(NUV_LOG_ERROR, "[ServerToHandleFileTransfer::StartHTTPServer] No NIC");
    } else {
      NUVPrintf(NUV_LOG_ERROR,
                "[ServerToHandleFileTransfer::StartHTTPServer] HTTP profile start fail!!! for %d "
                "port",
                port);
    }
    return result;
  }
  if (NUVHTTPGetConnProfilesCount(started) <= 0) {
    NUVHTTPFreeConnectionInfo(started);
    NUVPrintf(NUV_LOG_ERROR,
              "[ServerToHandleFileTransfer::StartHTTPServer] HTTP profile start fail!!! for %d "
              "port",
              port);
    return 1;
  }
  if (profileIdentifier != nDmsProfileId) {
    nDmsProfileId = profileIdentifier;
    NUVHTTPFreeConnectionInfo(m_pConnInfo);
    m_pConnInfo = started;
  } else if (m_pConnInfo != nullptr) {
    NUVHTTPAddConnInfo(m_pConnInfo, started);
    NUVHTTPFreeConnectionInfo(started);
  } else {
    // Kept rather than dropped: a profile nobody records could never be
    // stopped, and would call into a destroyed server after terminate.
    m_pConnInfo = started;
  }
  return 0;
}

int ServerToHandleFileTransfer::StopHTTPServer(DMSAppString* address) {
  std::vector<int> toStop;
  {
    DMSAppMutexLock lock(ListLock);
    const int count = NUVHTTPGetConnProfilesCount(m_pConnInfo);
    if (count <= 0) return 0;
    for (int index = 1; index <= count; ++index) {
      int profile = 0;
      char* bound = nullptr;
      if (NUVHTTPGetConnectionInfo(m_pConnInfo, index, &profile, &bound) != 0) continue;
      if (address == nullptr) {
        toStop.push_back(profile);
      } else if (bound != nullptr && address->Compare(bound) == 0) {
        toStop.push_back(profile);
        NUVHTTPRemoveConnectionInfo(m_pConnInfo, index);
        if (count == 1) {
          NUVHTTPFreeConnectionInfo(m_pConnInfo);
          m_pConnInfo = nullptr;
        }
        break;
      }
    }
    if (address == nullptr) {
      NUVHTTPFreeConnectionInfo(m_pConnInfo);
      m_pConnInfo = nullptr;
    }
  }
  // Outside ListLock: the stack waits for the profile's connection threads.
  for (int profile : toStop) NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS);
  return 1;
}

int ServerToHandleFileTransfer::NUVHTTPStopCurrentTransfer(int profile, int connection) {
  DMSAppMutexLock lock(ListLock);
  // Ends this request only: the profile goes on serving the others.
  NUVHTTPStopHTTPProfile(profile, connection);
  return RemoveInstanceFromList(connection);
}

int ServerToHandleFileTransfer::AddInstanceToList(int profile, int connection,
                                                  ServerInterface* handler) {
  if (profile < 0 || connection < 0 || handler == nullptr) return 1;
  auto* entry =
      static_cast<TransferInstanceInfo*>(DMSAppMemCallocMA(1, sizeof(TransferInstanceInfo)));
  if (entry == nullptr) return 1;
  entry->connection = connection;
  entry->handler = handler;
  DMSAppMutexLock lock(ListLock);
  if (TransferInstanceList == nullptr || TransferInstanceList->AddItem(entry) != 0) {
    DMSAppMemFree(entry);
    return 1;
  }
  return 0;
}

ServerInterface* ServerToHandleFileTransfer::FindInstanceInMappingList(int connection) {
  DMSAppMutexLock lock(ListLock);
  for (stDMSCDSListItem* item =
           TransferInstanceList != nullptr ? TransferInstanceList->ReadFirstItem() : nullptr;
       item != nullptr; item = item->next) {
    auto* entry = static_cast<TransferInstanceInfo*>(item->data);
    if (entry != nullptr && entry->connection == connection) return entry->handler;
  }
  NUVPrintf(
      NUV_LOG_INFO,
      "[ServerToHandleFileTransfer] Instance not found -- func FindInstanceInMappingList(...)");
  return nullptr;
}

bool ServerToHandleFileTransfer::WithInstance(int connection,
                                              const std::function<void(ServerInterface*)>& visit) {
  DMSAppMutexLock lock(ListLock);
  for (stDMSCDSListItem* item =
           TransferInstanceList != nullptr ? TransferInstanceList->ReadFirstItem() : nullptr;
       item != nullptr; item = item->next) {
    auto* entry = static_cast<TransferInstanceInfo*>(item->data);
    if (entry != nullptr && entry->connection == connection && entry->handler != nullptr) {
      visit(entry->handler);
      return true;
    }
  }
  return false;
}

int ServerToHandleFileTransfer::RemoveInstanceFromList(int connection) {
  if (connection < 0) return 0;
  TransferInstanceInfo* found = nullptr;
  {
    DMSAppMutexLock lock(ListLock);
    for (stDMSCDSListItem* item =
             TransferInstanceList != nullptr ? TransferInstanceList->ReadFirstItem() : nullptr;
         item != nullptr; item = item->next) {
      auto* entry = static_cast<TransferInstanceInfo*>(item->data);
      if (entry != nullptr && entry->connection == connection) {
        found = entry;
        break;
      }
    }
    if (found == nullptr) return 0;
    NUVPrintf(NUV_LOG_INFO,
              "[ServerToHandleFileTransfer::__RemoveInstanceFromList] Closing the server object "
              "Connection ID [%d]",
              connection);
    TransferInstanceList->DeleteItem(found);
  }
  // Deleted outside the lock: no call can reach the handler once it is off
  // the list (calls run with the lock held), and a handler may take a moment
  // to wind down (the live view joins its sender thread) without holding
  // every other transfer up.
  freeEntry(found);
  return 1;
}

void ServerToHandleFileTransfer::RemoveAllInstanceFromList() {
  DMSAppMutexLock lock(ListLock);
  if (TransferInstanceList == nullptr) return;
  TransferInstanceList->RemoveAllListItem(&freeEntry);
  delete TransferInstanceList;
  TransferInstanceList = nullptr;
}

int ServerToHandleFileTransfer::InstanceCount() {
  DMSAppMutexLock lock(ListLock);
  int count = 0;
  for (stDMSCDSListItem* item =
           TransferInstanceList != nullptr ? TransferInstanceList->ReadFirstItem() : nullptr;
       item != nullptr; item = item->next) {
    ++count;
  }
  return count;
}

void ServerToHandleFileTransfer::DestroyObjectCallback(unsigned long, unsigned long connection,
                                                       bool) {
  if (connection == 0) return;
  NUVPrintf(NUV_LOG_INFO,
            "[ServerToHandleFileTransfer::DestroyObjectCallback] Closing the server object "
            "Connection ID [%d]",
            static_cast<int>(connection));
  ServerToHandleFileTransfer* server = __Existing();
  if (server != nullptr) server->RemoveInstanceFromList(static_cast<int>(connection));
}
