// The exported device functions without a network: argument checks, state
// variables and access control around initialisation and termination.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "failing_allocations.h"
#include "nuv_config.h"
#include "nuv_dms.h"

namespace {

const char* const kCds = "urn:schemas-upnp-org:service:ContentDirectory";

void noAction(int, int, stNUVAppList*) {}

class DeviceApi : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/stack-api-XXXXXX";
    dir_ = mkdtemp(pattern);
    callbacks_ = {noAction, nullptr, nullptr, nullptr};
  }
  void TearDown() override {
    NUVDMSTerminate(0);
    std::system(("rm -rf '" + dir_ + "'").c_str());
  }
  int initialize() {
    int id = -1;
    int rc = NUVDMSInitialize(&callbacks_, dir_.c_str(), &id);
    EXPECT_EQ(id, rc == 0 ? 0 : -1);
    return rc;
  }
  std::string dir_;
  stNUVDMSCallbacks callbacks_;
};

std::string value(const char* service, const char* name) {
  char* text = nullptr;
  if (NUVDMSGetStateVariableValue(0, service, name, &text) != 0) return "(failed)";
  std::string copy = text;
  free(text);
  return copy;
}

// An allocation failure inside an exported function is its failure result,
// never an exception into the C caller, and leaks nothing (ASan).
TEST(StackBoundary, AllocationFailureInAnExportBecomesItsFailureResult) {
  // Keys and values longer than any short-string buffer, so that they
  // allocate.
  const std::string key(40, 'K');
  const std::string text(60, 'v');
  int points = failing_allocations::sweep(
      [&] { return NUVSetConfiguration(key.c_str(), text.c_str()); },
      [](int rc, bool failed) { EXPECT_TRUE(rc == 0 || (failed && rc == 1)) << rc; });
  EXPECT_GT(points, 0);
  points = failing_allocations::sweep(
      [&] {
        // -1: null; 1: the value stored; 0: something else.
        char* value = NUVGetConfigurationMA(key.c_str());
        const int read = value == nullptr ? -1 : text == value ? 1 : 0;
        free(value);
        return read;
      },
      [](int read, bool failed) { EXPECT_TRUE(read == 1 || (failed && read == -1)) << read; });
  EXPECT_GT(points, 0);
  NUVClearConfiguration();

  points = failing_allocations::sweep(
      [] {
        stNUVAppList* list = nullptr;
        const int rc = NUVGetNetworkInterfaceList(&list);
        const int count = HNUVGetNoOfNetworkInterfaceFromResponse(list);
        NUVReleaseNetworkInterfaceList(list);
        return std::make_pair(rc, count);
      },
      [](std::pair<int, int> result, bool failed) {
        // The loopback interface is up in any namespace the tests run in.
        EXPECT_TRUE((result.first == 0 && result.second >= 1) ||
                    (failed && result.first == 1 && result.second == 0))
            << result.first << " " << result.second;
      });
  EXPECT_GT(points, 0);
}

}  // namespace

TEST_F(DeviceApi, InitializeChecksItsArgumentsAndHappensOnce) {
  int id = -1;
  EXPECT_EQ(NUVDMSInitialize(nullptr, dir_.c_str(), &id), 1);
  EXPECT_EQ(NUVDMSInitialize(&callbacks_, nullptr, &id), 1);
  EXPECT_EQ(NUVDMSInitialize(&callbacks_, "", &id), 1);
  EXPECT_EQ(NUVDMSInitialize(&callbacks_, dir_.c_str(), nullptr), 1);
  ASSERT_EQ(initialize(), 0);
  EXPECT_EQ(NUVDMSInitialize(&callbacks_, dir_.c_str(), &id), 1);
  EXPECT_EQ(NUVDMSTerminate(1), 0);
  EXPECT_EQ(NUVDMSTerminate(0), 1);
  EXPECT_EQ(NUVDMSTerminate(0), 0);
  ASSERT_EQ(initialize(), 0);
}

TEST_F(DeviceApi, StateVariablesStartFreshAndKeepUpdates) {
  ASSERT_EQ(initialize(), 0);
  EXPECT_EQ(value(kCds, "SystemUpdateID"), "0");
  EXPECT_EQ(NUVDMSUpdateStateVariableValue(0, kCds, "SystemUpdateID", "12"), 0);
  EXPECT_EQ(value(kCds, "SystemUpdateID"), "12");
  EXPECT_EQ(value("urn:schemas-upnp-org:service:ContentDirectory:1", "SystemUpdateID"), "12");
  EXPECT_EQ(NUVDMSUpdateStateVariableValue(0, "urn:x:service:Other", "A", "1"), 1);
  EXPECT_EQ(NUVDMSUpdateStateVariableValue(0, kCds, "SystemUpdateID", nullptr), 1);
  EXPECT_EQ(NUVDMSUpdateStateVariableValue(3, kCds, "SystemUpdateID", "1"), 1);
  char* text = nullptr;
  EXPECT_EQ(NUVDMSGetStateVariableValue(0, kCds, "NoSuchVariable", &text), 1);
  EXPECT_EQ(NUVDMSGetStateVariableValue(0, kCds, "SystemUpdateID", nullptr), 1);
  ASSERT_EQ(NUVDMSTerminate(0), 1);
  EXPECT_EQ(NUVDMSGetStateVariableValue(0, kCds, "SystemUpdateID", &text), 1);
  ASSERT_EQ(initialize(), 0);
  EXPECT_EQ(value(kCds, "SystemUpdateID"), "0");
}

TEST_F(DeviceApi, StoppedDeviceRefusesStopAliveAnswersAndHasNoUrl) {
  ASSERT_EQ(initialize(), 0);
  EXPECT_EQ(NUVDMSStop(0), 1);
  EXPECT_EQ(NUVDMSSendAliveTemporary(0, 1, 0), 1);
  EXPECT_EQ(NUVDMSSendResponse(0, 1, "<u:R xmlns:u=\"urn:x\"/>"), 1);
  EXPECT_EQ(NUVDMSSendResponse(0, 1, nullptr), 1);
  EXPECT_EQ(NUVDMSGetDescriptionURLMA(0), nullptr);
}

TEST_F(DeviceApi, StartFailsCleanlyWithoutAUsableDescription) {
  ASSERT_EQ(initialize(), 0);
  EXPECT_EQ(NUVDMSStart(0, 0, 0), 1);  // no DeviceDescription.xml
  std::ofstream(dir_ + "/DeviceDescription.xml") << "<root><device></device></root>";
  EXPECT_EQ(NUVDMSStart(0, 0, 0), 1);  // no UDN element
  EXPECT_EQ(NUVDMSStart(5, 0, 0), 1);
  EXPECT_EQ(NUVDMSGetDescriptionURLMA(0), nullptr);
  // The UDN was created all the same, for the next start.
  EXPECT_EQ(access((dir_ + "/udn").c_str(), F_OK), 0);
}

TEST_F(DeviceApi, ConfigurationSettersCheckTheirValues) {
  EXPECT_EQ(NUVDMSSetBindAddress("10.0.0.300"), 1);
  EXPECT_EQ(NUVDMSSetBindAddress(nullptr), 1);
  EXPECT_EQ(NUVDMSSetBindInterface(""), 1);
  EXPECT_EQ(NUVDMSSetBindInterface("an-interface-name-too-long"), 1);
  EXPECT_EQ(NUVDMSSetPort(-1), 1);
  EXPECT_EQ(NUVDMSSetPort(65536), 1);
  EXPECT_EQ(NUVDMSSetActionTimeout(0), 1);
  EXPECT_EQ(NUVDMSSetBindInterface("lo"), 0);
  EXPECT_EQ(NUVDMSSetBindAddress("127.0.0.1"), 0);
  EXPECT_EQ(NUVDMSSetPort(0), 0);
  EXPECT_EQ(NUVDMSSetActionTimeout(30000), 0);
}

TEST_F(DeviceApi, AccessControlNeedsAnInitialisedDeviceAndItsOwnInitialisation) {
  EXPECT_EQ(NUVDmsACLInitialize(0), 1);
  ASSERT_EQ(initialize(), 0);
  EXPECT_EQ(NUVDmsACLSetMode(0, NUV_ACL_MODE_CONFIRM), 1);  // not initialised yet
  ASSERT_EQ(NUVDmsACLInitialize(0), 0);
  EXPECT_EQ(NUVDmsACLInitialize(7), 1);
  EXPECT_EQ(NUVDmsACLSetMode(0, NUV_ACL_MODE_CONFIRM), 0);
  EXPECT_EQ(NUVDmsACLSetMode(0, 5), 1);
  EXPECT_EQ(NUVDmsACLAddDevNameFilterRule(0, "TLX_HHP_", 0, "+"), 0);
  EXPECT_EQ(NUVDmsACLAddDevNameFilterRule(0, "TLX_HHP_", 0, "?"), 1);
  EXPECT_EQ(NUVDmsACLAddDevNameFilterRule(0, nullptr, 0, "+"), 1);
  // Nobody waits for a decision yet.
  EXPECT_EQ(NUVDmsACLAddEntry(0, NUV_ACL_ADMIT, NUV_ACL_ENTRY_PENDING, "1.1.1.1", "DEV_MELONG"), 1);
  EXPECT_EQ(NUVDmsACLAddEntry(0, NUV_ACL_ADMIT, NUV_ACL_ENTRY_BY_IP, "10.0.0.2", "TV"), 0);
  EXPECT_EQ(NUVDmsACLAddEntry(0, NUV_ACL_ADMIT, NUV_ACL_ENTRY_BY_IP, nullptr, nullptr), 1);
  EXPECT_EQ(NUVDmsACLTerminate(0), 0);
  EXPECT_EQ(NUVDmsACLSetMode(0, NUV_ACL_MODE_CONFIRM), 1);
}
