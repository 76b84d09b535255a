// Event subscriptions and NOTIFY delivery on the stack's GLib thread.
#include "gena_server.h"

#include "gena_request.h"
#include "nuv_log.h"
#include "stack_limits.h"

namespace dmsstack {

struct GenaServer::Route {
  GenaServer* owner = nullptr;
  EventRoute route;
};

// One event on its way to a subscriber: the callback URLs are tried in
// order until one answers 2xx.
struct GenaServer::Delivery {
  GenaServer* owner = nullptr;           // null once the server is gone
  Subscription* subscription = nullptr;  // null once it has ended
  size_t next = 0;                       // the callback being tried
  uint32_t seq = 0;
  GBytes* body = nullptr;
  SoupMessage* msg = nullptr;
  GCancellable* cancellable = g_cancellable_new();

  ~Delivery() {
    if (msg != nullptr) g_object_unref(msg);
    if (body != nullptr) g_bytes_unref(body);
    g_object_unref(cancellable);
  }
};

struct GenaServer::Answered {
  GenaServer* owner = nullptr;
  std::string sid;
  SoupServerMessage* msg = nullptr;  // a reference of ours
  gulong handler = 0;
};

namespace {

struct Expiry {
  GenaServer* owner;
  std::string sid;
};

const char* header(SoupMessageHeaders* headers, const char* name) {
  return soup_message_headers_get_one(headers, name);
}

}  // namespace

GenaServer::GenaServer(GSSDPClient* client, SoupServer* server, GMainContext* context,
                       const StateTable& table, std::vector<EventRoute> routes,
                       std::string serverId)
    : client_(client),
      server_(server),
      context_(context),
      table_(table),
      serverId_(std::move(serverId)) {
  session_ = soup_session_new_with_options(
      "timeout", kNotifyTimeoutSeconds, "idle-timeout", kNotifyTimeoutSeconds, "max-conns",
      kMaxNotifyConnections, "max-conns-per-host", kMaxNotifyConnections, "user-agent",
      serverId_.c_str(), nullptr);
  // Subscribers are on the device's own network: never through a proxy.
  soup_session_set_proxy_resolver(session_, nullptr);
  for (EventRoute& entry : routes) {
    routes_.push_back(std::make_unique<Route>(Route{this, std::move(entry)}));
    soup_server_add_handler(server_, routes_.back()->route.path.c_str(), &GenaServer::onRequest,
                            routes_.back().get(), nullptr);
  }
}

GenaServer::~GenaServer() {
  for (const auto& route : routes_) soup_server_remove_handler(server_, route->route.path.c_str());
  for (Answered* answered : answering_) {
    g_signal_handler_disconnect(answered->msg, answered->handler);
    g_object_unref(answered->msg);
    delete answered;
  }
  answering_.clear();
  while (!subscriptions_.empty()) remove(subscriptions_.begin()->first);
  soup_session_abort(session_);
  // Cancellations complete on this thread's loop; their number is bounded by
  // the subscriptions, so this takes a few iterations.
  constexpr gint64 kWaitMicroseconds = 2 * G_USEC_PER_SEC;
  const gint64 deadline = g_get_monotonic_time() + kWaitMicroseconds;
  GSource* tick = g_timeout_source_new(50);  // bounds each blocking iteration
  g_source_set_callback(
      tick, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr, nullptr);
  g_source_attach(tick, context_);
  while (!deliveries_.empty() && g_get_monotonic_time() < deadline)
    g_main_context_iteration(context_, TRUE);
  g_source_destroy(tick);
  g_source_unref(tick);
  // Any left free themselves if they ever complete.
  for (Delivery* delivery : deliveries_) delivery->owner = nullptr;
  g_object_unref(session_);
}

void GenaServer::notify(const std::string& service, const NameValueList& changes) {
  for (auto& entry : subscriptions_) {
    Subscription& subscription = *entry.second;
    if (subscription.route->route.service != service) continue;
    if (subscription.queued.size() < kMaxQueuedEvents) {
      subscription.queued.push_back(changes);
    } else {
      mergeChanges(&subscription.queued.back(), changes);
    }
    sendNext(subscription);
  }
}

void GenaServer::onRequest(SoupServer*, SoupServerMessage* msg, const char*, GHashTable*,
                           gpointer data) {
  auto* route = static_cast<Route*>(data);
  route->owner->handle(msg, *route);
}

void GenaServer::handle(SoupServerMessage* msg, const Route& route) {
  SoupMessageHeaders* headers = soup_server_message_get_request_headers(msg);
  const char* callback = header(headers, "CALLBACK");
  const char* sid = header(headers, "SID");
  switch (classifyGenaRequest(soup_server_message_get_method(msg), callback, header(headers, "NT"),
                              sid)) {
    case GenaKind::Subscribe:
      subscribe(msg, route, callback);
      break;
    case GenaKind::Renew:
      renew(msg, sid);
      break;
    case GenaKind::Unsubscribe:
      unsubscribe(msg, sid);
      break;
    case GenaKind::BadRequest:
      soup_server_message_set_status(msg, SOUP_STATUS_BAD_REQUEST, nullptr);
      break;
    case GenaKind::Precondition:
      soup_server_message_set_status(msg, SOUP_STATUS_PRECONDITION_FAILED, nullptr);
      break;
    case GenaKind::NotImplemented:
      soup_server_message_set_status(msg, SOUP_STATUS_NOT_IMPLEMENTED, nullptr);
      break;
  }
}

void GenaServer::subscribe(SoupServerMessage* msg, const Route& route, const char* callback) {
  std::vector<std::string> callbacks;
  for (std::string& url : callbackUrls(callback)) {
    // A callback elsewhere would make the device send requests to hosts of
    // a subscriber's choosing (CVE-2020-12695).
    GSocketAddress* address = g_inet_socket_address_new_from_string(hostOfUrl(url).c_str(), 0);
    if (address == nullptr) continue;
    if (gssdp_client_can_reach(client_, G_INET_SOCKET_ADDRESS(address)))
      callbacks.push_back(std::move(url));
    g_object_unref(address);
  }
  if (callbacks.empty()) {
    soup_server_message_set_status(msg, SOUP_STATUS_PRECONDITION_FAILED, nullptr);
    return;
  }
  if (subscriptions_.size() >= kMaxEventSubscriptions) {
    // Once per stretch at the limit: a subscriber that retries floods no log.
    if (!fullReported_)
      NUVPrintf(NUV_LOG_ERROR, "[GENA] %zu subscriptions held; a new one is refused",
                subscriptions_.size());
    fullReported_ = true;
    soup_server_message_set_status(msg, SOUP_STATUS_SERVICE_UNAVAILABLE, nullptr);
    return;
  }
  auto subscription = std::make_unique<Subscription>();
  gchar* uuid = g_uuid_string_random();
  subscription->sid = std::string("uuid:") + uuid;
  g_free(uuid);
  subscription->route = &route;
  subscription->callbacks = std::move(callbacks);
  // The initial event carries every evented variable.
  subscription->queued.push_back(table_.eventedValues(route.route.service));
  const std::string sid = subscription->sid;
  armExpiry(*subscription);
  subscriptions_.emplace(sid, std::move(subscription));
  respond(msg, sid);
  // The initial event follows the response, so that the subscriber knows
  // the SID it carries.
  auto* answered = new Answered{this, sid, msg, 0};
  g_object_ref(msg);
  answered->handler =
      g_signal_connect(msg, "finished", G_CALLBACK(&GenaServer::onAnswered), answered);
  answering_.insert(answered);
}

void GenaServer::onAnswered(SoupServerMessage* msg, gpointer data) {
  auto* answered = static_cast<Answered*>(data);
  GenaServer* self = answered->owner;
  g_signal_handler_disconnect(msg, answered->handler);
  self->answering_.erase(answered);
  auto it = self->subscriptions_.find(answered->sid);
  g_object_unref(answered->msg);
  delete answered;
  if (it == self->subscriptions_.end()) return;
  it->second->ready = true;
  self->sendNext(*it->second);
}

void GenaServer::renew(SoupServerMessage* msg, const char* sid) {
  auto it = subscriptions_.find(sid);
  if (it == subscriptions_.end()) {
    soup_server_message_set_status(msg, SOUP_STATUS_PRECONDITION_FAILED, nullptr);
    return;
  }
  armExpiry(*it->second);
  respond(msg, it->first);
}

void GenaServer::unsubscribe(SoupServerMessage* msg, const char* sid) {
  if (subscriptions_.find(sid) == subscriptions_.end()) {
    soup_server_message_set_status(msg, SOUP_STATUS_PRECONDITION_FAILED, nullptr);
    return;
  }
  remove(sid);
  soup_server_message_set_status(msg, SOUP_STATUS_OK, nullptr);
}

void GenaServer::respond(SoupServerMessage* msg, const std::string& sid) {
  SoupMessageHeaders* headers = soup_server_message_get_response_headers(msg);
  soup_message_headers_replace(headers, "SID", sid.c_str());
  soup_message_headers_replace(headers, "TIMEOUT",
                               ("Second-" + std::to_string(kEventSubscriptionSeconds)).c_str());
  soup_message_headers_replace(headers, "SERVER", serverId_.c_str());
  soup_server_message_set_status(msg, SOUP_STATUS_OK, nullptr);
}

void GenaServer::armExpiry(Subscription& subscription) {
  if (subscription.expiry != nullptr) {
    g_source_destroy(subscription.expiry);
    g_source_unref(subscription.expiry);
  }
  subscription.expiry = g_timeout_source_new_seconds(kEventSubscriptionSeconds);
  g_source_set_callback(
      subscription.expiry,
      [](gpointer data) -> gboolean {
        auto* expiry = static_cast<Expiry*>(data);
        expiry->owner->remove(expiry->sid);
        return G_SOURCE_REMOVE;
      },
      new Expiry{this, subscription.sid}, [](gpointer data) { delete static_cast<Expiry*>(data); });
  g_source_attach(subscription.expiry, context_);
}

void GenaServer::remove(const std::string& sid) {
  auto it = subscriptions_.find(sid);
  if (it == subscriptions_.end()) return;
  std::unique_ptr<Subscription> subscription = std::move(it->second);
  subscriptions_.erase(it);
  fullReported_ = false;
  if (subscription->expiry != nullptr) {
    g_source_destroy(subscription->expiry);
    g_source_unref(subscription->expiry);
  }
  if (subscription->inFlight != nullptr) {
    subscription->inFlight->subscription = nullptr;
    g_cancellable_cancel(subscription->inFlight->cancellable);
  }
}

void GenaServer::sendNext(Subscription& subscription) {
  if (!subscription.ready || subscription.inFlight != nullptr || subscription.queued.empty())
    return;
  auto delivery = std::make_unique<Delivery>();
  delivery->owner = this;
  delivery->subscription = &subscription;
  delivery->seq = subscription.seq;
  const std::string body = propertySet(subscription.queued.front());
  delivery->body = g_bytes_new(body.data(), body.size());
  subscription.queued.pop_front();
  subscription.seq = nextEventKey(subscription.seq);
  subscription.inFlight = delivery.get();
  post(std::move(delivery));
}

void GenaServer::post(std::unique_ptr<Delivery> delivery) {
  const Subscription& subscription = *delivery->subscription;
  g_clear_object(&delivery->msg);
  for (; delivery->next < subscription.callbacks.size(); ++delivery->next) {
    delivery->msg = soup_message_new("NOTIFY", subscription.callbacks[delivery->next].c_str());
    if (delivery->msg != nullptr) break;
  }
  if (delivery->msg == nullptr) {
    sent(std::move(delivery));
    return;
  }
  SoupMessageHeaders* headers = soup_message_get_request_headers(delivery->msg);
  soup_message_headers_replace(headers, "NT", "upnp:event");
  soup_message_headers_replace(headers, "NTS", "upnp:propchange");
  soup_message_headers_replace(headers, "SID", subscription.sid.c_str());
  soup_message_headers_replace(headers, "SEQ", std::to_string(delivery->seq).c_str());
  // One connection per event: subscribers are few, and no idle connection
  // to each is kept.
  soup_message_headers_replace(headers, "Connection", "close");
  soup_message_set_request_body_from_bytes(delivery->msg, "text/xml; charset=\"utf-8\"",
                                           delivery->body);
  Delivery* raw = delivery.release();
  deliveries_.insert(raw);
  soup_session_send_and_read_async(session_, raw->msg, G_PRIORITY_DEFAULT, raw->cancellable,
                                   &GenaServer::onSent, raw);
}

void GenaServer::onSent(GObject* session, GAsyncResult* result, gpointer data) {
  std::unique_ptr<Delivery> delivery(static_cast<Delivery*>(data));
  GError* error = nullptr;
  GBytes* answer = soup_session_send_and_read_finish(SOUP_SESSION(session), result, &error);
  if (answer != nullptr) g_bytes_unref(answer);
  const bool delivered =
      error == nullptr && SOUP_STATUS_IS_SUCCESSFUL(soup_message_get_status(delivery->msg));
  if (error != nullptr) g_error_free(error);
  GenaServer* self = delivery->owner;
  if (self == nullptr) return;
  self->deliveries_.erase(delivery.get());
  // No subscription: it ended, and its NOTIFY was cancelled.
  if (delivery->subscription == nullptr) return;
  if (!delivered && delivery->next + 1 < delivery->subscription->callbacks.size()) {
    ++delivery->next;
    self->post(std::move(delivery));
    return;
  }
  // An event that reached none of the callbacks is lost; the subscriber
  // sees the gap in SEQ.
  self->sent(std::move(delivery));
}

void GenaServer::sent(std::unique_ptr<Delivery> delivery) {
  Subscription& subscription = *delivery->subscription;
  subscription.inFlight = nullptr;
  sendNext(subscription);
}

}  // namespace dmsstack
