// The description file table, the rendering of the texts written from it and
// DMSGetDeviceDescriptionFilename.
//
// The maker's web address is a configuration value ("MANUFACTURER-URL"). The
// device template keeps a fixed default so that the table's text never
// changes; the address is put in when the file is written. An existing
// device description that parses is kept as it is (that is what preserves
// the friendly name), so a new address reaches the file the next time the
// files are rewritten.
#include "description_files.h"

#include "description_templates.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "nuv_config.h"
#include "xml_escape.h"

namespace dms_server {
namespace {

const DescriptionFileInfo kDescriptionFiles[] = {
    {"DeviceDescription.xml", kDeviceDescriptionTemplate, 2349, 0},
    {"ContentDirectory_1.xml", kContentDirectoryTemplate, 7352, 0},
    {"/ConnectionManager_1.xml", kConnectionManagerTemplate, 5786, 0},
    {nullptr, nullptr, 0, 0},
};

// The configured maker's address, escaped; the default when none is set.
std::string manufacturerUrl() {
  char* configured = NUVGetConfigurationMA("MANUFACTURER-URL");
  std::string url = kDefaultManufacturerUrl;
  if (configured != nullptr) {
    if (configured[0] != '\0') url = dms::EscapeXmlText(configured);
    DMSAppMemFree(configured);
  }
  return url;
}

}  // namespace

const DescriptionFileInfo* descriptionFileTable() { return kDescriptionFiles; }

std::string renderDescription(int row) {
  std::string text = kDescriptionFiles[row].templateText;
  if (row != DLNADMS_DEVICE_DESCRIPTION) return text;
  const std::string url = manufacturerUrl();
  const std::string from = kDefaultManufacturerUrl;
  if (url == from) return text;
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + url.size()))
    text.replace(at, from.size(), url);
  return text;
}

std::string descriptionFilePath(const char* dir, int row) {
  std::string path = dir;
  path += '/';
  path += kDescriptionFiles[row].fileName;
  return path;
}

}  // namespace dms_server

extern "C" const char* DMSGetDeviceDescriptionFilename(DLNADMS_DESCRIOPTION_TYPE type) {
  const int row = static_cast<int>(type);
  if (row < 0 || row >= dms_server::kDescriptionFileCount) return nullptr;
  return dms_server::descriptionFileTable()[row].fileName;
}
