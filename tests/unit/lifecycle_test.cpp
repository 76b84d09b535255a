// DMSAppInitialize, DMSAppStart, DMSAppStop and DMSAppTerminate: their orders,
// results and log lines against the fake stack.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "access_control.h"
#include "app_cds.h"
#include "dms_platform.h"
#include "log_capture.h"
#include "network_exceptions.h"
#include "server_test_support.h"

using server_test::TempDir;

namespace {

using Names = std::vector<std::string>;

const Names kServiceSteps = {
    "DMSAppHelperInitialize",        "CDSHelper::GetInstance",
    "UPnPCDSUtils::Initialize",      "NUVCEInitializeWrapper",
    "SOAPAppGenerator::GetInstance", "UPnPCDSImplManager::GetInstance",
    "UPnPAppCDS::GetInstance",       "ServerToHandleFileTransfer::StartHTTPServer"};

const Names kTerminateSteps = {"ServerToHandleFileTransfer::DestroyInstance",
                               "UPnPCDSImplManager::DestroyInstance",
                               "UPnPAppCDS::DestroyInstance",
                               "SOAPAppGenerator::DestroyInstance",
                               "NUVCETerminateWrapper",
                               "MultiMediaDbConnector::DestroyInstance",
                               "UPnPCDSUtils::Terminate",
                               "CDSHelper::DestroyInstance",
                               "DMSAppHelperTerminate"};

class Lifecycle : public ::testing::Test {
 protected:
  void SetUp() override {
    server_test::resetServerState();
    descDir_ = dir_ / "state/desc";
    info_.dbPath = "/data/media.db";
    info_.thumbsFilePath = "/data/thumbs";
    info_.sharedFilePath = "/data/shared";
    info_.descriptionDir = descDir_.c_str();
    info_.httpStreamingPort = 60151;
    FakeStack::instance().connectionID = 5;
  }
  void TearDown() override {
    if (initialized_) terminate();
    server_test::resetServerState();
  }

  int initialize() {
    const int result = DMSAppInitialize(&connectionId_, &info_);
    initialized_ = result == 1;
    return result;
  }
  // As the application does: the timer thread first, then the rest.
  int terminate() {
    initialized_ = false;
    DMSAppStopTimerThread();
    return DMSAppTerminate();
  }

  TempDir dir_;
  std::string descDir_;
  DMSAppInitInfo info_{};
  int connectionId_ = -7;
  bool initialized_ = false;
};

std::string text(DMSAppString* s) {
  std::unique_ptr<DMSAppString> owned(s);
  return owned ? server_test::str(owned.get()) : "<null>";
}

}  // namespace

TEST_F(Lifecycle, InitializeWithNullInfoDoesNothing) {
  LogCapture log;
  EXPECT_EQ(DMSAppInitialize(&connectionId_, nullptr), 0);
  EXPECT_TRUE(FakeStack::instance().calls().empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Lifecycle, InitializeWithoutPlaceForTheConnectionIdIsRefused) {
  LogCapture log;
  EXPECT_EQ(DMSAppInitialize(nullptr, &info_), 0);
  EXPECT_TRUE(FakeStack::instance().calls().empty());
  EXPECT_TRUE(log.has("[DMSAppInitialize] Enter", 0));
}

TEST_F(Lifecycle, InitializeBindsTheStackAndCreatesTheServicesInOrder) {
  server_test::StepRecorder steps;
  LogCapture log;
  ASSERT_EQ(initialize(), 1);
  EXPECT_EQ(connectionId_, 5);
  EXPECT_EQ(DMSGetConnectionID(), 5);
  EXPECT_EQ(DMSAppGetDMSConnectionID(), 5);

  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].name, "NUVDMSInitialize");
  EXPECT_EQ(calls[0].args, Names{descDir_});
  EXPECT_EQ(calls[1].name, "NUVSetDeviceName");
  EXPECT_EQ(calls[1].args, (Names{descDir_ + "/DeviceDescription.xml", "[Camera]KV900"}));
  EXPECT_EQ(steps.names(), kServiceSteps);
  EXPECT_EQ(steps.all().back().second, "") << "every interface";

  EXPECT_TRUE(log.has("[DMSAppInitialize] Enter", 0));
  EXPECT_TRUE(log.has("[DMSAppInitialize] return.............5\n", 0));
  EXPECT_TRUE(log.has("[DMSAppInitialize] Start HTTP server", 0));
  EXPECT_TRUE(log.has("[DMSAppInitialize] HTTP server started", 0));
  EXPECT_TRUE(server_test::fileExists(descDir_ + "/ContentDirectory_1.xml"));
}

TEST_F(Lifecycle, InitializeGivesTheStackTheFourCallbackSlots) {
  ASSERT_EQ(initialize(), 1);
  const stNUVDMSCallbacks table = FakeStack::instance().callbacks();
  EXPECT_EQ(table.actionCallback, &DMSAppCDSActionCallback);
  EXPECT_EQ(table.reserved, nullptr);
  EXPECT_EQ(table.exceptionCallback, &dms_server::handleNetworkException);
  EXPECT_EQ(table.aclCallback, &DMSAclNotificationCallback);
  EXPECT_EQ(FakeStack::instance().descriptionDir(), descDir_);
}

TEST_F(Lifecycle, ActionSlotReachesTheContentDirectoryService) {
  ASSERT_EQ(initialize(), 1);
  const stNUVDMSCallbacks table = FakeStack::instance().callbacks();
  ASSERT_NE(table.actionCallback, nullptr);
  table.actionCallback(5, 42, FakeStack::makeAction("GetSystemUpdateID", "10.66.0.2", {}));
  const std::vector<FakeResponse> responses = FakeStack::instance().responses();
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_EQ(responses[0].actionID, 42);
  EXPECT_NE(responses[0].body.find("GetSystemUpdateIDResponse"), std::string::npos);
  EXPECT_EQ(FakeStack::instance().outstandingRequests(), 0);
}

TEST_F(Lifecycle, InitializeStoresPathsAndPort) {
  ASSERT_EQ(initialize(), 1);
  EXPECT_EQ(text(DMSAppGetDBPathMA()), "/data/media.db");
  EXPECT_EQ(text(DMSAppGetThumbsFilePathMA()), "/data/thumbs");
  EXPECT_EQ(text(DMSAppGetDMSSharedFilePath()), "/data/shared");
  EXPECT_EQ(DMSAppGetHTTPStreamingPort(), 60151);
}

TEST_F(Lifecycle, InitializeLeavesPathsThatAreNotGiven) {
  info_.dbPath = nullptr;
  info_.thumbsFilePath = nullptr;
  info_.sharedFilePath = nullptr;
  ASSERT_EQ(initialize(), 1);
  EXPECT_EQ(DMSAppGetDBPathMA(), nullptr);
  EXPECT_EQ(DMSAppGetThumbsFilePathMA(), nullptr);
  EXPECT_EQ(DMSAppGetDMSSharedFilePath(), nullptr);
}

TEST_F(Lifecycle, PortMinusOneReturnsZeroAndStartsNothing) {
  info_.httpStreamingPort = -1;
  server_test::StepRecorder steps;
  LogCapture log;
  EXPECT_EQ(DMSAppInitialize(&connectionId_, &info_), 0);
  EXPECT_TRUE(steps.names().empty());
  EXPECT_FALSE(log.has("[DMSAppInitialize] Start HTTP server"));
  EXPECT_EQ(connectionId_, -7);
  EXPECT_EQ(DMSAppGetDMSConnectionID(), -1);
  EXPECT_EQ(DMSAppGetHTTPStreamingPort(), -1);
}

TEST_F(Lifecycle, NegativeConnectionIdReturnsZeroAndStartsNothing) {
  FakeStack::instance().connectionID = -2;
  server_test::StepRecorder steps;
  EXPECT_EQ(DMSAppInitialize(&connectionId_, &info_), 0);
  EXPECT_TRUE(steps.names().empty());
  EXPECT_EQ(connectionId_, -7);
}

TEST_F(Lifecycle, BadDescriptionDirectoryStopsBeforeTheStack) {
  server_test::writeFile(dir_ / "file", "x");
  const std::string bad = dir_ / "file/desc";
  info_.descriptionDir = bad.c_str();
  LogCapture log;
  EXPECT_EQ(DMSAppInitialize(&connectionId_, &info_), 0);
  EXPECT_TRUE(log.has("[DMSAppInitialize] DMSAppCheckFileState Failed", 2));
  EXPECT_TRUE(FakeStack::instance().calls().empty());
  EXPECT_EQ(DMSAppGetDBPathMA(), nullptr);
}

TEST_F(Lifecycle, NullDescriptionDirectoryIsRefused) {
  info_.descriptionDir = nullptr;
  LogCapture log;
  EXPECT_EQ(DMSAppInitialize(&connectionId_, &info_), 0);
  EXPECT_TRUE(log.has("[DMSAppCheckFileState] Input - pDirPath is NULL\n"));
  EXPECT_TRUE(FakeStack::instance().calls().empty());
}

TEST_F(Lifecycle, StackInitializeFailureStops) {
  FakeStack::instance().initializeResult = 1;
  server_test::StepRecorder steps;
  EXPECT_EQ(DMSAppInitialize(&connectionId_, &info_), 0);
  EXPECT_EQ(FakeStack::instance().callNames(), Names{"NUVDMSInitialize"});
  EXPECT_TRUE(steps.names().empty());
}

TEST_F(Lifecycle, MissingModelNameStopsBeforeTheFriendlyName) {
  NUVSetModelName(nullptr);
  server_test::StepRecorder steps;
  LogCapture log;
  EXPECT_EQ(DMSAppInitialize(&connectionId_, &info_), 0);
  EXPECT_TRUE(log.has("[DMSAppInitialize] : no model name!"));
  EXPECT_EQ(FakeStack::instance().count("NUVSetDeviceName"), 0u);
  EXPECT_TRUE(steps.names().empty());
}

TEST_F(Lifecycle, EmptyModelNameStopsBeforeTheFriendlyName) {
  NUVSetModelName("");
  LogCapture log;
  EXPECT_EQ(DMSAppInitialize(&connectionId_, &info_), 0);
  EXPECT_TRUE(log.has("[DMSAppInitialize] : no model name!"));
  EXPECT_EQ(FakeStack::instance().count("NUVSetDeviceName"), 0u);
}

TEST_F(Lifecycle, TerminateUndoesEverythingInOrderAndEndsWithTheStack) {
  ASSERT_EQ(initialize(), 1);
  FakeStack::instance().reset();
  server_test::StepRecorder steps;
  EXPECT_EQ(terminate(), 1);
  EXPECT_EQ(steps.names(), kTerminateSteps);
  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].name, "NUVDMSTerminate");
  EXPECT_EQ(calls[0].args, Names{"5"});
  EXPECT_EQ(DMSAppGetDBPathMA(), nullptr) << "stored paths are freed";
}

TEST_F(Lifecycle, TerminateReturnsTheStacksResult) {
  ASSERT_EQ(initialize(), 1);
  FakeStack::instance().terminateResult = 0;
  EXPECT_EQ(terminate(), 0);
}

TEST_F(Lifecycle, StartStartsTheStackThenAccessControl) {
  ASSERT_EQ(initialize(), 1);
  FakeStack::instance().reset();
  LogCapture log;
  EXPECT_EQ(DMSAppStart(1, 1800, 0), 1);
  const std::vector<FakeCall> calls = FakeStack::instance().calls();
  ASSERT_EQ(calls.size(), 5u);
  EXPECT_EQ(calls[0].name, "NUVDMSStart");
  EXPECT_EQ(calls[0].args, (Names{"5", "1800", "0"}));
  EXPECT_EQ(calls[1].name, "NUVDmsACLInitialize");
  EXPECT_EQ(calls[2].name, "GetAllShareMode");
  EXPECT_EQ(calls[3].name, "NUVDmsACLSetMode");
  EXPECT_EQ(calls[3].args, (Names{"5", "1"}));
  EXPECT_EQ(calls[4].name, "NUVDmsACLAddDevNameFilterRule");
  EXPECT_EQ(calls[4].args, (Names{"5", "TLX_HHP_", "0", "+"}));
  EXPECT_TRUE(log.has("[DMSAppInitialize] NUVDMSStart  SUCCESS", 1));
  EXPECT_EQ(dms_server::aclActive(), 1);
}

TEST_F(Lifecycle, StartUsesConfirmModeUnlessTheCameraSharesWithAll) {
  ASSERT_EQ(initialize(), 1);
  for (int shareMode : {0, 2, 3}) {
    FakeStack::instance().reset();
    FakeStack::instance().shareMode = shareMode;
    EXPECT_EQ(DMSAppStart(1, 0, 0), 1);
    const std::vector<FakeCall> calls = FakeStack::instance().calls();
    ASSERT_GE(calls.size(), 4u);
    EXPECT_EQ(calls[3].args, (Names{"5", "4"})) << "share mode " << shareMode;
  }
  FakeStack::instance().reset();
  FakeStack::instance().shareMode = 1;
  EXPECT_EQ(DMSAppStart(2, 0, 0), 1);
  EXPECT_EQ(FakeStack::instance().calls().at(3).args, (Names{"5", "2"}));
}

TEST_F(Lifecycle, StartFailureLeavesAccessControlAlone) {
  ASSERT_EQ(initialize(), 1);
  FakeStack::instance().reset();
  FakeStack::instance().startResult = 1;
  LogCapture log;
  EXPECT_EQ(DMSAppStart(1, 0, 0), 0);
  EXPECT_EQ(FakeStack::instance().callNames(), Names{"NUVDMSStart"});
  EXPECT_TRUE(log.has("[DMSAppInitialize]NUVDMSStart  not stopped", 2));
}

TEST_F(Lifecycle, StopEndsAccessControlThenStopsTheStack) {
  ASSERT_EQ(initialize(), 1);
  ASSERT_EQ(DMSAppStart(1, 0, 0), 1);
  FakeStack::instance().reset();
  LogCapture log;
  EXPECT_EQ(DMSAppStop(), 1);
  EXPECT_EQ(FakeStack::instance().callNames(), (Names{"NUVDmsACLTerminate", "NUVDMSStop"}));
  EXPECT_EQ(FakeStack::instance().calls().at(1).args, Names{"5"});
  EXPECT_TRUE(log.has("[DMSAppInitialize] DMSAppStop  SUCCESS", 1));
  EXPECT_EQ(dms_server::aclActive(), 0);
}

TEST_F(Lifecycle, StopFailureIsReported) {
  ASSERT_EQ(initialize(), 1);
  FakeStack::instance().stopResult = 1;
  LogCapture log;
  EXPECT_EQ(DMSAppStop(), 0);
  EXPECT_TRUE(log.has("[DMSAppInitialize]DMSAppStop  not stopped", 2));
}

TEST_F(Lifecycle, StartAndStopMayAlternate) {
  ASSERT_EQ(initialize(), 1);
  FakeStack::instance().reset();
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(DMSAppStart(1, 0, 0), 1);
    EXPECT_EQ(DMSAppStop(), 1);
  }
  EXPECT_EQ(FakeStack::instance().count("NUVDMSStart"), 3u);
  EXPECT_EQ(FakeStack::instance().count("NUVDMSStop"), 3u);
}

TEST_F(Lifecycle, FullCycleTwiceInOneProcess) {
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(initialize(), 1) << round;
    EXPECT_EQ(DMSAppStart(1, 0, 0), 1);
    EXPECT_EQ(DMSAppStop(), 1);
    EXPECT_EQ(terminate(), 1);
  }
}

TEST_F(Lifecycle, SecondInitializeFindsTheDescriptionFilesGood) {
  ASSERT_EQ(initialize(), 1);
  terminate();
  LogCapture log;
  ASSERT_EQ(initialize(), 1);
  EXPECT_TRUE(log.has("[DMSAppCheckFileState] XML Files are good.\n", 0));
}
