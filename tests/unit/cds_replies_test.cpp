#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "cds_impl_interface.h"
#include "cds_test_support.h"
#include "log_capture.h"
#include "soap_message.h"

class UPnPAppCDSTestPeer {
 public:
  static UPnPAppCDS* cds() { return UPnPAppCDS::GetInstance(); }
  static int sendResponsePacket(int status, SOAPAppMessage* message) {
    return cds()->__SendResponsePacket(9, 77, status, message);
  }
  static int sendSOAPResponsePacket(SOAPAppMessage* message) {
    return cds()->__SendSOAPResponsePacket(9, 77, message);
  }
  static int sendError(const char* serviceType, int code) {
    DMSAppString service(serviceType);
    return cds()->__SendErrorSOAPMessage(9, 77, &service, 500, code);
  }
  static int argumentFromSV(DMSAppString* variable, DMSAppString* name, DMSCDSList* out) {
    return cds()->__GetArgumentFromSV(variable, name, out);
  }
};

namespace {

using cds_test::Args;
using cds_test::faultBody;
using cds_test::kCds;
using cds_test::responseBody;

class CountingImpl : public UPnPCDSImplInterface {
 public:
  CountingImpl(std::atomic<int>* deleted, DMSAppActionInfo* record)
      : UPnPCDSImplInterface(record, UPnPAppCDS::GetInstance()), deleted_(deleted) {}
  ~CountingImpl() override { ++*deleted_; }
  int NotifyCommandResponse(int, NUVCDSWL_RES_TYPE, NUVCDSWL_RES_RESULT, int, DMSAppString*,
                            DMSCDSList*) override {
    return 0;
  }

 private:
  std::atomic<int>* deleted_;
};

class NotifyCommandResponseTest : public cds_test::CdsTest {
 protected:
  // Ends an action of `action` with `code` and the out-arguments `out` (none
  // when null) and returns the bodies sent.
  std::vector<std::string> end(int code, const char* action, const Args* out,
                               int* result = nullptr) {
    DMSAppActionInfo* record = cds_test::makeRecord(action, {}, cds_test::kClientIP, 9, 77);
    const int r = UPnPAppCDS::GetInstance()->NotifyCommandResponse(
        code, record, out != nullptr ? cds_test::argumentList(*out) : nullptr, 0);
    if (result != nullptr) *result = r;
    delete record;
    return bodiesFor(77);
  }
};

struct CodeText {
  int code;
  const char* text;
};

}  // namespace

TEST_F(NotifyCommandResponseTest, SuccessSendsTheResponseWithItsOutArguments) {
  const Args out = {{"ObjectID", "1$12"}, {"Result", "&lt;DIDL-Lite&gt;"}};
  int result = -1;
  LogCapture log;
  EXPECT_EQ(end(0, "CreateObject", &out, &result),
            std::vector<std::string>{responseBody("CreateObject", out)});
  EXPECT_EQ(result, 0);
  EXPECT_TRUE(log.has("[UPnPAppCDS::NotifyCommandResponse]is called", 1));
}

TEST_F(NotifyCommandResponseTest, Code721IsASuccessNotAFault) {
  const Args out = {{"TransferID", "4"}};
  int result = -1;
  EXPECT_EQ(end(721, "ImportResource", &out, &result),
            std::vector<std::string>{responseBody("ImportResource", out)});
  EXPECT_EQ(result, 0);
}

TEST_F(NotifyCommandResponseTest, SuccessWithoutOutArgumentListFailsWith501) {
  LogCapture log;
  int result = -1;
  EXPECT_EQ(end(0, "Browse", nullptr, &result),
            std::vector<std::string>{faultBody(501, "Action Failed")});
  EXPECT_EQ(result, 1);
  EXPECT_TRUE(
      log.has("[UPnPAppCDS::NotifyCommandResponse] Generating SOAP Failed!!!, UPnPError = 501", 2));
}

TEST_F(NotifyCommandResponseTest, Code1IsSentAs501) {
  LogCapture log;
  int result = -1;
  EXPECT_EQ(end(1, "Browse", nullptr, &result),
            std::vector<std::string>{faultBody(501, "Action Failed")});
  EXPECT_EQ(result, 1);
  EXPECT_TRUE(
      log.has("[UPnPAppCDS::NotifyCommandResponse] Action dispatch failed!!!, UPnPError = 501", 1));
}

TEST_F(NotifyCommandResponseTest, CameraCodesHaveTheirOwnFaultsAndLogs) {
  struct Case {
    int code;
    int sent;
    const char* text;
    const char* log;
  };
  const Case cases[] = {
      {801, 802, "Flash is not available",
       "[UPnPAppCDS::NotifyCommandResponse] Open the pop-up flash, UPnPError = 802"},
      {802, 802, "Flash is not available",
       "[UPnPAppCDS::NotifyCommandResponse] Open the pop-up flash, UPnPError = 802"},
      {803, 803, "Shot is Failed",
       "[UPnPAppCDS::NotifyCommandResponse] Shot Fail, UPnPError = 803"},
      {804, 804, "TouchAF set error",
       "[UPnPAppCDS::NotifyCommandResponse] TouchAF Set Fail, UPnPError = 804"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    FakeStack::instance().reset();
    LogCapture log;
    EXPECT_EQ(end(c.code, "Shot", nullptr), std::vector<std::string>{faultBody(c.sent, c.text)});
    EXPECT_TRUE(log.has(c.log, 1));
  }
}

TEST_F(NotifyCommandResponseTest, EveryCodeThisServiceSendsHasItsExactFault) {
  const CodeText codes[] = {{401, "Invalid Action"},
                            {402, "Invalid Arguments"},
                            {501, "Action Failed"},
                            {602, "Optional Action Not implemented"},
                            {603, "Out of Memory"},
                            {701, "No such object"},
                            {709, "Unsupported or invalid sort criteria"},
                            {710, "No such container"},
                            {712, "Bad metadata"},
                            {713, "Restricted parent object"},
                            {714, "No such source resource"},
                            {715, "Source resource access denied"},
                            {716, "Transfer busy"},
                            {717, "No such file transfer"},
                            {718, "No such destination resource"},
                            {719, "Destination resource access denied"},
                            {720, "Cannot process the request"},
                            {722, "Incompatible parent class"},
                            {723, "Illegal destination"}};
  for (const CodeText& c : codes) {
    SCOPED_TRACE(c.code);
    FakeStack::instance().reset();
    LogCapture log;
    int result = -1;
    EXPECT_EQ(end(c.code, "DestroyObject", nullptr, &result),
              std::vector<std::string>{faultBody(c.code, c.text)});
    EXPECT_EQ(result, 1);
    EXPECT_TRUE(
        log.has("[UPnPAppCDS::NotifyCommandResponse] Action dispatch failed!!!, "
                "UPnPError = " +
                    std::to_string(c.code),
                1));
  }
}

TEST_F(NotifyCommandResponseTest, CodeWithoutFaultTextSendsNothing) {
  for (int code : {707, 999, 2, -5, 730}) {
    SCOPED_TRACE(code);
    LogCapture log;
    EXPECT_TRUE(end(code, "Browse", nullptr).empty());
    EXPECT_TRUE(log.has("[UPnPAppCDS::__SendResponsePacket] No SOAPBody!!!", 2));
  }
}

TEST_F(NotifyCommandResponseTest, NullRecordIsOnlyLoggedAndTheOutArgumentsFreed) {
  LogCapture log;
  EXPECT_EQ(UPnPAppCDS::GetInstance()->NotifyCommandResponse(
                0, nullptr, cds_test::argumentList({{"Id", "0"}}), 0),
            1);
  EXPECT_TRUE(
      log.has("[UPnPAppCDS::NotifyCommandResponse] Invalid Arguments!!! PostDispatchAction", 2));
  EXPECT_TRUE(FakeStack::instance().responses().empty());
}

TEST_F(NotifyCommandResponseTest, ImplementationObjectIsRemovedOnlyForANonZeroId) {
  std::atomic<int> deleted{0};
  auto* object = new CountingImpl(&deleted, cds_test::makeRecord("Browse", {}, "1.2.3.4", 9, 77));
  const unsigned int id = UPnPCDSImplManager::GetInstance()->Add(object);
  DMSAppActionInfo* other = cds_test::makeRecord("Browse", {}, "1.2.3.4", 9, 78);
  UPnPAppCDS::GetInstance()->NotifyCommandResponse(402, other, nullptr, 0);
  delete other;
  EXPECT_EQ(UPnPCDSImplManager::GetInstance()->count(), 1);
  EXPECT_EQ(UPnPAppCDS::GetInstance()->NotifyCommandResponse(
                0, object->GetActionInfo(), cds_test::argumentList({{"Result", ""}}), id),
            0);
  EXPECT_EQ(deleted.load(), 1);
  EXPECT_EQ(UPnPCDSImplManager::GetInstance()->count(), 0);
  EXPECT_EQ(bodiesFor(77), std::vector<std::string>{responseBody("Browse", {{"Result", ""}})});
}

// ---- Sending ----

TEST_F(NotifyCommandResponseTest, Status1SendsInvalidAction) {
  LogCapture log;
  SOAPAppMessage message;
  EXPECT_EQ(UPnPAppCDSTestPeer::sendResponsePacket(1, &message), 1);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__SendResponsePacket] Dispatch Action Failed!!!", 2));
  EXPECT_EQ(bodiesFor(77), std::vector<std::string>{faultBody(401, "Invalid Action")});
}

TEST_F(NotifyCommandResponseTest, ResponsePacketNeedsAMessage) {
  EXPECT_EQ(UPnPAppCDSTestPeer::sendResponsePacket(200, nullptr), 1);
  SOAPAppMessage message;
  DMSAppString body("<u:XResponse>\r\n</u:XResponse>");
  message.SetSOAPBody(&body);
  EXPECT_EQ(UPnPAppCDSTestPeer::sendResponsePacket(200, &message), 0);
  EXPECT_EQ(bodiesFor(77), std::vector<std::string>{"<u:XResponse>\r\n</u:XResponse>"});
}

TEST_F(NotifyCommandResponseTest, BodyIsSentAloneAndDumpedAtLevel8) {
  SOAPAppMessage message;
  DMSAppString body("<u:YResponse>\r\n</u:YResponse>");
  message.SetSOAPBody(&body);
  LogCapture log;
  EXPECT_EQ(UPnPAppCDSTestPeer::sendSOAPResponsePacket(&message), 1);
  EXPECT_TRUE(
      log.has("[UPnPAppCDS::__SendResponsePacket] SOAPBody =  <u:YResponse>\r\n</u:YResponse>", 8));
  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.back().name, "NUVDMSSendResponse");
  EXPECT_EQ(calls.back().args,
            (std::vector<std::string>{"9", "77", "<u:YResponse>\r\n</u:YResponse>"}));
}

TEST_F(NotifyCommandResponseTest, MessageWithoutBodySendsNothing) {
  EXPECT_EQ(UPnPAppCDSTestPeer::sendSOAPResponsePacket(nullptr), 0);
  SOAPAppMessage empty;
  LogCapture log;
  EXPECT_EQ(UPnPAppCDSTestPeer::sendSOAPResponsePacket(&empty), 0);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__SendResponsePacket] No SOAPBody!!!", 2));
  EXPECT_EQ(FakeStack::instance().count("NUVDMSSendResponse"), 0u);
}

TEST_F(NotifyCommandResponseTest, ErrorMessageUsesTheGivenServiceType) {
  EXPECT_EQ(UPnPAppCDSTestPeer::sendError(kCds, 709), 0);
  EXPECT_EQ(UPnPAppCDSTestPeer::sendError("urn:schemas-upnp-org:service:ConnectionManager", 709),
            0);
  EXPECT_EQ(UPnPAppCDSTestPeer::sendError(kCds, 707), 0);  // nothing to send, still 0
  EXPECT_EQ(bodiesFor(77),
            (std::vector<std::string>{faultBody(709, "Unsupported or invalid sort criteria"),
                                      faultBody(709, "Internal processing resources exceeded")}));
}

// ---- State variables ----

TEST_F(NotifyCommandResponseTest, ArgumentFromStateVariableIsAppended) {
  FakeStack::instance().setStateVariable(kCds, "SystemUpdateID", "5");
  DMSAppString variable("SystemUpdateID");
  DMSAppString name("Id");
  DMSCDSList* out = cds_test::argumentList({{"First", "1"}});
  EXPECT_EQ(UPnPAppCDSTestPeer::argumentFromSV(&variable, &name, out), 0);
  ASSERT_EQ(out->Size(), 2);
  const auto* added = static_cast<const AppArgumentList*>(out->ReadLastItemData());
  EXPECT_STREQ(added->name->ReadString(), "Id");
  EXPECT_STREQ(added->value->ReadString(), "5");
  dms_cds::deleteArgumentList(out);
}

TEST_F(NotifyCommandResponseTest, ArgumentFromStateVariableRefusesNullsAndUnreadableValues) {
  DMSAppString variable("SystemUpdateID");
  DMSAppString name("Id");
  DMSCDSList out;
  LogCapture log;
  EXPECT_EQ(UPnPAppCDSTestPeer::argumentFromSV(nullptr, &name, &out), 1);
  EXPECT_EQ(UPnPAppCDSTestPeer::argumentFromSV(&variable, nullptr, &out), 1);
  EXPECT_EQ(UPnPAppCDSTestPeer::argumentFromSV(&variable, &name, nullptr), 1);
  EXPECT_EQ(log.count("[UPnPAppCDS::__GetArgumentFromSV] Invalid args!!! __GetArgumentFromSV"), 3u);
  DMSAppString unknown("NoSuchVariable");
  EXPECT_EQ(UPnPAppCDSTestPeer::argumentFromSV(&unknown, &name, &out), 1);
  EXPECT_TRUE(log.has("[UPnPAppCDS] Can't get State variable value, Will be ignored.", 2));
  EXPECT_EQ(out.Size(), 0);
}

TEST_F(NotifyCommandResponseTest, StateVariableValueIsACopyOfTheStacksText) {
  FakeStack::instance().setStateVariable(kCds, "TransferIDs", "3,4");
  DMSAppString* value = DMSAppGetStateVariableValue(kCds, "TransferIDs");
  ASSERT_NE(value, nullptr);
  EXPECT_STREQ(value->ReadString(), "3,4");
  delete value;
  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.back().args, (std::vector<std::string>{"3", kCds, "TransferIDs"}));
}

TEST_F(NotifyCommandResponseTest, StateVariableValueIsNullForNullsAndStackFailures) {
  EXPECT_EQ(DMSAppGetStateVariableValue(nullptr, "SystemUpdateID"), nullptr);
  EXPECT_EQ(DMSAppGetStateVariableValue(kCds, nullptr), nullptr);
  EXPECT_EQ(FakeStack::instance().count("NUVDMSGetStateVariableValue"), 0u);
  EXPECT_EQ(DMSAppGetStateVariableValue(kCds, "NoSuchVariable"), nullptr);
  FakeStack::instance().failStateReads = true;
  EXPECT_EQ(DMSAppGetStateVariableValue(kCds, "SystemUpdateID"), nullptr);
}
