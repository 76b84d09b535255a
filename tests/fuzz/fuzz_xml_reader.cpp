// Fuzz target for the XML reader: parses the bytes, walks the whole tree with
// the cursor functions (stepping into every element and back), looks up
// attributes by whole and partial names, and frees everything.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "dms_string.h"
#include "dms_xml.h"
#include "nuv_log.h"

namespace {

// Bounds the walk even if the cursor rules were broken into a cycle.
constexpr int kMaxSteps = 1 << 20;

void lookUpAttributes(_NodeXml* node) {
  static DMSAppString* const kNames[] = {
      new DMSAppString("id"),          new DMSAppString("Restricted"),
      new DMSAppString("dlnaManaged"), new DMSAppString("protocolInfo"),
      new DMSAppString(":"),
  };
  for (DMSAppString* name : kNames) {
    DMSAppString* value = DMSAppXmlGetAttribute(node, name);
    if (value != nullptr && value->ReadString() != nullptr) {
      volatile size_t n = strlen(value->ReadString());
      (void)n;
    }
  }
  for (DMSAppXmlAttribute* a = node->attributes; a->name != nullptr; ++a) {
    // Every stored name must find an attribute (itself or an earlier one).
    if (DMSAppXmlGetAttribute(node, a->name) == nullptr) __builtin_trap();
  }
}

// Depth-first walk: each sibling, and below each one its children, through
// GetChildNode and StepBackToParentNode. A null result is either a text node
// (the next call goes on) or the end (the next call is null as well).
void walk(_XmlParser* parser, _NodeXml* first, int* steps) {
  _NodeXml* node = first;
  int nulls = node == nullptr ? 1 : 0;
  while (nulls < 2 && ++*steps < kMaxSteps) {
    if (node != nullptr) {
      lookUpAttributes(node);
      DMSAppXmlParserFreeNode(node);
      walk(parser, DMSAppXmlParserGetChildNode(parser), steps);
      DMSAppXmlParserStepBackToParentNode(parser);
    }
    node = DMSAppXmlParserGetNextNode(parser);
    nulls = node == nullptr ? nulls + 1 : 0;
  }
  DMSAppXmlParserFreeNode(node);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NUVLogSetMask(0);  // parse failures are the common case here
  DMSAppString text(static_cast<unsigned int>(size + 1));
  if (text.ReadString() == nullptr) return 0;
  memcpy(text.ReadString(), data, size);
  text.SetStringLength(static_cast<unsigned int>(size));
  _XmlParser* parser = DMSAppXmlParserGetDomMA(&text);
  if (parser == nullptr) return 0;
  int steps = 0;
  walk(parser, DMSAppXmlParserGetFirstNode(parser), &steps);
  // Past the end and above the top must stay harmless.
  while (DMSAppXmlParserStepBackToParentNode(parser) == 0 && ++steps < kMaxSteps) {
  }
  DMSAppXmlParserFreeNode(DMSAppXmlParserGetNextNode(parser));
  DMSAppXmlParserFreeNode(DMSAppXmlParserGetChildNode(parser));
  DMSAppXmlParserDestroy(parser);
  return 0;
}
