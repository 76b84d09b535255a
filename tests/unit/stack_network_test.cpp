// Local interfaces and addresses, through the exported functions too.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "network.h"
#include "nuv_dms.h"

TEST(Network, LoopbackIsAnUpInterface) {
  bool found = false;
  for (const dmsstack::InterfaceAddress& nic : dmsstack::upInterfaces())
    if (nic.name == "lo" && nic.address == "127.0.0.1") found = true;
  EXPECT_TRUE(found);
  EXPECT_EQ(dmsstack::interfaceAddress("lo"), "127.0.0.1");
  EXPECT_EQ(dmsstack::interfaceAddress("no-such-if0"), "");
}

TEST(Network, AddressFacingALoopbackClientIsLoopback) {
  EXPECT_EQ(dmsstack::localAddressFacing("127.0.0.1"), "127.0.0.1");
  EXPECT_EQ(dmsstack::localAddressFacing("127.0.0.2"), "127.0.0.1");
  EXPECT_EQ(dmsstack::localAddressFacing("not an ip"), "");
  EXPECT_EQ(dmsstack::localAddressFacing("::1"), "");
}

TEST(Network, ExportedAddressFunctionAllocates) {
  char* address = NUVUtilGetInterfaceIPAddress("127.0.0.1");
  ASSERT_NE(address, nullptr);
  EXPECT_STREQ(address, "127.0.0.1");
  free(address);
  EXPECT_EQ(NUVUtilGetInterfaceIPAddress(nullptr), nullptr);
  EXPECT_EQ(NUVUtilGetInterfaceIPAddress("300.1.1.1"), nullptr);
}

TEST(Network, ExportedInterfaceListMatchesGetifaddrs) {
  stNUVAppList* list = nullptr;
  ASSERT_EQ(NUVGetNetworkInterfaceList(&list), 0);
  std::vector<dmsstack::InterfaceAddress> expected = dmsstack::upInterfaces();
  ASSERT_EQ(HNUVGetNoOfNetworkInterfaceFromResponse(list), static_cast<int>(expected.size()));
  for (size_t i = 0; i < expected.size(); ++i) {
    char* name = nullptr;
    char* address = nullptr;
    ASSERT_EQ(HNUVGetNetworkInfoFromResponse(list, static_cast<int>(i), &name, &address), 0);
    EXPECT_EQ(expected[i].name, name);
    EXPECT_EQ(expected[i].address, address);
  }
  EXPECT_EQ(
      HNUVGetNetworkInfoFromResponse(list, static_cast<int>(expected.size()), nullptr, nullptr), 1);
  NUVReleaseNetworkInterfaceList(list);
  EXPECT_EQ(NUVGetNetworkInterfaceList(nullptr), 1);
}
