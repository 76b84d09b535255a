// The create statement of a media table as the store has always built it;
// the tables themselves are described in media_db_schema.h.
#ifndef DMS_CONTENT_MEDIA_SCHEMA_H
#define DMS_CONTENT_MEDIA_SCHEMA_H

#include "media_db_schema.h"

// "create table NAME (col TYPE[(len)] CONSTRAINT,...);" in a new block
// (DMSAppMemAllocMA; the caller releases it with DMSAppMemFree). Null for a
// null name, a name longer than 1024 bytes, a negative count, null columns
// with a positive count, or when memory runs out.
char* MTGetCreatTblSqlStmt(const char* tableName, int columnCount, _MediaTable* columns);

#endif  // DMS_CONTENT_MEDIA_SCHEMA_H
