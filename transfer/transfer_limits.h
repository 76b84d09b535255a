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

// Upload file names: the part taken from the client's title, and the whole
// name with its extension. Short enough for every file system a card uses.
constexpr size_t kMaxUploadStemBytes = 64;
constexpr size_t kMaxUploadNameBytes = 80;

// Longest POST target looked at; a created item's target is far shorter.
constexpr size_t kMaxUploadTargetBytes = 1024;

// An upload that receives no data for this long is abandoned: the
// connection is closed and the partial file deleted.
constexpr unsigned long kPostTransactionTimeoutMs = 40000;

// While data flows the two upload timers are restarted at most this often:
// re-arming two timers for every 32 KiB piece costs more than the writing.
// The timers then fire at most this much earlier than their nominal time.
constexpr unsigned long kUploadTimerRestartIntervalMs = 1000;

// A finished client transfer (import or export) stays queryable this long.
constexpr unsigned long kClientTransferLingerMs = 30000;

// An import that receives no data for this long ends as ERROR.
constexpr unsigned long kClientTransactionTimeoutMs = 30000;

// Bytes read from the file per piece of an export's body. Pieces of a few
// KiB would cost a stack round trip each: 64 KiB keeps an export near the
// speed of a plain client while memory stays at one piece.
constexpr size_t kExportPieceBytes = 64 * 1024;

}  // namespace dms_transfer

#endif  // DMS_TRANSFER_TRANSFER_LIMITS_H
