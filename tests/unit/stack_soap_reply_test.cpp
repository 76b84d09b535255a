// How answers given to NUVDMSSendResponse become libupnp results or errors.
#include <gtest/gtest.h>

#include "action_result.h"
#include "soap_reply.h"

using dmsstack::interpretReply;
using dmsstack::printActionResult;
using dmsstack::SoapReply;

TEST(SoapReply, ResponseBodyIsTakenWithoutLeadingBlanksAndDeclaration) {
  SoapReply reply = interpretReply(
      "\r\n <?xml version=\"1.0\"?>\n<u:BrowseResponse xmlns:u=\"urn:x\"><Result>r</Result>"
      "</u:BrowseResponse>\n");
  EXPECT_EQ(reply.kind, SoapReply::Kind::Response);
  EXPECT_EQ(reply.responseXml,
            "<u:BrowseResponse xmlns:u=\"urn:x\"><Result>r</Result></u:BrowseResponse>");
}

TEST(SoapReply, FaultGivesCodeAndUnescapedDescription) {
  SoapReply reply = interpretReply(
      "<s:Fault><faultcode>s:Client</faultcode><faultstring>UPnPError</faultstring><detail>"
      "<UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\"><errorCode> 701 </errorCode>"
      "<errorDescription>No such object &amp; &lt;gone&gt;</errorDescription></UPnPError>"
      "</detail></s:Fault>");
  EXPECT_EQ(reply.kind, SoapReply::Kind::Fault);
  EXPECT_EQ(reply.errorCode, 701);
  EXPECT_EQ(reply.errorDescription, "No such object & <gone>");
}

TEST(SoapReply, FaultWithoutPrefixOrDescriptionGetsTheStandardText) {
  SoapReply reply = interpretReply(
      "<Fault><detail><UPnPError><errorCode>402</errorCode></UPnPError></detail>"
      "</Fault>");
  EXPECT_EQ(reply.kind, SoapReply::Kind::Fault);
  EXPECT_EQ(reply.errorCode, 402);
  EXPECT_EQ(reply.errorDescription, "Invalid Args");
}

TEST(SoapReply, FaultWithBadCodeIs501ActionFailed) {
  for (const char* code : {"", "abc", "99", "1000", "-701", "70 1"}) {
    SoapReply reply =
        interpretReply(std::string("<s:Fault><errorCode>") + code +
                       "</errorCode><errorDescription>x</errorDescription></s:Fault>");
    EXPECT_EQ(reply.kind, SoapReply::Kind::Fault) << code;
    EXPECT_EQ(reply.errorCode, 501) << code;
    EXPECT_EQ(reply.errorDescription, "Action Failed") << code;
  }
}

TEST(SoapReply, LongDescriptionIsCutAtACharacterBoundary) {
  std::string description;
  for (int i = 0; i < 200; ++i) description += "\xc3\xa9";  // 400 bytes
  SoapReply reply = interpretReply("<s:Fault><errorCode>720</errorCode><errorDescription>" +
                                   description + "</errorDescription></s:Fault>");
  EXPECT_EQ(reply.errorDescription.size(), 256u);
  EXPECT_EQ(reply.errorDescription, description.substr(0, 256));
}

TEST(SoapReply, EmptyOrElementlessBodyIsInvalid) {
  for (const char* body :
       {"", "   ", "text", "<?xml version=\"1.0\"?>", "</u:X>", "<!-- c -->", "<"}) {
    SoapReply reply = interpretReply(body);
    EXPECT_EQ(reply.kind, SoapReply::Kind::Invalid) << body;
    EXPECT_EQ(reply.errorCode, 501);
  }
}

TEST(ActionResult, ResponseIsReprintedWithTheSameContent) {
  std::string printed;
  ASSERT_TRUE(printActionResult(
      "<u:BrowseResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">"
      "<Result>&lt;DIDL-Lite&gt;&amp;amp;&lt;/DIDL-Lite&gt;</Result><NumberReturned>1"
      "</NumberReturned></u:BrowseResponse>",
      &printed));
  EXPECT_EQ(printed,
            "<u:BrowseResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">\r\n"
            "<Result>&lt;DIDL-Lite&gt;&amp;amp;&lt;/DIDL-Lite&gt;</Result>\r\n"
            "<NumberReturned>1</NumberReturned>\r\n"
            "</u:BrowseResponse>\r\n");
}

TEST(ActionResult, MalformedResponseIsRefused) {
  std::string printed = "untouched";
  EXPECT_FALSE(printActionResult("<u:X xmlns:u=\"urn:x\"><a></u:X>", &printed));
  EXPECT_FALSE(printActionResult("<u:X <broken", &printed));
  EXPECT_EQ(printed, "untouched");
}
