// The request record both client transfers send (FormHeaderMA).
#ifndef DMS_TRANSFER_CLIENT_REQUEST_H
#define DMS_TRANSFER_CLIENT_REQUEST_H

#include <string>

#include "nuv_http.h"

namespace dms_transfer {

// A new request of `method` for `url`: Host "host:port" (port 80 when the
// URL names none), "Connection: close", "Accept: */*", HTTP/1.1. Release it
// with NUVHTTPFreeClientRequest; null when out of memory.
NUVHTTPClientRequest* FormHeaderMA(eHTTPMessageType method, const std::string& url);

// True for an "http://" URL with a host (the only scheme transfers use).
bool IsHttpUrl(const std::string& url);

}  // namespace dms_transfer

#endif  // DMS_TRANSFER_CLIENT_REQUEST_H
