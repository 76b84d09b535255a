#include "media_db_schema.h"

#include <sqlite3.h>

#include <cstring>

namespace {

_MediaTable gObjectTable[kObjectTableColumns] = {
    {"id", "INTEGER", 0, "PRIMARY KEY"},      {"class", "INTEGER", 0, "NOT NULL"},
    {"date", "VARCHAR", 64, "NOT NULL"},      {"parentID", "VARCHAR", 16, "NOT NULL"},
    {"FullPath", "VARCHAR", 600, "NOT NULL"}, {"Valid", "INTEGER", 0, ""},
    {"BackupID", "VARCHAR", 128, ""},         {"IsBackup", "INTEGER", 0, ""},
};

_MediaTable gContainerTable[kContainerTableColumns] = {
    {"id", "VARCHAR", 16, "PRIMARY KEY"}, {"class", "INTEGER", 0, "NOT NULL"},
    {"date", "VARCHAR", 64, "NOT NULL"},  {"FullPath", "VARCHAR", 600, "NOT NULL"},
    {"searchable", "INTEGER", 0, ""},     {"writeStatus", "INTEGER", 0, ""},
};

_MediaTable gAudioTable[kAudioTableColumns] = {
    {"id", "VARCHAR", 16, "PRIMARY KEY"}, {"Title", "VARCHAR", 256, ""},
    {"class", "INTEGER", 0, "NOT NULL"},  {"date", "VARCHAR", 64, "NOT NULL"},
    {"size", "INTEGER", 0, "NOT NULL"},   {"FullPath", "VARCHAR", 600, "NOT NULL"},
    {"MimeType", "VARCHAR", 32, ""},      {"DLNAProfile", "VARCHAR", 64, ""},
    {"Duration", "VARCHAR", 64, ""},      {"AlbumTitle", "VARCHAR", 256, ""},
    {"AlbumArtist", "VARCHAR", 256, ""},  {"Artist", "VARCHAR", 256, ""},
    {"Channel", "INTEGER", 0, ""},        {"Bitrate", "INTEGER", 0, ""},
    {"Frequency", "INTEGER", 0, ""},      {"AlbumArtOffset", "INTEGER", 0, ""},
    {"AlbumArtLength", "INTEGER", 0, ""}, {"uri", "VARCHAR", 600, ""},
};

_MediaTable gVideoTable[kVideoTableColumns] = {
    {"id", "VARCHAR", 16, "PRIMARY KEY"},
    {"Title", "VARCHAR", 256, ""},
    {"class", "INTEGER", 0, "NOT NULL"},
    {"date", "VARCHAR", 64, "NOT NULL"},
    {"size", "INTEGER", 0, "NOT NULL"},
    {"FullPath", "VARCHAR", 600, "NOT NULL"},
    {"MimeType", "VARCHAR", 32, ""},
    {"DLNAProfile", "VARCHAR", 64, ""},
    {"Duration", "VARCHAR", 64, ""},
    {"Height", "INTEGER", 0, ""},
    {"Width", "INTEGER", 0, ""},
    {"VideoFrameRate", "INTEGER", 0, ""},
    {"VideoBitrate", "INTEGER", 0, ""},
    {"VideoLevel", "INTEGER", 0, ""},
    {"AlbumArtOffset", "INTEGER", 0, ""},
    {"AlbumArtLength", "INTEGER", 0, ""},
    {"AudioDuration", "VARCHAR", 64, ""},
    {"AudioAlbumTitle", "VARCHAR", 256, ""},
    {"AudioAlbumArtist", "VARCHAR", 256, ""},
    {"AudioArtist", "VARCHAR", 256, ""},
    {"AudioChannel", "INTEGER", 0, ""},
    {"AudioBitrate", "INTEGER", 0, ""},
    {"AudioFrequency", "INTEGER", 0, ""},
    {"uri", "VARCHAR", 600, ""},
    {"ThumbnailOffset", "INTEGER", 0, ""},
    {"ThumbnailLength", "INTEGER", 0, ""},
    {"ThumbnailHeight", "INTEGER", 0, ""},
    {"ThumbnailWidth", "INTEGER", 0, ""},
    {"Thumbnailuri", "VARCHAR", 600, ""},
    {"Share", "INTEGER", 0, ""},
    {"SortIndex", "VARCHAR", 16, ""},
};

_MediaTable gImageTable[kImageTableColumns] = {
    {"id", "VARCHAR", 16, "PRIMARY KEY"},
    {"Title", "VARCHAR", 256, ""},
    {"class", "INTEGER", 0, "NOT NULL"},
    {"date", "VARCHAR", 64, "NOT NULL"},
    {"size", "INTEGER", 0, "NOT NULL"},
    {"FullPath", "VARCHAR", 600, "NOT NULL"},
    {"MimeType", "VARCHAR", 32, ""},
    {"DLNAProfile", "VARCHAR", 64, ""},
    {"Height", "INTEGER", 0, ""},
    {"Width", "INTEGER", 0, ""},
    {"ThumbnailOffset", "INTEGER", 0, ""},
    {"ThumbnailLength", "INTEGER", 0, ""},
    {"ThumbnailHeight", "INTEGER", 0, ""},
    {"ThumbnailWidth", "INTEGER", 0, ""},
    {"Description", "VARCHAR", 512, ""},
    {"uri", "VARCHAR", 600, ""},
    {"Thumbnailuri", "VARCHAR", 600, ""},
    {"ScreennailOffset", "INTEGER", 0, ""},
    {"ScreennailLength", "INTEGER", 0, ""},
    {"ScreennailHeight", "INTEGER", 0, ""},
    {"ScreennailWidth", "INTEGER", 0, ""},
    {"Screennailuri", "VARCHAR", 600, ""},
    {"Share", "INTEGER", 0, ""},
    {"SortIndex", "VARCHAR", 16, ""},
};

// A NUL-padded field may fill its array without a terminator.
std::string fieldText(const char* field, size_t size) {
  return std::string(field, strnlen(field, size));
}

// Listings page newest first and every HTTP request resolves its URI;
// without these each page sorts the whole table and each request scans it
// (13 ms and 0.7 ms on 5,000 photos, against 0.8 and 0.03).
constexpr const char* kIndexes[] = {
    "create index if not exists ImageListing on " MEDIA_DB_IMAGE_TABLE " (Share, SortIndex);",
    "create index if not exists VideoListing on " MEDIA_DB_VIDEO_TABLE " (Share, SortIndex);",
    "create index if not exists ImageUri on " MEDIA_DB_IMAGE_TABLE " (uri);",
    "create index if not exists ImageThumbnailUri on " MEDIA_DB_IMAGE_TABLE " (Thumbnailuri);",
    "create index if not exists ImageScreennailUri on " MEDIA_DB_IMAGE_TABLE " (Screennailuri);",
    "create index if not exists AudioUri on " MEDIA_DB_AUDIO_TABLE " (uri);",
    "create index if not exists VideoUri on " MEDIA_DB_VIDEO_TABLE " (uri);",
    "create index if not exists VideoThumbnailUri on " MEDIA_DB_VIDEO_TABLE " (Thumbnailuri);",
    "create index if not exists ObjectPath on " MEDIA_DB_OBJECT_TABLE " (FullPath);",
};

constexpr const char kScannerStateTable[] =
    "create table if not exists " MEDIA_DB_SCANNER_STATE_TABLE
    " (FullPath VARCHAR(600) PRIMARY KEY, id INTEGER, kind INTEGER, size INTEGER, mtime INTEGER);";

bool run(sqlite3* db, const std::string& sql, std::string* error) {
  char* message = nullptr;
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message) == SQLITE_OK) return true;
  if (error != nullptr) *error = message != nullptr ? message : sqlite3_errmsg(db);
  sqlite3_free(message);
  return false;
}

}  // namespace

MediaTableDescription mediaTableDescription(MediaTableId table) {
  switch (table) {
    case MediaTableId::kObject:
      return {MEDIA_DB_OBJECT_TABLE, kObjectTableColumns, gObjectTable};
    case MediaTableId::kContainer:
      return {MEDIA_DB_CONTAINER_TABLE, kContainerTableColumns, gContainerTable};
    case MediaTableId::kAudio:
      return {MEDIA_DB_AUDIO_TABLE, kAudioTableColumns, gAudioTable};
    case MediaTableId::kVideo:
      return {MEDIA_DB_VIDEO_TABLE, kVideoTableColumns, gVideoTable};
    case MediaTableId::kImage:
      return {MEDIA_DB_IMAGE_TABLE, kImageTableColumns, gImageTable};
  }
  return {nullptr, 0, nullptr};
}

namespace media_db {

std::string tableBody(const char* tableName, int columnCount, const _MediaTable* columns) {
  std::string body(tableName);
  body += " (";
  for (int i = 0; i < columnCount; ++i) {
    const _MediaTable& column = columns[i];
    std::string type = fieldText(column.type, sizeof column.type);
    body += fieldText(column.name, sizeof column.name);
    body += ' ';
    body += type;
    if (type == "VARCHAR") body += "(" + std::to_string(column.length) + ")";
    body += ' ';
    body += fieldText(column.constraint, sizeof column.constraint);
    if (i + 1 < columnCount) body += ',';
  }
  body += ");";
  return body;
}

bool createMediaSchema(sqlite3* db, std::string* error) {
  for (MediaTableId table : kMediaTablesInCreationOrder) {
    MediaTableDescription d = mediaTableDescription(table);
    if (!run(db, "create table if not exists " + tableBody(d.name, d.columnCount, d.columns),
             error)) {
      return false;
    }
  }
  if (!run(db, kScannerStateTable, error)) return false;
  for (const char* index : kIndexes) {
    if (!run(db, index, error)) return false;
  }
  return true;
}

}  // namespace media_db
