#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "dms_platform.h"
#include "media_registration.h"
#include "nuv_dms.h"
#include "nuv_log.h"

namespace {

constexpr const char* kContentDirectory = "urn:schemas-upnp-org:service:ContentDirectory";
constexpr int kFirstContainerUpdate = 5;

std::atomic<int> gContainerUpdateCounter{kFirstContainerUpdate};

}  // namespace

void announceContainerUpdate(int stackHandle, int containerID) {
  char value[32];
  snprintf(value, sizeof value, "%d,%d", containerID, gContainerUpdateCounter.fetch_add(1));
  NUVDMSUpdateStateVariableValue(stackHandle, kContentDirectory, "ContainerUpdateIDs", value);
}

void announceSystemUpdate(int stackHandle) {
  char* current = nullptr;
  if (NUVDMSGetStateVariableValue(stackHandle, kContentDirectory, "SystemUpdateID", &current) !=
          0 ||
      current == nullptr) {
    DMSAppMemFree(current);
    NUVPrintf(NUV_LOG_ERROR, "[announceContentChange] SystemUpdateID could not be read");
    return;
  }
  long systemUpdateID = strtol(current, nullptr, 10);
  DMSAppMemFree(current);
  if (systemUpdateID < 0) systemUpdateID = 0;
  if (systemUpdateID >= INT_MAX) systemUpdateID = INT_MAX - 1;  // stays a valid ui4 and int
  char value[32];
  snprintf(value, sizeof value, "%d", static_cast<int>(systemUpdateID) + 1);
  NUVDMSUpdateStateVariableValue(stackHandle, kContentDirectory, "SystemUpdateID", value);
}

void announceContentChange(int stackHandle, int containerID) {
  announceContainerUpdate(stackHandle, containerID);
  announceSystemUpdate(stackHandle);
}

int NUVUtilUpdateTempFileInfo(int stackHandle, int containerID, DMSAppString* /*parentID*/) {
  announceContentChange(stackHandle, containerID);
  return 0;
}

int nextContainerUpdateCounter() { return gContainerUpdateCounter.load(); }
