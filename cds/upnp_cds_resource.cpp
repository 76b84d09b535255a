#include "upnp_cds_resource.h"
#include "text_util.h"

#include <cstdint>
#include <new>

#include "action_info.h"
#include "client_request.h"
#include "client_to_handle_file_transfer.h"
#include "dms_content_engine.h"
#include "dms_list.h"
#include "dms_server.h"
#include "dms_string.h"
#include "nuv_log.h"

namespace {

constexpr int kInvalidArgs = 402;
constexpr int kNoSuchSource = 714;
constexpr int kNoSuchDestination = 718;

// Progress figures travel as the low 32 bits of the count, read as a signed
// number, as control points have always received them.
std::string wrapped(unsigned long long value) {
  return std::to_string(static_cast<int32_t>(static_cast<uint32_t>(value & 0xffffffffu)));
}

}  // namespace

UPnPCDSResource::UPnPCDSResource(DMSAppActionInfo* actionInfo,
                                 UPnPAppCDSCommandResponseInterface* responder)
    : UPnPCDSImplInterface(actionInfo, responder),
      connectionID_(static_cast<unsigned int>(DMSAppGetDMSConnectionID())) {}

UPnPCDSResource::~UPnPCDSResource() = default;

int UPnPCDSResource::CheckItemForImport(DMSAppString* sourceURI, DMSAppString* destinationURI) {
  const std::string source = text_util::stringOf(sourceURI);
  const std::string destination = text_util::stringOf(destinationURI);
  if (source.empty() || destination.empty() || source == destination) {
    return endAction(kInvalidArgs, nullptr);
  }
  // A security rule of this server: the control point chooses the URL we
  // fetch, so only plain HTTP is fetched (never file://, ftp:// and the like).
  if (!dms_transfer::IsHttpUrl(source)) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSResource] SourceURI is not http:// -- CheckItemForImport");
    return endAction(kInvalidArgs, nullptr);
  }
  sourceURI_ = source;
  destinationURI_ = destination;
  DMSAppString uri(destination.c_str());
  if (NUVCECheckContentForUpload(GetID(), &uri) != 0) return endAction(kNoSuchDestination, nullptr);
  return 0;  // the engine's answer ends the action, maybe already
}

int UPnPCDSResource::CheckItemForExport(DMSAppString* sourceURI, DMSAppString* destinationURI) {
  const std::string source = text_util::stringOf(sourceURI);
  const std::string destination = text_util::stringOf(destinationURI);
  const size_t slash = source.rfind('/');
  if (source.empty() || destination.empty() || source == destination ||
      slash == std::string::npos) {
    return endAction(kInvalidArgs, nullptr);
  }
  // The resource's key is its URL path: what the database keeps as its URI
  // ("/media/12.jpg"), which the tail after the last "/" alone would miss.
  const size_t scheme = source.find("//");
  const size_t pathStart = source.find('/', scheme == std::string::npos ? 0 : scheme + 2);
  const std::string key = pathStart == std::string::npos ? std::string() : source.substr(pathStart);
  if (key.size() <= 1 || !dms_transfer::IsHttpUrl(destination)) {
    return endAction(kInvalidArgs, nullptr);
  }
  sourceURI_ = source;
  destinationURI_ = destination;
  DMSAppString uri(key.c_str());
  if (NUVCECheckContentExistence(GetID(), &uri) != 0) return endAction(kNoSuchSource, nullptr);
  return 0;
}

int UPnPCDSResource::HandleForStopTransferResource(DMSAppString* transferID) {
  if (transferID == nullptr) return 0;
  ClientToHandleFileTransfer* registry = ClientToHandleFileTransfer::GetInstance();
  if (registry == nullptr || !registry->StopFileTransfer(transferID)) {
    return endAction(kInvalidArgs, nullptr);
  }
  NotifyCommandResponse(static_cast<int>(GetID()), NUVCDSWL_RES_STOP_TRANSFER, NUVCDSWL_RES_SUCCESS,
                        0, nullptr, nullptr);
  return 0;
}

int UPnPCDSResource::HandleForGetTransferProgress(DMSAppString* transferID) {
  if (transferID == nullptr) return 0;
  ClientToHandleFileTransfer* registry = ClientToHandleFileTransfer::GetInstance();
  NUVCDSWL_FILETRANSFER_STATUS status = NUVCDSWL_FILETRANSFER_ERROR;
  unsigned long long length = 0;
  unsigned long long total = 0;
  if (registry == nullptr || !registry->GetTransferProgress(transferID, &status, &length, &total)) {
    return endAction(kInvalidArgs, nullptr);
  }
  DMSCDSList list;
  std::unique_ptr<DMSAppString> texts[] = {
      std::unique_ptr<DMSAppString>(dms_cds::newString(TransferStatusText(status))),
      std::unique_ptr<DMSAppString>(dms_cds::newString(wrapped(length))),
      std::unique_ptr<DMSAppString>(dms_cds::newString(wrapped(total)))};
  for (auto& t : texts) {
    if (t == nullptr || list.AddItem(t.get()) != 0) {
      list.RemoveAllListItem(DMSCDSList::Deleter{});
      return endAction(1, nullptr);
    }
  }
  NotifyCommandResponse(static_cast<int>(GetID()), NUVCDSWL_RES_TRANSFER_PROGRESS,
                        NUVCDSWL_RES_SUCCESS, 0, nullptr, &list);
  list.RemoveAllListItem(DMSCDSList::Deleter{});  // the texts above own themselves
  return 0;
}

int UPnPCDSResource::startTransfer(bool checked, bool import, int refusal) {
  if (!checked) return endAction(refusal, nullptr);
  const unsigned int transferID = __GenerateUniqueID();
  DMSAppString source(sourceURI_.c_str());
  DMSAppString destination(destinationURI_.c_str());
  if (import) NUVCESetCreatedContentTransferID(&destination, transferID);
  ClientToHandleFileTransfer* registry = ClientToHandleFileTransfer::GetInstance();
  if (registry == nullptr ||
      !registry->StartHTTPClient(connectionID_, import ? NUV_HTTP_GET : NUV_HTTP_POST, &source,
                                 &destination, transferID)) {
    return endAction(1, nullptr);
  }
  DMSCDSList* out = new (std::nothrow) DMSCDSList();
  if (out == nullptr ||
      dms_cds::appendArgument(out, "TransferID", dms_cds::newString(std::to_string(transferID))) !=
          0) {
    dms_cds::deleteArgumentList(out);
    return endAction(1, nullptr);
  }
  return endAction(0, out);
}

int UPnPCDSResource::NotifyCommandResponse(int, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result,
                                           int, DMSAppString*, DMSCDSList* list) {
  switch (type) {
    case NUVCDSWL_RES_UPLOAD_CHECK:
      startTransfer(result == NUVCDSWL_RES_SUCCESS, true, kNoSuchDestination);
      return 0;
    case NUVCDSWL_RES_EXISTENCE_CHECK:
      startTransfer(result == NUVCDSWL_RES_SUCCESS, false, kNoSuchSource);
      return 0;
    case NUVCDSWL_RES_STOP_TRANSFER:
      endAction(static_cast<int>(result), new (std::nothrow) DMSCDSList());
      return 0;
    case NUVCDSWL_RES_TRANSFER_PROGRESS: {
      DMSCDSList* out = new (std::nothrow) DMSCDSList();
      static const char* const kNames[] = {"TransferStatus", "TransferLength", "TransferTotal"};
      const stDMSCDSListItem* item = list != nullptr ? list->ReadFirstItem() : nullptr;
      for (const char* name : kNames) {
        const auto* value = item != nullptr ? static_cast<DMSAppString*>(item->data) : nullptr;
        if (out == nullptr || value == nullptr ||
            dms_cds::appendArgument(out, name, dms_cds::copyString(value)) != 0) {
          dms_cds::deleteArgumentList(out);
          endAction(1, nullptr);
          return 0;
        }
        item = item->next;
      }
      endAction(static_cast<int>(result), out);
      return 0;
    }
    default:
      NUVPrintf(NUV_LOG_ERROR,
                "[UPnPCDSResource] No case found in switch - NotifyCommandResponse cmd %d",
                static_cast<int>(type));
      return 1;
  }
}
