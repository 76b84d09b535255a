// dmsd: the media server daemon for a Linux host.
//
// Start-up order: parse and check options, block SIGINT/SIGTERM/SIGHUP in
// every thread (so only sigwait below sees them), configure the stack, then
// DMSAppInitialize and DMSAppStart. Shutdown: DMSAppStop, the timer thread,
// DMSAppTerminate.
#include <limits.h>
#include <malloc.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "access_console.h"
#include "directory_scanner.h"
#include "dms_camera.h"
#include "dms_camera_host.h"
#include "dms_media_registration.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "media_watch.h"
#include "nuv_config.h"
#include "nuv_dms.h"
#include "nuv_log.h"
#include "options.h"

#ifdef DMS_HAVE_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

#ifndef DMS_VERSION
#define DMS_VERSION "0.1.0"
#endif
#ifndef DMS_PICTURES_DIR
#define DMS_PICTURES_DIR "/usr/share/dmsd/pictures"
#endif

namespace {

constexpr int kExitStartup = 1;
constexpr int kExitUsage = 2;

unsigned int logMaskFor(int verbosity) {
  if (verbosity >= 2) return NUV_LOG_ERROR | NUV_LOG_INFO | NUV_LOG_DUMP;
  if (verbosity == 1) return NUV_LOG_ERROR | NUV_LOG_INFO;
  return NUV_LOG_ERROR;
}

struct StatePaths {
  std::string database;
  std::string thumbnails;
  std::string uploads;
  std::string descriptions;
  std::string lastPhoto;  // the small image of the last photo (a camera's "/b")
};

StatePaths statePaths(const DaemonOptions& o) {
  return {o.stateDir + "/media.db", o.stateDir + "/thumbnails", o.uploadDir,
          o.stateDir + "/description", o.stateDir + "/b"};
}

// The newest photo registered becomes the live view's last photo (files
// that are not JPEG photos are turned down by the camera side).
void photoRegistered(const char* path) { DmsLiveViewPhotoRegistered(path); }

bool startLiveView(const DaemonOptions& o, const StatePaths& paths) {
  if (mkdir(paths.lastPhoto.c_str(), 0755) != 0 && errno != EEXIST) {
    fprintf(stderr, "dmsd: cannot create %s: %s\n", paths.lastPhoto.c_str(), strerror(errno));
    return false;
  }
  char error[256] = {0};
  if (DmsLiveViewSetSource(o.liveView.c_str(), error, sizeof(error)) != 0) {
    fprintf(stderr, "dmsd: live view: %s\n", error);
    return false;
  }
  return true;
}

// The substitute pictures are installed data: ../share/dmsd/pictures from
// the executable when there (a relocated install, the build tree), the
// configured DMS_PICTURES_DIR otherwise.
std::string picturesDir() {
  char self[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n > 0) {
    std::string exe(self, static_cast<size_t>(n));
    const std::string beside = exe.substr(0, exe.rfind('/')) + "/../share/dmsd/pictures";
    char resolved[PATH_MAX];
    struct stat st {};
    if (realpath(beside.c_str(), resolved) != nullptr && stat(resolved, &st) == 0 &&
        S_ISDIR(st.st_mode)) {
      return resolved;
    }
  }
  return DMS_PICTURES_DIR;
}

// systemd's readiness and stop notifications (no-ops outside a notify unit).
void notifyService(const char* state) {
#ifdef DMS_HAVE_SYSTEMD
  sd_notify(0, state);
#else
  (void)state;
#endif
}

std::string joined(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
  return text;
}

// A folder that is no longer served must not stay browsable: rows of files
// outside every media folder and the upload folder go before the server
// starts.
void forgetUnservedFiles(const DaemonOptions& o, const std::string& database) {
  std::vector<std::string> kept = o.media;
  kept.push_back(o.uploadDir);
  long long forgotten = DirectoryScanner::ForgetOutside(database.c_str(), kept);
  if (forgotten > 0) printf("dmsd: forgot %lld files outside the media folders\n", forgotten);
  if (forgotten < 0) printf("dmsd: could not forget files outside the media folders\n");
}

// The stack's configuration store carries what the library reads by key.
void configureStack(const DaemonOptions& o, const StatePaths& paths) {
  NUVSetConfiguration("SHARED-MEDIA-FOLDER-PATH", o.media.front().c_str());
  NUVSetConfiguration("MEDIA-DB-FILEPATH", paths.database.c_str());
  NUVSetConfiguration("MEDIA-TV-DB-FILEPATH", paths.database.c_str());
  NUVSetConfiguration("SUBSTITUTE-PICTURE-DIR", picturesDir().c_str());
  NUVSetConfiguration("THUMBNAIL-CACHE-DIR", paths.thumbnails.c_str());
  NUVSetConfiguration("MAX-UPLOAD-SIZE", std::to_string(o.maxUploadBytes).c_str());
  NUVSetConfiguration("LAST-PHOTO-DIR", paths.lastPhoto.c_str());
  // Certification mode picks the scan (off: the DCF layout) and turns off the
  // listing caches, which are filled once at start: with every file of the
  // folder served and registered while running, listings must come from the
  // database.
  NUVSetDlnaCertificationState(o.dcf ? 0 : 1);
  NUVSetModelName(o.name.empty() ? "dmsd" : o.name.c_str());
  if (o.interfaceName.empty()) {
    NUVDMSSetBindAddress(o.address.c_str());
  } else {
    NUVDMSSetBindInterface(o.interfaceName.c_str());
  }
  NUVDMSSetPort(o.upnpPort);
}

int waitForStopSignal(const sigset_t& signals, int connectionID, const DaemonOptions& options) {
  for (;;) {
    int received = 0;
    if (sigwait(&signals, &received) != 0) continue;
    if (received == SIGUSR1) {
      printf("dmsd: SIGUSR1: rescanning the media folders\n");
      fflush(stdout);
      RequestMediaRescan();
      continue;
    }
    if (received != SIGHUP) return received;
    if (options.configFile.empty()) {
      printf("dmsd: SIGHUP: no config file to re-read\n");
      continue;
    }
    DaemonOptions reloaded = options;
    reloaded.allow.clear();
    std::string error = ReadDaemonConfig(options.configFile, &reloaded);
    if (!error.empty()) {
      printf("dmsd: SIGHUP: %s; keeping the current access settings\n", error.c_str());
    } else if (ReloadAccessPolicy(connectionID, reloaded) != 1) {
      printf("dmsd: SIGHUP: access settings could not be applied\n");
    } else {
      printf("dmsd: access settings re-read: %s, %zu listed address(es)\n", reloaded.access.c_str(),
             reloaded.allow.size());
    }
    fflush(stdout);
  }
}

// Every client connection is a descriptor: a TV, a phone and a few players
// with keep-alive connections and parallel range requests soon pass the
// usual soft limit of 1024, which the hard limit exists to lift.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

// Every Browse answer passes through buffers of 50 to 200 KiB (Result, SOAP
// body, their copies). With glibc's defaults each free of one at the top of
// the heap gives the pages back and the next request faults them in again:
// a tenth of a Browse's time went to page faults. Keep up to 2 MiB at the
// top (the scan's leftovers are trimmed explicitly) and serve blocks below
// 1 MiB from the heap.
//
// Four arenas, not glibc's eight per core: each of the server's threads
// (engine, HTTP pool, GLib, scanner, timers) otherwise fills an arena of
// its own with its peaks, and RSS climbs for a quarter of an hour under mixed
// load before it settles (67 to 82 MiB in 30 minutes of soak). Nor fewer:
// with two, the GLib thread and the engine thread, which hand every action
// to each other, share one and wait on its lock (BrowseMetadata at 8
// clients: 5,600 against 7,800 requests a second).
void tuneAllocator() {
  mallopt(M_ARENA_MAX, 4);
  mallopt(M_MMAP_THRESHOLD, 1 << 20);
  mallopt(M_TRIM_THRESHOLD, 2 << 20);
}

}  // namespace

int main(int argc, char** argv) {
  DaemonOptions options;
  std::string error = ParseDaemonOptions(argc, argv, &options);
  if (!error.empty()) {
    fprintf(stderr, "dmsd: %s\n", error.c_str());
    return kExitUsage;
  }
  if (options.help) {
    fputs(DaemonUsage(), stdout);
    return 0;
  }
  if (options.version) {
    puts("dmsd " DMS_VERSION);
    return 0;
  }
  raiseDescriptorLimit();
  tuneAllocator();
  error = ValidateDaemonOptions(&options);
  if (!error.empty()) {
    fprintf(stderr, "dmsd: %s\n", error.c_str());
    return kExitStartup;
  }
  NUVLogSetMask(logMaskFor(options.verbosity));

  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGHUP);
  sigaddset(&signals, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  const StatePaths paths = statePaths(options);
  configureStack(options, paths);
  if (!startLiveView(options, paths)) return kExitStartup;
  // The camera layout's listings are read into memory when the server
  // starts, so that scan comes first; otherwise the server starts at once and
  // the scan runs beside it.
  if (DMSPrepareMediaDatabase(paths.database.c_str()) != 0) {
    fprintf(stderr, "dmsd: cannot create the database %s (run with -v for details)\n",
            paths.database.c_str());
    return kExitStartup;
  }
  DirectoryScanner::SetFollowSymlinks(options.followSymlinks);
  forgetUnservedFiles(options, paths.database);
  if (options.dcf && !ScanBeforeStart(options.media.front(), paths.database, true)) {
    fprintf(stderr, "dmsd: cannot scan %s into %s (run with -v for details)\n",
            options.media.front().c_str(), paths.database.c_str());
    return kExitStartup;
  }
  DMSAppInitInfo info{paths.database.c_str(), paths.thumbnails.c_str(), paths.uploads.c_str(),
                      paths.descriptions.c_str(), options.port};
  int connectionID = -1;
  if (DMSAppInitialize(&connectionID, &info) != 1) {
    fprintf(stderr, "dmsd: cannot initialise the media server in %s (run with -v for details)\n",
            options.stateDir.c_str());
    DMSAppStopTimerThread();
    return kExitStartup;
  }
  if (DMSAppStart(AccessModeFor(options.access), 0, 0) != 1 ||
      ApplyAccessPolicy(connectionID, options) != 1) {
    fprintf(stderr, "dmsd: cannot start UPnP on %s port %d (run with -v for details)\n",
            options.interfaceName.empty() ? options.address.c_str() : options.interfaceName.c_str(),
            options.upnpPort);
    DMSAppStop();
    DMSAppStopTimerThread();
    DMSAppTerminate();
    return kExitStartup;
  }
  StartAccessConsole();
  DMSSetThumbnailRenderers(ASLWifi_getMovieThumbBuffer, ASLWifi_getJpegThumbBuffer);
  DMSSetThumbnailRemover(ASLWifi_removeThumbBuffers);
  DMSSetRegistrationObserver(photoRegistered);

  char* description = NUVDMSGetDescriptionURLMA(connectionID);
  if (options.mediaFromXdg) printf("dmsd: no --media given: serving the XDG media folders\n");
  printf("dmsd: serving %s as \"[Camera]%s\"; access: %s\n", joined(options.media).c_str(),
         options.name.empty() ? "dmsd" : options.name.c_str(), options.access.c_str());
  printf("dmsd: description at %s; streaming port %d; state in %s\n",
         description != nullptr ? description : "(unknown)", options.port,
         options.stateDir.c_str());
  printf("dmsd: uploads go to %s\n", options.uploadDir.c_str());
  if (!options.liveView.empty()) {
    printf("dmsd: live view from %s at /livestream.avi and /qvga_livestream.avi\n",
           options.liveView.c_str());
  }
  printf("dmsd: running; stop with Ctrl-C or SIGTERM\n");
  fflush(stdout);
  DMSAppMemFree(description);
  MediaWatchOptions watch;
  watch.folders = options.media;
  watch.connectionID = connectionID;
  watch.dcf = options.dcf;
  watch.watch = options.watch;
  watch.initialScan = !options.dcf;
  if (!StartMediaWatch(watch)) printf("dmsd: cannot start the media scan thread\n");
  notifyService("READY=1\nSTATUS=announced; serving media");

  int signal = waitForStopSignal(signals, connectionID, options);
  printf("dmsd: %s received, stopping\n", signal == SIGINT ? "SIGINT" : "SIGTERM");
  fflush(stdout);
  notifyService("STOPPING=1");
  StopMediaWatch();
  StopAccessConsole();
  DMSSetRegistrationObserver(nullptr);
  DmsLiveViewShutdown();
  DMSAppStop();
  DMSAppStopTimerThread();
  DMSAppTerminate();
  printf("dmsd: stopped\n");
  return 0;
}
