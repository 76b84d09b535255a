// The process-wide settings: paths, streaming port and connection IDs.
//
// A setter stores a new DMSAppString and does not free the one it held
// before; the camera application sets each path once, and a caller that sets
// a path again accepts that the old copy stays allocated until teardown
// frees only the last one (releaseStoredPaths).
#include <new>

#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "nuv_dms.h"
#include "server_state.h"

namespace {

DMSAppString* gDbPath = nullptr;
DMSAppString* gThumbsPath = nullptr;
DMSAppString* gSharedPath = nullptr;
int gHttpStreamingPort = 0;
int gStackConnectionId = 0;
int gCdsConnectionId = -1;

// A new copy of `text` (null text: null buffer); null only if out of memory.
DMSAppString* newCopy(const char* text) { return new (std::nothrow) DMSAppString(text); }

// A new copy of a stored setting; null when the setting is unset.
DMSAppString* copyOf(const DMSAppString* stored) {
  if (stored == nullptr) return nullptr;
  return new (std::nothrow) DMSAppString(stored);
}

void release(DMSAppString*& s) {
  delete s;
  s = nullptr;
}

}  // namespace

namespace dms_server {

int& stackConnectionId() { return gStackConnectionId; }

void releaseStoredPaths() {
  release(gDbPath);
  release(gThumbsPath);
  release(gSharedPath);
}

void resetSettings() {
  releaseStoredPaths();
  gHttpStreamingPort = 0;
  gStackConnectionId = 0;
  gCdsConnectionId = -1;
}

}  // namespace dms_server

extern "C" {

int DMSGetConnectionID(void) { return gStackConnectionId; }

void DMSAppSetDMSConnectionID(unsigned int id) { gCdsConnectionId = static_cast<int>(id); }

int DMSAppGetDMSConnectionID(void) { return gCdsConnectionId; }

void DMSAppSetDBPathMA(const char* path) { gDbPath = newCopy(path); }

void DMSAppSetThumbsFilePathMA(const char* path) { gThumbsPath = newCopy(path); }

void DMSAppSetDMSSharedFilePath(const char* path) { gSharedPath = newCopy(path); }

DMSAppString* DMSAppGetDBPathMA(void) { return copyOf(gDbPath); }

DMSAppString* DMSAppGetThumbsFilePathMA(void) { return copyOf(gThumbsPath); }

DMSAppString* DMSAppGetDMSSharedFilePath(void) { return copyOf(gSharedPath); }

void DMSAppSetHTTPStreamingPort(int port) { gHttpStreamingPort = port; }

int DMSAppGetHTTPStreamingPort(void) { return gHttpStreamingPort; }

DMSAppString* DMSAppDMSGetClientInterfaceIPAddressMA(const char* clientIP) {
  if (clientIP == nullptr) return nullptr;
  char* address = NUVUtilGetInterfaceIPAddress(clientIP);
  if (address == nullptr) return nullptr;
  DMSAppString* result = newCopy(address);
  DMSAppMemFree(address);
  return result;
}

}  // extern "C"
