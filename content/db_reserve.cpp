// MultiMediaDbConnector: reserving IDs for objects that clients create.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "content_limits.h"
#include "contents_enumerator_argument.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "multimedia_db_connector.h"
#include "nuv_log.h"
#include "sql_text.h"
#include "sqlite_handles.h"
#include "text_util.h"

namespace {

// Placeholders of a reserved row until the upload's metadata replaces them.
constexpr const char* kBlank = " ";
constexpr int kNotValid = 0;
constexpr int kNotBackup = 0;

struct FileCloser {
  void operator()(FILE* f) const { DMSAppCloseFile(f); }
};

bool fileExists(const std::string& path) {
  std::unique_ptr<FILE, FileCloser> file(DMSAppOpenFile(path.c_str(), DMSAPP_FILE_READ));
  return file != nullptr;
}

// All the texts of one reservation, quoted for SQL.
struct QuotedRow {
  std::string id;
  std::string title;
  std::string path;
  std::string mime;
  std::string profile;
  std::string blank;
};

}  // namespace

namespace {

// Step 3: the ObjectTable row that gives the object its ID.
bool insertObjectRow(sqlite3* db, int kind, const std::string& parent, const std::string& path) {
  std::string quotedParent, quotedPath, sql;
  if (!sql_text::sqlValue(parent.c_str(), &quotedParent) ||
      !sql_text::sqlValue(path.c_str(), &quotedPath) ||
      !sql_text::formatStatement(&sql, sql_text::kReserveObjectRow, kind, kBlank,
                                 quotedParent.c_str(), quotedPath.c_str(), kNotValid, kBlank,
                                 kNotBackup, 0, 0)) {
    return false;
  }
  char* raw = nullptr;
  int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &raw);
  SqliteMessage message(raw);
  if (rc == SQLITE_OK) return true;
  NUVPrintf(NUV_LOG_ERROR,
            "[MultiMediaDBEnumerator] 1 Error while inserting into DB ReserveContentID()[%s] [%s]",
            sql.c_str(), message != nullptr ? message.get() : sqlite3_errstr(rc));
  return false;
}

// Step 4: the ID SQLite gave that row, in a new block; null on failure.
char* selectObjectId(sqlite3* db, const std::string& path) {
  std::string quotedPath, sql;
  if (!sql_text::sqlValue(path.c_str(), &quotedPath) ||
      !sql_text::formatStatement(&sql, sql_text::kIdOfObjectByPath, quotedPath.c_str(), 0, 0)) {
    return nullptr;
  }
  SqliteTable table;
  SqliteMessage message;
  int rc = table.run(db, sql.c_str(), &message);
  if (rc != SQLITE_OK || table.rows() < 1 || table.cell(0, 0) == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[MultiMediaDBEnumerator] 2 Error while inserting into DB ReserveContentID()[%s][%s]",
              sql.c_str(), message != nullptr ? message.get() : sqlite3_errstr(rc));
    return nullptr;
  }
  size_t length = strlen(table.cell(0, 0));
  char* id = static_cast<char*>(DMSAppMemAllocMA(length + 1));
  if (id == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::ReserveContentID] pID Memory alloc error!!!");
    return nullptr;
  }
  memcpy(id, table.cell(0, 0), length + 1);
  return id;
}

// Step 5: the texts the media row needs, each logged when missing.
bool reservationTexts(ContentsEnumeratorArgument* record, const char** title, const char** mime,
                      const char** profile) {
  *title = text_util::textOf(record->GetTitle());
  *mime = text_util::textOf(record->GetMimeTypeString());
  *profile = text_util::textOf(record->GetDLNAPN());
  if (*title == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::ReserveContentID] ptitle is Null!!!");
    return false;
  }
  if (*mime == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::ReserveContentID] MimeTypeString is Null!!!");
    return false;
  }
  if (*profile == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::ReserveContentID] pProfileName is Null!!!");
    return false;
  }
  return true;
}

}  // namespace

char* MultiMediaDbConnector::ReserveContentID(ContentsEnumeratorArgument* record) {
  // The whole reservation holds the lock: two reservations of one path
  // must not both find it free.
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (!connected_ || db_ == nullptr || record == nullptr) return nullptr;
  // Step 1.
  int kind = record->GetContentType();
  const char* parent = text_util::textOf(record->GetContentParentID());
  if (parent == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::ReserveContentID] parentID is Null!!!");
    return nullptr;
  }
  std::string parentID(parent);
  const char* filePath = text_util::textOf(record->GetFilePath());
  if (filePath == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::ReserveContentID] pFilePath is Null!!!");
    return nullptr;
  }
  std::string original(filePath);  // the record's own text may be replaced below

  // Step 2.
  std::vector<char> unique(original.size() + 32);
  if (!CheckFileNamePresence(record, original.c_str(), unique.data(), unique.size())) {
    return nullptr;
  }
  std::string path(unique.data());

  // Steps 3 to 7.
  if (!insertObjectRow(db_.get(), kind, parentID, path)) return nullptr;
  char* id = selectObjectId(db_.get(), path);
  if (id == nullptr) return nullptr;
  const char* title = nullptr;
  const char* mime = nullptr;
  const char* profile = nullptr;
  if (reservationTexts(record, &title, &mime, &profile) &&
      reserveMediaRow(static_cast<unsigned int>(kind), id, title, path.c_str(), mime, profile)) {
    return id;
  }
  // Leave no half reservation behind: the object row goes again.
  std::string undo, quotedId;
  if (sql_text::sqlValue(id, &quotedId) &&
      sql_text::formatStatement(&undo, sql_text::kDeleteObjectRow, quotedId.c_str(), 0, 0)) {
    ExecSqlStatmentNoValueReturn(undo.c_str());
  }
  DMSAppMemFree(id);
  return nullptr;
}

bool MultiMediaDbConnector::reserveMediaRow(unsigned int kind, const char* id, const char* title,
                                            const char* path, const char* mime,
                                            const char* profile) {
  QuotedRow q;
  if (!sql_text::sqlValue(id, &q.id) || !sql_text::sqlValue(title, &q.title) ||
      !sql_text::sqlValue(path, &q.path) || !sql_text::sqlValue(mime, &q.mime) ||
      !sql_text::sqlValue(profile, &q.profile) || !sql_text::sqlValue(kBlank, &q.blank)) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::ReserveContentID] space is Null!!!");
    return false;
  }
  const char* b = q.blank.c_str();
  std::string sql;
  bool formatted = false;
  switch (kind) {
    case sql_text::kImage:
      formatted = sql_text::formatStatement(
          &sql, sql_text::kReserveImageRow, q.id.c_str(), q.title.c_str(), q.path.c_str(), 1, b, 0,
          q.mime.c_str(), q.profile.c_str(), 0, 0, 0, 0, 0, 0, b, b, b, 0, 0);
      break;
    case sql_text::kAudio:
      formatted = sql_text::formatStatement(
          &sql, sql_text::kReserveAudioRow, q.id.c_str(), q.title.c_str(), q.path.c_str(), 2, b, 0,
          q.mime.c_str(), q.profile.c_str(), b, b, b, b, 0, 0, 0, 0, 0, b, 0, 0);
      break;
    case sql_text::kVideo:
      formatted = sql_text::formatStatement(&sql, sql_text::kReserveVideoRow, q.id.c_str(),
                                            q.title.c_str(), q.path.c_str(), 3, b, 0,
                                            q.mime.c_str(), q.profile.c_str(), b, 0, 0, 0, 0, 0, 0,
                                            0, b, b, b, b, 0, 0, 0, b, 0, 0, 0, 0, b, 0, 0);
      break;
    default:
      NUVPrintf(NUV_LOG_ERROR,
                "[MultiMediaDBEnumerator] No case in this switch ReserveContentID()");
      return false;
  }
  if (!formatted) return false;
  char* raw = nullptr;
  int rc = sqlite3_exec(db_.get(), sql.c_str(), nullptr, nullptr, &raw);
  SqliteMessage message(raw);
  if (rc != SQLITE_OK) {
    NUVPrintf(NUV_LOG_ERROR,
              "[MultiMediaDBEnumerator] 3 Error while inserting into DB ReserveContentID() "
              "[%s][%s]",
              sql.c_str(), message != nullptr ? message.get() : sqlite3_errstr(rc));
    return false;
  }
  return true;
}

bool MultiMediaDbConnector::CheckFileNamePresence(ContentsEnumeratorArgument* record,
                                                  const char* path, char* newPath,
                                                  size_t newPathSize) {
  if (record == nullptr || path == nullptr || newPath == nullptr || newPathSize == 0) return false;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (db_ == nullptr) return false;

  std::unique_ptr<DMSAppString> name;
  std::unique_ptr<DMSAppString> extension;
  std::string candidate(path);
  for (int counter = 1;; ++counter) {
    std::string quoted, sql;
    SqliteTable table;
    SqliteMessage message;
    int rc = SQLITE_TOOBIG;
    if (sql_text::sqlValue(candidate.c_str(), &quoted) &&
        sql_text::formatStatement(&sql, sql_text::kIdOfObjectByPath, quoted.c_str(), 0, 0)) {
      rc = table.run(db_.get(), sql.c_str(), &message);
    }
    if (rc != SQLITE_OK) {
      NUVPrintf(NUV_LOG_ERROR,
                "[MultiMediaDbConnector::CheckFileNamePresence] Select query failed, before "
                "insert item.[%s][%s]",
                sql.c_str(), message != nullptr ? message.get() : sqlite3_errstr(rc));
      return false;
    }
    if (table.rows() > 0) {
      NUVPrintf(NUV_LOG_INFO,
                "[MultiMediaDbConnector::CheckFileNamePresence] filename exists in DB , so try "
                "other file name");
    } else if (fileExists(candidate)) {
      NUVPrintf(NUV_LOG_INFO,
                "[MultiMediaDbConnector::CheckFileNamePresence] Same filename exists in FS, so "
                "try other file name");
    } else {
      break;
    }
    if (counter > content_limits::kMaxRenameAttempts) return false;
    if (name == nullptr) {
      DMSAppString* n = nullptr;
      DMSAppString* e = nullptr;
      if (ConvertFilePathToNameAndExtn(path, &n, &e) != 0) return false;
      name.reset(n);
      extension.reset(e);
    }
    char suffix[16];
    snprintf(suffix, sizeof suffix, "_%d", counter);
    candidate =
        std::string(text_util::textOf(name.get())) + suffix + text_util::textOf(extension.get());
  }

  if (candidate.size() + 1 > newPathSize) return false;
  memcpy(newPath, candidate.c_str(), candidate.size() + 1);
  if (candidate != path) {
    size_t slash = candidate.rfind('/');
    std::string fileName = slash == std::string::npos ? candidate : candidate.substr(slash + 1);
    record->SetTitle(text_util::newText(fileName));
    record->SetFilePath(text_util::newText(candidate));
  }
  return true;
}

int MultiMediaDbConnector::ConvertFilePathToNameAndExtn(const char* path, DMSAppString** name,
                                                        DMSAppString** extension) {
  if (path == nullptr || name == nullptr || extension == nullptr) return 1;
  std::string whole(path);
  size_t slash = whole.rfind('/');
  size_t dot = whole.rfind('.');
  bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  std::string stem = hasExtension ? whole.substr(0, dot) : whole;
  std::string ext = hasExtension ? whole.substr(dot) : std::string();
  std::unique_ptr<DMSAppString> n(text_util::newText(stem));
  std::unique_ptr<DMSAppString> e(text_util::newText(ext));
  if (n == nullptr || e == nullptr) return 1;
  *name = n.release();
  *extension = e.release();
  return 0;
}
