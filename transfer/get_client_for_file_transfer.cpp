#include "get_client_for_file_transfer.h"

#include <cstdint>
#include <cstdlib>
#include <new>

#include "client_request.h"
#include "client_to_handle_file_transfer.h"
#include "contents_enumerator_argument.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "nuv_log.h"
#include "received_file.h"
#include "temporary_contents_manager.h"
#include "text_util.h"
#include "transfer_limits.h"

namespace {

constexpr unsigned long kNoTimer = 0;

}  // namespace

GETClientForFileTransfer::GETClientForFileTransfer(unsigned int transferID, DMSAppString* source,
                                                   DMSAppString* destination, int profile,
                                                   int connection, unsigned int stackHandle)
    : ClientInterface(transferID, profile, connection),
      source_(text_util::stringOf(source)),
      destination_(text_util::stringOf(destination)),
      stackHandle_(stackHandle) {}

GETClientForFileTransfer::~GETClientForFileTransfer() {
  if (transactionTimer_ != kNoTimer) DMSAppDeleteTimer(transactionTimer_);
  // file_ discards whatever was not registered.
}

bool GETClientForFileTransfer::SendRequest() {
  NUVHTTPClientRequest* request = dms_transfer::FormHeaderMA(NUV_HTTP_GET, source_);
  if (request == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[GETClientForFileTransfer] headerInfo->NULL -- SendRequest");
    end(NUVCDSWL_FILETRANSFER_ERROR);
    return false;
  }
  {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    RestartTempContManagerTimer();
  }
  const int rc = NUVHTTPSendRequest(profile(), GetConnectionID(), request, 1);
  NUVHTTPFreeClientRequest(request);
  if (rc != 0) {
    NUVPrintf(NUV_LOG_ERROR,
              "[GETClientForFileTransfer::SendRequestPacket] Error in Sending packet request!!!");
    end(NUVCDSWL_FILETRANSFER_ERROR);
    return false;
  }
  return true;
}

bool GETClientForFileTransfer::FormFilePath() {
  TemporaryContentsManager* temp = TemporaryContentsManager::existingInstance();
  if (temp == nullptr) return false;
  const std::optional<TempContentSnapshot> entry = temp->findContent(transferID());
  if (entry) path_ = entry->filePath;
  if (path_.empty()) return false;
  file_.reset(new (std::nothrow) UploadFile(path_));
  return file_ != nullptr;
}

bool GETClientForFileTransfer::RecvResponseHeader(stNUVAppList* headerList) {
  NUVHTTPResponseHeaderInfo* info = nullptr;
  if (NUVHTTPGetResponseHeaderInfo(headerList, &info) != 0 || info == nullptr) {
    NUVHTTPReleaseHeaderInfo(headerList);
    return false;  // no record: nothing to learn
  }
  const int status = info->statusCode;
  const unsigned long long length =
      info->contentLength != nullptr ? strtoull(info->contentLength, nullptr, 10) : 0;
  NUVHTTPReleaseHeaderInfo(headerList);
  if (status == 100) return true;  // interim
  if (status != 200) {
    NUVPrintf(NUV_LOG_ERROR, "[GETClientForFileTransfer::RecvResponseHeader] Response status %d",
              status);
    end(NUVCDSWL_FILETRANSFER_ERROR);
    return false;
  }
  NUVPrintf(NUV_LOG_INFO, "200 OK. request response received.");
  bool formed = false;
  {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    total_ = length;
    formed = FormFilePath();
  }
  if (!formed) {
    NUVPrintf(NUV_LOG_ERROR,
              "[GETClientForFileTransfer::RestartTempContManagerTimer] HTTP GET URI not found in "
              "TCE!!!");
    end(NUVCDSWL_FILETRANSFER_ERROR);
    return false;
  }
  return true;
}

bool GETClientForFileTransfer::StoreContent(char* data, int length) {
  if (file_ == nullptr) return false;
  NUVPrintf(NUV_LOG_DUMP, "[GETClientForFileTransfer::StoreContent] downloading file path is [%s]",
            path_.c_str());
  if (length <= 0) {
    NUVPrintf(NUV_LOG_DUMP, "[GETClientForFileTransfer::StoreContent] ZERO packet Received.");
    return true;
  }
  NUVPrintf(NUV_LOG_DUMP, "[GETClientForFileTransfer::StoreContent] Received packet size [%d]",
            length);
  if (file_->Write(data, static_cast<size_t>(length), received_) != 0) return false;
  received_ += static_cast<unsigned long long>(length);
  return true;
}

bool GETClientForFileTransfer::HandlePayLoad(char* data, int length, bool last) {
  bool stored = false;
  {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (status_ != NUVCDSWL_FILETRANSFER_IN_PROGRESS) return false;
    stored = StoreContent(data, length);
    if (stored && !last) {
      RestartTempContManagerTimer();
      return true;
    }
  }
  if (!stored && !last) {
    NUVPrintf(NUV_LOG_ERROR,
              "[GETClientForFileTransfer::HandlePayLoad] Storing content failed. Delete the file "
              "and close the HTTP profile.");
    NUVPrintf(NUV_LOG_ERROR,
              "SG GETClientForFileTransfer::HandlePayLoad file transfer is incomplete");
    end(NUVCDSWL_FILETRANSFER_ERROR);
    return false;
  }
  NUVPrintf(NUV_LOG_INFO,
            "[GETClientForFileTransfer::HandlePayLoad] End of response data recieved.");
  const bool registered = stored && DownloadCompleteRegisterContent();
  // A file that could not become content is no completed import.
  end(registered ? NUVCDSWL_FILETRANSFER_COMPLETED : NUVCDSWL_FILETRANSFER_ERROR);
  return registered;
}

bool GETClientForFileTransfer::DownloadCompleteRegisterContent() {
  NUVPrintf(NUV_LOG_INFO,
            "[GETClientForFileTransfer::__DownloadCompleteRegisterContent] Inside Download "
            "complete register content");
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (file_ == nullptr || !file_->Close()) return false;
  return dms_transfer::RegisterReceivedFile(file_.get(), destination_,
                                            static_cast<int>(stackHandle_)) ==
         dms_transfer::Registration::kRegistered;
}

void GETClientForFileTransfer::RemoveFile() {
  if (file_ != nullptr) file_->Discard();
}

void GETClientForFileTransfer::end(NUVCDSWL_FILETRANSFER_STATUS status) {
  {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (status_ != NUVCDSWL_FILETRANSFER_IN_PROGRESS) return;
    status_ = status;
    if (status != NUVCDSWL_FILETRANSFER_COMPLETED) RemoveFile();
    if (transactionTimer_ != kNoTimer) DMSAppDeleteTimer(transactionTimer_);
    transactionTimer_ = kNoTimer;
  }
  stopProfile();
  NUVPrintf(NUV_LOG_INFO,
            "[GETClientForFileTransfer::HandlePayLoad] Wait for %dMs to close the transfer "
            "information.",
            static_cast<int>(ClientToHandleFileTransfer::LingerMs()));
  startAutoDestroy();
}

bool GETClientForFileTransfer::GetTransferProgress(NUVCDSWL_FILETRANSFER_STATUS* status,
                                                   unsigned long long* length,
                                                   unsigned long long* total) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  *status = status_;
  *length = received_;
  *total = total_;
  return true;
}

void GETClientForFileTransfer::RestartTempContManagerTimer() {
  // Re-armed at most once a second while data flows (see transfer_limits.h).
  const auto now = std::chrono::steady_clock::now();
  if (lastRestart_ != std::chrono::steady_clock::time_point{} &&
      now - lastRestart_ < std::chrono::milliseconds(dms_transfer::kUploadTimerRestartIntervalMs)) {
    return;
  }
  lastRestart_ = now;
  if (transactionTimer_ != kNoTimer) DMSAppDeleteTimer(transactionTimer_);
  DMSAppString name(
      ("GETCLIENTTIMER" + std::to_string(transferID()) + "-" + std::to_string(GetConnectionID()))
          .c_str());
  transactionTimer_ = DMSAppCreateTimer(&name);
  if (transactionTimer_ != kNoTimer) {
    DMSAppStartTimer(transactionTimer_, ClientToHandleFileTransfer::TransactionMs(),
                     &GETTransactionTimeout,
                     reinterpret_cast<void*>(static_cast<uintptr_t>(GetConnectionID())));
  }
  // The created object lives on while its import runs.
  TemporaryContentsManager* temp = TemporaryContentsManager::existingInstance();
  if (temp == nullptr) return;
  TemporaryContentsLock lock(temp);
  const std::optional<TempContentSnapshot> entry = lock.contentOf(transferID());
  if (!entry) {
    NUVPrintf(NUV_LOG_ERROR,
              "[GETClientForFileTransfer::RestartTempContManagerTimer] HTTP GET URI not found in "
              "TCE!!!");
  } else {
    lock.restartAutoDestroyTimer(entry->contentID);
  }
}

void GETClientForFileTransfer::GETTransactionTimeout(unsigned long timer, unsigned long connection,
                                                     bool) {
  ClientToHandleFileTransfer* registry = ClientToHandleFileTransfer::GetInstance();
  std::shared_ptr<ClientInterface> client =
      registry == nullptr ? nullptr
                          : registry->FindInstanceInMappingList(static_cast<int>(connection));
  auto* get = dynamic_cast<GETClientForFileTransfer*>(client.get());
  if (get != nullptr) get->onTransactionTimeout(timer);
}

void GETClientForFileTransfer::onTransactionTimeout(unsigned long timer) {
  {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (timer != transactionTimer_) return;  // replaced meanwhile
    transactionTimer_ = kNoTimer;
  }
  NUVPrintf(NUV_LOG_ERROR,
            "[GETClientForFileTransfer::GETTransactionTimeout] GET Transaction is timeouted, close "
            "the connection [%d]!!!",
            GetConnectionID());
  end(NUVCDSWL_FILETRANSFER_ERROR);
}
