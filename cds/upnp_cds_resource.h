// UPnPCDSResource: serves one ImportResource, ExportResource,
// StopTransferResource or GetTransferProgress action.
//
// Import and export are two steps: the local object is checked through the
// content engine (answers of type 11 and 12 arrive in NotifyCommandResponse
// on the engine's thread), then the client transfer starts and the action
// answers with its TransferID, which is this object's registry ID. Stop and
// progress are answered at once from the transfer registry.
//
// Lifecycle as UPnPCDSObject's: registered before it starts, deleted by its
// one answer; nothing touches it after a request to the engine is queued.
#ifndef DMS_CDS_UPNP_CDS_RESOURCE_H
#define DMS_CDS_UPNP_CDS_RESOURCE_H

#include <string>

#include "cds_impl_interface.h"

class UPnPCDSResource : public UPnPCDSImplInterface {
 public:
  // Takes `actionInfo`; `responder` is not owned.
  UPnPCDSResource(DMSAppActionInfo* actionInfo, UPnPAppCDSCommandResponseInterface* responder);
  ~UPnPCDSResource() override;

  // Each returns 0 when the action went ahead (answered or waiting for the
  // engine), else the code it was answered with.
  int CheckItemForImport(DMSAppString* sourceURI, DMSAppString* destinationURI);
  int CheckItemForExport(DMSAppString* sourceURI, DMSAppString* destinationURI);
  int HandleForStopTransferResource(DMSAppString* transferID);
  int HandleForGetTransferProgress(DMSAppString* transferID);

  // Types 11 (import check), 12 (export check), 13 (stop) and 14 (progress).
  int NotifyCommandResponse(int id, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result, int value,
                            DMSAppString* text, DMSCDSList* list) override;

 private:
  unsigned int __GenerateUniqueID() const { return GetID(); }
  // Starts the checked transfer and answers its TransferID, or `refusal`.
  int startTransfer(bool checked, bool import, int refusal);

  std::string sourceURI_;
  std::string destinationURI_;
  unsigned int connectionID_;
};

#endif  // DMS_CDS_UPNP_CDS_RESOURCE_H
