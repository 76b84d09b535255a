#include <gtest/gtest.h>

#include <string>

#include "failing_allocations.h"
#include "log_capture.h"
#include "nuv_log.h"

TEST(NUVPrintf, DefaultMaskPassesInfoAndErrorsNotDumps) {
  EXPECT_EQ(NUVLogGetMask(), NUV_LOG_DEFAULT_MASK);
  EXPECT_EQ(NUV_LOG_DEFAULT_MASK & NUV_LOG_DUMP, 0u);
}

TEST(NUVPrintf, MaskFiltersLevels) {
  LogCapture log;
  NUVLogSetMask(NUV_LOG_ERROR);
  NUVPrintf(1, "info %d", 1);
  NUVPrintf(2, "error %d", 2);
  NUVPrintf(8, "dump");
  NUVPrintfNoLevel("plain");
  auto lines = log.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, "error 2");
  EXPECT_EQ(lines[0].level, 2);
}

TEST(NUVPrintf, NoLevelVariantCountsAsInformation) {
  LogCapture log;
  NUVLogSetMask(NUV_LOG_INFO);
  NUVPrintfNoLevel("check %s\n", "file");
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0].text, "check file\n");
  EXPECT_EQ(log.lines()[0].level, 0);
}

TEST(NUVPrintf, LongMessagesAreNotCut) {
  LogCapture log;
  std::string big(10000, 'y');
  NUVPrintf(1, "%s", big.c_str());
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0].text, big);
}

TEST(NUVPrintf, NullFormatIsIgnored) {
  LogCapture log;
  const char* none = nullptr;
  NUVPrintf(2, none, 0);
  EXPECT_TRUE(log.lines().empty());
}

TEST(NUVPrintf, WritesTimestampedLineToStandardError) {
  ::testing::internal::CaptureStderr();
  NUVPrintf(2, "to stderr %d", 7);
  std::string out = ::testing::internal::GetCapturedStderr();
  // "YYYY-MM-DD HH:MM:SS.mmm [2] to stderr 7\n"
  EXPECT_EQ(out.size(), 24u + 4u + 11u + 1u);
  EXPECT_EQ(out.substr(4, 1), "-");
  EXPECT_EQ(out.substr(19, 1), ".");
  EXPECT_NE(out.find(" [2] to stderr 7\n"), std::string::npos);
}

// Logging reports failures, so it must not fail itself: without memory for
// a long message, its first 511 bytes are written.
TEST(NUVPrintf, ALongMessageWithoutMemoryIsWrittenCut) {
  LogCapture log;
  const std::string big(2000, 'z');
  {
    failing_allocations::Armed armed(0);
    NUVPrintf(1, "%s", big.c_str());
    EXPECT_TRUE(armed.failed());
  }
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0].text, big.substr(0, 511));
}

// Whichever allocation fails (in the message or in the sink), NUVPrintf
// returns; a message the sink could not take is dropped.
TEST(NUVPrintf, AllocationFailureAnywhereIsSwallowed) {
  LogCapture log;
  const std::string big(2000, 'w');
  const int points = failing_allocations::sweep(
      [&] {
        NUVPrintf(1, "%s", big.c_str());
        return 0;
      },
      [](int, bool) {});
  EXPECT_GT(points, 0);
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines().back().text, big);
}
