// DMSAppMakeDomTreeClass and the tree DMSAppEmXmlParser builds with it.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "log_capture.h"
#include "xml/dom_tree.h"
#include "xml/em_xml_parser.h"

namespace {

std::string str(const DMSAppString* s) {
  if (s == nullptr) return "<none>";
  return s->ReadString() == nullptr ? "<null buffer>" : std::string(s->ReadString());
}

std::string nameOf(const DMSAppDomNode* n) { return n == nullptr ? "<none>" : str(n->nodeName); }

// Names of the children, checking every link on the way.
std::vector<std::string> childNames(const DMSAppDomNode* parent) {
  std::vector<std::string> out;
  const DMSAppDomNode* prev = nullptr;
  for (const DMSAppDomNode* c = parent->firstChild; c != nullptr; c = c->nextSibling) {
    EXPECT_EQ(c->parentNode, parent);
    EXPECT_EQ(c->previousSibling, prev);
    out.push_back(nameOf(c));
    prev = c;
  }
  EXPECT_EQ(parent->lastChild, prev);
  return out;
}

std::vector<std::string> attributeTexts(const DMSAppDomNode* element) {
  std::vector<std::string> out;
  const DMSAppDomNode* prev = nullptr;
  for (const DMSAppDomNode* a = element->attributes; a != nullptr; a = a->nextSibling) {
    EXPECT_EQ(a->nodeType, kDomAttributeNode);
    EXPECT_EQ(a->parentNode, element);
    EXPECT_EQ(a->previousSibling, prev);
    out.push_back(str(a->nodeName) + "=" + str(a->nodeValue));
    prev = a;
  }
  return out;
}

std::vector<std::string> listNames(DMSAppMakeDomTreeClass& tree, const DMSAppDomNodeList* list) {
  std::vector<std::string> out;
  for (unsigned int i = 0; i < tree.nodeListLength(list); ++i) {
    out.push_back(nameOf(tree.nodeListItem(list, i)));
  }
  return out;
}

const char kDidlItem[] =
    "<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\" "
    "xmlns:dc=\"http://purl.org/dc/elements/1.1/\">\n"
    "<item id=\"\" parentID=\"1\" restricted=\"0\">"
    "<dc:title>a &amp; b</dc:title>"
    "<res protocolInfo=\"http-get:*:image/jpeg:*\" size=\"1234\"></res>"
    "</item>\n</DIDL-Lite>";

// A small tree: <r><a/><b/><c/></r> in a fresh document.
struct Fixture {
  DMSAppMakeDomTreeClass tree;
  DMSAppDomNode* doc = nullptr;
  DMSAppDomNode* r = nullptr;
  DMSAppDomNode* a = nullptr;
  DMSAppDomNode* b = nullptr;
  DMSAppDomNode* c = nullptr;

  Fixture() {
    doc = tree.createDocument();
    r = tree.createElement(doc, "r");
    a = tree.createElement(doc, "a");
    b = tree.createElement(doc, "b");
    c = tree.createElement(doc, "c");
    tree.appendChild(doc, r);
    tree.appendChild(r, a);
    tree.appendChild(r, b);
    tree.appendChild(r, c);
  }
  ~Fixture() {
    tree.freeNode(doc);
    EXPECT_EQ(tree.allocationCount(), 0);
  }
};

}  // namespace

TEST(DomTree, ParserBuildsElementsAttributesAndTextInDocumentOrder) {
  DMSAppMakeDomTreeClass tree;
  DMSAppEmXmlParser parser(&tree);
  DMSAppDomNode* doc = parser.parse(kDidlItem, strlen(kDidlItem));
  ASSERT_NE(doc, nullptr);
  EXPECT_EQ(doc->nodeType, kDomDocumentNode);
  EXPECT_EQ(nameOf(doc), "#document");
  EXPECT_EQ(childNames(doc), std::vector<std::string>{"DIDL-Lite"});

  DMSAppDomNode* root = doc->firstChild;
  EXPECT_EQ(root->nodeType, kDomElementNode);
  EXPECT_EQ(root->ownerDocument, doc);
  EXPECT_EQ(root->nodeValue, nullptr);
  EXPECT_EQ(attributeTexts(root),
            (std::vector<std::string>{"xmlns=urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/",
                                      "xmlns:dc=http://purl.org/dc/elements/1.1/"}));
  EXPECT_EQ(childNames(root), (std::vector<std::string>{"#text", "item", "#text"}));
  EXPECT_EQ(root->firstChild->nodeType, kDomTextNode);
  EXPECT_EQ(str(root->firstChild->nodeValue), "\n");  // white space kept as it was

  DMSAppDomNode* item = root->firstChild->nextSibling;
  EXPECT_EQ(attributeTexts(item), (std::vector<std::string>{"id=", "parentID=1", "restricted=0"}));
  EXPECT_EQ(childNames(item), (std::vector<std::string>{"dc:title", "res"}));
  DMSAppDomNode* title = item->firstChild;
  EXPECT_EQ(childNames(title), std::vector<std::string>{"#text"});
  EXPECT_EQ(str(title->firstChild->nodeValue), "a & b");
  EXPECT_EQ(title->firstChild->ownerDocument, doc);
  EXPECT_EQ(item->lastChild->firstChild, nullptr);  // <res></res> has no text node

  tree.freeNode(doc);
  EXPECT_EQ(tree.allocationCount(), 0);
}

TEST(DomTree, ParseFailureLeavesNothingAllocated) {
  DMSAppMakeDomTreeClass tree;
  DMSAppEmXmlParser parser(&tree);
  const char* bad[] = {"<a><b x=\"1\">text</b><c>", "<a x=\"1\" x=\"2\"/>", "<a/><b/>"};
  for (const char* xml : bad) {
    SCOPED_TRACE(xml);
    EXPECT_EQ(parser.parse(xml, strlen(xml)), nullptr);
    EXPECT_EQ(tree.allocationCount(), 0);
  }
  EXPECT_EQ(parser.parse(nullptr, 3), nullptr);
  EXPECT_EQ(parser.parse("<a/>", 0), nullptr);
}

TEST(DomTree, ParserStopsAtGivenLength) {
  DMSAppMakeDomTreeClass tree;
  DMSAppEmXmlParser parser(&tree);
  const char text[] = "<a/>trailing garbage";
  DMSAppDomNode* doc = parser.parse(text, 4);
  ASSERT_NE(doc, nullptr);
  EXPECT_EQ(nameOf(doc->firstChild), "a");
  tree.freeNode(doc);
  EXPECT_EQ(parser.parse(text, sizeof(text) - 1), nullptr);
}

TEST(DomTree, CreateElementTextAndAttribute) {
  DMSAppMakeDomTreeClass tree;
  DMSAppDomNode* doc = tree.createDocument();
  ASSERT_NE(doc, nullptr);
  DMSAppDomNode* e = tree.createElement(doc, "dc:title");
  DMSAppDomNode* t = tree.createTextNode(doc, "hello");
  DMSAppDomNode* attr = tree.createAttribute(doc, "id");
  ASSERT_NE(e, nullptr);
  ASSERT_NE(t, nullptr);
  ASSERT_NE(attr, nullptr);
  EXPECT_EQ(e->nodeType, kDomElementNode);
  EXPECT_EQ(nameOf(e), "dc:title");
  EXPECT_EQ(e->ownerDocument, doc);
  EXPECT_EQ(e->parentNode, nullptr);
  EXPECT_EQ(t->nodeType, kDomTextNode);
  EXPECT_EQ(nameOf(t), "#text");
  EXPECT_EQ(str(t->nodeValue), "hello");
  EXPECT_EQ(attr->nodeType, kDomAttributeNode);
  EXPECT_EQ(str(attr->nodeValue), "");
  EXPECT_EQ(tree.allocationCount(), 10);  // 4 nodes, 4 names and 2 values

  EXPECT_EQ(tree.createElement(doc, ""), nullptr);
  EXPECT_EQ(tree.createElement(doc, nullptr), nullptr);
  EXPECT_EQ(tree.createElement(e, "x"), nullptr);  // not a document
  EXPECT_EQ(tree.createElement(nullptr, "x"), nullptr);
  EXPECT_EQ(tree.createTextNode(doc, nullptr), nullptr);
  EXPECT_EQ(tree.createAttribute(doc, ""), nullptr);

  tree.freeNode(e);
  tree.freeNode(t);
  tree.freeNode(attr);
  tree.freeNode(doc);
  EXPECT_EQ(tree.allocationCount(), 0);
}

TEST(DomTree, InsertBeforeOrdersChildren) {
  Fixture f;
  DMSAppDomNode* x = f.tree.createElement(f.doc, "x");
  EXPECT_EQ(f.tree.insertBefore(f.r, x, f.b), x);
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"a", "x", "b", "c"}));
  DMSAppDomNode* y = f.tree.createTextNode(f.doc, "y");
  EXPECT_EQ(f.tree.insertBefore(f.r, y, f.a), y);
  DMSAppDomNode* z = f.tree.createElement(f.doc, "z");
  EXPECT_EQ(f.tree.insertBefore(f.r, z, nullptr), z);
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"#text", "a", "x", "b", "c", "z"}));
}

TEST(DomTree, InsertBeforeMovesANodeAlreadyInTheTree) {
  Fixture f;
  EXPECT_EQ(f.tree.insertBefore(f.r, f.c, f.a), f.c);
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"c", "a", "b"}));
  EXPECT_EQ(f.tree.insertBefore(f.a, f.b, nullptr), f.b);
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"c", "a"}));
  EXPECT_EQ(childNames(f.a), std::vector<std::string>{"b"});
  EXPECT_EQ(f.tree.insertBefore(f.r, f.a, f.a), f.a);  // before itself: unchanged
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"c", "a"}));
}

TEST(DomTree, InsertBeforeRefusesInvalidPlacements) {
  Fixture f;
  DMSAppDomNode* text = f.tree.createTextNode(f.doc, "t");
  DMSAppDomNode* attr = f.tree.createAttribute(f.doc, "k");
  DMSAppDomNode* x = f.tree.createElement(f.doc, "x");
  DMSAppMakeDomTreeClass other;
  DMSAppDomNode* otherDoc = other.createDocument();
  DMSAppDomNode* foreign = other.createElement(otherDoc, "f");

  EXPECT_EQ(f.tree.insertBefore(f.a, f.r, nullptr), nullptr);  // ancestor under descendant
  EXPECT_EQ(f.tree.insertBefore(f.r, f.r, nullptr), nullptr);  // under itself
  EXPECT_EQ(f.tree.insertBefore(text, x, nullptr), nullptr);   // text has no children
  EXPECT_EQ(f.tree.insertBefore(f.r, attr, nullptr), nullptr);
  EXPECT_EQ(f.tree.insertBefore(f.r, x, text), nullptr);       // text is not r's child
  EXPECT_EQ(f.tree.insertBefore(f.a, x, f.b), nullptr);        // b is not a's child
  EXPECT_EQ(f.tree.insertBefore(f.doc, x, nullptr), nullptr);  // a second document element
  EXPECT_EQ(f.tree.insertBefore(f.doc, text, nullptr), nullptr);
  EXPECT_EQ(f.tree.insertBefore(f.r, foreign, nullptr), nullptr);  // another document's node
  EXPECT_EQ(f.tree.insertBefore(nullptr, x, nullptr), nullptr);
  EXPECT_EQ(f.tree.insertBefore(f.r, nullptr, nullptr), nullptr);
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"a", "b", "c"}));

  f.tree.freeNode(text);
  f.tree.freeNode(attr);
  f.tree.freeNode(x);
  other.freeNode(otherDoc);
  other.freeNode(foreign);
  EXPECT_EQ(other.allocationCount(), 0);
}

TEST(DomTree, ReplaceChildReturnsOldChildDetached) {
  Fixture f;
  DMSAppDomNode* x = f.tree.createElement(f.doc, "x");
  EXPECT_EQ(f.tree.replaceChild(f.r, x, f.b), f.b);
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"a", "x", "c"}));
  EXPECT_EQ(f.b->parentNode, nullptr);
  EXPECT_EQ(f.b->previousSibling, nullptr);
  EXPECT_EQ(f.b->nextSibling, nullptr);
  f.tree.freeNode(f.b);

  // A node already in the tree moves into the old one's place.
  EXPECT_EQ(f.tree.replaceChild(f.r, f.a, f.c), f.c);
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"x", "a"}));
  f.tree.freeNode(f.c);

  EXPECT_EQ(f.tree.replaceChild(f.r, f.a, f.a), nullptr);
  EXPECT_EQ(f.tree.replaceChild(f.a, x, f.a), nullptr);  // a is not its own child
  EXPECT_EQ(f.tree.replaceChild(f.r, nullptr, f.a), nullptr);
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"x", "a"}));
}

TEST(DomTree, RemoveChildDetachesAndCallerFrees) {
  Fixture f;
  DMSAppDomNode* inner = f.tree.createElement(f.doc, "inner");
  f.tree.appendChild(f.a, inner);
  f.tree.setAttribute(inner, "k", "v");
  const long before = f.tree.allocationCount();
  EXPECT_EQ(f.tree.removeChild(f.r, f.a), f.a);
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"b", "c"}));
  EXPECT_EQ(f.a->parentNode, nullptr);
  EXPECT_EQ(f.tree.removeChild(f.r, f.a), nullptr);  // no longer a child
  EXPECT_EQ(f.tree.removeChild(f.r, nullptr), nullptr);
  f.tree.freeNode(f.a);  // a, inner and the attribute, with their strings
  EXPECT_EQ(f.tree.allocationCount(), before - 7);
  EXPECT_EQ(f.tree.removeChild(f.r, f.c), f.c);
  EXPECT_EQ(f.tree.removeChild(f.r, f.b), f.b);
  EXPECT_EQ(f.r->firstChild, nullptr);
  EXPECT_EQ(f.r->lastChild, nullptr);
  f.tree.freeNode(f.b);
  f.tree.freeNode(f.c);
}

TEST(DomTree, FreeNodeStillLinkedTakesItOutFirst) {
  Fixture f;
  f.tree.freeNode(f.b);
  EXPECT_EQ(childNames(f.r), (std::vector<std::string>{"a", "c"}));
}

TEST(DomTree, GetElementsByTagNameInDocumentOrder) {
  DMSAppMakeDomTreeClass tree;
  DMSAppEmXmlParser parser(&tree);
  const char xml[] = "<r><s><s/><t/></s><t><s/></t>text<s/></r>";
  DMSAppDomNode* doc = parser.parse(xml, strlen(xml));
  ASSERT_NE(doc, nullptr);
  DMSAppDomNode* r = doc->firstChild;

  DMSAppDomNodeList* ss = tree.getElementsByTagName(r, "s");
  ASSERT_NE(ss, nullptr);
  EXPECT_EQ(tree.nodeListLength(ss), 4u);
  EXPECT_EQ(tree.nodeListItem(ss, 0), r->firstChild);
  EXPECT_EQ(tree.nodeListItem(ss, 1), r->firstChild->firstChild);
  EXPECT_EQ(tree.nodeListItem(ss, 2), r->firstChild->nextSibling->firstChild);
  EXPECT_EQ(tree.nodeListItem(ss, 3), r->lastChild);
  EXPECT_EQ(tree.nodeListItem(ss, 4), nullptr);

  DMSAppDomNodeList* all = tree.getElementsByTagName(doc, "*");
  EXPECT_EQ(listNames(tree, all), (std::vector<std::string>{"r", "s", "s", "t", "t", "s", "s"}));
  DMSAppDomNodeList* inner = tree.getElementsByTagName(r->firstChild, "s");  // not itself
  EXPECT_EQ(tree.nodeListLength(inner), 1u);
  DMSAppDomNodeList* none = tree.getElementsByTagName(r, "#text");
  ASSERT_NE(none, nullptr);
  EXPECT_EQ(tree.nodeListLength(none), 0u);
  EXPECT_EQ(tree.getElementsByTagName(nullptr, "s"), nullptr);
  EXPECT_EQ(tree.getElementsByTagName(r, nullptr), nullptr);
  EXPECT_EQ(tree.nodeListLength(nullptr), 0u);
  EXPECT_EQ(tree.nodeListItem(nullptr, 0), nullptr);

  tree.freeNodeList(ss);
  tree.freeNodeList(all);
  tree.freeNodeList(inner);
  tree.freeNodeList(none);
  tree.freeNodeList(nullptr);
  tree.freeNode(doc);
  EXPECT_EQ(tree.allocationCount(), 0);
}

TEST(DomTree, GetSetAndRemoveAttribute) {
  Fixture f;
  EXPECT_EQ(f.tree.getAttribute(f.a, "id"), nullptr);
  EXPECT_EQ(f.tree.setAttribute(f.a, "id", "1"), 0);
  EXPECT_EQ(f.tree.setAttribute(f.a, "parentID", "0"), 0);
  EXPECT_EQ(f.tree.setAttribute(f.a, "restricted", "1"), 0);
  EXPECT_EQ(str(f.tree.getAttribute(f.a, "parentID")), "0");
  EXPECT_EQ(f.tree.getAttribute(f.a, "parent"), nullptr);  // exact names here

  EXPECT_EQ(f.tree.setAttribute(f.a, "parentID", "7"), 0);  // replaced in place
  EXPECT_EQ(attributeTexts(f.a), (std::vector<std::string>{"id=1", "parentID=7", "restricted=1"}));

  EXPECT_EQ(f.tree.removeAttribute(f.a, "parentID"), 0);
  EXPECT_EQ(attributeTexts(f.a), (std::vector<std::string>{"id=1", "restricted=1"}));
  EXPECT_EQ(f.tree.removeAttribute(f.a, "parentID"), 1);
  EXPECT_EQ(f.tree.removeAttribute(f.a, "id"), 0);
  EXPECT_EQ(attributeTexts(f.a), std::vector<std::string>{"restricted=1"});

  DMSAppDomNode* text = f.tree.createTextNode(f.doc, "t");
  EXPECT_EQ(f.tree.setAttribute(text, "k", "v"), 1);
  EXPECT_EQ(f.tree.setAttribute(f.a, "", "v"), 1);
  EXPECT_EQ(f.tree.setAttribute(f.a, "k", nullptr), 1);
  EXPECT_EQ(f.tree.setAttribute(nullptr, "k", "v"), 1);
  EXPECT_EQ(f.tree.removeAttribute(nullptr, "k"), 1);
  EXPECT_EQ(f.tree.getAttribute(nullptr, "k"), nullptr);
  EXPECT_EQ(f.tree.getAttribute(f.a, nullptr), nullptr);
  f.tree.freeNode(text);
}

TEST(DomTree, SetAttributeNodeAppendsOrReplaces) {
  Fixture f;
  f.tree.setAttribute(f.a, "x", "1");
  f.tree.setAttribute(f.a, "y", "2");
  DMSAppDomNode* z = f.tree.createAttribute(f.doc, "z");
  EXPECT_EQ(f.tree.setAttributeNode(f.a, z), 0);
  DMSAppDomNode* x = f.tree.createAttribute(f.doc, "x");
  f.tree.setAttribute(f.b, "x", "9");
  EXPECT_EQ(f.tree.setAttributeNode(f.a, x), 0);
  EXPECT_EQ(attributeTexts(f.a), (std::vector<std::string>{"x=", "y=2", "z="}));
  EXPECT_EQ(f.tree.setAttributeNode(f.b, x), 1);    // already on a
  EXPECT_EQ(f.tree.setAttributeNode(f.b, f.c), 1);  // not an attribute
  f.tree.freeNode(x);                               // a linked attribute is taken off its element
  EXPECT_EQ(attributeTexts(f.a), (std::vector<std::string>{"y=2", "z="}));
}

TEST(DomTree, NamedNodeMapItemLengthAndGetNamedItem) {
  Fixture f;
  f.tree.setAttribute(f.a, "id", "1");
  f.tree.setAttribute(f.a, "dlna:dlnaManaged", "4");
  DMSAppDomNamedNodeMap* map = f.tree.getAttributes(f.a);
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(f.tree.namedNodeMapLength(map), 2u);
  EXPECT_EQ(nameOf(f.tree.namedNodeMapItem(map, 0)), "id");
  EXPECT_EQ(nameOf(f.tree.namedNodeMapItem(map, 1)), "dlna:dlnaManaged");
  EXPECT_EQ(f.tree.namedNodeMapItem(map, 2), nullptr);
  EXPECT_EQ(str(f.tree.getNamedItem(map, "dlna:dlnaManaged")->nodeValue), "4");
  EXPECT_EQ(f.tree.getNamedItem(map, "dlnaManaged"), nullptr);
  DMSAppDomNamedNodeMap* empty = f.tree.getAttributes(f.b);
  EXPECT_EQ(f.tree.namedNodeMapLength(empty), 0u);
  EXPECT_EQ(f.tree.getAttributes(f.doc), nullptr);
  EXPECT_EQ(f.tree.namedNodeMapLength(nullptr), 0u);
  EXPECT_EQ(f.tree.namedNodeMapItem(nullptr, 0), nullptr);
  f.tree.freeNamedNodeMap(map);
  f.tree.freeNamedNodeMap(empty);
  f.tree.freeNamedNodeMap(nullptr);
}

TEST(DomTree, AllocationFailureLogsNotEnoughMomory) {
  LogCapture log;
  DMSAppMakeDomTreeClass tree;
  DMSAppDomNode* doc = tree.createDocument();
  tree.failAllocationsAfter(0);
  EXPECT_EQ(tree.createElement(doc, "x"), nullptr);
  EXPECT_TRUE(log.has("Not Enough Momory", 2));
  tree.failAllocationsAfter(1);  // the node succeeds, its name does not
  EXPECT_EQ(tree.createElement(doc, "x"), nullptr);
  EXPECT_EQ(log.count("Not Enough Momory"), 2u);
  tree.failAllocationsAfter(-1);
  tree.freeNode(doc);
  EXPECT_EQ(tree.allocationCount(), 0);
}

// Every allocation of a parse fails in turn: each run ends either with the
// whole tree or with nothing, and never leaks.
TEST(DomTree, ParseSurvivesEveryAllocationFailure) {
  LogCapture log;
  DMSAppMakeDomTreeClass tree;
  DMSAppEmXmlParser parser(&tree);
  bool parsed = false;
  long n = 0;
  for (; !parsed && n < 1000; ++n) {
    tree.failAllocationsAfter(n);
    DMSAppDomNode* doc = parser.parse(kDidlItem, strlen(kDidlItem));
    if (doc == nullptr) {
      EXPECT_EQ(tree.allocationCount(), 0) << "after " << n << " allocations";
      continue;
    }
    parsed = true;
    EXPECT_EQ(childNames(doc->firstChild), (std::vector<std::string>{"#text", "item", "#text"}));
    tree.freeNode(doc);
  }
  EXPECT_TRUE(parsed);
  EXPECT_GT(n, 20);  // the DIDL-Lite item needs dozens of allocations
  EXPECT_TRUE(log.has("Not Enough Momory", 2));
}

TEST(DomTree, FreeNodeHandlesVeryDeepTrees) {
  DMSAppMakeDomTreeClass tree;
  DMSAppDomNode* doc = tree.createDocument();
  DMSAppDomNode* parent = tree.createElement(doc, "top");
  tree.appendChild(doc, parent);
  for (int i = 0; i < 200000; ++i) {
    DMSAppDomNode* e = tree.createElement(doc, "e");
    ASSERT_EQ(tree.appendChild(parent, e), e);
    if (i % 2 == 0) tree.appendChild(parent, tree.createTextNode(doc, "t"));
    parent = e;
  }
  DMSAppDomNodeList* all = tree.getElementsByTagName(doc, "e");
  EXPECT_EQ(tree.nodeListLength(all), 200000u);
  tree.freeNodeList(all);
  tree.freeNode(doc);
  EXPECT_EQ(tree.allocationCount(), 0);
}
