// MAC addresses from the ARP table and device names from HTTP headers.
#include <gtest/gtest.h>

#include "client_identity.h"

using dmsstack::deviceNames;
using dmsstack::macFromArpTable;

namespace {

const char* const kArp =
    "IP address       HW type     Flags       HW address            Mask     Device\n"
    "192.168.1.20     0x1         0x2         AA:BB:cc:dd:ee:01     *        wlan0\n"
    "192.168.1.2      0x1         0x2         aa:bb:cc:dd:ee:02     *        wlan0\n"
    "192.168.1.30     0x1         0x0         00:00:00:00:00:00     *        wlan0\n"
    "192.168.1.31     0x1         0x2         00:00:00:00:00:00     *        wlan0\n"
    "192.168.1.40     0x1         0x2         garbage               *        wlan0";

}  // namespace

TEST(ClientIdentity, MacOfAKnownAddressInLowerCase) {
  EXPECT_EQ(macFromArpTable(kArp, "192.168.1.20"), "aa:bb:cc:dd:ee:01");
  EXPECT_EQ(macFromArpTable(kArp, "192.168.1.2"), "aa:bb:cc:dd:ee:02");
}

TEST(ClientIdentity, IncompleteMissingOrMalformedEntriesGiveNoMac) {
  EXPECT_EQ(macFromArpTable(kArp, "192.168.1.30"), "");
  EXPECT_EQ(macFromArpTable(kArp, "192.168.1.31"), "");
  EXPECT_EQ(macFromArpTable(kArp, "192.168.1.40"), "");
  EXPECT_EQ(macFromArpTable(kArp, "192.168.1.99"), "");
  EXPECT_EQ(macFromArpTable(kArp, "IP"), "");
  EXPECT_EQ(macFromArpTable("", "192.168.1.2"), "");
}

TEST(ClientIdentity, LoopbackHasNoArpEntry) { EXPECT_EQ(dmsstack::lookupMac("127.0.0.1"), ""); }

TEST(ClientIdentity, NamesPreferTheModelOfXAvClientInfo) {
  EXPECT_EQ(deviceNames("Mozilla/5.0 DLNADOC/1.50",
                        "av=5.0; cn=\"Sony Corporation\"; mn=\"BRAVIA KDL-40X2500\"; mv=\"1.7\";"),
            (std::vector<std::string>{
                "BRAVIA KDL-40X2500",
                "av=5.0; cn=\"Sony Corporation\"; mn=\"BRAVIA KDL-40X2500\"; mv=\"1.7\";",
                "Mozilla/5.0 DLNADOC/1.50"}));
}

TEST(ClientIdentity, UnquotedModelAndMissingModel) {
  EXPECT_EQ(deviceNames("", "mn=Phone 3 ; cn=X"),
            (std::vector<std::string>{"Phone 3", "mn=Phone 3 ; cn=X"}));
  EXPECT_EQ(deviceNames(" UA ", "cn=X"), (std::vector<std::string>{"cn=X", "UA"}));
  EXPECT_TRUE(deviceNames("", "  ").empty());
}

TEST(ClientIdentity, NamesAreCutToFitTheMediaServerBuffer) {
  std::vector<std::string> names = deviceNames(std::string(500, 'u'), "");
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0], std::string(127, 'u'));
  std::string accents;
  for (int i = 0; i < 100; ++i) accents += "\xc3\xa9";
  names = deviceNames(accents, "");
  EXPECT_EQ(names[0].size(), 126u);  // never half a character
}
