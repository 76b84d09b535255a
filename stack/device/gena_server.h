// The event subscription URLs of the device's services, served on the GUPnP
// context's libsoup server, and the NOTIFY messages to their subscribers.
//
// GUPnP's own eventing queues every event for every subscriber without
// bound, keeps notifying subscriptions cancelled before their first event,
// and at shutdown cancels its whole backlog at a cost that grows with the
// square of its length. Here each subscriber has at most one NOTIFY in
// flight and at most kMaxQueuedEvents events waiting; changes beyond that
// are merged into the last one (the latest value of each variable), so a
// subscriber that is slow or never answers costs one connection and a
// bounded queue, and holds up nobody else. A NOTIFY fails after
// kNotifyTimeoutSeconds; its event is then lost, as UPnP allows, and the
// next one carries the next SEQ.
//
// Thread safety: everything runs on the GLib thread that owns the server.
#ifndef DMS_STACK_DEVICE_GENA_SERVER_H
#define DMS_STACK_DEVICE_GENA_SERVER_H

#include <libgssdp/gssdp.h>
#include <libsoup/soup.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "state_table.h"

namespace dmsstack {

struct EventRoute {
  std::string path;     // the event subscription URL's path
  std::string service;  // service type without version
};

class GenaServer {
 public:
  // Installs the handlers on `server` for every route. `client` decides
  // which callback addresses are on the device's network; `context` is the
  // GLib thread's context; `serverId` goes out as SERVER and User-Agent.
  GenaServer(GSSDPClient* client, SoupServer* server, GMainContext* context,
             const StateTable& table, std::vector<EventRoute> routes, std::string serverId);
  // Removes the handlers, ends every subscription and cancels the NOTIFYs in
  // flight, waiting a bounded time for their cancellation to complete.
  ~GenaServer();
  GenaServer(const GenaServer&) = delete;
  GenaServer& operator=(const GenaServer&) = delete;

  // Events `changes` of `service` (type without version) to its subscribers.
  void notify(const std::string& service, const NameValueList& changes);

 private:
  struct Route;
  struct Delivery;
  struct Subscription {
    std::string sid;
    const Route* route = nullptr;
    std::vector<std::string> callbacks;
    uint32_t seq = 0;
    GSource* expiry = nullptr;
    std::deque<NameValueList> queued;  // events not yet sent, oldest first
    bool ready = false;                // the SUBSCRIBE response has gone out
    Delivery* inFlight = nullptr;      // its NOTIFY on the way, if any
  };
  struct Answered;  // a SUBSCRIBE response being written

  static void onRequest(SoupServer*, SoupServerMessage* msg, const char*, GHashTable*, gpointer);
  void handle(SoupServerMessage* msg, const Route& route);
  void subscribe(SoupServerMessage* msg, const Route& route, const char* callback);
  void renew(SoupServerMessage* msg, const char* sid);
  void unsubscribe(SoupServerMessage* msg, const char* sid);
  void respond(SoupServerMessage* msg, const std::string& sid);
  void armExpiry(Subscription& subscription);
  void remove(const std::string& sid);
  static void onAnswered(SoupServerMessage* msg, gpointer data);
  // Starts the next NOTIFY of `subscription` if one is due and none is in
  // flight.
  void sendNext(Subscription& subscription);
  void post(std::unique_ptr<Delivery> delivery);
  static void onSent(GObject* session, GAsyncResult* result, gpointer data);
  void sent(std::unique_ptr<Delivery> delivery);

  GSSDPClient* client_;
  SoupServer* server_;
  GMainContext* context_;
  const StateTable& table_;
  std::string serverId_;
  SoupSession* session_ = nullptr;
  std::vector<std::unique_ptr<Route>> routes_;
  std::map<std::string, std::unique_ptr<Subscription>> subscriptions_;  // by SID
  std::set<Answered*> answering_;
  std::set<Delivery*> deliveries_;  // in flight
  bool fullReported_ = false;       // the refusal at the limit was logged
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_GENA_SERVER_H
