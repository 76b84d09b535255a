#include "media_schema.h"

#include <cstring>
#include <string>

#include "content_limits.h"
#include "dms_platform.h"

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

}  // namespace

char* MTGetCreatTblSqlStmt(const char* tableName, int columnCount, _MediaTable* columns) {
  if (tableName == nullptr || columnCount < 0 || (columns == nullptr && columnCount > 0)) {
    return nullptr;
  }
  if (strlen(tableName) > content_limits::kCreateStatementBufferBytes) return nullptr;

  std::string body(tableName);
  body += " (";
  for (int i = 0; i < columnCount; ++i) {
    const _MediaTable& column = columns[i];
    std::string type = fieldText(column.type, sizeof column.type);
    body += fieldText(column.name, sizeof column.name);
    body += ' ';
    body += type;
    if (type == "VARCHAR") body += "(" + std::to_string(column.length) + ")";
    // An empty constraint still leaves its blank: "Valid INTEGER ,".
    body += ' ';
    body += fieldText(column.constraint, sizeof column.constraint);
    if (i + 1 < columnCount) body += ',';
  }
  body += ");";

  // The block is the work buffer's size plus 32, as callers have always had;
  // a description too long for the fixed buffer gets a buffer to match.
  size_t bufferBytes = content_limits::kCreateStatementBufferBytes;
  if (body.size() + 1 > bufferBytes) bufferBytes = body.size() + 1;
  static constexpr const char kPrefix[] = "create table ";
  char* statement = static_cast<char*>(DMSAppMemAllocMA(bufferBytes + 32 + sizeof kPrefix));
  if (statement == nullptr) return nullptr;
  std::string text = kPrefix + body;
  memcpy(statement, text.c_str(), text.size() + 1);
  return statement;
}

MediaTableDescription mediaTableDescription(MediaTableId table) {
  switch (table) {
    case MediaTableId::kObject:
      return {"ObjectTable", kObjectTableColumns, gObjectTable};
    case MediaTableId::kContainer:
      return {"ContainerTable", kContainerTableColumns, gContainerTable};
    case MediaTableId::kAudio:
      return {"AudioTable", kAudioTableColumns, gAudioTable};
    case MediaTableId::kVideo:
      return {"VideoTable", kVideoTableColumns, gVideoTable};
    case MediaTableId::kImage:
      return {"ImageTable", kImageTableColumns, gImageTable};
  }
  return {nullptr, 0, nullptr};
}
