// Local network interfaces: which are up with an IPv4 address, and which
// local address faces a given client.
//
// Thread safety: pure functions.
#ifndef DMS_STACK_DEVICE_NETWORK_H
#define DMS_STACK_DEVICE_NETWORK_H

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace dmsstack {

struct InterfaceAddress {
  std::string name;     // "eth0"
  std::string address;  // "192.168.1.10"
};

// Every interface that is up, with each of its IPv4 addresses, loopback
// included, in the kernel's order.
std::vector<InterfaceAddress> upInterfaces();

// The first IPv4 address of interface `name`, or "" when it has none.
std::string interfaceAddress(const std::string& name);

// The local IPv4 address the kernel would use to reach `clientIP` (found by
// connecting a UDP socket, which sends nothing), or "" when there is no route
// or `clientIP` is not a dotted IPv4 address.
std::string localAddressFacing(const std::string& clientIP);

// The same, remembered per client for kLocalAddressMemory: every Browse asks
// for the address its res URLs name, and finding it takes a socket, a route
// lookup and a close. A route that changes shows within that time.
constexpr std::chrono::seconds kLocalAddressMemory{2};
constexpr size_t kRememberedClients = 16;
// `lookup` finds an address not remembered (localAddressFacing; tests give
// their own).
std::string rememberedAddressFacing(
    const std::string& clientIP, std::chrono::steady_clock::time_point now,
    std::string (*lookup)(const std::string&) = &localAddressFacing);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_NETWORK_H
