// NUVSetDeviceName: the friendly name written into the description file.
#include <cstring>

#include "description.h"
#include "export_guard.h"
#include "file_text.h"
#include "nuv_dms.h"
#include "nuv_log.h"
#include "stack_limits.h"

extern "C" int NUVSetDeviceName(const char* descriptionPath, const char* name) {
  if (descriptionPath == nullptr || name == nullptr) return 1;
  return dms_export::guarded("NUVSetDeviceName", 1, [&] {
    if (strlen(name) > dmsstack::kMaxFriendlyNameBytes) {
      NUVPrintf(NUV_LOG_ERROR, "[NUVSetDeviceName] name longer than %zu bytes",
                dmsstack::kMaxFriendlyNameBytes);
      return 1;
    }
    std::string text;
    if (!dmsstack::readWholeFile(descriptionPath, dmsstack::kMaxDescriptionFileBytes, &text)) {
      NUVPrintf(NUV_LOG_ERROR, "[NUVSetDeviceName] cannot read %s", descriptionPath);
      return 1;
    }
    std::string rewritten;
    if (!dmsstack::rewriteFriendlyName(text, name, &rewritten)) {
      NUVPrintf(NUV_LOG_ERROR, "[NUVSetDeviceName] %s has no friendlyName", descriptionPath);
      return 1;
    }
    if (rewritten == text) return 0;
    if (!dmsstack::writeFileAtomically(descriptionPath, rewritten)) {
      NUVPrintf(NUV_LOG_ERROR, "[NUVSetDeviceName] cannot write %s", descriptionPath);
      return 1;
    }
    return 0;
  });
}
