// DMSAppXmlparserClass and the exported XML reader functions. See dms_xml.h
// for the contract.
#include "xml_reader.h"

#include <cstring>
#include <new>

#include "dms_platform.h"
#include "em_xml_parser.h"
#include "export_guard.h"
#include "nuv_log.h"
#include "xml_limits.h"

namespace {

bool isXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// A new string holding `n` bytes of `text`, or null (logged) when memory is
// short. The bytes never contain NUL: the parser refuses it.
DMSAppString* copyString(const char* text, size_t n) {
  DMSAppString* s = new (std::nothrow) DMSAppString(static_cast<unsigned int>(n + 1));
  if (s != nullptr && s->ReadString() == nullptr) {
    delete s;
    s = nullptr;
  }
  if (s == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[DMSAppXmlparserClass] Not Enough Momory");
    return nullptr;
  }
  memcpy(s->ReadString(), text, n);
  s->SetStringLength(static_cast<unsigned int>(n));  // an empty string takes any length
  return s;
}

DMSAppString* copyString(const DMSAppString* from) {
  const char* text = from != nullptr ? from->ReadString() : nullptr;
  return copyString(text != nullptr ? text : "", text != nullptr ? strlen(text) : 0);
}

// The element's first text, white space trimmed at both ends.
DMSAppString* trimmedText(const DMSAppDomNode* element) {
  for (const DMSAppDomNode* c = element->firstChild; c != nullptr; c = c->nextSibling) {
    if (c->nodeType != kDomTextNode || c->nodeValue == nullptr) continue;
    const char* text = c->nodeValue->ReadString();
    if (text == nullptr) break;
    const char* begin = text;
    const char* end = text + strlen(text);
    while (begin != end && isXmlSpace(*begin)) ++begin;
    while (end != begin && isXmlSpace(end[-1])) --end;
    return copyString(begin, static_cast<size_t>(end - begin));
  }
  return copyString("", 0);
}

}  // namespace

_XmlParser* DMSAppXmlparserClass::GetDomMA(const DMSAppString* text) {
  if (text == nullptr || text->ReadString() == nullptr || text->GetStringLength() == 0) {
    return nullptr;
  }
  if (text->GetStringLength() > kXmlMaxInputBytes) {
    NUVPrintf(NUV_LOG_ERROR, "[DMSAppXmlparserClass::GetDomMA] text of %u bytes is too long",
              text->GetStringLength());
    return nullptr;
  }
  _XmlParser* parser = new (std::nothrow) _XmlParser();
  if (parser == nullptr) return nullptr;
  parser->text = new (std::nothrow) DMSAppString(text);
  if (parser->text == nullptr || parser->text->ReadString() == nullptr) {
    Destroy(parser);
    return nullptr;
  }
  parser->textLength = parser->text->GetStringLength();
  DMSAppEmXmlParser xmlParser(&parser->tree);
  parser->document = xmlParser.parse(parser->text->ReadString(), parser->textLength);
  if (parser->document == nullptr) {
    Destroy(parser);
    return nullptr;
  }
  parser->cursor = parser->document->firstChild;
  parser->parentMark = parser->document;
  return parser;
}

_NodeXml* DMSAppXmlparserClass::moveTo(_XmlParser* parser, DMSAppDomNode* node) {
  // With no node there the cursor leaves the tree, so that the next call
  // returns null too and the caller can tell the end from a text node.
  parser->cursor = node;
  if (node == nullptr) return nullptr;
  // A text node is consumed without a record; the next GetNextNode goes on
  // from it to the element that follows.
  if (node->nodeType == kDomTextNode) return nullptr;
  return makeRecord(node);
}

_NodeXml* DMSAppXmlparserClass::GetFirstNode(_XmlParser* parser) {
  if (parser == nullptr || parser->document == nullptr) return nullptr;
  parser->cursor = parser->document->firstChild;
  return GetChildNode(parser);
}

_NodeXml* DMSAppXmlparserClass::GetNextNode(_XmlParser* parser) {
  if (parser == nullptr || parser->cursor == nullptr) return nullptr;
  return moveTo(parser, parser->cursor->nextSibling);
}

_NodeXml* DMSAppXmlparserClass::GetChildNode(_XmlParser* parser) {
  if (parser == nullptr || parser->cursor == nullptr) return nullptr;
  parser->parentMark = parser->cursor;
  return moveTo(parser, parser->cursor->firstChild);
}

int DMSAppXmlparserClass::StepBackToParentNode(_XmlParser* parser) {
  if (parser == nullptr || parser->parentMark == nullptr) return 1;
  parser->cursor = parser->parentMark;
  parser->parentMark = parser->parentMark->parentNode;
  return 0;
}

_NodeXml* DMSAppXmlparserClass::makeRecord(const DMSAppDomNode* element) {
  size_t count = 0;
  for (const DMSAppDomNode* a = element->attributes; a != nullptr; a = a->nextSibling) ++count;
  _NodeXml* node = static_cast<_NodeXml*>(DMSAppMemAllocMA(sizeof(_NodeXml)));
  if (node == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[DMSAppXmlparserClass] Not Enough Momory");
    return nullptr;
  }
  memset(node, 0, sizeof(*node));
  const size_t arrayBytes = (count + 1) * sizeof(DMSAppXmlAttribute);
  node->attributes = static_cast<DMSAppXmlAttribute*>(DMSAppMemAllocMA(arrayBytes));
  if (node->attributes == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[DMSAppXmlparserClass] Not Enough Momory");
    FreeNode(node);
    return nullptr;
  }
  memset(node->attributes, 0, arrayBytes);
  node->name = copyString(element->nodeName);
  bool ok = node->name != nullptr;
  size_t i = 0;
  for (const DMSAppDomNode* a = element->attributes; ok && a != nullptr; a = a->nextSibling, ++i) {
    node->attributes[i].name = copyString(a->nodeName);
    node->attributes[i].value = copyString(a->nodeValue);
    ok = node->attributes[i].name != nullptr && node->attributes[i].value != nullptr;
  }
  if (ok) {
    node->value = trimmedText(element);
    ok = node->value != nullptr;
  }
  if (!ok) {
    FreeNode(node);
    return nullptr;
  }
  return node;
}

void DMSAppXmlparserClass::FreeNode(_NodeXml* node) {
  if (node == nullptr) return;
  if (node->attributes != nullptr) {
    // A slot filled halfway (allocation failure) has a name but no value;
    // the end slot has neither.
    for (DMSAppXmlAttribute* a = node->attributes; a->name != nullptr || a->value != nullptr; ++a) {
      delete a->name;
      delete a->value;
    }
    DMSAppMemFree(node->attributes);
  }
  delete node->name;
  delete node->value;
  DMSAppMemFree(node);
}

void DMSAppXmlparserClass::Destroy(_XmlParser* parser) {
  if (parser == nullptr) return;
  parser->tree.freeNode(parser->document);
  delete parser->text;
  delete parser;
}

DMSAppString* DMSAppXmlparserClass::GetAttribute(_NodeXml* node, const DMSAppString* name) {
  if (node == nullptr || node->attributes == nullptr || name == nullptr) return nullptr;
  if (name->ReadString() == nullptr || name->ReadString()[0] == '\0') return nullptr;
  for (DMSAppXmlAttribute* a = node->attributes; a->name != nullptr; ++a) {
    // Case is ignored because callers ask for "Restricted" and
    // "dlna:dlnamanaged" where DIDL-Lite writes "restricted" and
    // "dlna:dlnaManaged".
    if (a->name->FindI(name) >= 0) return a->value;
  }
  return nullptr;
}

// ---- Exported functions ------------------------------------------------------

extern "C" _XmlParser* DMSAppXmlParserGetDomMA(DMSAppString* text) {
  return dms_export::guarded("DMSAppXmlParserGetDomMA", static_cast<_XmlParser*>(nullptr),
                             [&]() -> _XmlParser* { return DMSAppXmlparserClass::GetDomMA(text); });
}

extern "C" _NodeXml* DMSAppXmlParserGetFirstNode(_XmlParser* parser) {
  return DMSAppXmlparserClass::GetFirstNode(parser);
}

extern "C" _NodeXml* DMSAppXmlParserGetNextNode(_XmlParser* parser) {
  return DMSAppXmlparserClass::GetNextNode(parser);
}

extern "C" _NodeXml* DMSAppXmlParserGetChildNode(_XmlParser* parser) {
  return DMSAppXmlparserClass::GetChildNode(parser);
}

extern "C" int DMSAppXmlParserStepBackToParentNode(_XmlParser* parser) {
  return DMSAppXmlparserClass::StepBackToParentNode(parser);
}

extern "C" void DMSAppXmlParserFreeNode(_NodeXml* node) { DMSAppXmlparserClass::FreeNode(node); }

extern "C" void DMSAppXmlParserDestroy(_XmlParser* parser) {
  DMSAppXmlparserClass::Destroy(parser);
}

extern "C" DMSAppString* DMSAppXmlGetAttribute(_NodeXml* node, DMSAppString* name) {
  return dms_export::guarded(
      "DMSAppXmlGetAttribute", static_cast<DMSAppString*>(nullptr),
      [&]() -> DMSAppString* { return DMSAppXmlparserClass::GetAttribute(node, name); });
}
