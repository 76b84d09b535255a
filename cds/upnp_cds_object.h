// UPnPCDSObject: serves one CreateObject or DestroyObject action.
//
// CreateItem parses the Elements argument, and for an item asks the content
// engine to reserve an object whose file will arrive by upload: the file is
// SHARED-FOLDER "/" NAME and its import URI "http://ADDRESS:PORT/upload/"
// NAME (the engine appends NAME, the record's title, when it registers the
// object as a temporary content). The engine's answer (type 1) completes
// the action with ObjectID and Result. A container is created at once.
// RemoveItem asks the engine to destroy an object; its answer (type 2)
// completes the action.
//
// Lifecycle: the action layer creates the object, registers it with
// UPnPCDSImplManager, calls CreateItem or RemoveItem once and routes the
// engine's answers to NotifyCommandResponse; the response removes and
// deletes the object. Once a request to the engine is queued the object may
// already be gone: nothing touches it after that point.
//
// Threads: CreateItem and RemoveItem run on a stack thread, answers arrive
// on the content engine's thread; one request is outstanding at a time.
#ifndef DMS_CDS_UPNP_CDS_OBJECT_H
#define DMS_CDS_UPNP_CDS_OBJECT_H

#include <string>

#include "cds_impl_interface.h"
#include "create_object_elements.h"

class CDSHelper;

class UPnPCDSObject : public UPnPCDSImplInterface {
 public:
  // Takes `actionInfo`; `responder` is not owned.
  UPnPCDSObject(DMSAppActionInfo* actionInfo, UPnPAppCDSCommandResponseInterface* responder);
  ~UPnPCDSObject() override;

  // CreateObject into `containerID` ("DLNA.ORG_AnyContainer" is the root).
  // 0 when the action went ahead (answered, or waiting for the engine);
  // otherwise the error code it was answered with: 402, 710 (no such
  // container), 712 (bad metadata), 713 (restricted parent) or 1.
  int CreateItem(DMSAppString* containerID, DMSAppString* elements);
  int RegisterItem(DMSAppString* containerID, DMSAppString* elements);
  // DestroyObject of `objectID` ("PARENT$CONTENT"). 0 when under way;
  // otherwise 402, 701, 713 or 1, already answered.
  int RemoveItem(DMSAppString* objectID);

  // Handles types 1 (created) and 2 (destroyed); others are logged (1).
  int NotifyCommandResponse(int id, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result, int value,
                            DMSAppString* text, DMSCDSList* list) override;

  // The extension (".jpg") an upload of the protocolInfo's MIME type is
  // stored under; null for a type without one.
  static const char* GetFileExtensionFromProtocolInfo(DMSAppString* protocolInfo);

 private:
  int __ParseElementsArgument(DMSAppString* elements);
  int __GenerateItemResponse(NUVCDSWL_RES_RESULT result, DMSCDSList* list);
  int __GenerateContainerResponse(const DMSAppString* containerID);

  // Builds the record of the item to create in container_; null (logged)
  // with *code set when it cannot be made.
  class ContentsEnumeratorArgument* makeItemRecord(int contentType, const char* extension,
                                                   int* code);
  // Answers 0 with the out-arguments ObjectID and Result (1 without memory).
  int answerCreated(const std::string& objectID, const std::string& didl);
  // "http://ADDRESS:PORT/upload/", the address facing the control point.
  std::string importUriBase() const;

  CDSHelper* table_;
  dms_cds::CreateObjectElements elements_;
  std::string container_;  // the parent of the object being created
};

#endif  // DMS_CDS_UPNP_CDS_OBJECT_H
