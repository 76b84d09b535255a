#include "media_schema.h"

#include <cstring>
#include <string>

#include "content_limits.h"
#include "dms_platform.h"

char* MTGetCreatTblSqlStmt(const char* tableName, int columnCount, _MediaTable* columns) {
  if (tableName == nullptr || columnCount < 0 || (columns == nullptr && columnCount > 0)) {
    return nullptr;
  }
  if (strlen(tableName) > content_limits::kCreateStatementBufferBytes) return nullptr;
  const std::string body = media_db::tableBody(tableName, columnCount, columns);

  // The block is the work buffer's size plus 32, as callers have always had;
  // a description too long for the fixed buffer gets a buffer to match.
  size_t bufferBytes = content_limits::kCreateStatementBufferBytes;
  if (body.size() + 1 > bufferBytes) bufferBytes = body.size() + 1;
  static constexpr const char kPrefix[] = "create table ";
  char* statement = static_cast<char*>(DMSAppMemAllocMA(bufferBytes + 32 + sizeof kPrefix));
  if (statement == nullptr) return nullptr;
  std::string text = kPrefix + body;
  memcpy(statement, text.c_str(), text.size() + 1);
  return statement;
}
