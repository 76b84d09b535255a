// The running access-control list: activation, pending decisions, MAC lookup
// and remembered device names.
#include <gtest/gtest.h>

#include "acl_service.h"
#include "nuv_dms.h"

using dmsstack::AclDecision;
using dmsstack::AclService;
using dmsstack::ClientDevice;

namespace {

std::string fakeArp(const std::string& ip) {
  if (ip == "10.0.0.5") return "aa:bb:cc:dd:ee:ff";
  return "";
}

}  // namespace

TEST(AclService, InactiveListAdmitsAndRefusesSettings) {
  AclService acl(&fakeArp);
  ClientDevice client;
  EXPECT_EQ(acl.check("10.0.0.5", &client), AclDecision::Admit);
  EXPECT_FALSE(acl.setMode(NUV_ACL_MODE_DENY_ALL));
  EXPECT_FALSE(acl.addNameRule("x", "+"));
  EXPECT_EQ(acl.mode(), NUV_ACL_MODE_ALLOW_ALL);
}

TEST(AclService, CheckFillsMacAndIp) {
  AclService acl(&fakeArp);
  acl.initialize();
  ASSERT_TRUE(acl.setMode(NUV_ACL_MODE_CONFIRM));
  ClientDevice client;
  EXPECT_EQ(acl.check("10.0.0.5", &client), AclDecision::RefuseAndReport);
  EXPECT_EQ(client.ip, "10.0.0.5");
  EXPECT_EQ(client.mac, "aa:bb:cc:dd:ee:ff");
}

TEST(AclService, PendingDecisionAppliesToTheReportedDevice) {
  AclService acl(&fakeArp);
  acl.initialize();
  acl.setMode(NUV_ACL_MODE_CONFIRM);
  EXPECT_FALSE(acl.addEntry(NUV_ACL_ADMIT, NUV_ACL_ENTRY_PENDING, "1.1.1.1", "DEV_MELONG"));
  ClientDevice client;
  ASSERT_EQ(acl.check("10.0.0.5", &client), AclDecision::RefuseAndReport);
  // The placeholders are ignored for a pending decision.
  ASSERT_TRUE(acl.addEntry(NUV_ACL_ADMIT, NUV_ACL_ENTRY_PENDING, "1.1.1.1", "DEV_MELONG"));
  EXPECT_EQ(acl.check("10.0.0.5", &client), AclDecision::Admit);
  EXPECT_EQ(acl.check("1.1.1.1", &client), AclDecision::RefuseAndReport);
}

TEST(AclService, EntryByIpLooksTheMacUp) {
  AclService acl(&fakeArp);
  acl.initialize();
  acl.setMode(NUV_ACL_MODE_ALLOW_LISTED);
  ASSERT_TRUE(acl.addEntry(NUV_ACL_ADMIT, NUV_ACL_ENTRY_BY_IP, "10.0.0.5", "TV"));
  ClientDevice client;
  EXPECT_EQ(acl.check("10.0.0.5", &client), AclDecision::Admit);
  EXPECT_FALSE(acl.addEntry(NUV_ACL_ADMIT, NUV_ACL_ENTRY_BY_IP, "", "TV"));
  EXPECT_FALSE(acl.addEntry(2, NUV_ACL_ENTRY_BY_IP, "10.0.0.6", ""));
  EXPECT_FALSE(acl.addEntry(NUV_ACL_ADMIT, 7, "10.0.0.6", ""));
}

TEST(AclService, NamesSeenInHttpHeadersReachRules) {
  AclService acl(&fakeArp);
  acl.initialize();
  acl.setMode(NUV_ACL_MODE_DENY_ALL);
  acl.addNameRule("TLX_HHP_", "+");
  ClientDevice client;
  EXPECT_EQ(acl.check("10.0.0.8", &client), AclDecision::Refuse);
  acl.noteClientHeaders("10.0.0.8", "TLX_HHP_Phone/2.0 UPnP/1.0", "");
  EXPECT_EQ(acl.check("10.0.0.8", &client), AclDecision::Admit);
  ASSERT_EQ(client.names.size(), 1u);
  EXPECT_EQ(client.names[0], "TLX_HHP_Phone/2.0 UPnP/1.0");
}

TEST(AclService, RememberedNamesAreBounded) {
  AclService acl(&fakeArp);
  acl.initialize();
  for (int i = 0; i < 300; ++i) acl.noteClientHeaders("10.1.0." + std::to_string(i), "UA", "");
  ClientDevice first;
  ClientDevice last;
  acl.check("10.1.0.0", &first);
  acl.check("10.1.0.299", &last);
  EXPECT_TRUE(first.names.empty());
  EXPECT_EQ(last.names, std::vector<std::string>{"UA"});
}

TEST(AclService, InitializeClearsAndTerminateAdmitsAll) {
  AclService acl(&fakeArp);
  acl.initialize();
  acl.setMode(NUV_ACL_MODE_DENY_ALL);
  ClientDevice client;
  EXPECT_EQ(acl.check("10.0.0.9", &client), AclDecision::Refuse);
  acl.initialize();
  EXPECT_EQ(acl.mode(), NUV_ACL_MODE_ALLOW_ALL);
  acl.setMode(NUV_ACL_MODE_DENY_ALL);
  acl.terminate();
  EXPECT_FALSE(acl.active());
  EXPECT_EQ(acl.check("10.0.0.9", &client), AclDecision::Admit);
}
