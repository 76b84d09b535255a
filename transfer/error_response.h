// The transfer handlers' error reply: a status with no body, HTTP/1.1 and
// "Connection: close".
#ifndef DMS_TRANSFER_ERROR_RESPONSE_H
#define DMS_TRANSFER_ERROR_RESPONSE_H

namespace dms_transfer {

// Queues the reply on the stack (nothing when memory is short).
void SendErrorResponse(int profile, int connection, int status);

}  // namespace dms_transfer

#endif  // DMS_TRANSFER_ERROR_RESPONSE_H
