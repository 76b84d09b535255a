// The lifecycle steps on the other layers' objects (see lifecycle_steps.h).
//
// The ContentDirectory service's steps (dispatcher, registry, SOAP generator,
// action callback) and the content engine's are in place. The steps marked
// "waits for" only report themselves until their layer is wired in: creation
// and destruction do nothing. Each later layer fills exactly its own
// functions and keeps the note() call.
#include "lifecycle_steps.h"

#include <atomic>

#include "app_cds.h"
#include "cds_helper.h"
#include "cds_impl_manager.h"
#include "client_to_handle_file_transfer.h"
#include "contents_enumerator_argument.h"
#include "dms_content_engine.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "multimedia_db_connector.h"
#include "server_state.h"
#include "server_to_handle_file_transfer.h"
#include "soap_generator.h"
#include "upnp_cds_utils.h"

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

void createCdsHelper() {
  note("CDSHelper::GetInstance");
  CDSHelper::GetInstance();
  // Records made from now on carry the table.
  ContentsEnumeratorArgument::SetProfileTableSource(&CDSHelper::GetInstance);
}

void initializeCdsUtils() {
  note("UPnPCDSUtils::Initialize");
  UPnPCDSUtils::Initialize();
}
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

int startHttpServer(int connectionId, const char* address, int port) {
  note("ServerToHandleFileTransfer::StartHTTPServer", address == nullptr ? "" : address);
  ServerToHandleFileTransfer* server = ServerToHandleFileTransfer::GetInstance();
  if (server == nullptr) return 1;
  DMSAppString where(address);
  return server->StartHTTPServer(static_cast<unsigned int>(connectionId),
                                 address != nullptr ? &where : nullptr, port);
}

// The profiles stop before the handlers go: stopping waits for the
// connection threads, so no handler is deleted while one of them runs it.
void destroyTransferServer() {
  note("ServerToHandleFileTransfer::DestroyInstance");
  // Imports and exports still running end here, their partial files with
  // them.
  ClientToHandleFileTransfer::DestroyInstance();
  if (!ServerToHandleFileTransfer::HasInstance()) return;
  ServerToHandleFileTransfer* server = ServerToHandleFileTransfer::GetInstance();
  server->StopHTTPServer(nullptr);
  server->RemoveAllInstanceFromList();
  ServerToHandleFileTransfer::DestroyInstance();
}

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
void terminateCdsUtils() {
  note("UPnPCDSUtils::Terminate");
  UPnPCDSUtils::Terminate();
}

void destroyCdsHelper() {
  note("CDSHelper::DestroyInstance");
  ContentsEnumeratorArgument::SetProfileTableSource(nullptr);
  CDSHelper::DestroyInstance();
}

void terminatePlatformServices() {
  note("DMSAppHelperTerminate");
  DMSAppHelperTerminate();
  releaseStoredPaths();
}

void stopHttpServer(const char* address) {
  note("ServerToHandleFileTransfer::StopHTTPServer", address);
  if (!ServerToHandleFileTransfer::HasInstance()) return;
  DMSAppString where(address);
  ServerToHandleFileTransfer::GetInstance()->StopHTTPServer(address != nullptr ? &where : nullptr);
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

void setHttpConnectionCallback(DMSHttpConnectionRequestCallback callback) {
  note("ServerToHandleFileTransfer::SetConnectionCallback");
  ServerToHandleFileTransfer::SetConnectionCallback(callback);
}

int stopHttpTransfer(int profile, int connection) {
  note("ServerToHandleFileTransfer::NUVHTTPStopCurrentTransfer");
  if (!ServerToHandleFileTransfer::HasInstance()) return 0;
  return ServerToHandleFileTransfer::GetInstance()->NUVHTTPStopCurrentTransfer(profile, connection);
}

NUVDMSActionCallback actionHandler() { return &DMSAppCDSActionCallback; }

}  // namespace dms_server
