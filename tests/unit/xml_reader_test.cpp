// The cursor reader through its exported C functions (dms_xml.h).
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "dms_string.h"
#include "dms_xml.h"
#include "failing_allocations.h"

namespace {

struct ParserDeleter {
  void operator()(_XmlParser* p) const { DMSAppXmlParserDestroy(p); }
};
struct NodeDeleter {
  void operator()(_NodeXml* n) const { DMSAppXmlParserFreeNode(n); }
};
using ParserPtr = std::unique_ptr<_XmlParser, ParserDeleter>;
using NodePtr = std::unique_ptr<_NodeXml, NodeDeleter>;

// A string holding exactly these bytes, NULs included.
std::unique_ptr<DMSAppString> bytes(const std::string& s) {
  auto text = std::make_unique<DMSAppString>(static_cast<unsigned int>(s.size() + 1));
  memcpy(text->ReadString(), s.data(), s.size());
  text->SetStringLength(static_cast<unsigned int>(s.size()));
  return text;
}

ParserPtr parse(const std::string& xml) {
  return ParserPtr(DMSAppXmlParserGetDomMA(bytes(xml).get()));
}

NodePtr first(_XmlParser* p) { return NodePtr(DMSAppXmlParserGetFirstNode(p)); }
NodePtr next(_XmlParser* p) { return NodePtr(DMSAppXmlParserGetNextNode(p)); }
NodePtr child(_XmlParser* p) { return NodePtr(DMSAppXmlParserGetChildNode(p)); }

std::string str(const DMSAppString* s) {
  if (s == nullptr) return "<none>";
  return s->ReadString() == nullptr ? "<null buffer>" : std::string(s->ReadString());
}

std::string name(const NodePtr& n) { return n ? str(n->name) : "<none>"; }
std::string value(const NodePtr& n) { return n ? str(n->value) : "<none>"; }

std::string attribute(const NodePtr& n, const char* wanted) {
  DMSAppString key(wanted);
  return str(DMSAppXmlGetAttribute(n.get(), &key));
}

// "name=value" for every attribute slot up to the end slot.
std::vector<std::string> attributes(const NodePtr& n) {
  std::vector<std::string> out;
  for (const DMSAppXmlAttribute* a = n->attributes; a->name != nullptr; ++a) {
    out.push_back(str(a->name) + "=" + str(a->value));
  }
  return out;
}

// For pretty-printed documents: the first call may consume a white-space
// node, so a second call reaches the element after it.
NodePtr nextElement(_XmlParser* p) {
  NodePtr n = next(p);
  return n ? std::move(n) : next(p);
}
NodePtr childElement(_XmlParser* p) {
  NodePtr n = child(p);
  return n ? std::move(n) : next(p);
}

const char kDidlItem[] =
    "<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\" "
    "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
    "xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\" "
    "xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0/\">"
    "<item id=\"\" parentID=\"1\" restricted=\"0\">"
    "<dc:title>a &amp; b</dc:title>"
    "<upnp:class>object.item.imageItem.photo</upnp:class>"
    "<res protocolInfo=\"http-get:*:image/jpeg:*\" size=\"1234\"></res>"
    "</item></DIDL-Lite>";

const char kDeviceDescription[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<root xmlns=\"urn:schemas-upnp-org:device-1-0\" "
    "xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\">\n"
    "  <specVersion>\n    <major>1</major>\n    <minor>0</minor>\n  </specVersion>\n"
    "  <device>\n"
    "\t<deviceType>urn:schemas-upnp-org:device:MediaServer:1</deviceType>\n"
    "\t<dlna:X_DLNADOC xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\">DMS-1.50</dlna:X_DLNADOC>\n"
    "\t<friendlyName> [Camera] Test </friendlyName>\n"
    "\t<serviceList>\n"
    "\t\t<service>\n"
    "\t\t\t<serviceType>urn:schemas-upnp-org:service:ConnectionManager:1</serviceType>\n"
    "\t\t\t<serviceId>urn:upnp-org:serviceId:ConnectionManager</serviceId>\n"
    "\t\t\t<SCPDURL>/ConnectionManager_1.xml</SCPDURL>\n"
    "\t\t</service>\n"
    "\t\t<service>\n"
    "\t\t\t<serviceType>urn:schemas-upnp-org:service:ContentDirectory:1</serviceType>\n"
    "\t\t\t<serviceId>urn:upnp-org:serviceId:ContentDirectory</serviceId>\n"
    "\t\t\t<SCPDURL>/ContentDirectory_1.xml</SCPDURL>\n"
    "\t\t</service>\n"
    "\t</serviceList>\n"
    "\t<presentationURL>/</presentationURL>\n"
    "  </device>\n"
    "</root>\n";

}  // namespace

TEST(XmlReader, DidlItemNameAttributesAndValues) {
  ParserPtr p = parse(kDidlItem);
  ASSERT_TRUE(p);
  NodePtr item = first(p.get());
  ASSERT_TRUE(item);
  EXPECT_EQ(name(item), "item");
  EXPECT_EQ(attributes(item), (std::vector<std::string>{"id=", "parentID=1", "restricted=0"}));
  EXPECT_EQ(value(item), "");

  NodePtr title = child(p.get());
  EXPECT_EQ(name(title), "dc:title");
  EXPECT_EQ(value(title), "a & b");
  EXPECT_EQ(title->attributes[0].name, nullptr);
  EXPECT_EQ(title->attributes[0].value, nullptr);

  NodePtr cls = next(p.get());
  EXPECT_EQ(name(cls), "upnp:class");
  EXPECT_EQ(value(cls), "object.item.imageItem.photo");

  NodePtr res = next(p.get());
  EXPECT_EQ(name(res), "res");
  EXPECT_EQ(attribute(res, "protocolInfo"), "http-get:*:image/jpeg:*");
  EXPECT_EQ(attribute(res, "size"), "1234");
  ASSERT_NE(res->value, nullptr);
  EXPECT_EQ(value(res), "");

  EXPECT_FALSE(next(p.get()));
}

TEST(XmlReader, ValueTrimmedAtBothEnds) {
  ParserPtr p = parse("<r><a> \t\r\n hello  world \r\n\t </a><b>   </b></r>");
  ASSERT_TRUE(p);
  NodePtr a = first(p.get());
  EXPECT_EQ(value(a), "hello  world");
  EXPECT_EQ(a->value->GetStringLength(), 12u);
  NodePtr b = next(p.get());
  EXPECT_EQ(value(b), "");
  EXPECT_EQ(b->value->GetStringLength(), 0u);
}

TEST(XmlReader, EntitiesAndCharacterReferencesDecodedInTextAndAttributes) {
  ParserPtr p = parse(
      "<r><a v=\"&lt;&gt;&amp;&apos;&quot;&#65;&#x42;\">"
      "&lt;&gt;&amp;&apos;&quot;&#65;&#x42;&#xe9;&#x20AC;&#128512;</a></r>");
  ASSERT_TRUE(p);
  NodePtr a = first(p.get());
  EXPECT_EQ(attribute(a, "v"), "<>&'\"AB");
  EXPECT_EQ(value(a), "<>&'\"AB\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(XmlReader, CDataTakenAsTextWithoutDecoding) {
  ParserPtr p = parse("<r><a><![CDATA[ <b>&amp;</b> ]]></a></r>");
  ASSERT_TRUE(p);
  EXPECT_EQ(value(first(p.get())), "<b>&amp;</b>");
}

TEST(XmlReader, TextAroundCommentMergesIntoOneValue) {
  ParserPtr p = parse("<r><a>x<!-- note -->y<?pi data?>z<![CDATA[!]]></a></r>");
  ASSERT_TRUE(p);
  NodePtr a = first(p.get());
  EXPECT_EQ(value(a), "xyz!");
  EXPECT_FALSE(child(p.get()));  // the one text child holds it all
  EXPECT_FALSE(next(p.get()));
}

TEST(XmlReader, MixedContentValueIsFirstText) {
  ParserPtr p = parse("<r><a> x <b>inner</b> y </a></r>");
  ASSERT_TRUE(p);
  EXPECT_EQ(value(first(p.get())), "x");
}

TEST(XmlReader, PrologCommentsAndProcessingInstructionsSkipped) {
  ParserPtr p = parse(
      "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- head -->\n<?style sheet?>"
      "<r><!-- inside --><a>1</a></r>\n<!-- tail -->\n");
  ASSERT_TRUE(p);
  NodePtr a = first(p.get());
  EXPECT_EQ(name(a), "a");
  EXPECT_EQ(value(a), "1");
}

TEST(XmlReader, SingleAndDoubleQuotedAttributes) {
  ParserPtr p = parse("<r><a one='x \"y\"' two=\"it's\" three = 'z' four='a\tb\nc'/></r>");
  ASSERT_TRUE(p);
  NodePtr a = first(p.get());
  EXPECT_EQ(attributes(a),
            (std::vector<std::string>{"one=x \"y\"", "two=it's", "three=z", "four=a b c"}));
}

TEST(XmlReader, NamespacePrefixesKeptInNames) {
  ParserPtr p = parse("<a:r xmlns:a=\"urn:a\"><dc:title>t</dc:title><upnp:class/></a:r>");
  ASSERT_TRUE(p);
  EXPECT_EQ(name(first(p.get())), "dc:title");
  EXPECT_EQ(name(next(p.get())), "upnp:class");
}

TEST(XmlReader, WhitespaceTextNodeSkippedByGetNextNode) {
  ParserPtr p = parse("<r><a/>\n  <b/>\n  <c/>\n</r>");
  ASSERT_TRUE(p);
  EXPECT_EQ(name(first(p.get())), "a");
  EXPECT_FALSE(next(p.get()));  // lands on the white space
  EXPECT_EQ(name(next(p.get())), "b");
  EXPECT_FALSE(next(p.get()));
  EXPECT_EQ(name(next(p.get())), "c");
  EXPECT_FALSE(next(p.get()));  // trailing white space
  EXPECT_FALSE(next(p.get()));  // end of the siblings
  EXPECT_FALSE(next(p.get()));
}

TEST(XmlReader, WhitespaceTextNodeSkippedByGetFirstNodeAndGetChildNode) {
  ParserPtr p = parse("<r>\n <a>\n  <x>1</x>\n </a>\n</r>");
  ASSERT_TRUE(p);
  EXPECT_FALSE(first(p.get()));
  EXPECT_EQ(name(next(p.get())), "a");
  EXPECT_FALSE(child(p.get()));
  NodePtr x = next(p.get());
  EXPECT_EQ(name(x), "x");
  EXPECT_EQ(value(x), "1");
}

TEST(XmlReader, DeviceDescriptionNavigation) {
  ParserPtr p = parse(kDeviceDescription);
  ASSERT_TRUE(p);
  EXPECT_FALSE(first(p.get()));  // white space after <root>
  NodePtr version = next(p.get());
  EXPECT_EQ(name(version), "specVersion");
  NodePtr major = childElement(p.get());
  EXPECT_EQ(name(major), "major");
  EXPECT_EQ(value(major), "1");
  EXPECT_EQ(value(nextElement(p.get())), "0");
  EXPECT_FALSE(nextElement(p.get()));  // past minor
  ASSERT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);

  NodePtr device = nextElement(p.get());
  EXPECT_EQ(name(device), "device");
  EXPECT_EQ(value(childElement(p.get())), "urn:schemas-upnp-org:device:MediaServer:1");
  NodePtr doc = nextElement(p.get());
  EXPECT_EQ(name(doc), "dlna:X_DLNADOC");
  EXPECT_EQ(value(doc), "DMS-1.50");
  EXPECT_EQ(attribute(doc, "xmlns:dlna"), "urn:schemas-dlna-org:device-1-0");
  EXPECT_EQ(value(nextElement(p.get())), "[Camera] Test");
  EXPECT_EQ(name(nextElement(p.get())), "serviceList");

  EXPECT_EQ(name(childElement(p.get())), "service");
  EXPECT_EQ(value(childElement(p.get())), "urn:schemas-upnp-org:service:ConnectionManager:1");
  EXPECT_EQ(value(nextElement(p.get())), "urn:upnp-org:serviceId:ConnectionManager");
  EXPECT_EQ(value(nextElement(p.get())), "/ConnectionManager_1.xml");
  EXPECT_FALSE(nextElement(p.get()));
  ASSERT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);  // back on the first service

  EXPECT_EQ(name(nextElement(p.get())), "service");
  EXPECT_EQ(value(childElement(p.get())), "urn:schemas-upnp-org:service:ContentDirectory:1");
  EXPECT_EQ(value(nextElement(p.get())), "urn:upnp-org:serviceId:ContentDirectory");
  ASSERT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);  // second service
  EXPECT_FALSE(nextElement(p.get()));
  ASSERT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);  // serviceList

  NodePtr presentation = nextElement(p.get());
  EXPECT_EQ(name(presentation), "presentationURL");
  EXPECT_EQ(value(presentation), "/");
  ASSERT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);  // device
  EXPECT_FALSE(nextElement(p.get()));
}

TEST(XmlReader, AttributeContainingAnotherNameFirstInDocumentOrderWins) {
  ParserPtr p = parse(
      "<r><item dlna:dlnaManaged=\"4\" x:dlnaManaged=\"9\"/>"
      "<item parentID=\"5\" id=\"7\"/><item id=\"7\" parentID=\"5\"/></r>");
  ASSERT_TRUE(p);
  NodePtr managed = first(p.get());
  EXPECT_EQ(attribute(managed, "dlnaManaged"), "4");
  EXPECT_EQ(attribute(managed, "x:dlnaManaged"), "9");
  EXPECT_EQ(attribute(next(p.get()), "id"), "5");  // "parentID" contains "ID"
  EXPECT_EQ(attribute(next(p.get()), "id"), "7");
}

TEST(XmlReader, AttributeLookupIgnoresCase) {
  ParserPtr p = parse(kDidlItem);
  ASSERT_TRUE(p);
  NodePtr item = first(p.get());
  EXPECT_EQ(attribute(item, "Restricted"), "0");
  EXPECT_EQ(attribute(item, "PARENTID"), "1");
}

TEST(XmlReader, AttributeLookupWithoutMatchReturnsNone) {
  ParserPtr p = parse("<r><a x=\"1\"/><b/></r>");
  ASSERT_TRUE(p);
  NodePtr a = first(p.get());
  EXPECT_EQ(attribute(a, "y"), "<none>");
  EXPECT_EQ(attribute(a, "xx"), "<none>");
  EXPECT_EQ(attribute(a, ""), "<none>");
  NodePtr b = next(p.get());
  EXPECT_EQ(b->attributes[0].name, nullptr);
  EXPECT_EQ(attribute(b, "x"), "<none>");
}

TEST(XmlReader, NextPastLastSiblingReturnsNoneUntilStepBack) {
  ParserPtr p = parse("<r><a><x/></a><b><c/></b></r>");
  ASSERT_TRUE(p);
  EXPECT_EQ(name(first(p.get())), "a");
  EXPECT_EQ(name(child(p.get())), "x");
  EXPECT_FALSE(next(p.get()));
  EXPECT_FALSE(next(p.get()));
  EXPECT_FALSE(child(p.get()));                                // the cursor is off the tree
  EXPECT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);  // a
  EXPECT_EQ(name(next(p.get())), "b");
  EXPECT_EQ(name(child(p.get())), "c");
}

TEST(XmlReader, ChildOfChildlessNodeReturnsNoneAndStepBackReturnsToIt) {
  ParserPtr p = parse("<r><a/><b/></r>");
  ASSERT_TRUE(p);
  EXPECT_EQ(name(first(p.get())), "a");
  EXPECT_FALSE(child(p.get()));
  EXPECT_FALSE(next(p.get()));  // not a's sibling: below a there is nothing
  EXPECT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);
  EXPECT_EQ(name(next(p.get())), "b");
}

TEST(XmlReader, ChildlessAndTextOnlyElementsTellApartByTheNextCall) {
  ParserPtr p = parse("<r><a/><b>text</b><c> <x/></c></r>");
  ASSERT_TRUE(p);
  EXPECT_EQ(name(first(p.get())), "a");
  EXPECT_FALSE(child(p.get()));
  EXPECT_FALSE(next(p.get()));
  DMSAppXmlParserStepBackToParentNode(p.get());
  EXPECT_EQ(name(next(p.get())), "b");
  EXPECT_FALSE(child(p.get()));  // lands on the text
  EXPECT_FALSE(next(p.get()));   // and nothing follows it
  DMSAppXmlParserStepBackToParentNode(p.get());
  EXPECT_EQ(name(next(p.get())), "c");
  EXPECT_FALSE(child(p.get()));  // lands on the white space
  EXPECT_EQ(name(next(p.get())), "x");
}

TEST(XmlReader, StepBackClimbsToDocumentElementThenStops) {
  ParserPtr p = parse("<r><a><x/><y/></a><b/></r>");
  ASSERT_TRUE(p);
  EXPECT_EQ(name(first(p.get())), "a");
  EXPECT_EQ(name(child(p.get())), "x");
  EXPECT_EQ(name(next(p.get())), "y");
  EXPECT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);  // a
  EXPECT_EQ(name(next(p.get())), "b");
  EXPECT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);  // r
  EXPECT_FALSE(next(p.get()));
  EXPECT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);  // the document
  EXPECT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 1);  // nothing above
  EXPECT_EQ(name(child(p.get())), "r");
  EXPECT_EQ(name(child(p.get())), "a");
}

TEST(XmlReader, GetFirstNodeRestartsFromTheTop) {
  ParserPtr p = parse("<r><a><x/></a><b/></r>");
  ASSERT_TRUE(p);
  EXPECT_EQ(name(first(p.get())), "a");
  EXPECT_EQ(name(child(p.get())), "x");
  EXPECT_EQ(name(first(p.get())), "a");
  EXPECT_EQ(name(next(p.get())), "b");
}

TEST(XmlReader, ChildlessDocumentElementHasNoFirstNode) {
  for (const char* xml : {"<DIDL-Lite/>", "<DIDL-Lite></DIDL-Lite>"}) {
    SCOPED_TRACE(xml);
    ParserPtr p = parse(xml);
    ASSERT_TRUE(p);
    EXPECT_FALSE(first(p.get()));
    EXPECT_FALSE(next(p.get()));
    EXPECT_EQ(DMSAppXmlParserStepBackToParentNode(p.get()), 0);
    EXPECT_FALSE(next(p.get()));  // the document element has no sibling
  }
}

TEST(XmlReader, NodeRecordOutlivesHandleAndInputCopied) {
  std::unique_ptr<DMSAppString> text = bytes("<r><a k=\"v\">text</a></r>");
  ParserPtr p(DMSAppXmlParserGetDomMA(text.get()));
  ASSERT_TRUE(p);
  memset(text->ReadString(), 'X', text->GetStringLength());  // the handle kept its own copy
  NodePtr a = first(p.get());
  p.reset();
  EXPECT_EQ(name(a), "a");
  EXPECT_EQ(value(a), "text");
  EXPECT_EQ(attribute(a, "k"), "v");
}

TEST(XmlReader, NullArgumentsRefused) {
  EXPECT_EQ(DMSAppXmlParserGetDomMA(nullptr), nullptr);
  DMSAppString nullBuffer(static_cast<const char*>(nullptr));
  EXPECT_EQ(DMSAppXmlParserGetDomMA(&nullBuffer), nullptr);
  DMSAppString empty("");
  EXPECT_EQ(DMSAppXmlParserGetDomMA(&empty), nullptr);
  EXPECT_EQ(DMSAppXmlParserGetFirstNode(nullptr), nullptr);
  EXPECT_EQ(DMSAppXmlParserGetNextNode(nullptr), nullptr);
  EXPECT_EQ(DMSAppXmlParserGetChildNode(nullptr), nullptr);
  EXPECT_EQ(DMSAppXmlParserStepBackToParentNode(nullptr), 1);
  DMSAppXmlParserFreeNode(nullptr);
  DMSAppXmlParserDestroy(nullptr);
  DMSAppString key("id");
  EXPECT_EQ(DMSAppXmlGetAttribute(nullptr, &key), nullptr);

  ParserPtr p = parse(kDidlItem);
  ASSERT_TRUE(p);
  NodePtr item = first(p.get());
  ASSERT_TRUE(item);
  EXPECT_EQ(DMSAppXmlGetAttribute(item.get(), nullptr), nullptr);
  EXPECT_EQ(DMSAppXmlGetAttribute(item.get(), &nullBuffer), nullptr);
  EXPECT_EQ(str(DMSAppXmlGetAttribute(item.get(), &key)), "");
}

// ---- Refused input ---------------------------------------------------------

namespace {

struct BadInput {
  const char* label;
  std::string xml;
};

class XmlReaderRefuses : public ::testing::TestWithParam<BadInput> {};

std::string labelOf(const ::testing::TestParamInfo<BadInput>& info) { return info.param.label; }

// Whichever allocation fails while a document is parsed, the call gives
// null (or the whole tree) and leaks nothing (ASan). The results are short
// strings, which the test's own code can hold without allocating.
TEST(XmlReader, AllocationFailureWhileParsingGivesNull) {
  const std::string didl =
      "<DIDL-Lite><item id=\"1\" parentID=\"0\"><dc:title>A title long enough to allocate"
      "</dc:title><res protocolInfo=\"http-get:*:image/jpeg:*\">http://x/y</res></item>"
      "</DIDL-Lite>";
  const std::unique_ptr<DMSAppString> input = bytes(didl);
  const int points = failing_allocations::sweep(
      [&] {
        ParserPtr p(DMSAppXmlParserGetDomMA(input.get()));
        if (p == nullptr) return std::string("(null)");
        NodePtr n = first(p.get());
        return n != nullptr ? str(n->name) : std::string("(no node)");
      },
      [](const std::string& first, bool failed) {
        EXPECT_TRUE(first == "item" || failed) << first;
      });
  EXPECT_GT(points, 0);
}

}  // namespace

TEST_P(XmlReaderRefuses, Input) { EXPECT_FALSE(parse(GetParam().xml)); }

INSTANTIATE_TEST_SUITE_P(
    Malformed, XmlReaderRefuses,
    ::testing::Values(
        BadInput{"OnlyWhiteSpace", " \n\t "},
        BadInput{"OnlyDeclaration", "<?xml version=\"1.0\"?>"}, BadInput{"Garbage", "hello world"},
        BadInput{"BinaryGarbage", "\x01\x02\xff<a/>"}, BadInput{"MismatchedTags", "<a><b></a></b>"},
        BadInput{"WrongEndTag", "<a></b>"}, BadInput{"UnclosedElement", "<a><b/>"},
        BadInput{"UnclosedChild", "<a><b></a>"}, BadInput{"StrayEndTag", "</a>"},
        BadInput{"EmptyTag", "<>"}, BadInput{"TruncatedInTag", "<a b=\"1\""},
        BadInput{"TruncatedInName", "<a><b"}, BadInput{"TruncatedInValue", "<a b=\"1"},
        BadInput{"TruncatedInEndTag", "<a></a"}, BadInput{"AttributeWithoutValue", "<a b/>"},
        BadInput{"AttributeWithoutEquals", "<a b \"1\"/>"},
        BadInput{"UnquotedAttribute", "<a b=1/>"},
        BadInput{"DuplicateAttribute", "<a b=\"1\" b=\"2\"/>"},
        BadInput{"AttributesNotSeparated", "<a b=\"1\"c=\"2\"/>"},
        BadInput{"LessThanInAttribute", "<a b=\"<\"/>"}, BadInput{"TextBeforeRoot", "x<a/>"},
        BadInput{"TextAfterRoot", "<a/>x"}, BadInput{"SecondRoot", "<a/><b/>"},
        BadInput{"CDataOutsideRoot", "<a/><![CDATA[x]]>"},
        BadInput{"UndeclaredEntity", "<a>&nbsp;</a>"}, BadInput{"BareAmpersand", "<a>a & b</a>"},
        BadInput{"UnterminatedReference", "<a>&amp</a>"}, BadInput{"ReferenceToNul", "<a>&#0;</a>"},
        BadInput{"ReferenceBeyondUnicode", "<a>&#x110000;</a>"},
        BadInput{"ReferenceToSurrogate", "<a>&#xD800;</a>"},
        BadInput{"ReferenceWithoutDigits", "<a>&#x;</a>"},
        BadInput{"HugeReference", "<a>&#99999999999999999999;</a>"},
        BadInput{"NulByteInText", std::string("<a>x\0y</a>", 10)},
        BadInput{"ControlByteInText", "<a>\x01</a>"}, BadInput{"CDataEndInText", "<a>]]></a>"},
        BadInput{"Doctype", "<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>"},
        BadInput{"UnterminatedComment", "<a><!-- x</a>"},
        BadInput{"UnterminatedCData", "<a><![CDATA[x</a>"},
        BadInput{"UnterminatedProcessingInstruction", "<a><?pi x</a>"},
        BadInput{"ProcessingInstructionWithoutTarget", "<a><? x?></a>"},
        BadInput{"NameStartingWithDigit", "<1a/>"}, BadInput{"SpaceBeforeName", "< a/>"}),
    labelOf);

TEST(XmlReader, EveryTruncationOfDidlItemReturnsNone) {
  const std::string xml = kDidlItem;
  ASSERT_TRUE(parse(xml));
  for (size_t n = 1; n < xml.size(); ++n) {
    EXPECT_FALSE(parse(xml.substr(0, n))) << "prefix of " << n << " bytes";
  }
}

TEST(XmlReader, NestingUpToSixtyFourLevelsParsesDeeperReturnsNone) {
  auto nested = [](int levels) {
    std::string xml;
    for (int i = 0; i < levels; ++i) xml += "<a>";
    for (int i = 0; i < levels; ++i) xml += "</a>";
    return xml;
  };
  ParserPtr p = parse(nested(64));
  ASSERT_TRUE(p);
  // Walk down to the deepest element: 63 below the document element.
  int depth = 1;
  for (NodePtr n = first(p.get()); n; n = child(p.get())) ++depth;
  EXPECT_EQ(depth, 64);
  EXPECT_FALSE(parse(nested(65)));
  EXPECT_FALSE(parse(nested(100000)));  // refused without exhausting the stack
}

TEST(XmlReader, InputBeyondOneMebibyteReturnsNone) {
  const size_t limit = 1024 * 1024;
  std::string xml = "<a>";
  xml.append(limit - 7, ' ');
  xml += "</a>";
  ASSERT_EQ(xml.size(), limit);
  EXPECT_TRUE(parse(xml));
  xml.insert(3, " ");
  EXPECT_FALSE(parse(xml));
}

TEST(XmlReader, NodeCountBeyondLimitReturnsNone) {
  auto wide = [](int children) {
    std::string xml = "<r>";
    for (int i = 0; i < children; ++i) xml += "<a/>";
    return xml + "</r>";
  };
  EXPECT_TRUE(parse(wide(16383)));  // with the document element: 16384 nodes
  EXPECT_FALSE(parse(wide(16384)));
}

TEST(XmlReader, AttributesPerElementBeyondLimitReturnsNone) {
  auto element = [](int count) {
    std::string xml = "<r";
    for (int i = 0; i < count; ++i) xml += " a" + std::to_string(i) + "=\"\"";
    return xml + "/>";
  };
  EXPECT_TRUE(parse(element(128)));
  EXPECT_FALSE(parse(element(129)));
}
