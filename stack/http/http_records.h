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

}  // namespace dmsstack

#endif  // DMS_STACK_HTTP_HTTP_RECORDS_H
