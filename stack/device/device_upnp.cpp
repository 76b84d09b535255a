// libupnp's callbacks for the device: actions (access control, then
// ConnectionManager answered here or ContentDirectory handed to the media
// server and waited for), subscriptions and state-variable queries; and
// events to subscribers.
#include <cstring>
#include <memory>
#include <vector>

#include "connection_manager.h"
#include "device_session.h"
#include "handles.h"
#include "nuv_log.h"
#include "soap_reply.h"
#include "xml_text.h"

namespace dmsstack {

namespace {

void answerError(UpnpActionRequest* request, int code) {
  setActionError(request, code, upnpErrorText(code));
}

// Turns the media server's answer into libupnp's result or error.
void applyReply(UpnpActionRequest* request, const std::string& action, const std::string& body) {
  SoapReply reply = interpretReply(body);
  switch (reply.kind) {
    case SoapReply::Kind::Response:
      if (setActionResult(request, reply.responseXml)) return;
      NUVPrintf(NUV_LOG_ERROR, "[UPnP] response to %s is not well-formed XML", action.c_str());
      answerError(request, kUpnpActionFailed);
      return;
    case SoapReply::Kind::Fault:
      setActionError(request, reply.errorCode, reply.errorDescription);
      return;
    case SoapReply::Kind::Invalid:
      NUVPrintf(NUV_LOG_ERROR, "[UPnP] empty or unreadable answer to %s", action.c_str());
      answerError(request, kUpnpActionFailed);
      return;
  }
}

// Hands a ContentDirectory action to callback 1 and waits for its answer.
void bridgeAction(Device& device, UpnpActionRequest* request, const std::string& action,
                  const std::string& ip, const NameValueList& arguments) {
  NUVDMSActionCallback callback = device.callbacks().actionCallback;
  const auto timeout = device.config().actionTimeout;
  if (callback == nullptr) return answerError(request, kUpnpActionFailed);
  const int id = device.bridge().begin();
  if (id < 0) return answerError(request, kUpnpActionFailed);  // stopping
  stNUVAppList* handle = makeActionRequest(action, ip, arguments);
  if (handle == nullptr) {
    std::string unused;
    device.bridge().wait(id, std::chrono::milliseconds(0), &unused);
    return answerError(request, kUpnpActionFailed);
  }
  callback(kConnectionId, id, handle);
  std::string body;
  switch (device.bridge().wait(id, timeout, &body)) {
    case ActionBridge::Outcome::Answered:
      return applyReply(request, action, body);
    case ActionBridge::Outcome::TimedOut:
      NUVPrintf(NUV_LOG_ERROR, "[UPnP] %s (action %d) not answered within %lld ms", action.c_str(),
                id, static_cast<long long>(timeout.count()));
      return answerError(request, kUpnpActionFailed);
    case ActionBridge::Outcome::Cancelled:
      return answerError(request, kUpnpActionFailed);
  }
}

// Access control; false when the request is refused (and answered 606).
bool admitted(Device& device, UpnpActionRequest* request, const std::string& ip) {
  ClientDevice client;
  AclDecision decision = device.acl().check(ip, &client);
  if (decision == AclDecision::Admit) return true;
  // Refusals are not logged one by one: a refused client may keep asking.
  answerError(request, kUpnpNotAuthorized);
  if (decision == AclDecision::RefuseAndReport) device.reportToAcl(client, device.acl().mode());
  return false;
}

void handleAction(const Session& session, UpnpActionRequest* request) {
  Device& device = *session.device;
  const std::string action = UpnpActionRequest_get_ActionName_cstr(request);
  const std::string ip = controlPointAddress(request);
  if (!admitted(device, request, ip)) return;
  NameValueList arguments;
  if (!actionArguments(request, kMaxActionArguments, &arguments))
    return answerError(request, kUpnpInvalidArgs);
  const std::string service = session.serviceTypeOf(UpnpActionRequest_get_ServiceID_cstr(request));
  NUVPrintf(NUV_LOG_INFO, "[UPnP] %s from %s", action.c_str(), ip.c_str());
  if (service == kConnectionManagerType) {
    CmAnswer answer = answerConnectionManager(action, arguments, device.table());
    if (answer.errorCode != 0) return answerError(request, answer.errorCode);
    if (!setActionResult(request, answer.body)) answerError(request, kUpnpActionFailed);
    return;
  }
  if (service == kContentDirectoryType) return bridgeAction(device, request, action, ip, arguments);
  answerError(request, kUpnpInvalidAction);
}

// libupnp takes arrays of C strings, and writes the values into XML as they
// are; this keeps escaped copies alive for the call.
class CStringArrays {
 public:
  explicit CStringArrays(const NameValueList& values) {
    for (const auto& entry : values) {
      names_.push_back(entry.first);
      texts_.push_back(escapeXml(entry.second));
    }
    for (size_t i = 0; i < names_.size(); ++i) {
      namePointers_.push_back(names_[i].c_str());
      textPointers_.push_back(texts_[i].c_str());
    }
  }
  const char** names() { return namePointers_.data(); }
  const char** texts() { return textPointers_.data(); }
  int count() const { return static_cast<int>(names_.size()); }

 private:
  std::vector<std::string> names_;
  std::vector<std::string> texts_;
  std::vector<const char*> namePointers_;
  std::vector<const char*> textPointers_;
};

void handleSubscription(const Session& session, const UpnpSubscriptionRequest* request) {
  const std::string serviceId = UpnpSubscriptionRequest_get_ServiceId_cstr(request);
  const std::string service = session.serviceTypeOf(serviceId);
  if (service.empty()) return;  // not accepted: libupnp answers the subscriber
  CStringArrays values(session.device->table().eventedValues(service));
  int rc = UpnpAcceptSubscription(session.handle, UpnpSubscriptionRequest_get_UDN_cstr(request),
                                  serviceId.c_str(), values.names(), values.texts(), values.count(),
                                  UpnpSubscriptionRequest_get_SID_cstr(request));
  if (rc != UPNP_E_SUCCESS)
    NUVPrintf(NUV_LOG_ERROR, "[UPnP] accepting a subscription to %s failed: %d", serviceId.c_str(),
              rc);
}

void handleVariableQuery(const Session& session, UpnpStateVarRequest* request) {
  const std::string service =
      session.serviceTypeOf(UpnpStateVarRequest_get_ServiceID_cstr(request));
  std::string value;
  if (!session.device->table().get(service, UpnpStateVarRequest_get_StateVarName_cstr(request),
                                   &value)) {
    UpnpStateVarRequest_set_ErrCode(request, 404);
    UpnpStateVarRequest_strcpy_ErrStr(request, "Invalid Var");
    return;
  }
  setStateVariableAnswer(request, value);
}

}  // namespace

int onUpnpEvent(Upnp_EventType type, const void* event, void* cookie) {
  auto* session = static_cast<const Session*>(cookie);
  if (session == nullptr || event == nullptr) return 0;
  struct Visit {
    const Session* session;
    explicit Visit(const Session* s) : session(s) { session->enter(); }
    ~Visit() { session->leave(); }
  } visit(session);
  // libupnp hands the request objects as const but expects the answer written
  // into them; no exception may travel back into C.
  try {
    switch (type) {
      case UPNP_CONTROL_ACTION_REQUEST:
        handleAction(*session, static_cast<UpnpActionRequest*>(const_cast<void*>(event)));
        break;
      case UPNP_EVENT_SUBSCRIPTION_REQUEST:
        handleSubscription(*session, static_cast<const UpnpSubscriptionRequest*>(event));
        break;
      case UPNP_CONTROL_GET_VAR_REQUEST:
        handleVariableQuery(*session, static_cast<UpnpStateVarRequest*>(const_cast<void*>(event)));
        break;
      default:
        break;
    }
  } catch (const std::exception& error) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnP] request failed: %s", error.what());
    if (type == UPNP_CONTROL_ACTION_REQUEST)
      answerError(static_cast<UpnpActionRequest*>(const_cast<void*>(event)), kUpnpActionFailed);
  }
  return 0;
}

void notifySubscribers(const Session& session, const std::string& service,
                       const NameValueList& changes) {
  const std::string serviceId = session.serviceIdOf(service);
  if (serviceId.empty() || changes.empty()) return;
  CStringArrays values(changes);
  int rc = UpnpNotify(session.handle, session.udn.c_str(), serviceId.c_str(), values.names(),
                      values.texts(), values.count());
  if (rc != UPNP_E_SUCCESS)
    NUVPrintf(NUV_LOG_ERROR, "[UPnP] eventing %s failed: %d", serviceId.c_str(), rc);
}

}  // namespace dmsstack
