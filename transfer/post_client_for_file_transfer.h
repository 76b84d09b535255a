// POSTClientForFileTransfer: one ExportResource. Sends one of our files, the
// resource named by SourceURI, to DestinationURI as the body of a POST with
// "Expect: 100-continue", its Content-Length and the DLNA headers
// transferMode.dlna.org "Background", contentFeatures.dlna.org
// "DLNA.ORG_PN=<profile>" and the file's Content-Type.
//
// Statuses: IN_PROGRESS from the start; COMPLETED on a 2xx answer; ERROR on
// any other answer, a lost connection or an unreadable file; STOPPED on
// request. The registry removes the transfer 30 s after its end.
#ifndef DMS_TRANSFER_POST_CLIENT_FOR_FILE_TRANSFER_H
#define DMS_TRANSFER_POST_CLIENT_FOR_FILE_TRANSFER_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "client_interface.h"

class DMSAppString;

class POSTClientForFileTransfer : public ClientInterface {
 public:
  POSTClientForFileTransfer(DMSAppString* source, DMSAppString* destination, int profile,
                            int connection, unsigned int transferID);
  ~POSTClientForFileTransfer() override;

  bool SendRequest() override;
  bool RecvResponseHeader(stNUVAppList* headerList) override;
  bool HandlePayLoad(char* data, int length, bool last) override;
  bool SendMoreRequest() override;
  bool GetTransferProgress(NUVCDSWL_FILETRANSFER_STATUS* status, unsigned long long* length,
                           unsigned long long* total) override;

 private:
  struct FileCloser {
    void operator()(FILE* f) const;
  };

  bool FormFilePath();
  stNUVAppList* BuildAdditionalHeaders();
  // Reads the next piece into buffer_; its length, 0 at the end, -1 on error.
  long FormPacket(bool* last);
  void end(NUVCDSWL_FILETRANSFER_STATUS status) override;

  std::string source_;
  std::string destination_;
  std::string path_;
  std::string mimeType_;
  std::string profileName_;
  unsigned long long fileSize_ = 0;
  unsigned long long sent_ = 0;
  std::unique_ptr<FILE, FileCloser> file_;
  std::vector<char> buffer_;
  bool bodyDone_ = false;
  NUVCDSWL_FILETRANSFER_STATUS status_ = NUVCDSWL_FILETRANSFER_IN_PROGRESS;
};

#endif  // DMS_TRANSFER_POST_CLIENT_FOR_FILE_TRANSFER_H
