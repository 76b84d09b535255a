// The transfer handlers' error reply (see error_response.h).
#include "error_response.h"

#include <cstring>
#include <memory>

#include "dms_platform.h"
#include "nuv_http.h"

namespace dms_transfer {

void SendErrorResponse(int profile, int connection, int status) {
  struct Free {
    void operator()(NUVHTTPResponseHeaderInfo* r) const { FreeResponseHeader(r); }
  };
  // Freed however the send ends.
  std::unique_ptr<NUVHTTPResponseHeaderInfo, Free> response(static_cast<NUVHTTPResponseHeaderInfo*>(
      DMSAppMemCallocMA(1, sizeof(NUVHTTPResponseHeaderInfo))));
  if (response == nullptr) return;
  response->statusCode = status;
  response->http11 = 1;
  response->connection = strdup("close");
  NUVHTTPSendResponse(profile, connection, response.get(), 1);
}

}  // namespace dms_transfer
