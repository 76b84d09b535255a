// UPnPAppCDS: receiving an action from the stack, the action table and the
// remote-viewfinder hook.
#include <initializer_list>
#include <memory>
#include <mutex>
#include <new>

#include "action_info.h"
#include "app_cds.h"
#include "camera_actions.h"
#include "dms_camera.h"
#include "dms_list.h"
#include "nuv_dms.h"
#include "nuv_log.h"

namespace {

std::mutex gInstanceMutex;
UPnPAppCDS* gInstance = nullptr;

const char* textOf(const DMSAppString* s) {
  return s != nullptr && s->ReadString() != nullptr ? s->ReadString() : "";
}

// A copy of a text from the stack: a null text gives an empty string. Null
// only when memory runs out.
DMSAppString* copyStackText(const char* text) {
  auto* copy = new (std::nothrow) DMSAppString(text != nullptr ? text : "");
  if (copy != nullptr && copy->ReadString() == nullptr) {
    delete copy;
    return nullptr;
  }
  return copy;
}

// A copy for an argument field: null stays null (the handlers skip a null
// name and read a null value as ""). False when memory runs out.
bool copyArgumentText(const char* text, DMSAppString** out) {
  *out = nullptr;
  if (text == nullptr) return true;
  *out = copyStackText(text);
  return *out != nullptr;
}

// Appends a copy of every stack argument to `list`; false when memory runs
// out (what was appended stays in the list).
bool copyArguments(stNUVAppList* request, DMSCDSList* list) {
  stNUVAppList* arguments = nullptr;
  if (HNuvDMSGetActionArgumentList(request, &arguments) != 0 || arguments == nullptr) return true;
  if (NUVListSetFirstItem(arguments) != 0) return true;  // no arguments
  for (void* data = NUVListGetCurrentItemData(arguments); data != nullptr;
       data = NUVListGetNextItem(arguments) != nullptr ? NUVListGetCurrentItemData(arguments)
                                                       : nullptr) {
    const auto* pair = static_cast<const stNUVArgument*>(data);
    auto* argument = new (std::nothrow) AppArgumentList();
    if (argument == nullptr) return false;
    if (!copyArgumentText(pair->name, &argument->name) ||
        !copyArgumentText(pair->value, &argument->value) || list->AddItem(argument) != 0) {
      delete argument;
      return false;
    }
  }
  return true;
}

// Standard ContentDirectory actions this server declines on purpose (602).
bool isDeclinedStandardAction(const DMSAppString* name) {
  for (const char* declined : {"Search", "UpdateObject", "DeleteResource", "CreateReference"})
    if (name != nullptr && name->CompareI(declined) == 0) return true;
  return false;
}

}  // namespace

UPnPAppCDS* UPnPAppCDS::GetInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  if (gInstance == nullptr) gInstance = new UPnPAppCDS();
  return gInstance;
}

void UPnPAppCDS::DestroyInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  delete gInstance;
  gInstance = nullptr;
  dms_cds::dropCameraActions();
}

UPnPAppCDS::UPnPAppCDS()
    : serviceType_("urn:schemas-upnp-org:service:ContentDirectory"),
      versionedServiceType_("urn:schemas-upnp-org:service:ContentDirectory:1") {}

UPnPAppCDS::~UPnPAppCDS() = default;

int UPnPAppCDS::HandleCDSActionRequest(int connectionID, int actionID, stNUVAppList* request) {
  // The stack's request is released exactly once, also when a copy below
  // throws; so are the copies.
  struct ReleaseRequest {
    stNUVAppList* request;
    void now() {
      if (request == nullptr) return;
      HNuvDMSReleaseUIRequestData(request);
      request = nullptr;
    }
    ~ReleaseRequest() { now(); }
  } release{request};
  char* rawName = nullptr;
  if (HNuvDMSGetActionName(request, &rawName) != 0) rawName = nullptr;
  std::unique_ptr<DMSAppString> name(copyStackText(rawName));
  std::unique_ptr<DMSAppString> ip;
  dms_cds::ArgumentListPtr arguments;
  bool copied = false;
  if (name == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS] Memory allocation failed!!! for pszActionName %d, %s",
              __LINE__, "HandleCDSActionRequest");
  } else {
    char* rawIP = nullptr;
    if (HNuvDMSGetCPIPAddress(request, &rawIP) != 0) rawIP = nullptr;
    ip.reset(copyStackText(rawIP));
    if (ip == nullptr) {
      NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS] Memory allocation failed!!! for pszIPAddress %d, %s",
                __LINE__, "HandleCDSActionRequest");
    } else if (arguments.reset(new (std::nothrow) DMSCDSList()),
               arguments == nullptr || !copyArguments(request, arguments.get())) {
      NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS] Memory allocation failed!!! for pListForApp %d, %s",
                __LINE__, "HandleCDSActionRequest");
    } else {
      copied = true;
    }
  }
  // Nothing of the stack's is held beyond this point.
  release.now();
  if (!copied) {
    arguments.reset();
    __SendErrorSOAPMessage(connectionID, actionID, &serviceType_, 500, 501);
    return 1;
  }
  ProcessHTTPSOAPRequest(connectionID, actionID, name.get(), ip.get(), arguments.release());
  return 0;
}

int UPnPAppCDS::ProcessHTTPSOAPRequest(int connectionID, int actionID, DMSAppString* actionName,
                                       DMSAppString* ipAddress, DMSCDSList* arguments) {
  // The arguments are ours until the record holds them.
  dms_cds::ArgumentListPtr owned(arguments);
  NUVPrintf(NUV_LOG_INFO, "[UPnPAppCDS::ProcessHTTPSOAPRequest] %s, %s", textOf(actionName),
            textOf(ipAddress));
  auto* actionInfo = new (std::nothrow)
      DMSAppActionInfo(connectionID, actionID, &serviceType_, actionName, ipAddress, arguments);
  if (actionInfo == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[UPnPAppCDS::ProcessHTTPSOAPRequest] Memory allocation failed!!! DMSAppActionInfo");
    owned.reset();
    __SendErrorSOAPMessage(connectionID, actionID, &serviceType_, 500, 501);
    return 1;
  }
  owned.release();
  return __DispatchAction(actionInfo);
}

int UPnPAppCDS::__DispatchAction(DMSAppActionInfo* actionInfo) {
  struct ActionEntry {
    const char* name;
    int (UPnPAppCDS::*handler)(DMSAppActionInfo*);
    bool synchronous;  // the dispatcher frees the record after the handler
  };
  // Matched in this order; the first hit wins.
  static const ActionEntry kActionTable[] = {
      {"GetSearchCapabilities", &UPnPAppCDS::__GetSearchCapabilities, true},
      {"GetSortCapabilities", &UPnPAppCDS::__GetSortCapabilities, true},
      {"GetSystemUpdateID", &UPnPAppCDS::__GetSystemUpdateID, true},
      {"Browse", &UPnPAppCDS::__Browse, false},
      {"CreateObject", &UPnPAppCDS::__CreateObject, false},
      {"ImportResource", &UPnPAppCDS::__ImportResource, false},
      {"ExportResource", &UPnPAppCDS::__ExportResource, false},
      {"DestroyObject", &UPnPAppCDS::__DestroyObject, false},
      {"StopTransferResource", &UPnPAppCDS::__StopTransferResource, false},
      {"GetTransferProgress", &UPnPAppCDS::__GetTransferProgress, false},
      {"X_GetFeatureList", &UPnPAppCDS::__X_GetFeatureList, true},
  };

  // The record is the dispatcher's, and freed however the dispatch ends,
  // until an asynchronous handler or the camera takes it.
  std::unique_ptr<DMSAppActionInfo> owned(actionInfo);
  NUVPrintf(NUV_LOG_INFO, "UPnPAppCDS::%s () is called", "__DispatchAction");
  if (actionInfo == nullptr) {
    NUVPrintf(
        NUV_LOG_ERROR,
        "[UPnPAppCDS::__DispatchAction] Invalid Arguments!!! __DispatchAction, UPnPError = %d",
        501);
    return 501;
  }
  const DMSAppString* name = actionInfo->ReadActionName();
  for (const ActionEntry& entry : kActionTable) {
    if (name == nullptr || name->CompareI(entry.name) != 0) continue;
    if (!entry.synchronous) owned.release();
    return (this->*entry.handler)(actionInfo);
  }

  const int taken = __RVFProcessAction(actionInfo);
  if (taken != 0) {
    owned.release();
    return taken;
  }
  const int code = isDeclinedStandardAction(name) ? 602 : 401;
  NUVPrintf(NUV_LOG_ERROR,
            "[UPnPAppCDS::__DispatchAction] Action dispatch failed!!!, UPnPError = %d", code);
  __SendErrorSOAPMessage(actionInfo->GetConnectionID(), actionInfo->GetActionID(), &serviceType_,
                         500, code);
  return code;
}

// The hook answers later through the token. A hook that answers and still
// returns 0 has taken the action all the same: its answer was the one reply.
int UPnPAppCDS::__RVFProcessAction(DMSAppActionInfo* actionInfo) {
  DmsRVFHook hook = DmsGetRVFHook();
  if (hook == nullptr || actionInfo == nullptr) return 0;
  void* token = dms_cds::openCameraAction(actionInfo);
  if (token == nullptr) return 0;
  const int taken = hook(textOf(actionInfo->ReadActionName()), textOf(actionInfo->ReadIPAddress()),
                         token, &dms_cds::respondToCameraAction);
  if (taken != 0) return taken;
  return dms_cds::takeCameraAction(token) == nullptr ? 1 : 0;
}

extern "C" void DMSAppCDSActionCallback(int connectionID, int actionID, stNUVAppList* request) {
  bool handed = false;  // from then on HandleCDSActionRequest releases the request
  try {
    UPnPAppCDS* cds = UPnPAppCDS::GetInstance();
    handed = true;
    cds->HandleCDSActionRequest(connectionID, actionID, request);
  } catch (...) {
    if (!handed) HNuvDMSReleaseUIRequestData(request);
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS] Action %d dropped: out of memory", actionID);
  }
}
