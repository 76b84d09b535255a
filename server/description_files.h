// The description files the stack serves: their table and the rendering of
// their texts. DMSAppCheckFileState and DMSGetDeviceDescriptionFilename
// (dms_server.h) are built on it.
#ifndef DMS_SERVER_DESCRIPTION_FILES_H
#define DMS_SERVER_DESCRIPTION_FILES_H

#include <cstdint>
#include <string>

namespace dms_server {

// One row of the table: file name (relative to the description directory;
// the ConnectionManager name carries its own leading "/"), template text,
// recorded size and a reserved zero word. A row with a null name ends the
// table.
struct DescriptionFileInfo {
  const char* fileName;
  const char* templateText;
  int64_t nFileSize;
  int reserved;
};

// Rows 0 (device), 1 (ContentDirectory), 2 (ConnectionManager), then the end
// row. The recorded size of row 0 (2349) differs from its template (2564
// bytes) and is never compared; rows 1 and 2 record their template lengths.
const DescriptionFileInfo* descriptionFileTable();
constexpr int kDescriptionFileCount = 3;

// The text written for `row`: the template, except that the device
// description carries the configured maker's address ("MANUFACTURER-URL",
// XML-escaped) in place of the default one. Throws std::bad_alloc only.
std::string renderDescription(int row);

// dir + "/" + the row's file name.
std::string descriptionFilePath(const char* dir, int row);

}  // namespace dms_server

#endif  // DMS_SERVER_DESCRIPTION_FILES_H
