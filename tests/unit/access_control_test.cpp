// Access control: the DmsAppACL... functions and the notification callback.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "access_control.h"
#include "log_capture.h"
#include "server_test_support.h"

namespace {

using Names = std::vector<std::string>;

class AccessControl : public ::testing::Test {
 protected:
  void SetUp() override {
    server_test::resetServerState();
    dms_server::stackConnectionId() = 5;
  }
  void TearDown() override {
    EXPECT_EQ(FakeStack::instance().outstandingRequests(), 0);
    server_test::resetServerState();
  }

  static void announce(const std::string& mac, const std::string& ip, const std::string& name) {
    DMSAclNotificationCallback(5, FakeStack::makeAclNotification(4, 1, mac, ip, name));
  }
};

}  // namespace

TEST_F(AccessControl, InitializeCallsTheStackAndSetsTheActiveFlag) {
  LogCapture log;
  EXPECT_EQ(DmsAppACLInitialize(), 1);
  EXPECT_EQ(FakeStack::instance().calls().at(0).name, "NUVDmsACLInitialize");
  EXPECT_EQ(FakeStack::instance().calls().at(0).args, Names{"5"});
  EXPECT_EQ(dms_server::aclActive(), 1);
  EXPECT_TRUE(log.has("DmsAppACLInitialize  SUCCESS", 1));
}

TEST_F(AccessControl, FailedInitializeLeavesItInactive) {
  FakeStack::instance().aclResult = 1;
  LogCapture log;
  EXPECT_EQ(DmsAppACLInitialize(), 0);
  EXPECT_EQ(dms_server::aclActive(), 0);
  EXPECT_TRUE(log.has("DmsAppACLInitialize  Failed", 2));
}

TEST_F(AccessControl, TerminateClearsTheActiveFlagEvenWhenTheStackFails) {
  ASSERT_EQ(DmsAppACLInitialize(), 1);
  FakeStack::instance().aclResult = 1;
  LogCapture log;
  EXPECT_EQ(DmsAppACLTerminate(), 0);
  EXPECT_EQ(dms_server::aclActive(), 0);
  EXPECT_TRUE(log.has("DmsAppACLTerminate  Failed", 2));
  FakeStack::instance().aclResult = 0;
  EXPECT_EQ(DmsAppACLTerminate(), 1);
  EXPECT_TRUE(log.has("DmsAppACLTerminate  SUCCESS", 1));
}

TEST_F(AccessControl, SetModeAndRuleReachTheStack) {
  LogCapture log;
  EXPECT_EQ(DmsAppACLSetMode(3), 1);
  EXPECT_EQ(DmsAppACLAddDevNameFilterRule("TLX_HHP_", 0, "+"), 1);
  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].args, (Names{"5", "3"}));
  EXPECT_EQ(calls[1].args, (Names{"5", "TLX_HHP_", "0", "+"}));
  EXPECT_TRUE(log.has("DmsAppACLSetMode  SUCCESS", 1));
  EXPECT_TRUE(log.has("DmsAppACLAddDevNameFilterRule  SUCCESS", 1));
  FakeStack::instance().aclResult = 2;
  EXPECT_EQ(DmsAppACLSetMode(3), 0);
  EXPECT_TRUE(log.has("DmsAppACLSetMode  Failed", 2));
}

TEST_F(AccessControl, RuleWithNullTextIsRefusedWithoutTheStack) {
  LogCapture log;
  EXPECT_EQ(DmsAppACLAddDevNameFilterRule(nullptr, 0, "+"), 0);
  EXPECT_EQ(DmsAppACLAddDevNameFilterRule("TLX_", 0, nullptr), 0);
  EXPECT_TRUE(FakeStack::instance().calls().empty());
  EXPECT_EQ(log.count("DmsAppACLAddDevNameFilterRule  Failed"), 2u);
}

TEST_F(AccessControl, AddEntryPassesTheFixedPlaceholders) {
  LogCapture log;
  EXPECT_EQ(DmsAppACLAddEntry(1, 0), 1);
  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].name, "NUVDmsACLAddEntry");
  EXPECT_EQ(calls[0].args, (Names{"5", "1", "0", "1.1.1.1", "DEV_MELONG"}));
  EXPECT_TRUE(log.has("DmsAppACLAddEntry  SUCCESS", 1));
}

TEST_F(AccessControl, NotificationReachesTheUiWithEveryLogLine) {
  LogCapture log;
  announce("00:11:22:33:44:55", "10.66.0.2", "Living room TV");
  const std::vector<FakeUiEvent> events = FakeStack::instance().uiEvents();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].event, 7);
  EXPECT_EQ(events[0].text1, "Living room TV");
  EXPECT_EQ(events[0].text2, "00:11:22:33:44:55");
  EXPECT_EQ(dms_server::aclConfirmationPending(), 1);
  EXPECT_STREQ(dms_server::pendingDeviceName(), "Living room TV");
  EXPECT_STREQ(dms_server::pendingDeviceMac(), "00:11:22:33:44:55");

  std::vector<std::string> texts;
  for (const LogCapture::Line& line : log.lines()) texts.push_back(line.text);
  EXPECT_EQ(texts, (std::vector<std::string>{
                       "DMSNUVAclNotificationCallback() Enter", "aclType = 4\n", "eventType = 1",
                       "pszMacAddress = 00:11:22:33:44:55", "pszIPAddress = 10.66.0.2",
                       "pszDeviceName = Living room TV", "send to UI for comfirmation",
                       "DMSNUVAclNotificationCallback() Exit"}));
}

TEST_F(AccessControl, RequestIsReleasedBeforeTheUiHearsOfIt) {
  announce("00:11:22:33:44:55", "10.66.0.2", "TV");
  EXPECT_EQ(FakeStack::instance().callNames(),
            (Names{"HNuvDMSReleaseUIRequestData", "DmsSendEventToUI"}));
}

TEST_F(AccessControl, TwoDevicesBackToBackOnlyTheFirstReachesTheUi) {
  LogCapture log;
  announce("00:11:22:33:44:55", "10.66.0.2", "First");
  announce("66:77:88:99:aa:bb", "10.66.0.3", "Second");
  const std::vector<FakeUiEvent> events = FakeStack::instance().uiEvents();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].text1, "First");
  EXPECT_STREQ(dms_server::pendingDeviceName(), "First");
  EXPECT_TRUE(log.has("do thing\n", 1));
  EXPECT_EQ(FakeStack::instance().count("HNuvDMSReleaseUIRequestData"), 2u);
}

TEST_F(AccessControl, AddEntryLetsTheNextDeviceThrough) {
  announce("00:11:22:33:44:55", "10.66.0.2", "First");
  EXPECT_EQ(DmsAppACLAddEntry(1, 0), 1);
  EXPECT_EQ(dms_server::aclConfirmationPending(), 0);
  announce("66:77:88:99:aa:bb", "10.66.0.3", "Second");
  const std::vector<FakeUiEvent> events = FakeStack::instance().uiEvents();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[1].text1, "Second");
  EXPECT_EQ(events[1].text2, "66:77:88:99:aa:bb");
}

TEST_F(AccessControl, FailedAddEntryStillClearsThePendingFlag) {
  announce("00:11:22:33:44:55", "10.66.0.2", "First");
  FakeStack::instance().aclResult = 1;
  EXPECT_EQ(DmsAppACLAddEntry(0, 0), 0);
  EXPECT_EQ(dms_server::aclConfirmationPending(), 0);
}

TEST_F(AccessControl, ReinitializingClearsThePendingConfirmation) {
  announce("00:11:22:33:44:55", "10.66.0.2", "First");
  ASSERT_EQ(dms_server::aclConfirmationPending(), 1);
  EXPECT_EQ(DmsAppACLInitialize(), 1);
  EXPECT_EQ(dms_server::aclConfirmationPending(), 0);
  announce("66:77:88:99:aa:bb", "10.66.0.3", "Second");
  EXPECT_EQ(FakeStack::instance().uiEvents().size(), 2u);
}

TEST_F(AccessControl, FailedReinitializeAlsoClearsThePendingConfirmation) {
  announce("00:11:22:33:44:55", "10.66.0.2", "First");
  FakeStack::instance().aclResult = 1;
  EXPECT_EQ(DmsAppACLInitialize(), 0);
  EXPECT_EQ(dms_server::aclConfirmationPending(), 0);
}

TEST_F(AccessControl, LongNameAndMacAreCutToTheirBuffers) {
  const std::string name(300, 'n');
  const std::string mac = "00:11:22:33:44:55:66:77";
  announce(mac, "10.66.0.2", name);
  EXPECT_EQ(std::string(dms_server::pendingDeviceName()), std::string(127, 'n'));
  EXPECT_EQ(std::string(dms_server::pendingDeviceMac()), mac.substr(0, 17));
  const std::vector<FakeUiEvent> events = FakeStack::instance().uiEvents();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].text1.size(), 127u);
  EXPECT_EQ(events[0].text2, "00:11:22:33:44:55");
}

TEST_F(AccessControl, UnknownMacIsPassedAsEmptyText) {
  announce("", "10.66.0.2", "Phone");
  const std::vector<FakeUiEvent> events = FakeStack::instance().uiEvents();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].text2, "");
}

TEST_F(AccessControl, NullNotificationIsIgnored) {
  LogCapture log;
  DMSAclNotificationCallback(5, nullptr);
  EXPECT_TRUE(FakeStack::instance().uiEvents().empty());
  EXPECT_EQ(dms_server::aclConfirmationPending(), 0);
  EXPECT_TRUE(log.has("DMSNUVAclNotificationCallback() Enter", 1));
}
