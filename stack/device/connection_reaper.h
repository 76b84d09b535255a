// Closes the UPnP server's connections whose clients have gone. libsoup 3.2
// (Debian 12) leaks a connection the client closes while it is idle between
// requests, or in the middle of a request head: its socket stays open in
// CLOSE_WAIT for good, and every control point that opens a connection per
// request would use up the process's descriptors. The reaper remembers the
// socket of every request and, when a request ends and every couple of
// seconds, closes those whose peer has closed and that hold nothing unread.
// A socket whose request still waits for its answer is left alone. A gone
// peer's socket is shut down first (a read libsoup waits on then ends
// cleanly) and closed at the next sweep if libsoup still has not. Closing
// gets the descriptor back but not libsoup's objects of the connection
// (1 to 6 KiB), so only the control URL keeps connections open between
// requests: every other answer says "Connection: close".
//
// Thread safety: GLib thread only.
#ifndef DMS_STACK_DEVICE_CONNECTION_REAPER_H
#define DMS_STACK_DEVICE_CONNECTION_REAPER_H

#include <libsoup/soup.h>

#include <functional>
#include <set>

namespace dmsstack {

class ConnectionReaper {
 public:
  // `busy` tells whether a socket belongs to a request still waiting.
  ConnectionReaper(SoupServer* server, GMainContext* context, std::function<bool(GSocket*)> busy);
  ~ConnectionReaper();
  ConnectionReaper(const ConnectionReaper&) = delete;
  ConnectionReaper& operator=(const ConnectionReaper&) = delete;

  // Sockets followed now (closed ones are dropped at each sweep).
  size_t followed() const { return sockets_.size(); }
  // Closes the followed sockets whose peer has gone; returns how many.
  size_t sweep();

 private:
  static void onStarted(SoupServer*, SoupServerMessage* msg, gpointer self);
  static void onEnded(SoupServer*, SoupServerMessage* msg, gpointer self);
  static void onRead(SoupServer*, SoupServerMessage* msg, gpointer);
  bool closeIfPeerGone(GSocket* socket);

  SoupServer* server_;
  std::function<bool(GSocket*)> busy_;
  std::set<GSocket*> sockets_;   // each with a reference of ours
  std::set<GSocket*> shutDown_;  // of sockets_: shut down, closed at the next look
  GSource* timer_ = nullptr;
  gulong handlers_[4] = {0, 0, 0, 0};
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_CONNECTION_REAPER_H
