// The GUPnP side of a started device, on the stack's GLib thread.
#include "device_session.h"

#include <sys/socket.h>

#include <cstring>
#include <memory>

#include "nuv_log.h"
#include "stack_limits.h"

namespace dmsstack {

namespace {

constexpr int kFirstDynamicPort = 49152;
constexpr int kPortAttempts = 64;

// A context whose HTTP server listens on exactly `address`:`port`, or
// nullptr (`error` set when GUPnP gave a reason).
GUPnPContext* contextOn(const std::string& address, const std::string& interfaceName,
                        unsigned short port, std::string* error) {
  GInetAddress* inet = g_inet_address_new_from_string(address.c_str());
  if (inet == nullptr) {
    *error = "not an IPv4 address";
    return nullptr;
  }
  GError* failure = nullptr;
  GUPnPContext* context =
      gupnp_context_new_full(interfaceName.empty() ? nullptr : interfaceName.c_str(), inet, port,
                             GSSDP_UDA_VERSION_1_0, &failure);
  g_object_unref(inet);
  if (context == nullptr) {
    *error = failure != nullptr ? failure->message : "unknown error";
    if (failure != nullptr) g_error_free(failure);
    return nullptr;
  }
  // The server listens when first asked for; a port in use leaves it without
  // a port.
  if (gupnp_context_get_server(context) == nullptr || gupnp_context_get_port(context) == 0) {
    *error = "cannot listen on port " + std::to_string(port);
    g_object_unref(context);
    return nullptr;
  }
  // A longer queue of connections waiting for accept(); listen() on a
  // listening socket only changes its backlog.
  GSList* listeners = soup_server_get_listeners(gupnp_context_get_server(context));
  for (GSList* item = listeners; item != nullptr; item = item->next) {
    // GLib refuses to change the backlog of a listening GSocket.
    listen(g_socket_get_fd(G_SOCKET(item->data)), kListenBacklog);
  }
  g_slist_free(listeners);
  return context;
}

// libsoup and GUPnP pick "any port" from the kernel's ephemeral range; the
// stack keeps its documented choice, the first free one from 49152.
GUPnPContext* createContext(const std::string& address, const std::string& interfaceName,
                            unsigned short port) {
  std::string error;
  GUPnPContext* context = nullptr;
  if (port != 0) {
    context = contextOn(address, interfaceName, port, &error);
  } else {
    for (int candidate = kFirstDynamicPort;
         context == nullptr && candidate < kFirstDynamicPort + kPortAttempts; ++candidate)
      context = contextOn(address, interfaceName, static_cast<unsigned short>(candidate), &error);
  }
  if (context == nullptr)
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] no UPnP server on %s: %s", address.c_str(),
              error.c_str());
  return context;
}

// The description files come from memory with the types UPnP asks for
// (text/xml), not from GUPnP's guess by file name.
void serveFile(SoupServer*, SoupServerMessage* msg, const char* path, GHashTable*, gpointer data) {
  auto* served = static_cast<const ServedFiles*>(data);
  const char* method = soup_server_message_get_method(msg);
  if (strcmp(method, "GET") != 0 && strcmp(method, "HEAD") != 0) {
    soup_server_message_set_status(msg, SOUP_STATUS_METHOD_NOT_ALLOWED, nullptr);
    return;
  }
  const std::string name = path[0] == '/' ? path + 1 : path;
  const std::string* content = served->content(name);
  if (content == nullptr) {
    soup_server_message_set_status(msg, SOUP_STATUS_NOT_FOUND, nullptr);
    return;
  }
  soup_server_message_set_status(msg, SOUP_STATUS_OK, nullptr);
  soup_server_message_set_response(msg, ServedFiles::contentType(name), SOUP_MEMORY_STATIC,
                                   content->data(), content->size());
}

// Anything else on the server: only paths GUPnP or the stack registered
// answer; a path with a dot segment never reaches GUPnP's file handler.
// Searches beyond the limit end here, before GSSDP's resource groups see
// them. GSSDP passes every received message to its groups through the
// client's "message-received" signal (internal to GSSDP, stable through
// 1.6); a handler connected before the groups can stop the emission.
void limitSearches(GSSDPClient* client, const char* from, guint /*fromPort*/, gint /*type*/,
                   SoupMessageHeaders* headers, gpointer data) {
  const char* man = headers != nullptr ? soup_message_headers_get_one(headers, "MAN") : nullptr;
  if (man == nullptr || strstr(man, "ssdp:discover") == nullptr) return;
  auto* guard = static_cast<SearchGuard*>(data);
  const SearchLimiter::TimePoint now = SearchLimiter::Clock::now();
  if (guard->limiter.admit(from != nullptr ? from : "", now)) return;
  g_signal_stop_emission_by_name(client, "message-received");
  if (now - guard->reported >= kSearchDropReportInterval) {
    guard->reported = now;
    NUVPrintf(NUV_LOG_ERROR,
              "[SSDP] %lu searches not answered (more than the device answers), "
              "the latest from %s",
              guard->limiter.takeDropped(), from != nullptr ? from : "?");
  }
}

void refuseDotSegments(SoupServer*, SoupServerMessage* msg, const char* path, GHashTable*,
                       gpointer) {
  const std::string text = path;
  if (text.find("/..") != std::string::npos || text.find("/./") != std::string::npos ||
      text.find('\\') != std::string::npos)
    soup_server_message_set_status(msg, SOUP_STATUS_NOT_FOUND, nullptr);
}

GSSDPResourceGroup* announce(Session& session) {
  GSSDPResourceGroup* group = gssdp_resource_group_new(GSSDP_CLIENT(session.context));
  gssdp_resource_group_set_max_age(group, static_cast<guint>(session.maxAge));
  const char* location = session.location.c_str();
  const std::string& udn = session.udn;
  gssdp_resource_group_add_resource_simple(group, "upnp:rootdevice",
                                           (udn + "::upnp:rootdevice").c_str(), location);
  gssdp_resource_group_add_resource_simple(group, udn.c_str(), udn.c_str(), location);
  if (!session.deviceType.empty())
    gssdp_resource_group_add_resource_simple(group, session.deviceType.c_str(),
                                             (udn + "::" + session.deviceType).c_str(), location);
  for (const ServiceEntry& service : session.services)
    gssdp_resource_group_add_resource_simple(group, service.serviceType.c_str(),
                                             (udn + "::" + service.serviceType).c_str(), location);
  gssdp_resource_group_set_available(group, TRUE);
  return group;
}

// The path part of a control URL ("/_urn:...:ContentDirectory_control").
std::string pathOf(const std::string& url) {
  std::string path = url;
  const size_t scheme = path.find("://");
  if (scheme != std::string::npos) {
    const size_t slash = path.find('/', scheme + 3);
    path = slash == std::string::npos ? "/" : path.substr(slash);
  }
  if (path.empty() || path[0] != '/') path.insert(0, "/");
  return path;
}

}  // namespace

bool openSession(Session& session, const std::string& dir, const std::string& address,
                 const std::string& interfaceName, unsigned short port) {
  session.context = createContext(address, interfaceName, port);
  if (session.context == nullptr) return false;
  // Before the resource groups connect, so that this handler runs first.
  session.searches = std::make_unique<SearchGuard>();
  g_signal_connect(session.context, "message-received", G_CALLBACK(limitSearches),
                   session.searches.get());
  const guint served = gupnp_context_get_port(session.context);
  session.localAddress = address;
  const std::string base = "http://" + address + ":" + std::to_string(served) + "/";
  session.location = base + kDeviceDescriptionFileName;
  session.server = gssdp_client_get_server_id(GSSDP_CLIENT(session.context));

  std::string description;
  if (!fillUrlBase(session.description, base, &description)) description = session.description;
  session.served = std::make_unique<ServedFiles>();
  if (!session.served->prepare(dir, description)) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] cannot prepare the served files");
    closeSession(session);
    return false;
  }
  GError* error = nullptr;
  session.root = gupnp_root_device_new(session.context, kDeviceDescriptionFileName,
                                       session.served->dir().c_str(), &error);
  if (session.root == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] GUPnP refused the description: %s",
              error != nullptr ? error->message : "unknown error");
    if (error != nullptr) g_error_free(error);
    closeSession(session);
    return false;
  }
  SoupServer* server = gupnp_context_get_server(session.context);
  soup_server_add_early_handler(server, nullptr, refuseDotSegments, nullptr, nullptr);
  soup_server_add_handler(server, ("/" + std::string(kDeviceDescriptionFileName)).c_str(),
                          serveFile, session.served.get(), nullptr);
  for (const std::string& name : session.served->files())
    soup_server_add_handler(server, ("/" + name).c_str(), serveFile, session.served.get(), nullptr);

  // The stack serves the control and event subscription URLs itself; GUPnP's
  // service objects, which would serve them too, are never made.
  std::vector<ControlRoute> routes;
  std::vector<EventRoute> events;
  for (const ServiceEntry& entry : session.services) {
    routes.push_back(ControlRoute{pathOf(entry.controlUrl), entry.serviceType});
    if (!entry.eventSubUrl.empty())
      events.push_back(
          EventRoute{pathOf(entry.eventSubUrl), serviceTypeWithoutVersion(entry.serviceType)});
  }
  GMainContext* loopContext = g_main_context_get_thread_default();
  session.control = std::make_unique<ControlServer>(*session.device, server, loopContext, routes);
  session.gena =
      std::make_unique<GenaServer>(GSSDP_CLIENT(session.context), server, loopContext,
                                   session.device->table(), std::move(events), session.server);
  Session* raw = &session;
  session.reaper = std::make_unique<ConnectionReaper>(server, loopContext, [raw](GSocket* socket) {
    return raw->control != nullptr && raw->control->holds(socket);
  });
  session.group = announce(session);
  return true;
}

void closeSession(Session& session) {
  SoupServer* server =
      session.context != nullptr ? gupnp_context_get_server(session.context) : nullptr;
  // Requests still waiting are answered (501) while the server still runs.
  session.reaper.reset();
  session.control.reset();
  // Moved out first: its bounded wait for cancelled NOTIFYs runs the loop,
  // and events still queued for the loop then find no server.
  std::unique_ptr<GenaServer> gena = std::move(session.gena);
  gena.reset();
  if (server != nullptr) {
    // Nothing of this session may be reached from the server any more, even
    // if something of GUPnP's keeps the server alive a while.
    if (session.served != nullptr) {
      soup_server_remove_handler(server, ("/" + std::string(kDeviceDescriptionFileName)).c_str());
      for (const std::string& name : session.served->files())
        soup_server_remove_handler(server, ("/" + name).c_str());
    }
  }
  if (session.group != nullptr) {
    // Disposing of an available group sends its byebyes before it returns
    // (making it unavailable first would queue them, and disposal drops the
    // queue).
    g_object_unref(session.group);
    session.group = nullptr;
  }
  if (session.root != nullptr) {
    g_object_unref(session.root);
    session.root = nullptr;
  }
  if (server != nullptr) soup_server_disconnect(server);  // stops listening, closes clients
  if (session.context != nullptr) {
    g_signal_handlers_disconnect_by_data(session.context, session.searches.get());
    g_object_unref(session.context);
    session.context = nullptr;
  }
  session.searches.reset();
  session.served.reset();
}

void notifySubscribers(Session& session, const std::string& service, const NameValueList& changes) {
  if (session.gena != nullptr) session.gena->notify(service, changes);
}

}  // namespace dmsstack
