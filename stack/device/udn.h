// The device's UDN: a UUID generated once and kept in the description
// directory, so that control points recognise the device across restarts.
//
// Thread safety: pure functions; loadOrCreateUdn writes atomically, and two
// concurrent first calls may each write a UUID (the last one is kept).
#ifndef DMS_STACK_DEVICE_UDN_H
#define DMS_STACK_DEVICE_UDN_H

#include <string>
#include <string_view>

namespace dmsstack {

// Name of the file in the description directory that holds the UDN.
constexpr const char* kUdnFileName = "udn";

// A new random (version 4) UUID as "uuid:xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx".
std::string generateUdn();

// "uuid:" and 36 characters of the 8-4-4-4-12 hexadecimal form.
bool isValidUdn(std::string_view udn);

// The UDN stored in `dir`, or a new one written there when the file is
// missing or not a valid UDN. "" when it can be neither read nor written.
std::string loadOrCreateUdn(const std::string& dir);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_UDN_H
