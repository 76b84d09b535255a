// Internal helpers of the HTTP records (http_records.cpp) for the stack's
// server and for the test fakes.
#ifndef DMS_STACK_HTTP_HTTP_RECORDS_H
#define DMS_STACK_HTTP_HTTP_RECORDS_H

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nuv_http.h"

namespace dmsstack {

// A new connection-profile record listing (profile handle, address) pairs;
// null when out of memory. Released with NUVHTTPFreeConnectionInfo.
stNUVHTTPConnInfo* newConnInfo(const std::vector<std::pair<int, std::string>>& profiles);

// Makes NUVHTTPReleaseHeaderInfo of `headerList` set `flag`, so the server
// knows when a handler is done with a request it did not answer. False for a
// list that is not a request header list.
bool watchRelease(stNUVAppList* headerList, std::shared_ptr<std::atomic<bool>> flag);

// The method code of a request's method name (exact, upper case);
// NUV_HTTP_METHOD_OTHER for any other name.
eHTTPMessageType methodFromName(const char* method);

// A request's Content-Length: a plain decimal number, else -1 (absent,
// signed, followed by anything, or too large).
long long contentLengthFromText(const char* text);

}  // namespace dmsstack

#endif  // DMS_STACK_HTTP_HTTP_RECORDS_H
