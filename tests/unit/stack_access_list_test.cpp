// Access-control decisions by mode, entry and name rule.
#include <gtest/gtest.h>

#include "access_list.h"
#include "nuv_dms.h"

using dmsstack::AccessList;
using dmsstack::AclDecision;
using dmsstack::ClientDevice;

namespace {

ClientDevice device(const std::string& ip, const std::string& mac = "",
                    std::vector<std::string> names = {}) {
  return ClientDevice{ip, mac, std::move(names)};
}

}  // namespace

TEST(AccessList, AllowAllAdmitsEvenRefusedDevices) {
  AccessList list;
  list.reset();
  list.addNameRule("Bad", "-");
  list.addEntry(device("10.0.0.2"), false);
  EXPECT_EQ(list.decide(device("10.0.0.2", "", {"BadTV"})), AclDecision::Admit);
}

TEST(AccessList, AllowListedAdmitsOnlyEntriesAndPlusRules) {
  AccessList list;
  ASSERT_TRUE(list.setMode(NUV_ACL_MODE_ALLOW_LISTED));
  ASSERT_TRUE(list.addEntry(device("10.0.0.2"), true));
  ASSERT_TRUE(list.addNameRule("TLX_HHP_", "+"));
  EXPECT_EQ(list.decide(device("10.0.0.2")), AclDecision::Admit);
  EXPECT_EQ(list.decide(device("10.0.0.3", "", {"TLX_HHP_phone"})), AclDecision::Admit);
  EXPECT_EQ(list.decide(device("10.0.0.3", "", {"Other TLX_HHP_"})), AclDecision::Refuse);
  EXPECT_EQ(list.decide(device("10.0.0.4")), AclDecision::Refuse);
  EXPECT_FALSE(list.pending());
}

TEST(AccessList, DenyAllAdmitsOnlyPlusRules) {
  AccessList list;
  list.setMode(NUV_ACL_MODE_DENY_ALL);
  list.addEntry(device("10.0.0.2"), true);
  list.addNameRule("TLX_HHP_", "+");
  EXPECT_EQ(list.decide(device("10.0.0.2")), AclDecision::Refuse);
  EXPECT_EQ(list.decide(device("10.0.0.2", "", {"TLX_HHP_x"})), AclDecision::Admit);
}

TEST(AccessList, DenyListedRefusesOnlyRefusedEntriesAndMinusRules) {
  AccessList list;
  list.setMode(NUV_ACL_MODE_DENY_LISTED);
  list.addEntry(device("10.0.0.2"), false);
  list.addNameRule("Bad", "-");
  EXPECT_EQ(list.decide(device("10.0.0.2")), AclDecision::Refuse);
  EXPECT_EQ(list.decide(device("10.0.0.3", "", {"BadTV 1.0"})), AclDecision::Refuse);
  EXPECT_EQ(list.decide(device("10.0.0.3", "", {"GoodTV"})), AclDecision::Admit);
}

TEST(AccessList, EntryDecidesBeforeNameRules) {
  AccessList list;
  list.setMode(NUV_ACL_MODE_CONFIRM);
  list.addNameRule("TLX_HHP_", "+");
  list.addEntry(device("10.0.0.2"), false);
  EXPECT_EQ(list.decide(device("10.0.0.2", "", {"TLX_HHP_x"})), AclDecision::Refuse);
}

TEST(AccessList, FirstMatchingRuleWinsOverAnyOfTheNames) {
  AccessList list;
  list.setMode(NUV_ACL_MODE_DENY_LISTED);
  list.addNameRule("Sony", "-");
  list.addNameRule("BRAVIA", "+");
  EXPECT_EQ(list.decide(device("10.0.0.9", "", {"BRAVIA KDL", "Sony Corporation"})),
            AclDecision::Refuse);
}

TEST(AccessList, ConfirmReportsAnUnknownDeviceOnceUntilDecided) {
  AccessList list;
  list.setMode(NUV_ACL_MODE_CONFIRM);
  ClientDevice tv = device("10.0.0.5", "aa:bb:cc:dd:ee:ff", {"TV"});
  EXPECT_EQ(list.decide(tv), AclDecision::RefuseAndReport);
  ASSERT_TRUE(list.pending());
  EXPECT_EQ(list.pending()->ip, "10.0.0.5");
  EXPECT_EQ(list.decide(tv), AclDecision::Refuse);
  EXPECT_EQ(list.decide(tv), AclDecision::Refuse);
  ASSERT_TRUE(list.addEntry(*list.pending(), true));
  EXPECT_FALSE(list.pending());
  EXPECT_EQ(list.decide(tv), AclDecision::Admit);
}

TEST(AccessList, ConfirmKeepsOneDeviceWaitingAndReportsTheNextAfterTheDecision) {
  AccessList list;
  list.setMode(NUV_ACL_MODE_CONFIRM);
  EXPECT_EQ(list.decide(device("10.0.0.5")), AclDecision::RefuseAndReport);
  EXPECT_EQ(list.decide(device("10.0.0.6")), AclDecision::Refuse);
  EXPECT_EQ(list.pending()->ip, "10.0.0.5");
  list.addEntry(*list.pending(), false);
  EXPECT_EQ(list.decide(device("10.0.0.5")), AclDecision::Refuse);
  EXPECT_EQ(list.decide(device("10.0.0.6")), AclDecision::RefuseAndReport);
  EXPECT_EQ(list.pending()->ip, "10.0.0.6");
}

TEST(AccessList, MacMatchesWhenBothSidesKnowIt) {
  AccessList list;
  list.setMode(NUV_ACL_MODE_ALLOW_LISTED);
  list.addEntry(device("10.0.0.5", "aa:bb:cc:dd:ee:ff"), true);
  // Same device with a new DHCP lease.
  EXPECT_EQ(list.decide(device("10.0.0.77", "aa:bb:cc:dd:ee:ff")), AclDecision::Admit);
  // Another device that took over the old address.
  EXPECT_EQ(list.decide(device("10.0.0.5", "11:22:33:44:55:66")), AclDecision::Refuse);
  // No MAC known for the request: the IP decides.
  EXPECT_EQ(list.decide(device("10.0.0.5")), AclDecision::Admit);
}

TEST(AccessList, LaterEntryReplacesEarlierOne) {
  AccessList list;
  list.setMode(NUV_ACL_MODE_ALLOW_LISTED);
  list.addEntry(device("10.0.0.5"), true);
  list.addEntry(device("10.0.0.5"), false);
  EXPECT_EQ(list.decide(device("10.0.0.5")), AclDecision::Refuse);
}

TEST(AccessList, BadModesRulesAndFullTablesAreRefused) {
  AccessList list;
  EXPECT_FALSE(list.setMode(-1));
  EXPECT_FALSE(list.setMode(5));
  EXPECT_EQ(list.mode(), NUV_ACL_MODE_ALLOW_ALL);
  EXPECT_FALSE(list.addNameRule("", "+"));
  EXPECT_FALSE(list.addNameRule("x", "*"));
  for (int i = 0; i < 64; ++i) EXPECT_TRUE(list.addNameRule("p" + std::to_string(i), "+"));
  EXPECT_FALSE(list.addNameRule("one more", "+"));
  for (int i = 0; i < 256; ++i)
    EXPECT_TRUE(list.addEntry(
        device("10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250)), true));
  EXPECT_FALSE(list.addEntry(device("10.9.9.9"), true));
  EXPECT_TRUE(list.addEntry(device("10.0.0.1"), false));  // replacing still works
}
