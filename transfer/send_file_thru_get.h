// SendFileThruGet: the handler of one GET or HEAD request for a stored
// resource, a thumbnail or a screennail. HandleHeader checks the request's
// DLNA headers, resolves the URL through the media database, parses a Range
// header and sends the response header; SendResponse then sends one piece of
// at most 20480 bytes each time the stack reports the previous one sent.
//
// Several ranges: the body is deliberately not framed as multipart. The
// response (200, Content-Type "multipart/byteranges; boundary=
// DLNA_MIME_BOUNDARY", no Content-Length) carries the bytes of the first
// range alone, unframed, and ends with the connection: renderers of the
// field never ask for several ranges, and this keeps one code path for every
// body. A first range that is open or a suffix runs to the resource's end.
//
// Ownership: the handler owns the request's header list from HandleHeader on
// and releases it there; the open file and the buffers until it is deleted.
// Threads: see ServerInterface.
#ifndef DMS_TRANSFER_SEND_FILE_THRU_GET_H
#define DMS_TRANSFER_SEND_FILE_THRU_GET_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "dms_mem_ptr.h"
#include "server_interface.h"

class DMSAppString;
class DMSCDSList;

class SendFileThruGet : public ServerInterface {
 public:
  SendFileThruGet(int profile, int connection);
  ~SendFileThruGet() override;

  bool HandleHeader(stNUVAppList* headerList) override;
  bool SendResponse(int reason) override;
  // A GET carries no body: only logged.
  bool HandlePayload(int profile, int connection, eHTTPVersion version, int length,
                     eHTTPMessageType method, char* data, char* target, bool last) override;

 private:
  // ---- HandleHeader's steps (send_file_thru_get.cpp) ----
  // Fills uri_, path_, mime_ and the thumbnail fields; false when the
  // database does not know the URL.
  bool RetriveFilePath(DMSAppString* url);
  bool __Refuse(int status);  // error reply, header released; false
  int __PrepareWhole(NUVHTTPResponseHeaderInfo* response);
  int __PrepareOneRange(NUVHTTPResponseHeaderInfo* response, DMSCDSList* ranges);
  int __PrepareSeveralRanges(NUVHTTPResponseHeaderInfo* response, DMSCDSList* ranges);
  int64_t __ResourceSize() const;
  void __ShiftIntoThumbnail();
  FILE* __GetFileFD();
  void __HTTPSendErrorResponse(int code);
  void __ReleaseRequest();
  void __CloseFile();

  // ---- Request and response headers (send_file_headers.cpp) ----
  // One request header by name: a new text or null.
  DMSAppMemText __GetDlnaHeaders(const char* name) const;
  DMSAppMemText _GetValueOfHeader(const char* name) const;
  int __GetRangeList(const char* value, DMSCDSList* ranges);
  int __GetRange(DMSCDSList* ranges, int64_t* start, int64_t* end);
  int __FindResponseType(DMSCDSList* ranges);
  bool __CheckContentFeatures() const;
  bool __CheckHostField() const;
  bool __CheckTimeSeekRange() const;
  bool __CheckTrnasferMode(const char* mime, int* status) const;
  void __AddContentFeaturesResponseHeader(stNUVAppList* headers) const;
  void __AddTransferModeResponseHeader(stNUVAppList* headers, const char* mime) const;
  void __AddConnectionResponseHeader(NUVHTTPResponseHeaderInfo* response) const;
  static std::string __GetRangeValue(int64_t start, int64_t end, int64_t total);
  std::string __GetContetFeatures(const char* path) const;

  // ---- Body (send_file_body.cpp) ----
  size_t __ReadWhole(char* buffer);
  size_t __ReadRange(char* buffer, bool* last);
  size_t __ReadFile(char* buffer, size_t wanted);
  void __SendPiece(size_t length, bool last);

  FILE* file_ = nullptr;
  int responseType_ = 1;
  int thumbnailOffset_ = 0;
  int thumbnailSize_ = 0;
  bool thumbnail_ = false;
  std::unique_ptr<char[]> sendBuffer_;
  int64_t totalSent_ = 0;
  DMSAppMemText imageBuffer_;  // an in-memory thumbnail
  int videoThumbnail_ = 0;
  int substitutePicture_ = 0;
  int64_t memoryPosition_ = 0;  // read position inside imageBuffer_
  int64_t position_ = 0;
  int64_t endPosition_ = 0;
  int64_t total_ = 0;
  int64_t streamPosition_ = -1;  // where file_ stands, to skip needless seeks

  stNUVAppList* headerList_ = nullptr;           // owned during HandleHeader
  NUVHTTPRequestHeaderInfo* request_ = nullptr;  // inside headerList_
  std::string uri_;                              // the resolved URL path
  std::string path_;
  std::string mime_;
};

#endif  // DMS_TRANSFER_SEND_FILE_THRU_GET_H
