// RAII owners of SQLite resources. Internal to the content store: sqlite3.h
// is included nowhere outside content/.
#ifndef DMS_CONTENT_SQLITE_HANDLES_H
#define DMS_CONTENT_SQLITE_HANDLES_H

#include <sqlite3.h>

#include <memory>

struct SqliteCloser {
  void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using SqliteHandle = std::unique_ptr<sqlite3, SqliteCloser>;

struct SqliteMessageFree {
  void operator()(char* message) const { sqlite3_free(message); }
};
using SqliteMessage = std::unique_ptr<char, SqliteMessageFree>;

// The result array of one sqlite3_get_table call: a header row of column
// names, then `rows` rows of `columns` texts each (null for SQL NULL).
class SqliteTable {
 public:
  SqliteTable() = default;
  ~SqliteTable() { sqlite3_free_table(cells_); }
  SqliteTable(const SqliteTable&) = delete;
  SqliteTable& operator=(const SqliteTable&) = delete;

  // Runs `sql` on `db`; SQLite's result code. On failure *errorMessage (if
  // given) receives SQLite's message.
  int run(sqlite3* db, const char* sql, SqliteMessage* errorMessage) {
    sqlite3_free_table(cells_);
    cells_ = nullptr;
    rows_ = 0;
    columns_ = 0;
    char* message = nullptr;
    int rc = sqlite3_get_table(db, sql, &cells_, &rows_, &columns_, &message);
    if (errorMessage != nullptr) {
      errorMessage->reset(message);
    } else {
      sqlite3_free(message);
    }
    return rc;
  }

  bool hasResult() const { return cells_ != nullptr; }
  int rows() const { return rows_; }
  int columns() const { return columns_; }
  // Column k of row `row` (both from 0): index (row + 1) * columns + k.
  // Null for SQL NULL and for positions outside the result.
  const char* cell(int row, int k) const {
    if (cells_ == nullptr || row < 0 || row >= rows_ || k < 0 || k >= columns_) return nullptr;
    return cells_[(row + 1) * columns_ + k];
  }

 private:
  char** cells_ = nullptr;
  int rows_ = 0;
  int columns_ = 0;
};

#endif  // DMS_CONTENT_SQLITE_HANDLES_H
