// ClientToHandleFileTransfer: the process-wide owner of the client transfers
// (ImportResource downloads, ExportResource uploads). It starts one client
// profile of the stack per transfer, keeps the transfers by connection and
// TransferID, routes the stack's client notifications to them, answers stop
// and progress queries, and removes each transfer 30 s after its end,
// announcing the TransferIDs left.
//
// Threads: every member may be called from any thread. The registry's lock
// is held only to find, add or remove an entry; the transfers are shared
// (std::shared_ptr), so a notification in progress keeps its transfer alive
// while the registry lets it go.
#ifndef DMS_TRANSFER_CLIENT_TO_HANDLE_FILE_TRANSFER_H
#define DMS_TRANSFER_CLIENT_TO_HANDLE_FILE_TRANSFER_H

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "client_interface.h"
#include "nuv_http.h"

class DMSAppString;

class ClientToHandleFileTransfer {
 public:
  static ClientToHandleFileTransfer* GetInstance();
  // Stops every transfer (their partial files go) and deletes the registry.
  static void DestroyInstance();

  // Starts an import (GET: `source` into the created object of
  // `destination`) or an export (POST: our `source` to `destination`) as
  // transfer `transferID`. True when the transfer exists afterwards (its
  // request may still fail, ending as ERROR).
  bool StartHTTPClient(unsigned int connectionID, eHTTPMessageType method, DMSAppString* source,
                       DMSAppString* destination, unsigned int transferID);
  // Stops the transfer with that decimal ID as STOPPED; false when unknown.
  bool StopFileTransfer(DMSAppString* transferID);
  // False for a missing argument or an unknown transfer.
  bool GetTransferProgress(DMSAppString* transferID, NUVCDSWL_FILETRANSFER_STATUS* status,
                           unsigned long long* length, unsigned long long* total);
  // The TransferIDs of all live transfers, in decimal, joined with ",".
  std::string GetTransferIDCSVList();
  int InstanceCount();

  // Timer callback: removes the transfer of `connection`.
  static void AutoDestroyCallback(unsigned long timer, unsigned long connection, bool expired);

  // The stack's client notifications.
  static void NUVHTTPResponseReceiveCallback(int profile, int connection, eHTTPVersion version,
                                             int length, char* data, bool last, int error);
  static void NUVHTTPResponseHeaderInfoNotificationCallback(int profile, int connection,
                                                            stNUVAppList* headerList, int error);
  static void NUVHTTPSendRequestCallback(int profile, int connection, int error);
  static void NUVHTTPExceptionNotificationCallback(int profile, int connection,
                                                   eExceptionType type);
  static void NUVHTTPConnectNotificationCallback(int profile, int connection);

  // Test seam: the delays of the removal after the end and of the
  // transaction time-out (kClientTransferLingerMs, kClientTransactionTimeoutMs).
  static void SetDelaysForTest(unsigned long lingerMs, unsigned long transactionMs);
  static unsigned long LingerMs();
  static unsigned long TransactionMs();

  // The transfer of `connection`, or null.
  std::shared_ptr<ClientInterface> FindInstanceInMappingList(int connection);

 private:
  struct Entry {
    int profile;
    int connection;
    std::shared_ptr<ClientInterface> client;
    eHTTPMessageType method;
  };

  ClientToHandleFileTransfer() = default;
  std::shared_ptr<ClientInterface> FindInstanceInMappingListByTransferID(unsigned int id);
  std::shared_ptr<ClientInterface> RemoveInstance(int connection);
  void announceTransferIDs();

  std::mutex mutex_;  // guards entries_
  std::vector<Entry> entries_;
};

#endif  // DMS_TRANSFER_CLIENT_TO_HANDLE_FILE_TRANSFER_H
