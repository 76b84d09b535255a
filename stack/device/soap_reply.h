// What the media server's answer to an action means on the wire: a body given
// to NUVDMSSendResponse is either an action response or an <s:Fault>, and
// goes out as it is inside the stack's envelope (HTTP 200 or 500). A fault
// without a usable errorCode, and a response cut short, become the stack's
// own 501 fault.
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
  // Response and Fault: the body to send, without leading blanks or an XML
  // declaration: the media server's bytes, or for a fault with a bad code
  // the stack's 501 fault.
  std::string xml;
  // Fault: its code (100 to 999); Invalid, which is answered as 501: 501.
  int errorCode = kUpnpActionFailed;
};

// Classifies `body`: a first element whose local name is "Fault" is a fault
// (its errorCode must be a number from 100 to 999, else the fault counts as
// 501 "Action Failed"); any other first element is a response, which must
// end with that element's end tag; an empty body, one without an element or
// a response that does not end where it began is Invalid.
SoapReply interpretReply(std::string_view body);

// The stack's own fault body for `code`, with `description` escaped.
std::string faultBody(int code, std::string_view description);

// `body` inside the SOAP envelope that goes on the wire.
std::string soapEnvelope(std::string_view body);

// The standard description of a code the stack answers itself ("Invalid
// Action", "Invalid Args", "Action Failed", ...); "Action Failed" otherwise.
const char* upnpErrorText(int code);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_SOAP_REPLY_H
