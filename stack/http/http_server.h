// The stack's HTTP server profiles on libmicrohttpd: one daemon per profile
// and bound address, each served by a small pool of threads
// (kHttpServerThreads) that none of its requests holds while it waits for
// its handler (the request is suspended meanwhile), and the registry of
// profiles and requests that the exported NUVHTTP... functions reach
// (http_api.cpp).
//
// Thread safety: every member may be called from any thread. No lock of the
// server is held while a callback of the media server runs.
#ifndef DMS_STACK_HTTP_HTTP_SERVER_H
#define DMS_STACK_HTTP_HTTP_SERVER_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "http_connection.h"
#include "nuv_http.h"

namespace dmsstack {

struct HttpProfile;

class HttpServer {
 public:
  static HttpServer& instance();

  // Starts one profile on `address` and `port`; its handle (> 0), or 0.
  int startProfile(const stNUVHTTPCallbacks& callbacks, const std::string& address, int port);
  // Stops a whole profile; false when unknown.
  bool stopProfile(int profile);
  // Ends one request of a profile; false when unknown.
  bool stopConnection(int profile, int connection);
  // -1 for an unknown profile.
  int portOf(int profile) const;

  // The request `connection` of `profile`, or null once it has ended.
  std::shared_ptr<HttpConnection> connection(int profile, int connection) const;

  // Used by the libmicrohttpd callbacks (http_server.cpp).
  std::shared_ptr<HttpConnection> openConnection(HttpProfile* profile, const char* target);
  void closeConnection(int connection);

 private:
  HttpServer() = default;

  mutable std::mutex mutex_;
  int nextProfile_ = 1;                                         // guarded by mutex_
  int nextConnection_ = 1;                                      // guarded by mutex_
  std::map<int, std::shared_ptr<HttpProfile>> profiles_;        // guarded by mutex_
  std::map<int, std::shared_ptr<HttpConnection>> connections_;  // guarded by mutex_
};

// The addresses a profile started without an address listens on: those the
// device side serves. Empty when that interface has no IPv4 address.
std::vector<std::string> defaultHttpAddresses();

}  // namespace dmsstack

#endif  // DMS_STACK_HTTP_HTTP_SERVER_H
