#include "recv_file_thru_post.h"

#include <sys/statvfs.h>

#include <atomic>
#include <cinttypes>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "nuv_config.h"
#include "nuv_log.h"
#include "received_file.h"
#include "server_to_handle_file_transfer.h"
#include "temporary_contents_manager.h"
#include "transfer_limits.h"
#include "upload_names.h"

namespace {

constexpr const char* kMaxUploadKey = "MAX-UPLOAD-SIZE";
constexpr int kForbidden = 403;
constexpr int kConflict = 409;
constexpr int kTooLarge = 413;
constexpr int kServerError = 500;

std::atomic<unsigned long> gTransactionMs{dms_transfer::kPostTransactionTimeoutMs};
std::atomic<unsigned long> gRestartIntervalMs{dms_transfer::kUploadTimerRestartIntervalMs};

const char* textOf(const DMSAppString* s) {
  return s != nullptr && s->ReadString() != nullptr ? s->ReadString() : "";
}

// The configured cap in bytes; 0 (none) when unset or not a number.
uint64_t configuredMaxBytes() {
  char* value = NUVGetConfigurationMA(kMaxUploadKey);
  uint64_t bytes = 0;
  if (value != nullptr) {
    char* end = nullptr;
    const unsigned long long parsed = strtoull(value, &end, 10);
    if (end != value && *end == '\0') bytes = parsed;
  }
  DMSAppMemFree(value);
  return bytes;
}

// Bytes a normal user may still write in the folder of `path`.
bool freeBytes(const std::string& path, uint64_t* bytes) {
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  struct statvfs fs {};
  if (statvfs(folder.c_str(), &fs) != 0) return false;
  *bytes = static_cast<uint64_t>(fs.f_bavail) * static_cast<uint64_t>(fs.f_frsize);
  return true;
}

NUVHTTPResponseHeaderInfo* newResponse(int status, int http11) {
  auto* response = static_cast<NUVHTTPResponseHeaderInfo*>(
      DMSAppMemCallocMA(1, sizeof(NUVHTTPResponseHeaderInfo)));
  if (response != nullptr) {
    response->statusCode = status;
    response->http11 = http11;
  }
  return response;
}

}  // namespace

RecvFileThruPOST::RecvFileThruPOST(unsigned int profileId, int profile, int connection)
    : ServerInterface(profile, connection), activeProfile_(profile), profileId_(profileId) {
  timerName_ = "RecvFileThruPostTimer" + std::to_string(profileId) + std::to_string(profile) +
               std::to_string(connection);
}

RecvFileThruPOST::~RecvFileThruPOST() {
  if (transactionTimer_ != 0) DMSAppDeleteTimer(transactionTimer_);
  // An upload that did not finish leaves no file. Its created object is
  // left to its auto-destroy timer (restarted with the last data): removing
  // the object's entry here would stop that timer and leave its rows behind.
  if (file_ != nullptr && !finished_) file_->Discard();
  if (claimed_) {
    TemporaryContentsLock lock(TemporaryContentsManager::existingInstance());
    if (lock.manager() != nullptr) lock.manager()->ReleaseUpload(path_.get(), connection_);
  }
}

void RecvFileThruPOST::SetTimeoutsForTest(unsigned long transactionMs,
                                          unsigned long restartIntervalMs) {
  gTransactionMs.store(transactionMs);
  gRestartIntervalMs.store(restartIntervalMs);
}

void RecvFileThruPOST::sendStatus(int status) {
  NUVHTTPResponseHeaderInfo* response = newResponse(status, http11_);
  if (response == nullptr) return;
  response->connection = strdup("close");
  response->contentLength = strdup("0");
  NUVHTTPSendResponse(profile_, connection_, response, 1);
  FreeResponseHeader(response);
}

bool RecvFileThruPOST::FormFilePath(DMSAppString* target) {
  // A security rule of this server: the target must name one file of the
  // shared folder (see upload_names.h). Any other path, "..", an encoded
  // separator, a NUL or a backslash is refused, so nothing is ever written
  // outside the folder.
  const std::string name = dms_upload::UploadFileNameFromTarget(textOf(target));
  std::unique_ptr<DMSAppString> shared(DMSAppGetDMSSharedFilePath());
  std::string folder = textOf(shared.get());
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  if (name.empty() || folder.empty()) {
    NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::FormFilePath] Refused upload target [%s]",
              textOf(target));
    return false;
  }
  const std::string path = folder + "/" + name;
  path_.reset(new (std::nothrow) DMSAppString(path.c_str()));
  if (path_ == nullptr || path_->ReadString() == nullptr) return false;
  pathUtf8_ = path;
  file_.reset(new (std::nothrow) UploadFile(path));
  if (file_ == nullptr) return false;
  NUVPrintf(NUV_LOG_INFO, "[RecvFileThruPOST::FormFilePath] POST Uploading new file path = %s",
            pathUtf8_.c_str());
  return true;
}

int RecvFileThruPOST::refusalStatus(long long contentLength) {
  {
    TemporaryContentsLock lock(TemporaryContentsManager::existingInstance());
    if (!lock.contentOf(path_.get())) {
      NUVPrintf(NUV_LOG_ERROR,
                "[RecvFileThruPOST::HandleHeader] No created object waits for [%s]: refused",
                pathUtf8_.c_str());
      return kForbidden;
    }
  }
  maxBytes_ = configuredMaxBytes();
  uint64_t available = 0;
  if (contentLength > 0 &&
      ((maxBytes_ != 0 && static_cast<uint64_t>(contentLength) > maxBytes_) ||
       (freeBytes(pathUtf8_, &available) && static_cast<uint64_t>(contentLength) > available))) {
    NUVPrintf(NUV_LOG_ERROR,
              "[RecvFileThruPOST::HandleHeader] Upload of %lld bytes is above the limit or the "
              "free space: refused",
              contentLength);
    return kTooLarge;
  }
  TemporaryContentsLock lock(TemporaryContentsManager::existingInstance());
  if (lock.manager() == nullptr || lock.manager()->ClaimUpload(path_.get(), connection_) != 1) {
    NUVPrintf(NUV_LOG_ERROR,
              "[RecvFileThruPOST::HandleHeader] [%s] is being uploaded already: refused",
              pathUtf8_.c_str());
    return kConflict;
  }
  claimed_ = true;
  return 0;
}

bool RecvFileThruPOST::HandleHeader(stNUVAppList* headerList) {
  if (headerList == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::HandleHeader] In -Param NULL");
    return false;
  }
  NUVHTTPRequestHeaderInfo* info = nullptr;
  if (NUVHTTPGetRequestHeaderInfo(headerList, &info) != 0 || info == nullptr ||
      info->target == nullptr) {
    NUVHTTPReleaseHeaderInfo(headerList);
    return false;
  }
  // Step 3 first: refusals answer in the request's own HTTP version.
  http11_ = info->version == NUV_HTTP_VERSION_1_0 ? 0 : 1;
  target_ = info->target;
  DMSAppString target(info->target);
  if (!FormFilePath(&target)) {
    NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::HandleHeader] In -FormFilePath FALSE");
    sendStatus(kForbidden);
    NUVHTTPReleaseHeaderInfo(headerList);
    return false;
  }
  if (const int status = refusalStatus(info->contentLength)) {
    sendStatus(status);
    NUVHTTPReleaseHeaderInfo(headerList);
    return false;
  }
  RestartTempContManagerTimer();
  if (info->methodName != nullptr) methodName_ = info->methodName;
  if (info->clientAddress != nullptr) clientAddress_ = info->clientAddress;
  contentLength_ = info->contentLength > 0 ? info->contentLength : 0;
  // Step 4. The stack answers the expectation itself; the 100 is handed
  // over all the same, as the stack's other back ends expect it.
  if (info->expectContinue != 0) {
    NUVHTTPResponseHeaderInfo* response = newResponse(100, 1);
    if (response == nullptr) {
      NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::HandleHeader] Send response failed !!!");
    } else {
      NUVPrintf(NUV_LOG_INFO, "[RecvFileThruPOST::HandleHeader] Sending POST 100 continue header.");
      NUVHTTPSendResponse(profile_, connection_, response, 0);
      FreeResponseHeader(response);
    }
  }
  NUVHTTPReleaseHeaderInfo(headerList);
  return true;
}

bool RecvFileThruPOST::StorePacket(char* data, int length) {
  if (data == nullptr || length < 0) {
    NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::StorePacket] Invalid packet !!!");
    return false;
  }
  NUVPrintf(NUV_LOG_DUMP, "[RecvFileThruPOST::StorePacket] Store data size [%d]", length);
  if (length == 0) return true;
  if (maxBytes_ != 0 && bytesWritten_ + static_cast<uint64_t>(length) > maxBytes_) {
    NUVPrintf(NUV_LOG_ERROR,
              "[RecvFileThruPOST::StorePacket] Upload grows beyond %" PRIu64 " bytes: stopped",
              maxBytes_);
    return false;
  }
  if (!file_->opened() && file_->Write(data, 0, 0) != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::StorePacket] Error file open error!!!");
    return false;
  }
  const uint64_t offset = bytesWritten_;
  bytesWritten_ += static_cast<uint64_t>(length);
  const int error = file_->Write(data, static_cast<size_t>(length), offset);
  if (error != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::StorePacket] Write Error !!!%d, %d", length,
              error);
    return false;
  }
  return true;
}

void RecvFileThruPOST::endProfile() {
  NUVHTTPStopHTTPProfile(profile_, connection_);  // this request only
  activeProfile_ = -1;
}

bool RecvFileThruPOST::HandlePayload(int profile, int connection, eHTTPVersion, int length,
                                     eHTTPMessageType, char* data, char* target, bool last) {
  if (profile != profile_ || connection != connection_ || target == nullptr || target_ != target) {
    return false;
  }
  // Refused, stopped or done: later pieces are dropped.
  if (!claimed_ || activeProfile_ < 0 || finished_) return false;
  const bool stored = StorePacket(data, length);
  if (!stored && !last) {
    NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::HandlePayload] Error happened!!!");
    endProfile();
    RemoveFile(this);
    return false;
  }
  if (!last) {
    RestartTempContManagerTimer();
    return true;
  }
  NUVPrintf(NUV_LOG_INFO, "[RecvFileThruPOST::HandlePayload] End of file signal received...");
  const bool closed = file_->Close();
  if (!stored || !closed || bytesWritten_ < static_cast<uint64_t>(contentLength_)) {
    NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST] .. Incomplete FILE..");
    if (!file_->Discard()) {
      NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::HandlePayload] Remove file failed.!!!");
    }
    return false;
  }
  if (!DownloadCompleteRegisterContent(target, path_.get())) {
    // Not the plain 200 of an accepted body: the client must not believe
    // its file became content when it did not.
    sendStatus(kServerError);
    return false;
  }
  NUVPrintf(NUV_LOG_INFO, "[RecvFileThruPOST] Sending 200 OK");
  return SendResponse(0);
}

bool RecvFileThruPOST::SendResponse(int) {
  NUVHTTPResponseHeaderInfo* response = newResponse(200, http11_);
  if (response == nullptr) return true;
  response->contentLength = strdup("0");
  NUVHTTPSendResponse(profile_, connection_, response, 1);
  FreeResponseHeader(response);
  return true;
}

void RecvFileThruPOST::RestartTempContManagerTimer() {
  const auto now = std::chrono::steady_clock::now();
  if (lastRestart_ != std::chrono::steady_clock::time_point{} &&
      now - lastRestart_ < std::chrono::milliseconds(gRestartIntervalMs.load())) {
    return;
  }
  lastRestart_ = now;
  TemporaryContentsLock lock(TemporaryContentsManager::existingInstance());
  const std::optional<TempContentSnapshot> entry = lock.contentOf(path_.get());
  if (!entry) {
    NUVPrintf(NUV_LOG_ERROR,
              "[RecvFileThruPOST] No such path in TempContManager --  RestartTempContManagerTimer");
    return;
  }
  if (transactionTimer_ != 0) DMSAppDeleteTimer(transactionTimer_);
  DMSAppString name(timerName_.c_str());
  transactionTimer_ = DMSAppCreateTimer(&name);
  const unsigned long transactionMs = gTransactionMs.load();
  if (transactionTimer_ == 0) {
    NUVPrintf(NUV_LOG_ERROR,
              "[RecvFileThruPOST::RestartTempContManagerTimer] DMSAppCreateTimer returned invalid "
              "handle for transaction timer!!");
  } else {
    // The connection identifier, not the handler's address: the handler may
    // be gone when the timer fires.
    DMSAppStartTimer(transactionTimer_, transactionMs, &POSTTransactionTimeout,
                     reinterpret_cast<void*>(static_cast<uintptr_t>(connection_)));
    NUVPrintf(NUV_LOG_DUMP,
              "[RecvFileThruPOST::RestartTempContManagerTimer] Start Socket %dMs Timer...",
              static_cast<int>(transactionMs));
  }
  const unsigned long lifetimeMs = TemporaryContentsManager::GetAutoDestroyDelay();
  if (lock.restartAutoDestroyTimer(entry->contentID) == 0) {
    NUVPrintf(NUV_LOG_ERROR,
              "[RecvFileThruPOST] DMSAppCreateTimer returned invalid handle -- AddContent");
  } else {
    NUVPrintf(NUV_LOG_DUMP,
              "[RecvFileThruPOST::RestartTempContManagerTimer] Start AutoDestroy %dMs Timer...",
              static_cast<int>(lifetimeMs));
  }
}

void RecvFileThruPOST::POSTTransactionTimeout(unsigned long timer, unsigned long connection, bool) {
  if (!ServerToHandleFileTransfer::HasInstance()) return;
  ServerToHandleFileTransfer::GetInstance()->WithInstance(
      static_cast<int>(connection), [timer](ServerInterface* handler) {
        auto* upload = dynamic_cast<RecvFileThruPOST*>(handler);
        if (upload != nullptr) upload->onTransactionTimeout(timer);
      });
}

void RecvFileThruPOST::onTransactionTimeout(unsigned long timer) {
  if (timer != transactionTimer_) return;  // replaced meanwhile: not this upload's time-out
  transactionTimer_ = 0;
  NUVPrintf(NUV_LOG_ERROR,
            "[RecvFileThruPOST::POSTTransactionTimeout] POST Transaction is timeouted, close the "
            "connection [%d]!!!",
            connection_);
  if (activeProfile_ >= 0) {
    endProfile();
    RemoveFile(this);
  }
  DMSAppString name(("POST_TIMEOUT" + std::to_string(connection_)).c_str());
  const unsigned long removal = DMSAppCreateTimer(&name);
  if (removal == 0 ||
      DMSAppStartTimer(removal, 1, &ServerToHandleFileTransfer::DestroyObjectCallback,
                       reinterpret_cast<void*>(static_cast<uintptr_t>(connection_))) != 1) {
    NUVPrintf(NUV_LOG_ERROR,
              "[RecvFileThruPOST::RestartTempContManagerTimer] Certain memory leak, Sorry memory I "
              "cannot help.");
    return;
  }
  NUVPrintf(NUV_LOG_INFO,
            "[RecvFileThruPOST::RestartTempContManagerTimer] Remove the post instance.");
}

bool RecvFileThruPOST::RemoveFile(RecvFileThruPOST* handler) {
  if (handler == nullptr || handler->file_ == nullptr) return false;
  NUVPrintf(NUV_LOG_INFO,
            "[RecvFileThruPOST::POSTTransactionTimeout] Closing the partial file [%s]",
            handler->pathUtf8_.c_str());
  if (!handler->file_->Close()) {
    NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::RemoveFile] Close file failed.!!!");
  }
  NUVPrintf(NUV_LOG_INFO,
            "[RecvFileThruPOST::POSTTransactionTimeout] Deleting the partial file [%s]",
            handler->pathUtf8_.c_str());
  if (!handler->file_->Discard()) {
    NUVPrintf(NUV_LOG_ERROR, "[RecvFileThruPOST::RemoveFile] Remove file failed.!!!");
    return false;
  }
  return true;
}

bool RecvFileThruPOST::DownloadCompleteRegisterContent(char* target, DMSAppString*) {
  NUVPrintf(NUV_LOG_INFO, "Inside Download complete register content");
  const dms_transfer::Registration result =
      dms_transfer::RegisterReceivedFile(file_.get(), target, static_cast<int>(profileId_));
  switch (result) {
    case dms_transfer::Registration::kRegistered:
      finished_ = true;  // the file belongs to its object from here on
      return true;
    case dms_transfer::Registration::kNoObject:
      NUVPrintf(NUV_LOG_ERROR,
                "[RecvFileThruPOST::DownloadCompleteRegisterContent] Temp content not present in "
                "TempContentsManager - Check addition during CreateObject");
      return false;
    case dms_transfer::Registration::kNotPlaced:
      NUVPrintf(NUV_LOG_ERROR,
                "[RecvFileThruPOST::DownloadCompleteRegisterContent] Could not move the upload to "
                "[%s]",
                pathUtf8_.c_str());
      return false;
    default:
      finished_ = true;  // the removal took the file with the object
      return false;
  }
}
