// The steps of the lifecycle that act on objects of the other layers (the
// content engine, the ContentDirectory service, the transfer server), one
// function each, so that DMSAppInitialize, DMSAppTerminate and the
// network-exception handler read as their ordered lists and each object is
// reached from exactly one place.
//
// Every step reports itself to the step observer (if one is set) with its
// name and, where it has one, an argument; the unit tests use this to check
// the orders. Called on the application's control thread, except the HTTP
// server steps of the network-exception handler (the stack's thread).
#ifndef DMS_SERVER_LIFECYCLE_STEPS_H
#define DMS_SERVER_LIFECYCLE_STEPS_H

#include "dms_server.h"
#include "nuv_dms.h"

namespace dms_server {

// Receives "CDSHelper::GetInstance" and the like, `detail` "" when the step
// has no argument. Null (the default) observes nothing.
using StepObserver = void (*)(const char* step, const char* detail);
void setStepObserver(StepObserver observer);

// ---- Initialisation (DMSAppInitialize step 7, in this order) ----
void initializePlatformServices();  // DMSAppHelperInitialize
void createCdsHelper();             // CDSHelper::GetInstance
void initializeCdsUtils();          // UPnPCDSUtils::Initialize
void initializeContentEngine();     // NUVCEInitializeWrapper
void createSoapGenerator();         // SOAPAppGenerator::GetInstance
void createImplManager();           // UPnPCDSImplManager::GetInstance
void createCdsService();            // UPnPAppCDS::GetInstance
// ServerToHandleFileTransfer::StartHTTPServer; `address` null for every
// interface. 0 when started, else the transfer server's error code.
int startHttpServer(int connectionId, const char* address, int port);

// ---- Termination (DMSAppTerminate steps 1 to 8, in this order) ----
void destroyTransferServer();   // drop all transfers, stop every profile, destroy
void destroyImplManager();      // UPnPCDSImplManager::DestroyInstance
void destroyCdsService();       // UPnPAppCDS::DestroyInstance
void destroySoapGenerator();    // SOAPAppGenerator::DestroyInstance
void terminateContentEngine();  // NUVCETerminateWrapper
void destroyDbConnector();      // MultiMediaDbConnector::DestroyInstance
void terminateCdsUtils();       // UPnPCDSUtils::Terminate
void destroyCdsHelper();        // CDSHelper::DestroyInstance
// DMSAppHelperTerminate, then the stored path settings are freed.
void terminatePlatformServices();

// ---- While running ----
// ServerToHandleFileTransfer::StopHTTPServer on one interface address.
void stopHttpServer(const char* address);
// NUVCESetDefaultContainer(mask).
void setContentEngineDefaultContainer(int mask);
// The item ID the database connector knows `filePath` by under media kind
// `kind` (1 image, 2 audio, 3 video), as a new string the caller deletes;
// null when the kind does not know the file.
DMSAppString* findItemId(int kind, const char* filePath);
// ServerToHandleFileTransfer::SetConnectionCallback.
void setHttpConnectionCallback(DMSHttpConnectionRequestCallback callback);
// NUVHTTPStopCurrentTransfer; its result (1 stopped, 0 not).
int stopHttpTransfer(int profile, int connection);

// Slot 1 of the stack's callback table: the ContentDirectory action handler.
NUVDMSActionCallback actionHandler();

}  // namespace dms_server

#endif  // DMS_SERVER_LIFECYCLE_STEPS_H
