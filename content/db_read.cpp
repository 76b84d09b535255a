// MultiMediaDbConnector: paged reads and counts from the database.
#include <memory>
#include <string>

#include "contents_enumerator_argument.h"
#include "db_row_reader.h"
#include "dms_list.h"
#include "listing_queries.h"
#include "multimedia_db_connector.h"
#include "nuv_log.h"
#include "record_list.h"
#include "sql_text.h"
#include "sqlite_handles.h"
#include "text_util.h"

namespace {

// Listings offer only the files marked as shared.
constexpr int kShared = 1;

}  // namespace

DMSCDSList* MultiMediaDbConnector::GetImageItems(int start, int count) {
  return readPage(sql_text::kImage, start, count);
}

DMSCDSList* MultiMediaDbConnector::GetAudioItems(int start, int count) {
  return readPage(sql_text::kAudio, start, count);
}

DMSCDSList* MultiMediaDbConnector::GetVideoItems(int start, int count) {
  return readPage(sql_text::kVideo, start, count);
}

DMSCDSList* MultiMediaDbConnector::GetItemsPresent(unsigned int mode, int start, int count) {
  if (!sql_text::validMode(mode)) return nullptr;
  return readPage(mode, start, count, false);
}

DMSCDSList* MultiMediaDbConnector::readPage(unsigned int mode, int start, int count, bool whole) {
  if (start < 0 || count < 0) return nullptr;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (!connected_) return nullptr;

  SqliteTable table;
  ListingQueries* prepared = queries();
  const int rc =
      prepared != nullptr ? prepared->page(mode, kShared, start, count, &table) : SQLITE_NOMEM;
  if (rc != SQLITE_OK) {
    std::string sql;
    if (mode == sql_text::kImage) {
      sql_text::formatStatement(&sql, sql_text::kPageImages, kShared, start, count, 0, 0);
    } else if (mode == sql_text::kAudio) {
      sql_text::formatStatement(&sql, sql_text::kPageAudio, start, count, 0, 0);
    } else {
      sql_text::formatStatement(&sql, sql_text::kPageVideos, kShared, start, count, 0, 0);
    }
    logFailedSelect(sql, rc);
    return nullptr;
  }
  if (!table.hasResult()) return nullptr;

  // Only whole pages: exactly `count` rows of the table's own width. A
  // table of another layout (an older file) never passes.
  const bool rowsFit = whole ? table.rows() == count : table.rows() > 0 && table.rows() <= count;
  if (!rowsFit || (count > 0 && table.columns() != columnsOfKind(mode))) {
    if (count > 0 && table.rows() > 0 && table.columns() != columnsOfKind(mode)) {
      NUVPrintf(NUV_LOG_ERROR,
                "[MultiMediaDbConnector::readPage] unexpected layout: %d columns instead of %d",
                table.columns(), columnsOfKind(mode));
    }
    return nullptr;
  }

  return recordsOf(mode, table, table.rows());
}

DMSCDSList* MultiMediaDbConnector::recordsOf(unsigned int mode, const SqliteTable& table,
                                             int rows) {
  RecordListPtr list(newRecordList(static_cast<int>(mode), rows));
  if (list == nullptr) return nullptr;
  for (int row = 0; row < rows; ++row) {
    std::unique_ptr<ContentsEnumeratorArgument> record(recordFromRow(mode, table, row));
    if (record == nullptr || !appendRecord(list.get(), record.get())) return nullptr;
    record.release();  // the list's now
  }
  return list.release();
}

DMSCDSList* MultiMediaDbConnector::GetListedItem(unsigned int mode, DMSAppString* id) {
  if (!sql_text::validMode(mode)) return nullptr;
  std::string quoted;
  if (!sql_text::sqlValue(text_util::textOf(id), &quoted)) return nullptr;
  // The text is made only where it runs or is logged.
  const auto text = [&] {
    std::string sql;
    sql_text::formatStatement(&sql, sql_text::listedObjectById(mode), kShared, quoted.c_str(), 0,
                              0);
    return sql;
  };
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (!connected_) return nullptr;
  SqliteTable table;
  ListingQueries* prepared = queries();
  const char* idText = text_util::textOf(id);
  if (prepared == nullptr || prepared->idReadsAsColumn(mode, idText)) {
    if (!selectRows(text(), &table)) return nullptr;
  } else if (const int rc = prepared->listedById(mode, kShared, idText, &table)) {
    logFailedSelect(text(), rc);
    return nullptr;
  }
  if (!table.hasResult()) return nullptr;
  if (table.rows() > 0 && table.columns() != columnsOfKind(mode)) return nullptr;
  return recordsOf(mode, table, table.rows() > 0 ? 1 : 0);
}

int MultiMediaDbConnector::countListed(unsigned int mode) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (!connected_) return -1;
  ListingQueries* prepared = queries();
  int value = -1;
  const int rc = prepared != nullptr ? prepared->count(mode, kShared, &value) : SQLITE_NOMEM;
  if (rc == SQLITE_OK) return value;
  std::string sql;
  if (mode == sql_text::kAudio) {
    sql_text::formatStatement(&sql, sql_text::kCountAudio, 0, 0);
  } else {
    sql_text::formatStatement(
        &sql, mode == sql_text::kImage ? sql_text::kCountImages : sql_text::kCountVideos, kShared,
        0, 0);
  }
  logFailedSelect(sql, rc);
  return -1;
}

int MultiMediaDbConnector::GetTotalImageItem() { return countListed(sql_text::kImage); }

int MultiMediaDbConnector::GetTotalAudioItem() { return countListed(sql_text::kAudio); }

int MultiMediaDbConnector::GetTotalVideoItem() { return countListed(sql_text::kVideo); }
