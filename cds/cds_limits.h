// Hard limits of the ContentDirectory service, in one place.
#ifndef DMS_CDS_CDS_LIMITS_H
#define DMS_CDS_CDS_LIMITS_H

#include <cstdint>

namespace dms_cds {

// No Browse returns more objects than this, whatever RequestedCount asks: one
// Result must stay small enough for the camera's memory. Larger requests are
// cut to it, not refused.
constexpr int64_t kMaxBrowseRequestedCount = 100;

// Browse asks the content engine for at most this many records at a time, so
// that no answer of the engine holds more.
constexpr int kBrowseContentBatchSize = 100;

// The largest RequestedCount a control point may send (ui4); anything above it
// is refused with 402.
constexpr int64_t kMaxRequestedCountValue = 4294967295LL;

// Implementation objects get the IDs 1 to kMaxImplementationID, then the
// numbering wraps to 1. 0 is never handed out: it means "no object".
constexpr unsigned int kMaxImplementationID = 100000;

// Minimum argument counts (Browse, CreateObject) and exact counts (the other
// argument actions) of the ContentDirectory actions.
constexpr int kBrowseMinArguments = 5;
constexpr int kCreateObjectMinArguments = 2;
constexpr int kResourceArguments = 2;
constexpr int kSingleIdArguments = 1;

// Longest Elements argument of CreateObject, after XML unescaping. One
// DIDL-Lite item with its title, class and a res fits in well under 4 KiB;
// longer texts are refused (712) before they are parsed.
constexpr unsigned int kMaxCreateObjectElementsBytes = 64 * 1024;

}  // namespace dms_cds

#endif  // DMS_CDS_CDS_LIMITS_H
