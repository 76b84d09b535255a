// The file extension an upload of a MIME type is stored under. The table
// covers every MIME type the server announces in its protocolInfo lists and
// the common types of cameras and phones; the scanner decides by extension
// and content what an uploaded file is.
//
// Thread safety: a constant table.
#ifndef DMS_CDS_UPLOAD_EXTENSIONS_H
#define DMS_CDS_UPLOAD_EXTENSIONS_H

#include <string>

namespace dms_cds {

// ".jpg" for "image/jpeg" (compared ignoring case, parameters after ";"
// ignored), or null for a type the table does not know.
const char* UploadExtensionForMime(const std::string& mimeType);

}  // namespace dms_cds

#endif  // DMS_CDS_UPLOAD_EXTENSIONS_H
