#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cds_test_support.h"
#include "log_capture.h"
#include "soap_error_table.h"
#include "soap_generator.h"
#include "soap_message.h"

using cds_test::Args;
using cds_test::faultBody;
using cds_test::responseBody;

namespace {

constexpr const char* kConnectionManager = "urn:schemas-upnp-org:service:ConnectionManager";
constexpr const char* kAVTransport = "urn:schemas-upnp-org:service:AVTransport";
constexpr const char* kUnknownService = "urn:example-com:service:Thermostat";

struct Row {
  int code;
  const char* serviceType;  // null: any service
  const char* text;
};

constexpr const char* kAnyService = nullptr;
constexpr const char* kContentDirectory = cds_test::kCds;

// Every row of the fault table, as control points must see it.
const Row kRows[] = {
    {401, kAnyService, "Invalid Action"},
    {402, kAnyService, "Invalid Arguments"},
    {412, kAnyService, "precondition failed"},
    {501, kAnyService, "Action Failed"},
    {600, kAnyService, "Argument Value Invalid"},
    {601, kAnyService, "Argument Value Out of Range"},
    {602, kAnyService, "Optional Action Not implemented"},
    {603, kAnyService, "Out of Memory"},
    {604, kAnyService, "Human Intervention Required"},
    {605, kAnyService, "String Argument Too Long"},
    {606, kAnyService, "Action not authorized"},
    {607, kAnyService, "Signature failure"},
    {608, kAnyService, "Signature missing"},
    {609, kAnyService, "Not encrypted"},
    {610, kAnyService, "Invalid Sequence"},
    {611, kAnyService, "Invalid control URL"},
    {612, kAnyService, "No such session"},
    {701, kContentDirectory, "No such object"},
    {702, kContentDirectory, "Invalid CurrentTagValue"},
    {703, kContentDirectory, "Invalid NewTagValue"},
    {704, kContentDirectory, "Required tag"},
    {705, kContentDirectory, "Read only tag"},
    {706, kContentDirectory, "Parameter Mismatch"},
    {708, kContentDirectory, "Unsupported or invalid search criteria"},
    {709, kContentDirectory, "Unsupported or invalid sort criteria"},
    {710, kContentDirectory, "No such container"},
    {711, kContentDirectory, "Restricted object"},
    {712, kContentDirectory, "Bad metadata"},
    {713, kContentDirectory, "Restricted parent object"},
    {714, kContentDirectory, "No such source resource"},
    {715, kContentDirectory, "Source resource access denied"},
    {716, kContentDirectory, "Transfer busy"},
    {717, kContentDirectory, "No such file transfer"},
    {718, kContentDirectory, "No such destination resource"},
    {719, kContentDirectory, "Destination resource access denied"},
    {720, kContentDirectory, "Cannot process the request"},
    {721, kContentDirectory, "Restricted source parent object"},
    {722, kContentDirectory, "Incompatible parent class"},
    {723, kContentDirectory, "Illegal destination"},
    {801, kContentDirectory, "Open the pop-up flash"},
    {802, kContentDirectory, "Flash is not available"},
    {803, kContentDirectory, "Shot is Failed"},
    {804, kContentDirectory, "TouchAF set error"},
    {701, kConnectionManager, "Incompatible protocol info"},
    {702, kConnectionManager, "Incompatible directions"},
    {703, kConnectionManager, "Insufficient network resources"},
    {704, kConnectionManager, "Local restrictions"},
    {705, kConnectionManager, "Access denied"},
    {706, kConnectionManager, "Invalid connection reference"},
    {707, kConnectionManager, "Not in network"},
    {708, kConnectionManager, "Connection Table overflow"},
    {709, kConnectionManager, "Internal processing resources exceeded"},
    {710, kConnectionManager, "Internal memory resources exceeded"},
    {711, kConnectionManager, "Internal storage system capabilities exceeded"},
    {701, kAVTransport, "Transition not available"},
    {702, kAVTransport, "No contents"},
    {703, kAVTransport, "Read error"},
    {704, kAVTransport, "Format not supported for playback"},
    {705, kAVTransport, "Transport is locked"},
    {706, kAVTransport, "Write error"},
    {707, kAVTransport, "Media is protected or not writable"},
    {708, kAVTransport, "Format not supported for recording"},
    {709, kAVTransport, "Media is full"},
    {710, kAVTransport, "Seek mode not supported"},
    {711, kAVTransport, "Illegal seek target"},
    {712, kAVTransport, "Play mode not supported"},
    {713, kAVTransport, "Record quality not supported"},
    {714, kAVTransport, "Illegal MIME-type"},
    {715, kAVTransport, "Content BUSY"},
    {716, kAVTransport, "Resource not found"},
    {717, kAVTransport, "Play speed not supported"},
    {718, kAVTransport, "Invalid InstanceID"},
    {719, kAVTransport, "DRM error"},
    {720, kAVTransport, "Expired content"},
    {721, kAVTransport, "Non-allowed use"},
    {722, kAVTransport, "Cannot determine allowed uses"},
    {723, kAVTransport, "Exhausted allowed use"},
    {724, kAVTransport, "Device authentication failure"},
    {725, kAVTransport, "Device revocation"},
    {726, kAVTransport, "Invalid StateVariableList"},
    {727, kAVTransport, "Ill-formed CSV List"},
    {728, kAVTransport, "Invalid State Variable Value"},
    {729, kAVTransport, "Invalid Service Type"},
    {730, kAVTransport, "Invalid Service Id"},
};

class SOAPAppGeneratorTest : public ::testing::Test {
 protected:
  void TearDown() override { SOAPAppGenerator::DestroyInstance(); }

  // The fault body for `code` and `serviceType`, or "(none)".
  static std::string fault(int code, const char* serviceType) {
    SOAPAppMessage message;
    DMSAppString service(serviceType);
    const int result = SOAPAppGenerator::GetInstance()->GenerateErrorSOAPBody(
        code, serviceType != nullptr ? &service : nullptr, &message);
    if (result != 0) {
      EXPECT_EQ(message.ReadSOAPBody(), nullptr);
      return "(none)";
    }
    return message.ReadSOAPBody();
  }

  static std::string response(const char* action, const Args& out) {
    SOAPAppMessage message;
    DMSAppString service(cds_test::kCds1);
    DMSAppString name(action);
    DMSCDSList* list = cds_test::argumentList(out);
    const int result =
        SOAPAppGenerator::GetInstance()->GenerateSOAPBody(&service, &name, list, &message);
    dms_cds::deleteArgumentList(list);
    if (result != 0) return "(failed)";
    EXPECT_EQ(message.GetBodyLength(), strlen(message.ReadSOAPBody()));
    return message.ReadSOAPBody();
  }
};

}  // namespace

TEST_F(SOAPAppGeneratorTest, ResponseBodyWithArgumentsIsExact) {
  EXPECT_EQ(response("Browse", {{"Result", "&lt;DIDL-Lite/&gt;"},
                                {"NumberReturned", "0"},
                                {"TotalMatches", "0"},
                                {"UpdateID", "1"}}),
            "<u:BrowseResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">\r\n"
            "<Result>&lt;DIDL-Lite/&gt;</Result>\r\n<NumberReturned>0</NumberReturned>\r\n"
            "<TotalMatches>0</TotalMatches>\r\n<UpdateID>1</UpdateID>\r\n</u:BrowseResponse>");
}

TEST_F(SOAPAppGeneratorTest, ResponseWithoutArgumentsHasOnlyTheTwoTags) {
  EXPECT_EQ(response("StopTransferResource", {}),
            "<u:StopTransferResourceResponse "
            "xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">\r\n"
            "</u:StopTransferResourceResponse>");
}

TEST_F(SOAPAppGeneratorTest, ValueHoldingMarkupGoesOutUnescaped) {
  EXPECT_EQ(response("X", {{"Result", "<item id=\"1\">&amp;</item>"}}),
            responseBody("X", {{"Result", "<item id=\"1\">&amp;</item>"}}));
}

TEST_F(SOAPAppGeneratorTest, VeryLongValueIsKeptWhole) {
  const std::string big(100 * 1024, 'v');
  EXPECT_EQ(response("GetSystemUpdateID", {{"Id", big}}),
            responseBody("GetSystemUpdateID", {{"Id", big}}));
}

TEST_F(SOAPAppGeneratorTest, ResponseLogsItsArgumentsFirst) {
  LogCapture log;
  response("GetSystemUpdateID", {{"Id", "0"}});
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines()[0].level, 1);
  EXPECT_EQ(log.lines()[0].text.rfind("[SOAPAppGenerator::GenerateSOAPBody] 0x", 0), 0u);
}

TEST_F(SOAPAppGeneratorTest, ResponseRefusesEveryNullArgument) {
  DMSAppString service(cds_test::kCds1);
  DMSAppString name("Browse");
  DMSCDSList list;
  SOAPAppMessage message;
  SOAPAppGenerator* generator = SOAPAppGenerator::GetInstance();
  LogCapture log;
  EXPECT_EQ(generator->GenerateSOAPBody(nullptr, &name, &list, &message), 1);
  EXPECT_EQ(generator->GenerateSOAPBody(&service, nullptr, &list, &message), 1);
  EXPECT_EQ(generator->GenerateSOAPBody(&service, &name, nullptr, &message), 1);
  EXPECT_EQ(generator->GenerateSOAPBody(&service, &name, &list, nullptr), 1);
  EXPECT_EQ(log.count("[SOAPAppGenerator::GenerateSOAPBody] Invalid Args!!!"), 4u);
  EXPECT_EQ(message.ReadSOAPBody(), nullptr);
}

TEST_F(SOAPAppGeneratorTest, FaultBodyIsExactToTheByte) {
  EXPECT_EQ(fault(402, cds_test::kCds),
            "<s:Fault>\r\n"
            "<faultcode>s:Client</faultcode>\r\n"
            "<faultstring>UPnPError</faultstring>\r\n"
            "<detail>\r\n"
            "<UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\">\r\n"
            "<errorCode>402\r\n</errorCode>\r\n"
            "<errorDescription>Invalid Arguments\r\n</errorDescription>\r\n"
            "</UPnPError>\r\n"
            "</detail>\r\n"
            "</s:Fault>");
}

TEST_F(SOAPAppGeneratorTest, EveryTableRowGivesItsText) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.code);
    if (row.serviceType == nullptr) {
      for (const char* type :
           {cds_test::kCds, kConnectionManager, kAVTransport, kUnknownService, cds_test::kCds1})
        EXPECT_EQ(fault(row.code, type), faultBody(row.code, row.text)) << type;
    } else {
      EXPECT_EQ(fault(row.code, row.serviceType), faultBody(row.code, row.text));
    }
  }
}

TEST_F(SOAPAppGeneratorTest, Code709DependsOnTheService) {
  EXPECT_EQ(fault(709, cds_test::kCds), faultBody(709, "Unsupported or invalid sort criteria"));
  EXPECT_EQ(fault(709, kConnectionManager),
            faultBody(709, "Internal processing resources exceeded"));
  EXPECT_EQ(fault(709, kAVTransport), faultBody(709, "Media is full"));
}

TEST_F(SOAPAppGeneratorTest, Code402IsFoundForAnUnknownServiceType) {
  EXPECT_EQ(fault(402, kUnknownService), faultBody(402, "Invalid Arguments"));
  EXPECT_EQ(fault(402, ""), faultBody(402, "Invalid Arguments"));
  EXPECT_EQ(fault(402, nullptr), faultBody(402, "Invalid Arguments"));
}

TEST_F(SOAPAppGeneratorTest, CodeWithoutRowFailsAndLeavesTheMessageEmpty) {
  LogCapture log;
  EXPECT_EQ(fault(707, cds_test::kCds), "(none)");
  EXPECT_EQ(fault(999, cds_test::kCds), "(none)");
  EXPECT_EQ(fault(999, kAVTransport), "(none)");
  EXPECT_EQ(fault(731, kAVTransport), "(none)");
  EXPECT_EQ(fault(712, kConnectionManager), "(none)");
  EXPECT_EQ(log.count("[SOAPAppGenerator] Invalid Error code!!!"), 5u);
  EXPECT_TRUE(log.has("[SOAPAppGenerator] Invalid Error code!!!", 2));
}

TEST_F(SOAPAppGeneratorTest, VersionedServiceTypeFindsOnlyCodesBelow701) {
  EXPECT_EQ(fault(612, cds_test::kCds1), faultBody(612, "No such session"));
  EXPECT_EQ(fault(701, cds_test::kCds1), "(none)");
  EXPECT_EQ(fault(709, cds_test::kCds1), "(none)");
  EXPECT_EQ(fault(802, cds_test::kCds1), "(none)");
  // Compared exactly: a different case is another service.
  EXPECT_EQ(fault(701, "urn:schemas-upnp-org:service:contentdirectory"), "(none)");
}

TEST_F(SOAPAppGeneratorTest, ZeroOrNegativeCodeIsRefusedAsInvalidArguments) {
  LogCapture log;
  EXPECT_EQ(fault(0, cds_test::kCds), "(none)");
  EXPECT_EQ(fault(-402, cds_test::kCds), "(none)");
  EXPECT_EQ(log.count("[SOAPAppGenerator] Invalid Args!!!"), 2u);
}

TEST_F(SOAPAppGeneratorTest, NullMessageIsRefused) {
  LogCapture log;
  DMSAppString service(cds_test::kCds);
  EXPECT_EQ(SOAPAppGenerator::GetInstance()->GenerateErrorSOAPBody(402, &service, nullptr), 1);
  EXPECT_TRUE(log.has("[SOAPAppGenerator] Invalid Args!!!", 2));
}

TEST_F(SOAPAppGeneratorTest, FailedFaultKeepsThePreviousBody) {
  SOAPAppMessage message;
  DMSAppString service(cds_test::kCds);
  SOAPAppGenerator* generator = SOAPAppGenerator::GetInstance();
  ASSERT_EQ(generator->GenerateErrorSOAPBody(401, &service, &message), 0);
  EXPECT_EQ(generator->GenerateErrorSOAPBody(707, &service, &message), 1);
  EXPECT_EQ(std::string(message.ReadSOAPBody()), faultBody(401, "Invalid Action"));
}

TEST_F(SOAPAppGeneratorTest, InstanceIsKeptUntilDestroyed) {
  SOAPAppGenerator* first = SOAPAppGenerator::GetInstance();
  EXPECT_EQ(SOAPAppGenerator::GetInstance(), first);
  SOAPAppGenerator::DestroyInstance();
  EXPECT_NE(SOAPAppGenerator::GetInstance(), nullptr);
}

TEST(SoapErrorTable, ServiceNumbersOfTheThreeServices) {
  EXPECT_EQ(dms_cds::soapServiceNumber(cds_test::kCds), 1);
  EXPECT_EQ(dms_cds::soapServiceNumber(kConnectionManager), 2);
  EXPECT_EQ(dms_cds::soapServiceNumber(kAVTransport), 3);
  EXPECT_EQ(dms_cds::soapServiceNumber(cds_test::kCds1), 0);
  EXPECT_EQ(dms_cds::soapServiceNumber(""), 0);
  EXPECT_EQ(dms_cds::soapServiceNumber(kUnknownService), 0);
  EXPECT_EQ(dms_cds::soapServiceNumber(nullptr), 0);
}

TEST(SoapErrorTable, CameraCodesBelongToContentDirectoryOnly) {
  EXPECT_STREQ(dms_cds::soapErrorText(801, 1), "Open the pop-up flash");
  EXPECT_STREQ(dms_cds::soapErrorText(804, 1), "TouchAF set error");
  EXPECT_EQ(dms_cds::soapErrorText(801, 2), nullptr);
  EXPECT_EQ(dms_cds::soapErrorText(801, 0), nullptr);
}
