// GENA request rules and NOTIFY bodies.
#include "gena_request.h"

#include <algorithm>
#include <limits>

#include "stack_limits.h"
#include "xml_text.h"

namespace dmsstack {

GenaKind classifyGenaRequest(std::string_view method, const char* callback, const char* nt,
                             const char* sid) {
  if (method == "SUBSCRIBE") {
    if (callback != nullptr) {
      if (sid != nullptr) return GenaKind::BadRequest;
      if (nt == nullptr || std::string_view(nt) != "upnp:event") return GenaKind::Precondition;
      return GenaKind::Subscribe;
    }
    if (sid == nullptr) return GenaKind::Precondition;
    return nt != nullptr ? GenaKind::BadRequest : GenaKind::Renew;
  }
  if (method == "UNSUBSCRIBE") {
    if (sid == nullptr) return GenaKind::Precondition;
    return nt != nullptr || callback != nullptr ? GenaKind::BadRequest : GenaKind::Unsubscribe;
  }
  return GenaKind::NotImplemented;
}

std::vector<std::string> callbackUrls(std::string_view header) {
  constexpr std::string_view kScheme = "http://";
  std::vector<std::string> urls;
  size_t position = 0;
  // Every bracketed entry counts towards the limit, taken or not.
  for (size_t entries = 0; entries < kMaxEventCallbacks; ++entries) {
    const size_t open = header.find('<', position);
    if (open == std::string_view::npos) break;
    const size_t close = header.find('>', open + 1);
    if (close == std::string_view::npos) break;
    const std::string_view url = header.substr(open + 1, close - open - 1);
    if (url.size() > kScheme.size() && url.size() <= kMaxEventCallbackBytes &&
        url.compare(0, kScheme.size(), kScheme) == 0 && !hostOfUrl(url).empty())
      urls.emplace_back(url);
    position = close + 1;
  }
  return urls;
}

std::string hostOfUrl(std::string_view url) {
  constexpr std::string_view kScheme = "http://";
  if (url.compare(0, kScheme.size(), kScheme) != 0) return "";
  std::string_view rest = url.substr(kScheme.size());
  rest = rest.substr(0, rest.find_first_of("/?#"));
  if (rest.find('@') != std::string_view::npos) return "";  // no user information
  if (!rest.empty() && rest[0] == '[') {
    const size_t close = rest.find(']');
    return close == std::string_view::npos ? "" : std::string(rest.substr(1, close - 1));
  }
  return std::string(rest.substr(0, rest.find(':')));
}

uint32_t nextEventKey(uint32_t seq) {
  return seq == std::numeric_limits<uint32_t>::max() ? 1 : seq + 1;
}

std::string propertySet(const NameValueList& values) {
  std::string body =
      "<?xml version=\"1.0\"?>\n"
      "<e:propertyset xmlns:e=\"urn:schemas-upnp-org:event-1-0\">";
  for (const auto& [name, value] : values) {
    body += "<e:property><";
    body += name;
    body += '>';
    body += escapeXml(value);
    body += "</";
    body += name;
    body += "></e:property>";
  }
  body += "</e:propertyset>";
  return body;
}

void mergeChanges(NameValueList* pending, const NameValueList& changes) {
  for (const auto& change : changes) {
    auto it = std::find_if(pending->begin(), pending->end(),
                           [&](const auto& entry) { return entry.first == change.first; });
    if (it != pending->end()) {
      it->second = change.second;
    } else {
      pending->push_back(change);
    }
  }
}

}  // namespace dmsstack
