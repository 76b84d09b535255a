// The transfer handlers' error reply (see error_response.h).
#include "error_response.h"

#include <cstring>

#include "dms_platform.h"
#include "nuv_http.h"

namespace dms_transfer {

void SendErrorResponse(int profile, int connection, int status) {
  auto* response = static_cast<NUVHTTPResponseHeaderInfo*>(
      DMSAppMemCallocMA(1, sizeof(NUVHTTPResponseHeaderInfo)));
  if (response == nullptr) return;
  response->statusCode = status;
  response->http11 = 1;
  response->connection = strdup("close");
  NUVHTTPSendResponse(profile, connection, response, 1);
  FreeResponseHeader(response);
}

}  // namespace dms_transfer
