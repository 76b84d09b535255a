// The fake stack's device side and the fake camera. See fake_stack.h.
#include "fake_stack.h"

#include <cstdlib>
#include <cstring>

#include "dms_camera.h"

namespace {

enum class Kind { Action, Acl, Exception };

// What a request handle made by the builders points to (its only item).
struct FakeRequest {
  Kind kind;
  std::string name;  // action name or device name
  std::string ip;    // control point, device or interface address
  stNUVAppList* arguments = nullptr;
  int aclType = 0;
  int eventType = 0;
  std::string mac;
  int exceptionType = 0;
};

FakeRequest* newRequest(Kind kind, const std::string& name, const std::string& ip) {
  auto* request = new FakeRequest();
  request->kind = kind;
  request->name = name;
  request->ip = ip;
  return request;
}

FakeRequest* requestOf(stNUVAppList* handle) {
  return static_cast<FakeRequest*>(NUVListGetItemData(handle, 0));
}

stNUVAppList* wrap(FakeRequest* request) {
  stNUVAppList* handle = NUVListCreate();
  NUVListAddItem(handle, request);
  FakeStack::instance().requestMade();
  return handle;
}

void destroyRequest(stNUVAppList* handle) {
  FakeRequest* request = requestOf(handle);
  if (request == nullptr) return;
  NUVListDestroy(request->arguments, NUVListFreePair);
  delete request;
  NUVListDestroy(handle, nullptr);
  FakeStack::instance().requestReleased();
}

char* duplicate(const std::string& text) {
  char* copy = static_cast<char*>(malloc(text.size() + 1));
  memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

std::string str(const char* text) { return text == nullptr ? "(null)" : text; }

std::string num(long long value) { return std::to_string(value); }

FakeStack& fake() { return FakeStack::instance(); }

DmsRVFHook gHook = nullptr;

int declineAll(const char*, const char*, void*, DmsRVFRespond) { return 0; }

}  // namespace

FakeStack::FakeStack() { reset(); }

FakeStack& FakeStack::instance() {
  static FakeStack* stack = new FakeStack();  // lives as long as the process
  return *stack;
}

void FakeStack::reset() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  calls_.clear();
  responses_.clear();
  uiEvents_.clear();
  state_.clear();
  const std::string cds = "urn:schemas-upnp-org:service:ContentDirectory";
  state_[cds + "|SystemUpdateID"] = "0";
  state_[cds + "|SearchCapabilities"] = "";
  state_[cds + "|SortCapabilities"] = "";
  state_[cds + "|ContainerUpdateIDs"] = "";
  state_[cds + "|TransferIDs"] = "";
  callbacks_ = stNUVDMSCallbacks{};
  descriptionDir_.clear();
  initializeResult = 0;
  connectionID = 0;
  startResult = 0;
  stopResult = 0;
  terminateResult = 1;
  aliveResult = 0;
  setDeviceNameResult = 0;
  sendResponseResult = 0;
  updateStateResult = 0;
  aclResult = 0;
  failStateReads = false;
  interfaceAddress = "192.168.1.10";
  interfaces = {{"eth0", "192.168.1.10"}};
  shareMode = 1;
  uiEventResult = 0;
  gHook = nullptr;
}

std::vector<FakeCall> FakeStack::calls() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return calls_;
}

std::vector<std::string> FakeStack::callNames() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  std::vector<std::string> names;
  for (const FakeCall& call : calls_) names.push_back(call.name);
  return names;
}

size_t FakeStack::count(const std::string& name) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  size_t n = 0;
  for (const FakeCall& call : calls_)
    if (call.name == name) ++n;
  return n;
}

std::vector<FakeResponse> FakeStack::responses() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return responses_;
}

std::vector<FakeUiEvent> FakeStack::uiEvents() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return uiEvents_;
}

stNUVDMSCallbacks FakeStack::callbacks() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return callbacks_;
}

std::string FakeStack::descriptionDir() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return descriptionDir_;
}

int FakeStack::outstandingRequests() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return outstanding_;
}

stNUVAppList* FakeStack::makeAction(const std::string& name, const std::string& ip,
                                    const std::vector<std::pair<std::string, std::string>>& args) {
  auto* request = newRequest(Kind::Action, name, ip);
  request->arguments = NUVListCreate();
  for (const auto& arg : args)
    NUVListAddArgument(request->arguments, arg.first.c_str(), arg.second.c_str());
  return wrap(request);
}

stNUVAppList* FakeStack::makeAclNotification(int aclType, int eventType, const std::string& mac,
                                             const std::string& ip, const std::string& name) {
  auto* request = newRequest(Kind::Acl, name, ip);
  request->aclType = aclType;
  request->eventType = eventType;
  request->mac = mac;
  return wrap(request);
}

stNUVAppList* FakeStack::makeException(int type, const std::string& address) {
  auto* request = newRequest(Kind::Exception, "", address);
  request->exceptionType = type;
  return wrap(request);
}

void FakeStack::setStateVariable(const std::string& service, const std::string& name,
                                 const std::string& value) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_[service + "|" + name] = value;
}

bool FakeStack::stateVariable(const std::string& service, const std::string& name,
                              std::string* value) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  auto it = state_.find(service + "|" + name);
  if (it == state_.end()) return false;
  *value = it->second;
  return true;
}

void FakeStack::record(const std::string& name, std::vector<std::string> args) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  calls_.push_back({name, std::move(args)});
}

void FakeStack::addResponse(int connection, int actionID, const char* body) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  responses_.push_back({connection, actionID, body == nullptr ? "" : body});
}

void FakeStack::addUiEvent(int event, const char* text1, const char* text2) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  uiEvents_.push_back({event, str(text1), str(text2)});
}

void FakeStack::setCallbacks(const stNUVDMSCallbacks* table, const char* dir) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  callbacks_ = table != nullptr ? *table : stNUVDMSCallbacks{};
  descriptionDir_ = str(dir);
}

void FakeStack::requestMade() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  ++outstanding_;
}

void FakeStack::requestReleased() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  --outstanding_;
}

// ---- The stack's device side ------------------------------------------------

extern "C" int NUVDMSInitialize(const stNUVDMSCallbacks* callbacks, const char* descriptionDir,
                                int* connectionID) {
  fake().record("NUVDMSInitialize", {str(descriptionDir)});
  fake().setCallbacks(callbacks, descriptionDir);
  if (connectionID != nullptr) *connectionID = fake().connectionID;
  return fake().initializeResult;
}

extern "C" int NUVDMSStart(int connectionID, int maxAge, int flags) {
  fake().record("NUVDMSStart", {num(connectionID), num(maxAge), num(flags)});
  return fake().startResult;
}

extern "C" int NUVDMSStop(int connectionID) {
  fake().record("NUVDMSStop", {num(connectionID)});
  return fake().stopResult;
}

extern "C" int NUVDMSTerminate(int connectionID) {
  fake().record("NUVDMSTerminate", {num(connectionID)});
  return fake().terminateResult;
}

extern "C" int NUVDMSSendAliveTemporary(int connectionID, int count, int maxAge) {
  fake().record("NUVDMSSendAliveTemporary", {num(connectionID), num(count), num(maxAge)});
  return fake().aliveResult;
}

extern "C" int NUVSetDeviceName(const char* descriptionPath, const char* name) {
  fake().record("NUVSetDeviceName", {str(descriptionPath), str(name)});
  return fake().setDeviceNameResult;
}

extern "C" int NUVDMSSetBindAddress(const char* address) {
  fake().record("NUVDMSSetBindAddress", {str(address)});
  return 0;
}

extern "C" int NUVDMSSetBindInterface(const char* interfaceName) {
  fake().record("NUVDMSSetBindInterface", {str(interfaceName)});
  return 0;
}

extern "C" int HNuvDMSGetActionName(stNUVAppList* handle, char** name) {
  FakeRequest* request = requestOf(handle);
  if (request == nullptr || name == nullptr || request->kind != Kind::Action) return 1;
  *name = const_cast<char*>(request->name.c_str());
  return 0;
}

extern "C" int HNuvDMSGetCPIPAddress(stNUVAppList* handle, char** ipAddress) {
  FakeRequest* request = requestOf(handle);
  if (request == nullptr || ipAddress == nullptr) return 1;
  *ipAddress = const_cast<char*>(request->ip.c_str());
  return 0;
}

extern "C" int HNuvDMSGetActionArgumentList(stNUVAppList* handle, stNUVAppList** arguments) {
  FakeRequest* request = requestOf(handle);
  if (request == nullptr || arguments == nullptr || request->kind != Kind::Action) return 1;
  *arguments = request->arguments;
  return 0;
}

extern "C" int HNuvDMSReleaseUIRequestData(stNUVAppList* handle) {
  fake().record("HNuvDMSReleaseUIRequestData", {});
  if (requestOf(handle) == nullptr) return 1;
  destroyRequest(handle);
  return 0;
}

extern "C" int NUVDMSSendResponse(int connectionID, int actionID, const char* body) {
  fake().record("NUVDMSSendResponse", {num(connectionID), num(actionID), str(body)});
  fake().addResponse(connectionID, actionID, body);
  return fake().sendResponseResult;
}

extern "C" int NUVDMSGetStateVariableValue(int connectionID, const char* serviceType,
                                           const char* name, char** value) {
  fake().record("NUVDMSGetStateVariableValue", {num(connectionID), str(serviceType), str(name)});
  std::string text;
  if (fake().failStateReads || serviceType == nullptr || name == nullptr || value == nullptr ||
      !fake().stateVariable(serviceType, name, &text))
    return 1;
  *value = duplicate(text);
  return 0;
}

extern "C" int NUVDMSUpdateStateVariableValue(int connectionID, const char* serviceType,
                                              const char* name, const char* value) {
  fake().record("NUVDMSUpdateStateVariableValue",
                {num(connectionID), str(serviceType), str(name), str(value)});
  if (serviceType != nullptr && name != nullptr && value != nullptr)
    fake().setStateVariable(serviceType, name, value);
  return fake().updateStateResult;
}

extern "C" int HNuvGetTypeOfException(stNUVAppList* handle) {
  FakeRequest* request = requestOf(handle);
  return request == nullptr ? -1 : request->exceptionType;
}

extern "C" int HNuvGetNICExceptionInfo(stNUVAppList* handle, char** address) {
  FakeRequest* request = requestOf(handle);
  if (request == nullptr || address == nullptr) return 1;
  *address = const_cast<char*>(request->ip.c_str());
  return 0;
}

extern "C" void HNuvReleaseExceptionResource(stNUVAppList* handle) {
  fake().record("HNuvReleaseExceptionResource", {});
  destroyRequest(handle);
}

extern "C" char* NUVUtilGetInterfaceIPAddress(const char* clientIP) {
  fake().record("NUVUtilGetInterfaceIPAddress", {str(clientIP)});
  if (clientIP == nullptr || fake().interfaceAddress.empty()) return nullptr;
  return duplicate(fake().interfaceAddress);
}

namespace {
struct FakeInterface {
  char* name;
  char* address;
};
void freeInterface(void* item) {
  auto* nic = static_cast<FakeInterface*>(item);
  free(nic->name);
  free(nic->address);
  delete nic;
}
}  // namespace

extern "C" int NUVGetNetworkInterfaceList(stNUVAppList** response) {
  fake().record("NUVGetNetworkInterfaceList", {});
  if (response == nullptr) return 1;
  *response = NUVListCreate();
  for (const auto& nic : fake().interfaces)
    NUVListAddItem(*response, new FakeInterface{duplicate(nic.first), duplicate(nic.second)});
  return 0;
}

extern "C" int HNUVGetNoOfNetworkInterfaceFromResponse(stNUVAppList* response) {
  return NUVListGetCount(response);
}

extern "C" int HNUVGetNetworkInfoFromResponse(stNUVAppList* response, int index, char** name,
                                              char** address) {
  auto* nic = static_cast<FakeInterface*>(NUVListGetItemData(response, index));
  if (nic == nullptr) return 1;
  if (name != nullptr) *name = nic->name;
  if (address != nullptr) *address = nic->address;
  return 0;
}

extern "C" void NUVReleaseNetworkInterfaceList(stNUVAppList* response) {
  NUVListDestroy(response, freeInterface);
}

extern "C" int NUVDmsACLInitialize(int connectionID) {
  fake().record("NUVDmsACLInitialize", {num(connectionID)});
  return fake().aclResult;
}

extern "C" int NUVDmsACLTerminate(int connectionID) {
  fake().record("NUVDmsACLTerminate", {num(connectionID)});
  return fake().aclResult;
}

extern "C" int NUVDmsACLSetMode(int connectionID, int mode) {
  fake().record("NUVDmsACLSetMode", {num(connectionID), num(mode)});
  return fake().aclResult;
}

extern "C" int NUVDmsACLAddDevNameFilterRule(int connectionID, const char* namePrefix, int flag,
                                             const char* rule) {
  fake().record("NUVDmsACLAddDevNameFilterRule",
                {num(connectionID), str(namePrefix), num(flag), str(rule)});
  return fake().aclResult;
}

extern "C" int NUVDmsACLAddEntry(int connectionID, int decision, int kind, const char* ipAddress,
                                 const char* deviceName) {
  fake().record("NUVDmsACLAddEntry",
                {num(connectionID), num(decision), num(kind), str(ipAddress), str(deviceName)});
  return fake().aclResult;
}

extern "C" int HNuvDMSGetACLTYPE(stNUVAppList* handle) {
  FakeRequest* request = requestOf(handle);
  return request == nullptr ? -1 : request->aclType;
}

extern "C" int HNuvDMSGetACLEventType(stNUVAppList* handle) {
  FakeRequest* request = requestOf(handle);
  return request == nullptr ? -1 : request->eventType;
}

extern "C" const char* HNuvDMSGetACLMacADDR(stNUVAppList* handle) {
  FakeRequest* request = requestOf(handle);
  return request == nullptr ? nullptr : request->mac.c_str();
}

extern "C" const char* HNuvDMSGetACLIPAddr(stNUVAppList* handle) {
  FakeRequest* request = requestOf(handle);
  return request == nullptr ? nullptr : request->ip.c_str();
}

extern "C" const char* HNuvDMSGetACLDeviceName(stNUVAppList* handle) {
  FakeRequest* request = requestOf(handle);
  return request == nullptr ? nullptr : request->name.c_str();
}

// ---- The camera ------------------------------------------------------------

extern "C" int GetAllShareMode(void) {
  fake().record("GetAllShareMode", {});
  return fake().shareMode;
}

extern "C" int DmsSendEventToUI(int event, const char* text1, const char* text2) {
  fake().record("DmsSendEventToUI", {num(event), str(text1), str(text2)});
  fake().addUiEvent(event, text1, text2);
  return fake().uiEventResult;
}

extern "C" DmsRVFHook DmsGetRVFHook(void) { return gHook != nullptr ? gHook : declineAll; }

extern "C" void DmsSetRVFHook(DmsRVFHook hook) { gHook = hook; }
