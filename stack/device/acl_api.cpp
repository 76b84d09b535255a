// The exported access-control functions of nuv_dms.h over the device's
// AclService.
#include "device.h"
#include "export_guard.h"
#include "nuv_log.h"

using dmsstack::Device;

namespace {

// Runs `body` on the access list of a valid connection; 1 when the
// connection is unknown, the body fails or it throws.
template <typename Body>
int guardedAcl(const char* function, int connectionID, Body body) {
  return dms_export::guarded(function, 1, [&] {
    if (!Device::instance().validConnection(connectionID)) return 1;
    return body(Device::instance().acl()) ? 0 : 1;
  });
}

}  // namespace

extern "C" int NUVDmsACLInitialize(int connectionID) {
  return guardedAcl("NUVDmsACLInitialize", connectionID, [](dmsstack::AclService& acl) {
    acl.initialize();
    return true;
  });
}

extern "C" int NUVDmsACLTerminate(int connectionID) {
  return guardedAcl("NUVDmsACLTerminate", connectionID, [](dmsstack::AclService& acl) {
    acl.terminate();
    return true;
  });
}

extern "C" int NUVDmsACLSetMode(int connectionID, int mode) {
  return guardedAcl("NUVDmsACLSetMode", connectionID, [mode](dmsstack::AclService& acl) {
    bool ok = acl.setMode(mode);
    if (ok) NUVPrintf(NUV_LOG_INFO, "[ACL] mode %d", mode);
    return ok;
  });
}

extern "C" int NUVDmsACLAddDevNameFilterRule(int connectionID, const char* namePrefix, int flag,
                                             const char* rule) {
  (void)flag;  // reserved
  if (namePrefix == nullptr || rule == nullptr) return 1;
  return guardedAcl("NUVDmsACLAddDevNameFilterRule", connectionID,
                    [&](dmsstack::AclService& acl) { return acl.addNameRule(namePrefix, rule); });
}

extern "C" int NUVDmsACLAddEntry(int connectionID, int decision, int kind, const char* ipAddress,
                                 const char* deviceName) {
  return guardedAcl("NUVDmsACLAddEntry", connectionID, [&](dmsstack::AclService& acl) {
    return acl.addEntry(decision, kind, ipAddress != nullptr ? ipAddress : "",
                        deviceName != nullptr ? deviceName : "");
  });
}
