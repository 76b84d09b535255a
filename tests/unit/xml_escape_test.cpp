#include <gtest/gtest.h>

#include "xml_escape.h"

TEST(EscapeXmlText, EscapesTheFiveReservedCharacters) {
  EXPECT_EQ(dms::EscapeXmlText("a&b<c>d\"e'f"), "a&amp;b&lt;c&gt;d&quot;e&apos;f");
}

TEST(EscapeXmlText, KeepsOtherBytesAndControlCharacters) {
  EXPECT_EQ(dms::EscapeXmlText("plain \t\xc3\xa9"), "plain \t\xc3\xa9");
}

TEST(EscapeXmlText, NullAndEmptyGiveEmpty) {
  EXPECT_EQ(dms::EscapeXmlText(nullptr), "");
  EXPECT_EQ(dms::EscapeXmlText(""), "");
}

TEST(EscapeXmlText, OnlyQuotesAreNotRefused) {
  EXPECT_EQ(dms::EscapeXmlText("\"'"), "&quot;&apos;");
}
