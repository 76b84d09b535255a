// The device side of the stack as one object: the callback table and
// description directory kept by NUVDMSInitialize, the configuration set
// before NUVDMSStart, the running GUPnP device (a Session on its GLib
// thread), and the parts every request reaches: state variables, eventing,
// the action bridge and the access-control list. One device per process,
// with the connection ID kConnectionId.
//
// Thread safety: every member may be called from any thread. Lifecycle calls
// are serialised among themselves; callbacks of the media server are never
// called with a lock of this class held.
#ifndef DMS_STACK_DEVICE_DEVICE_H
#define DMS_STACK_DEVICE_DEVICE_H

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "acl_service.h"
#include "action_bridge.h"
#include "eventing.h"
#include "netlink_watcher.h"
#include "nuv_dms.h"
#include "stack_limits.h"
#include "state_table.h"

namespace dmsstack {

constexpr int kConnectionId = 0;

// Set before NUVDMSStart; the last call wins.
struct DeviceConfig {
  std::string bindAddress = "127.0.0.1";  // used when bindInterface is empty
  std::string bindInterface;
  unsigned short port = 0;  // 0: the first free one from 49152
  std::chrono::milliseconds actionTimeout = kDefaultActionTimeout;
};

struct Session;  // device_session.h

class Device {
 public:
  static Device& instance();

  // Configuration; 0 on success, 1 for a bad value.
  int setBindAddress(const char* address);
  int setBindInterface(const char* interfaceName);
  int setPort(int port);
  int setActionTimeout(int milliseconds);
  DeviceConfig config() const;
  // The action timeout alone: read for every delivered action.
  std::chrono::milliseconds actionTimeout() const;

  // The exported lifecycle, with its result conventions (see nuv_dms.h).
  int initialize(const stNUVDMSCallbacks* callbacks, const char* descriptionDir, int* connectionID);
  int start(int connectionID, int maxAge, int flags);
  int stop(int connectionID);
  int terminate(int connectionID);
  int sendAlive(int connectionID, int count, int maxAge);
  // "" unless started.
  std::string descriptionUrl(int connectionID) const;

  int sendResponse(int connectionID, int actionID, const char* body);
  int getStateVariable(int connectionID, const char* serviceType, const char* name, char** value);
  int updateStateVariable(int connectionID, const char* serviceType, const char* name,
                          const char* value);

  // True for the connection ID of an initialised device.
  bool validConnection(int connectionID) const;
  stNUVDMSCallbacks callbacks() const;

  ActionBridge& bridge() { return bridge_; }
  const StateTable& table() const { return table_; }
  AclService& acl() { return acl_; }

  // Raises callback 4 about `device` (no-op without a callback).
  void reportToAcl(const ClientDevice& device, int mode);

 private:
  Device();
  void onAddressChange(bool appeared, const std::string& interfaceName, const std::string& address);
  int stopLocked();  // lifecycleMutex_ held

  mutable std::mutex mutex_;  // guards the fields up to session_
  bool initialized_ = false;
  stNUVDMSCallbacks callbacks_{};
  std::string dir_;
  DeviceConfig config_;
  std::shared_ptr<Session> session_;  // non-null while started

  std::mutex lifecycleMutex_;  // serialises initialize, start, stop, terminate
  StateTable table_;
  ActionBridge bridge_;
  Eventing eventing_;
  AclService acl_;
  NetlinkWatcher watcher_;  // touched under lifecycleMutex_ only
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_DEVICE_H
