// Escaping and leaf-element rewrites of XML kept as text.
#include <gtest/gtest.h>

#include "xml_text.h"

using dmsstack::elementText;
using dmsstack::escapeXml;
using dmsstack::findElement;
using dmsstack::replaceElementText;
using dmsstack::unescapeXml;

TEST(XmlText, EscapesTheFiveSpecialCharacters) {
  EXPECT_EQ(escapeXml("a<b>&\"c'"), "a&lt;b&gt;&amp;&quot;c&apos;");
  EXPECT_EQ(escapeXml(""), "");
}

TEST(XmlText, UnescapesEntitiesAndCharacterReferences) {
  EXPECT_EQ(unescapeXml("&lt;a&gt; &amp;amp; &quot;&apos;"), "<a> &amp; \"'");
  EXPECT_EQ(unescapeXml("&#65;&#x42;&#xe9;"), "AB\xc3\xa9");
  EXPECT_EQ(unescapeXml("&#x1F600;"), "\xf0\x9f\x98\x80");
}

TEST(XmlText, KeepsUnknownOrBrokenReferences) {
  EXPECT_EQ(unescapeXml("&nbsp; & &#; &#xD800; &#0; &lt"), "&nbsp; & &#; &#xD800; &#0; &lt");
}

TEST(XmlText, FindsElementByLocalNameSkippingCommentsAndDeclarations) {
  const std::string doc =
      "<?xml version=\"1.0\"?><!-- <UDN>no</UDN> --><r><d:UDN a=\"x>y\">uuid:1</d:UDN></r>";
  EXPECT_EQ(elementText(doc, "UDN"), "uuid:1");
  dmsstack::ElementSpan span = findElement(doc, "UDN");
  ASSERT_TRUE(span.found);
  EXPECT_EQ(span.qualifiedName, "d:UDN");
  EXPECT_FALSE(span.selfClosing);
}

TEST(XmlText, DoesNotTakeALongerNameForTheWantedOne) {
  EXPECT_EQ(elementText("<r><serviceList><service>s</service></serviceList></r>", "service"), "s");
  EXPECT_EQ(elementText("<r><UDNx>no</UDNx></r>", "UDN"), "");
}

TEST(XmlText, ReplacesContentKeepingEveryOtherByte) {
  const std::string doc = "<r>\n\t<friendlyName>Old</friendlyName>\n\t<UDN></UDN>\n</r>\n";
  std::string out;
  ASSERT_TRUE(replaceElementText(doc, "UDN", "uuid:9", &out));
  EXPECT_EQ(out, "<r>\n\t<friendlyName>Old</friendlyName>\n\t<UDN>uuid:9</UDN>\n</r>\n");
  ASSERT_TRUE(replaceElementText(out, "friendlyName", "New &amp; more", &out));
  EXPECT_EQ(out, "<r>\n\t<friendlyName>New &amp; more</friendlyName>\n\t<UDN>uuid:9</UDN>\n</r>\n");
}

TEST(XmlText, ExpandsASelfClosingElement) {
  std::string out;
  ASSERT_TRUE(replaceElementText("<r><UDN/></r>", "UDN", "uuid:1", &out));
  EXPECT_EQ(out, "<r><UDN>uuid:1</UDN></r>");
}

TEST(XmlText, MissingOrUnterminatedElementIsNotReplaced) {
  std::string out = "untouched";
  EXPECT_FALSE(replaceElementText("<r></r>", "UDN", "x", &out));
  EXPECT_FALSE(replaceElementText("<r><UDN>abc", "UDN", "x", &out));
  EXPECT_FALSE(replaceElementText("<r><UDN", "UDN", "x", &out));
  EXPECT_EQ(out, "untouched");
}
