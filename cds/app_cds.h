// UPnPAppCDS: the ContentDirectory service. It receives every control action
// the stack hands over, checks and decodes its arguments, starts the work and
// sends exactly one reply (response body or UPnP fault) through the stack;
// actions it does not know go to the camera's remote-viewfinder hook first.
// A singleton: GetInstance() creates it on first use, DestroyInstance()
// deletes it at server termination.
//
// Ownership of an action record: __DispatchAction takes it. Synchronous
// handlers leave it to the dispatcher; the asynchronous ones (Browse,
// CreateObject, ImportResource, ExportResource, DestroyObject,
// StopTransferResource, GetTransferProgress) take it and hand it to their
// implementation object, or delete it when they end the action themselves.
//
// Threads: actions arrive on the stack's threads and may be served
// concurrently; answers of implementation objects arrive on the content
// engine's thread. The service keeps no per-action state of its own.
#ifndef DMS_CDS_APP_CDS_H
#define DMS_CDS_APP_CDS_H

#include "cds_impl_interface.h"
#include "dms_string.h"
#include "nuv_list.h"

class DMSAppActionInfo;
class DMSCDSList;
class SOAPAppMessage;

class UPnPAppCDS : public UPnPAppCDSCommandResponseInterface {
 public:
  static UPnPAppCDS* GetInstance();
  // Also drops camera actions still waiting for the hook's answer (they are
  // never answered).
  static void DestroyInstance();

  // The stack's action callback body: copies the action name, the control
  // point's address and the arguments, releases `request` and dispatches.
  // 0 when dispatched, 1 when the action was answered with 501 because
  // memory ran out.
  int HandleCDSActionRequest(int connectionID, int actionID, stNUVAppList* request);
  // Builds the action record (taking `arguments`, a list of AppArgumentList;
  // the two strings stay with the caller) and dispatches it.
  int ProcessHTTPSOAPRequest(int connectionID, int actionID, DMSAppString* actionName,
                             DMSAppString* ipAddress, DMSCDSList* arguments);

  // The single exit of every action; see UPnPAppCDSCommandResponseInterface.
  // Result codes: 0 and 721 answer with the out-arguments, 1 is sent as 501,
  // 801 as 802, any other code as itself. A code without a fault text for
  // ContentDirectory sends nothing.
  int NotifyCommandResponse(int resultCode, DMSAppActionInfo* actionInfo, DMSCDSList* outArguments,
                            unsigned int implementationID) override;

  const DMSAppString& serviceType() const { return serviceType_; }
  const DMSAppString& versionedServiceType() const { return versionedServiceType_; }

 private:
  friend class UPnPAppCDSTestPeer;

  UPnPAppCDS();
  ~UPnPAppCDS() override;
  UPnPAppCDS(const UPnPAppCDS&) = delete;
  UPnPAppCDS& operator=(const UPnPAppCDS&) = delete;

  // The action table. Takes the record (null is only logged).
  int __DispatchAction(DMSAppActionInfo* actionInfo);
  // Offers an unknown action to the camera's hook. Non-zero: the hook took
  // the action and its record. 0: declined; the record stays with the caller.
  int __RVFProcessAction(DMSAppActionInfo* actionInfo);

  // Asynchronous handlers: each takes the record.
  int __Browse(DMSAppActionInfo* actionInfo);
  int __CreateObject(DMSAppActionInfo* actionInfo);
  int __ImportResource(DMSAppActionInfo* actionInfo);
  int __ExportResource(DMSAppActionInfo* actionInfo);
  int __DestroyObject(DMSAppActionInfo* actionInfo);
  int __StopTransferResource(DMSAppActionInfo* actionInfo);
  int __GetTransferProgress(DMSAppActionInfo* actionInfo);
  // Synchronous handlers: the record stays with the dispatcher.
  int __X_GetFeatureList(DMSAppActionInfo* actionInfo);
  int __GetSystemUpdateID(DMSAppActionInfo* actionInfo);
  int __GetSortCapabilities(DMSAppActionInfo* actionInfo);
  int __GetSearchCapabilities(DMSAppActionInfo* actionInfo);

  // Status 1 answers fault 401 and returns 1; otherwise sends `message` and
  // returns 0 (1 for a null message). The message stays with the caller.
  int __SendResponsePacket(int connectionID, int actionID, int status, SOAPAppMessage* message);
  // Hands the message's body to the stack: 1 when sent, 0 for a null message
  // or a message without a body (logged; nothing is sent).
  int __SendSOAPResponsePacket(int connectionID, int actionID, SOAPAppMessage* message);
  // Sends the fault body of `upnpError` for `serviceType`; `status` (always
  // 500) is not used. 1 if no message could be made, else 0, even when the
  // code has no fault text and nothing went out.
  int __SendErrorSOAPMessage(int connectionID, int actionID, DMSAppString* serviceType, int status,
                             int upnpError);
  // Appends an AppArgumentList named `argumentName` with the current value
  // of this service's `stateVariable` to `out`. 0, or 1 for a null argument
  // or an unreadable value.
  int __GetArgumentFromSV(DMSAppString* stateVariable, DMSAppString* argumentName, DMSCDSList* out);

  // A new implementation object for the action, registered and owning the
  // record; null after answering 1 when it cannot be made.
  template <typename Implementation>
  Implementation* startImplementation(DMSAppActionInfo* actionInfo);
  // Ends an action that never reached an implementation object: answers
  // `code` and deletes the record. Returns `code`.
  int endWithoutObject(int code, DMSAppActionInfo* actionInfo);
  // Answers a synchronous query with one out-argument read from a state
  // variable; `handler` names the handler in the log, `logFailure` logs an
  // unreadable value.
  int answerFromStateVariable(DMSAppActionInfo* actionInfo, const char* handler,
                              const char* stateVariable, const char* outName,
                              void (*logFailure)(int result));
  // 402 (logged under `handler`) when the record has any argument, else 0.
  int refuseAnyArgument(DMSAppActionInfo* actionInfo, const char* handler);
  // The code of the fault that answers `resultCode`, with its log line.
  static int faultCodeFor(int resultCode);

  DMSAppString serviceType_;           // unversioned: state variables, faults
  DMSAppString versionedServiceType_;  // xmlns:u of response bodies
};

// The stack's callback slot 1: forwards to
// UPnPAppCDS::GetInstance()->HandleCDSActionRequest. Called on a stack
// thread; never lets an exception escape.
extern "C" void DMSAppCDSActionCallback(int connectionID, int actionID, stNUVAppList* request);

#endif  // DMS_CDS_APP_CDS_H
