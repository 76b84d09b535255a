// RAII owners of SQLite resources. Internal to the content store: sqlite3.h
// is included nowhere outside content/.
#ifndef DMS_CONTENT_SQLITE_HANDLES_H
#define DMS_CONTENT_SQLITE_HANDLES_H

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

struct SqliteCloser {
  void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using SqliteHandle = std::unique_ptr<sqlite3, SqliteCloser>;

struct SqliteMessageFree {
  void operator()(char* message) const { sqlite3_free(message); }
};
using SqliteMessage = std::unique_ptr<char, SqliteMessageFree>;

// Whether `name` is a column of `table` (rowid, oid and _rowid_ included):
// between double quotes in SQL text such a name is the column, not a text.
inline bool namesColumn(sqlite3* db, const char* table, const char* name) {
  return sqlite3_table_column_metadata(db, "main", table, name, nullptr, nullptr, nullptr, nullptr,
                                       nullptr) == SQLITE_OK;
}

struct SqliteFinalizer {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using SqliteStatement = std::unique_ptr<sqlite3_stmt, SqliteFinalizer>;

// The connection's own lock, held for a scope (nothing for a connection
// opened without one).
class DbLock {
 public:
  explicit DbLock(sqlite3* db) : mutex_(db != nullptr ? sqlite3_db_mutex(db) : nullptr) {
    sqlite3_mutex_enter(mutex_);
  }
  ~DbLock() { sqlite3_mutex_leave(mutex_); }
  DbLock(const DbLock&) = delete;
  DbLock& operator=(const DbLock&) = delete;

 private:
  sqlite3_mutex* mutex_;
};

// The rows of one select as texts: `rows` rows of `columns` cells each (null
// for SQL NULL), as sqlite3_get_table gives them. Filled by run() from SQL
// text, or by step() from a prepared statement with the same cells.
class SqliteTable {
 public:
  SqliteTable() = default;
  ~SqliteTable() { sqlite3_free_table(cells_); }
  SqliteTable(const SqliteTable&) = delete;
  SqliteTable& operator=(const SqliteTable&) = delete;

  // Runs `sql` on `db`; SQLite's result code. On failure *errorMessage (if
  // given) receives SQLite's message.
  int run(sqlite3* db, const char* sql, SqliteMessage* errorMessage) {
    clear();
    char* message = nullptr;
    int rc = sqlite3_get_table(db, sql, &cells_, &rows_, &columns_, &message);
    if (errorMessage != nullptr) {
      errorMessage->reset(message);
    } else {
      sqlite3_free(message);
    }
    return rc;
  }

  // Steps `statement` (bound, not yet stepped) to its end and keeps every
  // row: SQLITE_OK, or SQLite's error code. The statement is reset after.
  // One block holds all texts: get_table allocates one per cell.
  int step(sqlite3_stmt* statement) {
    clear();
    stepped_ = true;
    columns_ = sqlite3_column_count(statement);
    std::vector<size_t> offsets;  // per cell; kNull for SQL NULL
    // Held for the whole walk: every step and cell call takes the
    // connection's recursive lock again, which costs nothing more once this
    // thread holds it.
    DbLock lock(sqlite3_db_handle(statement));
    int rc = SQLITE_ROW;
    while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
      for (int k = 0; k < columns_; ++k) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, k));
        if (text == nullptr) {
          offsets.push_back(kNull);
          continue;
        }
        // Up to the first NUL, as get_table copies a cell (which also spares
        // a second locked call per cell).
        offsets.push_back(texts_.size());
        texts_.append(text);
        texts_.push_back('\0');
      }
      ++rows_;
    }
    sqlite3_reset(statement);
    if (rc != SQLITE_DONE) {
      clear();
      return rc;
    }
    if (rows_ == 0) columns_ = 0;  // as get_table, which learns them from rows
    pointers_.reserve(offsets.size());
    for (size_t offset : offsets) pointers_.push_back(offset == kNull ? nullptr : &texts_[offset]);
    return SQLITE_OK;
  }

  bool hasResult() const { return cells_ != nullptr || stepped_; }
  int rows() const { return rows_; }
  int columns() const { return columns_; }
  // Column k of row `row` (both from 0); get_table's array has a header row
  // first. Null for SQL NULL and for positions outside the result.
  const char* cell(int row, int k) const {
    if (row < 0 || row >= rows_ || k < 0 || k >= columns_) return nullptr;
    if (stepped_) return pointers_[static_cast<size_t>(row) * columns_ + k];
    return cells_ == nullptr ? nullptr : cells_[(row + 1) * columns_ + k];
  }

 private:
  static constexpr size_t kNull = static_cast<size_t>(-1);

  void clear() {
    sqlite3_free_table(cells_);
    cells_ = nullptr;
    rows_ = 0;
    columns_ = 0;
    stepped_ = false;
    texts_.clear();
    pointers_.clear();
  }

  char** cells_ = nullptr;
  int rows_ = 0;
  int columns_ = 0;
  bool stepped_ = false;
  std::string texts_;
  std::vector<const char*> pointers_;
};

#endif  // DMS_CONTENT_SQLITE_HANDLES_H
