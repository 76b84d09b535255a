// UPnPCDSBrowse: serves one Browse action. GetItems walks the container tree
// through the content engine, asks for the contents of one container in
// batches of at most kBrowseContentBatchSize, writes DIDL-Lite with
// UPnPCDSUtils and ends the action through the command-response interface
// with Result, NumberReturned, TotalMatches and UpdateID, or an error code
// (1 for fault 501, 701 for an unknown object).
//
// Lifecycle: the action layer creates the object, registers it with
// UPnPCDSImplManager, calls GetItems once and routes the engine's answers to
// NotifyCommandResponse; the response removes and deletes the object. After
// a request to the engine is queued the object may already be gone: nothing
// touches it after that point.
//
// Threads: GetItems runs on a stack thread, the batches arrive on the
// content engine's thread. There is one outstanding request at a time, and
// the engine's queue orders the two threads' accesses, so no lock is held.
#ifndef DMS_CDS_UPNP_CDS_BROWSE_H
#define DMS_CDS_UPNP_CDS_BROWSE_H

#include <memory>

#include "browse_search_argument.h"
#include "cds_impl_interface.h"
#include "container_info.h"

class CDSHelper;

class UPnPCDSBrowse : public UPnPCDSImplInterface {
 public:
  // Takes `actionInfo`; `responder` is not owned.
  UPnPCDSBrowse(DMSAppActionInfo* actionInfo, UPnPAppCDSCommandResponseInterface* responder);
  ~UPnPCDSBrowse() override;

  // Starts the Browse with `argument` (owned from now on). A non-null
  // `actionInfo` other than the held one replaces it; a non-null `responder`
  // replaces the response interface. Returns 0 when the Browse went ahead
  // (answered or waiting for the engine), else the error code it was
  // answered with.
  int GetItems(BrowseSearchArgument* argument, DMSAppActionInfo* actionInfo,
               UPnPAppCDSCommandResponseInterface* responder);

  // Only response type 6 (a batch of records, owned from here on) is
  // handled; other types are ignored (1).
  int NotifyCommandResponse(int id, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result, int value,
                            DMSAppString* text, DMSCDSList* list) override;

 private:
  enum Invoker { kInvokerMetadata = 0, kInvokerDirectChildren = 1, kInvokerNone = 3 };

  int __BrowseMetadata();
  int __BrowseDirectChildrenContainer();
  int __BrowseDirectChildrenContent();
  int __BrowseDirectChildrenContent_CheckContentsAndRequest(DMSCDSList* list);
  int __BrowseMetadata_CheckContentsAndRequest(DMSCDSList* list);
  int __GetItem_BrowseContainer_ExecuteCallback(int result);
  // True when the container changed under the listing: it now holds fewer
  // objects than the listing asked for, or part of the page came and the
  // rest did not while the count moved. The total is taken anew. False when
  // the count cannot be read or has not moved (a database that fails).
  bool listingShrank();

  // Asks the engine for `count` records of container_ from `start`; a
  // refused request ends the action with 1 (no answer would come).
  int requestBatch(int start, int count);
  // Appends the tail and answers 0 with the four output arguments.
  int respondWithResult(int numberReturned, int totalMatches);

  int contentTotal_ = 0;
  int contentsWanted_ = 0;
  int contentsReceived_ = 0;
  int invoker_ = kInvokerNone;
  bool itemMode_ = false;
  int containersReturned_ = 0;
  int containersMatched_ = 0;
  CDSHelper* table_;
  DMSCDSList* pieces_;
  std::unique_ptr<BrowseSearchArgument> argument_;
  std::unique_ptr<ContainerPublicInfo> container_;
};

#endif  // DMS_CDS_UPNP_CDS_BROWSE_H
