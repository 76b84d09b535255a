// Feeds arbitrary text through the Range header parser of the download
// handler, then checks the invariants its callers rely on: a refused value
// leaves an empty list, a good one at most kMaxRanges ranges, and merging
// and typing a good list never fail.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "dms_list.h"
#include "range_header.h"
#include "transfer_limits.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  DMSCDSList list;
  const int status = dms_transfer::ParseRangeList(text.c_str(), &list);
  int count = 0;
  for (stDMSCDSListItem* item = list.ReadFirstItem(); item != nullptr; item = item->next) {
    const auto* range = static_cast<const RangeInfo*>(item->data);
    if (range->type < RangeInfo::kClosed || range->type > RangeInfo::kOneByte) abort();
    ++count;
  }
  if (status != 200 && status != 400 && status != 500) abort();
  if (status != 200 && count != 0) abort();
  if (count > dms_transfer::kMaxRanges) abort();
  const int type = dms_transfer::FindResponseType(&list);
  if (count == 0 && type != dms_transfer::kWholeResource) abort();
  int64_t start = 0;
  int64_t end = 0;
  if (count > 0 && dms_transfer::MergeRanges(&list, &start, &end) != 0) abort();
  dms_transfer::ClearRangeList(&list);
  return 0;
}
