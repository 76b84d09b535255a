// The two callback interfaces of the ContentDirectory service:
//   - UPnPAppCDSCommandResponseInterface: where an action ends. Every handler
//     and every implementation object calls its NotifyCommandResponse exactly
//     once per action;
//   - UPnPCDSImplInterface: the base of the implementation objects that
//     serve the long actions (Browse, CreateObject, DestroyObject and the
//     resource actions) against the content engine.
#ifndef DMS_CDS_CDS_IMPL_INTERFACE_H
#define DMS_CDS_CDS_IMPL_INTERFACE_H

#include "dms_content_engine.h"

class DMSAppActionInfo;
class DMSAppString;
class DMSCDSList;

class UPnPAppCDSCommandResponseInterface {
 public:
  // Ends the action of `actionInfo`: result 0 (or 721) answers with
  // `outArguments`, 1 with fault 501, anything else with that fault. Takes
  // ownership of `outArguments` (a list of AppArgumentList, may be null);
  // `actionInfo` stays with its owner. A non-zero `implementationID` removes
  // and deletes that implementation object (and with it `actionInfo`), so
  // the caller must not touch either afterwards. Returns 0 after a
  // successful response, else 1.
  virtual int NotifyCommandResponse(int resultCode, DMSAppActionInfo* actionInfo,
                                    DMSCDSList* outArguments, unsigned int implementationID) = 0;
  virtual ~UPnPAppCDSCommandResponseInterface() = default;
};

// Base of the implementation objects. An object is registered with
// UPnPCDSImplManager under its ID before it is started, answers through its
// command-response interface, and is deleted by the registry when its action
// ends.
//
// Threads: created on a stack thread; the content engine's answers arrive on
// the engine's thread, possibly while the creating handler is still running.
class UPnPCDSImplInterface {
 public:
  UPnPCDSImplInterface() = default;
  // Takes ownership of `actionInfo`; `responder` is not owned.
  UPnPCDSImplInterface(DMSAppActionInfo* actionInfo, UPnPAppCDSCommandResponseInterface* responder)
      : responder_(responder), actionInfo_(actionInfo) {}

  // The content engine's answer to a request this object made with its ID
  // as the request ID. `text` and `list` follow the engine's ownership rules
  // for `type`. Returns 0 when handled, else 1.
  virtual int NotifyCommandResponse(int id, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result,
                                    int value, DMSAppString* text, DMSCDSList* list) = 0;
  // Deletes the action record: derived classes must not delete it again.
  virtual ~UPnPCDSImplInterface();

  UPnPCDSImplInterface(const UPnPCDSImplInterface&) = delete;
  UPnPCDSImplInterface& operator=(const UPnPCDSImplInterface&) = delete;

  UPnPAppCDSCommandResponseInterface* GetCommandResponseInterface() const { return responder_; }
  void SetCommandResponseInterface(UPnPAppCDSCommandResponseInterface* responder) {
    responder_ = responder;
  }
  // The record being served, owned by this object.
  DMSAppActionInfo* GetActionInfo() const { return actionInfo_; }
  // Adopts `actionInfo`, deleting the record held before (if another one).
  void SetActionInfo(DMSAppActionInfo* actionInfo);
  // The registry number; SetID returns this object.
  unsigned int GetID() const { return id_; }
  UPnPCDSImplInterface* SetID(unsigned int id) {
    id_ = id;
    return this;
  }

 protected:
  // Ends the action with `code` and `outArguments` (taken) through the
  // response interface, which deletes this object before it returns: the
  // caller touches nothing of it afterwards. Returns `code`.
  int endAction(int code, DMSCDSList* outArguments);

 private:
  UPnPAppCDSCommandResponseInterface* responder_ = nullptr;
  DMSAppActionInfo* actionInfo_ = nullptr;
  unsigned int id_ = 0;
};

#endif  // DMS_CDS_CDS_IMPL_INTERFACE_H
