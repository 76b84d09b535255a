// DirectoryScanner: the instance, the profile list, single files and the
// scans (find files, compare with what was registered, write the difference).
#include "directory_scanner.h"

#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "dlna_profile.h"
#include "ffmpeg_loader.h"
#include "media_db_schema.h"
#include "media_parsers.h"
#include "media_rows.h"
#include "nuv_log.h"
#include "scan_text.h"
#include "scan_walker.h"

namespace {

// Rows are committed in batches so that readers of the database (the
// server's connector) are never kept waiting long.
constexpr size_t kFilesPerCommit = 64;
constexpr auto kLongestBatch = std::chrono::milliseconds(500);

std::mutex gInstanceMutex;
DirectoryScanner* gInstance = nullptr;
int gHolders = 0;
std::atomic<bool> gCancel{false};
std::mutex gListenerMutex;
ScanProgressListener gListener = nullptr;
void* gListenerContext = nullptr;

void report(const ScanProgress& progress) {
  std::lock_guard<std::mutex> lock(gListenerMutex);
  if (gListener != nullptr) gListener(progress, gListenerContext);
}

std::string withoutTrailingSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// What every path below `folder` starts with ("/" for the root itself).
std::string folderPrefix(const std::string& folder) {
  std::string prefix = withoutTrailingSlash(folder);
  return prefix == "/" ? prefix : prefix + "/";
}

// FFmpeg, loaded at the first file that needs it and kept by `ffmpeg` for
// the files after it (a scan keeps it to its end).
using FFmpegHold = std::optional<dms_ffmpeg::FFmpegUse>;

bool parseContainer(FFmpegHold* ffmpeg, ScannedMedia* m, dlna_profile::StreamFacts* facts,
                    std::string* why) {
  if (!ffmpeg->has_value()) ffmpeg->emplace();
  return media_parsers::parseContainer(m, facts, why);
}

bool parseFile(const std::string& path, const std::string& profiles, FFmpegHold* ffmpeg,
               ScannedMedia* m, std::string* why) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
    *why = "not a readable file";
    return false;
  }
  *m = ScannedMedia();
  m->path = path;
  m->extension = scan_text::extension(path);
  m->size = static_cast<long long>(st.st_size);
  m->mtime = static_cast<long long>(st.st_mtime);
  dlna_profile::StreamFacts facts;
  bool ok = false;
  switch (media_parsers::guessByContent(path)) {
    case media_parsers::Guess::kJpeg:
      ok = media_parsers::parseImage(m, &facts, why);
      break;
    case media_parsers::Guess::kMp3:
      ok = media_parsers::parseMp3(m, &facts, why);
      break;
    case media_parsers::Guess::kAdts:
      ok = parseContainer(ffmpeg, m, &facts, why);
      break;
    case media_parsers::Guess::kContainer:
      if (!media_parsers::wantedExtension(m->extension)) {
        *why = "not a supported media file";
        return false;
      }
      ok = parseContainer(ffmpeg, m, &facts, why);
      if (ok && m->kind == media_db::kAudioKind) media_parsers::readAudioTags(m);
      break;
    case media_parsers::Guess::kNone:
      *why = "empty or unreadable";
      return false;
  }
  if (!ok) return false;
  std::string profile = dlna_profile::detect(facts);
  if (dlna_profile::allowed(profile, m->kind, profiles)) m->profile = profile;
  return true;
}

}  // namespace

DirectoryScanner* DirectoryScanner::GetInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  if (gInstance == nullptr) {
    gInstance = new (std::nothrow) DirectoryScanner();
    if (gInstance == nullptr) return nullptr;
  }
  ++gHolders;
  return gInstance;
}

void DirectoryScanner::DestroyInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  if (gHolders > 0) --gHolders;
  if (gHolders == 0) {
    delete gInstance;
    gInstance = nullptr;
  }
}

int DirectoryScanner::SetDlnaProfiles(const char* list) {
  if (list == nullptr) return 1;
  std::lock_guard<std::mutex> lock(mutex_);
  profiles_ = list;
  return 0;
}

std::string DirectoryScanner::__Profiles() {
  std::lock_guard<std::mutex> lock(mutex_);
  return profiles_;
}

void DirectoryScanner::Cancel() { gCancel.store(true); }
bool DirectoryScanner::GetCancelFlag() { return gCancel.load(); }

void DirectoryScanner::SetProgressListener(ScanProgressListener listener, void* context) {
  std::lock_guard<std::mutex> lock(gListenerMutex);
  gListener = listener;
  gListenerContext = context;
}

bool DirectoryScanner::IsMediaFileName(const char* path) {
  return path != nullptr && scan_walker::wantedName(path);
}

void DirectoryScanner::SetFollowSymlinks(bool follow) {
  scan_walker::setFollowLinksOutside(follow);
}

bool DirectoryScanner::IsLinkOutside(const char* root, const char* path) {
  if (root == nullptr || path == nullptr) return false;
  char* real = realpath(root, nullptr);
  const std::string realRoot = real != nullptr ? real : "";
  free(real);
  return scan_walker::linkLeadsOutside(path, realRoot);
}

bool DirectoryScanner::IsDcfPath(const char* root, const char* path) {
  return root != nullptr && path != nullptr &&
         scan_walker::isDcfPath(withoutTrailingSlash(root), path);
}

int DirectoryScanner::ScanDir(const char* root, const char* dbPath, int* changed) {
  return __Scan(root, dbPath, changed, false);
}

int DirectoryScanner::scanDcf(const char* root, const char* dbPath, int* changed) {
  return __Scan(root, dbPath, changed, true);
}

bool DirectoryScanner::ParseAndGetFileInfo(const char* filePath, ScannedMedia* media) {
  if (filePath == nullptr || media == nullptr) return false;
  std::string why;
  FFmpegHold ffmpeg;
  return parseFile(filePath, __Profiles(), &ffmpeg, media, &why);
}

int DirectoryScanner::ParseAndRegisterFile(const char* dbPath, const char* filePath,
                                           const char* objectID, int share) {
  if (dbPath == nullptr || filePath == nullptr) return -1;
  ScannedMedia media;
  std::string why;
  FFmpegHold ffmpeg;
  if (!parseFile(filePath, __Profiles(), &ffmpeg, &media, &why)) {
    NUVPrintf(NUV_LOG_ERROR, "[DirectoryScanner] skipped %s: %s", filePath, why.c_str());
    return -1;
  }
  MediaRows rows;
  if (!rows.open(dbPath) || !rows.begin()) return -1;
  long long id = rows.findObject(media.path, objectID);
  if (id < 0 && objectID != nullptr) id = rows.findObject(media.path, nullptr);
  long long written = 0;
  if (!rows.write(media, id, share, &written) ||
      !rows.recordState(media.path, {written, media.kind, media.size, media.mtime}) ||
      !rows.commit()) {
    rows.rollback();
    return -1;
  }
  return media.kind;
}

int DirectoryScanner::RemoveFile(const char* dbPath, const char* filePath) {
  if (dbPath == nullptr || filePath == nullptr) return -1;
  MediaRows rows;
  if (!rows.open(dbPath) || !rows.begin()) return -1;
  MediaRows::Known known;
  int kind = 0;
  long long id = rows.findObject(filePath, nullptr, &kind);
  if (id < 0 && rows.findKnown(filePath, &known)) {
    id = known.id;
    kind = known.kind;
  }
  if (!rows.remove(id, filePath) || !rows.commit()) {
    rows.rollback();
    return -1;
  }
  return id > 0 ? kind : 0;
}

namespace {

// Removes, in one transaction, the rows of every recorded file below
// `scope` for which `drop` holds; the number of files removed, -1 on a
// database error.
template <typename Drop>
long long forgetFiles(const char* dbPath, const std::string& scope, Drop drop) {
  if (dbPath == nullptr) return -1;
  MediaRows rows;
  std::map<std::string, MediaRows::Known> known;
  if (!rows.open(dbPath) || !rows.loadKnown(folderPrefix(scope), &known) || !rows.begin())
    return -1;
  long long removed = 0;
  for (const auto& file : known) {
    if (!drop(file.first)) continue;
    if (!rows.remove(file.second.id, file.first)) {
      rows.rollback();
      return -1;
    }
    if (file.second.id > 0) ++removed;
  }
  return rows.commit() ? removed : -1;
}

}  // namespace

long long DirectoryScanner::ForgetOutside(const char* dbPath,
                                          const std::vector<std::string>& folders) {
  std::vector<std::string> prefixes;
  for (const std::string& folder : folders) prefixes.push_back(folderPrefix(folder));
  return forgetFiles(dbPath, "/", [&](const std::string& path) {
    for (const std::string& prefix : prefixes)
      if (path.compare(0, prefix.size(), prefix) == 0) return false;
    return true;
  });
}

long long DirectoryScanner::ForgetFolder(const char* dbPath, const std::string& folder) {
  return forgetFiles(dbPath, folder, [](const std::string&) { return true; });
}

namespace {

// One examined file waiting to be written.
struct Examined {
  scan_walker::FoundFile file;
  long long previousId = 0;
  bool parsed = false;
  ScannedMedia media;
};

// Writes a batch in one short transaction (files are parsed outside any
// transaction, so other writers of the database wait at most for a batch).
bool writeBatch(MediaRows* rows, std::vector<Examined>* batch, ScanProgress* progress,
                bool* changed) {
  if (batch->empty()) return true;
  if (!rows->begin()) return false;
  for (const Examined& e : *batch) {
    bool ok = true;
    if (e.parsed) {
      long long id = e.previousId > 0 ? e.previousId : rows->findObject(e.file.path, nullptr);
      long long written = 0;
      ok = rows->write(e.media, id, 1, &written) &&
           rows->recordState(e.file.path, {written, e.media.kind, e.media.size, e.media.mtime});
      ++progress->registered;
      *changed = true;
    } else {
      // Remembered as unusable, so that it is not parsed (and logged) again
      // until it changes; a file that was registered loses its rows.
      if (e.previousId > 0) {
        ok = rows->remove(e.previousId, e.file.path);
        *changed = true;
      }
      ok = ok && rows->recordState(e.file.path, {0, 0, e.file.size, e.file.mtime});
    }
    if (!ok) {
      rows->rollback();
      return false;
    }
  }
  batch->clear();
  return rows->commit();
}

}  // namespace

int DirectoryScanner::__Scan(const char* rootArg, const char* dbPath, int* changedOut, bool dcf) {
  gCancel.store(false);
  if (changedOut != nullptr) *changedOut = 0;
  struct stat st {};
  if (rootArg == nullptr || dbPath == nullptr || stat(rootArg, &st) != 0 || !S_ISDIR(st.st_mode)) {
    NUVPrintf(NUV_LOG_ERROR, "[DirectoryScanner] not a folder: %s", rootArg ? rootArg : "(null)");
    return 1;
  }
  const std::string root = withoutTrailingSlash(rootArg);
  const std::string profiles = __Profiles();
  MediaRows rows;
  std::map<std::string, MediaRows::Known> known;
  if (!rows.open(dbPath) || !rows.loadKnown(folderPrefix(root), &known)) return 1;

  std::vector<scan_walker::FoundFile> files;
  if (dcf) {
    scan_walker::walkDcf(root, gCancel, &files);
  } else {
    scan_walker::walkTree(root, gCancel, &files);
  }
  ScanProgress progress;
  progress.total = static_cast<long long>(files.size());
  bool changed = false;
  FFmpegHold ffmpeg;
  std::vector<Examined> batch;
  auto lastWrite = std::chrono::steady_clock::now();
  for (const scan_walker::FoundFile& file : files) {
    if (gCancel.load()) break;
    auto it = known.find(file.path);
    Examined e;
    e.file = file;
    bool wasKnown = it != known.end();
    if (wasKnown) {
      e.previousId = it->second.id;
      bool same = it->second.size == file.size && it->second.mtime == file.mtime;
      known.erase(it);
      if (same) {
        ++progress.done;
        report(progress);
        continue;  // unchanged: untouched
      }
    }
    std::string why;
    e.parsed = parseFile(file.path, profiles, &ffmpeg, &e.media, &why);
    if (!e.parsed) {
      NUVPrintf(NUV_LOG_ERROR, "[DirectoryScanner] skipped %s: %s", file.path.c_str(), why.c_str());
      ++progress.skipped;
    }
    batch.push_back(std::move(e));
    auto now = std::chrono::steady_clock::now();
    if (batch.size() >= kFilesPerCommit || now - lastWrite > kLongestBatch) {
      if (!writeBatch(&rows, &batch, &progress, &changed)) return 1;
      lastWrite = now;
    }
    ++progress.done;
    report(progress);
  }
  if (!writeBatch(&rows, &batch, &progress, &changed)) return 1;
  // What was registered under the root and is no longer found goes, unless
  // the scan was cancelled (then the file list is incomplete).
  if (!gCancel.load() && !known.empty()) {
    if (!rows.begin()) return 1;
    for (const auto& gone : known) {
      if (!rows.remove(gone.second.id, gone.first)) {
        rows.rollback();
        return 1;
      }
      if (gone.second.id > 0) {
        ++progress.removed;
        changed = true;
      }
    }
    if (!rows.commit()) return 1;
  }
  progress.finished = true;
  report(progress);
  if (changedOut != nullptr) *changedOut = changed ? 1 : 0;
  return 0;
}
