// libupnp 1.8 accessors behind the device side's helpers.
#include "upnp_compat.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstring>

#include "action_result.h"
#include "xml_text.h"

namespace dmsstack {

namespace {

// The text content of an element: the concatenated values of its text
// children (ixml keeps entities already resolved).
std::string textOf(IXML_Node* element) {
  std::string text;
  for (IXML_Node* child = ixmlNode_getFirstChild(element); child != nullptr;
       child = ixmlNode_getNextSibling(child)) {
    if (ixmlNode_getNodeType(child) != eTEXT_NODE &&
        ixmlNode_getNodeType(child) != eCDATA_SECTION_NODE)
      continue;
    const DOMString value = ixmlNode_getNodeValue(child);
    if (value != nullptr) text += value;
  }
  return text;
}

}  // namespace

std::string controlPointAddress(const UpnpActionRequest* request) {
  const struct sockaddr_storage* address = UpnpActionRequest_get_CtrlPtIPAddr(request);
  if (address == nullptr) return std::string();
  char text[INET6_ADDRSTRLEN] = {0};
  if (address->ss_family == AF_INET) {
    const auto* v4 = reinterpret_cast<const sockaddr_in*>(address);
    if (inet_ntop(AF_INET, &v4->sin_addr, text, sizeof text) == nullptr) return std::string();
    return text;
  }
  if (address->ss_family == AF_INET6) {
    const auto* v6 = reinterpret_cast<const sockaddr_in6*>(address);
    if (IN6_IS_ADDR_V4MAPPED(&v6->sin6_addr)) {
      in_addr v4;
      memcpy(&v4, &v6->sin6_addr.s6_addr[12], sizeof v4);
      if (inet_ntop(AF_INET, &v4, text, sizeof text) != nullptr) return text;
    }
  }
  return std::string();
}

bool actionArguments(const UpnpActionRequest* request, size_t limit, NameValueList* arguments) {
  IXML_Document* document = UpnpActionRequest_get_ActionRequest(request);
  if (document == nullptr) return false;
  IXML_Node* action = ixmlNode_getFirstChild(reinterpret_cast<IXML_Node*>(document));
  while (action != nullptr && ixmlNode_getNodeType(action) != eELEMENT_NODE)
    action = ixmlNode_getNextSibling(action);
  if (action == nullptr) return false;
  for (IXML_Node* child = ixmlNode_getFirstChild(action); child != nullptr;
       child = ixmlNode_getNextSibling(child)) {
    if (ixmlNode_getNodeType(child) != eELEMENT_NODE) continue;
    if (arguments->size() >= limit) return false;
    const DOMString local = ixmlNode_getLocalName(child);
    const DOMString name = local != nullptr ? local : ixmlNode_getNodeName(child);
    arguments->emplace_back(name != nullptr ? name : "", textOf(child));
  }
  return true;
}

void setActionError(UpnpActionRequest* request, int code, std::string_view text) {
  UpnpActionRequest_set_ActionResult(request, nullptr);
  UpnpActionRequest_set_ErrCode(request, code);
  std::string escaped = escapeXml(text);
  if (escaped.empty()) escaped = "Action Failed";
  UpnpActionRequest_strcpy_ErrStr(request, escaped.c_str());
}

bool setActionResult(UpnpActionRequest* request, std::string_view xml) {
  std::string text(xml);
  IXML_Document* document = nullptr;
  if (ixmlParseBufferEx(text.c_str(), &document) != IXML_SUCCESS || document == nullptr)
    return false;
  UpnpActionRequest_set_ErrCode(request, UPNP_E_SUCCESS);
  UpnpActionRequest_set_ActionResult(request, document);
  return true;
}

bool printActionResult(std::string_view xml, std::string* printed) {
  std::string text(xml);
  IXML_Document* document = nullptr;
  if (ixmlParseBufferEx(text.c_str(), &document) != IXML_SUCCESS || document == nullptr)
    return false;
  DOMString out = ixmlPrintNode(reinterpret_cast<IXML_Node*>(document));
  ixmlDocument_free(document);
  if (out == nullptr) return false;
  *printed = out;
  ixmlFreeDOMString(out);
  return true;
}

void setStateVariableAnswer(UpnpStateVarRequest* request, std::string_view value) {
  std::string escaped = escapeXml(value);
  UpnpStateVarRequest_set_ErrCode(request, UPNP_E_SUCCESS);
  UpnpStateVarRequest_set_CurrentVal(request, escaped.c_str());
}

}  // namespace dmsstack
