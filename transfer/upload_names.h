// Names of uploaded files and the targets clients post them to.
//
// CreateObject gives each created item an import URI
// "http://ADDRESS:PORT/upload/NAME" and reserves the file
// SHARED-FOLDER "/" NAME; the upload handler maps a POST target back to that
// file. NAME is always made of letters, digits, '_', '-' and '.', never
// begins with '.', and holds no path separator, so it needs no escaping in a
// URL and cannot leave the shared folder.
//
// Thread safety: pure functions.
#ifndef DMS_TRANSFER_UPLOAD_NAMES_H
#define DMS_TRANSFER_UPLOAD_NAMES_H

#include <string>

namespace dms_upload {

// The URL path under which created items take their uploads, with its
// leading and trailing "/".
constexpr const char* kUploadUrlPath = "/upload/";

// A file name for an upload titled `title` with `extension` (".jpg"): the
// title's safe characters (others become '_'), without a trailing copy of
// the extension, cut to a bounded length; "upload" when nothing is left.
std::string MakeUploadFileName(const std::string& title, const std::string& extension);

// True when `name` could have come from MakeUploadFileName.
bool IsSafeUploadFileName(const std::string& name);

// The file name a POST target names, or "" when the target is not
// kUploadUrlPath followed by a safe file name. The target may be in
// absolute form ("http://host:port/upload/NAME") and percent-encoded; it is
// decoded once, so an encoded "/", "\", NUL or ".." is refused like a plain
// one.
std::string UploadFileNameFromTarget(const std::string& target);

}  // namespace dms_upload

#endif  // DMS_TRANSFER_UPLOAD_NAMES_H
