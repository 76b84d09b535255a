// Whether the corrections of libupnp's socket set-up (see
// upnp_socket_fixes.cpp) are in effect in this process. Without them libupnp
// 1.8.4 listens on every IPv6 address and on SSDP's port of every IPv4
// address, and on platforms with 8-byte longs sends its announcements through
// the default route, whatever address or interface the device was given.
#ifndef DMS_STACK_DEVICE_UPNP_SOCKET_FIXES_H
#define DMS_STACK_DEVICE_UPNP_SOCKET_FIXES_H

namespace dmsstack {

// True when libupnp's calls of socket(), bind() and setsockopt() reach the
// stack's wrappers.
bool upnpSocketFixesActive();

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_UPNP_SOCKET_FIXES_H
