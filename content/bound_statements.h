// Lookups of the form `select ... where column = "%s"` (one value inlined
// between double quotes, the "%c%c" ending of every statement format),
// prepared once per format with the value bound in place of the quoted
// text. A download asks up to nine of them (path, MIME type and profile in
// three tables); parsing and planning each again cost more than the lookup.
//
// The text form stays the reference: a format of another shape, a value
// that SQLite would read as a column name inside the double quotes, or any
// failure sends the caller back to the text, which logs as it always did.
//
// Thread safety: none; the connector's lock serialises every call.
#ifndef DMS_CONTENT_BOUND_STATEMENTS_H
#define DMS_CONTENT_BOUND_STATEMENTS_H

#include <sqlite3.h>

#include <string>
#include <unordered_map>

#include "sqlite_handles.h"

class BoundStatements {
 public:
  explicit BoundStatements(sqlite3* db) : db_(db) {}
  BoundStatements(const BoundStatements&) = delete;
  BoundStatements& operator=(const BoundStatements&) = delete;

  // The rows of `format` with `value` into *table; false when the caller
  // must run the text instead (nothing is logged here).
  bool select(const char* format, const char* value, SqliteTable* table);

  // The bound form of `format` ("?1" for its quoted "%s", the ending cut)
  // and the table it reads, or false for a format of another shape.
  static bool bindableForm(const char* format, std::string* sql, std::string* table);

 private:
  struct Entry {
    bool bindable = false;
    std::string table;
    SqliteStatement statement;
  };
  Entry& entryFor(const char* format);

  sqlite3* db_;
  std::unordered_map<const char*, Entry> entries_;  // formats are static texts
};

#endif  // DMS_CONTENT_BOUND_STATEMENTS_H
