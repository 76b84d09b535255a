// Byte ranges of an HTTP Range header as the download handler understands
// them: parsing into a list of RangeInfo, the response type the list asks
// for, and the single span it merges into. The rules are the handler's own
// (some differ from RFC 7233 on purpose, e.g. "bytes=0-0" is an open range,
// and a suffix range that is not the last one becomes a closed range from 0).
//
// Ownership: a range list is a DMSCDSList whose items are RangeInfo objects
// owned by the list's user, released with ClearRangeList.
// Thread safety: pure functions on the caller's list.
#ifndef DMS_TRANSFER_RANGE_HEADER_H
#define DMS_TRANSFER_RANGE_HEADER_H

#include <cstdint>

class DMSCDSList;

// One parsed byte range.
struct RangeInfo {
  static constexpr int kClosed = 0;   // start and end given
  static constexpr int kOpen = 1;     // start only
  static constexpr int kSuffix = 2;   // "-n": the n is held in `end`
  static constexpr int kOneByte = 3;  // start equal to end

  int64_t length = 0;
  int64_t start = 0;
  int64_t end = 0;
  int32_t type = kClosed;
};

namespace dms_transfer {

// Response types.
constexpr int kWholeResource = 1;
constexpr int kOneRange = 3;
constexpr int kSeveralRanges = 4;

// Parses a Range header value into `list` (appended in order). Returns the
// HTTP status: 200 for no header (null) or a good list; 400 for an empty
// value, nothing after "=", a range without "-", a closed last range whose
// start is above its end, a number beyond 64 bits, more than kMaxRanges
// ranges or a value longer than kMaxRangeHeaderBytes (the list is then
// emptied); 500 when memory runs out.
int ParseRangeList(const char* value, DMSCDSList* list);

// kWholeResource for an empty list; kSeveralRanges when some range starts
// after the end of the one before it, or is a suffix range; else kOneRange.
int FindResponseType(DMSCDSList* list);

// Merges the list into one span: *start the smallest start of the ranges
// that are not suffixes (-1 when the first one is a suffix), *end the
// largest end, or -1 once an open range, or a range whose end does not
// raise it, is met (a suffix's end is its count). 1 for an empty list (the
// outputs untouched), else 0.
int MergeRanges(DMSCDSList* list, int64_t* start, int64_t* end);

// Deletes every RangeInfo of the list and empties it.
void ClearRangeList(DMSCDSList* list);

// Deletes one RangeInfo (the list's free function); returns 0.
int FreeRangeInfo(void* range);

}  // namespace dms_transfer

#endif  // DMS_TRANSFER_RANGE_HEADER_H
