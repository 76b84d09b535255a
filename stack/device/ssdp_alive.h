// SSDP ssdp:alive announcements sent on request (NUVDMSSendAliveTemporary),
// beside GSSDP's own periodic ones: one round is the set of NOTIFY
// messages UPnP 1.0 asks for (root device, UDN, device type, each service
// type). Byebye is left to GSSDP, which sends it when the device is
// unregistered.
//
// Thread safety: pure builder; sendAliveRounds may run on any thread.
#ifndef DMS_STACK_DEVICE_SSDP_ALIVE_H
#define DMS_STACK_DEVICE_SSDP_ALIVE_H

#include <string>
#include <vector>

namespace dmsstack {

struct AliveTarget {
  std::string location;  // description URL
  std::string udn;       // "uuid:..."
  std::string deviceType;
  std::vector<std::string> serviceTypes;
  std::string server;  // SERVER header value
  int maxAge = 1800;
};

// The NOTIFY messages of one round, each complete with its blank line.
std::vector<std::string> buildAliveMessages(const AliveTarget& target);

// Sends `rounds` rounds from `localAddress` to 239.255.255.250:1900 through
// the interface holding that address, 100 ms apart. False when the socket
// cannot be set up or no message could be sent.
bool sendAliveRounds(const std::string& localAddress, const std::vector<std::string>& messages,
                     int rounds);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_SSDP_ALIVE_H
