// A started device: what the description declared, the GLib thread, and the
// GUPnP objects on it (context with its SSDP client and libsoup server, root
// device, the SSDP resource group) and the stack's servers of the control and
// event subscription URLs.
//
// Thread safety: the plain fields are written by Device::start before the
// Session is shared and then only read. The GUPnP objects are created by
// openSession and released by closeSession, both on the loop thread, and
// touched on no other.
#ifndef DMS_STACK_DEVICE_DEVICE_SESSION_H
#define DMS_STACK_DEVICE_DEVICE_SESSION_H

#include <libgupnp/gupnp.h>

#include <memory>
#include <string>
#include <vector>

#include "connection_reaper.h"
#include "control_server.h"
#include "description.h"
#include "device.h"
#include "gena_server.h"
#include "glib_loop.h"
#include "search_limiter.h"
#include "served_files.h"

namespace dmsstack {

// The searches answered: the limit, and when the drops were last reported.
struct SearchGuard {
  SearchLimiter limiter;
  SearchLimiter::TimePoint reported{};
};

struct Session {
  Device* device = nullptr;
  std::string udn;
  std::string deviceType;
  std::string description;  // with the UDN filled in
  std::vector<ServiceEntry> services;
  int maxAge = 1800;
  // Set by openSession.
  std::string location;      // description URL
  std::string localAddress;  // the address served on
  std::string server;        // SERVER header of SSDP messages

  GLibLoop loop;
  // Loop-thread objects.
  std::unique_ptr<ServedFiles> served;
  GUPnPContext* context = nullptr;
  GUPnPRootDevice* root = nullptr;
  GSSDPResourceGroup* group = nullptr;
  std::unique_ptr<ControlServer> control;
  std::unique_ptr<GenaServer> gena;
  std::unique_ptr<ConnectionReaper> reaper;
  std::unique_ptr<SearchGuard> searches;
};

// On the loop thread: creates the context on `address` (and `interfaceName`
// when set) and `port` (0: the first free one from 49152), serves the
// description files of `dir`, takes over the control URLs and announces the
// device. False (logged, everything released) on failure.
bool openSession(Session& session, const std::string& dir, const std::string& address,
                 const std::string& interfaceName, unsigned short port);
// On the loop thread: byebye, then every object released.
void closeSession(Session& session);

// On the loop thread: events `changes` of `service` (type without version).
void notifySubscribers(Session& session, const std::string& service, const NameValueList& changes);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_DEVICE_SESSION_H
