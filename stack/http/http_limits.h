// Bounds of the stack's HTTP server and client profiles, in one place.
#ifndef DMS_STACK_HTTP_HTTP_LIMITS_H
#define DMS_STACK_HTTP_HTTP_LIMITS_H

#include <chrono>
#include <cstddef>

namespace dmsstack {

// Connections one profile serves at once; more wait in the listen queue. A
// camera has few clients; twenty downloads must fit.
constexpr unsigned int kMaxHttpConnections = 64;

// Threads of one profile's pool, which serve all its connections with poll().
// A camera has one or two cores, but handlers read and write the memory card
// inside their callbacks: a few more threads than cores keep the other
// clients served while one callback waits for the card. A handler that waits
// for anything else (a frame, an answer made on another thread) holds no
// thread: its connection is suspended meanwhile.
constexpr unsigned int kHttpServerThreads = 4;

// Connections from one client address at once.
constexpr unsigned int kMaxHttpConnectionsPerClient = 32;

// Seconds a connection may stay idle (no byte read or sent) before it is
// closed.
constexpr unsigned int kHttpIdleTimeoutSeconds = 60;

// Memory of one connection for its request line, headers and buffers: a
// request whose line and headers do not fit is answered by libmicrohttpd
// itself (414 or 431) and never reaches the media server. About half of it
// is the read buffer, so it is also the size of an upload's body pieces.
// 32 KiB is the largest libmicrohttpd takes from malloc; above it every
// connection maps and unmaps its own pages, which with a pool of threads
// costs page faults and a TLB shootdown per connection: thumbnails went
// from 10.5k to 17k requests/s at 32 KiB, while four parallel 1 GiB
// uploads took 45 % more CPU (one upload the same time).
constexpr size_t kHttpConnectionMemoryBytes = 32 * 1024;

// Largest body piece asked of a handler at once: the media server sends
// 20480 bytes per piece, which then goes to the socket without another copy.
constexpr size_t kHttpPieceBytes = 20480;

// libmicrohttpd's body buffer: whole pieces are gathered into it, one
// "response sent" notification each, so that one send() carries several
// (a piece a system call halves the streaming rate).
constexpr size_t kHttpSendBufferBytes = 12 * kHttpPieceBytes;

// How long a request waits for a response, or a body for its next piece,
// that a handler gives from another thread, before the connection is closed
// (a client profile's request body: before its transfer fails). A server
// request waits suspended, holding no thread.
constexpr std::chrono::milliseconds kHttpHandlerWait{30000};

// Consecutive empty pieces (without "last") a body may ask for before the
// connection is closed: a handler that never sends data must not spin.
constexpr int kMaxEmptyPieces = 1000;

// ---- Client profiles (libcurl) ----

// A connect to a peer that takes longer fails: devices on the local network
// answer within milliseconds, a missing one never does.
constexpr std::chrono::seconds kHttpClientConnectTimeout{10};

// A transfer that moves fewer than kHttpClientLowSpeedBytes per second for
// kHttpClientLowSpeedTime fails: a peer that stalls must not hold the
// profile (and a file being imported) for ever.
constexpr long kHttpClientLowSpeedBytes = 1;
constexpr std::chrono::seconds kHttpClientLowSpeedTime{30};

// Redirects a GET follows; a loop between two servers ends here.
constexpr long kHttpClientMaxRedirects = 5;

// Request body bytes queued for curl at once: one piece sent ahead of the
// next request for one is accepted, a handler that floods is refused.
constexpr size_t kHttpClientQueuedBodyBytes = 256 * 1024;

}  // namespace dmsstack

#endif  // DMS_STACK_HTTP_HTTP_LIMITS_H
