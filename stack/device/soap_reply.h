// What the media server's answer to an action means for libupnp: a body given
// to NUVDMSSendResponse is either an action response (its XML becomes the
// action result document) or an <s:Fault> whose UPnPError becomes libupnp's
// error code and text.
//
// Thread safety: pure functions.
#ifndef DMS_STACK_DEVICE_SOAP_REPLY_H
#define DMS_STACK_DEVICE_SOAP_REPLY_H

#include <string>
#include <string_view>

namespace dmsstack {

// UPnP error codes the stack itself answers with.
constexpr int kUpnpInvalidAction = 401;
constexpr int kUpnpInvalidArgs = 402;
constexpr int kUpnpActionFailed = 501;
constexpr int kUpnpNotAuthorized = 606;
constexpr int kUpnpInvalidConnection = 706;

struct SoapReply {
  enum class Kind { Response, Fault, Invalid };
  Kind kind = Kind::Invalid;
  // Response: the body without leading blanks or an XML declaration.
  std::string responseXml;
  // Fault (and Invalid, which is answered as 501): the code and the plain,
  // unescaped description (cut to kMaxFaultDescriptionBytes).
  int errorCode = kUpnpActionFailed;
  std::string errorDescription = "Action Failed";
};

// Classifies `body`: a first element whose local name is "Fault" is a fault
// (its errorCode must be a number from 100 to 999, else the fault counts as
// 501 "Action Failed"); any other first element is a response; an empty body
// or one without an element is Invalid.
SoapReply interpretReply(std::string_view body);

// The standard description of a code the stack answers itself ("Invalid
// Action", "Invalid Args", "Action Failed", ...); "Action Failed" otherwise.
const char* upnpErrorText(int code);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_SOAP_REPLY_H
