#include "media_watch.h"

#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "directory_scanner.h"
#include "dms_media_registration.h"
#include "folder_paths.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kDirEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                                IN_CREATE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
// How often a media folder that has gone is looked for.
constexpr int kMissingFolderPollMs = 2000;
constexpr auto kProgressInterval = std::chrono::seconds(1);

struct Watch {
  MediaWatchOptions options;
  std::thread thread;
  int inotifyFd = -1;
  int wake[2] = {-1, -1};
  std::atomic<bool> stop{false};
  std::atomic<bool> rescan{false};
  std::map<int, std::string> watched;  // watch descriptor -> folder
  std::string scanning;                // the media folder being scanned
  std::set<std::string> missing;       // media folders that have gone
  Clock::time_point scanStart;
  Clock::time_point lastPrint;
};

Watch* gWatch = nullptr;

double secondsSince(Clock::time_point t) {
  return std::chrono::duration<double>(Clock::now() - t).count();
}

void printProgress(long long done, long long total, long long registered, long long removed,
                   long long skipped, int finished, void* context) {
  auto* w = static_cast<Watch*>(context);
  double elapsed = secondsSince(w->scanStart);
  double rate = elapsed > 0 ? done / elapsed : 0;
  if (finished) {
    if (DirectoryScanner::GetCancelFlag()) {
      printf("dmsd: scan of %s cancelled after %lld of %lld files; %lld registered\n",
             w->scanning.c_str(), done, total, registered);
    } else {
      printf(
          "dmsd: scan of %s done: %lld files in %.1f s (%.0f files/s); %lld registered, %lld "
          "removed, %lld skipped\n",
          w->scanning.c_str(), total, elapsed, rate, registered, removed, skipped);
    }
    fflush(stdout);
    return;
  }
  if (Clock::now() - w->lastPrint < kProgressInterval) return;
  w->lastPrint = Clock::now();
  printf("dmsd: scanning: %lld of %lld files, %.0f files/s\n", done, total, rate);
  fflush(stdout);
}

void beginScan(Watch* w, const std::string& folder) {
  w->scanning = folder;
  w->scanStart = Clock::now();
  w->lastPrint = w->scanStart;
  printf("dmsd: scanning %s%s\n", folder.c_str(), w->options.dcf ? " (DCIM layout only)" : "");
  fflush(stdout);
}

bool isMediaFolder(const Watch* w, const std::string& path) {
  for (const std::string& folder : w->options.folders)
    if (folder == path) return true;
  return false;
}

// A media folder removed or moved away: its watches go (those of a moved
// tree would report paths that are no longer true), and so do its files.
void mediaFolderGone(Watch* w, const std::string root) {  // a copy: watches go
  if (!w->missing.insert(root).second) return;
  for (auto it = w->watched.begin(); it != w->watched.end();) {
    if (IsWithin(it->second, root)) {
      inotify_rm_watch(w->inotifyFd, it->first);
      it = w->watched.erase(it);
    } else {
      ++it;
    }
  }
  const long long removed = NUVUtilRemoveFolderFromDb(w->options.connectionID, root.c_str());
  printf("dmsd: media folder %s is gone: %lld files removed; they come back with it\n",
         root.c_str(), removed);
  fflush(stdout);
}

void fullScan(Watch* w) {
  w->rescan.store(false);
  // Each scan adds and removes only below its own folder.
  for (const std::string& folder : w->options.folders) {
    if (w->stop.load()) break;
    if (w->missing.count(folder) != 0) continue;
    if (!IsDirectory(folder)) {
      mediaFolderGone(w, folder);  // unnoticed without a watch
      continue;
    }
    beginScan(w, folder);
    if (NUVUtilStartFileScanner(w->options.connectionID, folder.c_str()) != 0) {
      printf("dmsd: scan of %s failed (run with -v for details)\n", folder.c_str());
      fflush(stdout);
    }
  }
  // A scan frees far more than the server keeps: give it back to the system
  // rather than leave it in the allocator's arenas.
  malloc_trim(0);
}

bool wanted(const Watch* w, const std::string& path) {
  if (!DirectoryScanner::IsMediaFileName(path.c_str())) return false;
  return !w->options.dcf ||
         DirectoryScanner::IsDcfPath(w->options.folders.front().c_str(), path.c_str());
}

// The media folder `path` lies in.
std::string mediaFolderOf(const Watch* w, const std::string& path) {
  for (const std::string& folder : w->options.folders)
    if (IsWithin(path, folder)) return folder;
  return "";
}

void registerFile(Watch* w, const std::string& path) {
  if (!wanted(w, path)) return;
  if (DirectoryScanner::IsLinkOutside(mediaFolderOf(w, path).c_str(), path.c_str())) {
    printf("dmsd: not registered %s: a link to outside the media folder (see --follow-symlinks)\n",
           path.c_str());
    fflush(stdout);
    return;
  }
  int rc = NUVUtilAddFileToDb(w->options.connectionID, path.c_str());
  printf(rc == 0 ? "dmsd: registered %s\n" : "dmsd: could not register %s\n", path.c_str());
  fflush(stdout);
}

void removeFile(Watch* w, const std::string& path) {
  if (!wanted(w, path)) return;
  if (NUVUtilRemoveFileFromDb(w->options.connectionID, path.c_str()) == 0) {
    printf("dmsd: removed %s\n", path.c_str());
    fflush(stdout);
  }
}

// Watches `folder` and every folder below it; with `registerFiles`, also
// registers the files already there (a folder moved or copied in).
void watchTree(Watch* w, const std::string& folder, bool registerFiles) {
  std::vector<std::string> pending{folder};
  while (!pending.empty()) {
    std::string dir = pending.back();
    pending.pop_back();
    int wd = inotify_add_watch(w->inotifyFd, dir.c_str(), kDirEvents);
    if (wd < 0) {
      printf("dmsd: cannot watch %s (see /proc/sys/fs/inotify/max_user_watches)\n", dir.c_str());
      fflush(stdout);
      continue;
    }
    w->watched[wd] = dir;
    DIR* d = opendir(dir.c_str());
    if (d == nullptr) continue;
    std::vector<std::string> files;
    while (dirent* e = readdir(d)) {
      if (e->d_name[0] == '.') continue;
      std::string path = dir + "/" + e->d_name;
      struct stat st {};
      if (lstat(path.c_str(), &st) != 0) continue;
      if (S_ISDIR(st.st_mode)) {
        pending.push_back(path);
      } else if (registerFiles && S_ISREG(st.st_mode)) {
        files.push_back(path);
      }
    }
    closedir(d);
    for (const std::string& path : files) registerFile(w, path);
  }
}

// Media folders that have come back are watched and scanned again.
void lookForMissingFolders(Watch* w) {
  for (auto it = w->missing.begin(); it != w->missing.end() && !w->stop.load();) {
    const std::string root = *it;
    if (!IsDirectory(root)) {
      ++it;
      continue;
    }
    it = w->missing.erase(it);
    printf("dmsd: media folder %s is back\n", root.c_str());
    fflush(stdout);
    if (w->options.watch) watchTree(w, root, false);
    beginScan(w, root);
    if (NUVUtilStartFileScanner(w->options.connectionID, root.c_str()) != 0) {
      printf("dmsd: scan of %s failed (run with -v for details)\n", root.c_str());
      fflush(stdout);
    }
  }
}

void handleEvent(Watch* w, const inotify_event* e) {
  if (e->mask & IN_Q_OVERFLOW) {
    w->rescan.store(true);  // events were lost: the scan finds what changed
    return;
  }
  auto folder = w->watched.find(e->wd);
  if (folder == w->watched.end()) return;
  if ((e->mask & (IN_DELETE_SELF | IN_MOVE_SELF)) && isMediaFolder(w, folder->second)) {
    mediaFolderGone(w, folder->second);
    return;
  }
  if (e->mask & (IN_DELETE_SELF | IN_IGNORED)) {
    w->watched.erase(folder);
    return;
  }
  if (e->len == 0 || e->name[0] == '.') return;
  std::string path = folder->second + "/" + e->name;
  if (e->mask & IN_ISDIR) {
    if (e->mask & (IN_CREATE | IN_MOVED_TO)) watchTree(w, path, true);
    // The files of a folder moved out or deleted: the rescan removes them.
    if (e->mask & (IN_MOVED_FROM | IN_DELETE)) w->rescan.store(true);
    return;
  }
  if (e->mask & (IN_CLOSE_WRITE | IN_MOVED_TO)) registerFile(w, path);
  // A symbolic link is complete when made: no write to wait for.
  struct stat st {};
  if ((e->mask & IN_CREATE) && lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode))
    registerFile(w, path);
  if (e->mask & (IN_DELETE | IN_MOVED_FROM)) removeFile(w, path);
}

void run(Watch* w) {
  if (w->options.watch)
    for (const std::string& folder : w->options.folders) watchTree(w, folder, false);
  if (w->options.initialScan) fullScan(w);
  alignas(inotify_event) char buffer[64 * 1024];
  while (!w->stop.load()) {
    pollfd fds[2] = {{w->wake[0], POLLIN, 0}, {w->inotifyFd, POLLIN, 0}};
    int n = poll(fds, w->options.watch ? 2 : 1, w->missing.empty() ? -1 : kMissingFolderPollMs);
    if (!w->missing.empty()) lookForMissingFolders(w);
    if (n <= 0) continue;
    if (fds[0].revents & POLLIN) {
      char drain[64];
      while (read(w->wake[0], drain, sizeof drain) > 0) {
      }
    }
    if (w->stop.load()) break;
    if (w->options.watch && (fds[1].revents & POLLIN)) {
      ssize_t got = read(w->inotifyFd, buffer, sizeof buffer);
      for (ssize_t at = 0; got > 0 && at < got;) {
        const auto* e = reinterpret_cast<const inotify_event*>(buffer + at);
        handleEvent(w, e);
        at += static_cast<ssize_t>(sizeof(inotify_event) + e->len);
      }
    }
    if (w->rescan.load() && !w->stop.load()) fullScan(w);
  }
}

}  // namespace

bool ScanBeforeStart(const std::string& folder, const std::string& dbPath, bool dcf) {
  Watch w;
  w.options.folders = {folder};
  w.options.dcf = dcf;
  if (DMSPrepareMediaDatabase(dbPath.c_str()) != 0) return false;
  NUVUtilSetScanProgressCallback(printProgress, &w);
  beginScan(&w, folder);
  int rc = NUVUtilScanFolder(folder.c_str(), dbPath.c_str(), dcf ? 1 : 0);
  NUVUtilSetScanProgressCallback(nullptr, nullptr);
  return rc == 0;
}

bool StartMediaWatch(const MediaWatchOptions& options) {
  if (gWatch != nullptr || options.folders.empty()) return false;
  auto* w = new Watch();
  w->options = options;
  if (pipe2(w->wake, O_NONBLOCK | O_CLOEXEC) != 0) {
    delete w;
    return false;
  }
  if (options.watch) {
    w->inotifyFd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (w->inotifyFd < 0) {
      printf("dmsd: cannot watch the media folder; rescan with SIGUSR1\n");
      w->options.watch = false;
    }
  }
  NUVUtilSetScanProgressCallback(printProgress, w);
  gWatch = w;
  w->thread = std::thread(run, w);
  return true;
}

void RequestMediaRescan() {
  if (gWatch == nullptr) return;
  gWatch->rescan.store(true);
  ssize_t ignored = write(gWatch->wake[1], "r", 1);
  (void)ignored;
}

void StopMediaWatch() {
  Watch* w = gWatch;
  if (w == nullptr) return;
  w->stop.store(true);
  NUVUtilCancelFileScanner();
  ssize_t ignored = write(w->wake[1], "s", 1);
  (void)ignored;
  if (w->thread.joinable()) w->thread.join();
  NUVUtilSetScanProgressCallback(nullptr, nullptr);
  if (w->inotifyFd >= 0) close(w->inotifyFd);
  close(w->wake[0]);
  close(w->wake[1]);
  gWatch = nullptr;
  delete w;
}
