// The Range header parser of the download handler: types, lengths, merging,
// the response type a list asks for, and refusals of malformed or hostile
// values.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dms_list.h"
#include "range_header.h"
#include "transfer_limits.h"

using namespace dms_transfer;

namespace {

class Ranges {
 public:
  ~Ranges() { ClearRangeList(&list_); }
  int parse(const char* value) { return ParseRangeList(value, &list_); }
  std::vector<RangeInfo> all() {
    std::vector<RangeInfo> out;
    for (stDMSCDSListItem* i = list_.ReadFirstItem(); i != nullptr; i = i->next)
      out.push_back(*static_cast<RangeInfo*>(i->data));
    return out;
  }
  DMSCDSList* list() { return &list_; }

 private:
  DMSCDSList list_;
};

}  // namespace

TEST(RangeHeader, NoHeaderIsFine) {
  Ranges r;
  EXPECT_EQ(r.parse(nullptr), 200);
  EXPECT_TRUE(r.all().empty());
  EXPECT_EQ(FindResponseType(r.list()), kWholeResource);
}

TEST(RangeHeader, OpenRangeFromZero) {
  Ranges r;
  ASSERT_EQ(r.parse("bytes=0-"), 200);
  ASSERT_EQ(r.all().size(), 1u);
  EXPECT_EQ(r.all()[0].type, RangeInfo::kOpen);
  EXPECT_EQ(r.all()[0].start, 0);
  EXPECT_EQ(FindResponseType(r.list()), kOneRange);
  int64_t start = 5, end = 5;
  EXPECT_EQ(MergeRanges(r.list(), &start, &end), 0);
  EXPECT_EQ(start, 0);
  EXPECT_EQ(end, -1);
}

TEST(RangeHeader, SuffixRangeHoldsItsCountInEnd) {
  Ranges r;
  ASSERT_EQ(r.parse("bytes=-100"), 200);
  ASSERT_EQ(r.all().size(), 1u);
  EXPECT_EQ(r.all()[0].type, RangeInfo::kSuffix);
  EXPECT_EQ(r.all()[0].end, 100);
  EXPECT_EQ(r.all()[0].length, 100);
  int64_t start = 0, end = 0;
  ASSERT_EQ(MergeRanges(r.list(), &start, &end), 0);
  EXPECT_EQ(start, -1);
  EXPECT_EQ(end, 100);
}

TEST(RangeHeader, ClosedRangeLengthIsEndMinusStart) {
  Ranges r;
  ASSERT_EQ(r.parse("bytes=10-19"), 200);
  EXPECT_EQ(r.all()[0].type, RangeInfo::kClosed);
  EXPECT_EQ(r.all()[0].start, 10);
  EXPECT_EQ(r.all()[0].end, 19);
  EXPECT_EQ(r.all()[0].length, 9);
}

TEST(RangeHeader, StartAboveEndIsRefused) {
  Ranges r;
  EXPECT_EQ(r.parse("bytes=500-400"), 400);
  EXPECT_TRUE(r.all().empty());
}

TEST(RangeHeader, LastRangeEndingAtZeroIsOpenWithLengthMinusOne) {
  Ranges r;
  ASSERT_EQ(r.parse("bytes=5-0"), 200);
  EXPECT_EQ(r.all()[0].type, RangeInfo::kOpen);
  EXPECT_EQ(r.all()[0].length, -1);
}

TEST(RangeHeader, UnitNameIsIgnoredAndBlanksAfterEqualsTrimmed) {
  Ranges r;
  ASSERT_EQ(r.parse("anything=   7-8"), 200);
  EXPECT_EQ(r.all()[0].start, 7);
  EXPECT_EQ(r.all()[0].end, 8);
}

TEST(RangeHeader, MalformedValuesAreRefused) {
  for (const char* value : {"", "bytes", "bytes=", "bytes=   ", "bytes=100", "bytes=0-99,abc"}) {
    Ranges r;
    EXPECT_EQ(r.parse(value), 400) << value;
    EXPECT_TRUE(r.all().empty()) << value;
  }
}

TEST(RangeHeader, NumbersBeyondSixtyFourBitsAreRefused) {
  Ranges r;
  EXPECT_EQ(r.parse("bytes=0-99999999999999999999"), 400);
  EXPECT_EQ(r.parse("bytes=99999999999999999999-"), 400);
  EXPECT_EQ(r.parse("bytes=-9223372036854775808"), 400);
  EXPECT_TRUE(r.all().empty());
}

TEST(RangeHeader, LargestSixtyFourBitValuesAreKept) {
  Ranges r;
  ASSERT_EQ(r.parse("bytes=0-9223372036854775807"), 200);
  EXPECT_EQ(r.all()[0].end, INT64_MAX);
  EXPECT_EQ(r.all()[0].length, INT64_MAX);
}

TEST(RangeHeader, NotLastRangesFollowTheirOwnRules) {
  Ranges r;
  ASSERT_EQ(r.parse("bytes=5-5,-100,100-,0-99"), 200);
  const auto all = r.all();
  ASSERT_EQ(all.size(), 4u);
  EXPECT_EQ(all[0].type, RangeInfo::kOneByte);
  EXPECT_EQ(all[0].length, 1);
  EXPECT_EQ(all[1].type, RangeInfo::kClosed) << "a suffix that is not last becomes closed";
  EXPECT_EQ(all[1].start, 0);
  EXPECT_EQ(all[1].end, 100);
  EXPECT_EQ(all[2].type, RangeInfo::kOpen);
  EXPECT_EQ(all[3].type, RangeInfo::kClosed);
}

TEST(RangeHeader, SeparateRangesAskForSeveralRanges) {
  Ranges r;
  ASSERT_EQ(r.parse("bytes=0-99,200-299"), 200);
  EXPECT_EQ(FindResponseType(r.list()), kSeveralRanges);
}

TEST(RangeHeader, OverlappingRangesInOrderAskForOneRange) {
  Ranges r;
  ASSERT_EQ(r.parse("bytes=0-99,50-150"), 200);
  EXPECT_EQ(FindResponseType(r.list()), kOneRange);
  int64_t start = 0, end = 0;
  ASSERT_EQ(MergeRanges(r.list(), &start, &end), 0);
  EXPECT_EQ(start, 0);
  EXPECT_EQ(end, 150);
}

TEST(RangeHeader, AnEndThatDoesNotRaiseTheMergedEndOpensIt) {
  Ranges r;
  ASSERT_EQ(r.parse("bytes=0-500,100-200"), 200);
  int64_t start = 0, end = 0;
  ASSERT_EQ(MergeRanges(r.list(), &start, &end), 0);
  EXPECT_EQ(start, 0);
  EXPECT_EQ(end, -1);
}

TEST(RangeHeader, ASuffixAfterAnotherRangeAsksForSeveralRanges) {
  Ranges r;
  ASSERT_EQ(r.parse("bytes=0-99,-5"), 200);
  EXPECT_EQ(FindResponseType(r.list()), kSeveralRanges);
}

TEST(RangeHeader, MergingAnEmptyListFails) {
  Ranges r;
  int64_t start = 7, end = 8;
  EXPECT_EQ(MergeRanges(r.list(), &start, &end), 1);
  EXPECT_EQ(start, 7);
  EXPECT_EQ(end, 8);
}

TEST(RangeHeader, TooManyRangesAreRefused) {
  std::string value = "bytes=";
  for (int i = 0; i <= kMaxRanges; ++i)
    value += std::to_string(i * 10) + "-" + std::to_string(i * 10 + 1) + ",";
  value.pop_back();
  Ranges r;
  EXPECT_EQ(r.parse(value.c_str()), 400);
  EXPECT_TRUE(r.all().empty());
  std::string fits = "bytes=0-1";
  for (int i = 1; i < kMaxRanges; ++i)
    fits += "," + std::to_string(i * 10) + "-" + std::to_string(i * 10 + 1);
  EXPECT_EQ(r.parse(fits.c_str()), 200);
  EXPECT_EQ(r.all().size(), static_cast<size_t>(kMaxRanges));
}

TEST(RangeHeader, OverlongValuesAreRefused) {
  std::string value = "bytes=0-" + std::string(kMaxRangeHeaderBytes, '1');
  Ranges r;
  EXPECT_EQ(r.parse(value.c_str()), 400);
}
