// The names a client goes by, read from the requests libupnp itself serves.
//
// libupnp 1.8.4 hands neither a SOAP request's nor a description request's
// headers to the device, yet access-control rules match devices by the name
// in their User-Agent or X-AV-Client-Info. The stack's wrappers of accept()
// and recv() (upnp_socket_fixes.cpp) therefore look at the first bytes libupnp
// reads on each connection it accepts and report those two headers, with the
// peer's address, to the sink set here.
//
// Thread safety: every function may be called from any thread.
#ifndef DMS_STACK_DEVICE_UPNP_CLIENT_HEADERS_H
#define DMS_STACK_DEVICE_UPNP_CLIENT_HEADERS_H

#include <cstddef>
#include <string>

namespace dmsstack {

using ClientHeaderSink = void (*)(const std::string& ip, const std::string& userAgent,
                                  const std::string& avClientInfo);

// Sets (or with nullptr clears) where the headers go.
void setUpnpClientHeaderSink(ClientHeaderSink sink);

// Marks `fd` as a connection libupnp accepted (its next read is a request).
void noteUpnpConnection(int fd);
// Called with what libupnp just read from `fd`: reports the headers when
// `fd` is a freshly accepted connection, then forgets it.
void noteUpnpRead(int fd, const char* data, std::size_t length);

// Reads the User-Agent and X-AV-Client-Info values (names matched without
// regard to case, values trimmed) from the header block at the start of
// `data`. False when `data` does not begin like an HTTP request.
bool parseClientHeaders(const char* data, std::size_t length, std::string* userAgent,
                        std::string* avClientInfo);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_UPNP_CLIENT_HEADERS_H
