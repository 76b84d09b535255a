// Slot 3 of the stack's callback table: network-interface exceptions.
#ifndef DMS_SERVER_NETWORK_EXCEPTIONS_H
#define DMS_SERVER_NETWORK_EXCEPTIONS_H

#include "nuv_dms.h"

namespace dms_server {

// Called on the stack's thread. An interface that went away (type 3) has the
// HTTP server stopped on its address; one that came up (type 2) has it
// started there with the ContentDirectory connection ID and the streaming
// port, unless the port is negative. Other types are ignored. A null handle
// is ignored; any other handle is released with HNuvReleaseExceptionResource.
void handleNetworkException(stNUVAppList* exception);

}  // namespace dms_server

#endif  // DMS_SERVER_NETWORK_EXCEPTIONS_H
