// Command line and config file of dmsd.
#ifndef DMS_APP_OPTIONS_H
#define DMS_APP_OPTIONS_H

#include <string>
#include <vector>

struct DaemonOptions {
  std::vector<std::string> media;  // folders to serve; the XDG ones when none is given
  bool mediaFromXdg = false;       // set by validation when `media` came from XDG
  std::string address = "127.0.0.1";
  std::string interfaceName;              // serve on this interface instead of `address`
  int port = 9000;                        // HTTP streaming port
  int upnpPort = 49152;                   // description, SOAP control and eventing
  std::string access = "all";             // all | listed | ask
  std::vector<std::string> allow;         // IPv4 addresses admitted by "listed" and "ask"
  std::string stateDir;                   // database, thumbnails, uploads, descriptions
  std::string uploadDir;                  // where uploaded files go (default STATE/uploads)
  unsigned long long maxUploadBytes = 0;  // largest upload accepted, 0 for no limit
  std::string liveView;                   // live-view source: "test", /dev/videoN, a file
  std::string name;                       // model name announced as "[Camera]NAME"
  std::string configFile;
  int verbosity = 0;            // 0 errors, 1 +information, 2 +SOAP dumps
  bool dcf = false;             // scan only the camera's DCIM layout (else every media file)
  bool watch = true;            // register files that appear, change or go while running
  bool followSymlinks = false;  // serve links to files outside the media folders
  bool help = false;
  bool version = false;
};

// Parses argv (and the config file it names; the command line wins).
// Returns an empty string on success, else one line saying what is wrong.
std::string ParseDaemonOptions(int argc, char** argv, DaemonOptions* out);

// Checks what can be checked before start-up (folders, port). Without a
// media folder, takes the user's XDG Pictures, Music and Videos folders that
// exist. Creates the state directory when missing. Empty on success, else
// one line.
std::string ValidateDaemonOptions(DaemonOptions* options);

// Applies the "key = value" lines of `file` over `out`. Empty on success.
std::string ReadDaemonConfig(const std::string& file, DaemonOptions* out);

const char* DaemonUsage();

#endif  // DMS_APP_OPTIONS_H
