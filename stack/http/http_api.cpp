// The exported HTTP operations of the stack (nuv_http.h): server profiles on
// libmicrohttpd (http_server.cpp), client profiles on libcurl
// (http_client.cpp), told apart by their handles.
#include <strings.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "export_guard.h"
#include "http_client.h"
#include "http_records.h"
#include "http_server.h"
#include "nuv_http.h"
#include "nuv_log.h"

namespace {

using dmsstack::HttpServer;
using dmsstack::QueuedResponse;

std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  const size_t last = text.find_last_not_of(" \t\r");
  return text.substr(first, last - first + 1);
}

// The Content-Type value, and any "Name: value" lines a handler put after a
// line break in it (the live view adds Cache-Control that way).
void splitContentType(const char* text, QueuedResponse* r) {
  if (text == nullptr) return;
  std::string rest = text;
  size_t newline = rest.find('\n');
  r->contentType = trimmed(rest.substr(0, newline));
  while (newline != std::string::npos) {
    rest = rest.substr(newline + 1);
    newline = rest.find('\n');
    const std::string line = rest.substr(0, newline);
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    const std::string name = trimmed(line.substr(0, colon));
    if (!name.empty()) r->headers.emplace_back(name, trimmed(line.substr(colon + 1)));
  }
}

// A plain decimal length that fits 64 bits.
bool parseLength(const char* text, uint64_t* value) {
  if (text == nullptr || *text < '0' || *text > '9') return false;
  errno = 0;
  char* end = nullptr;
  const unsigned long long parsed = strtoull(text, &end, 10);
  if (errno != 0 || *end != '\0') return false;
  *value = parsed;
  return true;
}

// A client profile: nothing is opened until its request is sent.
int startClientMode(const stNUVHTTPCallbacks& callbacks, void* reserved,
                    stNUVHTTPConnInfo** connInfo) {
  if (reserved != nullptr || connInfo == nullptr) return 1;
  *connInfo = nullptr;
  const int profile = dmsstack::startClientProfile(callbacks);
  if (profile == 0) return 1;
  try {
    *connInfo = dmsstack::newConnInfo({{profile, ""}});
  } catch (const std::bad_alloc&) {
    *connInfo = nullptr;
  }
  if (*connInfo == nullptr) {
    dmsstack::stopClientProfile(profile, NUV_HTTP_ALL_CONNECTIONS);
    return 1;
  }
  return 0;
}

bool reservedHeader(const char* name) {
  return strcasecmp(name, "Content-Length") == 0 || strcasecmp(name, "Transfer-Encoding") == 0 ||
         strcasecmp(name, "Connection") == 0;
}

}  // namespace

extern "C" {

int NUVHTTPStartHTTPProfile(const stNUVHTTPCallbacks* callbacks, void* reserved,
                            const char* address, int port, stNUVHTTPConnInfo** connInfo) {
  return dms_export::guarded("NUVHTTPStartHTTPProfile", 1, [&]() -> int {
    if (callbacks != nullptr && callbacks->responseHeader != nullptr &&
        callbacks->requestHeader == nullptr) {
      return startClientMode(*callbacks, reserved, connInfo);
    }
    if (callbacks == nullptr || reserved != nullptr || connInfo == nullptr || port < 0 ||
        port > 65535) {
      return 1;
    }
    *connInfo = nullptr;
    const std::vector<std::string> addresses =
        address != nullptr ? std::vector<std::string>{address} : dmsstack::defaultHttpAddresses();
    if (addresses.empty()) return 4;
    std::vector<std::pair<int, std::string>> started;
    for (const auto& a : addresses) {
      const int profile = HttpServer::instance().startProfile(*callbacks, a, port);
      if (profile > 0) started.emplace_back(profile, a);
    }
    if (started.empty()) return 1;
    *connInfo = dmsstack::newConnInfo(started);
    if (*connInfo == nullptr) {
      for (const auto& p : started) HttpServer::instance().stopProfile(p.first);
      return 1;
    }
    return 0;
  });
}

int NUVHTTPGetProfilePort(int profile) {
  return dms_export::guarded("NUVHTTPGetProfilePort", -1,
                             [&]() -> int { return HttpServer::instance().portOf(profile); });
}

int NUVHTTPStopHTTPProfile(int profile, int connection) {
  return dms_export::guarded("NUVHTTPStopHTTPProfile", 1, [&]() -> int {
    if (dmsstack::isClientProfile(profile)) return dmsstack::stopClientProfile(profile, connection);
    if (connection < 0) return HttpServer::instance().stopProfile(profile) ? 0 : 1;
    return HttpServer::instance().stopConnection(profile, connection) ? 0 : 1;
  });
}

int NUVHTTPSendResponse(int profile, int connection, NUVHTTPResponseHeaderInfo* header,
                        int headerOnly) {
  return dms_export::guarded("NUVHTTPSendResponse", 1, [&]() -> int {
    if (header == nullptr) return 1;
    auto c = HttpServer::instance().connection(profile, connection);
    if (c == nullptr) return 1;
    if (header->statusCode == 100) return 0;
    QueuedResponse r;
    r.status = header->statusCode;
    r.close = header->connection != nullptr && strcasecmp(header->connection, "close") == 0;
    splitContentType(header->contentType, &r);
    r.lengthKnown = parseLength(header->contentLength, &r.length);
    r.http11 = header->http11 != 0;
    r.headerOnly = headerOnly != 0;
    const int count = NUVListGetCount(header->additionalHeaders);
    for (int i = 0; i < count; ++i) {
      auto* h = static_cast<stNUVHeader*>(NUVListGetItemData(header->additionalHeaders, i));
      if (h == nullptr || h->name == nullptr || h->value == nullptr) continue;
      if (reservedHeader(h->name)) {
        NUVPrintf(NUV_LOG_ERROR, "[HTTP] header \"%s\" is the stack's own; ignored", h->name);
        continue;
      }
      r.headers.emplace_back(h->name, h->value);
    }
    return c->setResponse(std::move(r)) ? 0 : 1;
  });
}

int NUVHTTPSendPacket(int profile, int connection, const char* buffer, int length, int last) {
  return dms_export::guarded("NUVHTTPSendPacket", 1, [&]() -> int {
    if (length < 0 || (length > 0 && buffer == nullptr)) return 1;
    if (dmsstack::isClientProfile(profile)) {
      return dmsstack::sendClientPacket(profile, connection, buffer, static_cast<size_t>(length),
                                        last != 0);
    }
    auto c = HttpServer::instance().connection(profile, connection);
    if (c == nullptr) return 1;
    return c->addPacket(buffer, static_cast<size_t>(length), last != 0) ? 0 : 1;
  });
}

int NUVHTTPSendRequest(int profile, int connection, const NUVHTTPClientRequest* request,
                       int complete) {
  return dms_export::guarded("NUVHTTPSendRequest", 1, [&]() -> int {
    if (request == nullptr || !dmsstack::isClientProfile(profile)) return 1;
    return dmsstack::sendClientRequest(profile, connection, *request, complete != 0);
  });
}

long long NUVHTTPGetTransferBytesCount(int profile) {
  return dms_export::guarded("NUVHTTPGetTransferBytesCount", -1LL, [&]() -> long long {
    return dmsstack::isClientProfile(profile) ? dmsstack::clientTransferBytes(profile) : -1;
  });
}

}  // extern "C"
