// Local network interfaces: which are up with an IPv4 address, and which
// local address faces a given client.
//
// Thread safety: pure functions.
#ifndef DMS_STACK_DEVICE_NETWORK_H
#define DMS_STACK_DEVICE_NETWORK_H

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

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_NETWORK_H
