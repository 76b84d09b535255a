// A SOAP action request as a control point sends it: the SOAPACTION header
// and the envelope around the action element and its in-arguments.
//
// Thread safety: pure functions (libxml2 is initialised once, thread-safely).
#ifndef DMS_STACK_DEVICE_SOAP_REQUEST_H
#define DMS_STACK_DEVICE_SOAP_REQUEST_H

#include <cstddef>
#include <string>
#include <string_view>

#include "state_table.h"

namespace dmsstack {

struct SoapRequest {
  std::string action;       // local name of the action element
  std::string serviceType;  // its namespace, the service type with version
  NameValueList arguments;  // in message order: local names and text content
};

enum class SoapParse { Ok, Malformed, TooManyArguments };

// Parses an envelope: an Envelope and Body in the SOAP 1.1 namespace (a
// Header may come first), the action as the Body's first element. Documents
// with a DTD are Malformed (no entity of theirs is ever expanded), and so are
// ones nested beyond the parser's depth limit. More than `maxArguments`
// in-arguments give TooManyArguments.
SoapParse parseSoapRequest(std::string_view body, size_t maxArguments, SoapRequest* request);

// Reads a SOAPACTION header value, "urn:...:service:Type:1#Action" with or
// without its double quotes. False for anything else.
bool parseSoapActionHeader(std::string_view value, std::string* serviceType, std::string* action);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_SOAP_REQUEST_H
