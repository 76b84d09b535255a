// The rules of GENA (UPnP Device Architecture 1.0, section 4) that need no
// network: what a SUBSCRIBE or UNSUBSCRIBE asks for, the callback URLs it
// names, the TIMEOUT answered, and the body of a NOTIFY.
//
// Thread safety: pure functions.
#ifndef DMS_STACK_DEVICE_GENA_REQUEST_H
#define DMS_STACK_DEVICE_GENA_REQUEST_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "state_table.h"

namespace dmsstack {

// What a request on an event subscription URL asks for, or how it is refused.
enum class GenaKind {
  Subscribe,       // a new subscription (CALLBACK and NT)
  Renew,           // SUBSCRIBE with SID
  Unsubscribe,     // UNSUBSCRIBE with SID
  BadRequest,      // 400: headers that do not go together
  Precondition,    // 412: NT missing or not upnp:event, no SID and no CALLBACK
  NotImplemented,  // 501: another method
};

// `callback`, `nt` and `sid` are null when the header is absent.
GenaKind classifyGenaRequest(std::string_view method, const char* callback, const char* nt,
                             const char* sid);

// The http:// URLs of a CALLBACK header ("<url1><url2>"), in order, at most
// kMaxEventCallbacks of them, each at most kMaxEventCallbackBytes long;
// anything else in the list is skipped.
std::vector<std::string> callbackUrls(std::string_view header);

// The host of an http:// URL ("host" of "http://host:port/path"); "" when
// there is none. An IPv6 literal keeps no brackets.
std::string hostOfUrl(std::string_view url);

// The SEQ that follows `seq`: 0 is only ever the initial event, so after the
// largest value the count goes on at 1.
uint32_t nextEventKey(uint32_t seq);

// The body of a NOTIFY carrying `values` (escaped for XML).
std::string propertySet(const NameValueList& values);

// Merges `changes` into `pending`: a variable already there takes the new
// value in its place; a new one is appended.
void mergeChanges(NameValueList* pending, const NameValueList& changes);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_GENA_REQUEST_H
