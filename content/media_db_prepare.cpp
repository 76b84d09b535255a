// DMSPrepareMediaDatabase: the database file made ready before the server
// starts: a file that cannot be used (garbage, damaged, another program's)
// moved aside, created with the media tables when new (so that a scan can
// fill it first), and put in write-ahead-log mode.
#include <sys/stat.h>

#include "dms_media_registration.h"
#include "dms_mem_ptr.h"
#include "media_db_check.h"
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

bool hasMediaTables(sqlite3* db) {
  sqlite3_stmt* raw = nullptr;
  if (sqlite3_prepare_v2(db, "select 1 from sqlite_master where type='table' and name=?", -1, &raw,
                         nullptr) != SQLITE_OK) {
    return false;
  }
  SqliteStatement statement(raw);
  sqlite3_bind_text(raw, 1, mediaTableDescription(MediaTableId::kObject).name, -1, SQLITE_STATIC);
  return sqlite3_step(raw) == SQLITE_ROW;
}

// A database that cannot be used is kept for a look, under another name, and
// the scan fills a new one: the library is rebuilt rather than lost.
bool setAsideIfUnusable(const char* dbPath) {
  struct stat st {};
  if (stat(dbPath, &st) != 0) return true;
  const std::string why = media_db_check::unusableReason(dbPath);
  if (why.empty()) return true;
  const std::string aside = media_db_check::moveAside(dbPath);
  if (aside.empty()) {
    NUVPrintf(NUV_LOG_ERROR, "[DMSPrepareMediaDatabase] %s is not usable (%s) and cannot be moved",
              dbPath, why.c_str());
    return false;
  }
  NUVPrintf(NUV_LOG_ERROR,
            "[DMSPrepareMediaDatabase] %s is not usable (%s): moved aside to %s; a new one is made "
            "and filled by a scan",
            dbPath, why.c_str(), aside.c_str());
  return true;
}

}  // namespace

extern "C" int DMSPrepareMediaDatabase(const char* dbPath) {
  if (dbPath == nullptr) return 1;
  if (!setAsideIfUnusable(dbPath)) return 1;
  sqlite3* raw = nullptr;
  int rc = sqlite3_open(dbPath, &raw);
  SqliteHandle db(raw);
  if (rc != SQLITE_OK) {
    NUVPrintf(NUV_LOG_ERROR, "[DMSPrepareMediaDatabase] cannot open %s", dbPath);
    return 1;
  }
  if (!hasMediaTables(db.get()) && !createTables(db.get())) return 1;
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
