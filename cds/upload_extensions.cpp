#include "upload_extensions.h"

#include <strings.h>

namespace dms_cds {

namespace {

struct MimeExtension {
  const char* mimeType;
  const char* extension;
};

constexpr MimeExtension kExtensions[] = {
    // Images.
    {"image/jpeg", ".jpg"},
    {"image/jpg", ".jpg"},
    {"image/pjpeg", ".jpg"},
    {"image/gif", ".gif"},
    {"image/png", ".png"},
    // Audio.
    {"audio/mpeg", ".mp3"},
    {"audio/mp3", ".mp3"},
    {"audio/mp4", ".m4a"},
    {"audio/x-m4a", ".m4a"},
    {"audio/3gpp", ".3gp"},
    {"audio/vnd.dlna.adts", ".adts"},
    {"audio/aac", ".aac"},
    {"audio/x-aac", ".aac"},
    {"audio/wav", ".wav"},
    {"audio/x-wav", ".wav"},
    {"audio/wave", ".wav"},
    {"audio/x-ms-wma", ".wma"},
    {"audio/flac", ".flac"},
    {"audio/x-flac", ".flac"},
    {"audio/ogg", ".ogg"},
    {"application/ogg", ".ogg"},
    {"audio/opus", ".opus"},
    // Video.
    {"video/mp4", ".mp4"},
    {"video/MP4V-ES", ".mp4"},
    {"video/x-m4v", ".m4v"},
    {"video/mpeg", ".mpg"},
    {"video/x-msvideo", ".avi"},
    {"video/avi", ".avi"},
    {"video/x-ms-wmv", ".wmv"},
    {"video/x-ms-asf", ".asf"},
    {"video/quicktime", ".mov"},
    {"video/3gpp", ".3gp"},
    {"video/x-matroska", ".mkv"},
    {"video/webm", ".webm"},
    {"video/mp2t", ".ts"},
    {"video/vnd.dlna.mpeg-tts", ".ts"},
};

}  // namespace

const char* UploadExtensionForMime(const std::string& mimeType) {
  const std::string type = mimeType.substr(0, mimeType.find(';'));
  for (const MimeExtension& entry : kExtensions) {
    if (strcasecmp(type.c_str(), entry.mimeType) == 0) return entry.extension;
  }
  return nullptr;
}

}  // namespace dms_cds
