// UPnPAppCDS: ending an action (the single exit) and sending its reply.
#include <memory>
#include <new>

#include "action_info.h"
#include "app_cds.h"
#include "cds_impl_manager.h"
#include "dms_conversions.h"
#include "dms_list.h"
#include "dms_server.h"
#include "nuv_dms.h"
#include "nuv_log.h"
#include "soap_generator.h"
#include "soap_message.h"

namespace {

const char* textOf(const DMSAppString* s) {
  return s != nullptr && s->ReadString() != nullptr ? s->ReadString() : "";
}

}  // namespace

// 721 is answered as a success on purpose, and 801 as 802: control points
// were written against these answers.
int UPnPAppCDS::faultCodeFor(int resultCode) {
  switch (resultCode) {
    case 1:
      NUVPrintf(NUV_LOG_INFO,
                "[UPnPAppCDS::NotifyCommandResponse] Action dispatch failed!!!, UPnPError = %d",
                501);
      return 501;
    case 801:
    case 802:
      NUVPrintf(NUV_LOG_INFO,
                "[UPnPAppCDS::NotifyCommandResponse] Open the pop-up flash, UPnPError = %d", 802);
      return 802;
    case 803:
      NUVPrintf(NUV_LOG_INFO, "[UPnPAppCDS::NotifyCommandResponse] Shot Fail, UPnPError = %d", 803);
      return 803;
    case 804:
      NUVPrintf(NUV_LOG_INFO,
                "[UPnPAppCDS::NotifyCommandResponse] TouchAF Set Fail, UPnPError = %d", 804);
      return 804;
    default:
      NUVPrintf(NUV_LOG_INFO,
                "[UPnPAppCDS::NotifyCommandResponse] Action dispatch failed!!!, UPnPError = %d",
                resultCode);
      return resultCode;
  }
}

int UPnPAppCDS::NotifyCommandResponse(int resultCode, DMSAppActionInfo* actionInfo,
                                      DMSCDSList* outArguments, unsigned int implementationID) {
  // The output list is ours, and the implementation object is done with,
  // however the answer ends.
  struct RemoveImplementation {
    unsigned int id;
    // Deletes the implementation object, and with it the action record.
    ~RemoveImplementation() {
      if (id != 0) UPnPCDSImplManager::GetInstance()->Remove(id);
    }
  } removeImplementation{implementationID};
  const dms_cds::ArgumentListPtr out(outArguments);
  NUVPrintf(NUV_LOG_INFO, "[UPnPAppCDS::NotifyCommandResponse]is called");
  int result = 1;
  if (actionInfo == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[UPnPAppCDS::NotifyCommandResponse] Invalid Arguments!!! PostDispatchAction");
  } else if (resultCode == 0 || resultCode == 721) {
    std::unique_ptr<SOAPAppMessage> message(new (std::nothrow) SOAPAppMessage());
    if (message == nullptr || SOAPAppGenerator::GetInstance()->GenerateSOAPBody(
                                  &versionedServiceType_, actionInfo->ReadActionName(),
                                  outArguments, message.get()) != 0) {
      NUVPrintf(NUV_LOG_ERROR,
                "[UPnPAppCDS::NotifyCommandResponse] Generating SOAP Failed!!!, UPnPError = %d",
                501);
      __SendErrorSOAPMessage(actionInfo->GetConnectionID(), actionInfo->GetActionID(),
                             &serviceType_, 500, 501);
    } else {
      result = __SendResponsePacket(actionInfo->GetConnectionID(), actionInfo->GetActionID(), 200,
                                    message.get());
    }
  } else {
    __SendErrorSOAPMessage(actionInfo->GetConnectionID(), actionInfo->GetActionID(), &serviceType_,
                           500, faultCodeFor(resultCode));
  }
  return result;
}

int UPnPAppCDS::__SendResponsePacket(int connectionID, int actionID, int status,
                                     SOAPAppMessage* message) {
  if (status == 1) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__SendResponsePacket] Dispatch Action Failed!!!");
    __SendErrorSOAPMessage(connectionID, actionID, &serviceType_, 500, 401);
    return 1;
  }
  if (message == nullptr) return 1;
  __SendSOAPResponsePacket(connectionID, actionID, message);
  return 0;
}

int UPnPAppCDS::__SendSOAPResponsePacket(int connectionID, int actionID, SOAPAppMessage* message) {
  if (message == nullptr) return 0;
  if (message->ReadSOAPBody() == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__SendResponsePacket] No SOAPBody!!!");
    return 0;
  }
  std::unique_ptr<DMSAppString> body(
      DMSAppConversions::DMSAppConvertUTF8ToDMSAppStringMA(message->ReadSOAPBody()));
  NUVPrintf(NUV_LOG_DUMP, "[UPnPAppCDS::__SendResponsePacket] SOAPBody =  %s", textOf(body.get()));
  // Only the body: the stack adds the envelope.
  NUVDMSSendResponse(connectionID, actionID, textOf(body.get()));
  return 1;
}

int UPnPAppCDS::__SendErrorSOAPMessage(int connectionID, int actionID, DMSAppString* serviceType,
                                       int /*status*/, int upnpError) {
  std::unique_ptr<SOAPAppMessage> message(new (std::nothrow) SOAPAppMessage());
  if (message == nullptr) return 1;
  // A code without a fault text leaves the message empty: then nothing goes
  // out and the stack's time-out answers the control point.
  SOAPAppGenerator::GetInstance()->GenerateErrorSOAPBody(upnpError, serviceType, message.get());
  __SendSOAPResponsePacket(connectionID, actionID, message.get());
  return 0;
}

int UPnPAppCDS::__GetArgumentFromSV(DMSAppString* stateVariable, DMSAppString* argumentName,
                                    DMSCDSList* out) {
  if (stateVariable == nullptr || argumentName == nullptr || out == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[UPnPAppCDS::__GetArgumentFromSV] Invalid args!!! __GetArgumentFromSV");
    return 1;
  }
  DMSAppString* value = DMSAppGetStateVariableValue(textOf(&serviceType_), textOf(stateVariable));
  if (value == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS] Can't get State variable value, Will be ignored.");
    return 1;
  }
  return dms_cds::appendArgument(out, textOf(argumentName), value);
}
