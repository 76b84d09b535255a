// How answers given to NUVDMSSendResponse go on the wire.
#include <gtest/gtest.h>

#include "soap_reply.h"

using dmsstack::faultBody;
using dmsstack::interpretReply;
using dmsstack::soapEnvelope;
using dmsstack::SoapReply;

TEST(SoapReply, ResponseBodyIsTakenWithoutLeadingBlanksAndDeclaration) {
  SoapReply reply = interpretReply(
      "\r\n <?xml version=\"1.0\"?>\n<u:BrowseResponse xmlns:u=\"urn:x\"><Result>r</Result>"
      "</u:BrowseResponse>\n");
  EXPECT_EQ(reply.kind, SoapReply::Kind::Response);
  EXPECT_EQ(reply.xml, "<u:BrowseResponse xmlns:u=\"urn:x\"><Result>r</Result></u:BrowseResponse>");
}

TEST(SoapReply, FaultGivesItsCode) {
  SoapReply reply = interpretReply(
      "<s:Fault><faultcode>s:Client</faultcode><faultstring>UPnPError</faultstring><detail>"
      "<UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\"><errorCode> 701 </errorCode>"
      "<errorDescription>No such object &amp; &lt;gone&gt;</errorDescription></UPnPError>"
      "</detail></s:Fault>");
  EXPECT_EQ(reply.kind, SoapReply::Kind::Fault);
  EXPECT_EQ(reply.errorCode, 701);
}

TEST(SoapReply, FaultWithoutPrefixOrDescriptionIsKept) {
  SoapReply reply = interpretReply(
      "<Fault><detail><UPnPError><errorCode>402</errorCode></UPnPError></detail>"
      "</Fault>");
  EXPECT_EQ(reply.kind, SoapReply::Kind::Fault);
  EXPECT_EQ(reply.errorCode, 402);
  EXPECT_EQ(reply.xml,
            "<Fault><detail><UPnPError><errorCode>402</errorCode></UPnPError></detail>"
            "</Fault>");
}

TEST(SoapReply, FaultWithBadCodeIs501ActionFailed) {
  for (const char* code : {"", "abc", "99", "1000", "-701", "70 1"}) {
    SoapReply reply =
        interpretReply(std::string("<s:Fault><errorCode>") + code +
                       "</errorCode><errorDescription>x</errorDescription></s:Fault>");
    EXPECT_EQ(reply.kind, SoapReply::Kind::Fault) << code;
    EXPECT_EQ(reply.errorCode, 501) << code;
    EXPECT_EQ(reply.xml, faultBody(501, "Action Failed")) << code;
  }
}

TEST(SoapReply, EmptyOrElementlessBodyIsInvalid) {
  for (const char* body :
       {"", "   ", "text", "<?xml version=\"1.0\"?>", "</u:X>", "<!-- c -->", "<"}) {
    SoapReply reply = interpretReply(body);
    EXPECT_EQ(reply.kind, SoapReply::Kind::Invalid) << body;
    EXPECT_EQ(reply.errorCode, 501);
  }
}

TEST(SoapReply, FaultGoesOutAsTheMediaServerWroteIt) {
  const std::string fault =
      "<s:Fault>\r\n<faultcode>s:Client</faultcode>\r\n<faultstring>UPnPError</faultstring>\r\n"
      "<detail>\r\n<UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\">\r\n"
      "<errorCode>701\r\n</errorCode>\r\n<errorDescription>No such object\r\n"
      "</errorDescription>\r\n</UPnPError>\r\n</detail>\r\n</s:Fault>";
  SoapReply reply = interpretReply("\n" + fault + "\n");
  EXPECT_EQ(reply.kind, SoapReply::Kind::Fault);
  EXPECT_EQ(reply.errorCode, 701);
  EXPECT_EQ(reply.xml, fault);
}

TEST(SoapReply, ResponseBytesAreKeptExactly) {
  const std::string body =
      "<u:BrowseResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">"
      "<Result>&lt;DIDL-Lite&gt;&amp;amp;&lt;/DIDL-Lite&gt;</Result><NumberReturned>1"
      "</NumberReturned>\r\n</u:BrowseResponse>";
  SoapReply reply = interpretReply(body);
  EXPECT_EQ(reply.kind, SoapReply::Kind::Response);
  EXPECT_EQ(reply.xml, body);
}

TEST(SoapReply, ResponseThatDoesNotCloseItsElementIsInvalid) {
  for (const char* body :
       {"<u:X <broken", "<u:X xmlns:u=\"urn:x\"><a>", "<u:X xmlns:u=\"urn:x\"><a></u:Y>",
        "<u:X xmlns:u=\"urn:x\"></u:X> trailing", "<u:X", "<u:X>"}) {
    EXPECT_EQ(interpretReply(body).kind, SoapReply::Kind::Invalid) << body;
  }
  EXPECT_EQ(interpretReply("<u:X xmlns:u=\"urn:x\"/>").kind, SoapReply::Kind::Response);
  EXPECT_EQ(interpretReply("<u:X xmlns:u=\"urn:x\"></u:X >").kind, SoapReply::Kind::Response);
}

TEST(SoapReply, StacksFaultEscapesItsDescription) {
  EXPECT_EQ(faultBody(606, "a<b&c"),
            "<s:Fault><faultcode>s:Client</faultcode><faultstring>UPnPError</faultstring>"
            "<detail><UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\"><errorCode>606"
            "</errorCode><errorDescription>a&lt;b&amp;c</errorDescription></UPnPError></detail>"
            "</s:Fault>");
}

TEST(SoapReply, EnvelopeWrapsTheBodyWithCrLfs) {
  EXPECT_EQ(soapEnvelope("<u:X/>"),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope "
            "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
            "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\r\n<s:Body>\r\n"
            "<u:X/>\r\n</s:Body>\r\n</s:Envelope>");
}
