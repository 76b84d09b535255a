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

// The live view's small image goes out in one piece of at most this size
// (1.5 MiB and a terminating byte).
constexpr size_t kLiveViewPhotoBufferBytes = 1572865;

// The stream's header frame is recognised by its size alone.
constexpr long long kLiveViewHeaderFrameBytes = 224;

// How long the live-view handler waits for the producer to apply a quality
// change, to stop, or to announce a small image before it gives up (the
// wait's error line names ETIMEDOUT). A camera answers within milliseconds;
// without a bound a producer that never answers would hold the request for
// ever.
constexpr unsigned long kLiveViewProducerWaitMs = 5000;

// Waits on the producer's semaphores are cut into slices this long so that
// a handler being deleted (its connection closed) is never kept waiting.
constexpr unsigned long kLiveViewWaitSliceMs = 50;

}  // namespace dms_transfer

#endif  // DMS_TRANSFER_TRANSFER_LIMITS_H
