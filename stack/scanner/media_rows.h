// The scanner's side of the media database: ObjectTable and media rows
// written through prepared statements, and ScannerFileState, the scanner's
// own record of each file's size and modification time.
//
// Thread safety: one MediaRows per thread (it owns its connection).
#ifndef DMS_SCANNER_MEDIA_ROWS_H
#define DMS_SCANNER_MEDIA_ROWS_H

#include <map>
#include <memory>
#include <string>

#include "directory_scanner.h"

struct sqlite3;

class MediaRows {
 public:
  struct Known {
    long long id = 0;  // 0: seen but not usable (skipped)
    int kind = 0;
    long long size = 0;
    long long mtime = 0;
  };

  MediaRows();
  ~MediaRows();
  MediaRows(const MediaRows&) = delete;
  MediaRows& operator=(const MediaRows&) = delete;

  // Opens an existing, writable database whose media tables exist; false
  // otherwise. A database that cannot be opened, is read-only or fails a
  // write for want of space is logged once for a run of such failures, and
  // its recovery once too.
  bool open(const std::string& dbPath);
  bool begin();
  bool commit();
  void rollback();

  // Every file recorded under the folder `prefix` (ending in "/").
  bool loadKnown(const std::string& prefix, std::map<std::string, Known>* known);
  bool findKnown(const std::string& path, Known* known);
  // The ObjectTable id of `path` (or of `objectID` when it names a row), -1
  // when none; *kind (when not null) receives its class.
  long long findObject(const std::string& path, const char* objectID, int* kind = nullptr);

  // Writes the rows of `media` under `id` (an existing ObjectTable row) or a
  // new one (id -1); *written receives the id. False on a database error.
  bool write(const ScannedMedia& media, long long id, int share, long long* written);
  // Deletes the ObjectTable and media rows of `id` and the state of `path`.
  bool remove(long long id, const std::string& path);
  bool recordState(const std::string& path, const Known& state);

 private:
  struct Statements;
  bool exec(const char* sql);
  bool writeImage(const ScannedMedia& m, long long id, int share);
  bool writeAudio(const ScannedMedia& m, long long id);
  bool writeVideo(const ScannedMedia& m, long long id, int share);

  sqlite3* db_ = nullptr;
  std::string path_;
  std::unique_ptr<Statements> st_;
};

#endif  // DMS_SCANNER_MEDIA_ROWS_H
