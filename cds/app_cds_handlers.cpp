// UPnPAppCDS: the per-action handlers. Each checks its arguments, then starts
// the object that serves the action, or answers at once.
//
#include <memory>
#include <new>

#include "action_arguments.h"
#include "action_info.h"
#include "app_cds.h"
#include "browse_search_argument.h"
#include "cds_impl_manager.h"
#include "dms_content_engine.h"
#include "dms_conversions.h"
#include "dms_list.h"
#include "nuv_log.h"
#include "upnp_cds_browse.h"
#include "upnp_cds_object.h"
#include "upnp_cds_resource.h"

int UPnPAppCDS::endWithoutObject(int code, DMSAppActionInfo* actionInfo) {
  NotifyCommandResponse(code, actionInfo, nullptr, 0);
  delete actionInfo;
  return code;
}

template <typename Implementation>
Implementation* UPnPAppCDS::startImplementation(DMSAppActionInfo* actionInfo) {
  // Registered before it starts: the engine may answer before it returns.
  auto* object = new (std::nothrow) Implementation(actionInfo, this);
  if (object == nullptr) {
    endWithoutObject(1, actionInfo);
    return nullptr;
  }
  if (object->SetID(UPnPCDSImplManager::GetInstance()->Add(object))->GetID() == 0) {
    NotifyCommandResponse(1, actionInfo, nullptr, 0);
    delete object;  // takes the record with it
    return nullptr;
  }
  return object;
}

int UPnPAppCDS::__Browse(DMSAppActionInfo* actionInfo) {
  std::unique_ptr<BrowseSearchArgument> argument(new (std::nothrow) BrowseSearchArgument());
  if (argument == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__Browse] Memory Allocation Fail!!! __Browse");
    return endWithoutObject(1, actionInfo);
  }
  const int code = dms_cds::decodeBrowseArguments(actionInfo, &serviceType_, argument.get());
  if (code != 0) return endWithoutObject(code, actionInfo);
  // Registered before it starts: the engine may answer before GetItems returns.
  auto* browse = new (std::nothrow) UPnPCDSBrowse(actionInfo, this);
  if (browse == nullptr) return endWithoutObject(1, actionInfo);
  if (browse->SetID(UPnPCDSImplManager::GetInstance()->Add(browse))->GetID() == 0) {
    NotifyCommandResponse(1, actionInfo, nullptr, 0);
    delete browse;  // takes the record with it
    return 1;
  }
  return browse->GetItems(argument.release(), actionInfo, nullptr);
}

int UPnPAppCDS::__CreateObject(DMSAppActionInfo* actionInfo) {
  dms_cds::CreateObjectRequest request;
  const int code = dms_cds::decodeCreateObjectArguments(actionInfo, &request);
  if (code != 0) return endWithoutObject(code, actionInfo);
  if (request.containerID == nullptr || request.elements == nullptr) {
    // An argument never appeared: no answer goes out (the stack's time-out
    // answers the control point). Kept as control points have seen it.
    delete actionInfo;
    return 0;
  }
  auto* object = startImplementation<UPnPCDSObject>(actionInfo);
  if (object == nullptr) return 1;
  return object->CreateItem(request.containerID.get(), request.elements.get());
}

int UPnPAppCDS::__ImportResource(DMSAppActionInfo* actionInfo) {
  dms_cds::ResourceRequest request;
  const int code = dms_cds::decodeImportResourceArguments(actionInfo, &request);
  if (code != 0) return endWithoutObject(code, actionInfo);
  if (request.sourceURI == nullptr || request.destinationURI == nullptr) {
    delete actionInfo;  // as CreateObject: nothing is sent
    return 0;
  }
  auto* resource = startImplementation<UPnPCDSResource>(actionInfo);
  if (resource == nullptr) return 1;
  return resource->CheckItemForImport(request.sourceURI.get(), request.destinationURI.get());
}

int UPnPAppCDS::__ExportResource(DMSAppActionInfo* actionInfo) {
  dms_cds::ResourceRequest request;
  const int code = dms_cds::decodeExportResourceArguments(actionInfo, &request);
  if (code != 0) return endWithoutObject(code, actionInfo);
  if (request.sourceURI == nullptr || request.destinationURI == nullptr) {
    delete actionInfo;  // as CreateObject: nothing is sent
    return 0;
  }
  auto* resource = startImplementation<UPnPCDSResource>(actionInfo);
  if (resource == nullptr) return 1;
  return resource->CheckItemForExport(request.sourceURI.get(), request.destinationURI.get());
}

int UPnPAppCDS::__DestroyObject(DMSAppActionInfo* actionInfo) {
  std::unique_ptr<DMSAppString> objectID;
  const int code = dms_cds::decodeDestroyObjectArguments(actionInfo, &objectID);
  if (code != 0) return endWithoutObject(code, actionInfo);
  auto* object = startImplementation<UPnPCDSObject>(actionInfo);
  if (object == nullptr) return 1;
  return object->RemoveItem(objectID.get());
}

int UPnPAppCDS::__StopTransferResource(DMSAppActionInfo* actionInfo) {
  std::unique_ptr<DMSAppString> transferID;
  const int code = dms_cds::decodeStopTransferResourceArguments(actionInfo, &transferID);
  if (code != 0) return endWithoutObject(code, actionInfo);
  // No TransferID argument at all: answered as an unknown transfer, so that
  // the action never stays open.
  if (transferID == nullptr) return endWithoutObject(402, actionInfo);
  auto* resource = startImplementation<UPnPCDSResource>(actionInfo);
  if (resource == nullptr) return 1;
  return resource->HandleForStopTransferResource(transferID.get());
}

int UPnPAppCDS::__GetTransferProgress(DMSAppActionInfo* actionInfo) {
  std::unique_ptr<DMSAppString> transferID;
  const int code = dms_cds::decodeGetTransferProgressArguments(actionInfo, &transferID);
  if (code != 0) return endWithoutObject(code, actionInfo);
  // No TransferID argument at all: answered as an unknown transfer, so that
  // the action never stays open.
  if (transferID == nullptr) return endWithoutObject(402, actionInfo);
  auto* resource = startImplementation<UPnPCDSResource>(actionInfo);
  if (resource == nullptr) return 1;
  return resource->HandleForGetTransferProgress(transferID.get());
}

// ---- Synchronous actions: the dispatcher frees the record ----

int UPnPAppCDS::refuseAnyArgument(DMSAppActionInfo* actionInfo, const char* handler) {
  if (dms_cds::argumentCount(actionInfo) == 0) return 0;
  NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::%s] Invalid arguments!!!, UPnPError = %d", handler, 402);
  NotifyCommandResponse(402, actionInfo, nullptr, 0);
  return 402;
}

int UPnPAppCDS::__X_GetFeatureList(DMSAppActionInfo* actionInfo) {
  if (const int code = refuseAnyArgument(actionInfo, "__X_GetFeatureList")) return code;
  // The feature document travels XML-escaped as the one out-argument.
  std::unique_ptr<DMSAppString> document(NUVCEGetBasicViewInfomationMA());
  std::unique_ptr<DMSAppString> escaped(
      document ? DMSAppConversions::DMSAppEscapeXmlValue(document.get()) : nullptr);
  DMSCDSList* out = escaped ? new (std::nothrow) DMSCDSList() : nullptr;
  if (out == nullptr || dms_cds::appendArgument(out, "FeatureList", escaped.release()) != 0) {
    if (out != nullptr) dms_cds::deleteArgumentList(out);
    NotifyCommandResponse(1, actionInfo, nullptr, 0);
    return 1;
  }
  return NotifyCommandResponse(0, actionInfo, out, 0);
}

namespace {

// Logged when a query's state variable cannot be read; the texts are matched
// by the camera's log filters as they stand.
void logSearchCapabilitiesFailure(int result) {
  NUVPrintf(NUV_LOG_ERROR,
            "[UPnPAppCDS::__GetSearchCapabilities] Error at __GetSearchCapabilities > SearchCaps "
            "res %d",
            result);
}

void logSortCapabilitiesFailure(int result) {
  NUVPrintf(NUV_LOG_ERROR,
            "[UPnPAppCDS::__GetSortCapabilities] Error at GetSortCapabilities > SortCaps res %d",
            result);
}

void logSystemUpdateIDFailure(int result) {
  NUVPrintf(NUV_LOG_ERROR,
            "[UPnPAppCDS::__GetSystemUpdateID] Error at GetSortCapabilities > SortCaps res %d",
            result);
}

}  // namespace

int UPnPAppCDS::answerFromStateVariable(DMSAppActionInfo* actionInfo, const char* handler,
                                        const char* stateVariable, const char* outName,
                                        void (*logFailure)(int result)) {
  if (const int code = refuseAnyArgument(actionInfo, handler)) return code;
  DMSAppString variable(stateVariable);
  DMSAppString name(outName);
  dms_cds::ArgumentListPtr out(new (std::nothrow) DMSCDSList());
  const int result = out != nullptr ? __GetArgumentFromSV(&variable, &name, out.get()) : 1;
  if (result != 0) logFailure(result);
  NotifyCommandResponse(result, actionInfo, out.release(), 0);
  return result;
}

int UPnPAppCDS::__GetSearchCapabilities(DMSAppActionInfo* actionInfo) {
  return answerFromStateVariable(actionInfo, "__GetSearchCapabilities", "SearchCapabilities",
                                 "SearchCaps", logSearchCapabilitiesFailure);
}

int UPnPAppCDS::__GetSortCapabilities(DMSAppActionInfo* actionInfo) {
  return answerFromStateVariable(actionInfo, "__GetSortCapabilities", "SortCapabilities",
                                 "SortCaps", logSortCapabilitiesFailure);
}

int UPnPAppCDS::__GetSystemUpdateID(DMSAppActionInfo* actionInfo) {
  return answerFromStateVariable(actionInfo, "__GetSystemUpdateID", "SystemUpdateID", "Id",
                                 logSystemUpdateIDFailure);
}
