// Text rewrites of the device description.
#include "description.h"

#include "xml_text.h"

namespace dmsstack {

namespace {

std::string field(std::string_view service, std::string_view name) {
  std::string text = unescapeXml(elementText(service, name));
  size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return std::string();
  size_t end = text.find_last_not_of(" \t\r\n");
  return text.substr(begin, end - begin + 1);
}

}  // namespace

bool fillUdn(std::string_view description, std::string_view udn, std::string* result) {
  return replaceElementText(description, "UDN", escapeXml(udn), result);
}

bool fillUrlBase(std::string_view description, std::string_view urlBase, std::string* result) {
  const std::string element = "<URLBase>" + escapeXml(urlBase) + "</URLBase>";
  if (replaceElementText(description, "URLBase", escapeXml(urlBase), result)) return true;
  size_t at = std::string_view::npos;
  ElementSpan version = findElement(description, "specVersion");
  if (version.found) {
    at = version.elementEnd;
  } else {
    ElementSpan root = findElement(description, "root");
    if (root.found) at = root.contentBegin;
  }
  if (at == std::string_view::npos) return false;
  *result = std::string(description.substr(0, at)) + element + std::string(description.substr(at));
  return true;
}

bool rewriteFriendlyName(std::string_view description, std::string_view name, std::string* result) {
  return replaceElementText(description, "friendlyName", escapeXml(name), result);
}

std::vector<ServiceEntry> listServices(std::string_view description) {
  std::vector<ServiceEntry> services;
  ElementSpan list = findElement(description, "serviceList");
  if (!list.found) return services;
  std::string_view rest =
      description.substr(list.contentBegin, list.contentEnd - list.contentBegin);
  for (;;) {
    ElementSpan span = findElement(rest, "service");
    if (!span.found) break;
    std::string_view body = rest.substr(span.contentBegin, span.contentEnd - span.contentBegin);
    services.push_back(ServiceEntry{field(body, "serviceType"), field(body, "serviceId"),
                                    field(body, "SCPDURL"), field(body, "controlURL"),
                                    field(body, "eventSubURL")});
    rest = rest.substr(span.elementEnd);
  }
  return services;
}

std::vector<std::string> listIconUrls(std::string_view description) {
  std::vector<std::string> urls;
  ElementSpan list = findElement(description, "iconList");
  if (!list.found) return urls;
  std::string_view rest =
      description.substr(list.contentBegin, list.contentEnd - list.contentBegin);
  for (;;) {
    ElementSpan span = findElement(rest, "icon");
    if (!span.found) break;
    urls.push_back(
        field(rest.substr(span.contentBegin, span.contentEnd - span.contentBegin), "url"));
    rest = rest.substr(span.elementEnd);
  }
  return urls;
}

std::string serviceTypeWithoutVersion(std::string_view serviceType) {
  size_t colon = serviceType.rfind(':');
  if (colon != std::string_view::npos && colon + 1 < serviceType.size()) {
    bool digits = true;
    for (size_t i = colon + 1; i < serviceType.size(); ++i)
      if (serviceType[i] < '0' || serviceType[i] > '9') digits = false;
    if (digits) return std::string(serviceType.substr(0, colon));
  }
  return std::string(serviceType);
}

}  // namespace dmsstack
