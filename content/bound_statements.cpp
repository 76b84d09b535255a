#include "bound_statements.h"

#include <cstring>

bool BoundStatements::bindableForm(const char* format, std::string* sql, std::string* table) {
  if (format == nullptr) return false;
  const std::string text(format);
  const std::string quoted = "\"%s\"";
  const std::string ending = "%c%c";
  const size_t value = text.find(quoted);
  if (value == std::string::npos || text.size() < ending.size() ||
      text.compare(text.size() - ending.size(), ending.size(), ending) != 0)
    return false;
  std::string bound = text.substr(0, text.size() - ending.size());
  bound.replace(value, quoted.size(), "?1");
  // Any other directive (a number, a second value) keeps the text form.
  if (bound.find('%') != std::string::npos) return false;
  const size_t from = bound.find(" from ");
  if (from == std::string::npos) return false;
  const size_t name = from + strlen(" from ");
  *table = bound.substr(name, bound.find(' ', name) - name);
  *sql = bound;
  return true;
}

BoundStatements::Entry& BoundStatements::entryFor(const char* format) {
  auto found = entries_.find(format);
  if (found != entries_.end() && (found->second.bindable || found->second.table.empty()))
    return found->second;
  // Prepared again while it fails: the table may not exist yet.
  Entry& entry = entries_[format];
  std::string sql;
  if (bindableForm(format, &sql, &entry.table)) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v3(db_, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) ==
        SQLITE_OK) {
      entry.statement.reset(prepared);
      entry.bindable = true;
    } else {
      sqlite3_finalize(prepared);
    }
  }
  return entry;
}

bool BoundStatements::select(const char* format, const char* value, SqliteTable* table) {
  if (value == nullptr) return false;
  Entry& entry = entryFor(format);
  if (!entry.bindable) return false;
  // Inside double quotes a column's name is the column, not the text.
  if (namesColumn(db_, entry.table.c_str(), value)) return false;
  sqlite3_stmt* s = entry.statement.get();
  sqlite3_clear_bindings(s);
  if (sqlite3_bind_text(s, 1, value, -1, SQLITE_TRANSIENT) != SQLITE_OK) return false;
  return table->step(s) == SQLITE_OK;
}
