// The stack's HTTP client profiles on libcurl: one request each, driven by
// one worker thread of the stack through a curl multi handle (see "Client
// mode" in nuv_http.h). The exported NUVHTTP... functions reach them through
// the functions below (http_api.cpp).
//
// Threads: every function may be called from any thread, the profiles'
// own callbacks included. The callbacks of every client profile run on the
// worker thread, never with a lock of the client held. The worker starts
// with the first request and ends when no transfer is left (or at exit).
#ifndef DMS_STACK_HTTP_HTTP_CLIENT_H
#define DMS_STACK_HTTP_HTTP_CLIENT_H

#include <chrono>
#include <cstddef>

#include "http_limits.h"
#include "nuv_http.h"

namespace dmsstack {

// Client profile handles lie from here up, server profile handles below
// (they count from 1), so that a handle alone tells which side it is.
constexpr int kFirstClientProfile = 0x40000000;

inline bool isClientProfile(int profile) { return profile >= kFirstClientProfile; }

// The time bounds of client transfers (http_limits.h); tests shorten them.
struct HttpClientLimits {
  std::chrono::milliseconds connectTimeout = kHttpClientConnectTimeout;
  long lowSpeedBytes = kHttpClientLowSpeedBytes;
  std::chrono::seconds lowSpeedTime = kHttpClientLowSpeedTime;
  // How long a paused request body waits for the handler's next piece.
  std::chrono::milliseconds pieceWait = kHttpHandlerWait;
};

// A new client profile with a copy of `callbacks`: its handle (also its
// connection identifier), or 0 when out of memory. Nothing is opened yet.
int startClientProfile(const stNUVHTTPCallbacks& callbacks);

// NUVHTTPSendRequest for a client profile: 0, or 1 for an unknown profile or
// connection, a second request, a bad record or a URL not "http://". The
// record is copied; the transfer starts on the worker thread (callback 7).
int sendClientRequest(int profile, int connection, const NUVHTTPClientRequest& request,
                      bool complete);

// NUVHTTPSendPacket for a client profile: queues a copy of the next request
// body piece. 1 for an unknown profile, a request without a body, a body
// already ended, or a piece while more than kHttpClientQueuedBodyBytes wait.
int sendClientPacket(int profile, int connection, const char* data, size_t length, bool last);

// NUVHTTPStopHTTPProfile for a client profile (`connection` is
// NUV_HTTP_ALL_CONNECTIONS or the profile handle). A transfer in progress
// ends with exception 0 then 6 before this returns; called on the worker
// thread (from a callback of any client profile), just after that callback
// returns. The handle is unknown from the call on. 1 when unknown.
int stopClientProfile(int profile, int connection);

// NUVHTTPGetTransferBytesCount for a client profile: request body bytes
// handed to curl for a request with a body, else response body bytes
// received; -1 for an unknown profile.
long long clientTransferBytes(int profile);

// Bounds for the transfers that start from now on.
void setHttpClientLimits(const HttpClientLimits& limits);

// A test seam: waits up to `timeout` for the worker thread to end, which it
// does when no transfer is left; true when it has. Every callback of a
// client profile runs on the worker or inside a call of the caller's own, so
// once it has ended none comes until the next request is sent, and a test
// can check that nothing more happened without sleeping.
bool waitHttpClientIdle(std::chrono::milliseconds timeout);

}  // namespace dmsstack

#endif  // DMS_STACK_HTTP_HTTP_CLIENT_H
