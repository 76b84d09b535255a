// The DOM tree built by the XML parser, and DMSAppMakeDomTreeClass, which
// creates, links and frees its nodes with operations named after the W3C DOM
// Level 1 calls.
//
// Ownership: every node, node list and named node map comes from one
// DMSAppMakeDomTreeClass and goes back to the same instance (freeNode,
// freeNodeList, freeNamedNodeMap). A node linked into a tree belongs to that
// tree: freeing the document (or any subtree root) frees everything below it,
// attributes included. A node taken out with removeChild or replaceChild
// belongs to the caller again. Strings inside nodes belong to their node.
//
// Thread safety: none. A tree and its DMSAppMakeDomTreeClass are used by one
// thread at a time.
#ifndef DMS_PLATFORM_XML_DOM_TREE_H
#define DMS_PLATFORM_XML_DOM_TREE_H

#include <vector>

#include "dms_string.h"

// Node type codes, numbered as in DOM Level 1.
enum DMSAppDomNodeType : int {
  kDomElementNode = 1,
  kDomAttributeNode = 2,
  kDomTextNode = 3,
  kDomDocumentNode = 9,
};

// One node. Plain data; the links are kept consistent by
// DMSAppMakeDomTreeClass and must not be edited by hand.
//   element:   nodeName is the tag with its prefix ("dc:title"), nodeValue null;
//   text:      nodeName "#text", nodeValue the decoded text;
//   attribute: nodeName and nodeValue as written (decoded); parentNode is the
//              element carrying it (null while detached), and the siblings
//              link the element's attributes in document order;
//   document:  nodeName "#document"; its only child is the document element.
struct DMSAppDomNode {
  DMSAppString* nodeName;
  DMSAppString* nodeValue;
  int nodeType;
  DMSAppDomNode* parentNode;
  DMSAppDomNode* firstChild;
  DMSAppDomNode* lastChild;
  DMSAppDomNode* previousSibling;
  DMSAppDomNode* nextSibling;
  DMSAppDomNode* attributes;  // first attribute of an element, or null
  DMSAppDomNode* ownerDocument;
};

// Snapshots (not live views): they point at nodes still owned by their tree
// and stay valid while those nodes are neither freed nor moved.
struct DMSAppDomNodeList {
  std::vector<DMSAppDomNode*> items;
};
struct DMSAppDomNamedNodeMap {
  std::vector<DMSAppDomNode*> items;
};

class DMSAppMakeDomTreeClass {
 public:
  DMSAppMakeDomTreeClass() = default;
  // Frees nothing: trees outlive the instance only if the caller forgets
  // them, and allocationCount() makes that visible in tests.
  ~DMSAppMakeDomTreeClass() = default;
  DMSAppMakeDomTreeClass(const DMSAppMakeDomTreeClass&) = delete;
  DMSAppMakeDomTreeClass& operator=(const DMSAppMakeDomTreeClass&) = delete;

  // Factories. Each returns a new detached node owned by the caller until it
  // is linked into a tree, or null after logging "Not Enough Momory" (or for
  // a null argument). `document` becomes the node's ownerDocument and must be
  // a document node.
  DMSAppDomNode* createDocument();
  DMSAppDomNode* createElement(DMSAppDomNode* document, const char* tagName);
  DMSAppDomNode* createTextNode(DMSAppDomNode* document, const char* data);
  // The attribute starts with an empty value.
  DMSAppDomNode* createAttribute(DMSAppDomNode* document, const char* name);

  // Child operations. `parent` must be an element or the document, and
  // `newChild` an element or text node that is not `parent` or one of its
  // ancestors; a newChild already in a tree is first taken out of it. A null
  // `refChild` appends. Return newChild (insertBefore, appendChild), the
  // taken-out oldChild (replaceChild, removeChild; the caller frees it with
  // freeNode), or null when refused, with the tree unchanged.
  DMSAppDomNode* insertBefore(DMSAppDomNode* parent, DMSAppDomNode* newChild,
                              DMSAppDomNode* refChild);
  DMSAppDomNode* appendChild(DMSAppDomNode* parent, DMSAppDomNode* newChild);
  DMSAppDomNode* replaceChild(DMSAppDomNode* parent, DMSAppDomNode* newChild,
                              DMSAppDomNode* oldChild);
  DMSAppDomNode* removeChild(DMSAppDomNode* parent, DMSAppDomNode* oldChild);

  // The elements below `node` (not `node` itself) whose name equals
  // `tagName` ("*" matches every element), in document order. Never null for
  // valid arguments (an empty list when none match) unless memory runs out.
  // Release with freeNodeList.
  DMSAppDomNodeList* getElementsByTagName(const DMSAppDomNode* node, const char* tagName);

  // Attributes, matched by exact name. getAttribute returns the value owned
  // by the attribute node, or null when there is no such attribute.
  // setAttribute and removeAttribute return 0 for done and 1 for refused or
  // (removeAttribute) not found. setAttribute keeps the position of an
  // existing attribute and appends a new one.
  const DMSAppString* getAttribute(const DMSAppDomNode* element, const char* name) const;
  int setAttribute(DMSAppDomNode* element, const char* name, const char* value);
  int removeAttribute(DMSAppDomNode* element, const char* name);
  // Links a detached attribute node to `element`, which then owns it. An
  // attribute of the same name takes its place and is freed. 0 for done, 1
  // for refused (the caller still owns `attr`).
  int setAttributeNode(DMSAppDomNode* element, DMSAppDomNode* attr);
  // A map of the element's attributes in document order; freeNamedNodeMap.
  DMSAppDomNamedNodeMap* getAttributes(const DMSAppDomNode* element);

  // Item is null for a null list or an index at or beyond the length.
  DMSAppDomNode* nodeListItem(const DMSAppDomNodeList* list, unsigned int index) const;
  unsigned int nodeListLength(const DMSAppDomNodeList* list) const;
  void freeNodeList(DMSAppDomNodeList* list);
  DMSAppDomNode* namedNodeMapItem(const DMSAppDomNamedNodeMap* map, unsigned int index) const;
  unsigned int namedNodeMapLength(const DMSAppDomNamedNodeMap* map) const;
  DMSAppDomNode* getNamedItem(const DMSAppDomNamedNodeMap* map, const char* name) const;
  void freeNamedNodeMap(DMSAppDomNamedNodeMap* map);

  // Frees `node`, its attributes and everything below it. A node still
  // linked into a tree (as child or attribute) is taken out first. Iterative,
  // so any depth is safe.
  void freeNode(DMSAppDomNode* node);

  // Objects (nodes, their strings, lists, maps) allocated by this instance
  // and not yet freed.
  long allocationCount() const { return allocations_; }

  // Fault injection: let `n` more allocations succeed, then fail every one
  // after them; a negative `n` turns failures off (the default).
  void failAllocationsAfter(long n) { allowedAllocations_ = n; }

 private:
  bool mayAllocate();
  void countFreed() { --allocations_; }
  DMSAppString* newString(const char* text);
  void deleteString(DMSAppString* s);
  DMSAppDomNode* newNode(int type, DMSAppDomNode* document, const char* name, const char* value);
  void freeOneNode(DMSAppDomNode* node);
  void unlinkChild(DMSAppDomNode* child);
  void unlinkAttribute(DMSAppDomNode* attr);
  DMSAppDomNode* findAttribute(const DMSAppDomNode* element, const char* name) const;

  long allocations_ = 0;
  long allowedAllocations_ = -1;
};

#endif  // DMS_PLATFORM_XML_DOM_TREE_H
