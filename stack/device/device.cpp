// The device object: configuration, initialisation and termination, state
// variables, action answers and the reports to the media server's callbacks.
// Starting and stopping live in device_lifecycle.cpp.
#include "device.h"

#include <arpa/inet.h>
#include <net/if.h>

#include <cstdlib>
#include <cstring>

#include "client_identity.h"
#include "description.h"
#include "handles.h"
#include "nuv_log.h"

namespace dmsstack {

namespace {

char* duplicate(const std::string& text) {
  char* copy = static_cast<char*>(malloc(text.size() + 1));
  if (copy != nullptr) memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

}  // namespace

Device& Device::instance() {
  // Never destroyed: the stack's and the watcher's threads may outlive main().
  static Device* device = new Device();
  return *device;
}

Device::Device() : eventing_(table_, kModerationInterval), acl_(&lookupMac) {}

int Device::setBindAddress(const char* address) {
  in_addr parsed;
  if (address == nullptr || inet_pton(AF_INET, address, &parsed) != 1) return 1;
  std::lock_guard<std::mutex> lock(mutex_);
  config_.bindAddress = address;
  config_.bindInterface.clear();
  return 0;
}

int Device::setBindInterface(const char* interfaceName) {
  if (interfaceName == nullptr || interfaceName[0] == '\0' || strlen(interfaceName) >= IF_NAMESIZE)
    return 1;
  std::lock_guard<std::mutex> lock(mutex_);
  config_.bindInterface = interfaceName;
  config_.bindAddress.clear();
  return 0;
}

int Device::setPort(int port) {
  if (port < 0 || port > 65535) return 1;
  std::lock_guard<std::mutex> lock(mutex_);
  config_.port = static_cast<unsigned short>(port);
  return 0;
}

int Device::setActionTimeout(int milliseconds) {
  if (milliseconds <= 0) return 1;
  std::lock_guard<std::mutex> lock(mutex_);
  config_.actionTimeout = std::chrono::milliseconds(milliseconds);
  return 0;
}

DeviceConfig Device::config() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return config_;
}

std::chrono::milliseconds Device::actionTimeout() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return config_.actionTimeout;
}

bool Device::validConnection(int connectionID) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return initialized_ && connectionID == kConnectionId;
}

stNUVDMSCallbacks Device::callbacks() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return callbacks_;
}

int Device::initialize(const stNUVDMSCallbacks* callbacks, const char* descriptionDir,
                       int* connectionID) {
  if (callbacks == nullptr || descriptionDir == nullptr || descriptionDir[0] == '\0' ||
      connectionID == nullptr)
    return 1;
  std::lock_guard<std::mutex> lifecycle(lifecycleMutex_);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (initialized_) {
      NUVPrintf(NUV_LOG_ERROR, "[NUVDMSInitialize] already initialised");
      return 1;
    }
    callbacks_ = *callbacks;
    dir_ = descriptionDir;
    initialized_ = true;
  }
  table_.reset();
  if (!watcher_.start([this](bool appeared, const std::string& name, const std::string& address) {
        onAddressChange(appeared, name, address);
      }))
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSInitialize] no network watcher: interface events are off");
  *connectionID = kConnectionId;
  return 0;
}

int Device::terminate(int connectionID) {
  std::lock_guard<std::mutex> lifecycle(lifecycleMutex_);
  if (!validConnection(connectionID)) return 0;
  bool started;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    started = session_ != nullptr;
  }
  if (started) stopLocked();
  watcher_.stop();
  acl_.terminate();
  table_.reset();
  std::lock_guard<std::mutex> lock(mutex_);
  initialized_ = false;
  callbacks_ = stNUVDMSCallbacks{};
  dir_.clear();
  return 1;
}

int Device::sendResponse(int connectionID, int actionID, const char* body) {
  if (body == nullptr || !validConnection(connectionID)) return 1;
  size_t size = strnlen(body, kMaxResponseBodyBytes + 1);
  if (size > kMaxResponseBodyBytes) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSSendResponse] body of action %d too large", actionID);
    bridge_.answer(actionID, std::string());  // answered 501 rather than left to time out
    return 1;
  }
  NUVPrintf(NUV_LOG_DUMP, "[NUVDMSSendResponse] action %d: %s", actionID, body);
  return bridge_.answer(actionID, std::string(body, size));
}

int Device::getStateVariable(int connectionID, const char* serviceType, const char* name,
                             char** value) {
  if (serviceType == nullptr || name == nullptr || value == nullptr ||
      !validConnection(connectionID))
    return 1;
  std::string text;
  if (!table_.get(serviceType, name, &text)) return 1;
  *value = duplicate(text);
  return *value == nullptr ? 1 : 0;
}

int Device::updateStateVariable(int connectionID, const char* serviceType, const char* name,
                                const char* value) {
  if (serviceType == nullptr || name == nullptr || value == nullptr ||
      !validConnection(connectionID))
    return 1;
  bool evented = false;
  bool moderated = false;
  if (!table_.set(serviceType, name, value, &evented, &moderated)) return 1;
  if (evented) eventing_.changed(serviceTypeWithoutVersion(serviceType), name, moderated);
  return 0;
}

void Device::reportToAcl(const ClientDevice& device, int mode) {
  stNUVDMSCallbacks table = callbacks();
  if (table.aclCallback == nullptr) return;
  const std::string name = device.names.empty() ? std::string() : device.names.front();
  stNUVAppList* notification = makeAclNotification(mode, 1, device.mac, device.ip, name);
  if (notification == nullptr) return;
  NUVPrintf(NUV_LOG_INFO, "[ACL] device %s (%s) waits for a decision", device.ip.c_str(),
            device.mac.empty() ? "no MAC" : device.mac.c_str());
  table.aclCallback(kConnectionId, notification);
}

void Device::onAddressChange(bool appeared, const std::string& interfaceName,
                             const std::string& address) {
  stNUVDMSCallbacks table;
  DeviceConfig config;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    table = callbacks_;
    config = config_;
  }
  if (table.exceptionCallback == nullptr) return;
  // Only the interface or address the device serves on concerns the media
  // server: reporting others would make it serve on networks it was not
  // configured for.
  if (!config.bindInterface.empty() ? interfaceName != config.bindInterface
                                    : address != config.bindAddress)
    return;
  stNUVAppList* exception =
      makeNicException(appeared ? NUV_EXCEPTION_NIC_UP : NUV_EXCEPTION_NIC_DOWN, address);
  if (exception == nullptr) return;
  NUVPrintf(NUV_LOG_INFO, "[NetlinkWatcher] %s %s on %s", address.c_str(),
            appeared ? "appeared" : "went away", interfaceName.c_str());
  table.exceptionCallback(exception);
}

}  // namespace dmsstack
