// Bounds of the stack's device side, in one place. Each is a hard limit:
// input beyond it is refused (and logged), never truncated silently, except
// where a comment says a value is cut.
#ifndef DMS_STACK_DEVICE_STACK_LIMITS_H
#define DMS_STACK_DEVICE_STACK_LIMITS_H

#include <chrono>
#include <cstddef>

namespace dmsstack {

// Largest SOAP request body the control URLs accept (413 beyond). A
// CreateObject with its DIDL-Lite Elements is a few KiB; Browse far less.
constexpr size_t kMaxSoapRequestBytes = 64 * 1024;

// Listen backlog of the UPnP server. libsoup listens with GLib's default of
// 10, and a burst of control points (or one player opening several
// connections) beyond it waits a second for each SYN the kernel dropped.
constexpr int kListenBacklog = 256;

// Most in-arguments taken from one action request; ContentDirectory:1
// actions have at most six.
constexpr size_t kMaxActionArguments = 32;

// Largest response body the media server may hand to NUVDMSSendResponse.
// A Browse of 100 items with every res attribute stays well below.
constexpr size_t kMaxResponseBodyBytes = 4 * 1024 * 1024;

// How long a delivered action waits for NUVDMSSendResponse by default.
constexpr std::chrono::milliseconds kDefaultActionTimeout{30000};

// Largest description file read from the description directory.
constexpr size_t kMaxDescriptionFileBytes = 256 * 1024;

// Largest service description or icon copied into the served directory.
constexpr size_t kMaxServedFileBytes = 1024 * 1024;

// Longest friendly name written by NUVSetDeviceName (UPnP asks for < 64
// characters; we allow multi-byte UTF-8 room).
constexpr size_t kMaxFriendlyNameBytes = 256;

// Moderated state variables (SystemUpdateID, ContainerUpdateIDs) are evented
// at most once per this interval (ContentDirectory:1, 0.5 Hz).
constexpr std::chrono::milliseconds kModerationInterval{2000};

// Searches dropped for exceeding the search limit are logged at most once
// per this interval, with their count.
constexpr std::chrono::seconds kSearchDropReportInterval{10};

// Longest state-variable value accepted for storage and eventing.
constexpr size_t kMaxStateValueBytes = 64 * 1024;

// Device names, as reported to the access-control callback, are cut to fit
// the media server's 128-byte buffer (127 bytes and the NUL).
constexpr size_t kMaxDeviceNameBytes = 127;

// Access-control tables: name rules and entries (more are refused), and
// device names remembered per IP (beyond this the oldest is forgotten).
constexpr size_t kMaxAclRules = 64;
constexpr size_t kMaxAclEntries = 256;
constexpr size_t kMaxAclKnownNames = 256;

// Largest /proc/net/arp read for MAC lookups.
constexpr size_t kMaxArpTableBytes = 256 * 1024;

// Alive rounds one NUVDMSSendAliveTemporary call may send.
constexpr int kMaxAliveRounds = 10;

// Event subscriptions: the duration granted whatever a subscriber asks for
// (DLNA's 300 seconds), the callback URLs taken from one CALLBACK header and
// their longest length (DLNA asks for at most 256 bytes; fewer and shorter
// callbacks also limit what a subscriber can point the device at), and the
// subscriptions held at once (more are answered 503 until some expire).
constexpr int kEventSubscriptionSeconds = 300;
constexpr size_t kMaxEventCallbacks = 6;
constexpr size_t kMaxEventCallbackBytes = 256;
constexpr size_t kMaxEventSubscriptions = 256;

// A NOTIFY not answered within this time has failed (UPnP gives subscribers
// 30 seconds); NOTIFY connections open at once, over all subscribers.
constexpr unsigned kNotifyTimeoutSeconds = 30;
constexpr int kMaxNotifyConnections = 64;

// Events waiting for one subscriber while its NOTIFY is in flight; beyond
// this, later changes are merged into the last one (latest values).
constexpr size_t kMaxQueuedEvents = 8;

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_STACK_LIMITS_H
