#include <gtest/gtest.h>

#include <cstring>

#include "dms_mem.h"
#include "dms_platform.h"

TEST(DMSAppMem, AllocOfZeroIsNull) { EXPECT_EQ(DMSAppMemAllocMA(0), nullptr); }

TEST(DMSAppMem, AllocGivesUsableBlock) {
  void* p = DMSAppMemAllocMA(32);
  ASSERT_NE(p, nullptr);
  memset(p, 1, 32);
  DMSAppMemFree(p);
}

TEST(DMSAppMem, CallocZeroesAndRefusesZeroSize) {
  auto* p = static_cast<unsigned char*>(DMSAppMemCallocMA(4, 8));
  ASSERT_NE(p, nullptr);
  for (int i = 0; i < 32; ++i) EXPECT_EQ(p[i], 0);
  DMSAppMemFree(p);
  EXPECT_EQ(DMSAppMemCallocMA(4, 0), nullptr);
}

TEST(DMSAppMem, CallocPassesZeroCountOn) {
  // Only a size of 0 is refused: calloc(0, 8) is called, and the C library
  // of this project (glibc) answers it with a unique, freeable pointer.
  void* p = DMSAppMemCallocMA(0, 8);
  EXPECT_NE(p, nullptr);
  DMSAppMemFree(p);
}

TEST(DMSAppMem, ReallocOfNullReturnsNull) { EXPECT_EQ(DMSAppMemReallocMA(nullptr, 16), nullptr); }

TEST(DMSAppMem, ReallocGrowsAndKeepsContent) {
  auto* p = static_cast<char*>(DMSAppMemAllocMA(4));
  ASSERT_NE(p, nullptr);
  memcpy(p, "abc", 4);
  p = static_cast<char*>(DMSAppMemReallocMA(p, 64));
  ASSERT_NE(p, nullptr);
  EXPECT_STREQ(p, "abc");
  DMSAppMemFree(p);
}

TEST(DMSAppMem, SetCpyMoveRefuseNull) {
  char buf[8] = "abcdefg";
  EXPECT_EQ(DMSAppMemSet(nullptr, 0, 4), nullptr);
  EXPECT_EQ(DMSAppMemSet(buf, 'x', 2), buf);
  EXPECT_EQ(std::string(buf), "xxcdefg");
  EXPECT_EQ(DMSAppMemCpy(nullptr, buf, 1), nullptr);
  EXPECT_EQ(DMSAppMemCpy(buf, nullptr, 1), nullptr);
  EXPECT_EQ(DMSAppMemCpy(buf, "12", 2), buf);
  EXPECT_EQ(std::string(buf), "12cdefg");
  EXPECT_EQ(DMSAppMemmove(nullptr, buf, 1), nullptr);
  EXPECT_EQ(DMSAppMemmove(buf, nullptr, 1), nullptr);
  EXPECT_EQ(DMSAppMemmove(buf + 1, buf, 3), buf + 1);  // overlapping
  EXPECT_EQ(std::string(buf), "112cefg");
}

TEST(DMSAppMem, ClassMethodsMatchExportedFunctions) {
  DMSAppMem* mem = DMSAppMem::GetInstance();
  ASSERT_NE(mem, nullptr);
  EXPECT_EQ(mem, DMSAppMem::GetInstance());
  EXPECT_EQ(mem->DMSAppMemAllocMA(0), nullptr);
  EXPECT_EQ(mem->DMSAppMemReallocMA(nullptr, 16), nullptr);
  void* p = mem->DMSAppMemCallocMA(1, 1);
  EXPECT_NE(p, nullptr);
  mem->DMSAppMemFree(p);
}
