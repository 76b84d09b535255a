// DMSAppInitialize, DMSAppStart, DMSAppStop and DMSAppTerminate: the server's
// lifecycle in its fixed orders. Called one at a time from the camera
// application's control thread.
//
// Logging: the start-up progress lines of DMSAppInitialize use the level-less
// NUVPrintfNoLevel; errors are level 2 and the start/stop results level 1.
#include "access_control.h"
#include "dms_camera.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "export_guard.h"
#include "lifecycle_steps.h"
#include "network_exceptions.h"
#include "nuv_config.h"
#include "nuv_log.h"
#include "server_state.h"

namespace dms_server {
namespace {

// The mode used when the camera does not share with every device: each new
// device waits for the user's confirmation.
constexpr int kConfirmMode = 4;
constexpr int kShareWithAll = 1;

void storeSettings(const DMSAppInitInfo& info) {
  if (info.dbPath != nullptr) DMSAppSetDBPathMA(info.dbPath);
  if (info.sharedFilePath != nullptr) DMSAppSetDMSSharedFilePath(info.sharedFilePath);
  if (info.thumbsFilePath != nullptr) DMSAppSetThumbsFilePathMA(info.thumbsFilePath);
  DMSAppSetHTTPStreamingPort(info.httpStreamingPort);
}

stNUVDMSCallbacks callbackTable() {
  stNUVDMSCallbacks table{};
  table.actionCallback = actionHandler();
  table.reserved = nullptr;
  table.exceptionCallback = &handleNetworkException;
  table.aclCallback = &DMSAclNotificationCallback;
  return table;
}

// Step 7: the services, in their order, then the transfer server. 0 when the
// HTTP server started.
int createServices(int connectionId, int port) {
  initializePlatformServices();
  createCdsHelper();
  initializeCdsUtils();
  initializeContentEngine();
  createSoapGenerator();
  createImplManager();
  createCdsService();
  NUVPrintfNoLevel("[DMSAppInitialize] Start HTTP server");
  return startHttpServer(connectionId, nullptr, port);
}

int initialize(int* outConnectionID, const DMSAppInitInfo& info) {
  if (DMSAppCheckFileState(info.descriptionDir) != 1) {
    NUVPrintf(2, "[DMSAppInitialize] DMSAppCheckFileState Failed");
    return 0;
  }
  storeSettings(info);
  const stNUVDMSCallbacks table = callbackTable();
  const int result = NUVDMSInitialize(&table, info.descriptionDir, &stackConnectionId());
  if (result != 0) {
    NUVPrintf(2, "[DMSAppInitialize] NUVDMSInitialize Failed %d", result);
    return 0;
  }
  const char* modelName = NUVGetModelName();
  if (modelName == nullptr || modelName[0] == '\0') {
    NUVPrintf(2, "[%s] : no model name!", "DMSAppInitialize");
    return 0;
  }
  DmsSetFriendlyName(info.descriptionDir, modelName);
  const int connectionId = stackConnectionId();
  NUVPrintfNoLevel("[DMSAppInitialize] return.............%d\n", connectionId);

  const int port = DMSAppGetHTTPStreamingPort();
  if (port < 0 || connectionId < 0) return 0;
  if (createServices(connectionId, port) != 0) {
    DMSAppTerminate();
    return 0;
  }
  NUVPrintfNoLevel("[DMSAppInitialize] HTTP server started");
  DMSAppSetDMSConnectionID(static_cast<unsigned int>(connectionId));
  *outConnectionID = connectionId;
  return 1;
}

int start(int aclMode, int maxAge, int stackFlags) {
  if (NUVDMSStart(DMSGetConnectionID(), maxAge, stackFlags) != 0) {
    NUVPrintf(2, "[DMSAppInitialize]NUVDMSStart  not stopped");
    return 0;
  }
  NUVPrintf(1, "[DMSAppInitialize] NUVDMSStart  SUCCESS");
  DmsAppACLInitialize();
  DmsAppACLSetMode(GetAllShareMode() == kShareWithAll ? aclMode : kConfirmMode);
  // The camera's handheld companions name themselves with this prefix; they
  // are let in whatever the mode, so that a phone paired with the camera is
  // never held at a question on its screen. The rule admits by name alone,
  // which any client can send: a convenience, not a credential (see
  // DMSAppStart's contract in dms_server.h and ACCESS MODES in dmsd(8)).
  DmsAppACLAddDevNameFilterRule("TLX_HHP_", 0, "+");
  return 1;
}

int terminate() {
  destroyTransferServer();
  destroyImplManager();
  destroyCdsService();
  destroySoapGenerator();
  terminateContentEngine();
  destroyDbConnector();
  terminateCdsUtils();
  destroyCdsHelper();
  terminatePlatformServices();
  return NUVDMSTerminate(DMSGetConnectionID());
}

}  // namespace
}  // namespace dms_server

extern "C" {

int DMSAppInitialize(int* outConnectionID, DMSAppInitInfo* info) {
  if (info == nullptr) return 0;
  NUVPrintfNoLevel("[DMSAppInitialize] Enter");
  if (outConnectionID == nullptr) {
    NUVPrintf(2, "[DMSAppInitialize] no place for the connection ID");
    return 0;
  }
  return dms_export::guarded("DMSAppInitialize", 0, [outConnectionID, info] {
    return dms_server::initialize(outConnectionID, *info);
  });
}

int DMSAppStart(int aclMode, int maxAge, int stackFlags) {
  return dms_export::guarded("DMSAppStart", 0,
                             [=] { return dms_server::start(aclMode, maxAge, stackFlags); });
}

int DMSAppStop(void) {
  DmsAppACLTerminate();
  if (NUVDMSStop(DMSGetConnectionID()) == 0) {
    NUVPrintf(1, "[DMSAppInitialize] DMSAppStop  SUCCESS");
    return 1;
  }
  NUVPrintf(2, "[DMSAppInitialize]DMSAppStop  not stopped");
  return 0;
}

// The timer thread is not stopped here: the application stops it before,
// with DMSAppStopTimerThread.
int DMSAppTerminate(void) {
  return dms_export::guarded("DMSAppTerminate", 0, [] { return dms_server::terminate(); });
}

}  // extern "C"
