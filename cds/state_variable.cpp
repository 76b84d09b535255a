// Reading ContentDirectory state variables from the stack.
#include <memory>
#include <new>

#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "export_guard.h"
#include "nuv_dms.h"

// The stack allocates the text; it is released here once copied.
extern "C" DMSAppString* DMSAppGetStateVariableValue(const char* serviceType,
                                                     const char* variableName) {
  return dms_export::guarded(
      "DMSAppGetStateVariableValue", static_cast<DMSAppString*>(nullptr), [&]() -> DMSAppString* {
        if (serviceType == nullptr || variableName == nullptr) return nullptr;
        char* raw = nullptr;
        const int rc = NUVDMSGetStateVariableValue(DMSAppGetDMSConnectionID(), serviceType,
                                                   variableName, &raw);
        DMSAppMemText text(raw);
        if (rc != 0 || text == nullptr) return nullptr;
        std::unique_ptr<DMSAppString> value(new (std::nothrow) DMSAppString(text.get()));
        if (value == nullptr || value->ReadString() == nullptr) return nullptr;
        return value.release();
      });
}
