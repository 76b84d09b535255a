// The process-wide settings: paths, port, connection IDs, client interface.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "server_test_support.h"

namespace {

class Settings : public ::testing::Test {
 protected:
  void SetUp() override { server_test::resetServerState(); }
  void TearDown() override { server_test::resetServerState(); }
};

std::string take(DMSAppString* s) {
  std::unique_ptr<DMSAppString> owned(s);
  return owned ? server_test::str(owned.get()) : "<null>";
}

}  // namespace

TEST_F(Settings, InitialValues) {
  EXPECT_EQ(DMSAppGetDBPathMA(), nullptr);
  EXPECT_EQ(DMSAppGetThumbsFilePathMA(), nullptr);
  EXPECT_EQ(DMSAppGetDMSSharedFilePath(), nullptr);
  EXPECT_EQ(DMSAppGetHTTPStreamingPort(), 0);
  EXPECT_EQ(DMSGetConnectionID(), 0);
  EXPECT_EQ(DMSAppGetDMSConnectionID(), -1);
}

TEST_F(Settings, PathGettersReturnIndependentCopies) {
  DMSAppSetDBPathMA("/data/media.db");
  DMSAppSetThumbsFilePathMA("/data/thumbs");
  DMSAppSetDMSSharedFilePath("/data/shared");
  DMSAppString* first = DMSAppGetDBPathMA();
  DMSAppString* second = DMSAppGetDBPathMA();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second);
  EXPECT_NE(first->ReadString(), second->ReadString());
  first->Copy("changed by the caller");
  delete first;
  EXPECT_EQ(take(second), "/data/media.db");
  EXPECT_EQ(take(DMSAppGetDBPathMA()), "/data/media.db");
  EXPECT_EQ(take(DMSAppGetThumbsFilePathMA()), "/data/thumbs");
  EXPECT_EQ(take(DMSAppGetDMSSharedFilePath()), "/data/shared");
}

TEST_F(Settings, SetterCopiesItsArgument) {
  char path[] = "/data/one";
  DMSAppSetThumbsFilePathMA(path);
  path[6] = 'X';
  EXPECT_EQ(take(DMSAppGetThumbsFilePathMA()), "/data/one");
}

// The setters do not free the string they replace; the test releases the
// first one itself (as the owner of that leak) before setting again.
TEST_F(Settings, SettingAgainReplacesTheValue) {
  DMSAppSetDBPathMA("/first.db");
  dms_server::releaseStoredPaths();
  DMSAppSetDBPathMA("/second.db");
  EXPECT_EQ(take(DMSAppGetDBPathMA()), "/second.db");
}

TEST_F(Settings, NullPathGivesAStringWithoutText) {
  DMSAppSetDMSSharedFilePath(nullptr);
  std::unique_ptr<DMSAppString> value(DMSAppGetDMSSharedFilePath());
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(value->ReadString(), nullptr);
  EXPECT_EQ(value->GetStringLength(), 0u);
}

TEST_F(Settings, PortAndConnectionIds) {
  DMSAppSetHTTPStreamingPort(60151);
  EXPECT_EQ(DMSAppGetHTTPStreamingPort(), 60151);
  DMSAppSetHTTPStreamingPort(-1);
  EXPECT_EQ(DMSAppGetHTTPStreamingPort(), -1);
  DMSAppSetDMSConnectionID(7);
  EXPECT_EQ(DMSAppGetDMSConnectionID(), 7);
  dms_server::stackConnectionId() = 3;
  EXPECT_EQ(DMSGetConnectionID(), 3);
}

TEST_F(Settings, ReleaseStoredPathsForgetsThem) {
  DMSAppSetDBPathMA("/a");
  DMSAppSetThumbsFilePathMA("/b");
  DMSAppSetDMSSharedFilePath("/c");
  dms_server::releaseStoredPaths();
  EXPECT_EQ(DMSAppGetDBPathMA(), nullptr);
  EXPECT_EQ(DMSAppGetThumbsFilePathMA(), nullptr);
  EXPECT_EQ(DMSAppGetDMSSharedFilePath(), nullptr);
}

TEST_F(Settings, ClientInterfaceAddressComesFromTheStack) {
  FakeStack::instance().interfaceAddress = "10.66.0.1";
  EXPECT_EQ(take(DMSAppDMSGetClientInterfaceIPAddressMA("10.66.0.2")), "10.66.0.1");
  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].name, "NUVUtilGetInterfaceIPAddress");
  EXPECT_EQ(calls[0].args, (std::vector<std::string>{"10.66.0.2"}));
}

TEST_F(Settings, ClientInterfaceAddressIsNullWithoutAnswerOrArgument) {
  EXPECT_EQ(DMSAppDMSGetClientInterfaceIPAddressMA(nullptr), nullptr);
  EXPECT_EQ(FakeStack::instance().count("NUVUtilGetInterfaceIPAddress"), 0u);
  FakeStack::instance().interfaceAddress = "";
  EXPECT_EQ(DMSAppDMSGetClientInterfaceIPAddressMA("10.66.0.2"), nullptr);
}
