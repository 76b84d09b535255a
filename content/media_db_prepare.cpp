// DMSPrepareMediaDatabase: the database file made ready before the server
// starts: a file that cannot be used (garbage, damaged, another program's)
// moved aside, laid out with the media tables and indexes where they are
// missing (so that a scan can fill a new one first), and put in
// write-ahead-log mode.
#include <sys/stat.h>

#include "dms_media_registration.h"
#include "export_guard.h"
#include "media_db_check.h"
#include "media_db_schema.h"
#include "nuv_log.h"
#include "sqlite_handles.h"

namespace {

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
  return dms_export::guarded("DMSPrepareMediaDatabase", 1, [&]() -> int {
    if (dbPath == nullptr) return 1;
    if (!setAsideIfUnusable(dbPath)) return 1;
    sqlite3* raw = nullptr;
    int rc = sqlite3_open(dbPath, &raw);
    SqliteHandle db(raw);
    if (rc != SQLITE_OK) {
      NUVPrintf(NUV_LOG_ERROR, "[DMSPrepareMediaDatabase] cannot open %s", dbPath);
      return 1;
    }
    if (std::string why; !media_db::createMediaSchema(db.get(), &why)) {
      NUVPrintf(NUV_LOG_ERROR, "[DMSPrepareMediaDatabase] %s: %s", dbPath, why.c_str());
      return 1;
    }
    // Write-ahead logging, so that the server reads while the scanner writes.
    // Switching needs the file to itself, which it has only before the server
    // opens it; the mode then stays with the file.
    char* error = nullptr;
    if (sqlite3_exec(db.get(), "pragma journal_mode=WAL;", nullptr, nullptr, &error) != SQLITE_OK) {
      SqliteMessage message(error);
      NUVPrintf(NUV_LOG_ERROR, "[DMSPrepareMediaDatabase] %s", message ? message.get() : "WAL");
    }
    return 0;
  });
}
