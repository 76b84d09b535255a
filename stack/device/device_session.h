// A started device as libupnp knows it: the registration handle and what the
// description declared. The Session is the cookie of the registration, so
// libupnp's callbacks reach it without a global lookup; it lives from just
// before UpnpRegisterRootDevice2 until after UpnpFinish.
//
// Thread safety: the fields are written before registration and then only
// read; libupnp writes `handle` during registration, before any callback can
// read it. Each callback runs between enter() and leave(), and the Session is
// destroyed only after waitIdle(): that makes its lifetime safe by our own
// synchronisation, not only by libupnp's promise that UpnpFinish ends all
// callbacks.
#ifndef DMS_STACK_DEVICE_DEVICE_SESSION_H
#define DMS_STACK_DEVICE_DEVICE_SESSION_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "description.h"
#include "device.h"
#include "served_files.h"
#include "upnp_compat.h"

namespace dmsstack {

struct Session {
  Device* device = nullptr;
  UpnpDevice_Handle handle = -1;
  std::string udn;
  std::string deviceType;
  std::vector<ServiceEntry> services;
  std::string location;      // description URL
  std::string localAddress;  // the address libupnp serves on
  int maxAge = 1800;
  std::unique_ptr<ServedFiles> served;  // the web server's root while started

  // The service type without version for a serviceId, or "".
  std::string serviceTypeOf(const std::string& serviceId) const;
  // The serviceId for a service type (with or without version), or "".
  std::string serviceIdOf(const std::string& serviceType) const;

  // Makes the fields written so far visible to every later enter().
  void publish();
  void enter() const;
  void leave() const;
  // Returns when no callback is between enter() and leave().
  void waitIdle() const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable idle_;
  mutable int active_ = 0;  // guarded by mutex_
};

// libupnp's device callback; `cookie` is the Session.
int onUpnpEvent(Upnp_EventType type, const void* event, void* cookie);

// Events `changes` of `service` (type without version) to its subscribers.
void notifySubscribers(const Session& session, const std::string& service,
                       const NameValueList& changes);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_DEVICE_SESSION_H
