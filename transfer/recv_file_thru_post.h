// RecvFileThruPOST: receives one upload over HTTP POST into an object that a
// control point created with CreateObject, then registers the file as that
// object's content.
//
// The request target names the created object's file (see upload_names.h).
// Three refusals are this server's own security rules, answered before a
// byte is written: a target that does not name a file in the shared folder
// (403), a file no created object waits for (403; otherwise any client
// could fill the card), and a declared body larger than the configured
// maximum ("MAX-UPLOAD-SIZE", bytes) or the free space (413). A second upload
// into an object already being uploaded is refused with 409.
//
// The body is written piece by piece at the running offset into a hidden
// file (upload_file.h) that becomes the object's file when the last piece
// has arrived and at least the declared length was received. Two timers
// guard the upload: the handler's transaction timer (40 s without data
// closes the connection and deletes the partial file) and the created
// object's auto-destroy timer (35 s), both restarted while data flows.
//
// Lifecycle: created by the transfer server on the POST header and deleted
// through its registry (socket closed, or the delayed removal after a
// time-out). An upload that does not finish leaves no file; its created
// object stays until its own auto-destroy timer removes it, so that a client
// may try again meanwhile.
//
// Threads: HandleHeader and HandlePayload run on the connection's thread,
// the time-out on the timer thread; all of them with the registry's lock
// held (ServerToHandleFileTransfer::WithInstance for the time-out).
#ifndef DMS_TRANSFER_RECV_FILE_THRU_POST_H
#define DMS_TRANSFER_RECV_FILE_THRU_POST_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "server_interface.h"
#include "upload_file.h"

class DMSAppString;

class RecvFileThruPOST : public ServerInterface {
 public:
  RecvFileThruPOST(unsigned int profileId, int profile, int connection);
  ~RecvFileThruPOST() override;

  // Takes the header list. True when the upload may go ahead (its body
  // pieces follow); false after a refusal (answered with its status).
  bool HandleHeader(stNUVAppList* headerList) override;
  // True while the upload goes on and after it completed; false when this
  // piece ended it unsuccessfully.
  bool HandlePayload(int profile, int connection, eHTTPVersion version, int length,
                     eHTTPMessageType method, char* data, char* target, bool last) override;
  // Sends a 200 header-only response; true.
  bool SendResponse(int reason) override;

  // The transaction timer callback; `connection` names the handler.
  static void POSTTransactionTimeout(unsigned long timer, unsigned long connection, bool expired);

  // Test seams: the transaction time-out (kPostTransactionTimeoutMs by
  // default) and the least time between two timer restarts
  // (kUploadTimerRestartIntervalMs).
  static void SetTimeoutsForTest(unsigned long transactionMs, unsigned long restartIntervalMs);

 private:
  bool FormFilePath(DMSAppString* target);
  bool StorePacket(char* data, int length);
  void RestartTempContManagerTimer();
  static bool RemoveFile(RecvFileThruPOST* handler);
  bool DownloadCompleteRegisterContent(char* target, DMSAppString* path);

  // Answers `status` with an empty body and Connection: close.
  void sendStatus(int status);
  // The refusals of the header (0 when the upload may go ahead).
  int refusalStatus(long long contentLength);
  void onTransactionTimeout(unsigned long timer);
  void endProfile();

  std::unique_ptr<DMSAppString> path_;  // shared folder + file name
  int activeProfile_;                   // -1 once the transfer is stopped
  uint64_t bytesWritten_ = 0;
  std::unique_ptr<UploadFile> file_;
  std::string pathUtf8_;  // for the log
  const unsigned int profileId_;
  std::string target_;      // the request target as received
  std::string methodName_;  // further texts of the request record
  std::string clientAddress_;
  int http11_ = 1;
  int64_t contentLength_ = 0;  // declared length, 0 when none
  std::string timerName_;
  unsigned long transactionTimer_ = 0;
  bool claimed_ = false;   // this upload holds the created object
  bool finished_ = false;  // the file became the object's content
  uint64_t maxBytes_ = 0;  // configured cap, 0 for none
  std::chrono::steady_clock::time_point lastRestart_{};
};

#endif  // DMS_TRANSFER_RECV_FILE_THRU_POST_H
