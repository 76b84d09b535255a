#include "client_request.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "dms_platform.h"
#include "nuv_list.h"

namespace dms_transfer {

bool IsHttpUrl(const std::string& url) {
  return url.size() > 7 && strncasecmp(url.c_str(), "http://", 7) == 0 && url[7] != '/';
}

NUVHTTPClientRequest* FormHeaderMA(eHTTPMessageType method, const std::string& url) {
  auto* request =
      static_cast<NUVHTTPClientRequest*>(DMSAppMemCallocMA(1, sizeof(NUVHTTPClientRequest)));
  if (request == nullptr) return nullptr;
  const size_t hostStart = url.find("//");
  const size_t from = hostStart == std::string::npos ? 0 : hostStart + 2;
  std::string host = url.substr(from, url.find('/', from) - from);
  if (host.find(':') == std::string::npos) host += ":80";
  request->method = method;
  request->url = strdup(url.c_str());
  request->host = strdup(host.c_str());
  request->http11 = 1;
  request->contentLength = -1;
  request->additionalHeaders = NUVListCreate();
  if (request->url == nullptr || request->host == nullptr ||
      request->additionalHeaders == nullptr ||
      NUVHTTPAddAdditionalHeaderValue(request->additionalHeaders, "Connection", "close") != 0 ||
      NUVHTTPAddAdditionalHeaderValue(request->additionalHeaders, "Accept", "*/*") != 0) {
    NUVHTTPFreeClientRequest(request);
    return nullptr;
  }
  return request;
}

}  // namespace dms_transfer
