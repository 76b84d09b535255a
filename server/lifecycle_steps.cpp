// The lifecycle steps on the other layers' objects (see lifecycle_steps.h).
//
// The ContentDirectory service's steps (dispatcher, registry, SOAP generator,
// action callback) and the content engine's are in place. The steps marked
// "waits for" only report themselves until their layer is wired in: creation
// and destruction do nothing, the HTTP server "starts" (0), and a transfer
// cannot be stopped (0). Each later layer fills exactly its own functions and
// keeps the note() call.
#include "lifecycle_steps.h"

#include <atomic>

#include "app_cds.h"
#include "cds_impl_manager.h"
#include "dms_content_engine.h"
#include "dms_platform.h"
#include "multimedia_db_connector.h"
#include "server_state.h"
#include "soap_generator.h"

namespace dms_server {
namespace {

std::atomic<StepObserver> gObserver{nullptr};

void note(const char* step, const char* detail = "") {
  StepObserver observer = gObserver.load();
  if (observer != nullptr) observer(step, detail != nullptr ? detail : "(null)");
}

}  // namespace

void setStepObserver(StepObserver observer) { gObserver.store(observer); }

void initializePlatformServices() {
  note("DMSAppHelperInitialize");
  DMSAppHelperInitialize();
}

// Waits for CDSHelper (cds/, the name and profile tables).
void createCdsHelper() { note("CDSHelper::GetInstance"); }
// Waits for UPnPCDSUtils (cds/, the DIDL-Lite writer).
void initializeCdsUtils() { note("UPnPCDSUtils::Initialize"); }
void initializeContentEngine() {
  note("NUVCEInitializeWrapper");
  NUVCEInitializeWrapper();
}

void createSoapGenerator() {
  note("SOAPAppGenerator::GetInstance");
  SOAPAppGenerator::GetInstance();
}

void createImplManager() {
  note("UPnPCDSImplManager::GetInstance");
  UPnPCDSImplManager::GetInstance();
}

void createCdsService() {
  note("UPnPAppCDS::GetInstance");
  UPnPAppCDS::GetInstance();
}

// Waits for the transfer server (transfer/).
int startHttpServer(int /*connectionId*/, const char* address, int /*port*/) {
  note("ServerToHandleFileTransfer::StartHTTPServer", address == nullptr ? "" : address);
  return 0;
}

// Waits for the transfer server (transfer/).
void destroyTransferServer() { note("ServerToHandleFileTransfer::DestroyInstance"); }

void destroyImplManager() {
  note("UPnPCDSImplManager::DestroyInstance");
  UPnPCDSImplManager::DestroyInstance();
}

void destroyCdsService() {
  note("UPnPAppCDS::DestroyInstance");
  UPnPAppCDS::DestroyInstance();
}

void destroySoapGenerator() {
  note("SOAPAppGenerator::DestroyInstance");
  SOAPAppGenerator::DestroyInstance();
}

void terminateContentEngine() {
  note("NUVCETerminateWrapper");
  NUVCETerminateWrapper();
}

void destroyDbConnector() {
  note("MultiMediaDbConnector::DestroyInstance");
  MultiMediaDbConnector::DestroyInstance();
}
// Waits for UPnPCDSUtils.
void terminateCdsUtils() { note("UPnPCDSUtils::Terminate"); }
// Waits for CDSHelper.
void destroyCdsHelper() { note("CDSHelper::DestroyInstance"); }

void terminatePlatformServices() {
  note("DMSAppHelperTerminate");
  DMSAppHelperTerminate();
  releaseStoredPaths();
}

// Waits for the transfer server.
void stopHttpServer(const char* address) {
  note("ServerToHandleFileTransfer::StopHTTPServer", address);
}

void setContentEngineDefaultContainer(int mask) {
  note("NUVCESetDefaultContainer");
  NUVCESetDefaultContainer(mask);
}

// The caller deletes the result.
DMSAppString* findItemId(int kind, const char* filePath) {
  note("MultiMediaDbConnector::GetItemId", filePath);
  return MultiMediaDbConnector::GetInstance()->GetIDOfItem(static_cast<unsigned int>(kind),
                                                           filePath);
}

// Waits for the transfer server.
void setHttpConnectionCallback(DMSHttpConnectionRequestCallback /*callback*/) {
  note("ServerToHandleFileTransfer::SetConnectionCallback");
}

// Waits for the transfer server: nothing can be stopped yet.
int stopHttpTransfer(int /*profile*/, int /*connection*/) {
  note("ServerToHandleFileTransfer::NUVHTTPStopCurrentTransfer");
  return 0;
}

NUVDMSActionCallback actionHandler() { return &DMSAppCDSActionCallback; }

}  // namespace dms_server
