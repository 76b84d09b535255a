#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "dms_string.h"
#include "soap_message.h"

TEST(SOAPAppMessage, NewMessageHasNoBody) {
  SOAPAppMessage message;
  EXPECT_EQ(message.ReadSOAPBody(), nullptr);
  EXPECT_EQ(message.GetBodyLength(), 0u);
}

TEST(SOAPAppMessage, EnvelopeHeadAndTailAreExact) {
  SOAPAppMessage message;
  const std::string head =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope "
      "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
      "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\r\n<s:Body>\r\n";
  const std::string tail = "\r\n</s:Body>\r\n</s:Envelope>";
  ASSERT_NE(message.envelopeHead(), nullptr);
  ASSERT_NE(message.envelopeTail(), nullptr);
  EXPECT_EQ(message.envelopeHead(), head);
  EXPECT_EQ(message.envelopeHeadLength(), head.size());
  EXPECT_EQ(message.envelopeTail(), tail);
  EXPECT_EQ(message.envelopeTailLength(), tail.size());
}

TEST(SOAPAppMessage, SetBodyStoresAnIndependentCopyAndItsLength) {
  SOAPAppMessage message;
  DMSAppString body("<u:XResponse>\r\n</u:XResponse>");
  ASSERT_EQ(message.SetSOAPBody(&body), 0);
  body.Copy("changed");
  EXPECT_STREQ(message.ReadSOAPBody(), "<u:XResponse>\r\n</u:XResponse>");
  EXPECT_EQ(message.GetBodyLength(), strlen("<u:XResponse>\r\n</u:XResponse>"));
}

TEST(SOAPAppMessage, SetBodyReplacesThePreviousBody) {
  SOAPAppMessage message;
  DMSAppString first("a rather long first body");
  DMSAppString second("short");
  ASSERT_EQ(message.SetSOAPBody(&first), 0);
  ASSERT_EQ(message.SetSOAPBody(&second), 0);
  EXPECT_STREQ(message.ReadSOAPBody(), "short");
  EXPECT_EQ(message.GetBodyLength(), 5u);
}

TEST(SOAPAppMessage, NullBodyIsRefusedAndTheOldBodyKept) {
  SOAPAppMessage message;
  DMSAppString body("kept");
  ASSERT_EQ(message.SetSOAPBody(&body), 0);
  EXPECT_EQ(message.SetSOAPBody(nullptr), 1);
  EXPECT_STREQ(message.ReadSOAPBody(), "kept");
}

TEST(SOAPAppMessage, EmptyBodyIsStoredAsEmptyText) {
  SOAPAppMessage message;
  DMSAppString body("");
  ASSERT_EQ(message.SetSOAPBody(&body), 0);
  ASSERT_NE(message.ReadSOAPBody(), nullptr);
  EXPECT_STREQ(message.ReadSOAPBody(), "");
  EXPECT_EQ(message.GetBodyLength(), 0u);
}

TEST(SOAPAppMessage, BytesThatAreNotUtf8PassThroughUnchanged) {
  SOAPAppMessage message;
  DMSAppString body("\xff\xfe<a>\xc3\x28</a>");
  ASSERT_EQ(message.SetSOAPBody(&body), 0);
  EXPECT_STREQ(message.ReadSOAPBody(), "\xff\xfe<a>\xc3\x28</a>");
  EXPECT_EQ(message.GetBodyLength(), 11u);
}
