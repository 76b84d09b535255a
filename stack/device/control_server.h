// The control URLs of the device's services, served on the GUPnP context's
// libsoup server in place of GUPnP's own handlers, so that the media
// server's SOAP body goes on the wire byte for byte (GUPnP would rebuild it
// from named arguments). Per request: access control from the message
// itself, the SOAPACTION header, the envelope, then ConnectionManager
// answered here or a ContentDirectory action handed to callback 1. The
// request is paused until its answer comes through the ActionBridge or its
// time is up (501).
//
// Thread safety: everything runs on the GLib thread, except that the
// bridge's wake function may be called from any thread.
#ifndef DMS_STACK_DEVICE_CONTROL_SERVER_H
#define DMS_STACK_DEVICE_CONTROL_SERVER_H

#include <libsoup/soup.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "state_table.h"

namespace dmsstack {

class Device;

struct ControlRoute {
  std::string path;         // the control URL's path
  std::string serviceType;  // with version, as the description declares it
};

class ControlServer {
 public:
  // Installs the handlers on `server` for every route. `context` is the
  // GLib thread's context, for the answer timers.
  ControlServer(Device& device, SoupServer* server, GMainContext* context,
                std::vector<ControlRoute> routes);
  // Removes the handlers; requests still waiting are answered 501.
  ~ControlServer();
  ControlServer(const ControlServer&) = delete;
  ControlServer& operator=(const ControlServer&) = delete;

  // Completes the requests whose actions finished in the bridge.
  void completeFinished();

  // True when `socket` carries a request that waits for its answer.
  bool holds(GSocket* socket) const;

  // Requests delivered to the media server and not yet completed.
  size_t waiting() const { return waiting_.size(); }

 private:
  struct Route;
  struct Waiting {
    SoupServerMessage* msg = nullptr;  // a reference of ours
    GSource* timer = nullptr;
    std::string action;
    bool gone = false;  // the connection closed first
    gulong finishedHandler = 0;
    gulong disconnectedHandler = 0;
  };

  static void onEarly(SoupServer*, SoupServerMessage* msg, const char*, GHashTable*, gpointer);
  static void onRequest(SoupServer*, SoupServerMessage* msg, const char*, GHashTable*, gpointer);
  void handle(SoupServerMessage* msg, const Route& route);
  void deliver(SoupServerMessage* msg, const std::string& action, const std::string& ip,
               const NameValueList& arguments);
  void complete(Waiting& waiting, unsigned status, const std::string& body);
  void release(Waiting& waiting);
  // The connection of `msg` is gone: its answer is dropped when it comes.
  void forget(SoupServerMessage* msg);
  static void onGone(SoupServerMessage* msg, gpointer self);
  static void onAborted(SoupServer*, SoupServerMessage* msg, gpointer self);

  Device& device_;
  SoupServer* server_;
  GMainContext* context_;
  std::vector<std::unique_ptr<Route>> routes_;
  std::map<int, Waiting> waiting_;  // by action ID
  gulong abortedHandler_ = 0;
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_CONTROL_SERVER_H
