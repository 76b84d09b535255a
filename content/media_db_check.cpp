#include "media_db_check.h"

#include <cstdio>
#include <ctime>
#include <set>

#include "media_schema.h"
#include "sqlite_handles.h"

namespace media_db_check {

namespace {

// The names of the columns of `table`; empty when there is no such table.
std::set<std::string> columnsOf(sqlite3* db, const char* table) {
  std::set<std::string> names;
  sqlite3_stmt* raw = nullptr;
  if (sqlite3_prepare_v2(db, "select name from pragma_table_info(?)", -1, &raw, nullptr) !=
      SQLITE_OK) {
    return names;
  }
  SqliteStatement statement(raw);
  sqlite3_bind_text(raw, 1, table, -1, SQLITE_STATIC);
  while (sqlite3_step(raw) == SQLITE_ROW) {
    const auto* name = reinterpret_cast<const char*>(sqlite3_column_text(raw, 0));
    if (name != nullptr) names.insert(name);
  }
  return names;
}

}  // namespace

std::string unusableReason(const char* path) {
  sqlite3* raw = nullptr;
  int rc = sqlite3_open_v2(path, &raw, SQLITE_OPEN_READONLY, nullptr);
  SqliteHandle db(raw);
  if (rc != SQLITE_OK) return db ? sqlite3_errmsg(db.get()) : "cannot be opened";
  sqlite3_stmt* rawCheck = nullptr;
  if (sqlite3_prepare_v2(db.get(), "pragma quick_check", -1, &rawCheck, nullptr) != SQLITE_OK)
    return sqlite3_errmsg(db.get());
  SqliteStatement check(rawCheck);
  rc = sqlite3_step(rawCheck);
  if (rc != SQLITE_ROW) return sqlite3_errmsg(db.get());
  const auto* verdict = reinterpret_cast<const char*>(sqlite3_column_text(rawCheck, 0));
  if (verdict == nullptr || std::string(verdict) != "ok")
    return std::string("damaged: ") + (verdict != nullptr ? verdict : "?");
  check.reset();

  // A database without any table is new; one with tables must have ours.
  sqlite3_stmt* rawCount = nullptr;
  if (sqlite3_prepare_v2(db.get(), "select count(*) from sqlite_master where type='table'", -1,
                         &rawCount, nullptr) != SQLITE_OK) {
    return sqlite3_errmsg(db.get());
  }
  SqliteStatement count(rawCount);
  if (sqlite3_step(rawCount) != SQLITE_ROW) return sqlite3_errmsg(db.get());
  if (sqlite3_column_int(rawCount, 0) == 0) return "";
  for (MediaTableId table : kMediaTablesInCreationOrder) {
    MediaTableDescription d = mediaTableDescription(table);
    std::set<std::string> present = columnsOf(db.get(), d.name);
    if (present.empty()) return std::string("no table ") + d.name;
    for (int i = 0; i < d.columnCount; ++i) {
      if (present.count(d.columns[i].name) == 0)
        return std::string("table ") + d.name + " lacks column " + d.columns[i].name;
    }
  }
  return "";
}

std::string moveAside(const char* path) {
  char stamp[32];
  time_t now = time(nullptr);
  struct tm parts {};
  localtime_r(&now, &parts);
  strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &parts);
  const std::string target = std::string(path) + ".unusable-" + stamp;
  if (rename(path, target.c_str()) != 0) return "";
  // A log or shared-memory file of the old database must not be replayed
  // into the new one.
  for (const char* suffix : {"-wal", "-shm"}) {
    const std::string companion = std::string(path) + suffix;
    if (rename(companion.c_str(), (target + suffix).c_str()) != 0) std::remove(companion.c_str());
  }
  return target;
}

}  // namespace media_db_check
