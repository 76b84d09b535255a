// Starting and stopping the device on its GLib thread, and re-announcing it.
#include "device.h"
#include "device_session.h"
#include "file_text.h"
#include "icons.h"
#include "network.h"
#include "nuv_log.h"
#include "ssdp_alive.h"
#include "udn.h"
#include "xml_text.h"

namespace dmsstack {

namespace {

constexpr int kDefaultMaxAge = 1800;

// Reads the description and fills in the UDN; "" on failure (logged).
std::string preparedDescription(const std::string& dir, std::string* udn) {
  *udn = loadOrCreateUdn(dir);
  if (udn->empty()) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] cannot keep a UDN in %s", dir.c_str());
    return std::string();
  }
  std::string text;
  const std::string path = joinPath(dir, kDeviceDescriptionFileName);
  if (!readWholeFile(path, kMaxDescriptionFileBytes, &text)) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] cannot read %s", path.c_str());
    return std::string();
  }
  std::string filled;
  if (!fillUdn(text, *udn, &filled)) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] %s has no UDN element", path.c_str());
    return std::string();
  }
  return filled;
}

// The IPv4 address to serve on: the configured one, or the first address of
// the configured interface. The device is IPv4 only.
std::string serveAddress(const DeviceConfig& config) {
  if (config.bindInterface.empty()) return config.bindAddress;
  return interfaceAddress(config.bindInterface);
}

}  // namespace

int Device::start(int connectionID, int maxAge, int flags) {
  (void)flags;  // reserved
  std::lock_guard<std::mutex> lifecycle(lifecycleMutex_);
  std::string dir;
  DeviceConfig config;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!initialized_ || connectionID != kConnectionId || session_ != nullptr) return 1;
    dir = dir_;
    config = config_;
  }
  auto session = std::make_shared<Session>();
  session->device = this;
  session->maxAge = maxAge > 0 ? maxAge : kDefaultMaxAge;
  session->description = preparedDescription(dir, &session->udn);
  if (session->description.empty()) return 1;
  session->services = listServices(session->description);
  session->deviceType = unescapeXml(elementText(session->description, "deviceType"));
  if (!installIcons(dir))
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] icons missing in %s", dir.c_str());
  const std::string address = serveAddress(config);
  if (address.empty()) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] interface %s has no IPv4 address",
              config.bindInterface.c_str());
    return 1;
  }
  Session* raw = session.get();
  bridge_.open([raw] {
    raw->loop.post([raw] {
      if (raw->control != nullptr) raw->control->completeFinished();
    });
  });
  bool opened = false;
  if (session->loop.start())
    session->loop.run(
        [&] { opened = openSession(*raw, dir, address, config.bindInterface, config.port); });
  if (!opened) {
    bridge_.close();
    session->loop.stop();
    bridge_.takeFinished();
    return 1;
  }
  eventing_.start([raw](const std::string& service, const NameValueList& changes) {
    raw->loop.post([raw, service, changes] { notifySubscribers(*raw, service, changes); });
  });
  {
    std::lock_guard<std::mutex> lock(mutex_);
    session_ = session;
  }
  NUVPrintf(NUV_LOG_INFO, "[NUVDMSStart] %s serving %s", session->udn.c_str(),
            session->location.c_str());
  return 0;
}

int Device::stop(int connectionID) {
  std::lock_guard<std::mutex> lifecycle(lifecycleMutex_);
  if (!validConnection(connectionID)) return 1;
  return stopLocked();
}

int Device::stopLocked() {
  std::shared_ptr<Session> session;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    session = session_;
  }
  if (session == nullptr) return 1;
  if (session->loop.onLoopThread()) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStop] not from a callback of the stack");
    return 1;
  }
  eventing_.stop();
  // Waiting actions are answered 501 before the server goes.
  session->loop.run([&] {
    bridge_.close();
    if (session->control != nullptr) session->control->completeFinished();
    closeSession(*session);
  });
  session->loop.stop();
  bridge_.takeFinished();
  std::lock_guard<std::mutex> lock(mutex_);
  session_.reset();
  NUVPrintf(NUV_LOG_INFO, "[NUVDMSStop] stopped");
  return 0;
}

int Device::sendAlive(int connectionID, int count, int maxAge) {
  if (!validConnection(connectionID) || count < 0 || maxAge < 0) return 1;
  std::shared_ptr<Session> session;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    session = session_;
  }
  if (session == nullptr) return 1;
  AliveTarget target;
  target.location = session->location;
  target.udn = session->udn;
  target.deviceType = session->deviceType;
  for (const ServiceEntry& service : session->services)
    target.serviceTypes.push_back(service.serviceType);
  target.server = session->server;
  target.maxAge = maxAge > 0 ? maxAge : session->maxAge;
  int rounds = count == 0 ? 1 : (count > kMaxAliveRounds ? kMaxAliveRounds : count);
  return sendAliveRounds(session->localAddress, buildAliveMessages(target), rounds) ? 0 : 1;
}

std::string Device::descriptionUrl(int connectionID) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!initialized_ || connectionID != kConnectionId || session_ == nullptr) return std::string();
  return session_->location;
}

}  // namespace dmsstack
