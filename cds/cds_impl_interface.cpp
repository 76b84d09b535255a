// UPnPCDSImplInterface: the parts of the base that own the action record.
#include "cds_impl_interface.h"

#include "action_info.h"

UPnPCDSImplInterface::~UPnPCDSImplInterface() { delete actionInfo_; }

void UPnPCDSImplInterface::SetActionInfo(DMSAppActionInfo* actionInfo) {
  if (actionInfo != actionInfo_) delete actionInfo_;
  actionInfo_ = actionInfo;
}

int UPnPCDSImplInterface::endAction(int code, DMSCDSList* outArguments) {
  UPnPAppCDSCommandResponseInterface* responder = responder_;
  if (responder == nullptr) {
    dms_cds::deleteArgumentList(outArguments);
    return code;
  }
  responder->NotifyCommandResponse(code, actionInfo_, outArguments, id_);
  return code;
}
