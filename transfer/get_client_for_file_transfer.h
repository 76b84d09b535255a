// GETClientForFileTransfer: one ImportResource. Downloads SourceURI into the
// file of the object that CreateObject made for DestinationURI, through a
// hidden file (upload_file.h), and registers it at the end like an upload.
//
// Statuses: IN_PROGRESS from the start; COMPLETED when the body ended and
// the file became the object's content; ERROR for a status other than 200,
// a failed write, a lost connection, 30 s without data, or a file that is
// not readable media; STOPPED on request. Every end but COMPLETED deletes
// the partial file and stops the profile; the registry removes the transfer
// 30 s after its end.
#ifndef DMS_TRANSFER_GET_CLIENT_FOR_FILE_TRANSFER_H
#define DMS_TRANSFER_GET_CLIENT_FOR_FILE_TRANSFER_H

#include <chrono>
#include <memory>
#include <string>

#include "client_interface.h"
#include "upload_file.h"

class DMSAppString;

class GETClientForFileTransfer : public ClientInterface {
 public:
  // `stackHandle` announces the registration.
  GETClientForFileTransfer(unsigned int transferID, DMSAppString* source, DMSAppString* destination,
                           int profile, int connection, unsigned int stackHandle);
  ~GETClientForFileTransfer() override;

  bool SendRequest() override;
  bool RecvResponseHeader(stNUVAppList* headerList) override;
  bool HandlePayLoad(char* data, int length, bool last) override;
  bool SendMoreRequest() override { return false; }
  bool GetTransferProgress(NUVCDSWL_FILETRANSFER_STATUS* status, unsigned long long* length,
                           unsigned long long* total) override;

  // The transaction timer (`connection` names the transfer).
  static void GETTransactionTimeout(unsigned long timer, unsigned long connection, bool expired);

 private:
  bool FormFilePath();
  bool StoreContent(char* data, int length);
  void RestartTempContManagerTimer();
  void RemoveFile();
  bool DownloadCompleteRegisterContent();
  void end(NUVCDSWL_FILETRANSFER_STATUS status) override;
  void onTransactionTimeout(unsigned long timer);

  std::string source_;
  std::string destination_;
  std::string path_;
  std::unique_ptr<UploadFile> file_;
  NUVCDSWL_FILETRANSFER_STATUS status_ = NUVCDSWL_FILETRANSFER_IN_PROGRESS;
  unsigned long long received_ = 0;
  unsigned long long total_ = 0;
  unsigned long transactionTimer_ = 0;
  std::chrono::steady_clock::time_point lastRestart_{};
  const unsigned int stackHandle_;
};

#endif  // DMS_TRANSFER_GET_CLIENT_FOR_FILE_TRANSFER_H
