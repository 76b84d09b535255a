// The statements every Browse runs, prepared once per connection: a page of
// one media kind, its count, and one listed item by ID. They give the rows
// the formatted texts of sql_text.h give (the connector still logs those
// texts when a statement fails); what Browse pays per request is stepping
// them, not parsing and planning SQL.
//
// Kept between requests until the database changes (a write on this
// connection, a commit on another): the counts, and for deep pages the sort
// position of every kMarkStride-th row, so that a page near the end of a
// large listing starts from the nearest mark instead of stepping over every
// row before it.
//
// Thread safety: none; the connector's lock serialises every call.
#ifndef DMS_CONTENT_LISTING_QUERIES_H
#define DMS_CONTENT_LISTING_QUERIES_H

#include <sqlite3.h>

#include <array>
#include <memory>
#include <vector>

#include "sqlite_handles.h"

class SqliteTable;

class ListingQueries {
 public:
  // Every kMarkStride-th row of a listing is marked.
  static constexpr int kMarkStride = 256;
  // Pages starting before this index step over the rows before them: the
  // marks are not worth a pass over the listing.
  static constexpr int kMarksFrom = 1024;

  explicit ListingQueries(sqlite3* db) : db_(db) {}
  ListingQueries(const ListingQueries&) = delete;
  ListingQueries& operator=(const ListingQueries&) = delete;

  // `count` rows of kind `mode` (sql_text::kImage...) from `start`, of the
  // rows whose Share equals `share` (audio has no Share). SQLite's result
  // code; SQLITE_MISUSE for an unknown mode.
  int page(unsigned int mode, int share, int start, int count, SqliteTable* table);
  // The number of such rows into *value.
  int count(unsigned int mode, int share, int* value);
  // The listed row with ID `id`, or none.
  int listedById(unsigned int mode, int share, const char* id, SqliteTable* table);

  // Bound as values the texts give the same rows, except an ID that SQLite
  // would read as the name of a column inside the double quotes of the
  // formatted text: those take the formatted text.
  bool idReadsAsColumn(unsigned int mode, const char* id) const;

 private:
  enum Statement {
    kPage,
    kPageFromMark,
    kCount,
    kListed,
    kMarks,
    kStatementsPerKind,
  };
  struct Stamp {
    long long dataVersion = -1;
    long long changes = -1;
    bool operator==(const Stamp& o) const {
      return dataVersion == o.dataVersion && changes == o.changes;
    }
  };
  struct ValueFree {
    void operator()(sqlite3_value* v) const { sqlite3_value_free(v); }
  };
  struct Mark {
    std::unique_ptr<sqlite3_value, ValueFree> key;  // SortIndex; null for audio
    sqlite3_int64 row = 0;
  };
  struct Marks {
    bool valid = false;
    Stamp stamp;
    int share = 0;
    int keyedRows = 0;  // rows before the first one without a sort key
    std::vector<Mark> marks;
  };
  struct CachedCount {
    bool valid = false;
    Stamp stamp;
    int share = 0;
    int value = 0;
  };

  // The prepared statement, prepared on first use; null (and *rc) on error.
  sqlite3_stmt* statement(unsigned int mode, Statement which, int* rc);
  int currentStamp(Stamp* stamp);
  int buildMarks(unsigned int mode, int share, const Stamp& stamp, Marks* marks);
  int pageFromMark(unsigned int mode, int share, const Mark& mark, int offset, int count,
                   SqliteTable* table);

  sqlite3* db_;
  std::array<SqliteStatement, 3 * kStatementsPerKind> statements_;
  SqliteStatement dataVersion_;
  std::array<CachedCount, 3> counts_;
  std::array<Marks, 3> marks_;
};

#endif  // DMS_CONTENT_LISTING_QUERIES_H
