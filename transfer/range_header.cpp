// Range header parsing and merging (see range_header.h).
#include "range_header.h"

#include <new>
#include <string_view>

#include "dms_list.h"
#include "transfer_limits.h"

namespace dms_transfer {
namespace {

// The decimal value at the start of `text` after blanks and one sign; 0 when
// no digit follows (as the C conversions do). False when it exceeds 64 bits.
bool leadingNumber(std::string_view text, int64_t* value) {
  size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  int64_t result = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    const int digit = text[i] - '0';
    if (__builtin_mul_overflow(result, 10, &result) ||
        __builtin_add_overflow(result, negative ? -digit : digit, &result)) {
      return false;
    }
  }
  *value = result;
  return true;
}

int refuse(DMSCDSList* list, RangeInfo* range, int status) {
  delete range;
  ClearRangeList(list);
  return status;
}

}  // namespace

int ParseRangeList(const char* value, DMSCDSList* list) {
  if (value == nullptr) return 200;
  if (list == nullptr) return 500;
  std::string_view text(value);
  const size_t equals = text.find('=');
  if (text.empty() || text.size() > kMaxRangeHeaderBytes || equals == std::string_view::npos)
    return 400;
  std::string_view rest = text.substr(equals + 1);
  while (!rest.empty() && (rest.front() == ' ' || rest.front() == '\t')) rest.remove_prefix(1);
  if (rest.empty()) return 400;

  int count = 0;
  while (!rest.empty()) {
    if (++count > kMaxRanges) return refuse(list, nullptr, 400);
    auto* range = new (std::nothrow) RangeInfo;
    if (range == nullptr) return refuse(list, nullptr, 500);
    const size_t dash = rest.find('-');
    if (dash == std::string_view::npos) return refuse(list, range, 400);
    if (dash > 0) {
      range->type = RangeInfo::kOpen;
      if (!leadingNumber(rest.substr(0, dash), &range->start)) return refuse(list, range, 400);
    } else {
      range->type = RangeInfo::kSuffix;
    }
    std::string_view after = rest.substr(dash + 1);
    const size_t comma = after.find(',');
    if (comma != std::string_view::npos) {
      // Not the last range.
      range->type = RangeInfo::kClosed;
      if (!leadingNumber(after.substr(0, comma), &range->end)) return refuse(list, range, 400);
      if (range->start == range->end) {
        range->type = RangeInfo::kOneByte;
        range->length = 1;
      } else if (range->end <= 0) {
        range->type = RangeInfo::kOpen;
      } else if (__builtin_sub_overflow(range->end, range->start, &range->length)) {
        return refuse(list, range, 400);
      }
      rest = after.substr(comma + 1);
    } else {
      if (!leadingNumber(after, &range->end) ||
          __builtin_sub_overflow(range->end, range->start, &range->length)) {
        return refuse(list, range, 400);
      }
      if (range->end <= 0) {
        if (range->length < 0) range->length = -1;
      } else {
        if (range->type != RangeInfo::kSuffix) range->type = RangeInfo::kClosed;
        if (range->length < 0) return refuse(list, range, 400);
      }
      rest = std::string_view();
    }
    if (list->AddItem(range) != 0) return refuse(list, range, 500);
  }
  return 200;
}

int FindResponseType(DMSCDSList* list) {
  if (list == nullptr) return kWholeResource;
  stDMSCDSListItem* item = list->ReadFirstItem();
  if (item == nullptr) return kWholeResource;
  for (; item->next != nullptr; item = item->next) {
    const auto* current = static_cast<const RangeInfo*>(item->data);
    const auto* next = static_cast<const RangeInfo*>(item->next->data);
    if (next->type == RangeInfo::kSuffix || next->start > current->end) return kSeveralRanges;
  }
  return kOneRange;
}

int MergeRanges(DMSCDSList* list, int64_t* start, int64_t* end) {
  stDMSCDSListItem* item = list != nullptr ? list->ReadFirstItem() : nullptr;
  if (item == nullptr || start == nullptr || end == nullptr) return 1;
  const auto* first = static_cast<const RangeInfo*>(item->data);
  int64_t mergedStart = first->type == RangeInfo::kSuffix ? -1 : first->start;
  int64_t mergedEnd = -1;
  for (; item != nullptr; item = item->next) {
    const auto* range = static_cast<const RangeInfo*>(item->data);
    if (mergedStart != -1 && range->type != RangeInfo::kSuffix && range->start < mergedStart)
      mergedStart = range->start;
    if (range->type != RangeInfo::kOpen && range->end > mergedEnd) {
      mergedEnd = range->end;
    } else {
      mergedEnd = -1;
    }
  }
  *start = mergedStart;
  *end = mergedEnd;
  return 0;
}

void ClearRangeList(DMSCDSList* list) {
  if (list == nullptr) return;
  list->RemoveAllListItem(&FreeRangeInfo);
}

int FreeRangeInfo(void* range) {
  delete static_cast<RangeInfo*>(range);
  return 0;
}

}  // namespace dms_transfer
