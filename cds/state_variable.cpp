// Reading ContentDirectory state variables from the stack.
#include <new>

#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "nuv_dms.h"

// The stack allocates the text; it is released here once copied.
extern "C" DMSAppString* DMSAppGetStateVariableValue(const char* serviceType,
                                                     const char* variableName) {
  if (serviceType == nullptr || variableName == nullptr) return nullptr;
  char* text = nullptr;
  if (NUVDMSGetStateVariableValue(DMSAppGetDMSConnectionID(), serviceType, variableName, &text) !=
      0) {
    DMSAppMemFree(text);
    return nullptr;
  }
  if (text == nullptr) return nullptr;
  auto* value = new (std::nothrow) DMSAppString(text);
  DMSAppMemFree(text);
  if (value != nullptr && value->ReadString() == nullptr) {
    delete value;
    return nullptr;
  }
  return value;
}
