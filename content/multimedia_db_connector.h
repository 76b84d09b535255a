// MultiMediaDbConnector: the process-wide access object of the media
// database. It opens the SQLite file (creating the tables of a new file),
// pages image, audio and video items into record lists, counts them, answers
// lookups by path, by ID and by resource URI, reserves IDs for objects that
// clients create and deletes objects with their files.
//
// Results: functions returning int give 0 for success and 1 for failure;
// bool functions give true for success. Texts returned as DMSAppString* are
// new (the caller deletes them); char* results are DMSAppMemAllocMA blocks
// (released with DMSAppMemFree). Every lookup fails at once when the
// database is not connected.
//
// Thread safety: every member may be called from any thread. One recursive
// lock serialises the connection and the caches, so the engine thread and
// the HTTP threads may call in at the same time; SQLite itself runs in
// serialized mode as a second line. GetInstance/DestroyInstance are the
// lifecycle's: DestroyInstance must not race with callers.
#ifndef DMS_CONTENT_MULTIMEDIA_DB_CONNECTOR_H
#define DMS_CONTENT_MULTIMEDIA_DB_CONNECTOR_H

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class ContentsEnumeratorArgument;
class BoundStatements;
class ListingQueries;
class DMSAppString;
class DMSCDSList;
class SqliteTable;
struct sqlite3;

class MultiMediaDbConnector {
 public:
  // Renders the thumbnail of the movie at `moviePath` into a new malloc'd
  // buffer (*buffer, *size); 0 on success. Provided by the camera platform.
  using MovieThumbnailSource = int (*)(const char* moviePath, char** buffer, unsigned int* size);
  // Installs the movie-thumbnail service (null: every video thumbnail is
  // served as the "no thumbnail" substitute picture).
  static void SetMovieThumbnailSource(MovieThumbnailSource source);

  // Created on first use: connects and, with DLNA certification mode off,
  // fills the image and video caches once.
  static MultiMediaDbConnector* GetInstance();
  // The instance when one exists; never creates it.
  static MultiMediaDbConnector* GetExisting();
  static void DestroyInstance();

  // ---- Connection ----
  // Opens the file of DMSAppGetDBPathMA(); the tables are created only when
  // the file could not be opened for reading and writing (a new file).
  // False when a connection is already held, no path is set or the open
  // fails.
  bool ConnectDB();
  void DisconnectDB();
  bool IsConnected() const;
  // Follows the file at the configured path when it is no longer the one
  // connected (deleted, replaced or moved aside while the server ran), or
  // when the connection is read-only and the file may now be written: the
  // connection and the caches are dropped, a missing or unusable file is
  // made anew (DMSPrepareMediaDatabase) and the file connected again, with
  // one log line. Until then the server keeps reading the file it has open.
  // True when it reconnected.
  bool FollowDatabaseFile();
  // ObjectTable, ContainerTable, AudioTable, VideoTable, ImageTable, in this
  // order; a failing statement is logged and the others still run.
  void CreateTables();
  // Runs a statement without result rows; false (logged with the query and
  // SQLite's message) on error or for null.
  bool ExecSqlStatmentNoValueReturn(const char* sql);

  // ---- Pages (record lists, see record_list.h; null on failure) ----
  // Only pages wholly present in the table are returned: the result must hold
  // exactly `count` rows. start < 0 gives null without touching the database.
  DMSCDSList* GetImageItems(int start, int count);
  // The one item `id` of kind `mode` as a listing would offer it: a record
  // list holding it, or no record when it is not listed; null on error.
  DMSCDSList* GetListedItem(unsigned int mode, DMSAppString* id);
  DMSCDSList* GetAudioItems(int start, int count);
  DMSCDSList* GetVideoItems(int start, int count);
  // Up to `count` items of kind `mode` from `start`, as many as there are
  // now; null when there are none or on error. For a page that objects
  // destroyed since it was counted left short.
  DMSCDSList* GetItemsPresent(unsigned int mode, int start, int count);
  // The same from the caches (copies of the cached records).
  DMSCDSList* GetImageItems2(int start, int count);
  DMSCDSList* GetVideoItems2(int start, int count);

  // ---- Counts: -1 when the query fails or gives other than one row ----
  int GetTotalImageItem();
  int GetTotalAudioItem();
  int GetTotalVideoItem();
  int GetTotalImageItem2();  // cache sizes
  int GetTotalVideoItem2();

  // ---- By path ----
  DMSAppString* GetMimeTypeOfItem(unsigned int mode, DMSAppString* fullPath);
  DMSAppString* GetMimeTypeOfImageItem(DMSAppString* fullPath);
  DMSAppString* GetMimeTypeOfAudioItem(DMSAppString* fullPath);
  DMSAppString* GetMimeTypeOfVideoItem(DMSAppString* fullPath);
  // The media row's id for the file under that kind, or null.
  DMSAppString* GetIDOfItem(unsigned int mode, const char* fullPath);

  // ---- By ID ----
  // True when the query succeeded and the row exists.
  bool GetContent(unsigned int mode, DMSAppString* parentID, DMSAppString* id);
  // Both delete the file and the object and media rows; they differ only in
  // their log lines (DestroyObject versus clean-up of failed uploads). A file
  // that cannot be deleted (one never uploaded) is logged and the rows still
  // go. 0 when the rows were deleted.
  int DeleteContent(unsigned int mode, DMSAppString* id);
  // `removedKind`, when given, receives the media kind of the removed rows.
  int DestroyContent(unsigned int mode, DMSAppString* id, unsigned int* removedKind = nullptr);

  // ---- By resource URI (image, then audio, then video) ----
  // A URI that does not begin with "/" is refused.
  DMSAppString* GetFilePathFromURI(DMSAppString* uri);
  DMSAppString* GetMimeTypeFromURI(DMSAppString* uri);
  DMSAppString* GetDLNAProfileNameFromURI(DMSAppString* uri);
  // As GetMimeTypeFromURI, answered from the caches when they hold the URI.
  DMSAppString* GetMimeTypeFromURI2(DMSAppString* uri);
  // Resolves a "/nuvthumbvideo", "/nuvscreen" or "/nuvthumb" URI to the
  // picture to serve: *path (new) the file to open, *offset and length the
  // span inside it. *videoThumbnail 1 when the bytes come from `buffer` (a
  // rendered movie thumbnail or a substitute read into memory; the caller
  // releases it with DMSAppMemFree), *substitutePicture 1 when a substitute
  // picture stands in. False, with every output untouched, when no row
  // matches or the URI is refused.
  bool GetThumbnailInfoFromURI(DMSAppString* uri, DMSAppString** path, int* offset, int& length,
                               int* videoThumbnail, int* substitutePicture, char*& buffer);

  // ---- Creation ----
  // Reserves an ID for a record that clients created: ObjectTable row, then
  // a placeholder row in the media table of record->GetContentType(). The
  // record's FilePath is the file's full path; it is made unique first
  // (renaming "x.jpg" to "x_1.jpg", "x_2.jpg", ...; the Title follows).
  // Returns the new ID or null.
  char* ReserveContentID(ContentsEnumeratorArgument* record);
  // Finds a path free in the database and on the file system, starting at
  // `path`, and writes it to newPath (NUL-terminated, at most newPathSize
  // bytes). When it differs, the record's Title and FilePath follow it.
  bool CheckFileNamePresence(ContentsEnumeratorArgument* record, const char* path, char* newPath,
                             size_t newPathSize);
  // Splits "dir/name.ext" into "dir/name" and ".ext" (extension "" when the
  // file name has no dot). 0, or 1 for null arguments or no memory.
  int ConvertFilePathToNameAndExtn(const char* path, DMSAppString** name, DMSAppString** extension);
  // "/b" followed by the path from its ninth character, for paths on the
  // card ("/ext/sd0..."); 1 (nothing written) for any other path.
  int ConvertFilePath(const char* path, char** out);
  // Reads the picture at `path` from `offset` to its end (at most
  // maxBytes, 0 for the content limit) into a new buffer. 0 on success.
  int GetNoSupportImgBuffer(const char* path, int offset, unsigned long maxBytes, char*& buffer,
                            unsigned int& size);

 private:
  MultiMediaDbConnector();
  ~MultiMediaDbConnector();

  struct SqliteDeleter {
    void operator()(sqlite3* db) const;
  };
  using Records = std::vector<std::unique_ptr<ContentsEnumeratorArgument>>;

  // Runs a select; false (logged) on error. Caller holds mutex_.
  bool selectRows(const std::string& sql, SqliteTable* table);
  // The first cell of the first row of `format` with `value` inlined, as a
  // new string, or null.
  DMSAppString* selectFirstText(const char* format, const char* value);
  // The prepared Browse statements of the open connection (null without
  // one). Caller holds mutex_.
  ListingQueries* queries();
  // The rows of `format` (one quoted "%s") for `value`, whose quoted form
  // is `quoted`: prepared with the value bound where that gives the same
  // rows, else the formatted text. False (logged) on error. Caller holds
  // mutex_.
  bool selectByValue(const char* format, const char* value, const std::string& quoted,
                     SqliteTable* table);
  // Logs a failed statement as selectRows does, with the text it stands for.
  void logFailedSelect(const std::string& sql, int rc);
  // Counts the listed rows of `mode`; -1 (the count's text logged) on error.
  int countListed(unsigned int mode);
  // `count` rows from `start`; with `whole`, only exactly `count`, else
  // between one and `count`.
  DMSCDSList* readPage(unsigned int mode, int start, int count, bool whole = true);
  // A record list of kind `mode` with the first `rows` rows of `table`;
  // null when a record cannot be made.
  DMSCDSList* recordsOf(unsigned int mode, const SqliteTable& table, int rows);
  DMSCDSList* pageFromCache(const Records& cache, int kind, int start, int count);
  void addToImageObjectVector();
  void addToVideoObjectVector();
  void fillCache(const char* sql, unsigned int mode, Records* cache);
  DMSAppString* lookupByUri(DMSAppString* uri, const char* (*formatOf)(unsigned int));
  bool reserveMediaRow(unsigned int kind, const char* id, const char* title, const char* path,
                       const char* mime, const char* profile);
  int removeContent(unsigned int mode, DMSAppString* id, const char* who,
                    unsigned int* removedKind);
  bool thumbnailFromRow(const SqliteTable& row, bool video, DMSAppString** path, int* offset,
                        int& length, int* videoThumbnail, int* substitutePicture, char*& buffer);
  bool substituteFromFile(const std::string& picture, DMSAppString** path, int* offset, int& length,
                          int* substitutePicture);

  // ConnectDB, then the caches filled as the mode asks. Caller holds mutex_.
  bool connectAndFillCaches();
  // Makes the connection open and keep the log's shared index now.
  void holdLogIndex();
  // The connected file's identity, to notice another file at its path.
  void rememberFileIdentity(const char* path);

  mutable std::recursive_mutex mutex_;
  bool connected_;
  unsigned long long fileDevice_ = 0;
  unsigned long long fileInode_ = 0;
  std::unique_ptr<sqlite3, SqliteDeleter> db_;
  // The Browse statements, prepared on first use; released before db_.
  std::unique_ptr<ListingQueries> queries_;
  std::unique_ptr<BoundStatements> bound_;  // the same for lookups by one value
  Records vImageObject_;
  Records vVideoObject_;
};

#endif  // DMS_CONTENT_MULTIMEDIA_DB_CONNECTOR_H
