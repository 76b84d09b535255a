// Bounds of the HTTP transfer layer, in one place.
#ifndef DMS_TRANSFER_TRANSFER_LIMITS_H
#define DMS_TRANSFER_TRANSFER_LIMITS_H

#include <cstddef>

namespace dms_transfer {

// Bytes sent per body piece, one piece per "response sent" notification.
constexpr size_t kPieceBytes = 20480;

// The send buffer: one piece and a terminating zero.
constexpr size_t kSendBufferBytes = kPieceBytes + 1;

// Byte ranges taken from one Range header; a longer list is refused (400) so
// that a client cannot make the server walk thousands of ranges.
constexpr int kMaxRanges = 64;

// Longest Range header value parsed; longer ones are refused (400).
constexpr size_t kMaxRangeHeaderBytes = 4096;

}  // namespace dms_transfer

#endif  // DMS_TRANSFER_TRANSFER_LIMITS_H
