// Starting and stopping libupnp for the device, and re-announcing it.
#include <sys/utsname.h>

#include "device.h"
#include "device_session.h"
#include "file_text.h"
#include "icons.h"
#include "network.h"
#include "nuv_log.h"
#include "served_files.h"
#include "ssdp_alive.h"
#include "udn.h"
#include "upnp_client_headers.h"
#include "upnp_socket_fixes.h"
#include "xml_text.h"

namespace dmsstack {

namespace {

constexpr int kDefaultMaxAge = 1800;
constexpr int kFirstDynamicPort = 49152;
constexpr int kPortAttempts = 64;

// The same SERVER header libupnp sends in its own announcements.
std::string serverHeader() {
  struct utsname names;
  if (uname(&names) != 0)
    return "Linux UPnP/1.0 Portable SDK for UPnP devices/" UPNP_VERSION_STRING;
  return std::string(names.sysname) + "/" + names.release +
         ", UPnP/1.0, Portable SDK for UPnP devices/" UPNP_VERSION_STRING;
}

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
// the configured interface. An interface is served through its address with
// UpnpInit rather than with UpnpInit2, which in libupnp 1.8 would add IPv6
// sockets on every interface; the device is IPv4 only.
std::string serveAddress(const DeviceConfig& config) {
  if (config.bindInterface.empty()) return config.bindAddress;
  return interfaceAddress(config.bindInterface);
}

// libupnp 1.8 sets SO_REUSEADDR on its server socket and then binds once, so
// "any port" fails as soon as its first choice (49152) is taken; the stack
// looks for a free port itself.
int initUpnp(const std::string& address, unsigned short port) {
  if (port != 0) return UpnpInit(address.c_str(), port);
  int rc = UPNP_E_SOCKET_BIND;
  for (int candidate = kFirstDynamicPort; candidate < kFirstDynamicPort + kPortAttempts;
       ++candidate) {
    rc = UpnpInit(address.c_str(), static_cast<unsigned short>(candidate));
    if (rc != UPNP_E_SOCKET_BIND) break;
  }
  return rc;
}

}  // namespace

std::string Session::serviceTypeOf(const std::string& serviceId) const {
  for (const ServiceEntry& service : services)
    if (service.serviceId == serviceId) return serviceTypeWithoutVersion(service.serviceType);
  return std::string();
}

std::string Session::serviceIdOf(const std::string& serviceType) const {
  const std::string wanted = serviceTypeWithoutVersion(serviceType);
  for (const ServiceEntry& service : services)
    if (serviceTypeWithoutVersion(service.serviceType) == wanted) return service.serviceId;
  return std::string();
}

void Session::publish() { std::lock_guard<std::mutex> lock(mutex_); }

void Session::enter() const {
  std::lock_guard<std::mutex> lock(mutex_);
  ++active_;
}

void Session::leave() const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (--active_ == 0) idle_.notify_all();
}

void Session::waitIdle() const {
  std::unique_lock<std::mutex> lock(mutex_);
  idle_.wait(lock, [this] { return active_ == 0; });
}

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
  if (!upnpSocketFixesActive()) {
    // libupnp would listen and announce beyond the configured address.
    NUVPrintf(NUV_LOG_ERROR,
              "[NUVDMSStart] libupnp's sockets cannot be confined in this process "
              "(libdmsstack must come before the C library); not starting");
    return 1;
  }
  // Names of SOAP clients for the access-control rules (libupnp does not
  // pass request headers on).
  setUpnpClientHeaderSink(
      [](const std::string& ip, const std::string& userAgent, const std::string& avClientInfo) {
        Device::instance().acl().noteClientHeaders(ip, userAgent, avClientInfo);
      });
  auto session = std::make_shared<Session>();
  session->device = this;
  session->maxAge = maxAge > 0 ? maxAge : kDefaultMaxAge;
  std::string description = preparedDescription(dir, &session->udn);
  if (description.empty()) return 1;
  session->services = listServices(description);
  session->deviceType = unescapeXml(elementText(description, "deviceType"));
  if (!installIcons(dir))
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] icons missing in %s", dir.c_str());
  session->served = std::make_unique<ServedFiles>();
  if (!session->served->prepare(dir, description)) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] cannot prepare the served files");
    return 1;
  }

  session->publish();
  const std::string address = serveAddress(config);
  if (address.empty()) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] interface %s has no IPv4 address",
              config.bindInterface.c_str());
    return 1;
  }
  int rc = initUpnp(address, config.port);
  if (rc != UPNP_E_SUCCESS) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] UpnpInit on %s failed: %s (%d)", address.c_str(),
              UpnpGetErrorMessage(rc), rc);
    return 1;
  }
  UpnpSetMaxContentLength(kMaxSoapRequestBytes);
  rc = UpnpSetWebServerRootDir(session->served->dir().c_str());
  if (rc == UPNP_E_SUCCESS) {
    bridge_.open();
    rc = UpnpRegisterRootDevice2(UPNPREG_FILENAME_DESC, session->served->descriptionPath().c_str(),
                                 0, 1, &onUpnpEvent, session.get(), &session->handle);
  }
  if (rc != UPNP_E_SUCCESS) {
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] registering the device failed: %s (%d)",
              UpnpGetErrorMessage(rc), rc);
    bridge_.close();
    UpnpFinish();
    session->waitIdle();
    return 1;
  }
  const char* served = UpnpGetServerIpAddress();
  session->localAddress = served != nullptr ? served : address;
  session->location = "http://" + session->localAddress + ":" +
                      std::to_string(UpnpGetServerPort()) + "/" + kDeviceDescriptionFileName;
  Session* raw = session.get();
  eventing_.start([raw](const std::string& service, const NameValueList& changes) {
    notifySubscribers(*raw, service, changes);
  });
  {
    std::lock_guard<std::mutex> lock(mutex_);
    session_ = session;
  }
  rc = UpnpSendAdvertisement(session->handle, session->maxAge);
  if (rc != UPNP_E_SUCCESS)
    NUVPrintf(NUV_LOG_ERROR, "[NUVDMSStart] announcing failed: %s (%d)", UpnpGetErrorMessage(rc),
              rc);
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
  // Waiting actions are answered 501 at once, so that libupnp's threads are
  // free when UpnpFinish waits for them.
  bridge_.close();
  eventing_.stop();
  UpnpUnRegisterRootDevice(session->handle);  // sends byebye
  UpnpFinish();
  session->waitIdle();
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
  target.server = serverHeader();
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
