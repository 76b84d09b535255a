// Sockets of departed clients, closed.
#include "connection_reaper.h"

#include <sys/socket.h>

namespace dmsstack {

namespace {

constexpr guint kSweepIntervalSeconds = 2;

}  // namespace

ConnectionReaper::ConnectionReaper(SoupServer* server, GMainContext* context,
                                   std::function<bool(GSocket*)> busy)
    : server_(server), busy_(std::move(busy)) {
  handlers_[0] = g_signal_connect(server, "request-started", G_CALLBACK(onStarted), this);
  handlers_[1] = g_signal_connect(server, "request-finished", G_CALLBACK(onEnded), this);
  handlers_[2] = g_signal_connect(server, "request-aborted", G_CALLBACK(onEnded), this);
  handlers_[3] = g_signal_connect(server, "request-read", G_CALLBACK(onRead), nullptr);
  timer_ = g_timeout_source_new_seconds(kSweepIntervalSeconds);
  g_source_set_callback(
      timer_,
      [](gpointer self) -> gboolean {
        static_cast<ConnectionReaper*>(self)->sweep();
        return G_SOURCE_CONTINUE;
      },
      this, nullptr);
  g_source_attach(timer_, context);
}

ConnectionReaper::~ConnectionReaper() {
  for (gulong handler : handlers_) g_signal_handler_disconnect(server_, handler);
  g_source_destroy(timer_);
  g_source_unref(timer_);
  for (GSocket* socket : sockets_) g_object_unref(socket);
  shutDown_.clear();
}

void ConnectionReaper::onStarted(SoupServer*, SoupServerMessage* msg, gpointer self) {
  auto* reaper = static_cast<ConnectionReaper*>(self);
  GSocket* socket = soup_server_message_get_socket(msg);
  if (socket != nullptr && reaper->sockets_.insert(socket).second) g_object_ref(socket);
}

void ConnectionReaper::onRead(SoupServer*, SoupServerMessage* msg, gpointer) {
  // Only the control URL keeps its connections (POST, action after action).
  // Every other request's connection ends with its answer and is freed by
  // libsoup itself; one whose client closes it later, while idle, libsoup
  // never frees, and the sweep below only gets its descriptor back.
  if (soup_server_message_get_method(msg) != SOUP_METHOD_POST)
    soup_message_headers_replace(soup_server_message_get_response_headers(msg), "Connection",
                                 "close");
}

void ConnectionReaper::onEnded(SoupServer*, SoupServerMessage* msg, gpointer self) {
  auto* reaper = static_cast<ConnectionReaper*>(self);
  GSocket* socket = soup_server_message_get_socket(msg);
  if (socket != nullptr && reaper->closeIfPeerGone(socket)) {
    reaper->shutDown_.erase(socket);
    reaper->sockets_.erase(socket);
    g_object_unref(socket);
  }
}

bool ConnectionReaper::closeIfPeerGone(GSocket* socket) {
  if (g_socket_is_closed(socket)) {
    shutDown_.erase(socket);
    return true;
  }
  if (busy_ && busy_(socket)) return false;
  if (shutDown_.count(socket) != 0) {
    // libsoup had its chance to notice; what it still keeps is its leak.
    shutDown_.erase(socket);
    g_socket_close(socket, nullptr);
    return true;
  }
  char byte;
  // 0: the peer closed and nothing is left to read.
  if (recv(g_socket_get_fd(socket), &byte, 1, MSG_PEEK | MSG_DONTWAIT) != 0) return false;
  // First a shutdown: a read libsoup still waits on ends with it, and
  // libsoup closes what it has not lost.
  g_socket_shutdown(socket, TRUE, TRUE, nullptr);
  shutDown_.insert(socket);
  return false;
}

size_t ConnectionReaper::sweep() {
  size_t closed = 0;
  for (auto it = sockets_.begin(); it != sockets_.end();) {
    const bool wasOpen = !g_socket_is_closed(*it);
    if (closeIfPeerGone(*it)) {
      shutDown_.erase(*it);
      if (wasOpen) ++closed;
      g_object_unref(*it);
      it = sockets_.erase(it);
    } else {
      ++it;
    }
  }
  return closed;
}

}  // namespace dmsstack
