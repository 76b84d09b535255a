// MultiMediaDbConnector: lookups by path, by ID and by resource URI.
#include <memory>
#include <string>

#include "dms_string.h"
#include "multimedia_db_connector.h"
#include "nuv_log.h"
#include "sql_text.h"
#include "sqlite_handles.h"
#include "text_util.h"

DMSAppString* MultiMediaDbConnector::selectFirstText(const char* format, const char* value) {
  std::string quoted;
  if (format == nullptr || !sql_text::sqlValue(value, &quoted)) return nullptr;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (!connected_) return nullptr;
  SqliteTable table;
  if (!selectByValue(format, value, quoted, &table) || table.rows() < 1) return nullptr;
  return text_util::newText(table.cell(0, 0));
}

DMSAppString* MultiMediaDbConnector::GetMimeTypeOfItem(unsigned int mode, DMSAppString* fullPath) {
  if (!sql_text::validMode(mode)) {
    NUVPrintf(NUV_LOG_ERROR, "[MMDB] Invalid Mode!!!, GetMimeTypeOfItem()");
    return nullptr;
  }
  return selectFirstText(sql_text::mimeByPath(mode), text_util::textOf(fullPath));
}

DMSAppString* MultiMediaDbConnector::GetMimeTypeOfImageItem(DMSAppString* fullPath) {
  return GetMimeTypeOfItem(sql_text::kImage, fullPath);
}

DMSAppString* MultiMediaDbConnector::GetMimeTypeOfAudioItem(DMSAppString* fullPath) {
  return GetMimeTypeOfItem(sql_text::kAudio, fullPath);
}

DMSAppString* MultiMediaDbConnector::GetMimeTypeOfVideoItem(DMSAppString* fullPath) {
  return GetMimeTypeOfItem(sql_text::kVideo, fullPath);
}

DMSAppString* MultiMediaDbConnector::GetIDOfItem(unsigned int mode, const char* fullPath) {
  if (!sql_text::validMode(mode)) {
    NUVPrintf(NUV_LOG_ERROR, "[MMDB] Invalid Mode!!!, GetIDOfItem()");
    return nullptr;
  }
  return selectFirstText(sql_text::idByPath(mode), fullPath);
}

bool MultiMediaDbConnector::GetContent(unsigned int mode, DMSAppString* /*parentID*/,
                                       DMSAppString* id) {
  if (!sql_text::validMode(mode)) {
    NUVPrintf(NUV_LOG_ERROR, " [MultiMediaDbConnector] Media Type not found -- GetContent");
    return false;
  }
  std::string quoted;
  std::string sql;
  if (!sql_text::sqlValue(text_util::textOf(id), &quoted) ||
      !sql_text::formatStatement(&sql, sql_text::objectById(mode), quoted.c_str(), 0, 0)) {
    return false;
  }
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (!connected_) return false;
  SqliteTable table;
  SqliteMessage message;
  int rc = db_ == nullptr ? SQLITE_MISUSE : table.run(db_.get(), sql.c_str(), &message);
  if (rc != SQLITE_OK) {
    NUVPrintf(NUV_LOG_ERROR, " [MultiMediaDbConnector] Error in  db call -- GetContent[%s][%s]",
              sql.c_str(), message != nullptr ? message.get() : sqlite3_errstr(rc));
    return false;
  }
  return table.rows() > 0;
}

DMSAppString* MultiMediaDbConnector::lookupByUri(DMSAppString* uri,
                                                 const char* (*formatOf)(unsigned int)) {
  const char* text = text_util::textOf(uri);
  if (!sql_text::acceptableUri(text)) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector] URI refused: not a path beginning with /");
    return nullptr;
  }
  std::string quoted;
  if (!sql_text::sqlValue(text, &quoted)) return nullptr;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (!connected_) return nullptr;
  for (unsigned int mode : {sql_text::kImage, sql_text::kAudio, sql_text::kVideo}) {
    SqliteTable table;
    // The first table holding the URI answers, even with an empty value.
    if (selectByValue(formatOf(mode), text, quoted, &table) && table.rows() > 0)
      return text_util::newText(table.cell(0, 0));
  }
  return nullptr;
}

DMSAppString* MultiMediaDbConnector::GetFilePathFromURI(DMSAppString* uri) {
  return lookupByUri(uri, &sql_text::pathByUri);
}

DMSAppString* MultiMediaDbConnector::GetMimeTypeFromURI(DMSAppString* uri) {
  return lookupByUri(uri, &sql_text::mimeByUri);
}

DMSAppString* MultiMediaDbConnector::GetDLNAProfileNameFromURI(DMSAppString* uri) {
  return lookupByUri(uri, &sql_text::profileByUri);
}
