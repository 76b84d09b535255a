// MultiMediaDbConnector: lifecycle, connection, schema creation and the two
// ways statements run.
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <new>

#include "bound_statements.h"
#include "content_limits.h"
#include "contents_enumerator_argument.h"
#include "dms_conversions.h"
#include "dms_media_registration.h"
#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "listing_queries.h"
#include "media_schema.h"
#include "multimedia_db_connector.h"
#include "nuv_config.h"
#include "nuv_log.h"
#include "sql_text.h"
#include "sqlite_handles.h"

namespace {

std::mutex gInstanceMutex;
std::atomic<MultiMediaDbConnector*> gInstance{nullptr};

// Serialized mode: SQLite guards the handle itself too, so a caller that
// slipped past the connector's lock could not corrupt it.
constexpr int kProbeFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX;
constexpr int kOpenFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;

}  // namespace

void MultiMediaDbConnector::SqliteDeleter::operator()(sqlite3* db) const { sqlite3_close(db); }

MultiMediaDbConnector* MultiMediaDbConnector::GetInstance() {
  MultiMediaDbConnector* instance = gInstance.load(std::memory_order_acquire);
  if (instance != nullptr) return instance;
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  instance = gInstance.load(std::memory_order_relaxed);
  if (instance == nullptr) {
    instance = new (std::nothrow) MultiMediaDbConnector();
    gInstance.store(instance, std::memory_order_release);
  }
  return instance;
}

MultiMediaDbConnector* MultiMediaDbConnector::GetExisting() {
  return gInstance.load(std::memory_order_acquire);
}

void MultiMediaDbConnector::DestroyInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  delete gInstance.exchange(nullptr);
}

MultiMediaDbConnector::MultiMediaDbConnector() : connected_(false) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  connectAndFillCaches();
}

bool MultiMediaDbConnector::connectAndFillCaches() {
  if (!ConnectDB()) return false;
  connected_ = true;
  if (NUVGetDlnaCertificationState() == 0) {
    addToImageObjectVector();
    addToVideoObjectVector();
  }
  return true;
}

MultiMediaDbConnector::~MultiMediaDbConnector() { DisconnectDB(); }

bool MultiMediaDbConnector::ConnectDB() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (db_ != nullptr) return false;
  std::unique_ptr<DMSAppString> setting(DMSAppGetDBPathMA());
  if (setting == nullptr) return false;
  DMSAppMemText path(DMSAppConversions::DMSAppConvertDMSAppStringToUTF8MA(setting.get()));
  if (path == nullptr) return false;

  sqlite3* raw = nullptr;
  int rc = sqlite3_open_v2(path.get(), &raw, kProbeFlags, nullptr);
  SqliteHandle probe(raw);
  if (rc == SQLITE_OK) {
    // An existing file: used as it stands. The message is the one this path
    // has always logged, misleading as it reads.
    NUVPrintf(NUV_LOG_INFO, "[ConnectDB] Invalid Rc. sqlite3_open_v2() failed \n");
    probe.reset();
    raw = nullptr;
    rc = sqlite3_open_v2(path.get(), &raw, kOpenFlags, nullptr);
    db_.reset(raw);
    if (rc != SQLITE_OK) {
      db_.reset();
      return false;
    }
    sqlite3_busy_timeout(db_.get(), content_limits::kDbBusyTimeoutMs);
    rememberFileIdentity(path.get());
    holdLogIndex();
    NUVPrintf(NUV_LOG_INFO, "[ConnectDB] sqlite3_open() ok \n");
    return true;
  }

  // A new file: open (creating it) and lay out the tables.
  probe.reset();
  raw = nullptr;
  rc = sqlite3_open_v2(path.get(), &raw, kOpenFlags, nullptr);
  db_.reset(raw);
  if (rc != SQLITE_OK) db_.reset();
  if (db_ != nullptr) sqlite3_busy_timeout(db_.get(), content_limits::kDbBusyTimeoutMs);
  CreateTables();
  if (rc != SQLITE_OK) {
    NUVPrintf(NUV_LOG_ERROR, "[ConnectDB] sqlite3_open() failed \n");
    return false;
  }
  rememberFileIdentity(path.get());
  NUVPrintf(NUV_LOG_INFO, "[ConnectDB] sqlite3_open() ok \n");
  return true;
}

void MultiMediaDbConnector::DisconnectDB() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  queries_.reset();  // a connection with statements left open would not close
  bound_.reset();
  db_.reset();
  connected_ = false;
}

void MultiMediaDbConnector::holdLogIndex() {
  // A first read opens the write-ahead log's shared index, which the
  // connection then keeps. Left to the first Browse, the index could fall to
  // be made anew when the disk is already full, and then every read fails
  // until space comes back.
  sqlite3_exec(db_.get(), "select count(*) from sqlite_master;", nullptr, nullptr, nullptr);
}

void MultiMediaDbConnector::rememberFileIdentity(const char* path) {
  struct stat st {};
  if (stat(path, &st) != 0) return;
  fileDevice_ = st.st_dev;
  fileInode_ = st.st_ino;
}

bool MultiMediaDbConnector::FollowDatabaseFile() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  std::unique_ptr<DMSAppString> setting(DMSAppGetDBPathMA());
  if (setting == nullptr) return false;
  DMSAppMemText path(DMSAppConversions::DMSAppConvertDMSAppStringToUTF8MA(setting.get()));
  if (path == nullptr) return false;
  struct stat st {};
  const bool present = stat(path.get(), &st) == 0;
  const bool same =
      db_ != nullptr && present && st.st_dev == fileDevice_ && st.st_ino == fileInode_;
  // A file opened read-only stays so for this process (SQLite shares its
  // descriptors among connections) until every connection to it closes.
  const bool writableNow =
      same && sqlite3_db_readonly(db_.get(), "main") == 1 && access(path.get(), W_OK) == 0;
  if (same && !writableNow) return false;
  if (writableNow) {
    NUVPrintf(NUV_LOG_ERROR, "[ConnectDB] %s may be written again: reconnecting\n", path.get());
  } else {
    NUVPrintf(NUV_LOG_ERROR,
              "[ConnectDB] %s is no longer the database the server opened (%s): reconnecting\n",
              path.get(), present ? "another file is in its place" : "it was removed");
  }
  // Closed first: the old connection's write-ahead log shares the new
  // file's name, and closing folds it into the old file and removes it.
  DisconnectDB();
  vImageObject_.clear();
  vVideoObject_.clear();
  return DMSPrepareMediaDatabase(path.get()) == 0 && connectAndFillCaches();
}

bool MultiMediaDbConnector::IsConnected() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return connected_;
}

void MultiMediaDbConnector::CreateTables() {
  for (MediaTableId table : kMediaTablesInCreationOrder) {
    MediaTableDescription d = mediaTableDescription(table);
    DMSAppMemText sql(MTGetCreatTblSqlStmt(d.name, d.columnCount, d.columns));
    ExecSqlStatmentNoValueReturn(sql.get());
  }
}

bool MultiMediaDbConnector::ExecSqlStatmentNoValueReturn(const char* sql) {
  if (sql == nullptr) return false;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (db_ == nullptr) {
    NUVPrintf(
        NUV_LOG_ERROR,
        "[MultiMediaDbConnector::ExecSqlStatmentNoValueReturn]:\n\tquery : %s\n\terr msg : %s", sql,
        "no database open");
    return false;
  }
  char* raw = nullptr;
  int rc = sqlite3_exec(db_.get(), sql, nullptr, nullptr, &raw);
  SqliteMessage message(raw);
  if (rc != SQLITE_OK) {
    const char* text = message != nullptr ? message.get() : sqlite3_errstr(rc);
    NUVPrintf(
        NUV_LOG_ERROR,
        "[MultiMediaDbConnector::ExecSqlStatmentNoValueReturn]:\n\tquery : %s\n\terr msg : %s", sql,
        text);
    return false;
  }
  return true;
}

ListingQueries* MultiMediaDbConnector::queries() {
  if (queries_ == nullptr && db_ != nullptr)
    queries_.reset(new (std::nothrow) ListingQueries(db_.get()));
  return queries_.get();
}

bool MultiMediaDbConnector::selectByValue(const char* format, const char* value,
                                          const std::string& quoted, SqliteTable* table) {
  if (bound_ == nullptr && db_ != nullptr)
    bound_.reset(new (std::nothrow) BoundStatements(db_.get()));
  if (bound_ != nullptr && bound_->select(format, value, table)) return true;
  std::string sql;
  return sql_text::formatStatement(&sql, format, quoted.c_str(), 0, 0) && selectRows(sql, table);
}

void MultiMediaDbConnector::logFailedSelect(const std::string& sql, int rc) {
  NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::selectRows]:\n\tquery : %s\n\terr msg : %s",
            sql.c_str(), db_ != nullptr ? sqlite3_errmsg(db_.get()) : sqlite3_errstr(rc));
}

bool MultiMediaDbConnector::selectRows(const std::string& sql, SqliteTable* table) {
  if (db_ == nullptr) return false;
  SqliteMessage message;
  int rc = table->run(db_.get(), sql.c_str(), &message);
  if (rc != SQLITE_OK) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::selectRows]:\n\tquery : %s\n\terr msg : %s",
              sql.c_str(), message != nullptr ? message.get() : sqlite3_errstr(rc));
    return false;
  }
  return true;
}
