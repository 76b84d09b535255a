#include "options.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <utility>
#include <vector>

#include "folder_paths.h"
#include "xdg_folders.h"

namespace {

const char kUsage[] =
    "Usage: dmsd [--media DIR]... [OPTIONS]\n"
    "\n"
    "DLNA 1.50 Digital Media Server (UPnP MediaServer:1). Serves the photos,\n"
    "music and videos of the media folders to players on the network.\n"
    "\n"
    "Options:\n"
    "  -m, --media DIR       folder to serve; give it again for more folders.\n"
    "                        Without it, the XDG Pictures, Music and Videos\n"
    "                        folders of the user (user-dirs.dirs, else\n"
    "                        ~/Pictures, ~/Music, ~/Videos) that exist\n"
    "  -a, --address IP      address to serve on (default 127.0.0.1)\n"
    "  -i, --interface NAME  serve on this network interface instead of an\n"
    "                        address; needed to reach players on a LAN\n"
    "  -p, --port N          HTTP streaming port, 1-65535 (default 9000)\n"
    "  -u, --upnp-port N     port of the UPnP description, control and event\n"
    "                        server, 1-65535 (default 49152)\n"
    "  -s, --state DIR       state directory: database, thumbnails, uploads and\n"
    "                        description files (default $XDG_DATA_HOME/dmsd,\n"
    "                        else ~/.local/share/dmsd)\n"
    "  -U, --upload-dir DIR  folder that files uploaded by players (CreateObject,\n"
    "                        then HTTP POST) are written to (default\n"
    "                        STATE/uploads); it may lie inside the media folder\n"
    "      --max-upload-size SIZE\n"
    "                        largest upload accepted, in bytes or with a K, M or\n"
    "                        G suffix (powers of 1024); 0 for no limit (default).\n"
    "                        Larger uploads, and uploads larger than the free\n"
    "                        space, are refused with HTTP 413 before any byte is\n"
    "                        written\n"
    "  -L, --live-view SOURCE\n"
    "                        serve a live view at /livestream.avi (640x480) and\n"
    "                        /qvga_livestream.avi (320x240), as an AVI of JPEG\n"
    "                        pictures at up to 30 per second, from SOURCE: a\n"
    "                        V4L2 camera (/dev/videoN; MJPEG or YUYV), a video\n"
    "                        file (played in a loop at its own pace) or 'test'\n"
    "                        (a moving picture with the time on it). Without it\n"
    "                        those URLs answer 503. One stream at a time\n"
    "  -n, --name NAME       model name; the device is announced as\n"
    "                        \"[Camera]NAME\" (default dmsd)\n"
    "  -A, --access POLICY   which players may browse and stream:\n"
    "                          all     every device (default);\n"
    "                          listed  only the addresses given with --allow;\n"
    "                          ask     listed addresses, and any other device\n"
    "                                  once you admit it: dmsd prints the first\n"
    "                                  device that waits and reads 'allow' or\n"
    "                                  'deny' from its standard input (or admit\n"
    "                                  it by adding it to the config file's\n"
    "                                  allow list and sending SIGHUP)\n"
    "  -l, --allow IP[,IP..] addresses admitted under 'listed' and 'ask'\n"
    "  -c, --config FILE     read options from FILE: one \"key = value\" per\n"
    "                        line with the long option names as keys (media,\n"
    "                        address, interface, port, upnp-port, state,\n"
    "                        upload-dir, max-upload-size, live-view, name,\n"
    "                        access, allow, verbose; dcf, watch and\n"
    "                        follow-symlinks take yes or no; one media line per\n"
    "                        folder); '#' starts a comment.\n"
    "                        Command-line options win. SIGHUP re-reads the\n"
    "                        access and allow keys.\n"
    "      --dcf             scan only the camera layout DCIM/NNNXXXXX/XXXXNNNN.EXT\n"
    "                        of one media folder (three-digit folder number and\n"
    "                        five characters; four characters and a four-digit\n"
    "                        file number), as a camera does. The scan then runs\n"
    "                        before the server starts, and photo and video\n"
    "                        listings are served from memory filled at start:\n"
    "                        files that appear later are registered but listed\n"
    "                        after a restart. Without it every photo, song and\n"
    "                        movie below the media folders is served, the server\n"
    "                        starts at once with the scan beside it, and\n"
    "                        listings come from the database.\n"
    "      --no-watch        do not watch the media folders for changes; rescan\n"
    "                        with SIGUSR1\n"
    "      --follow-symlinks also serve files that symbolic links in the media\n"
    "                        folders point to outside them (by default such links\n"
    "                        are skipped with one log line: a folder shares what\n"
    "                        is in it, not what it points to)\n"
    "  -v, --verbose         log information; twice also logs SOAP bodies\n"
    "  -h, --help            show this help and exit\n"
    "      --version         show the version and exit\n"
    "\n"
    "Access modes of the stack (for embedders): 0 all, 1 listed only, 2 none,\n"
    "3 all but refused devices, 4 ask (unknown devices are refused and reported\n"
    "once for a decision). A refused control request gets UPnP error 606.\n"
    "\n"
    "Media: at start dmsd scans each media folder into the database in its\n"
    "state directory, printing progress (files done, files per second) at most\n"
    "once a second and a summary. Photos (JPEG with their EXIF thumbnails and\n"
    "MPF screennails), music (MP3, AAC, M4A, FLAC, Ogg, WAV) and movies (MP4,\n"
    "MOV, 3GP, AVI, MKV, MPEG) are registered; a rescan touches only new,\n"
    "changed (size or time) and deleted files. While it runs it watches the\n"
    "folders and their subfolders (inotify): a file is registered once its\n"
    "writer closes it or it is moved in, and removed when deleted or moved out;\n"
    "each change is announced to players. Files that cannot be read are skipped\n"
    "with one log line. Thumbnails of movies and of\n"
    "photos without one are rendered once and kept in STATE/thumbnails.\n"
    "\n"
    "Uploads: a player creates an item (CreateObject) in the photo, music or\n"
    "video container and then sends the file by HTTP POST to the importUri it\n"
    "was given. The file is written under a hidden name in the upload folder and\n"
    "appears under its own name once complete; it is then registered like a\n"
    "scanned file and announced. An item whose upload does not start within 35\n"
    "seconds is removed again; an upload that stalls for 40 seconds is abandoned\n"
    "and its partial file deleted. POSTs to anything but a created item are\n"
    "refused (403).\n"
    "\n"
    "Live view: with --live-view, GET /livestream.avi or /qvga_livestream.avi on\n"
    "the streaming port plays the live picture (e.g. vlc, ffplay or mpv with\n"
    "http://ADDRESS:PORT/livestream.avi). The newest photo registered while dmsd\n"
    "runs is the 'last photo': its screennail (else its EXIF thumbnail) is\n"
    "served at /NAME_SM, e.g. /DSC00042.JPG_SM, from a copy kept in STATE/b.\n"
    "\n"
    "Signals: SIGINT and SIGTERM stop the server cleanly; SIGHUP re-reads the\n"
    "access settings of the config file; SIGUSR1 rescans the media folder.\n"
    "Exit status: 0 after a clean stop, 1 on a start-up error, 2 on a usage error.\n";

std::string trim(const std::string& s) {
  size_t b = s.find_first_not_of(" \t\r\n");
  if (b == std::string::npos) return std::string();
  size_t e = s.find_last_not_of(" \t\r\n");
  return s.substr(b, e - b + 1);
}

// A byte count with an optional K, M or G suffix (powers of 1024).
bool parseSize(const std::string& text, unsigned long long* bytes) {
  if (text.empty() || text[0] < '0' || text[0] > '9') return false;
  errno = 0;
  char* end = nullptr;
  unsigned long long value = strtoull(text.c_str(), &end, 10);
  if (errno != 0) return false;
  unsigned int shift = 0;
  if (*end == 'K' || *end == 'k') shift = 10;
  if (*end == 'M' || *end == 'm') shift = 20;
  if (*end == 'G' || *end == 'g') shift = 30;
  if (shift != 0) ++end;
  if (*end != '\0' || (shift != 0 && value > (~0ull >> shift))) return false;
  *bytes = value << shift;
  return true;
}

bool parsePort(const std::string& text, int* port) {
  if (text.empty() || text.size() > 5) return false;
  for (char c : text)
    if (c < '0' || c > '9') return false;
  int value = atoi(text.c_str());
  if (value < 1 || value > 65535) return false;
  *port = value;
  return true;
}

// Applies one key/value; `where` prefixes the error ("--port" or "file:3").
std::string apply(const std::string& key, const std::string& value, const std::string& where,
                  DaemonOptions* o) {
  if (key == "media") {
    o->media.push_back(value);
  } else if (key == "address") {
    o->address = value;
  } else if (key == "interface") {
    o->interfaceName = value;
  } else if (key == "port") {
    if (!parsePort(value, &o->port)) return where + ": port must be a number from 1 to 65535";
  } else if (key == "upnp-port") {
    if (!parsePort(value, &o->upnpPort))
      return where + ": upnp-port must be a number from 1 to 65535";
  } else if (key == "access") {
    if (value != "all" && value != "listed" && value != "ask")
      return where + ": access must be all, listed or ask";
    o->access = value;
  } else if (key == "allow") {
    o->allow.clear();
    std::string item;
    for (size_t i = 0; i <= value.size(); ++i) {
      if (i == value.size() || value[i] == ',') {
        item = trim(item);
        in_addr parsed{};
        if (!item.empty() && inet_pton(AF_INET, item.c_str(), &parsed) != 1)
          return where + ": '" + item + "' is not an IPv4 address";
        if (!item.empty()) o->allow.push_back(item);
        item.clear();
      } else {
        item += value[i];
      }
    }
  } else if (key == "state") {
    o->stateDir = value;
  } else if (key == "upload-dir") {
    o->uploadDir = value;
  } else if (key == "max-upload-size") {
    if (!parseSize(value, &o->maxUploadBytes))
      return where + ": max-upload-size must be a number of bytes, optionally with K, M or G";
  } else if (key == "live-view") {
    o->liveView = value;
  } else if (key == "name") {
    o->name = value;
  } else if (key == "dcf" || key == "watch" || key == "follow-symlinks") {
    if (value != "yes" && value != "no") return where + ": " + key + " must be yes or no";
    (key == "dcf" ? o->dcf : key == "watch" ? o->watch : o->followSymlinks) = value == "yes";
  } else if (key == "verbose") {
    if (value != "0" && value != "1" && value != "2") return where + ": verbose must be 0, 1 or 2";
    o->verbosity = value[0] - '0';
  } else {
    return where + ": unknown option '" + key + "'";
  }
  return std::string();
}

}  // namespace

std::string ReadDaemonConfig(const std::string& file, DaemonOptions* o) {
  std::ifstream in(file);
  if (!in) return "cannot read config file " + file + ": " + strerror(errno);
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    size_t hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    line = trim(line);
    if (line.empty()) continue;
    size_t eq = line.find('=');
    std::string where = file + ":" + std::to_string(number);
    if (eq == std::string::npos) return where + ": expected \"key = value\"";
    std::string error = apply(trim(line.substr(0, eq)), trim(line.substr(eq + 1)), where, o);
    if (!error.empty()) return error;
  }
  return std::string();
}

namespace {

struct Flag {
  const char* shortName;
  const char* longName;
  const char* key;  // null: no value
};

const Flag kFlags[] = {{"-m", "--media", "media"},
                       {"-a", "--address", "address"},
                       {"-i", "--interface", "interface"},
                       {"-p", "--port", "port"},
                       {"-s", "--state", "state"},
                       {"-n", "--name", "name"},
                       {"-u", "--upnp-port", "upnp-port"},
                       {"-A", "--access", "access"},
                       {"-U", "--upload-dir", "upload-dir"},
                       {nullptr, "--max-upload-size", "max-upload-size"},
                       {"-l", "--allow", "allow"},
                       {"-c", "--config", "config"},
                       {"-L", "--live-view", "live-view"},
                       {"-v", "--verbose", nullptr},
                       {"-h", "--help", nullptr},
                       {nullptr, "--dcf", nullptr},
                       {nullptr, "--no-watch", nullptr},
                       {nullptr, "--follow-symlinks", nullptr},
                       {nullptr, "--version", nullptr}};

std::string defaultStateDir() {
  const char* xdg = getenv("XDG_DATA_HOME");
  if (xdg != nullptr && *xdg == '/') return std::string(xdg) + "/dmsd";
  const char* home = getenv("HOME");
  if (home != nullptr && *home != '\0') return std::string(home) + "/.local/share/dmsd";
  return "/var/tmp/dmsd";
}

// The absolute path without symbolic links, "." or ".."; `path` itself when
// it cannot be resolved.
std::string canonical(const std::string& path) {
  char* resolved = realpath(path.c_str(), nullptr);
  if (resolved == nullptr) return path;
  std::string result(resolved);
  free(resolved);
  return result;
}

// mkdir -p
bool makeDirectories(const std::string& path) {
  for (size_t i = 1; i <= path.size(); ++i) {
    if (i == path.size() || path[i] == '/') {
      std::string prefix = path.substr(0, i);
      if (mkdir(prefix.c_str(), 0755) != 0 && errno != EEXIST) return false;
    }
  }
  return IsDirectory(path);
}

std::string checkPortFree(const std::string& address, int port) {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return std::string("cannot create a socket: ") + strerror(errno);
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_port = htons(static_cast<uint16_t>(port));
  inet_pton(AF_INET, address.c_str(), &sa.sin_addr);
  int reuse = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
  int rc = bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa);
  int bindErrno = errno;
  close(fd);
  if (rc == 0) return std::string();
  return "cannot use port " + std::to_string(port) + " on " + address + ": " + strerror(bindErrno);
}

// Every media folder exists and is readable, once, in one spelling (an
// upload folder inside a media folder must name its files exactly as the
// scan does); a folder inside another is served through that one. Without
// any, the user's XDG folders that exist.
std::string checkMediaFolders(DaemonOptions* o) {
  if (o->media.empty()) {
    for (const std::string& folder : UserXdgMediaFolders())
      if (IsDirectory(folder) && access(folder.c_str(), R_OK | X_OK) == 0)
        o->media.push_back(folder);
    if (o->media.empty())
      return "nothing to serve: no --media given and none of the XDG Pictures, Music and "
             "Videos folders exists (see dmsd --help)";
    o->mediaFromXdg = true;
  }
  std::vector<std::string> folders;
  for (const std::string& folder : o->media) {
    if (!IsDirectory(folder))
      return "media folder " + folder + " does not exist or is not a folder";
    if (access(folder.c_str(), R_OK | X_OK) != 0)
      return "media folder " + folder + " is not readable";
    folders.push_back(canonical(folder));
  }
  o->media.clear();
  for (size_t i = 0; i < folders.size(); ++i) {
    bool covered = false;
    for (size_t j = 0; j < folders.size() && !covered; ++j)
      covered = j != i && IsWithin(folders[i], folders[j]) && (folders[i] != folders[j] || j < i);
    if (!covered) o->media.push_back(folders[i]);
  }
  if (o->dcf && o->media.size() > 1) return "--dcf serves one camera folder: give one --media";
  return std::string();
}

}  // namespace

const char* DaemonUsage() { return kUsage; }

std::string ParseDaemonOptions(int argc, char** argv, DaemonOptions* out) {
  // Two passes: find --config first so that the command line overrides it.
  std::vector<std::pair<std::string, std::string>> given;  // key, value in order
  int verbose = 0;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    std::string inlineValue;
    bool hasInline = false;
    size_t eq = arg.find('=');
    if (arg.rfind("--", 0) == 0 && eq != std::string::npos) {
      inlineValue = arg.substr(eq + 1);
      arg = arg.substr(0, eq);
      hasInline = true;
    }
    const Flag* flag = nullptr;
    for (const Flag& f : kFlags)
      if ((f.shortName != nullptr && arg == f.shortName) || arg == f.longName) flag = &f;
    if (flag == nullptr) return "unknown option '" + arg + "' (see dmsd --help)";
    if (flag->key == nullptr) {
      if (hasInline) return "option " + arg + " takes no value";
      if (arg == "-v" || arg == "--verbose") ++verbose;
      if (arg == "-h" || arg == "--help") out->help = true;
      if (arg == "--version") out->version = true;
      if (arg == "--dcf") out->dcf = true;
      if (arg == "--no-watch") out->watch = false;
      if (arg == "--follow-symlinks") out->followSymlinks = true;
      continue;
    }
    std::string value;
    if (hasInline) {
      value = inlineValue;
    } else if (i + 1 < argc) {
      value = argv[++i];
    } else {
      return "option " + arg + " needs a value";
    }
    if (value.empty()) return "option " + arg + " needs a non-empty value";
    given.emplace_back(flag->key, value);
  }
  if (out->help || out->version) return std::string();
  for (const auto& option : given)
    if (option.first == "config") out->configFile = option.second;
  if (!out->configFile.empty()) {
    std::string error = ReadDaemonConfig(out->configFile, out);
    if (!error.empty()) return error;
  }
  bool mediaGiven = false;
  for (const auto& option : given) {
    if (option.first == "config") continue;
    // Media folders on the command line replace the config file's.
    if (option.first == "media" && !mediaGiven) {
      out->media.clear();
      mediaGiven = true;
    }
    std::string error = apply(option.first, option.second, "--" + option.first, out);
    if (!error.empty()) return error;
  }
  if (verbose > 0) out->verbosity = verbose > 2 ? 2 : verbose;
  return std::string();
}

std::string ValidateDaemonOptions(DaemonOptions* o) {
  const std::string mediaError = checkMediaFolders(o);
  if (!mediaError.empty()) return mediaError;
  if (!o->interfaceName.empty()) {
    if (if_nametoindex(o->interfaceName.c_str()) == 0)
      return "network interface " + o->interfaceName + " does not exist";
  } else {
    in_addr parsed{};
    if (inet_pton(AF_INET, o->address.c_str(), &parsed) != 1)
      return "address " + o->address + " is not an IPv4 address";
  }
  if (o->stateDir.empty()) o->stateDir = defaultStateDir();
  if (!makeDirectories(o->stateDir))
    return "cannot create state directory " + o->stateDir + ": " + strerror(errno);
  if (access(o->stateDir.c_str(), W_OK) != 0)
    return "state directory " + o->stateDir + " is not writable";
  if (o->uploadDir.empty()) o->uploadDir = o->stateDir + "/uploads";
  if (!makeDirectories(o->uploadDir))
    return "cannot create upload folder " + o->uploadDir + ": " + strerror(errno);
  if (access(o->uploadDir.c_str(), W_OK | X_OK) != 0)
    return "upload folder " + o->uploadDir + " is not writable";
  o->uploadDir = canonical(o->uploadDir);
  if (o->port == o->upnpPort) return "--port and --upnp-port must differ";
  if (o->interfaceName.empty()) {
    std::string error = checkPortFree(o->address, o->port);
    if (error.empty()) error = checkPortFree(o->address, o->upnpPort);
    return error;
  }
  return std::string();
}
