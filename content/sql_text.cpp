#include "sql_text.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "content_limits.h"
#include "media_db_schema.h"

namespace sql_text {

bool sqlValue(const char* value, std::string* out) {
  if (value == nullptr || out == nullptr) return false;
  std::string doubled;
  for (const char* p = value; *p != '\0'; ++p) {
    doubled += *p;
    if (*p == '"') doubled += '"';
    if (doubled.size() > content_limits::kMaxSqlValueBytes) return false;
  }
  *out = std::move(doubled);
  return true;
}

bool formatStatement(std::string* out, const char* format, ...) {
  if (out == nullptr || format == nullptr) return false;
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  int needed = vsnprintf(nullptr, 0, format, args);
  va_end(args);
  if (needed < 0) {
    va_end(again);
    return false;
  }
  std::vector<char> buffer(static_cast<size_t>(needed) + 1);
  int written = vsnprintf(buffer.data(), buffer.size(), format, again);
  va_end(again);
  if (written != needed) return false;
  // Keep the whole formatted text, trailing NULs included; c_str() readers
  // (SQLite, the logs) stop at the first of them.
  out->assign(buffer.data(), static_cast<size_t>(written));
  return true;
}

bool acceptableUri(const char* uri) { return uri != nullptr && uri[0] == '/'; }

const char kPageImages[] = "select * from " MEDIA_DB_IMAGE_TABLE
                           " where Share = %d ORDER BY SortIndex DESC limit %d,%d%c%c";
const char kPageAudio[] = "select * from " MEDIA_DB_AUDIO_TABLE " limit %d,%d%c%c";
const char kPageVideos[] = "select * from " MEDIA_DB_VIDEO_TABLE
                           " where Share = %d ORDER BY SortIndex DESC limit %d,%d%c%c";
const char kCountImages[] = "select count(*) from " MEDIA_DB_IMAGE_TABLE " where Share = %d%c%c";
const char kCountVideos[] = "select count(*) from " MEDIA_DB_VIDEO_TABLE " where Share = %d%c%c";
const char kCountAudio[] = "select count(*) from " MEDIA_DB_AUDIO_TABLE "%c%c";
const char kCacheImages[] =
    "select * from " MEDIA_DB_IMAGE_TABLE " where Share = 1 ORDER BY SortIndex DESC";
const char kCacheVideos[] =
    "select * from " MEDIA_DB_VIDEO_TABLE " where Share = 1 ORDER BY SortIndex DESC";
const char kIdOfObjectByPath[] =
    "select id from " MEDIA_DB_OBJECT_TABLE " where FullPath = \"%s\"%c%c";
const char kReserveObjectRow[] =
    "insert into " MEDIA_DB_OBJECT_TABLE
    " (\"class\",\"date\",\"parentID\",\"FullPath\",\"Valid\","
    "\"BackupID\",\"IsBackup\")\t\t\t\t\t values (%d ,\"%s\",\"%s\",\"%s\",%d,\"%s\",%d);%c%c";
const char kReserveImageRow[] =
    "insert into " MEDIA_DB_IMAGE_TABLE
    "  (\"id\",\"Title\",\"FullPath\",\"class\",\"date\",\"size\","
    "\"MimeType\",\"DLNAProfile\",\"Height\",\"Width\",\"ThumbnailOffset\","
    "\"ThumbnailLength\",\"ThumbnailHeight\",\"ThumbnailWidth\",\"Description\",\"uri\","
    "\"Thumbnailuri\") values (\"%s\",\"%s\",\"%s\",\"%d\",\"%s\",\"%d\",\"%s\",\"%s\","
    "\"%d\",\"%d\",\"%d\",\"%d\",\"%d\",\"%d\",\"%s\",\"%s\",\"%s\");%c%c";
const char kReserveAudioRow[] =
    "insert into " MEDIA_DB_AUDIO_TABLE
    "  (\"id\",\"Title\",\"FullPath\",\"class\",\"date\",\"size\","
    "\"MimeType\",\"DLNAProfile\",\"Duration\",\"AlbumTitle\",\"AlbumArtist\",\"Artist\","
    "\"Channel\",\"Bitrate\",\"Frequency\",\"AlbumArtOffset\",\"AlbumArtLength\",\"uri\") "
    "values (\"%s\",\"%s\",\"%s\",\"%d\",\"%s\",\"%d\",\"%s\",\"%s\",\"%s\",\"%s\",\"%s\","
    "\"%s\",\"%d\",\"%d\",\"%d\",\"%d\",\"%d\",\"%s\");%c%c";
const char kReserveVideoRow[] =
    "insert into " MEDIA_DB_VIDEO_TABLE
    "  (\"id\",\"Title\",\"FullPath\",\"class\",\"date\",\"size\","
    "\"MimeType\",\"DLNAProfile\",\"Duration\",\"Height\",\"Width\",\"VideoFrameRate\","
    "\"VideoBitrate\",\"VideoLevel\",\"AlbumArtOffset\",\"AlbumArtLength\",\"AudioDuration\","
    "\"AudioAlbumTitle\",\"AudioAlbumArtist\",\"AudioArtist\",\"AudioChannel\","
    "\"AudioBitrate\",\"AudioFrequency\",\"uri\", \"ThumbnailOffset\",\"ThumbnailLength\","
    "\"ThumbnailHeight\",\"ThumbnailWidth\",\"Thumbnailuri\") values (\"%s\",\"%s\",\"%s\","
    "\"%d\",\"%s\",\"%d\",\"%s\",\"%s\",\"%s\",\"%d\",\"%d\",\"%d\",\"%d\",\"%d\",\"%d\","
    "\"%d\",\"%s\",\"%s\",\"%s\",\"%s\",\"%d\",\"%d\",\"%d\",\"%s\",\"%d\",\"%d\",\"%d\","
    "\"%d\",\"%s\");%c%c";
const char kPathOfObject[] = "select FullPath from " MEDIA_DB_OBJECT_TABLE " where id = \"%s\"%c%c";
const char kClassOfObject[] = "select class from " MEDIA_DB_OBJECT_TABLE " where id = \"%s\"%c%c";
const char kDeleteObjectRow[] = "delete from " MEDIA_DB_OBJECT_TABLE " where id = \"%s\"%c%c";
const char kImageThumbnail[] =
    "select FullPath,ThumbnailOffset,ThumbnailLength,ThumbnailHeight,ThumbnailWidth "
    "from " MEDIA_DB_IMAGE_TABLE " where Thumbnailuri = \"%s\"%c%c";
// The height and width read are the thumbnail's, as they always were.
const char kImageScreennail[] =
    "select FullPath,ScreennailOffset,ScreennailLength,ThumbnailHeight,ThumbnailWidth "
    "from " MEDIA_DB_IMAGE_TABLE " where Screennailuri = \"%s\"%c%c";
const char kVideoThumbnail[] =
    "select FullPath,ThumbnailOffset,ThumbnailLength,ThumbnailHeight,ThumbnailWidth "
    "from " MEDIA_DB_VIDEO_TABLE " where Thumbnailuri = \"%s\"%c%c";

namespace {

const char* byMode(unsigned int mode, const char* image, const char* audio, const char* video) {
  switch (mode) {
    case kImage:
      return image;
    case kAudio:
      return audio;
    case kVideo:
      return video;
    default:
      return nullptr;
  }
}

}  // namespace

const char* mimeByPath(unsigned int mode) {
  return byMode(mode, "select MimeType from " MEDIA_DB_IMAGE_TABLE " where FullPath = \"%s\"%c%c",
                "select MimeType from " MEDIA_DB_AUDIO_TABLE " where FullPath = \"%s\"%c%c",
                "select MimeType from " MEDIA_DB_VIDEO_TABLE " where FullPath = \"%s\"%c%c");
}

const char* idByPath(unsigned int mode) {
  return byMode(mode, "select id from " MEDIA_DB_IMAGE_TABLE " where FullPath = \"%s\"%c%c",
                "select id from " MEDIA_DB_AUDIO_TABLE " where FullPath = \"%s\"%c%c",
                "select id from " MEDIA_DB_VIDEO_TABLE " where FullPath = \"%s\"%c%c");
}

const char* objectById(unsigned int mode) {
  return byMode(mode, "select * from " MEDIA_DB_IMAGE_TABLE " where id = \"%s\"%c%c",
                "select * from " MEDIA_DB_AUDIO_TABLE " where id = \"%s\"%c%c",
                "select * from " MEDIA_DB_VIDEO_TABLE " where id = \"%s\"%c%c");
}

const char* listedObjectById(unsigned int mode) {
  return byMode(mode, "select * from " MEDIA_DB_IMAGE_TABLE " where Share = %d and id = \"%s\"%c%c",
                "select * from " MEDIA_DB_AUDIO_TABLE " where %d and id = \"%s\"%c%c",
                "select * from " MEDIA_DB_VIDEO_TABLE " where Share = %d and id = \"%s\"%c%c");
}

const char* deleteMediaRow(unsigned int mode) {
  return byMode(mode, "delete from " MEDIA_DB_IMAGE_TABLE " where id = \"%s\"%c%c",
                "delete from " MEDIA_DB_AUDIO_TABLE " where id = \"%s\"%c%c",
                "delete from " MEDIA_DB_VIDEO_TABLE " where id = \"%s\"%c%c");
}

const char* pathByUri(unsigned int mode) {
  return byMode(mode, "select FullPath from " MEDIA_DB_IMAGE_TABLE " where uri = \"%s\"%c%c",
                "select FullPath from " MEDIA_DB_AUDIO_TABLE " where uri = \"%s\"%c%c",
                "select FullPath from " MEDIA_DB_VIDEO_TABLE " where uri = \"%s\"%c%c");
}

const char* mimeByUri(unsigned int mode) {
  return byMode(mode, "select MimeType from " MEDIA_DB_IMAGE_TABLE " where uri = \"%s\"%c%c",
                "select MimeType from " MEDIA_DB_AUDIO_TABLE " where uri = \"%s\"%c%c",
                "select MimeType from " MEDIA_DB_VIDEO_TABLE " where uri = \"%s\"%c%c");
}

const char* profileByUri(unsigned int mode) {
  return byMode(mode, "select DLNAProfile from " MEDIA_DB_IMAGE_TABLE " where uri = \"%s\"%c%c",
                "select DLNAProfile from " MEDIA_DB_AUDIO_TABLE " where uri = \"%s\"%c%c",
                "select DLNAProfile from " MEDIA_DB_VIDEO_TABLE " where uri = \"%s\"%c%c");
}

}  // namespace sql_text
