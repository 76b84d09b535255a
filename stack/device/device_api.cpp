// The exported lifecycle, action and state-variable functions of nuv_dms.h.
// Each translates to the Device and lets no C++ exception escape.
#include <cstdlib>
#include <cstring>

#include "device.h"
#include "export_guard.h"

using dms_export::guarded;
using dmsstack::Device;

extern "C" int NUVDMSInitialize(const stNUVDMSCallbacks* callbacks, const char* descriptionDir,
                                int* connectionID) {
  return guarded("NUVDMSInitialize", 1, [&] {
    return Device::instance().initialize(callbacks, descriptionDir, connectionID);
  });
}

extern "C" int NUVDMSStart(int connectionID, int maxAge, int flags) {
  return guarded("NUVDMSStart", 1,
                 [&] { return Device::instance().start(connectionID, maxAge, flags); });
}

extern "C" int NUVDMSStop(int connectionID) {
  return guarded("NUVDMSStop", 1, [&] { return Device::instance().stop(connectionID); });
}

extern "C" int NUVDMSTerminate(int connectionID) {
  return guarded("NUVDMSTerminate", 0, [&] { return Device::instance().terminate(connectionID); });
}

extern "C" int NUVDMSSendAliveTemporary(int connectionID, int count, int maxAge) {
  return guarded("NUVDMSSendAliveTemporary", 1,
                 [&] { return Device::instance().sendAlive(connectionID, count, maxAge); });
}

extern "C" int NUVDMSSetBindAddress(const char* address) {
  return guarded("NUVDMSSetBindAddress", 1,
                 [&] { return Device::instance().setBindAddress(address); });
}

extern "C" int NUVDMSSetBindInterface(const char* interfaceName) {
  return guarded("NUVDMSSetBindInterface", 1,
                 [&] { return Device::instance().setBindInterface(interfaceName); });
}

extern "C" int NUVDMSSetPort(int port) {
  return guarded("NUVDMSSetPort", 1, [&] { return Device::instance().setPort(port); });
}

extern "C" int NUVDMSSetActionTimeout(int milliseconds) {
  return guarded("NUVDMSSetActionTimeout", 1,
                 [&] { return Device::instance().setActionTimeout(milliseconds); });
}

extern "C" char* NUVDMSGetDescriptionURLMA(int connectionID) {
  return guarded("NUVDMSGetDescriptionURLMA", static_cast<char*>(nullptr), [&]() -> char* {
    std::string url = Device::instance().descriptionUrl(connectionID);
    if (url.empty()) return nullptr;
    char* copy = static_cast<char*>(malloc(url.size() + 1));
    if (copy != nullptr) memcpy(copy, url.c_str(), url.size() + 1);
    return copy;
  });
}

extern "C" int NUVDMSSendResponse(int connectionID, int actionID, const char* body) {
  return guarded("NUVDMSSendResponse", 1,
                 [&] { return Device::instance().sendResponse(connectionID, actionID, body); });
}

extern "C" int NUVDMSGetStateVariableValue(int connectionID, const char* serviceType,
                                           const char* name, char** value) {
  return guarded("NUVDMSGetStateVariableValue", 1, [&] {
    return Device::instance().getStateVariable(connectionID, serviceType, name, value);
  });
}

extern "C" int NUVDMSUpdateStateVariableValue(int connectionID, const char* serviceType,
                                              const char* name, const char* value) {
  return guarded("NUVDMSUpdateStateVariableValue", 1, [&] {
    return Device::instance().updateStateVariable(connectionID, serviceType, name, value);
  });
}
