// The services called while the server runs: friendly name, alive
// announcements, media database deletion, TransferIDs event, default
// container, object IDs and the HTTP transfer hooks.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "dms_platform.h"
#include "log_capture.h"
#include "server_test_support.h"

using server_test::TempDir;

namespace {

using Names = std::vector<std::string>;

class DeviceServices : public ::testing::Test {
 protected:
  void SetUp() override {
    server_test::resetServerState();
    dms_server::stackConnectionId() = 5;
    DMSAppSetDMSConnectionID(9);
  }
  void TearDown() override { server_test::resetServerState(); }

  std::string configured(const char* key) {
    char* value = NUVGetConfigurationMA(key);
    std::string out = value != nullptr ? value : "<none>";
    free(value);
    return out;
  }
};

void httpCallback(int, int) {}

}  // namespace

TEST_F(DeviceServices, FriendlyNameIsCameraPrefixAndModelName) {
  EXPECT_EQ(DmsSetFriendlyName("/state/desc", "ILCE-Q1"), 1);
  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].name, "NUVSetDeviceName");
  EXPECT_EQ(calls[0].args, (Names{"/state/desc/DeviceDescription.xml", "[Camera]ILCE-Q1"}));
}

TEST_F(DeviceServices, FriendlyNameFailsWhenTheStackFails) {
  FakeStack::instance().setDeviceNameResult = 3;
  EXPECT_EQ(DmsSetFriendlyName("/state/desc", "X"), 0);
}

TEST_F(DeviceServices, FriendlyNameRefusesNullArguments) {
  LogCapture log;
  EXPECT_EQ(DmsSetFriendlyName(nullptr, "X"), 0);
  EXPECT_EQ(DmsSetFriendlyName("/d", nullptr), 0);
  EXPECT_EQ(FakeStack::instance().count("NUVSetDeviceName"), 0u);
  EXPECT_EQ(log.count("[DmsSetFriendlyName] Invalid args"), 2u);
}

TEST_F(DeviceServices, AliveTemporaryPassesTheTwoValuesOn) {
  LogCapture log;
  EXPECT_EQ(DMSAppSendAliveTemporary(99, 3, 1800), 1);
  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].name, "NUVDMSSendAliveTemporary");
  EXPECT_EQ(calls[0].args, (Names{"5", "3", "1800"}));
  EXPECT_TRUE(log.has("DMSAppSendAliveTemporary  SUCCESS", 1));
}

TEST_F(DeviceServices, AliveTemporaryFailureIsLoggedAtLevelTwo) {
  FakeStack::instance().aliveResult = 1;
  LogCapture log;
  EXPECT_EQ(DMSAppSendAliveTemporary(0, 0, 0), 0);
  EXPECT_TRUE(log.has("DMSAppSendAliveTemporary  Failed", 2));
}

TEST_F(DeviceServices, DeleteMediaDbRemovesTheFile) {
  TempDir dir;
  const std::string db = dir / "media.db";
  server_test::writeFile(db, "SQLite format 3");
  LogCapture log;
  EXPECT_EQ(DMSDeleteMediaDB(db.c_str()), 1);
  EXPECT_FALSE(server_test::fileExists(db));
  EXPECT_TRUE(log.has("Media db file [" + db + "] deleted", 1));
}

TEST_F(DeviceServices, DeleteMediaDbOfMissingFileOrNullFails) {
  TempDir dir;
  const std::string db = dir / "missing.db";
  LogCapture log;
  EXPECT_EQ(DMSDeleteMediaDB(db.c_str()), 0);
  EXPECT_TRUE(log.has("Failed to delete the media db file [" + db + "]", 2));
  EXPECT_EQ(DMSDeleteMediaDB(nullptr), 0);
  EXPECT_TRUE(log.has("Failed to delete the media db file [(null)]", 2));
}

TEST_F(DeviceServices, TransferIdEventUpdatesTheStateVariable) {
  DMSAppString ids("3,7");
  EXPECT_EQ(DMSAppSendTransferIDEvent(&ids), 1);
  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].name, "NUVDMSUpdateStateVariableValue");
  EXPECT_EQ(calls[0].args,
            (Names{"9", "urn:schemas-upnp-org:service:ContentDirectory", "TransferIDs", "3,7"}));
}

TEST_F(DeviceServices, TransferIdEventIgnoresTheStacksResultAndRefusesNull) {
  FakeStack::instance().updateStateResult = 1;
  DMSAppString ids("1");
  EXPECT_EQ(DMSAppSendTransferIDEvent(&ids), 1);
  EXPECT_EQ(DMSAppSendTransferIDEvent(nullptr), 0);
  EXPECT_EQ(FakeStack::instance().count("NUVDMSUpdateStateVariableValue"), 1u);
}

TEST_F(DeviceServices, DefaultContainerOneZeroOneStoresFive) {
  server_test::StepRecorder steps;
  NUVSetDefaultContainer(1, 0, 1);
  EXPECT_EQ(configured("DefaultContainer"), "5");
  EXPECT_EQ(steps.names(), Names{"NUVCESetDefaultContainer"});
}

TEST_F(DeviceServices, DefaultContainerZeroOneZeroStoresTwo) {
  NUVSetDefaultContainer(0, 1, 0);
  EXPECT_EQ(configured("DefaultContainer"), "2");
}

TEST_F(DeviceServices, DefaultContainerCountsOnlyPositiveValues) {
  NUVSetDefaultContainer(5, 9, 2);
  EXPECT_EQ(configured("DefaultContainer"), "7");
  NUVSetDefaultContainer(-1, 0, -3);
  EXPECT_EQ(configured("DefaultContainer"), "0");
  NUVSetDefaultContainer(1, 1, 0);
  EXPECT_EQ(configured("DefaultContainer"), "3");
}

TEST_F(DeviceServices, ItemObjectIdOfNullPathIsNull) {
  server_test::StepRecorder steps;
  EXPECT_EQ(DMSGetItemObjectID(nullptr), nullptr);
  EXPECT_TRUE(steps.names().empty());
}

TEST_F(DeviceServices, ItemObjectIdAsksTheKindsInOrder) {
  server_test::StepRecorder steps;
  char* id = DMSGetItemObjectID("/media/DCIM/100/IMG_0001.JPG");
  EXPECT_EQ(id, nullptr) << "no kind knows the file";
  DMSAppMemFree(id);
  EXPECT_EQ(steps.names().size(), 3u);
}

TEST_F(DeviceServices, HttpHooksReachTheTransferServer) {
  server_test::StepRecorder steps;
  DMSSetHttpConnectionRequestCallback(&httpCallback);
  EXPECT_EQ(DMSStopHttpTransfer(1, 2), 0) << "nothing to stop";
  EXPECT_EQ(steps.names(), (Names{"ServerToHandleFileTransfer::SetConnectionCallback",
                                  "ServerToHandleFileTransfer::NUVHTTPStopCurrentTransfer"}));
}
