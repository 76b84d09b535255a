// The download handler's Range header: parsing, the response type and the
// merged span, for the headers players send (one open range, one closed
// range, a suffix) and for a long list at the limit of what is accepted.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "dms_list.h"
#include "range_header.h"
#include "transfer_limits.h"

namespace {

void BM_RangeHeader(benchmark::State& state, const char* header) {
  DMSCDSList list;
  for (auto _ : state) {
    const int status = dms_transfer::ParseRangeList(header, &list);
    int64_t start = 0;
    int64_t end = 0;
    benchmark::DoNotOptimize(status);
    benchmark::DoNotOptimize(dms_transfer::FindResponseType(&list));
    benchmark::DoNotOptimize(dms_transfer::MergeRanges(&list, &start, &end));
    dms_transfer::ClearRangeList(&list);
  }
}
BENCHMARK_CAPTURE(BM_RangeHeader, open, "bytes=1048576-");
BENCHMARK_CAPTURE(BM_RangeHeader, closed, "bytes=4194304-4259839");
BENCHMARK_CAPTURE(BM_RangeHeader, suffix, "bytes=-65536");

std::string manyRanges() {
  std::string header = "bytes=";
  for (int i = 0; i < dms_transfer::kMaxRanges; ++i) {
    if (i > 0) header += ",";
    header += std::to_string(i * 100000) + "-" + std::to_string(i * 100000 + 4095);
  }
  return header;
}

void BM_RangeHeaderAtTheLimit(benchmark::State& state) {
  const std::string header = manyRanges();
  DMSCDSList list;
  for (auto _ : state) {
    benchmark::DoNotOptimize(dms_transfer::ParseRangeList(header.c_str(), &list));
    dms_transfer::ClearRangeList(&list);
  }
}
BENCHMARK(BM_RangeHeaderAtTheLimit);

}  // namespace
