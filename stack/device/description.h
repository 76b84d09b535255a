// The device description as text: filling in the UDN, rewriting the
// friendly name, and listing the services it declares. Every rewrite keeps
// the rest of the document byte for byte.
//
// Thread safety: pure functions.
#ifndef DMS_STACK_DEVICE_DESCRIPTION_H
#define DMS_STACK_DEVICE_DESCRIPTION_H

#include <string>
#include <string_view>
#include <vector>

namespace dmsstack {

// The device description's file name in the description directory.
constexpr const char* kDeviceDescriptionFileName = "DeviceDescription.xml";

struct ServiceEntry {
  std::string serviceType;  // "urn:schemas-upnp-org:service:ContentDirectory:1"
  std::string serviceId;    // "urn:upnp-org:serviceId:ContentDirectory"
  std::string scpdUrl;
  std::string controlUrl;
  std::string eventSubUrl;
};

// `description` with the content of its UDN element set to `udn`. False
// when the document has no UDN element.
bool fillUdn(std::string_view description, std::string_view udn, std::string* result);

// `description` with URLBase set to `urlBase`: its text replaced, or the
// element added after specVersion (or at the start of root) when absent.
// Control points of UPnP 1.0 resolve the relative URLs against it. False
// when the document has no root element.
bool fillUrlBase(std::string_view description, std::string_view urlBase, std::string* result);

// `description` with friendlyName set to `name` (escaped here). False when
// the document has no friendlyName element.
bool rewriteFriendlyName(std::string_view description, std::string_view name, std::string* result);

// The service entries of the serviceList in document order, values
// unescaped and trimmed.
std::vector<ServiceEntry> listServices(std::string_view description);

// The url of each icon of the iconList in document order, unescaped and
// trimmed.
std::vector<std::string> listIconUrls(std::string_view description);

// "urn:schemas-upnp-org:service:ContentDirectory:1" and
// "urn:schemas-upnp-org:service:ContentDirectory" both give the latter.
std::string serviceTypeWithoutVersion(std::string_view serviceType);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_DESCRIPTION_H
