#include "access_console.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

#include "dms_camera.h"
#include "dms_camera_host.h"
#include "dms_server.h"
#include "nuv_dms.h"

namespace {

std::atomic<bool> gRunning{false};
std::thread gReader;
std::mutex gOutput;  // one line at a time on stdout
std::atomic<bool> gWaiting{false};

void onUiEvent(int event, const char* name, const char* mac) {
  if (event != DMS_UI_EVENT_DEVICE_WAITING) return;
  gWaiting = true;
  std::lock_guard<std::mutex> lock(gOutput);
  printf("dmsd: device \"%s\"%s%s%s waits for access; type 'allow' or 'deny'\n", name,
         *mac != '\0' ? " (" : "", mac, *mac != '\0' ? ")" : "");
  fflush(stdout);
}

void answer(const std::string& line) {
  const bool allow = line == "allow" || line == "a" || line == "yes" || line == "y";
  const bool deny = line == "deny" || line == "d" || line == "no" || line == "n";
  std::lock_guard<std::mutex> lock(gOutput);
  if (!allow && !deny) {
    if (!line.empty()) printf("dmsd: type 'allow' or 'deny'\n");
  } else if (!gWaiting.exchange(false)) {
    printf("dmsd: no device is waiting\n");
  } else {
    DmsAppACLAddEntry(allow ? NUV_ACL_ADMIT : NUV_ACL_REFUSE, NUV_ACL_ENTRY_PENDING);
    printf("dmsd: device %s\n", allow ? "admitted" : "refused");
  }
  fflush(stdout);
}

// Polls so that StopAccessConsole can end the thread without closing stdin.
void readAnswers() {
  std::string line;
  while (gRunning.load()) {
    pollfd in{STDIN_FILENO, POLLIN, 0};
    int ready = poll(&in, 1, 200);
    if (ready <= 0) continue;
    char buffer[256];
    ssize_t n = read(STDIN_FILENO, buffer, sizeof buffer);
    if (n <= 0) return;  // end of input: decisions come from the config file then
    for (ssize_t i = 0; i < n; ++i) {
      if (buffer[i] == '\n') {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
        answer(line);
        line.clear();
      } else if (line.size() < 64) {
        line += buffer[i];
      }
    }
  }
}

}  // namespace

int AccessModeFor(const std::string& policy) {
  if (policy == "listed") return NUV_ACL_MODE_ALLOW_LISTED;
  if (policy == "ask") return NUV_ACL_MODE_CONFIRM;
  return NUV_ACL_MODE_ALLOW_ALL;
}

int ApplyAccessPolicy(int connectionID, const DaemonOptions& options) {
  if (DmsAppACLSetMode(AccessModeFor(options.access)) != 1) return 0;
  for (const std::string& ip : options.allow) {
    if (NUVDmsACLAddEntry(connectionID, NUV_ACL_ADMIT, NUV_ACL_ENTRY_BY_IP, ip.c_str(), "") != 0)
      return 0;
  }
  return 1;
}

int ReloadAccessPolicy(int connectionID, const DaemonOptions& options) {
  // Re-initialising access control also forgets a device that waits, so the
  // next unknown device can be reported again.
  DmsAppACLTerminate();
  if (DmsAppACLInitialize() != 1) return 0;
  gWaiting = false;
  // The companions' name rule that DMSAppStart adds, which re-initialising
  // dropped.
  DmsAppACLAddDevNameFilterRule("TLX_HHP_", 0, "+");
  return ApplyAccessPolicy(connectionID, options);
}

void StartAccessConsole() {
  DmsSetUiEventHandler(onUiEvent);
  gRunning = true;
  gReader = std::thread(readAnswers);
}

void StopAccessConsole() {
  DmsSetUiEventHandler(nullptr);
  gRunning = false;
  if (gReader.joinable()) gReader.join();
}
