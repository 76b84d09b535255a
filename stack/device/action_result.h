// How an action response body reaches the control point: libupnp re-parses
// the body into a document and prints it inside its SOAP envelope.
//
// Thread safety: pure function.
#ifndef DMS_STACK_DEVICE_ACTION_RESULT_H
#define DMS_STACK_DEVICE_ACTION_RESULT_H

#include <string>
#include <string_view>

namespace dmsstack {

// The text libupnp puts inside <s:Body> for response `xml`, or false when the
// XML does not parse (the action is then answered 501).
bool printActionResult(std::string_view xml, std::string* printed);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_ACTION_RESULT_H
