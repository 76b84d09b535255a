// SOAP control on the context's libsoup server.
#include "control_server.h"

#include <strings.h>

#include <cstring>

#include "connection_manager.h"
#include "description.h"
#include "device.h"
#include "handles.h"
#include "nuv_log.h"
#include "soap_reply.h"
#include "soap_request.h"
#include "stack_limits.h"

namespace dmsstack {

struct ControlServer::Route {
  ControlServer* owner = nullptr;
  ControlRoute route;
  std::string serviceKey;  // the service type without version
};

namespace {

struct TimerData {
  ControlServer* owner;
  Device* device;
  int id;
};

// The body is handed to libsoup without a copy.
void setBody(SoupServerMessage* msg, std::string text) {
  auto* owned = new std::string(std::move(text));
  GBytes* bytes = g_bytes_new_with_free_func(
      owned->data(), owned->size(), [](gpointer data) { delete static_cast<std::string*>(data); },
      owned);
  soup_message_body_append_bytes(soup_server_message_get_response_body(msg), bytes);
  g_bytes_unref(bytes);
}

void sendSoap(SoupServerMessage* msg, unsigned status, const std::string& body) {
  soup_server_message_set_status(msg, status, nullptr);
  SoupMessageHeaders* headers = soup_server_message_get_response_headers(msg);
  soup_message_headers_replace(headers, "Content-Type", "text/xml; charset=\"utf-8\"");
  soup_message_headers_replace(headers, "EXT", "");
  setBody(msg, soapEnvelope(body));
}

void sendFault(SoupServerMessage* msg, int code) {
  sendSoap(msg, SOUP_STATUS_INTERNAL_SERVER_ERROR, faultBody(code, upnpErrorText(code)));
}

// SOAPACTION, or for M-POST its namespace-prefixed form ("01-SOAPACTION").
const char* soapActionHeader(SoupMessageHeaders* headers) {
  const char* value = soup_message_headers_get_one(headers, "SOAPACTION");
  if (value != nullptr) return value;
  SoupMessageHeadersIter iter;
  soup_message_headers_iter_init(&iter, headers);
  const char* name = nullptr;
  while (soup_message_headers_iter_next(&iter, &name, &value)) {
    size_t length = strlen(name);
    if (length > 11 && strcasecmp(name + length - 11, "-SOAPACTION") == 0) return value;
  }
  return nullptr;
}

std::string headerText(SoupMessageHeaders* headers, const char* name) {
  const char* value = soup_message_headers_get_one(headers, name);
  return value != nullptr ? value : "";
}

}  // namespace

ControlServer::ControlServer(Device& device, SoupServer* server, GMainContext* context,
                             std::vector<ControlRoute> routes)
    : device_(device), server_(server), context_(context) {
  for (ControlRoute& route : routes) {
    auto entry = std::make_unique<Route>();
    entry->owner = this;
    entry->serviceKey = serviceTypeWithoutVersion(route.serviceType);
    entry->route = std::move(route);
    // Replaces the handler GUPnP's service put at the same path.
    soup_server_add_early_handler(server_, entry->route.path.c_str(), &ControlServer::onEarly,
                                  entry.get(), nullptr);
    soup_server_add_handler(server_, entry->route.path.c_str(), &ControlServer::onRequest,
                            entry.get(), nullptr);
    routes_.push_back(std::move(entry));
  }
  abortedHandler_ =
      g_signal_connect(server_, "request-aborted", G_CALLBACK(&ControlServer::onAborted), this);
}

ControlServer::~ControlServer() {
  g_signal_handler_disconnect(server_, abortedHandler_);
  for (auto& [id, waiting] : waiting_) {
    if (!waiting.gone) {
      sendFault(waiting.msg, kUpnpActionFailed);
      soup_server_message_unpause(waiting.msg);
    }
    release(waiting);
  }
  waiting_.clear();
  for (const auto& route : routes_) soup_server_remove_handler(server_, route->route.path.c_str());
}

void ControlServer::onEarly(SoupServer*, SoupServerMessage* msg, const char*, GHashTable*,
                            gpointer) {
  SoupMessageHeaders* headers = soup_server_message_get_request_headers(msg);
  switch (soup_message_headers_get_encoding(headers)) {
    case SOUP_ENCODING_CONTENT_LENGTH:
      // Refused before the body is read.
      if (soup_message_headers_get_content_length(headers) >
          static_cast<goffset>(kMaxSoapRequestBytes))
        soup_server_message_set_status(msg, SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, nullptr);
      break;
    case SOUP_ENCODING_CHUNKED:
    case SOUP_ENCODING_EOF:
    case SOUP_ENCODING_BYTERANGES:
      // A body of unknown length could grow without bound before the handler
      // sees it; control points send Content-Length.
      soup_server_message_set_status(msg, SOUP_STATUS_LENGTH_REQUIRED, nullptr);
      break;
    default:
      break;
  }
}

void ControlServer::onRequest(SoupServer*, SoupServerMessage* msg, const char*, GHashTable*,
                              gpointer data) {
  auto* route = static_cast<const Route*>(data);
  // No exception may travel back into libsoup.
  try {
    route->owner->handle(msg, *route);
  } catch (const std::exception& error) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnP] request failed: %s", error.what());
    soup_server_message_set_status(msg, SOUP_STATUS_INTERNAL_SERVER_ERROR, nullptr);
  }
}

void ControlServer::handle(SoupServerMessage* msg, const Route& route) {
  const char* method = soup_server_message_get_method(msg);
  if (strcmp(method, "POST") != 0 && strcmp(method, "M-POST") != 0) {
    soup_server_message_set_status(msg, SOUP_STATUS_METHOD_NOT_ALLOWED, nullptr);
    soup_message_headers_replace(soup_server_message_get_response_headers(msg), "Allow", "POST");
    return;
  }
  SoupMessageHeaders* headers = soup_server_message_get_request_headers(msg);
  const char* host = soup_server_message_get_remote_host(msg);
  const std::string ip = host != nullptr ? host : "";
  device_.acl().noteClientHeaders(ip, headerText(headers, "User-Agent"),
                                  headerText(headers, "X-AV-Client-Info"));
  ClientDevice client;
  const AclDecision decision = device_.acl().check(ip, &client);
  if (decision != AclDecision::Admit) {
    // Refusals are not logged one by one: a refused client may keep asking.
    sendFault(msg, kUpnpNotAuthorized);
    if (decision == AclDecision::RefuseAndReport) device_.reportToAcl(client, device_.acl().mode());
    return;
  }
  std::string headerType;
  std::string headerAction;
  const char* soapAction = soapActionHeader(headers);
  if (soapAction == nullptr || !parseSoapActionHeader(soapAction, &headerType, &headerAction)) {
    soup_server_message_set_status(msg, SOUP_STATUS_BAD_REQUEST, nullptr);
    return;
  }
  SoupMessageBody* body = soup_server_message_get_request_body(msg);
  if (body->length > static_cast<goffset>(kMaxSoapRequestBytes)) {
    soup_server_message_set_status(msg, SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, nullptr);
    return;
  }
  SoapRequest request;
  switch (parseSoapRequest(std::string_view(body->data, static_cast<size_t>(body->length)),
                           kMaxActionArguments, &request)) {
    case SoapParse::Malformed:
      soup_server_message_set_status(msg, SOUP_STATUS_BAD_REQUEST, nullptr);
      return;
    case SoapParse::TooManyArguments:
      return sendFault(msg, kUpnpInvalidArgs);
    case SoapParse::Ok:
      break;
  }
  if (request.action != headerAction || request.serviceType != headerType ||
      serviceTypeWithoutVersion(request.serviceType) != route.serviceKey)
    return sendFault(msg, kUpnpInvalidAction);
  NUVPrintf(NUV_LOG_INFO, "[UPnP] %s from %s", request.action.c_str(), ip.c_str());
  if (route.serviceKey == kConnectionManagerType) {
    CmAnswer answer = answerConnectionManager(request.action, request.arguments, device_.table());
    if (answer.errorCode != 0) return sendFault(msg, answer.errorCode);
    return sendSoap(msg, SOUP_STATUS_OK, answer.body);
  }
  if (route.serviceKey == kContentDirectoryType)
    return deliver(msg, request.action, ip, request.arguments);
  sendFault(msg, kUpnpInvalidAction);
}

void ControlServer::deliver(SoupServerMessage* msg, const std::string& action,
                            const std::string& ip, const NameValueList& arguments) {
  NUVDMSActionCallback callback = device_.callbacks().actionCallback;
  if (callback == nullptr) return sendFault(msg, kUpnpActionFailed);
  const int id = device_.bridge().begin();
  if (id < 0) return sendFault(msg, kUpnpActionFailed);  // stopping
  stNUVAppList* request = makeActionRequest(action, ip, arguments);
  if (request == nullptr) {
    device_.bridge().answer(id, std::string());  // forgotten at the next completion
    return sendFault(msg, kUpnpActionFailed);
  }
  Waiting waiting;
  waiting.msg = static_cast<SoupServerMessage*>(g_object_ref(msg));
  waiting.action = action;
  const auto timeout = device_.actionTimeout();
  waiting.timer = g_timeout_source_new(static_cast<guint>(timeout.count()));
  g_source_set_callback(
      waiting.timer,
      [](gpointer data) -> gboolean {
        auto* timer = static_cast<TimerData*>(data);
        timer->device->bridge().expire(timer->id);
        timer->owner->completeFinished();
        return G_SOURCE_REMOVE;
      },
      new TimerData{this, &device_, id},
      [](gpointer data) { delete static_cast<TimerData*>(data); });
  g_source_attach(waiting.timer, context_);
  waiting.finishedHandler = g_signal_connect(msg, "finished", G_CALLBACK(&onGone), this);
  waiting.disconnectedHandler = g_signal_connect(msg, "disconnected", G_CALLBACK(&onGone), this);
  soup_server_message_pause(msg);
  waiting_.emplace(id, waiting);
  callback(kConnectionId, id, request);
}

void ControlServer::onGone(SoupServerMessage* msg, gpointer self) {
  static_cast<ControlServer*>(self)->forget(msg);
}

void ControlServer::onAborted(SoupServer*, SoupServerMessage* msg, gpointer self) {
  static_cast<ControlServer*>(self)->forget(msg);
}

void ControlServer::forget(SoupServerMessage* msg) {
  for (auto& [id, waiting] : waiting_)
    if (waiting.msg == msg) waiting.gone = true;
}

bool ControlServer::holds(GSocket* socket) const {
  for (const auto& [id, waiting] : waiting_)
    if (!waiting.gone && soup_server_message_get_socket(waiting.msg) == socket) return true;
  return false;
}

void ControlServer::completeFinished() {
  for (ActionBridge::Finished& finished : device_.bridge().takeFinished()) {
    auto it = waiting_.find(finished.id);
    if (it == waiting_.end()) continue;
    Waiting& waiting = it->second;
    switch (finished.outcome) {
      case ActionBridge::Outcome::Answered: {
        SoapReply reply = interpretReply(finished.body);
        if (reply.kind == SoapReply::Kind::Response) {
          complete(waiting, SOUP_STATUS_OK, reply.xml);
        } else if (reply.kind == SoapReply::Kind::Fault) {
          complete(waiting, SOUP_STATUS_INTERNAL_SERVER_ERROR, reply.xml);
        } else {
          NUVPrintf(NUV_LOG_ERROR, "[UPnP] empty or unreadable answer to %s",
                    waiting.action.c_str());
          complete(waiting, SOUP_STATUS_INTERNAL_SERVER_ERROR,
                   faultBody(kUpnpActionFailed, upnpErrorText(kUpnpActionFailed)));
        }
        break;
      }
      case ActionBridge::Outcome::TimedOut:
        NUVPrintf(NUV_LOG_ERROR, "[UPnP] %s (action %d) not answered within %lld ms",
                  waiting.action.c_str(), finished.id,
                  static_cast<long long>(device_.actionTimeout().count()));
        complete(waiting, SOUP_STATUS_INTERNAL_SERVER_ERROR,
                 faultBody(kUpnpActionFailed, upnpErrorText(kUpnpActionFailed)));
        break;
      case ActionBridge::Outcome::Cancelled:
        complete(waiting, SOUP_STATUS_INTERNAL_SERVER_ERROR,
                 faultBody(kUpnpActionFailed, upnpErrorText(kUpnpActionFailed)));
        break;
    }
    release(waiting);
    waiting_.erase(it);
  }
}

void ControlServer::complete(Waiting& waiting, unsigned status, const std::string& body) {
  if (waiting.gone) return;
  sendSoap(waiting.msg, status, body);
  soup_server_message_unpause(waiting.msg);
}

void ControlServer::release(Waiting& waiting) {
  if (waiting.timer != nullptr) {
    g_source_destroy(waiting.timer);
    g_source_unref(waiting.timer);
    waiting.timer = nullptr;
  }
  if (waiting.msg != nullptr) {
    g_signal_handler_disconnect(waiting.msg, waiting.finishedHandler);
    g_signal_handler_disconnect(waiting.msg, waiting.disconnectedHandler);
    g_object_unref(waiting.msg);
    waiting.msg = nullptr;
  }
}

}  // namespace dmsstack
