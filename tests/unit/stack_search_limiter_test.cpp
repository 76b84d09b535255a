// SearchLimiter: token buckets per sender and for all senders.
#include <gtest/gtest.h>

#include <string>

#include "search_limiter.h"

namespace {

using dmsstack::SearchLimiter;
using std::chrono::milliseconds;
using std::chrono::seconds;

const SearchLimiter::TimePoint kStart{seconds(1000)};

int admitted(SearchLimiter& limiter, const std::string& sender, int count,
             SearchLimiter::TimePoint at) {
  int yes = 0;
  for (int i = 0; i < count; ++i) yes += limiter.admit(sender, at) ? 1 : 0;
  return yes;
}

TEST(SearchLimiter, ASenderGetsItsBurstThenItsRate) {
  SearchLimiter limiter({20, 5, 1000, 1000});
  EXPECT_EQ(20, admitted(limiter, "10.0.0.2", 100, kStart));
  EXPECT_EQ(80u, limiter.takeDropped());
  EXPECT_EQ(0u, limiter.takeDropped());
  // Five more per second.
  EXPECT_EQ(5, admitted(limiter, "10.0.0.2", 100, kStart + seconds(1)));
  EXPECT_EQ(2, admitted(limiter, "10.0.0.2", 100, kStart + seconds(1) + milliseconds(400)));
  // Never more than the burst, however long the pause.
  EXPECT_EQ(20, admitted(limiter, "10.0.0.2", 100, kStart + seconds(3600)));
}

TEST(SearchLimiter, OtherSendersAreNotStarvedByOne) {
  SearchLimiter limiter({20, 5, 1000, 1000});
  EXPECT_EQ(20, admitted(limiter, "10.0.0.2", 1000, kStart));
  EXPECT_EQ(20, admitted(limiter, "10.0.0.3", 1000, kStart));
}

TEST(SearchLimiter, AllSendersTogetherAreBoundToo) {
  SearchLimiter limiter({20, 5, 60, 30});
  int total = 0;
  for (int sender = 0; sender < 100; ++sender)
    total += admitted(limiter, "10.1.0." + std::to_string(sender), 10, kStart);
  EXPECT_EQ(60, total);
  total = 0;
  for (int sender = 0; sender < 100; ++sender)
    total += admitted(limiter, "10.1.0." + std::to_string(sender), 10, kStart + seconds(1));
  EXPECT_EQ(30, total);
}

TEST(SearchLimiter, ManySpoofedSendersKeepTheTableBounded) {
  SearchLimiter limiter({2, 1, 1e9, 1e9});
  // Far more addresses than the table keeps: each still gets at most its
  // burst, and old full buckets are forgotten rather than kept.
  int total = 0;
  for (int sender = 0; sender < 5000; ++sender)
    total += admitted(limiter, "spoof" + std::to_string(sender), 3, kStart + seconds(sender));
  EXPECT_LE(total, 2 * 5000);
  EXPECT_GE(total, 2 * 4000);
  // A time that goes back does not add tokens.
  SearchLimiter back({1, 1, 10, 10});
  EXPECT_TRUE(back.admit("a", kStart));
  EXPECT_FALSE(back.admit("a", kStart - seconds(10)));
}

}  // namespace
