#include "client_to_handle_file_transfer.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "get_client_for_file_transfer.h"
#include "nuv_log.h"
#include "post_client_for_file_transfer.h"
#include "transfer_limits.h"

namespace {

std::mutex gInstanceMutex;
ClientToHandleFileTransfer* gInstance = nullptr;
std::atomic<unsigned long> gLingerMs{dms_transfer::kClientTransferLingerMs};
std::atomic<unsigned long> gTransactionMs{dms_transfer::kClientTransactionTimeoutMs};

ClientToHandleFileTransfer* existing() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  return gInstance;
}

// A decimal TransferID; 0 (no transfer has it) for anything else.
unsigned int parseID(DMSAppString* text) {
  if (text == nullptr || text->ReadString() == nullptr) return 0;
  const char* digits = text->ReadString();
  if (*digits < '0' || *digits > '9') return 0;
  char* end = nullptr;
  const unsigned long long value = strtoull(digits, &end, 10);
  return *end == '\0' && value <= UINT32_MAX ? static_cast<unsigned int>(value) : 0;
}

}  // namespace

// ---- ClientInterface helpers ----

void ClientInterface::stopProfile() {
  if (profileStopped_.exchange(true)) return;
  NUVHTTPStopHTTPProfile(profile_, NUV_HTTP_ALL_CONNECTIONS);
}

void ClientInterface::startAutoDestroy() {
  if (autoDestroyStarted_.exchange(true)) return;
  DMSAppString name(("CLIENTDESTROY-" + std::to_string(connection_)).c_str());
  const unsigned long timer = DMSAppCreateTimer(&name);
  if (timer == 0 ||
      DMSAppStartTimer(timer, ClientToHandleFileTransfer::LingerMs(),
                       &ClientToHandleFileTransfer::AutoDestroyCallback,
                       reinterpret_cast<void*>(static_cast<uintptr_t>(connection_))) != 1) {
    NUVPrintf(NUV_LOG_ERROR,
              "[GETClientForFileTransfer::StopTransfer] Critical Error, Timer creation failed!!!");
  }
}

// ---- The registry ----

ClientToHandleFileTransfer* ClientToHandleFileTransfer::GetInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  if (gInstance == nullptr) gInstance = new (std::nothrow) ClientToHandleFileTransfer();
  return gInstance;
}

void ClientToHandleFileTransfer::DestroyInstance() {
  ClientToHandleFileTransfer* instance = nullptr;
  {
    std::lock_guard<std::mutex> lock(gInstanceMutex);
    instance = gInstance;
    gInstance = nullptr;
  }
  if (instance == nullptr) return;
  std::vector<Entry> entries;
  {
    std::lock_guard<std::mutex> lock(instance->mutex_);
    entries.swap(instance->entries_);
  }
  for (Entry& e : entries) e.client->StopTransfer(NUVCDSWL_FILETRANSFER_STOPPED);
  entries.clear();
  delete instance;
}

void ClientToHandleFileTransfer::SetDelaysForTest(unsigned long lingerMs,
                                                  unsigned long transactionMs) {
  gLingerMs.store(lingerMs);
  gTransactionMs.store(transactionMs);
}

unsigned long ClientToHandleFileTransfer::LingerMs() { return gLingerMs.load(); }
unsigned long ClientToHandleFileTransfer::TransactionMs() { return gTransactionMs.load(); }

bool ClientToHandleFileTransfer::StartHTTPClient(unsigned int connectionID, eHTTPMessageType method,
                                                 DMSAppString* source, DMSAppString* destination,
                                                 unsigned int transferID) {
  if (method != NUV_HTTP_GET && method != NUV_HTTP_POST) {
    NUVPrintf(NUV_LOG_ERROR, "[ClientToHandleFileTransfer] Invalid MsgType -- StartHTTPClient");
    return false;
  }
  stNUVHTTPCallbacks callbacks{};
  callbacks.responseReceive = &NUVHTTPResponseReceiveCallback;
  callbacks.responseHeader = &NUVHTTPResponseHeaderInfoNotificationCallback;
  callbacks.exception = &NUVHTTPExceptionNotificationCallback;
  callbacks.sendRequest = &NUVHTTPSendRequestCallback;
  callbacks.connect = &NUVHTTPConnectNotificationCallback;
  stNUVHTTPConnInfo* info = nullptr;
  int profile = 0;
  if (NUVHTTPStartHTTPProfile(&callbacks, nullptr, nullptr, 0, &info) != 0 ||
      NUVHTTPGetConnectionInfo(info, 1, &profile, nullptr) != 0) {
    NUVHTTPFreeConnectionInfo(info);
    NUVPrintf(NUV_LOG_ERROR, "[ClientToHandleFileTransfer] Client profile start failed");
    return false;
  }
  NUVHTTPFreeConnectionInfo(info);
  const int connection = profile;  // a client profile has one connection of that number
  std::shared_ptr<ClientInterface> client;
  if (method == NUV_HTTP_GET) {
    client.reset(new (std::nothrow) GETClientForFileTransfer(transferID, source, destination,
                                                             profile, connection, connectionID));
  } else {
    client.reset(new (std::nothrow) POSTClientForFileTransfer(source, destination, profile,
                                                              connection, transferID));
  }
  if (client == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              method == NUV_HTTP_GET
                  ? "[ClientToHandleFileTransfer] new GET..() failed -- StartHTTPClient"
                  : "[ClientToHandleFileTransfer] new POST..() failed -- StartHTTPClient");
    NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS);
    return false;
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    try {
      entries_.push_back({profile, connection, client, method});
    } catch (const std::bad_alloc&) {
      NUVPrintf(NUV_LOG_ERROR,
                "[ClientToHandleFileTransfer] malloc ClientMappingInfo failed -- StartHTTPClient");
      NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS);
      return false;
    }
  }
  announceTransferIDs();
  client->SendRequest();
  return true;
}

std::shared_ptr<ClientInterface> ClientToHandleFileTransfer::FindInstanceInMappingList(
    int connection) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const Entry& e : entries_) {
    if (e.connection == connection) return e.client;
  }
  return nullptr;
}

std::shared_ptr<ClientInterface> ClientToHandleFileTransfer::FindInstanceInMappingListByTransferID(
    unsigned int id) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const Entry& e : entries_) {
    if (id != 0 && e.client->transferID() == id) return e.client;
  }
  return nullptr;
}

std::shared_ptr<ClientInterface> ClientToHandleFileTransfer::RemoveInstance(int connection) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (auto it = entries_.begin(); it != entries_.end(); ++it) {
    if (it->connection == connection) {
      std::shared_ptr<ClientInterface> client = std::move(it->client);
      entries_.erase(it);
      return client;
    }
  }
  return nullptr;
}

int ClientToHandleFileTransfer::InstanceCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int>(entries_.size());
}

std::string ClientToHandleFileTransfer::GetTransferIDCSVList() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string list;
  for (const Entry& e : entries_) {
    if (!list.empty()) list += ",";
    list += std::to_string(e.client->transferID());
  }
  return list;
}

void ClientToHandleFileTransfer::announceTransferIDs() {
  const std::string list = GetTransferIDCSVList();
  if (list.empty()) {
    NUVPrintf(NUV_LOG_INFO,
              "[ClientToHandleFileTransfer::AutoDestroyCallback] No transfer ID's to update.");
  } else {
    NUVPrintf(NUV_LOG_INFO,
              "[ClientToHandleFileTransfer::AutoDestroyCallback] the transfer id list %s",
              list.c_str());
  }
  // An empty list is announced too: subscribers must learn that the last
  // transfer is gone, not keep its ID forever.
  DMSAppString value(list.c_str());
  DMSAppSendTransferIDEvent(&value);
}

bool ClientToHandleFileTransfer::StopFileTransfer(DMSAppString* transferID) {
  std::shared_ptr<ClientInterface> client =
      FindInstanceInMappingListByTransferID(parseID(transferID));
  return client != nullptr && client->StopTransfer(NUVCDSWL_FILETRANSFER_STOPPED);
}

bool ClientToHandleFileTransfer::GetTransferProgress(DMSAppString* transferID,
                                                     NUVCDSWL_FILETRANSFER_STATUS* status,
                                                     unsigned long long* length,
                                                     unsigned long long* total) {
  if (status == nullptr || length == nullptr || total == nullptr) return false;
  std::shared_ptr<ClientInterface> client =
      FindInstanceInMappingListByTransferID(parseID(transferID));
  return client != nullptr && client->GetTransferProgress(status, length, total);
}

void ClientToHandleFileTransfer::AutoDestroyCallback(unsigned long, unsigned long connection,
                                                     bool) {
  ClientToHandleFileTransfer* registry = existing();
  if (registry == nullptr || connection == 0) {
    NUVPrintf(NUV_LOG_ERROR,
              "[ClientToHandleFileTransfer::AutoDestroyCallback] Invalid parameters");
    return;
  }
  NUVPrintf(NUV_LOG_INFO,
            "[ClientToHandleFileTransfer::AutoDestroyCallback] Removing client instanse of "
            "connection id [%d]",
            static_cast<int>(connection));
  std::shared_ptr<ClientInterface> client = registry->RemoveInstance(static_cast<int>(connection));
  if (client == nullptr) return;
  client->StopTransfer(NUVCDSWL_FILETRANSFER_ERROR);  // a no-op once it ended
  client.reset();
  registry->announceTransferIDs();
  NUVPrintf(NUV_LOG_INFO,
            "[ClientToHandleFileTransfer::AutoDestroyCallback] Client instanse removed "
            "successfully - Connection id [%d].",
            static_cast<int>(connection));
}

// ---- The stack's notifications ----

void ClientToHandleFileTransfer::NUVHTTPResponseHeaderInfoNotificationCallback(
    int profile, int connection, stNUVAppList* headerList, int error) {
  ClientToHandleFileTransfer* registry = existing();
  std::shared_ptr<ClientInterface> client =
      registry == nullptr ? nullptr : registry->FindInstanceInMappingList(connection);
  if (client == nullptr || error != 0) {
    NUVPrintf(NUV_LOG_ERROR,
              "[ClientToHandleFileTransfer] Unable to find instance -- "
              "NUVHTTPResponseHeaderInfoNotificationCallback");
    NUVHTTPReleaseHeaderInfo(headerList);
    if (client == nullptr) NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS);
    return;
  }
  client->RecvResponseHeader(headerList);
}

void ClientToHandleFileTransfer::NUVHTTPResponseReceiveCallback(int profile, int connection,
                                                                eHTTPVersion, int length,
                                                                char* data, bool last, int error) {
  ClientToHandleFileTransfer* registry = existing();
  std::shared_ptr<ClientInterface> client =
      registry == nullptr ? nullptr : registry->FindInstanceInMappingList(connection);
  if (client == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[ClientToHandleFileTransfer] Unable to find instance -- "
              "NUVHTTPResponseReceiveCallback");
    NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS);
    return;
  }
  if (error != 0) {
    client->ConnectionLost();
    return;
  }
  client->HandlePayLoad(data, length, last);
}

void ClientToHandleFileTransfer::NUVHTTPSendRequestCallback(int, int connection, int error) {
  ClientToHandleFileTransfer* registry = existing();
  std::shared_ptr<ClientInterface> client =
      registry == nullptr ? nullptr : registry->FindInstanceInMappingList(connection);
  if (client == nullptr) return;
  if (error != 0) {
    client->ConnectionLost();
    return;
  }
  client->SendMoreRequest();
}

void ClientToHandleFileTransfer::NUVHTTPExceptionNotificationCallback(int, int connection,
                                                                      eExceptionType type) {
  ClientToHandleFileTransfer* registry = existing();
  std::shared_ptr<ClientInterface> client =
      registry == nullptr ? nullptr : registry->FindInstanceInMappingList(connection);
  if (client == nullptr) return;
  if (type == NUV_HTTP_EXCEPTION_SEND_FAILURE || type == NUV_HTTP_EXCEPTION_SOCKET_CLOSED ||
      type == NUV_HTTP_EXCEPTION_NETWORK_DISABLED) {
    client->ConnectionLost();
  }
}

void ClientToHandleFileTransfer::NUVHTTPConnectNotificationCallback(int, int) {
  NUVPrintf(NUV_LOG_INFO,
            "[ClientToHandleFileTransfer] -- NUVHTTPConnectNotificationCallback(...)");
}
