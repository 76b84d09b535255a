// MultiMediaDbConnector: deleting objects with their files.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "dms_media_registration.h"
#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "multimedia_db_connector.h"
#include "nuv_log.h"
#include "sql_text.h"
#include "sqlite_handles.h"
#include "text_util.h"

namespace {

constexpr const char* kCardMount = "/ext/sd0";
constexpr size_t kCardPrefixLength = 8;  // dropped whatever it holds
constexpr const char* kCardAlias = "/b";

// Runs `sql`; false with SQLite's message in *error.
bool runStatement(sqlite3* db, const std::string& sql, std::string* error) {
  char* raw = nullptr;
  int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &raw);
  SqliteMessage message(raw);
  if (rc == SQLITE_OK) return true;
  *error = message != nullptr ? message.get() : sqlite3_errstr(rc);
  return false;
}

std::atomic<DMSThumbnailRemover> gThumbnailRemover{nullptr};

// The media kind (1, 2 or 3) an object was registered with, or 0.
unsigned int kindOfObject(sqlite3* db, const std::string& quotedId) {
  std::string sql;
  SqliteTable table;
  SqliteMessage message;
  if (!sql_text::formatStatement(&sql, sql_text::kClassOfObject, quotedId.c_str(), 0, 0) ||
      table.run(db, sql.c_str(), &message) != SQLITE_OK || table.rows() != 1 ||
      table.cell(0, 0) == nullptr) {
    return 0;
  }
  const long kind = strtol(table.cell(0, 0), nullptr, 10);
  return sql_text::validMode(static_cast<unsigned int>(kind)) ? static_cast<unsigned int>(kind) : 0;
}

}  // namespace

extern "C" void DMSSetThumbnailRemover(DMSThumbnailRemover remover) {
  gThumbnailRemover.store(remover);
}

int MultiMediaDbConnector::DeleteContent(unsigned int mode, DMSAppString* id) {
  return removeContent(mode, id, "DeleteContent", nullptr);
}

int MultiMediaDbConnector::DestroyContent(unsigned int mode, DMSAppString* id,
                                          unsigned int* removedKind) {
  return removeContent(mode, id, "DestroyContent", removedKind);
}

int MultiMediaDbConnector::removeContent(unsigned int mode, DMSAppString* id, const char* who,
                                         unsigned int* removedKind) {
  const char* idText = text_util::textOf(id);
  if (idText == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::%s] pContId is Null!!!", who);
    return 1;
  }
  std::string quoted, sql, error;
  if (!sql_text::sqlValue(idText, &quoted)) return 1;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (!connected_ || db_ == nullptr) return 1;

  SqliteTable table;
  SqliteMessage message;
  int rc = SQLITE_ERROR;
  if (sql_text::formatStatement(&sql, sql_text::kPathOfObject, quoted.c_str(), 0, 0)) {
    rc = table.run(db_.get(), sql.c_str(), &message);
  }
  if (rc != SQLITE_OK) {
    NUVPrintf(NUV_LOG_ERROR,
              " [MultiMediaDbConnector::DeleteContent] Error in select query [%s] !!!",
              sql.c_str());
    return 1;
  }
  if (table.rows() != 1) {
    NUVPrintf(NUV_LOG_ERROR,
              " [MultiMediaDbConnector] if nRow = 0, then no file with tat filename, if nRow is > "
              "1, more than 1 file with the same filename.--ReserveContentID");
    return 1;
  }

  // The object's own class names its media row, which must go with the
  // object row: an object created in the root, or destroyed through another
  // kind's container, reaches here with that container's kind.
  const unsigned int own = kindOfObject(db_.get(), quoted);
  if (own != 0) mode = own;

  // The file first; one never uploaded cannot be deleted, and its rows must
  // go all the same. Its rendered thumbnails go while it is still there.
  const char* path = table.cell(0, 0);
  const DMSThumbnailRemover remover = gThumbnailRemover.load();
  if (remover != nullptr && path != nullptr) remover(path);
  char* converted = nullptr;
  bool removed = false;
  if (path != nullptr && ConvertFilePath(path, &converted) == 0) {
    DMSAppMemText alias(converted);
    removed = DMSAppRemoveFile(alias.get()) == 1;
  }
  if (!removed && path != nullptr) removed = DMSAppRemoveFile(path) == 1;
  if (!removed) {
    NUVPrintf(NUV_LOG_ERROR,
              " [MultiMediaDbConnector] Could not delete the file - "
              "MultiMediaDbConnector::DeleteContent");
  }

  if (!sql_text::formatStatement(&sql, sql_text::kDeleteObjectRow, quoted.c_str(), 0, 0) ||
      !runStatement(db_.get(), sql, &error)) {
    NUVPrintf(NUV_LOG_ERROR,
              " [MultiMediaDbConnector::DeleteContent] Error in  delete query db call !!!  "
              "[%s][%s]",
              sql.c_str(), error.c_str());
    return 1;
  }
  const char* format = sql_text::deleteMediaRow(mode);
  if (format == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, " [MultiMediaDbConnector] Media Type not found -- DeleteContent");
    return 1;
  }
  if (!sql_text::formatStatement(&sql, format, quoted.c_str(), 0, 0) ||
      !runStatement(db_.get(), sql, &error)) {
    NUVPrintf(NUV_LOG_ERROR,
              " [MultiMediaDbConnector] Error in  db call MediaTable-- DeleteContent[%s][%s]",
              sql.c_str(), error.c_str());
    return 1;
  }
  if (removedKind != nullptr) *removedKind = mode;
  return 0;
}

int MultiMediaDbConnector::ConvertFilePath(const char* path, char** out) {
  if (path == nullptr || out == nullptr || strstr(path, kCardMount) == nullptr) return 1;
  std::string alias = std::string(kCardAlias) + (path + kCardPrefixLength);
  char* block = static_cast<char*>(DMSAppMemAllocMA(alias.size() + 1));
  if (block == nullptr) return 1;
  memcpy(block, alias.c_str(), alias.size() + 1);
  *out = block;
  return 0;
}
