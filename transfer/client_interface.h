// ClientInterface: the base of the client transfers, one per ImportResource
// (GETClientForFileTransfer) or ExportResource (POSTClientForFileTransfer),
// each on a client profile of the stack of its own.
//
// Threads: the stack's notifications arrive on its client thread, stop and
// progress queries on action threads, the timers on the timer thread. Each
// transfer guards its state with its own mutex and never holds it while it
// asks the stack to stop its profile (the stack may wait for its client
// thread, which may be about to call the transfer).
#ifndef DMS_TRANSFER_CLIENT_INTERFACE_H
#define DMS_TRANSFER_CLIENT_INTERFACE_H

#include <atomic>
#include <mutex>

#include "nuv_http.h"
#include "transfer_status.h"

class ClientInterface {
 public:
  virtual ~ClientInterface() = default;
  ClientInterface(const ClientInterface&) = delete;
  ClientInterface& operator=(const ClientInterface&) = delete;

  // Sends the transfer's request; false (the transfer then ends as ERROR)
  // when it could not be started.
  virtual bool SendRequest() = 0;
  // A response header (the list is the transfer's to release).
  virtual bool RecvResponseHeader(stNUVAppList* headerList) = 0;
  // A piece of the response body; `last` ends it.
  virtual bool HandlePayLoad(char* data, int length, bool last) = 0;
  // The request body wants its next piece.
  virtual bool SendMoreRequest() = 0;
  // The exchange failed (exception 2) or ended (exception 6) before the
  // transfer knew its outcome: it ends as ERROR.
  void ConnectionLost() { end(NUVCDSWL_FILETRANSFER_ERROR); }
  // Stops the transfer with `status` (STOPPED on request); true.
  virtual bool StopTransfer(NUVCDSWL_FILETRANSFER_STATUS status) {
    end(status);
    return true;
  }
  virtual bool GetTransferProgress(NUVCDSWL_FILETRANSFER_STATUS* status, unsigned long long* length,
                                   unsigned long long* total) = 0;

  int GetConnectionID() const { return connection_; }
  int profile() const { return profile_; }
  unsigned int transferID() const { return transferID_; }

 protected:
  ClientInterface(unsigned int transferID, int profile, int connection)
      : transferID_(transferID), profile_(profile), connection_(connection) {}

  // Ends the transfer with `status` unless it has ended already: its
  // profile stopped and its removal scheduled. Called without mutex_.
  virtual void end(NUVCDSWL_FILETRANSFER_STATUS status) = 0;
  // Stops the profile once (the stack's end of this transfer); call it
  // without holding mutex_.
  void stopProfile();
  // Starts the timer that removes this transfer 30 s after its end.
  void startAutoDestroy();

  std::recursive_mutex mutex_;  // guards the derived classes' state
  std::atomic<bool> profileStopped_{false};

 private:
  const unsigned int transferID_;
  const int profile_;
  const int connection_;
  std::atomic<bool> autoDestroyStarted_{false};
};

#endif  // DMS_TRANSFER_CLIENT_INTERFACE_H
