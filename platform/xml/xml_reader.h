// DMSAppXmlparserClass: the cursor reader behind the exported functions of
// dms_xml.h, and the definition of the _XmlParser handle. The contract
// (cursor rules, ownership, null handling) is the one in dms_xml.h; each
// exported function forwards to the operation of the same name here.
//
// Thread safety: the class has no state; a handle is used by one thread at a
// time.
#ifndef DMS_PLATFORM_XML_XML_READER_H
#define DMS_PLATFORM_XML_XML_READER_H

#include "dms_string.h"
#include "dms_xml.h"
#include "dom_tree.h"

struct _XmlParser {
  DMSAppString* text = nullptr;  // private copy of the input
  unsigned int textLength = 0;
  DMSAppMakeDomTreeClass tree;  // allocated every node of `document`
  DMSAppDomNode* document = nullptr;
  DMSAppDomNode* cursor = nullptr;
  DMSAppDomNode* parentMark = nullptr;  // where StepBackToParentNode goes
};

class DMSAppXmlparserClass {
 public:
  static _XmlParser* GetDomMA(const DMSAppString* text);
  static _NodeXml* GetFirstNode(_XmlParser* parser);
  static _NodeXml* GetNextNode(_XmlParser* parser);
  static _NodeXml* GetChildNode(_XmlParser* parser);
  static int StepBackToParentNode(_XmlParser* parser);
  static void FreeNode(_NodeXml* node);
  static void Destroy(_XmlParser* parser);
  static DMSAppString* GetAttribute(_NodeXml* node, const DMSAppString* name);

 private:
  static _NodeXml* moveTo(_XmlParser* parser, DMSAppDomNode* node);
  static _NodeXml* makeRecord(const DMSAppDomNode* element);
};

#endif  // DMS_PLATFORM_XML_XML_READER_H
