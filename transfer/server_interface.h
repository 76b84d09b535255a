// ServerInterface: the base of the per-request HTTP handlers that the
// transfer server creates, one per request, and deletes when the request's
// connection ends (always through its registry).
//
// Threads: every operation is called on the connection's thread with the
// registry's lock held.
#ifndef DMS_TRANSFER_SERVER_INTERFACE_H
#define DMS_TRANSFER_SERVER_INTERFACE_H

#include "nuv_http.h"
#include "nuv_list.h"

class ServerInterface {
 public:
  virtual ~ServerInterface() = default;
  ServerInterface(const ServerInterface&) = delete;
  ServerInterface& operator=(const ServerInterface&) = delete;

  // Called once with the request's header list, which the handler then owns
  // and releases. True when a response header was handed to the stack.
  virtual bool HandleHeader(stNUVAppList* headerList) = 0;
  // One piece of the request body (`last` for the final call).
  virtual bool HandlePayload(int profile, int connection, eHTTPVersion version, int length,
                             eHTTPMessageType method, char* data, char* target, bool last) = 0;
  // The previous piece of the response has gone: send the next one.
  virtual bool SendResponse(int reason) = 0;

  int profile() const { return profile_; }
  int connection() const { return connection_; }

 protected:
  ServerInterface(int profile, int connection) : profile_(profile), connection_(connection) {}

  const int profile_;
  const int connection_;
};

#endif  // DMS_TRANSFER_SERVER_INTERFACE_H
