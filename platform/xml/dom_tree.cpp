// DMSAppMakeDomTreeClass. See the header for the contract.
#include "dom_tree.h"

#include <cstring>
#include <new>

#include "nuv_log.h"

namespace {

// Logged for every failed allocation; the spelling is the one operators
// already grep for.
constexpr const char* kNoMemoryMessage = "Not Enough Momory";

void logNoMemory() { NUVPrintf(NUV_LOG_ERROR, "%s", kNoMemoryMessage); }

bool isChildType(int type) { return type == kDomElementNode || type == kDomTextNode; }

bool canHaveChildren(const DMSAppDomNode* node) {
  return node->nodeType == kDomElementNode || node->nodeType == kDomDocumentNode;
}

bool hasName(const DMSAppDomNode* node, const char* name) {
  const DMSAppString* s = node->nodeName;
  return s != nullptr && s->ReadString() != nullptr && strcmp(s->ReadString(), name) == 0;
}

const DMSAppDomNode* documentOf(const DMSAppDomNode* node) {
  return node->nodeType == kDomDocumentNode ? node : node->ownerDocument;
}

// Whether `newChild` may go below `parent`: right kinds, same document, and
// no cycle (newChild is not parent or one of its ancestors).
bool mayInsert(const DMSAppDomNode* parent, const DMSAppDomNode* newChild) {
  if (!canHaveChildren(parent) || !isChildType(newChild->nodeType)) return false;
  if (newChild->ownerDocument != documentOf(parent)) return false;
  if (parent->nodeType == kDomDocumentNode && newChild->nodeType != kDomElementNode) return false;
  if (newChild == parent) return false;
  // Only a node with children can be an ancestor; skipping the walk keeps
  // appending fresh nodes (all the parser does) independent of the depth.
  if (newChild->firstChild == nullptr) return true;
  for (const DMSAppDomNode* a = parent->parentNode; a != nullptr; a = a->parentNode) {
    if (a == newChild) return false;
  }
  return true;
}

// Links a detached child before `ref` (null: at the end).
void linkBefore(DMSAppDomNode* parent, DMSAppDomNode* child, DMSAppDomNode* ref) {
  DMSAppDomNode* prev = ref != nullptr ? ref->previousSibling : parent->lastChild;
  child->parentNode = parent;
  child->previousSibling = prev;
  child->nextSibling = ref;
  if (prev != nullptr) {
    prev->nextSibling = child;
  } else {
    parent->firstChild = child;
  }
  if (ref != nullptr) {
    ref->previousSibling = child;
  } else {
    parent->lastChild = child;
  }
}

}  // namespace

bool DMSAppMakeDomTreeClass::mayAllocate() {
  if (allowedAllocations_ < 0) return true;
  if (allowedAllocations_ == 0) return false;
  --allowedAllocations_;
  return true;
}

DMSAppString* DMSAppMakeDomTreeClass::newString(const char* text) {
  DMSAppString* s = mayAllocate() ? new (std::nothrow) DMSAppString(text) : nullptr;
  if (s != nullptr && s->ReadString() == nullptr) {
    delete s;
    s = nullptr;
  }
  if (s == nullptr) {
    logNoMemory();
    return nullptr;
  }
  ++allocations_;
  return s;
}

void DMSAppMakeDomTreeClass::deleteString(DMSAppString* s) {
  if (s == nullptr) return;
  delete s;
  countFreed();
}

DMSAppDomNode* DMSAppMakeDomTreeClass::newNode(int type, DMSAppDomNode* document, const char* name,
                                               const char* value) {
  DMSAppDomNode* node = mayAllocate() ? new (std::nothrow) DMSAppDomNode{} : nullptr;
  if (node == nullptr) {
    logNoMemory();
    return nullptr;
  }
  ++allocations_;
  node->nodeType = type;
  node->ownerDocument = document;
  node->nodeName = newString(name);
  if (node->nodeName == nullptr) {
    freeOneNode(node);
    return nullptr;
  }
  if (value != nullptr) {
    node->nodeValue = newString(value);
    if (node->nodeValue == nullptr) {
      freeOneNode(node);
      return nullptr;
    }
  }
  return node;
}

void DMSAppMakeDomTreeClass::freeOneNode(DMSAppDomNode* node) {
  DMSAppDomNode* attr = node->attributes;
  while (attr != nullptr) {
    DMSAppDomNode* next = attr->nextSibling;
    freeOneNode(attr);  // attributes have no attributes: one level only
    attr = next;
  }
  deleteString(node->nodeName);
  deleteString(node->nodeValue);
  delete node;
  countFreed();
}

DMSAppDomNode* DMSAppMakeDomTreeClass::createDocument() {
  return newNode(kDomDocumentNode, nullptr, "#document", nullptr);
}

DMSAppDomNode* DMSAppMakeDomTreeClass::createElement(DMSAppDomNode* document, const char* tagName) {
  if (document == nullptr || document->nodeType != kDomDocumentNode) return nullptr;
  if (tagName == nullptr || *tagName == '\0') return nullptr;
  return newNode(kDomElementNode, document, tagName, nullptr);
}

DMSAppDomNode* DMSAppMakeDomTreeClass::createTextNode(DMSAppDomNode* document, const char* data) {
  if (document == nullptr || document->nodeType != kDomDocumentNode || data == nullptr) {
    return nullptr;
  }
  return newNode(kDomTextNode, document, "#text", data);
}

DMSAppDomNode* DMSAppMakeDomTreeClass::createAttribute(DMSAppDomNode* document, const char* name) {
  if (document == nullptr || document->nodeType != kDomDocumentNode) return nullptr;
  if (name == nullptr || *name == '\0') return nullptr;
  return newNode(kDomAttributeNode, document, name, "");
}

void DMSAppMakeDomTreeClass::unlinkChild(DMSAppDomNode* child) {
  DMSAppDomNode* parent = child->parentNode;
  if (child->previousSibling != nullptr) {
    child->previousSibling->nextSibling = child->nextSibling;
  } else {
    parent->firstChild = child->nextSibling;
  }
  if (child->nextSibling != nullptr) {
    child->nextSibling->previousSibling = child->previousSibling;
  } else {
    parent->lastChild = child->previousSibling;
  }
  child->parentNode = nullptr;
  child->previousSibling = nullptr;
  child->nextSibling = nullptr;
}

DMSAppDomNode* DMSAppMakeDomTreeClass::insertBefore(DMSAppDomNode* parent, DMSAppDomNode* newChild,
                                                    DMSAppDomNode* refChild) {
  if (parent == nullptr || newChild == nullptr || !mayInsert(parent, newChild)) return nullptr;
  if (refChild != nullptr && (refChild->parentNode != parent || !isChildType(refChild->nodeType))) {
    return nullptr;
  }
  // The document holds exactly one element.
  if (parent->nodeType == kDomDocumentNode && parent->firstChild != nullptr &&
      parent->firstChild != newChild) {
    return nullptr;
  }
  if (refChild == newChild) return newChild;  // already in place
  if (newChild->parentNode != nullptr) unlinkChild(newChild);
  linkBefore(parent, newChild, refChild);
  return newChild;
}

DMSAppDomNode* DMSAppMakeDomTreeClass::appendChild(DMSAppDomNode* parent, DMSAppDomNode* newChild) {
  return insertBefore(parent, newChild, nullptr);
}

DMSAppDomNode* DMSAppMakeDomTreeClass::replaceChild(DMSAppDomNode* parent, DMSAppDomNode* newChild,
                                                    DMSAppDomNode* oldChild) {
  if (parent == nullptr || newChild == nullptr || oldChild == nullptr) return nullptr;
  if (oldChild->parentNode != parent || !isChildType(oldChild->nodeType)) return nullptr;
  // Replacing a node by itself would hand the caller a node still linked.
  if (newChild == oldChild || !mayInsert(parent, newChild)) return nullptr;
  if (newChild->parentNode != nullptr) unlinkChild(newChild);
  DMSAppDomNode* ref = oldChild->nextSibling;
  unlinkChild(oldChild);
  linkBefore(parent, newChild, ref);
  return oldChild;
}

DMSAppDomNode* DMSAppMakeDomTreeClass::removeChild(DMSAppDomNode* parent, DMSAppDomNode* oldChild) {
  if (parent == nullptr || oldChild == nullptr) return nullptr;
  if (oldChild->parentNode != parent || !isChildType(oldChild->nodeType)) return nullptr;
  unlinkChild(oldChild);
  return oldChild;
}

DMSAppDomNodeList* DMSAppMakeDomTreeClass::getElementsByTagName(const DMSAppDomNode* node,
                                                                const char* tagName) {
  if (node == nullptr || tagName == nullptr) return nullptr;
  DMSAppDomNodeList* list = mayAllocate() ? new (std::nothrow) DMSAppDomNodeList() : nullptr;
  if (list == nullptr) {
    logNoMemory();
    return nullptr;
  }
  ++allocations_;
  const bool all = strcmp(tagName, "*") == 0;
  try {
    // Pre-order walk without recursion: down to the first child, else on to
    // the next sibling of the nearest node that has one.
    const DMSAppDomNode* n = node->firstChild;
    while (n != nullptr) {
      if (n->nodeType == kDomElementNode && (all || hasName(n, tagName))) {
        list->items.push_back(const_cast<DMSAppDomNode*>(n));
      }
      if (n->firstChild != nullptr) {
        n = n->firstChild;
        continue;
      }
      while (n != node && n->nextSibling == nullptr) n = n->parentNode;
      if (n == node) break;
      n = n->nextSibling;
    }
  } catch (const std::bad_alloc&) {
    logNoMemory();
    freeNodeList(list);
    return nullptr;
  }
  return list;
}

DMSAppDomNode* DMSAppMakeDomTreeClass::findAttribute(const DMSAppDomNode* element,
                                                     const char* name) const {
  for (DMSAppDomNode* a = element->attributes; a != nullptr; a = a->nextSibling) {
    if (hasName(a, name)) return a;
  }
  return nullptr;
}

void DMSAppMakeDomTreeClass::unlinkAttribute(DMSAppDomNode* attr) {
  DMSAppDomNode* element = attr->parentNode;
  if (attr->previousSibling != nullptr) {
    attr->previousSibling->nextSibling = attr->nextSibling;
  } else {
    element->attributes = attr->nextSibling;
  }
  if (attr->nextSibling != nullptr) attr->nextSibling->previousSibling = attr->previousSibling;
  attr->parentNode = nullptr;
  attr->previousSibling = nullptr;
  attr->nextSibling = nullptr;
}

const DMSAppString* DMSAppMakeDomTreeClass::getAttribute(const DMSAppDomNode* element,
                                                         const char* name) const {
  if (element == nullptr || element->nodeType != kDomElementNode || name == nullptr) {
    return nullptr;
  }
  const DMSAppDomNode* attr = findAttribute(element, name);
  return attr == nullptr ? nullptr : attr->nodeValue;
}

int DMSAppMakeDomTreeClass::setAttribute(DMSAppDomNode* element, const char* name,
                                         const char* value) {
  if (element == nullptr || element->nodeType != kDomElementNode) return 1;
  if (name == nullptr || *name == '\0' || value == nullptr) return 1;
  DMSAppDomNode* existing = findAttribute(element, name);
  if (existing != nullptr) {
    DMSAppString* fresh = newString(value);
    if (fresh == nullptr) return 1;
    deleteString(existing->nodeValue);
    existing->nodeValue = fresh;
    return 0;
  }
  DMSAppDomNode* attr = newNode(kDomAttributeNode, element->ownerDocument, name, value);
  if (attr == nullptr) return 1;
  if (setAttributeNode(element, attr) != 0) {
    freeOneNode(attr);
    return 1;
  }
  return 0;
}

int DMSAppMakeDomTreeClass::setAttributeNode(DMSAppDomNode* element, DMSAppDomNode* attr) {
  if (element == nullptr || attr == nullptr) return 1;
  if (element->nodeType != kDomElementNode || attr->nodeType != kDomAttributeNode) return 1;
  if (attr->parentNode != nullptr || attr->ownerDocument != element->ownerDocument) return 1;
  if (attr->nodeName == nullptr || attr->nodeName->ReadString() == nullptr) return 1;
  DMSAppDomNode* existing = findAttribute(element, attr->nodeName->ReadString());
  attr->parentNode = element;
  if (existing != nullptr) {
    // Take the old attribute's place so document order is kept.
    attr->previousSibling = existing->previousSibling;
    attr->nextSibling = existing->nextSibling;
    if (attr->previousSibling != nullptr) {
      attr->previousSibling->nextSibling = attr;
    } else {
      element->attributes = attr;
    }
    if (attr->nextSibling != nullptr) attr->nextSibling->previousSibling = attr;
    existing->parentNode = nullptr;
    existing->previousSibling = nullptr;
    existing->nextSibling = nullptr;
    freeOneNode(existing);
    return 0;
  }
  DMSAppDomNode* last = element->attributes;
  while (last != nullptr && last->nextSibling != nullptr) last = last->nextSibling;
  attr->previousSibling = last;
  attr->nextSibling = nullptr;
  if (last != nullptr) {
    last->nextSibling = attr;
  } else {
    element->attributes = attr;
  }
  return 0;
}

int DMSAppMakeDomTreeClass::removeAttribute(DMSAppDomNode* element, const char* name) {
  if (element == nullptr || element->nodeType != kDomElementNode || name == nullptr) return 1;
  DMSAppDomNode* attr = findAttribute(element, name);
  if (attr == nullptr) return 1;
  unlinkAttribute(attr);
  freeOneNode(attr);
  return 0;
}

DMSAppDomNamedNodeMap* DMSAppMakeDomTreeClass::getAttributes(const DMSAppDomNode* element) {
  if (element == nullptr || element->nodeType != kDomElementNode) return nullptr;
  DMSAppDomNamedNodeMap* map = mayAllocate() ? new (std::nothrow) DMSAppDomNamedNodeMap() : nullptr;
  if (map == nullptr) {
    logNoMemory();
    return nullptr;
  }
  ++allocations_;
  try {
    for (DMSAppDomNode* a = element->attributes; a != nullptr; a = a->nextSibling) {
      map->items.push_back(a);
    }
  } catch (const std::bad_alloc&) {
    logNoMemory();
    freeNamedNodeMap(map);
    return nullptr;
  }
  return map;
}

DMSAppDomNode* DMSAppMakeDomTreeClass::nodeListItem(const DMSAppDomNodeList* list,
                                                    unsigned int index) const {
  if (list == nullptr || index >= list->items.size()) return nullptr;
  return list->items[index];
}

unsigned int DMSAppMakeDomTreeClass::nodeListLength(const DMSAppDomNodeList* list) const {
  return list == nullptr ? 0 : static_cast<unsigned int>(list->items.size());
}

void DMSAppMakeDomTreeClass::freeNodeList(DMSAppDomNodeList* list) {
  if (list == nullptr) return;
  delete list;
  countFreed();
}

DMSAppDomNode* DMSAppMakeDomTreeClass::namedNodeMapItem(const DMSAppDomNamedNodeMap* map,
                                                        unsigned int index) const {
  if (map == nullptr || index >= map->items.size()) return nullptr;
  return map->items[index];
}

unsigned int DMSAppMakeDomTreeClass::namedNodeMapLength(const DMSAppDomNamedNodeMap* map) const {
  return map == nullptr ? 0 : static_cast<unsigned int>(map->items.size());
}

DMSAppDomNode* DMSAppMakeDomTreeClass::getNamedItem(const DMSAppDomNamedNodeMap* map,
                                                    const char* name) const {
  if (map == nullptr || name == nullptr) return nullptr;
  for (DMSAppDomNode* a : map->items) {
    if (hasName(a, name)) return a;
  }
  return nullptr;
}

void DMSAppMakeDomTreeClass::freeNamedNodeMap(DMSAppDomNamedNodeMap* map) {
  if (map == nullptr) return;
  delete map;
  countFreed();
}

void DMSAppMakeDomTreeClass::freeNode(DMSAppDomNode* node) {
  if (node == nullptr) return;
  if (node->nodeType == kDomAttributeNode) {
    if (node->parentNode != nullptr) unlinkAttribute(node);
    freeOneNode(node);
    return;
  }
  if (node->parentNode != nullptr) unlinkChild(node);
  // Post-order without recursion: descend to a leaf, free it, and continue
  // with its next sibling or, when it was the last, with its parent.
  DMSAppDomNode* n = node;
  while (true) {
    if (n->firstChild != nullptr) {
      n = n->firstChild;
      continue;
    }
    if (n == node) {
      freeOneNode(n);
      return;
    }
    DMSAppDomNode* parent = n->parentNode;
    DMSAppDomNode* next = n->nextSibling;
    parent->firstChild = next;
    if (next != nullptr) {
      next->previousSibling = nullptr;
    } else {
      parent->lastChild = nullptr;
    }
    freeOneNode(n);
    n = next != nullptr ? next : parent;
  }
}
