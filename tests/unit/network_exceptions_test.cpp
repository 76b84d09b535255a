// Slot 3: network-interface exceptions start and stop the HTTP server.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "network_exceptions.h"
#include "server_test_support.h"

namespace {

using Steps = std::vector<std::pair<std::string, std::string>>;

class NetworkExceptions : public ::testing::Test {
 protected:
  void SetUp() override {
    server_test::resetServerState();
    DMSAppSetHTTPStreamingPort(60151);
    DMSAppSetDMSConnectionID(5);
  }
  void TearDown() override {
    EXPECT_EQ(FakeStack::instance().outstandingRequests(), 0);
    server_test::resetServerState();
  }
};

}  // namespace

TEST_F(NetworkExceptions, InterfaceDownStopsTheServerOnItsAddress) {
  server_test::StepRecorder steps;
  dms_server::handleNetworkException(FakeStack::makeException(NUV_EXCEPTION_NIC_DOWN, "10.66.0.1"));
  EXPECT_EQ(steps.all(), (Steps{{"ServerToHandleFileTransfer::StopHTTPServer", "10.66.0.1"}}));
  EXPECT_EQ(FakeStack::instance().count("HNuvReleaseExceptionResource"), 1u);
}

TEST_F(NetworkExceptions, InterfaceUpStartsTheServerOnItsAddress) {
  server_test::StepRecorder steps;
  dms_server::handleNetworkException(FakeStack::makeException(NUV_EXCEPTION_NIC_UP, "10.66.0.1"));
  EXPECT_EQ(steps.all(), (Steps{{"ServerToHandleFileTransfer::StartHTTPServer", "10.66.0.1"}}));
  EXPECT_EQ(FakeStack::instance().count("HNuvReleaseExceptionResource"), 1u);
}

TEST_F(NetworkExceptions, InterfaceUpWithNegativePortStartsNothing) {
  DMSAppSetHTTPStreamingPort(-1);
  server_test::StepRecorder steps;
  dms_server::handleNetworkException(FakeStack::makeException(NUV_EXCEPTION_NIC_UP, "10.66.0.1"));
  EXPECT_TRUE(steps.all().empty());
  EXPECT_EQ(FakeStack::instance().count("HNuvReleaseExceptionResource"), 1u);
}

TEST_F(NetworkExceptions, OtherTypesAreIgnoredButReleased) {
  server_test::StepRecorder steps;
  for (int type : {0, 1, 4, 6, -1})
    dms_server::handleNetworkException(FakeStack::makeException(type, "10.66.0.1"));
  EXPECT_TRUE(steps.all().empty());
  EXPECT_EQ(FakeStack::instance().count("HNuvReleaseExceptionResource"), 5u);
}

TEST_F(NetworkExceptions, NullHandleIsIgnored) {
  dms_server::handleNetworkException(nullptr);
  EXPECT_TRUE(FakeStack::instance().calls().empty());
}
