#include "media_rows.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstring>
#include <mutex>

#include "media_db_schema.h"
#include "nuv_log.h"
#include "scan_text.h"

namespace {

constexpr int kBusyTimeoutMs = 10000;

// What is wrong with the database as the scanner last found it. Every file
// event meets the same fault (a removed, read-only or full database), so a
// run of one fault is logged once, and its end once.
std::mutex gFaultMutex;
std::string gFault;

void reportFault(const std::string& fault) {
  std::lock_guard<std::mutex> lock(gFaultMutex);
  if (fault == gFault) return;
  gFault = fault;
  NUVPrintf(NUV_LOG_ERROR, "[DirectoryScanner] %s", fault.c_str());
}

void reportWritten(const std::string& path) {
  std::lock_guard<std::mutex> lock(gFaultMutex);
  if (gFault.empty()) return;
  gFault.clear();
  NUVPrintf(NUV_LOG_ERROR, "[DirectoryScanner] the database %s is written again", path.c_str());
}

// Faults of the file or its medium rather than of a statement.
bool isFileFault(int rc) {
  switch (rc & 0xff) {
    case SQLITE_READONLY:
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
      return true;
    default:
      return false;
  }
}

struct StmtDeleter {
  void operator()(sqlite3_stmt* s) const { sqlite3_finalize(s); }
};
using Stmt = std::unique_ptr<sqlite3_stmt, StmtDeleter>;

// Binds in order from 1; an empty text binds NULL only where asked.
class Binder {
 public:
  explicit Binder(sqlite3_stmt* s) : s_(s) {
    sqlite3_reset(s_);
    sqlite3_clear_bindings(s_);
  }
  Binder& text(const std::string& v) {
    sqlite3_bind_text(s_, ++i_, v.c_str(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
    return *this;
  }
  Binder& textOrNull(const std::string& v) {
    if (v.empty()) {
      sqlite3_bind_null(s_, ++i_);
      return *this;
    }
    return text(v);
  }
  Binder& num(long long v) {
    sqlite3_bind_int64(s_, ++i_, v);
    return *this;
  }
  bool run() {
    int rc = sqlite3_step(s_);
    sqlite3_reset(s_);
    return rc == SQLITE_DONE || rc == SQLITE_ROW;
  }

 private:
  sqlite3_stmt* s_;
  int i_ = 0;
};

std::string uriExtension(const ScannedMedia& m) {
  std::string ext;
  for (char c : m.extension)
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) ext += c;
  if (!ext.empty() && ext.size() <= 5) return ext;
  return m.kind == media_db::kImageKind ? "jpg" : m.kind == media_db::kAudioKind ? "mp3" : "mp4";
}

std::string idUri(const char* word, long long id, const std::string& ext) {
  char text[64];
  snprintf(text, sizeof text, "%s%lld.%s", word, id, ext.c_str());
  return text;
}

}  // namespace

struct MediaRows::Statements {
  Stmt insertObject, updateObject, findObjectByPath, findObjectById, deleteObject;
  Stmt deleteImage, deleteAudio, deleteVideo;
  Stmt insertImage, insertAudio, insertVideo;
  Stmt findState, putState, deleteState, loadStates;
};

MediaRows::MediaRows() = default;

MediaRows::~MediaRows() {
  st_.reset();
  if (db_ != nullptr) sqlite3_close(db_);
}

bool MediaRows::exec(const char* sql) {
  char* error = nullptr;
  int rc = sqlite3_exec(db_, sql, nullptr, nullptr, &error);
  if (rc == SQLITE_OK) return true;
  if (isFileFault(rc)) {
    std::string why = error != nullptr ? error : sqlite3_errstr(rc);
    // SQLite names a failed write of its shared-memory index "disk I/O
    // error" even when the disk is merely full; the system's word is plainer.
    if (int code = sqlite3_system_errno(db_); code != 0)
      why += std::string(" (") + strerror(code) + ")";
    reportFault("the database " + path_ + " cannot be written: " + why);
  } else {
    NUVPrintf(NUV_LOG_ERROR, "[DirectoryScanner] database: %s (%s)", error ? error : "?", sql);
  }
  sqlite3_free(error);
  return false;
}

bool MediaRows::open(const std::string& dbPath) {
  path_ = dbPath;
  if (sqlite3_open_v2(dbPath.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX,
                      nullptr) != SQLITE_OK) {
    reportFault("cannot open the database " + dbPath);
    return false;
  }
  // SQLite falls back to reading a file it may not write; every write of
  // the scan would then fail.
  if (sqlite3_db_readonly(db_, "main") == 1) {
    reportFault("the database " + dbPath + " is read-only: nothing is registered");
    return false;
  }
  sqlite3_busy_timeout(db_, kBusyTimeoutMs);
  // Write-ahead logging lets the server's connection read while a scan
  // writes (in rollback mode each commit locks readers out, and the
  // connector does not wait for locks). The mode stays with the file. In WAL
  // mode NORMAL synchronisation keeps the file consistent and spares an fsync
  // per commit.
  exec("pragma journal_mode=WAL;");
  exec("pragma synchronous=NORMAL;");
  // The same layout DMSPrepareMediaDatabase makes: a database the scanner is
  // given first gets its tables and the indexes the server's lookups need.
  if (std::string error; !media_db::createMediaSchema(db_, &error)) {
    NUVPrintf(NUV_LOG_ERROR, "[DirectoryScanner] database: %s", error.c_str());
    return false;
  }
  st_ = std::make_unique<Statements>();
  struct {
    Stmt* stmt;
    const char* sql;
  } all[] = {
      {&st_->insertObject, "insert into " MEDIA_DB_OBJECT_TABLE
                           " (class,date,parentID,FullPath,Valid,BackupID,IsBackup) "
                           "values (?,?,?,?,1,' ',0)"},
      {&st_->updateObject, "update " MEDIA_DB_OBJECT_TABLE
                           " set class=?, date=?, parentID=?, FullPath=?, Valid=1 where id=?"},
      {&st_->findObjectByPath,
       "select id,class from " MEDIA_DB_OBJECT_TABLE " where FullPath=? order by id limit 1"},
      {&st_->findObjectById, "select id,class from " MEDIA_DB_OBJECT_TABLE " where id=?"},
      {&st_->deleteObject, "delete from " MEDIA_DB_OBJECT_TABLE " where id=?"},
      {&st_->deleteImage, "delete from " MEDIA_DB_IMAGE_TABLE " where id=?"},
      {&st_->deleteAudio, "delete from " MEDIA_DB_AUDIO_TABLE " where id=?"},
      {&st_->deleteVideo, "delete from " MEDIA_DB_VIDEO_TABLE " where id=?"},
      {&st_->insertImage,
       "insert into " MEDIA_DB_IMAGE_TABLE
       " (id,Title,class,date,size,FullPath,MimeType,DLNAProfile,Height,"
       "Width,ThumbnailOffset,ThumbnailLength,ThumbnailHeight,ThumbnailWidth,Description,uri,"
       "Thumbnailuri,ScreennailOffset,ScreennailLength,ScreennailHeight,ScreennailWidth,"
       "Screennailuri,Share,SortIndex) values (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)"},
      {&st_->insertAudio,
       "insert into " MEDIA_DB_AUDIO_TABLE
       " (id,Title,class,date,size,FullPath,MimeType,DLNAProfile,Duration,"
       "AlbumTitle,AlbumArtist,Artist,Channel,Bitrate,Frequency,AlbumArtOffset,AlbumArtLength,"
       "uri) values (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)"},
      {&st_->insertVideo,
       "insert into " MEDIA_DB_VIDEO_TABLE
       " (id,Title,class,date,size,FullPath,MimeType,DLNAProfile,Duration,"
       "Height,Width,VideoFrameRate,VideoBitrate,VideoLevel,AlbumArtOffset,AlbumArtLength,"
       "AudioDuration,AudioAlbumTitle,AudioAlbumArtist,AudioArtist,AudioChannel,AudioBitrate,"
       "AudioFrequency,uri,ThumbnailOffset,ThumbnailLength,ThumbnailHeight,ThumbnailWidth,"
       "Thumbnailuri,Share,SortIndex) values "
       "(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)"},
      {&st_->findState,
       "select id,kind,size,mtime from " MEDIA_DB_SCANNER_STATE_TABLE " where FullPath=?"},
      {&st_->putState, "insert or replace into " MEDIA_DB_SCANNER_STATE_TABLE
                       " (FullPath,id,kind,size,mtime) values (?,?,?,?,?)"},
      {&st_->deleteState, "delete from " MEDIA_DB_SCANNER_STATE_TABLE " where FullPath=?"},
      // Compared as bytes: substr of a text counts characters.
      {&st_->loadStates, "select FullPath,id,kind,size,mtime from " MEDIA_DB_SCANNER_STATE_TABLE " "
                         "where substr(cast(FullPath as blob),1,?)=cast(? as blob)"},
  };
  for (auto& s : all) {
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(db_, s.sql, -1, &raw, nullptr) != SQLITE_OK) {
      NUVPrintf(NUV_LOG_ERROR, "[DirectoryScanner] database without the media tables: %s",
                sqlite3_errmsg(db_));
      return false;
    }
    s.stmt->reset(raw);
  }
  return true;
}

bool MediaRows::begin() { return exec("begin immediate;"); }
bool MediaRows::commit() {
  if (!exec("commit;")) return false;
  reportWritten(path_);
  return true;
}
void MediaRows::rollback() { exec("rollback;"); }

bool MediaRows::loadKnown(const std::string& prefix, std::map<std::string, Known>* known) {
  sqlite3_stmt* s = st_->loadStates.get();
  sqlite3_reset(s);
  sqlite3_bind_int(s, 1, static_cast<int>(prefix.size()));
  sqlite3_bind_text(s, 2, prefix.c_str(), static_cast<int>(prefix.size()), SQLITE_TRANSIENT);
  int rc;
  while ((rc = sqlite3_step(s)) == SQLITE_ROW) {
    const char* path = reinterpret_cast<const char*>(sqlite3_column_text(s, 0));
    if (path == nullptr) continue;
    Known k;
    k.id = sqlite3_column_int64(s, 1);
    k.kind = sqlite3_column_int(s, 2);
    k.size = sqlite3_column_int64(s, 3);
    k.mtime = sqlite3_column_int64(s, 4);
    (*known)[path] = k;
  }
  sqlite3_reset(s);
  return rc == SQLITE_DONE;
}

bool MediaRows::findKnown(const std::string& path, Known* known) {
  sqlite3_stmt* s = st_->findState.get();
  sqlite3_reset(s);
  sqlite3_bind_text(s, 1, path.c_str(), static_cast<int>(path.size()), SQLITE_TRANSIENT);
  bool found = sqlite3_step(s) == SQLITE_ROW;
  if (found) {
    known->id = sqlite3_column_int64(s, 0);
    known->kind = sqlite3_column_int(s, 1);
    known->size = sqlite3_column_int64(s, 2);
    known->mtime = sqlite3_column_int64(s, 3);
  }
  sqlite3_reset(s);
  return found;
}

long long MediaRows::findObject(const std::string& path, const char* objectID, int* kind) {
  sqlite3_stmt* s = nullptr;
  if (objectID != nullptr && objectID[0] != '\0') {
    char* end = nullptr;
    long long wanted = strtoll(objectID, &end, 10);
    if (end == objectID || *end != '\0' || wanted <= 0) return -1;
    s = st_->findObjectById.get();
    sqlite3_reset(s);
    sqlite3_bind_int64(s, 1, wanted);
  } else {
    s = st_->findObjectByPath.get();
    sqlite3_reset(s);
    sqlite3_bind_text(s, 1, path.c_str(), static_cast<int>(path.size()), SQLITE_TRANSIENT);
  }
  long long id = -1;
  if (sqlite3_step(s) == SQLITE_ROW) {
    id = sqlite3_column_int64(s, 0);
    if (kind != nullptr) *kind = sqlite3_column_int(s, 1);
  }
  sqlite3_reset(s);
  return id;
}

bool MediaRows::write(const ScannedMedia& m, long long id, int share, long long* written) {
  const std::string parent = std::to_string(m.kind);
  if (id > 0) {
    if (!Binder(st_->updateObject.get())
             .num(m.kind)
             .text(m.date)
             .text(parent)
             .text(m.path)
             .num(id)
             .run()) {
      return false;
    }
    for (Stmt* del : {&st_->deleteImage, &st_->deleteAudio, &st_->deleteVideo}) {
      if (!Binder(del->get()).text(std::to_string(id)).run()) return false;
    }
  } else {
    if (!Binder(st_->insertObject.get()).num(m.kind).text(m.date).text(parent).text(m.path).run())
      return false;
    id = sqlite3_last_insert_rowid(db_);
  }
  *written = id;
  switch (m.kind) {
    case media_db::kImageKind:
      return writeImage(m, id, share);
    case media_db::kAudioKind:
      return writeAudio(m, id);
    case media_db::kVideoKind:
      return writeVideo(m, id, share);
    default:
      return false;
  }
}

bool MediaRows::writeImage(const ScannedMedia& m, long long id, int share) {
  bool screennail = m.screennailLength > 0;
  return Binder(st_->insertImage.get())
      .text(std::to_string(id))
      .text(m.title)
      .num(media_db::kImageKind)
      .text(m.date)
      .num(m.size)
      .text(m.path)
      .text(m.mimeType)
      .textOrNull(m.profile)
      .num(m.height)
      .num(m.width)
      .num(m.thumbnailOffset)
      .num(m.thumbnailLength)
      .num(m.thumbnailHeight)
      .num(m.thumbnailWidth)
      .text(m.description)
      .text(idUri(MEDIA_DB_MEDIA_URI, id, uriExtension(m)))
      .text(idUri(MEDIA_DB_THUMBNAIL_URI, id, "jpg"))
      .num(screennail ? m.screennailOffset : -1)
      .num(screennail ? m.screennailLength : 0)
      .num(m.screennailHeight)
      .num(m.screennailWidth)
      .textOrNull(screennail ? idUri(MEDIA_DB_SCREENNAIL_URI, id, "jpg") : "")
      .num(share)
      .text(scan_text::sortIndex(m.date, id))
      .run();
}

bool MediaRows::writeAudio(const ScannedMedia& m, long long id) {
  return Binder(st_->insertAudio.get())
      .text(std::to_string(id))
      .text(m.title)
      .num(media_db::kAudioKind)
      .text(m.date)
      .num(m.size)
      .text(m.path)
      .text(m.mimeType)
      .textOrNull(m.profile)
      .text(m.duration)
      .text(m.album)
      .text(m.albumArtist)
      .text(m.artist)
      .num(m.channels)
      .num(m.bitrate)
      .num(m.sampleRate)
      .num(m.albumArtOffset)
      .num(m.albumArtLength)
      .text(idUri(MEDIA_DB_MEDIA_URI, id, uriExtension(m)))
      .run();
}

bool MediaRows::writeVideo(const ScannedMedia& m, long long id, int share) {
  return Binder(st_->insertVideo.get())
      .text(std::to_string(id))
      .text(m.title)
      .num(media_db::kVideoKind)
      .text(m.date)
      .num(m.size)
      .text(m.path)
      .text(m.mimeType)
      .textOrNull(m.profile)
      .text(m.duration)
      .num(m.height)
      .num(m.width)
      .num(m.frameRate)
      .num(m.videoBitrate)
      .num(m.videoLevel)
      .num(0)
      .num(0)
      .text(m.audioDuration)
      .text(m.album)
      .text(m.albumArtist)
      .text(m.artist)
      .num(m.channels)
      .num(m.bitrate)
      .num(m.sampleRate)
      .text(idUri(MEDIA_DB_MEDIA_URI, id, uriExtension(m)))
      .num(0)
      .num(0)
      .num(m.thumbnailHeight)
      .num(m.thumbnailWidth)
      .text(idUri(MEDIA_DB_VIDEO_THUMBNAIL_URI, id, "jpg"))
      .num(share)
      .text(scan_text::sortIndex(m.date, id))
      .run();
}

bool MediaRows::remove(long long id, const std::string& path) {
  if (id > 0) {
    if (!Binder(st_->deleteObject.get()).num(id).run()) return false;
    for (Stmt* del : {&st_->deleteImage, &st_->deleteAudio, &st_->deleteVideo}) {
      if (!Binder(del->get()).text(std::to_string(id)).run()) return false;
    }
  }
  return Binder(st_->deleteState.get()).text(path).run();
}

bool MediaRows::recordState(const std::string& path, const Known& k) {
  return Binder(st_->putState.get())
      .text(path)
      .num(k.id)
      .num(k.kind)
      .num(k.size)
      .num(k.mtime)
      .run();
}
