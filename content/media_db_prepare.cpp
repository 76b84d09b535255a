// DMSPrepareMediaDatabase: the database file made ready before the server
// starts: created with the media tables when new (so that a scan can fill it
// first), and put in write-ahead-log mode.
#include <sys/stat.h>

#include "dms_media_registration.h"
#include "dms_mem_ptr.h"
#include "media_schema.h"
#include "nuv_log.h"
#include "sqlite_handles.h"

namespace {

bool createTables(sqlite3* db) {
  // The order and statements of MultiMediaDbConnector::CreateTables.
  const MediaTableId order[] = {MediaTableId::kObject, MediaTableId::kContainer,
                                MediaTableId::kAudio, MediaTableId::kVideo, MediaTableId::kImage};
  for (MediaTableId table : order) {
    MediaTableDescription d = mediaTableDescription(table);
    DMSAppMemText sql(MTGetCreatTblSqlStmt(d.name, d.columnCount, d.columns));
    char* error = nullptr;
    if (sql == nullptr || sqlite3_exec(db, sql.get(), nullptr, nullptr, &error) != SQLITE_OK) {
      SqliteMessage message(error);
      NUVPrintf(NUV_LOG_ERROR, "[DMSPrepareMediaDatabase] %s: %s", d.name,
                message != nullptr ? message.get() : "no memory");
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int DMSPrepareMediaDatabase(const char* dbPath) {
  if (dbPath == nullptr) return 1;
  struct stat st {};
  bool isNew = stat(dbPath, &st) != 0;
  sqlite3* raw = nullptr;
  int rc = sqlite3_open(dbPath, &raw);
  SqliteHandle db(raw);
  if (rc != SQLITE_OK) {
    NUVPrintf(NUV_LOG_ERROR, "[DMSPrepareMediaDatabase] cannot open %s", dbPath);
    return 1;
  }
  if (isNew && !createTables(db.get())) return 1;
  // Write-ahead logging, so that the server reads while the scanner writes.
  // Switching needs the file to itself, which it has only before the server
  // opens it; the mode then stays with the file.
  char* error = nullptr;
  if (sqlite3_exec(db.get(), "pragma journal_mode=WAL;", nullptr, nullptr, &error) != SQLITE_OK) {
    SqliteMessage message(error);
    NUVPrintf(NUV_LOG_ERROR, "[DMSPrepareMediaDatabase] %s", message ? message.get() : "WAL");
  }
  return 0;
}
