// The media database schema: the column descriptions of the five tables and
// the rule that turns a description into its create statement.
#ifndef DMS_CONTENT_MEDIA_SCHEMA_H
#define DMS_CONTENT_MEDIA_SCHEMA_H

#include <cstdint>

// One column of a table description; every text is NUL-padded.
struct _MediaTable {
  char name[30];
  char type[10];        // "INTEGER" or "VARCHAR"
  uint32_t length;      // used only for "VARCHAR"
  char constraint[16];  // "PRIMARY KEY", "NOT NULL" or empty
};

// "create table NAME (col TYPE[(len)] CONSTRAINT,...);" in a new block
// (DMSAppMemAllocMA; the caller releases it with DMSAppMemFree). Null for a
// null name, a name longer than 1024 bytes, a negative count, null columns
// with a positive count, or when memory runs out.
char* MTGetCreatTblSqlStmt(const char* tableName, int columnCount, _MediaTable* columns);

// The five tables, in creation order.
enum class MediaTableId { kObject, kContainer, kAudio, kVideo, kImage };

struct MediaTableDescription {
  const char* name;
  int columnCount;
  _MediaTable* columns;  // static storage; do not modify
};

MediaTableDescription mediaTableDescription(MediaTableId table);

// Column counts that readers check rows against.
constexpr int kObjectTableColumns = 8;
constexpr int kContainerTableColumns = 6;
constexpr int kAudioTableColumns = 18;
constexpr int kVideoTableColumns = 31;
constexpr int kImageTableColumns = 24;

#endif  // DMS_CONTENT_MEDIA_SCHEMA_H
