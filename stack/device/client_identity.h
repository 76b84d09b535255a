// Who a client device is: its MAC address from the kernel's ARP table and
// its names from the HTTP headers it sends.
//
// Thread safety: pure functions (lookupMac reads /proc/net/arp).
#ifndef DMS_STACK_DEVICE_CLIENT_IDENTITY_H
#define DMS_STACK_DEVICE_CLIENT_IDENTITY_H

#include <string>
#include <string_view>
#include <vector>

namespace dmsstack {

// The MAC address (lower case, colon-separated) of `ip` in text laid out as
// /proc/net/arp, or "" when the entry is missing or incomplete.
std::string macFromArpTable(std::string_view table, std::string_view ip);

// The same, read from /proc/net/arp.
std::string lookupMac(const std::string& ip);

// The names a device goes by, most specific first: the model name (mn="...")
// of X-AV-Client-Info, then the whole X-AV-Client-Info, then the User-Agent.
// Empty headers give no name; each name is cut to kMaxDeviceNameBytes.
std::vector<std::string> deviceNames(std::string_view userAgent, std::string_view avClientInfo);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_CLIENT_IDENTITY_H
