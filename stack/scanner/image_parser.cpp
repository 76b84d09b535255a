// Photos through the camera platform's JPEG reader (the one JPEG/EXIF/MPF
// parser of the system).
#include "dms_camera.h"
#include "media_db_schema.h"
#include "media_parsers.h"
#include "scan_text.h"

namespace media_parsers {

bool parseImage(ScannedMedia* m, dlna_profile::StreamFacts* facts, std::string* why) {
  ASLWifiJpegMainInfo info{};
  ASLWifiJpegPicture screennail{};
  ASLWifiJpegPicture thumbnail{};
  if (ASLWifi_getJpegInfo(m->path.c_str(), &info, &screennail, &thumbnail) != 0 ||
      info.width <= 0 || info.height <= 0) {
    *why = "not a readable JPEG";
    return false;
  }
  m->kind = media_db::kImageKind;
  m->mimeType = "image/jpeg";
  m->width = info.width;
  m->height = info.height;
  m->date = info.date[0] != '\0' ? info.date : scan_text::localDate(m->mtime);
  std::string title = scan_text::cleanUtf8(info.title);
  m->title = title.empty() ? scan_text::stem(m->path) : title;
  m->description = scan_text::cleanUtf8(info.description);
  if (thumbnail.present) {
    m->thumbnailOffset = thumbnail.offset;
    m->thumbnailLength = thumbnail.length;
    m->thumbnailWidth = thumbnail.width;
    m->thumbnailHeight = thumbnail.height;
  } else {
    ASLWifi_thumbSize(info.width, info.height, &m->thumbnailWidth, &m->thumbnailHeight);
  }
  if (screennail.present) {
    m->screennailOffset = screennail.offset;
    m->screennailLength = screennail.length;
    m->screennailWidth = screennail.width;
    m->screennailHeight = screennail.height;
  }
  facts->container = dlna_profile::Container::kJpeg;
  facts->width = info.width;
  facts->height = info.height;
  facts->jpegBaseline = info.baseline != 0;
  return true;
}

}  // namespace media_parsers
