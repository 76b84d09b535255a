// A raw TCP client on 127.0.0.1 for the HTTP server tests that need more
// control than curl gives (half-sent requests, clients that go away).
#ifndef DMS_TESTS_LOOPBACK_CLIENT_H
#define DMS_TESTS_LOOPBACK_CLIENT_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <string>

namespace loopback {

// A connection to 127.0.0.1:port, or -1. Its reads give up after 20 s, so
// that a test fails rather than hangs.
inline int connectTo(int port) {
  const int s = socket(AF_INET, SOCK_STREAM, 0);
  if (s < 0) return -1;
  timeval limit{20, 0};
  setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(static_cast<uint16_t>(port));
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(s, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) {
    close(s);
    return -1;
  }
  return s;
}

// Sends all of `text` at once; false when the connection takes less.
inline bool sendAll(int s, const std::string& text) {
  return send(s, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

}  // namespace loopback

#endif  // DMS_TESTS_LOOPBACK_CLIENT_H
