// Reading SOAP action requests: the envelope and the SOAPACTION header.
#include <gtest/gtest.h>

#include <string>

#include "soap_request.h"

using dmsstack::parseSoapActionHeader;
using dmsstack::parseSoapRequest;
using dmsstack::SoapParse;
using dmsstack::SoapRequest;

namespace {

const char kCds[] = "urn:schemas-upnp-org:service:ContentDirectory:1";

std::string envelope(const std::string& inner, const std::string& header = "") {
  return "<?xml version=\"1.0\"?><s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/"
         "envelope/\" s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">" +
         header + "<s:Body>" + inner + "</s:Body></s:Envelope>";
}

}  // namespace

TEST(SoapRequest, ActionServiceAndArgumentsInOrderWithEntitiesResolved) {
  SoapRequest request;
  ASSERT_EQ(parseSoapRequest(envelope(std::string("<u:Browse xmlns:u=\"") + kCds +
                                      "\"><ObjectID>0&amp;1</ObjectID>\n<BrowseFlag>"
                                      "BrowseMetadata</BrowseFlag><Filter> * </Filter>"
                                      "<SortCriteria/></u:Browse>"),
                             32, &request),
            SoapParse::Ok);
  EXPECT_EQ(request.action, "Browse");
  EXPECT_EQ(request.serviceType, kCds);
  ASSERT_EQ(request.arguments.size(), 4u);
  EXPECT_EQ(request.arguments[0], (std::pair<std::string, std::string>("ObjectID", "0&1")));
  EXPECT_EQ(request.arguments[1].first, "BrowseFlag");
  EXPECT_EQ(request.arguments[2].second, " * ");
  EXPECT_EQ(request.arguments[3], (std::pair<std::string, std::string>("SortCriteria", "")));
}

TEST(SoapRequest, HeaderBeforeTheBodyIsSkippedAndCdataKept) {
  SoapRequest request;
  ASSERT_EQ(parseSoapRequest(envelope("<u:A xmlns:u=\"urn:x\"><v><![CDATA[<b>&]]></v></u:A>",
                                      "<s:Header><t>1</t></s:Header>"),
                             32, &request),
            SoapParse::Ok);
  EXPECT_EQ(request.action, "A");
  ASSERT_EQ(request.arguments.size(), 1u);
  EXPECT_EQ(request.arguments[0].second, "<b>&");
}

TEST(SoapRequest, MalformedEnvelopesAreRefused) {
  SoapRequest request;
  for (const std::string& body :
       {std::string(), std::string("garbage"), std::string("<s:Envelope"),
        std::string("<?xml version='1.0'?><a><b></a>"),
        // Not the SOAP namespace, no Body, an action without a namespace.
        std::string("<s:Envelope xmlns:s=\"urn:other\"><s:Body><u:A xmlns:u=\"urn:x\"/>"
                    "</s:Body></s:Envelope>"),
        envelope("").replace(envelope("").find("s:Body"), 6, "s:Bodie"), envelope(""),
        envelope("<A/>"), envelope("<u:A xmlns:u=\"urn:x\">").substr(0, 60),
        std::string(5000, '<')}) {
    EXPECT_EQ(parseSoapRequest(body, 32, &request), SoapParse::Malformed) << body;
  }
}

TEST(SoapRequest, DocumentTypeDeclarationIsRefusedUnexpanded) {
  SoapRequest request;
  const std::string body =
      "<?xml version=\"1.0\"?><!DOCTYPE s:Envelope [<!ENTITY a \"aaaa\">]>"
      "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body>"
      "<u:A xmlns:u=\"urn:x\"><v>&a;</v></u:A></s:Body></s:Envelope>";
  EXPECT_EQ(parseSoapRequest(body, 32, &request), SoapParse::Malformed);
}

TEST(SoapRequest, DeepNestingIsRefused) {
  std::string deep;
  for (int i = 0; i < 5000; ++i) deep += "<a>";
  for (int i = 0; i < 5000; ++i) deep += "</a>";
  SoapRequest request;
  EXPECT_EQ(parseSoapRequest(envelope("<u:A xmlns:u=\"urn:x\">" + deep + "</u:A>"), 32, &request),
            SoapParse::Malformed);
}

TEST(SoapRequest, ArgumentsBeyondTheLimit) {
  std::string arguments;
  for (int i = 0; i < 3; ++i)
    arguments += "<A" + std::to_string(i) + ">v</A" + std::to_string(i) + ">";
  SoapRequest request;
  const std::string body = envelope("<u:A xmlns:u=\"urn:x\">" + arguments + "</u:A>");
  EXPECT_EQ(parseSoapRequest(body, 3, &request), SoapParse::Ok);
  EXPECT_EQ(parseSoapRequest(body, 2, &request), SoapParse::TooManyArguments);
}

TEST(SoapActionHeader, QuotedAndBareFormsAreRead) {
  std::string type;
  std::string action;
  ASSERT_TRUE(parseSoapActionHeader(std::string("\"") + kCds + "#Browse\"", &type, &action));
  EXPECT_EQ(type, kCds);
  EXPECT_EQ(action, "Browse");
  ASSERT_TRUE(parseSoapActionHeader(std::string(" ") + kCds + "#Search ", &type, &action));
  EXPECT_EQ(action, "Search");
}

TEST(SoapActionHeader, ValuesWithoutTypeOrActionAreRefused) {
  std::string type;
  std::string action;
  for (const char* value :
       {"", "\"\"", "#Browse", "urn:x#", "urn:x", "\"urn:x#A B\"", "urn:x#A\"B"})
    EXPECT_FALSE(parseSoapActionHeader(value, &type, &action)) << value;
}
