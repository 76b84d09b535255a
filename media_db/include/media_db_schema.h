// The media database as the content store and the scanner share it: table
// and column names, the media kinds, the resource URI prefixes and the
// indexes the listings and lookups rely on. Everything that reads or writes
// the file takes its names from here; createMediaSchema() is the one place
// that lays the file out.
//
// The table names and URI prefixes are literals so that SQL texts and
// formats are composed at compile time ("select * from " MEDIA_DB_IMAGE_TABLE
// " where ..."); column names stay in the statements, which the tests
// prepare against the schema made here.
#ifndef DMS_MEDIA_DB_SCHEMA_H
#define DMS_MEDIA_DB_SCHEMA_H

#include <cstdint>
#include <string>

struct sqlite3;

#define MEDIA_DB_OBJECT_TABLE "ObjectTable"
#define MEDIA_DB_CONTAINER_TABLE "ContainerTable"
#define MEDIA_DB_AUDIO_TABLE "AudioTable"
#define MEDIA_DB_VIDEO_TABLE "VideoTable"
#define MEDIA_DB_IMAGE_TABLE "ImageTable"
// The scanner's record of each file's size and modification time.
#define MEDIA_DB_SCANNER_STATE_TABLE "ScannerFileState"

// Resource URIs: "/media/<id>.<ext>" for every item, "/nuvthumb<id>.jpg"
// (photos), "/nuvscreen<id>.jpg" (photos with an MPF screennail) and
// "/nuvthumbvideo<id>.jpg" (videos). The video prefix extends the photo
// thumbnail's, so a reader tests for it first.
#define MEDIA_DB_MEDIA_URI "/media/"
#define MEDIA_DB_THUMBNAIL_URI "/nuvthumb"
#define MEDIA_DB_SCREENNAIL_URI "/nuvscreen"
#define MEDIA_DB_VIDEO_THUMBNAIL_URI "/nuvthumbvideo"

namespace media_db {

// The `class` column of ObjectTable and the media tables, and the id of the
// container that lists the kind.
enum MediaKind : int { kImageKind = 1, kAudioKind = 2, kVideoKind = 3 };

}  // namespace media_db

// One column of a table description; every text is NUL-padded.
struct _MediaTable {
  char name[30];
  char type[10];        // "INTEGER" or "VARCHAR"
  uint32_t length;      // used only for "VARCHAR"
  char constraint[16];  // "PRIMARY KEY", "NOT NULL" or empty
};

// The five tables, in creation order.
enum class MediaTableId { kObject, kContainer, kAudio, kVideo, kImage };
constexpr MediaTableId kMediaTablesInCreationOrder[] = {
    MediaTableId::kObject, MediaTableId::kContainer, MediaTableId::kAudio, MediaTableId::kVideo,
    MediaTableId::kImage};

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

namespace media_db {

// "NAME (col TYPE[(len)] CONSTRAINT,...);": the body of a create statement,
// every column's constraint followed by its blank even when empty
// ("Valid INTEGER ,"). `columns` holds `columnCount` entries.
std::string tableBody(const char* tableName, int columnCount, const _MediaTable* columns);

// Lays out a database: the five media tables, the scanner's state table and
// every index, each only when missing. False with SQLite's message in *error
// (when not null) if a statement fails; what was made before the failure
// stays.
bool createMediaSchema(sqlite3* db, std::string* error);

}  // namespace media_db

#endif  // DMS_MEDIA_DB_SCHEMA_H
