#include "upnp_cds_browse.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "action_info.h"
#include "cds_helper.h"
#include "cds_limits.h"
#include "contents_enumerator_argument.h"
#include "dms_content_engine.h"
#include "dms_list.h"
#include "dms_string.h"
#include "nuv_log.h"
#include "record_list.h"
#include "upnp_cds_utils.h"

namespace {

constexpr int kItemObjectType = 50;

const char* textOf(const DMSAppString* s) {
  return s != nullptr && s->ReadString() != nullptr ? s->ReadString() : "";
}

bool sameID(const DMSAppString* id, const DMSAppString* other) {
  return id != nullptr && other != nullptr && id->CompareI(textOf(other)) == 0;
}

// Calls visit(container) for each container of the tree in engine order
// until it returns false. `visit` may take the container (move it away).
template <typename Visit>
void walkContainers(unsigned int requestID, Visit visit) {
  std::unique_ptr<ContainerPublicInfo> container(NUVCEGetFirstContainer(requestID));
  while (container != nullptr) {
    DMSAppString previous(textOf(container->GetID()));
    if (!visit(container)) return;
    container.reset(NUVCEGetNextContainer(requestID, &previous));
  }
}

// The records of a batch, after the engine's two leading numbers.
const stDMSCDSListItem* firstRecord(const DMSCDSList* list) {
  const stDMSCDSListItem* item = list->ReadFirstItem();
  for (int i = 0; i < 2 && item != nullptr; ++i) item = item->next;
  return item;
}

}  // namespace

UPnPCDSBrowse::UPnPCDSBrowse(DMSAppActionInfo* actionInfo,
                             UPnPAppCDSCommandResponseInterface* responder)
    : UPnPCDSImplInterface(actionInfo, responder),
      table_(CDSHelper::GetInstance()),
      pieces_(new (std::nothrow) DMSCDSList()) {}

UPnPCDSBrowse::~UPnPCDSBrowse() {
  dms_cds::freePieces(pieces_);
  delete pieces_;
}

int UPnPCDSBrowse::respondWithResult(int numberReturned, int totalMatches) {
  DMSCDSList* out = nullptr;
  if (dms_cds::appendPiece(pieces_, table_->GetText(CDSHelper::kDidlTail)) != 0 ||
      UPnPCDSUtils::__AddOutArgs(&out, pieces_, numberReturned, totalMatches, 1) != 0) {
    NUVPrintf(NUV_LOG_ERROR, "CM : pOutArgs memory allocation failed!!!");
    dms_cds::deleteArgumentList(out);
    return endAction(1, nullptr);
  }
  return endAction(0, out);
}

int UPnPCDSBrowse::requestBatch(int start, int count) {
  if (NUVCEGetContents(GetID(), container_->GetID(), static_cast<unsigned int>(start),
                       static_cast<unsigned int>(count), true) != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSBrowse] Content request refused by the engine!!!");
    return endAction(1, nullptr);
  }
  return 0;  // the answer may already have ended the action: touch nothing
}

int UPnPCDSBrowse::GetItems(BrowseSearchArgument* argument, DMSAppActionInfo* actionInfo,
                            UPnPAppCDSCommandResponseInterface* responder) {
  argument_.reset(argument);
  if (responder != nullptr) SetCommandResponseInterface(responder);
  if (actionInfo != nullptr && actionInfo != GetActionInfo()) SetActionInfo(actionInfo);
  if (argument == nullptr || GetActionInfo() == nullptr || table_ == nullptr ||
      pieces_ == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSBrowse] Invalid args!!! GetItems");
    return endAction(1, nullptr);
  }
  const DMSAppString* flag = argument->GetQueryString();
  if (flag != nullptr && flag->CompareI("BrowseMetadata") == 0) {
    if (argument->GetStartIndex() == 0) return __BrowseMetadata();
    // The wording is kept although the rule is the opposite.
    NUVPrintf(NUV_LOG_ERROR,
              "[UPnPCDSBrowse::GetItems] Invalid args!!!, StartIdx must not be 0 for "
              "BrowseMetadata");
    endAction(0, new (std::nothrow) DMSCDSList());
    return 0;
  }
  if (flag == nullptr || flag->CompareI("BrowseDirectChildren") != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSBrowse::GetItems] Invalid BrowseFlag!!!");
    return endAction(1, nullptr);
  }
  if (dms_cds::appendPiece(pieces_, table_->GetText(CDSHelper::kDidlHead)) != 0)
    return endAction(1, nullptr);
  if (const int code = __BrowseDirectChildrenContainer()) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSBrowse::GetItems] __BrowseDirectChildrenContainer failed!!!");
    return endAction(code, nullptr);
  }
  const int requested = argument->GetRequestedCount();
  if (requested == 0 || requested > containersReturned_) {
    // Reduced by the containers returned, not matched; a RequestedCount of 0
    // turns negative here, which the contents step reads as "all".
    argument->SetStartIndex(std::max(0, argument->GetStartIndex() - containersReturned_));
    argument->SetRequestedCount(requested - containersReturned_);
    return __BrowseDirectChildrenContent();
  }
  return __GetItem_BrowseContainer_ExecuteCallback(0);
}

int UPnPCDSBrowse::__BrowseDirectChildrenContainer() {
  int skip = argument_->GetStartIndex();
  const int requested = argument_->GetRequestedCount();
  const DMSAppString* parentID = argument_->GetContainerID();
  int failed = 0;
  walkContainers(GetID(), [&](std::unique_ptr<ContainerPublicInfo>& container) {
    if (!sameID(container->GetParentID(), parentID)) return true;
    // Counted before the stop test: the child that stops the walk is
    // matched and later ones are not, so TotalMatches comes out short.
    ++containersMatched_;
    if (skip > 0) {
      --skip;
      return true;
    }
    if (requested > 0 && containersReturned_ >= requested) return false;
    if (UPnPCDSUtils::__GenerateContainerProperty(argument_.get(), container.get(), pieces_) != 0) {
      NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSBrowse] Making Container Property Failed!!!");
      failed = 1;
      return false;
    }
    ++containersReturned_;
    return true;
  });
  return failed;
}

int UPnPCDSBrowse::__BrowseDirectChildrenContent() {
  std::unique_ptr<ContainerPublicInfo> parent;
  std::unique_ptr<ContainerPublicInfo> target;
  itemMode_ = false;
  walkContainers(GetID(), [&](std::unique_ptr<ContainerPublicInfo>& container) {
    if (container->GetID() != nullptr &&
        container->GetID()->Compare(textOf(argument_->GetContainerID())) == 0) {
      itemMode_ = false;
      target = std::move(container);
      return false;
    }
    if (container->GetID() != nullptr &&
        container->GetID()->Compare(textOf(argument_->GetParentContainerID())) == 0) {
      itemMode_ = true;
      parent = std::move(container);
    }
    return true;
  });
  if (target == nullptr) {
    if (!itemMode_) {
      NUVPrintf(NUV_LOG_ERROR, "CM : There is no container!!!");
      return endAction(701, nullptr);
    }
    if (parent == nullptr) {
      NUVPrintf(NUV_LOG_ERROR,
                "[UPnPCDSBrowse::__BrowseDirectChildrenContent] pCIPublic is NULL!!!");
      return endAction(701, nullptr);
    }
    target = std::move(parent);
  }
  container_ = std::move(target);
  const int total = NUVCEGetContainerTotalMatches(container_->GetID(), GetID());
  if (total < 0) {
    NUVPrintf(NUV_LOG_ERROR, "CM : There is no item!!!");
    return endAction(1, nullptr);
  }
  contentTotal_ = total;
  const int available = total - argument_->GetStartIndex();
  if (available <= 0) {
    contentsWanted_ = 0;
    if (!itemMode_) return __GetItem_BrowseContainer_ExecuteCallback(0);
    NUVPrintf(NUV_LOG_ERROR, "CM : There is no container!!!");
    return endAction(701, nullptr);
  }
  const int requested = argument_->GetRequestedCount();
  contentsWanted_ = requested > 0 && requested <= available ? requested : available;
  invoker_ = kInvokerDirectChildren;
  return requestBatch(argument_->GetStartIndex(),
                      std::min(contentsWanted_, dms_cds::kBrowseContentBatchSize));
}

int UPnPCDSBrowse::__BrowseDirectChildrenContent_CheckContentsAndRequest(DMSCDSList* list) {
  if (list == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSBrowse] pContentList is NULL!!!");
    if (!listingShrank()) return endAction(1, nullptr);
    // Objects destroyed since the count (a client's DestroyObject, a file
    // deleted) took the rest of the page: answer with what arrived.
    contentsWanted_ = contentsReceived_;
    return __GetItem_BrowseContainer_ExecuteCallback(0);
  }
  int received = 0;
  for (const stDMSCDSListItem* item = firstRecord(list); item != nullptr; item = item->next) {
    auto* record = static_cast<ContentsEnumeratorArgument*>(item->data);
    if (record == nullptr) continue;
    ++received;
    // BrowseDirectChildren of an item reads its container and keeps only it.
    if (itemMode_ && (record->GetContentID() == nullptr ||
                      record->GetContentID()->Compare(textOf(argument_->GetContainerID())) != 0))
      continue;
    record->SetContentParentID(new (std::nothrow) DMSAppString(textOf(container_->GetID())));
    if (record->GetObjectType() != kItemObjectType) {
      if (UPnPCDSUtils::GenerateContainerFromRecord(argument_.get(), record, pieces_) != 0)
        NUVPrintf(NUV_LOG_ERROR, "[CM] Making Container Property Failed!!!");
    } else if (UPnPCDSUtils::__GenerateItemProperty(argument_.get(), record, pieces_) != 0) {
      NUVPrintf(NUV_LOG_ERROR, "[CM] Making Item Property Failed!!!");
    }
  }
  freeRecordList(list);
  contentsReceived_ += received;
  if (contentsReceived_ < contentsWanted_ && received == 0) {
    // The store holds fewer rows than it counted (files went away meanwhile):
    // answer with what arrived instead of asking for the same page forever.
    contentsWanted_ = contentsReceived_;
  }
  if (contentsReceived_ >= contentsWanted_) return __GetItem_BrowseContainer_ExecuteCallback(0);
  return requestBatch(
      argument_->GetStartIndex() + contentsReceived_,
      std::min(contentsWanted_ - contentsReceived_, dms_cds::kBrowseContentBatchSize));
}

bool UPnPCDSBrowse::listingShrank() {
  const int total = NUVCEGetContainerTotalMatches(container_->GetID(), GetID());
  if (total < 0) return false;  // the database fails: not a listing that changed
  // Fewer than the listing asked for, or part of the page arrived and the
  // rest did not while the count moved (objects went, others came).
  const bool fewer = total < argument_->GetStartIndex() + contentsWanted_;
  const bool restWent = contentsReceived_ > 0 && total != contentTotal_;
  if (!fewer && !restWent) return false;
  contentTotal_ = total;
  return true;
}

int UPnPCDSBrowse::__GetItem_BrowseContainer_ExecuteCallback(int result) {
  if (result != 0) return endAction(result, nullptr);
  return respondWithResult(contentsWanted_ + containersReturned_,
                           contentTotal_ + containersMatched_);
}

int UPnPCDSBrowse::__BrowseMetadata() {
  NUVPrintf(NUV_LOG_INFO, "[UPnPCDSBrowse] Received __BrowseMetadata");
  if (dms_cds::appendPiece(pieces_, table_->GetText(CDSHelper::kDidlHead)) != 0)
    return endAction(1, nullptr);
  const DMSAppString* parentID = argument_->GetParentContainerID();
  // A container was asked for when its parent is "0" or sorts before it
  // (the root's "-1").
  const bool containerAsked = strcmp(textOf(parentID), "0") <= 0;
  std::unique_ptr<ContainerPublicInfo> parent;
  int written = -1;
  walkContainers(GetID(), [&](std::unique_ptr<ContainerPublicInfo>& container) {
    if (sameID(container->GetID(), parentID)) {
      parent = std::move(container);
      return true;
    }
    if (containerAsked && sameID(container->GetID(), argument_->GetContainerID())) {
      written =
          UPnPCDSUtils::__GenerateContainerProperty(argument_.get(), container.get(), pieces_);
      return false;
    }
    return true;
  });
  if (written == 0) return respondWithResult(1, 1);
  if (written > 0) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSBrowse] Making Container Property Failed!!!");
    return endAction(1, nullptr);
  }
  if (parent == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[CM] Making Container Property Failed!!!");
    return endAction(701, nullptr);
  }
  const int total = NUVCEGetContainerTotalMatches(parent->GetID(), GetID());
  if (total < 0) {
    NUVPrintf(NUV_LOG_ERROR, "[CM] DMS CDS Database Error!!!");
    return endAction(701, nullptr);
  }
  container_ = std::move(parent);
  if (total == 0) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS] No such Object!!!");
    return endAction(701, nullptr);
  }
  invoker_ = kInvokerMetadata;
  // The item is asked for by its ID: the answer is the one record a walk
  // over the parent's batches would find, without reading every batch before
  // it (25 for the last photo of 2,500).
  if (NUVCEGetContentRecord(GetID(), container_->GetID(), argument_->GetContainerID()) != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSBrowse] Content request refused by the engine!!!");
    return endAction(1, nullptr);
  }
  return 0;  // the answer may already have ended the action: touch nothing
}

int UPnPCDSBrowse::__BrowseMetadata_CheckContentsAndRequest(DMSCDSList* list) {
  NUVPrintf(NUV_LOG_INFO, "[CM] __BrowseMetadata_CheckContentsAndRequest Entered");
  if (list == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSBrowse] pContentList is NULL!!!");
    return endAction(1, nullptr);
  }
  std::unique_ptr<ContainerPublicInfo> parent(NUVCEGetContainerInfo(GetID(), container_->GetID()));
  if (parent == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[CM] pCIParent is NULL!!!");
    freeRecordList(list);
    return endAction(701, nullptr);
  }
  int found = -1;  // the writer's result once the object is found
  for (const stDMSCDSListItem* item = firstRecord(list); item != nullptr; item = item->next) {
    auto* record = static_cast<ContentsEnumeratorArgument*>(item->data);
    if (record == nullptr) continue;
    if (found >= 0 || record->GetContentID() == nullptr ||
        record->GetContentID()->Compare(textOf(argument_->GetContainerID())) != 0)
      continue;
    record->SetContentParentID(new (std::nothrow) DMSAppString(textOf(parent->GetID())));
    if (record->GetObjectType() != kItemObjectType) {
      found = UPnPCDSUtils::GenerateContainerFromRecord(argument_.get(), record, pieces_);
      if (found != 0) NUVPrintf(NUV_LOG_ERROR, "[CM] Making Container Property Failed!!!");
    } else {
      found = UPnPCDSUtils::__GenerateItemProperty(argument_.get(), record, pieces_);
      if (found != 0) NUVPrintf(NUV_LOG_ERROR, "[CM] Making Item Property Failed!!!");
    }
  }
  freeRecordList(list);
  // The batch is the object's own record or nothing (NUVCEGetContentRecord).
  if (found == 0) {
    NUVPrintf(NUV_LOG_INFO,
              "[UPnPCDSBrowse] Send Resonse to  __GetItem_BrowseMetadata_ExecuteCallback");
    return respondWithResult(1, 1);
  }
  if (found > 0) return endAction(1, nullptr);
  NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS] No such Object!!!");
  return endAction(701, nullptr);
}

int UPnPCDSBrowse::NotifyCommandResponse(int /*id*/, NUVCDSWL_RES_TYPE type,
                                         NUVCDSWL_RES_RESULT /*result*/, int /*value*/,
                                         DMSAppString* /*text*/, DMSCDSList* list) {
  if (type != NUVCDSWL_RES_CONTENTS) return 1;
  switch (invoker_) {
    case kInvokerMetadata:
      __BrowseMetadata_CheckContentsAndRequest(list);
      return 0;
    case kInvokerDirectChildren:
      __BrowseDirectChildrenContent_CheckContentsAndRequest(list);
      return 0;
    default:
      NUVPrintf(NUV_LOG_ERROR, "[CM] Invalid invoker, ResponseCallback");
      freeRecordList(list);
      return 1;
  }
}
