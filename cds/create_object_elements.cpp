#include "create_object_elements.h"

#include <memory>

#include "cds_limits.h"
#include "dms_string.h"
#include "dms_xml.h"
#include "nuv_log.h"
#include "text_util.h"

namespace dms_cds {

namespace {

constexpr int kBadMetadata = 712;

struct ParserCloser {
  void operator()(_XmlParser* p) const { DMSAppXmlParserDestroy(p); }
};
struct NodeCloser {
  void operator()(_NodeXml* n) const { DMSAppXmlParserFreeNode(n); }
};
using Parser = std::unique_ptr<_XmlParser, ParserCloser>;
using Node = std::unique_ptr<_NodeXml, NodeCloser>;

bool hasAttribute(_NodeXml* node, const char* name, std::string* value) {
  DMSAppString key(name);
  const DMSAppString* found = DMSAppXmlGetAttribute(node, &key);
  if (found == nullptr) return false;
  *value = text_util::stringOf(found);
  return true;
}

// dlna:dlnaManaged is a hexadecimal bit set; creation takes only objects
// whose value is below 5 without the 2 bit (0, 1 and 4). An empty value
// counts as 0.
bool managedValueAccepted(const std::string& text) {
  if (text.size() > 8) return false;
  unsigned long value = 0;
  for (char c : text) {
    int digit = -1;
    if (c >= '0' && c <= '9') digit = c - '0';
    if (c >= 'a' && c <= 'f') digit = c - 'a' + 10;
    if (c >= 'A' && c <= 'F') digit = c - 'A' + 10;
    if (digit < 0) return false;
    value = value * 16 + static_cast<unsigned long>(digit);
  }
  return value < 5 && (value & 2u) == 0;
}

int refuse(const char* message) {
  NUVPrintf(NUV_LOG_ERROR, "%s", message);
  return kBadMetadata;
}

// Step 2: the attributes of the object element.
int readObjectAttributes(_NodeXml* object, CreateObjectElements* out) {
  if (!hasAttribute(object, "Restricted", &out->restricted) ||
      (out->restricted != "0" && out->restricted != "1")) {
    return refuse("[UPnPCDSObject] Access Restriction tag is either not valid or not present");
  }
  if (hasAttribute(object, "dlna:dlnamanaged", &out->dlnaManaged) &&
      !managedValueAccepted(out->dlnaManaged)) {
    return refuse("[UPnPCDSObject] dlna:dlnaManaged is not valid for CreateObject");
  }
  return 0;
}

// Step 3 for one child element. The name is tested by substring, in this
// order, as prefixed names ("dc:title", "upnp:class") come from clients.
int readProperty(_NodeXml* child, CreateObjectElements* out) {
  const std::string name = text_util::stringOf(child->name);
  const std::string value = text_util::stringOf(child->value);
  if (name.find("dc:title") != std::string::npos) {
    out->title = value;
  } else if (name.find("upnp:class") != std::string::npos) {
    out->upnpClass = value;
  } else if (name.find("dc:date") != std::string::npos) {
    out->date = value;
  } else if (name.find("res") != std::string::npos) {
    std::string protocolInfo;
    hasAttribute(child, "protocolInfo", &protocolInfo);
    if (!KeepProtocolInfo(protocolInfo, &out->protocolInfo, &out->mimeType)) {
      return refuse("[UPnPCDSObject] protocolInfo of the res element is not valid");
    }
    out->hasRes = true;
  } else if (name.find("artist") != std::string::npos) {
    out->artist = value;
  } else if (name.find("creator") != std::string::npos) {
    out->creator = value;
  } else {
    NUVPrintf(NUV_LOG_INFO, "[UPnPCDSObject] Ignored Arguments");
  }
  return 0;
}

// Walks the children of the object element (the cursor's parent mark). A
// null is a text node (white space) once, the end of the children twice.
int readProperties(_XmlParser* parser, CreateObjectElements* out) {
  Node child(DMSAppXmlParserGetChildNode(parser));
  for (int nulls = child == nullptr ? 1 : 0; nulls < 2;) {
    if (child != nullptr) {
      if (const int code = readProperty(child.get(), out)) return code;
    }
    child.reset(DMSAppXmlParserGetNextNode(parser));
    nulls = child == nullptr ? nulls + 1 : 0;
  }
  return 0;
}

}  // namespace

bool IsContainerClass(const std::string& upnpClass) {
  return upnpClass.compare(0, 16, "object.container") == 0;
}

bool KeepProtocolInfo(const std::string& protocolInfo, std::string* kept, std::string* mimeType) {
  const size_t first = protocolInfo.find(':');
  const size_t second = first == std::string::npos ? first : protocolInfo.find(':', first + 1);
  const size_t third = second == std::string::npos ? second : protocolInfo.find(':', second + 1);
  if (protocolInfo.empty() || third == std::string::npos) return false;
  *mimeType = protocolInfo.substr(second + 1, third - second - 1);
  *kept = protocolInfo.substr(0, protocolInfo.find(';', third + 1));
  if (kept->compare(0, 2, "*:") == 0) kept->replace(0, 2, "http:");
  return true;
}

int ParseCreateObjectElements(const DMSAppString* elements, CreateObjectElements* out) {
  // Step 1. Over-long texts are refused unread: the reader's own bound is
  // meant for description files, far above any one object.
  Parser parser;
  if (elements != nullptr && elements->GetStringLength() <= kMaxCreateObjectElementsBytes) {
    parser.reset(DMSAppXmlParserGetDomMA(const_cast<DMSAppString*>(elements)));
  }
  if (parser == nullptr) return refuse("[UPnPCDSObject] XML Parsing Failed - CreateObject");
  Node object(DMSAppXmlParserGetFirstNode(parser.get()));
  if (object == nullptr) object.reset(DMSAppXmlParserGetNextNode(parser.get()));  // white space
  if (object == nullptr) return refuse("[UPnPCDSObject] Invalid Argument - CreateObject");
  // Steps 2 and 3.
  if (const int code = readObjectAttributes(object.get(), out)) return code;
  if (const int code = readProperties(parser.get(), out)) return code;
  // Step 5.
  if (out->upnpClass.empty()) return refuse("[UPnPCDSObject] mpUPnPClass is null");
  if (!IsContainerClass(out->upnpClass) && !out->hasRes) {
    NUVPrintf(NUV_LOG_INFO,
              "[UPnPCDSObject] No res element for Create item ParseElements Fix after CTT "
              "__ParseElementsArgument");
    return kBadMetadata;
  }
  return 0;
}

}  // namespace dms_cds
