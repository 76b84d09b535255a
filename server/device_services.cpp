// The small services the camera application calls while the server runs:
// friendly name, temporary alive announcements, deleting the media
// database, the TransferIDs event, the default container, object IDs of
// files, and the HTTP transfer hooks.
#include <cstdio>
#include <memory>
#include <string>

#include "description_files.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "export_guard.h"
#include "lifecycle_steps.h"
#include "nuv_config.h"
#include "nuv_dms.h"
#include "nuv_log.h"

namespace {

constexpr unsigned long kObjectIdBytes = 512;
const char kContentDirectoryService[] = "urn:schemas-upnp-org:service:ContentDirectory";

// Bit 0 image, bit 1 audio, bit 2 video, each set by a positive value. (The
// camera software historically set bit 1 and then worked bit 0 out again
// from the first value; that gives the same mask.)
int defaultContainerMask(int image, int audio, int video) {
  return (image > 0 ? 1 : 0) | (audio > 0 ? 2 : 0) | (video > 0 ? 4 : 0);
}

}  // namespace

extern "C" {

int DmsSetFriendlyName(const char* descriptionDir, const char* modelName) {
  if (descriptionDir == nullptr || modelName == nullptr) {
    NUVPrintf(2, "[DmsSetFriendlyName] Invalid args");
    return 0;
  }
  return dms_export::guarded("DmsSetFriendlyName", 0, [=] {
    const std::string path =
        dms_server::descriptionFilePath(descriptionDir, DLNADMS_DEVICE_DESCRIPTION);
    const std::string name = std::string("[Camera]") + modelName;
    return NUVSetDeviceName(path.c_str(), name.c_str()) == 0 ? 1 : 0;
  });
}

int DMSAppSendAliveTemporary(int /*unused*/, int count, int maxAge) {
  if (NUVDMSSendAliveTemporary(DMSGetConnectionID(), count, maxAge) == 0) {
    NUVPrintf(1, "DMSAppSendAliveTemporary  SUCCESS");
    return 1;
  }
  NUVPrintf(2, "DMSAppSendAliveTemporary  Failed");
  return 0;
}

// Result: 1 when the file was deleted.
int DMSDeleteMediaDB(const char* path) {
  if (path != nullptr && DMSAppRemoveFile(path) == 1) {
    NUVPrintf(1, "Media db file [%s] deleted", path);
    return 1;
  }
  NUVPrintf(2, "Failed to delete the media db file [%s]", path != nullptr ? path : "(null)");
  return 0;
}

// The stack's own result is not passed on: the event is best effort.
int DMSAppSendTransferIDEvent(DMSAppString* transferIDs) {
  if (transferIDs == nullptr) return 0;
  const char* text = transferIDs->ReadString();
  NUVDMSUpdateStateVariableValue(DMSAppGetDMSConnectionID(), kContentDirectoryService,
                                 "TransferIDs", text != nullptr ? text : "");
  return 1;
}

void NUVSetDefaultContainer(int image, int audio, int video) {
  const int mask = defaultContainerMask(image, audio, video);
  char text[16];
  std::snprintf(text, sizeof text, "%d", mask);
  NUVSetConfiguration("DefaultContainer", text);
  dms_export::guardedVoid("NUVSetDefaultContainer",
                          [mask] { dms_server::setContentEngineDefaultContainer(mask); });
}

char* DMSGetItemObjectID(const char* filePath) {
  if (filePath == nullptr) return nullptr;
  return dms_export::guarded("DMSGetItemObjectID", static_cast<char*>(nullptr), [filePath] {
    for (int kind = 1; kind <= 3; ++kind) {
      std::unique_ptr<DMSAppString> id(dms_server::findItemId(kind, filePath));
      if (!id || id->ReadString() == nullptr) continue;
      auto* buffer = static_cast<char*>(DMSAppMemAllocMA(kObjectIdBytes));
      if (buffer == nullptr) return static_cast<char*>(nullptr);
      std::snprintf(buffer, kObjectIdBytes, "%d$%s", kind, id->ReadString());
      return buffer;
    }
    return static_cast<char*>(nullptr);
  });
}

void DMSSetHttpConnectionRequestCallback(DMSHttpConnectionRequestCallback callback) {
  dms_export::guardedVoid("DMSSetHttpConnectionRequestCallback",
                          [callback] { dms_server::setHttpConnectionCallback(callback); });
}

int DMSStopHttpTransfer(int profile, int connection) {
  return dms_export::guarded("DMSStopHttpTransfer", 0,
                             [=] { return dms_server::stopHttpTransfer(profile, connection); });
}

}  // extern "C"
