// The one place that knows libupnp's API version (1.8: opaque event objects
// with accessors, const event pointers in callbacks, texts that the library
// writes into XML without escaping). Everything else of the device side
// talks to libupnp through these helpers or through the plain calls that are
// the same in every version (UpnpInit, UpnpRegisterRootDevice2, UpnpNotify).
//
// Thread safety: the helpers touch only the objects they are given.
#ifndef DMS_STACK_DEVICE_UPNP_COMPAT_H
#define DMS_STACK_DEVICE_UPNP_COMPAT_H

#include <ixml.h>
#include <upnp.h>
#include <upnptools.h>

#include <string>
#include <string_view>

#include "state_table.h"

#if UPNP_VERSION_MAJOR != 1 || UPNP_VERSION_MINOR != 8
#error "The device side is written for libupnp 1.8; adapt upnp_compat.h first."
#endif

namespace dmsstack {

// The control point's IPv4 address in dotted form ("" when unknown). An
// IPv4-mapped IPv6 address gives its IPv4 part.
std::string controlPointAddress(const UpnpActionRequest* request);

// The action's in-arguments in message order (at most `limit`; false when
// there are more or the request document is missing).
bool actionArguments(const UpnpActionRequest* request, size_t limit, NameValueList* arguments);

// Sets the UPnP error of the action: `code` and `text` (plain text, escaped
// here because libupnp writes it into the fault as it is).
void setActionError(UpnpActionRequest* request, int code, std::string_view text);

// Parses `xml` into the action result document libupnp sends. False (and
// nothing set) when the XML does not parse.
bool setActionResult(UpnpActionRequest* request, std::string_view xml);

// The answer of a QueryStateVariable request (escaped here).
void setStateVariableAnswer(UpnpStateVarRequest* request, std::string_view value);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_UPNP_COMPAT_H
