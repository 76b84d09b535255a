// Whether an existing media database file can be used: SQLite reads it, its
// pages are sound (quick_check), and it has the media tables with every
// column the store reads (a file of another program, or of an older layout,
// has not).
#ifndef DMS_CONTENT_MEDIA_DB_CHECK_H
#define DMS_CONTENT_MEDIA_DB_CHECK_H

#include <string>

namespace media_db_check {

// "" when the file at `path` is usable (an empty file, a new database,
// counts as usable); otherwise why not, in a few words.
std::string unusableReason(const char* path);

// Renames the file, with its -wal and -shm companions, to
// PATH.unusable-YYYYMMDD-HHMMSS; the new name, "" when it could not.
std::string moveAside(const char* path);

}  // namespace media_db_check

#endif  // DMS_CONTENT_MEDIA_DB_CHECK_H
