// Local interfaces and addresses, through the exported functions too.
#include <gtest/gtest.h>

#include <chrono>
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

TEST(Network, RememberedAddressAgreesWithTheLookupAtAnyAge) {
  const auto now = std::chrono::steady_clock::now();
  for (const auto at :
       {now, now + std::chrono::milliseconds(1), now + dmsstack::kLocalAddressMemory,
        now + 10 * dmsstack::kLocalAddressMemory}) {
    EXPECT_EQ(dmsstack::rememberedAddressFacing("127.0.0.3", at), "127.0.0.1");
    EXPECT_EQ(dmsstack::rememberedAddressFacing("not an ip", at), "");
  }
  // More clients than are remembered: each still gets its own answer.
  for (int i = 1; i <= static_cast<int>(2 * dmsstack::kRememberedClients); ++i) {
    const std::string client = "127.0.1." + std::to_string(i);
    EXPECT_EQ(dmsstack::rememberedAddressFacing(client, now), "127.0.0.1") << client;
  }
  EXPECT_EQ(dmsstack::rememberedAddressFacing("::1", now), "");
}

namespace {

int gLookups = 0;
std::string countingLookup(const std::string&) { return "10.0.0." + std::to_string(++gLookups); }

}  // namespace

TEST(Network, RememberedAddressIsLookedUpOncePerClientAndMemory) {
  gLookups = 0;
  const auto now = std::chrono::steady_clock::now();
  const auto remembered = [](const char* client, std::chrono::steady_clock::time_point at) {
    return dmsstack::rememberedAddressFacing(client, at, &countingLookup);
  };
  EXPECT_EQ(remembered("192.0.2.1", now), "10.0.0.1");
  EXPECT_EQ(remembered("192.0.2.1", now + std::chrono::milliseconds(500)), "10.0.0.1");
  EXPECT_EQ(remembered("192.0.2.2", now), "10.0.0.2");  // another client: its own lookup
  EXPECT_EQ(gLookups, 2);
  // Once the memory has passed, the route is looked up again.
  EXPECT_EQ(remembered("192.0.2.1", now + dmsstack::kLocalAddressMemory), "10.0.0.3");
  EXPECT_EQ(gLookups, 3);
  // The oldest client is forgotten when more are remembered than kept.
  for (size_t i = 0; i < dmsstack::kRememberedClients; ++i)
    remembered(("198.51.100." + std::to_string(i)).c_str(), now + dmsstack::kLocalAddressMemory);
  const int before = gLookups;
  remembered("192.0.2.1", now + dmsstack::kLocalAddressMemory);
  EXPECT_EQ(gLookups, before + 1);
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
