// Fuzz target for the Elements argument of CreateObject (DIDL-Lite from the
// network): parses the bytes as object creation does and checks what an
// accepted object promises, then derives the upload file name from its
// title and the upload target from the raw bytes, which must never name
// anything but one safe file.
#include <cstddef>
#include <cstdint>
#include <string>

#include "create_object_elements.h"
#include "dms_string.h"
#include "nuv_log.h"
#include "upload_extensions.h"
#include "upload_names.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NUVLogSetMask(0);
  const std::string input(reinterpret_cast<const char*>(data), size);
  DMSAppString elements(input.c_str());
  dms_cds::CreateObjectElements parsed;
  const int code = dms_cds::ParseCreateObjectElements(&elements, &parsed);
  if (code != 0 && code != 712) __builtin_trap();
  if (code == 0) {
    if (parsed.upnpClass.empty()) __builtin_trap();
    if (parsed.restricted != "0" && parsed.restricted != "1") __builtin_trap();
    if (!dms_cds::IsContainerClass(parsed.upnpClass) && !parsed.hasRes) __builtin_trap();
    if (parsed.hasRes && parsed.protocolInfo.empty()) __builtin_trap();
    const char* extension = dms_cds::UploadExtensionForMime(parsed.mimeType);
    const std::string name =
        dms_upload::MakeUploadFileName(parsed.title, extension != nullptr ? extension : "");
    if (!dms_upload::IsSafeUploadFileName(name)) __builtin_trap();
    if (dms_upload::UploadFileNameFromTarget(dms_upload::kUploadUrlPath + name) != name) {
      __builtin_trap();
    }
  }
  const std::string fromTarget = dms_upload::UploadFileNameFromTarget(input);
  if (!fromTarget.empty() && !dms_upload::IsSafeUploadFileName(fromTarget)) __builtin_trap();
  return 0;
}
