#include "listing_queries.h"

#include "media_db_schema.h"
#include "sql_text.h"

namespace {

struct KindTexts {
  const char* table;
  const char* texts[5];  // by ListingQueries::Statement
};

// Images and videos are listed newest first; among rows of one SortIndex
// SQLite walks the (Share, SortIndex) index backwards, which is rowid
// descending, so the marks and the page from a mark name that order in
// full. Audio is listed in table (rowid) order.
const KindTexts kKinds[] = {
    {MEDIA_DB_IMAGE_TABLE,
     {"select * from " MEDIA_DB_IMAGE_TABLE " where Share = :share ORDER BY SortIndex DESC "
      "limit :start,:count",
      "select * from " MEDIA_DB_IMAGE_TABLE
      " where Share = :share and (SortIndex, rowid) <= (:key, :row) "
      "ORDER BY SortIndex DESC, rowid DESC limit :start,:count",
      "select count(*) from " MEDIA_DB_IMAGE_TABLE " where Share = :share",
      "select * from " MEDIA_DB_IMAGE_TABLE " where Share = :share and id = :id",
      "select SortIndex, rowid from " MEDIA_DB_IMAGE_TABLE " where Share = :share "
      "ORDER BY SortIndex DESC, rowid DESC"}},
    {MEDIA_DB_AUDIO_TABLE,
     {"select * from " MEDIA_DB_AUDIO_TABLE " limit :start,:count",
      "select * from " MEDIA_DB_AUDIO_TABLE " where rowid >= :row limit :start,:count",
      "select count(*) from " MEDIA_DB_AUDIO_TABLE,
      "select * from " MEDIA_DB_AUDIO_TABLE " where :share and id = :id",
      "select NULL, rowid from " MEDIA_DB_AUDIO_TABLE " ORDER BY rowid"}},
    {MEDIA_DB_VIDEO_TABLE,
     {"select * from " MEDIA_DB_VIDEO_TABLE " where Share = :share ORDER BY SortIndex DESC "
      "limit :start,:count",
      "select * from " MEDIA_DB_VIDEO_TABLE
      " where Share = :share and (SortIndex, rowid) <= (:key, :row) "
      "ORDER BY SortIndex DESC, rowid DESC limit :start,:count",
      "select count(*) from " MEDIA_DB_VIDEO_TABLE " where Share = :share",
      "select * from " MEDIA_DB_VIDEO_TABLE " where Share = :share and id = :id",
      "select SortIndex, rowid from " MEDIA_DB_VIDEO_TABLE " where Share = :share "
      "ORDER BY SortIndex DESC, rowid DESC"}},
};

int bindInt(sqlite3_stmt* s, const char* name, sqlite3_int64 value) {
  const int at = sqlite3_bind_parameter_index(s, name);
  return at == 0 ? SQLITE_OK : sqlite3_bind_int64(s, at, value);
}

}  // namespace

sqlite3_stmt* ListingQueries::statement(unsigned int mode, Statement which, int* rc) {
  if (!sql_text::validMode(mode)) {
    *rc = SQLITE_MISUSE;
    return nullptr;
  }
  SqliteStatement& slot = statements_[(mode - 1) * kStatementsPerKind + which];
  if (slot == nullptr) {
    sqlite3_stmt* prepared = nullptr;
    *rc = sqlite3_prepare_v3(db_, kKinds[mode - 1].texts[which], -1, SQLITE_PREPARE_PERSISTENT,
                             &prepared, nullptr);
    slot.reset(prepared);
    if (*rc != SQLITE_OK) {
      slot.reset();
      return nullptr;
    }
  }
  sqlite3_clear_bindings(slot.get());
  *rc = SQLITE_OK;
  return slot.get();
}

int ListingQueries::currentStamp(Stamp* stamp) {
  if (dataVersion_ == nullptr) {
    sqlite3_stmt* prepared = nullptr;
    const int rc = sqlite3_prepare_v3(db_, "PRAGMA data_version", -1, SQLITE_PREPARE_PERSISTENT,
                                      &prepared, nullptr);
    dataVersion_.reset(prepared);
    if (rc != SQLITE_OK) {
      dataVersion_.reset();
      return rc;
    }
  }
  int rc = sqlite3_step(dataVersion_.get());
  if (rc == SQLITE_ROW) {
    // data_version moves with other connections' commits, total_changes
    // with this connection's own writes.
    stamp->dataVersion = sqlite3_column_int64(dataVersion_.get(), 0);
    stamp->changes = sqlite3_total_changes64(db_);
    rc = SQLITE_OK;
  }
  sqlite3_reset(dataVersion_.get());
  return rc;
}

int ListingQueries::page(unsigned int mode, int share, int start, int count, SqliteTable* table) {
  int rc = SQLITE_OK;
  if (start >= kMarksFrom && sql_text::validMode(mode)) {
    Stamp stamp;
    rc = currentStamp(&stamp);
    if (rc != SQLITE_OK) return rc;
    Marks& marks = marks_[mode - 1];
    if (!marks.valid || !(marks.stamp == stamp) || marks.share != share) {
      rc = buildMarks(mode, share, stamp, &marks);
      if (rc != SQLITE_OK) return rc;
    }
    const size_t at = static_cast<size_t>(start / kMarkStride);
    // Rows without a sort key come last and cannot be reached from a mark.
    if (at < marks.marks.size() && static_cast<long long>(start) + count <= marks.keyedRows)
      return pageFromMark(mode, share, marks.marks[at], start - static_cast<int>(at) * kMarkStride,
                          count, table);
  }
  sqlite3_stmt* s = statement(mode, kPage, &rc);
  if (s == nullptr) return rc;
  if ((rc = bindInt(s, ":share", share)) != SQLITE_OK ||
      (rc = bindInt(s, ":start", start)) != SQLITE_OK ||
      (rc = bindInt(s, ":count", count)) != SQLITE_OK)
    return rc;
  return table->step(s);
}

int ListingQueries::pageFromMark(unsigned int mode, int share, const Mark& mark, int offset,
                                 int count, SqliteTable* table) {
  int rc = SQLITE_OK;
  sqlite3_stmt* s = statement(mode, kPageFromMark, &rc);
  if (s == nullptr) return rc;
  const int key = sqlite3_bind_parameter_index(s, ":key");
  if ((rc = bindInt(s, ":share", share)) != SQLITE_OK ||
      (rc = bindInt(s, ":row", mark.row)) != SQLITE_OK ||
      (key != 0 && (rc = sqlite3_bind_value(s, key, mark.key.get())) != SQLITE_OK) ||
      (rc = bindInt(s, ":start", offset)) != SQLITE_OK ||
      (rc = bindInt(s, ":count", count)) != SQLITE_OK)
    return rc;
  return table->step(s);
}

int ListingQueries::buildMarks(unsigned int mode, int share, const Stamp& stamp, Marks* marks) {
  marks->valid = false;
  marks->marks.clear();
  marks->keyedRows = 0;
  int rc = SQLITE_OK;
  sqlite3_stmt* s = statement(mode, kMarks, &rc);
  if (s == nullptr) return rc;
  if ((rc = bindInt(s, ":share", share)) != SQLITE_OK) return rc;
  const bool keyed = mode != sql_text::kAudio;
  bool keyless = false;
  int position = 0;
  while ((rc = sqlite3_step(s)) == SQLITE_ROW) {
    if (keyed && sqlite3_column_type(s, 0) == SQLITE_NULL) keyless = true;
    if (!keyless) marks->keyedRows = position + 1;
    if (position % kMarkStride == 0 && !keyless) {
      Mark mark;
      mark.row = sqlite3_column_int64(s, 1);
      if (keyed) {
        mark.key.reset(sqlite3_value_dup(sqlite3_column_value(s, 0)));
        if (mark.key == nullptr) {
          rc = SQLITE_NOMEM;
          break;
        }
      }
      marks->marks.push_back(std::move(mark));
    }
    ++position;
  }
  sqlite3_reset(s);
  if (rc != SQLITE_DONE) {
    marks->marks.clear();
    return rc == SQLITE_ROW ? SQLITE_ERROR : rc;
  }
  marks->valid = true;
  marks->stamp = stamp;
  marks->share = share;
  return SQLITE_OK;
}

int ListingQueries::count(unsigned int mode, int share, int* value) {
  if (!sql_text::validMode(mode)) return SQLITE_MISUSE;
  Stamp stamp;
  int rc = currentStamp(&stamp);
  if (rc != SQLITE_OK) return rc;
  CachedCount& cached = counts_[mode - 1];
  if (cached.valid && cached.stamp == stamp && cached.share == share) {
    *value = cached.value;
    return SQLITE_OK;
  }
  sqlite3_stmt* s = statement(mode, kCount, &rc);
  if (s == nullptr) return rc;
  if ((rc = bindInt(s, ":share", share)) != SQLITE_OK) return rc;
  rc = sqlite3_step(s);
  if (rc == SQLITE_ROW) {
    cached.value = sqlite3_column_int(s, 0);
    cached.valid = true;
    cached.stamp = stamp;
    cached.share = share;
    *value = cached.value;
    rc = SQLITE_OK;
  }
  sqlite3_reset(s);
  return rc;
}

int ListingQueries::listedById(unsigned int mode, int share, const char* id, SqliteTable* table) {
  int rc = SQLITE_OK;
  sqlite3_stmt* s = statement(mode, kListed, &rc);
  if (s == nullptr) return rc;
  if ((rc = bindInt(s, ":share", share)) != SQLITE_OK ||
      (rc = sqlite3_bind_text(s, sqlite3_bind_parameter_index(s, ":id"), id, -1,
                              SQLITE_TRANSIENT)) != SQLITE_OK)
    return rc;
  return table->step(s);
}

bool ListingQueries::idReadsAsColumn(unsigned int mode, const char* id) const {
  if (!sql_text::validMode(mode) || id == nullptr) return false;
  return namesColumn(db_, kKinds[mode - 1].table, id);
}
