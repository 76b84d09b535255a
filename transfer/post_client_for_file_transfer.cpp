#include "post_client_for_file_transfer.h"

#include <cinttypes>
#include <cstring>

#include "client_request.h"
#include "client_to_handle_file_transfer.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "multimedia_db_connector.h"
#include "nuv_log.h"
#include "text_util.h"
#include "transfer_limits.h"

namespace {

// The path of a URL ("http://host:port/media/2.jpg" -> "/media/2.jpg"): the
// resource's URI as the database keeps it.
std::string pathOfUrl(const std::string& url) {
  const size_t scheme = url.find("//");
  const size_t slash = url.find('/', scheme == std::string::npos ? 0 : scheme + 2);
  return slash == std::string::npos ? std::string() : url.substr(slash);
}

}  // namespace

void POSTClientForFileTransfer::FileCloser::operator()(FILE* f) const { DMSAppCloseFile(f); }

POSTClientForFileTransfer::POSTClientForFileTransfer(DMSAppString* source,
                                                     DMSAppString* destination, int profile,
                                                     int connection, unsigned int transferID)
    : ClientInterface(transferID, profile, connection),
      source_(text_util::stringOf(source)),
      destination_(text_util::stringOf(destination)) {}

POSTClientForFileTransfer::~POSTClientForFileTransfer() = default;

bool POSTClientForFileTransfer::FormFilePath() {
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  if (db == nullptr) return false;
  DMSAppString uri(pathOfUrl(source_).c_str());
  std::unique_ptr<DMSAppString> path(db->GetFilePathFromURI(&uri));
  std::unique_ptr<DMSAppString> mime(db->GetMimeTypeFromURI(&uri));
  std::unique_ptr<DMSAppString> profile(db->GetDLNAProfileNameFromURI(&uri));
  path_ = text_util::stringOf(path.get());
  mimeType_ = text_util::stringOf(mime.get());
  profileName_ = text_util::stringOf(profile.get());
  if (mimeType_.empty()) {
    NUVPrintf(NUV_LOG_ERROR, "[POSTClientForFileTransfer::FormFilePath] mpMimeType is NULL!!!");
    return false;
  }
  if (profileName_.empty()) {
    // A file without a DLNA profile is still exported, announced with the
    // wildcard: refusing it would keep most photos and movies at home.
    NUVPrintf(NUV_LOG_INFO, "[POSTClientForFileTransfer::FormFilePath] mpPN is NULL!!!");
  }
  const int64_t size = DMSAppGetFileSize(path_.c_str());
  if (path_.empty() || size < 0) return false;
  fileSize_ = static_cast<unsigned long long>(size);
  return true;
}

stNUVAppList* POSTClientForFileTransfer::BuildAdditionalHeaders() {
  stNUVAppList* headers = NUVListCreate();
  const std::string features = profileName_.empty() || profileName_ == "*"
                                   ? std::string("*")
                                   : "DLNA.ORG_PN=" + profileName_;
  if (headers == nullptr ||
      NUVHTTPAddAdditionalHeaderValue(headers, "transferMode.dlna.org", "Background") != 0 ||
      NUVHTTPAddAdditionalHeaderValue(headers, "contentFeatures.dlna.org", features.c_str()) != 0 ||
      NUVHTTPAddAdditionalHeaderValue(headers, "Content-Type", mimeType_.c_str()) != 0) {
    FreeAdditionalHeaders(headers);
    return nullptr;
  }
  return headers;
}

bool POSTClientForFileTransfer::SendRequest() {
  bool formed = false;
  {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    formed = FormFilePath();
  }
  NUVHTTPClientRequest* request =
      formed ? dms_transfer::FormHeaderMA(NUV_HTTP_POST, destination_) : nullptr;
  stNUVAppList* extra = request != nullptr ? BuildAdditionalHeaders() : nullptr;
  if (request == nullptr || extra == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[POSTClientForFileTransfer] Cant form path -- SendRequestPacket");
    FreeAdditionalHeaders(extra);
    NUVHTTPFreeClientRequest(request);
    end(NUVCDSWL_FILETRANSFER_ERROR);
    return false;
  }
  const int count = NUVListGetCount(extra);
  bool ok = true;
  for (int i = 0; ok && i < count; ++i) {
    auto* h = static_cast<stNUVHeader*>(NUVListGetItemData(extra, i));
    ok = NUVHTTPAddAdditionalHeaderValue(request->additionalHeaders, h->name, h->value) == 0;
  }
  FreeAdditionalHeaders(extra);
  request->expectContinue = 1;
  request->contentLength = static_cast<long long>(fileSize_);
  NUVPrintf(NUV_LOG_INFO,
            "[POSTClientForFileTransfer::SendRequestPacket] Sending POST Request Profile ID [%d].",
            profile());
  const int rc = ok ? NUVHTTPSendRequest(profile(), GetConnectionID(), request, 0) : 1;
  NUVHTTPFreeClientRequest(request);
  if (rc != 0) {
    end(NUVCDSWL_FILETRANSFER_ERROR);
    return false;
  }
  return true;
}

bool POSTClientForFileTransfer::RecvResponseHeader(stNUVAppList* headerList) {
  NUVHTTPResponseHeaderInfo* info = nullptr;
  if (NUVHTTPGetResponseHeaderInfo(headerList, &info) != 0 || info == nullptr) {
    NUVHTTPReleaseHeaderInfo(headerList);
    return false;
  }
  const int status = info->statusCode;
  NUVHTTPReleaseHeaderInfo(headerList);
  if (status == 100) {
    NUVPrintf(NUV_LOG_INFO, "100 continue  POST request response received. sending the data");
    return true;
  }
  // Any success status completes: receivers answer 200, 201 or 204.
  if (status >= 200 && status < 300) {
    NUVPrintf(NUV_LOG_INFO, "200 OK. Response recieved");
    end(NUVCDSWL_FILETRANSFER_COMPLETED);
    return true;
  }
  NUVPrintf(NUV_LOG_ERROR,
            "[POSTClientForFileTransfer::RecvResponseHeader] Error Response received [%d]", status);
  end(NUVCDSWL_FILETRANSFER_ERROR);
  return false;
}

long POSTClientForFileTransfer::FormPacket(bool* last) {
  if (file_ == nullptr) {
    NUVPrintf(NUV_LOG_INFO,
              "[POSTClientForFileTransfer::FormPacket] Open file for POST streaming [%s]",
              path_.c_str());
    file_.reset(DMSAppOpenFile(path_.c_str(), DMSAPP_FILE_READ));
    if (file_ == nullptr) {
      NUVPrintf(NUV_LOG_ERROR, "[POSTClientForFileTransfer::FormPacket] Open file failed!!!");
      return -1;
    }
    NUVPrintf(NUV_LOG_INFO, "[POSTClientForFileTransfer::FormPacket] File size [%lld]",
              static_cast<long long>(fileSize_));
    buffer_.resize(dms_transfer::kExportPieceBytes);
  }
  const size_t n = fread(buffer_.data(), 1, buffer_.size(), file_.get());
  if (n < buffer_.size() && ferror(file_.get())) return -1;
  *last = n < buffer_.size() || sent_ + n >= fileSize_;
  if (*last) {
    NUVPrintf(NUV_LOG_INFO,
              "[POSTClientForFileTransfer::FormPacket] File read done. Closing the file.");
    file_.reset();
  }
  return static_cast<long>(n);
}

bool POSTClientForFileTransfer::SendMoreRequest() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (status_ != NUVCDSWL_FILETRANSFER_IN_PROGRESS || bodyDone_) return false;
  bool last = false;
  long n = FormPacket(&last);
  if (n < 0) {
    NUVPrintf(NUV_LOG_ERROR,
              "[POSTClientForFileTransfer::SendMoreRequest] Error during file formaing packet. "
              "Profile ID [%d]",
              profile());
    n = 0;
    last = true;
  }
  NUVPrintf(NUV_LOG_DUMP,
            "[POSTClientForFileTransfer::SendMoreRequest] Sending Packet Size [%d] Profile ID [%d]",
            static_cast<int>(n), profile());
  bodyDone_ = last;
  sent_ += static_cast<unsigned long long>(n);
  return NUVHTTPSendPacket(profile(), GetConnectionID(), buffer_.data(), static_cast<int>(n),
                           last ? 1 : 0) == 0;
}

bool POSTClientForFileTransfer::HandlePayLoad(char*, int, bool) {
  NUVPrintf(NUV_LOG_DUMP,
            "[POSTClientForFileTransfer] Not supposed to get payload for this request - "
            "HandlePayLoad()");
  return false;
}

void POSTClientForFileTransfer::end(NUVCDSWL_FILETRANSFER_STATUS status) {
  {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (status_ != NUVCDSWL_FILETRANSFER_IN_PROGRESS) return;
    status_ = status;
    const long long count = NUVHTTPGetTransferBytesCount(profile());
    if (count >= 0) sent_ = static_cast<unsigned long long>(count);
    file_.reset();
  }
  stopProfile();
  startAutoDestroy();
}

bool POSTClientForFileTransfer::GetTransferProgress(NUVCDSWL_FILETRANSFER_STATUS* status,
                                                    unsigned long long* length,
                                                    unsigned long long* total) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  *status = status_;
  *total = fileSize_;
  if (profileStopped_.load()) {
    NUVPrintf(NUV_LOG_DUMP,
              "[POSTClientForFileTransfer::GetTransferProgress] Transfer would have completed "
              "already.");
    *length = sent_;
    return true;
  }
  const long long count = NUVHTTPGetTransferBytesCount(profile());
  *length = count >= 0 ? static_cast<unsigned long long>(count) : sent_;
  NUVPrintf(NUV_LOG_DUMP,
            "[POSTClientForFileTransfer::GetTransferProgress] Total bytes transfered till now "
            "[%lld]  profile ID [%d]",
            static_cast<long long>(*length), profile());
  return true;
}
