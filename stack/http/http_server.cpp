// The stack's HTTP server profiles on libmicrohttpd (see http_server.h).
#include "http_server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <strings.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "device.h"
#include "http_limits.h"
#include "http_records.h"
#include "network.h"
#include "nuv_log.h"

namespace dmsstack {

struct HttpProfile {
  int handle = 0;
  std::string address;
  int port = 0;
  stNUVHTTPCallbacks callbacks{};
  MHD_Daemon* daemon = nullptr;
  std::atomic<bool> stopping{false};
};

namespace {

// The profile whose pool this thread belongs to, set by every callback: a
// pool thread serves one profile's connections only, and cannot wait for
// that profile's pool to stop.
thread_local HttpProfile* tProfile = nullptr;

std::string clientAddress(MHD_Connection* mc) {
  const MHD_ConnectionInfo* info = MHD_get_connection_info(mc, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  if (info == nullptr || info->client_addr == nullptr || info->client_addr->sa_family != AF_INET) {
    return "";
  }
  char text[INET_ADDRSTRLEN] = {0};
  const auto* in = reinterpret_cast<const sockaddr_in*>(info->client_addr);
  if (inet_ntop(AF_INET, &in->sin_addr, text, sizeof(text)) == nullptr) return "";
  return text;
}

const char* headerValue(MHD_Connection* mc, const char* name) {
  return MHD_lookup_connection_value(mc, MHD_HEADER_KIND, name);
}

MHD_Result collectHeader(void* cls, MHD_ValueKind, const char* key, const char* value) {
  auto* list = static_cast<stNUVAppList*>(cls);
  if (key == nullptr || strcasecmp(key, "Host") == 0) return MHD_YES;
  NUVListAddHeader(list, key, value != nullptr ? value : "");
  return MHD_YES;
}

// Status with an empty body (access control's refusals).
MHD_Result queueStatus(MHD_Connection* mc, unsigned int status) {
  MHD_Response* response =
      MHD_create_response_from_buffer(0, const_cast<char*>(""), MHD_RESPMEM_PERSISTENT);
  if (response == nullptr) return MHD_NO;
  MHD_add_response_header(response, MHD_HTTP_HEADER_CONNECTION, "close");
  const MHD_Result result = MHD_queue_response(mc, status, response);
  MHD_destroy_response(response);
  return result;
}

ssize_t endOfBody(void*, uint64_t, char*, size_t) { return MHD_CONTENT_READER_END_OF_STREAM; }

ssize_t readBody(void* cls, uint64_t, char* buffer, size_t max) {
  auto* c = static_cast<HttpConnection*>(cls);
  auto* profile = static_cast<HttpProfile*>(c->local.owner);
  tProfile = profile;
  const ssize_t n = c->read(buffer, max, [profile, c] {
    if (profile->callbacks.sendResponse != nullptr)
      profile->callbacks.sendResponse(profile->handle, c->id(), 0);
  });
  if (n == -1) return MHD_CONTENT_READER_END_OF_STREAM;
  if (n < 0) return MHD_CONTENT_READER_END_WITH_ERROR;
  // 0: the connection is suspended until the piece comes, so libmicrohttpd
  // asks again then instead of spinning.
  return n;
}

void addHeader(MHD_Response* response, const std::string& name, const std::string& value) {
  if (MHD_add_response_header(response, name.c_str(), value.c_str()) != MHD_YES)
    NUVPrintf(NUV_LOG_ERROR, "[HTTP] response header \"%s\" refused", name.c_str());
}

// libmicrohttpd allocates and zeroes the body buffer with every response: a
// thumbnail or a small range gets whole pieces enough for its length, not
// the streaming size.
size_t bodyBufferFor(const QueuedResponse& r) {
  if (!r.lengthKnown || r.length >= kHttpSendBufferBytes) return kHttpSendBufferBytes;
  const size_t pieces = (static_cast<size_t>(r.length) + kHttpPieceBytes - 1) / kHttpPieceBytes;
  return (pieces > 0 ? pieces : 1) * kHttpPieceBytes;
}

MHD_Result queueResponse(MHD_Connection* mc, HttpConnection* c, const QueuedResponse& r) {
  MHD_Response* response = nullptr;
  if (r.headerOnly) {
    response =
        (c->local.isHead && r.lengthKnown)
            ? MHD_create_response_from_callback(r.length, kHttpPieceBytes, &endOfBody, nullptr,
                                                nullptr)
            : MHD_create_response_from_buffer(0, const_cast<char*>(""), MHD_RESPMEM_PERSISTENT);
  } else {
    response = MHD_create_response_from_callback(r.lengthKnown ? r.length : MHD_SIZE_UNKNOWN,
                                                 bodyBufferFor(r), &readBody, c, nullptr);
  }
  if (response == nullptr) return MHD_NO;
  int flags = MHD_RF_NONE;
  // A body of unknown length ends with the connection, never chunked: DLNA
  // renderers expect plain bodies.
  if (!r.headerOnly && !r.lengthKnown) flags |= MHD_RF_HTTP_1_0_COMPATIBLE_STRICT;
  if (!r.http11) flags |= MHD_RF_HTTP_1_0_SERVER;
  MHD_set_response_options(response, static_cast<MHD_ResponseFlags>(flags), MHD_RO_END);
  if (r.close) addHeader(response, MHD_HTTP_HEADER_CONNECTION, "close");
  if (!r.contentType.empty()) addHeader(response, MHD_HTTP_HEADER_CONTENT_TYPE, r.contentType);
  for (const auto& header : r.headers) addHeader(response, header.first, header.second);
  const unsigned int status =
      (r.status >= 100 && r.status <= 999) ? static_cast<unsigned int>(r.status) : 500;
  const MHD_Result result = MHD_queue_response(mc, status, response);
  MHD_destroy_response(response);
  return result;
}

// Queues the handler's response. When it has not come and the handler still
// holds the request, the connection is suspended until it comes (the access
// callback then runs again); otherwise it is closed unanswered.
MHD_Result answer(MHD_Connection* mc, HttpConnection* c) {
  // A handler that let go of the request without answering will not answer.
  const bool mayWait = !c->headerReleased->load();
  QueuedResponse response;
  switch (c->takeResponse(&response, mayWait)) {
    case HttpConnection::Answer::Ready:
      return queueResponse(mc, c, response);
    case HttpConnection::Answer::Later:
      return MHD_YES;
    case HttpConnection::Answer::Never:
      break;
  }
  return MHD_NO;
}

MHD_Result beginRequest(HttpProfile* profile, MHD_Connection* mc, HttpConnection* c,
                        const char* method, const char* version) {
  c->started = true;
  c->local.owner = profile;
  // Valid until the request ends: libmicrohttpd closes no suspended
  // connection, and end() drops these before the request is gone.
  c->setPause([mc] { MHD_suspend_connection(mc); }, [mc] { MHD_resume_connection(mc); });
  const MHD_ConnectionInfo* fd = MHD_get_connection_info(mc, MHD_CONNECTION_INFO_CONNECTION_FD);
  if (fd != nullptr) c->setSocket(fd->connect_fd);

  const std::string ip = clientAddress(mc);
  Device& device = Device::instance();
  const char* userAgent = headerValue(mc, "User-Agent");
  const char* clientInfo = headerValue(mc, "X-AV-Client-Info");
  device.acl().noteClientHeaders(ip, userAgent != nullptr ? userAgent : "",
                                 clientInfo != nullptr ? clientInfo : "");
  ClientDevice client;
  const AclDecision decision = device.acl().check(ip, &client);
  if (decision != AclDecision::Admit) {
    c->local.refused = true;
    if (decision == AclDecision::RefuseAndReport) device.reportToAcl(client, device.acl().mode());
    return queueStatus(mc, MHD_HTTP_FORBIDDEN);
  }

  const eHTTPMessageType type = methodFromName(method);
  const eHTTPVersion httpVersion = (version != nullptr && strcmp(version, "HTTP/1.0") == 0)
                                       ? NUV_HTTP_VERSION_1_0
                                       : NUV_HTTP_VERSION_1_1;
  c->local.method = type;
  c->local.version = httpVersion;
  c->local.isHead = type == NUV_HTTP_HEAD;
  const long long length = contentLengthFromText(headerValue(mc, "Content-Length"));
  const char* encoding = headerValue(mc, "Transfer-Encoding");
  c->local.hasBody = length > 0 || (encoding != nullptr && strcasestr(encoding, "chunked"));

  stNUVAppList* headers = NUVListCreate();
  if (headers == nullptr) return MHD_NO;
  MHD_get_connection_values(mc, MHD_HEADER_KIND, &collectHeader, headers);
  stNUVAppList* request = NUVHTTPCreateRequestHeaderList(
      type, method, c->target().c_str(), httpVersion, headerValue(mc, "Host") != nullptr,
      ip.c_str(), length, headers);
  FreeAdditionalHeaders(headers);
  if (request == nullptr) return MHD_NO;
  watchRelease(request, c->headerReleased);

  c->local.announced = true;
  const stNUVHTTPCallbacks& cb = profile->callbacks;
  if (cb.connect != nullptr) cb.connect(profile->handle, c->id());
  if (cb.requestHeader != nullptr) {
    cb.requestHeader(profile->handle, c->id(), request, 0);
  } else {
    NUVHTTPReleaseHeaderInfo(request);
  }
  if (c->local.hasBody) {
    // Answered now (a refusal) or after the body's last piece.
    QueuedResponse early;
    return c->takeResponse(&early, false) == HttpConnection::Answer::Ready
               ? queueResponse(mc, c, early)
               : MHD_YES;
  }
  return answer(mc, c);
}

MHD_Result onAccess(void* cls, MHD_Connection* mc, const char*, const char* method,
                    const char* version, const char* upload, size_t* uploadSize, void** conCls) {
  auto* profile = static_cast<HttpProfile*>(cls);
  tProfile = profile;
  auto* c = static_cast<HttpConnection*>(*conCls);
  if (c == nullptr || profile->stopping.load() || c->cancelled()) return MHD_NO;
  if (!c->started) return beginRequest(profile, mc, c, method, version);
  if (c->local.refused) {
    *uploadSize = 0;
    return MHD_YES;
  }
  // Resumed while waiting for the response.
  if (!c->local.hasBody) return answer(mc, c);
  const stNUVHTTPCallbacks& cb = profile->callbacks;
  const auto method_type = static_cast<eHTTPMessageType>(c->local.method);
  const auto http_version = static_cast<eHTTPVersion>(c->local.version);
  char* target = const_cast<char*>(c->target().c_str());
  if (*uploadSize > 0) {
    if (cb.requestReceive != nullptr)
      cb.requestReceive(profile->handle, c->id(), http_version, static_cast<int>(*uploadSize),
                        method_type, const_cast<char*>(upload), target, false, 0);
    *uploadSize = 0;
    return MHD_YES;
  }
  if (!c->local.lastDelivered) {
    c->local.lastDelivered = true;
    char empty[1] = {0};
    if (cb.requestReceive != nullptr)
      cb.requestReceive(profile->handle, c->id(), http_version, 0, method_type, empty, target, true,
                        0);
  }
  // A handler that let go of the request answers during the last piece or
  // not at all.
  return answer(mc, c);
}

void* onUri(void* cls, const char* uri, MHD_Connection*) {
  auto* profile = static_cast<HttpProfile*>(cls);
  tProfile = profile;
  return HttpServer::instance().openConnection(profile, uri).get();
}

void onCompleted(void* cls, MHD_Connection*, void** conCls, MHD_RequestTerminationCode toe) {
  auto* profile = static_cast<HttpProfile*>(cls);
  auto* c = static_cast<HttpConnection*>(*conCls);
  if (c == nullptr) return;
  *conCls = nullptr;
  const bool taken = c->responseTaken();
  c->end();
  if (c->local.announced && profile->callbacks.exception != nullptr) {
    const auto raise = [&](eExceptionType type) {
      profile->callbacks.exception(profile->handle, c->id(), type);
    };
    if (profile->stopping.load()) {
      raise(NUV_HTTP_EXCEPTION_NETWORK_DISABLED);
    } else if (toe != MHD_REQUEST_TERMINATED_COMPLETED_OK && taken) {
      raise(NUV_HTTP_EXCEPTION_SEND_FAILURE);
    }
    raise(NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  }
  HttpServer::instance().closeConnection(c->id());
}

// A client that hangs up in mid-response (a player seeking, a viewer
// leaving) is no fault of the server's: libmicrohttpd's word for it is kept
// for the verbose log, out of the error log it would flood.
bool clientHungUp(const char* text) {
  return strstr(text, "closed by remote") != nullptr || strstr(text, "reset by peer") != nullptr ||
         strstr(text, "forcibly closed") != nullptr || strstr(text, "Broken pipe") != nullptr;
}

void onLog(void*, const char* format, va_list ap) {
  char text[512];
  vsnprintf(text, sizeof(text), format, ap);
  NUVPrintf(clientHungUp(text) ? NUV_LOG_INFO : NUV_LOG_ERROR, "[HTTP] %s", text);
}

}  // namespace

HttpServer& HttpServer::instance() {
  static HttpServer server;
  return server;
}

int HttpServer::startProfile(const stNUVHTTPCallbacks& callbacks, const std::string& address,
                             int port) {
  sockaddr_in bind{};
  bind.sin_family = AF_INET;
  bind.sin_port = htons(static_cast<uint16_t>(port));
  if (port < 0 || port > 65535 || inet_pton(AF_INET, address.c_str(), &bind.sin_addr) != 1) {
    NUVPrintf(NUV_LOG_ERROR, "[HTTP] cannot listen on \"%s\" port %d", address.c_str(), port);
    return 0;
  }
  auto profile = std::make_shared<HttpProfile>();
  profile->callbacks = callbacks;
  profile->address = address;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    profile->handle = nextProfile_++;
  }
  // A bounded pool; a request that waits for its handler is suspended rather
  // than holding a thread of it. poll() rather than epoll: the edge-triggered
  // epoll of libmicrohttpd 0.9.75 loses a client's close that comes with the
  // last bytes read, so an upload cut off halfway would stay open (its
  // partial file with it) until the idle timeout. A pool thread polls at
  // most a few dozen descriptors.
  const unsigned int flags =
      MHD_USE_POLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG;
  HandlerDeadlines::instance().acquire();
  profile->daemon = MHD_start_daemon(
      flags, static_cast<uint16_t>(port), nullptr, nullptr, &onAccess, profile.get(),
      MHD_OPTION_EXTERNAL_LOGGER, &onLog, nullptr, MHD_OPTION_SOCK_ADDR, &bind,
      MHD_OPTION_THREAD_POOL_SIZE, kHttpServerThreads, MHD_OPTION_CONNECTION_LIMIT,
      kMaxHttpConnections, MHD_OPTION_PER_IP_CONNECTION_LIMIT, kMaxHttpConnectionsPerClient,
      MHD_OPTION_CONNECTION_TIMEOUT, kHttpIdleTimeoutSeconds, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
      kHttpConnectionMemoryBytes, MHD_OPTION_NOTIFY_COMPLETED, &onCompleted, profile.get(),
      MHD_OPTION_URI_LOG_CALLBACK, &onUri, profile.get(), MHD_OPTION_END);
  if (profile->daemon == nullptr) {
    HandlerDeadlines::instance().release();
    NUVPrintf(NUV_LOG_ERROR, "[HTTP] cannot listen on %s:%d", address.c_str(), port);
    return 0;
  }
  const MHD_DaemonInfo* info = MHD_get_daemon_info(profile->daemon, MHD_DAEMON_INFO_BIND_PORT);
  profile->port = info != nullptr ? info->port : port;
  NUVPrintf(NUV_LOG_INFO, "[HTTP] profile %d listens on %s:%d", profile->handle, address.c_str(),
            profile->port);
  std::lock_guard<std::mutex> lock(mutex_);
  profiles_[profile->handle] = profile;
  return profile->handle;
}

bool HttpServer::stopProfile(int handle) {
  std::shared_ptr<HttpProfile> profile;
  std::vector<std::shared_ptr<HttpConnection>> live;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = profiles_.find(handle);
    if (it == profiles_.end()) return false;
    profile = it->second;
    profiles_.erase(it);
    // Set before the requests are gathered: one that starts later is refused
    // by its first callback, so none is left suspended (which libmicrohttpd
    // cannot stop).
    profile->stopping.store(true);
    for (const auto& entry : connections_) {
      if (entry.second->profile() == handle) live.push_back(entry.second);
    }
  }
  // Resumes the suspended ones: they end as the daemon stops.
  for (const auto& c : live) c->cancel();
  const auto stop = [profile] {
    MHD_stop_daemon(profile->daemon);
    HandlerDeadlines::instance().release();
  };
  if (tProfile == profile.get()) {
    // A thread of the pool cannot wait for the pool: the daemon is stopped
    // just after.
    std::thread(stop).detach();
  } else {
    stop();
  }
  NUVPrintf(NUV_LOG_INFO, "[HTTP] profile %d stopped", handle);
  return true;
}

bool HttpServer::stopConnection(int profile, int connectionId) {
  std::shared_ptr<HttpConnection> c = connection(profile, connectionId);
  if (c == nullptr) return false;
  c->cancel();
  return true;
}

int HttpServer::portOf(int handle) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = profiles_.find(handle);
  return it == profiles_.end() ? -1 : it->second->port;
}

std::shared_ptr<HttpConnection> HttpServer::connection(int profile, int connectionId) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = connections_.find(connectionId);
  if (it == connections_.end() || it->second->profile() != profile) return nullptr;
  return it->second;
}

std::shared_ptr<HttpConnection> HttpServer::openConnection(HttpProfile* profile,
                                                           const char* target) {
  std::lock_guard<std::mutex> lock(mutex_);
  int id = nextConnection_++;
  if (nextConnection_ <= 0) nextConnection_ = 1;  // identifiers stay positive
  auto c = std::make_shared<HttpConnection>(id, profile->handle, target != nullptr ? target : "");
  connections_[id] = c;
  return c;
}

void HttpServer::closeConnection(int connectionId) {
  std::shared_ptr<HttpConnection> keep;  // released after the lock
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = connections_.find(connectionId);
  if (it == connections_.end()) return;
  keep = std::move(it->second);
  connections_.erase(it);
}

std::vector<std::string> defaultHttpAddresses() {
  const DeviceConfig config = Device::instance().config();
  if (config.bindInterface.empty()) return {config.bindAddress};
  std::vector<std::string> addresses;
  for (const auto& entry : upInterfaces()) {
    if (entry.name == config.bindInterface) addresses.push_back(entry.address);
  }
  return addresses;
}

}  // namespace dmsstack
