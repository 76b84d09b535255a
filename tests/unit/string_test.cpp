#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "dms_string.h"
#include "log_capture.h"

namespace {

std::string text(const DMSAppString& s) {
  return s.ReadString() == nullptr ? std::string("<null>") : std::string(s.ReadString());
}

}  // namespace

TEST(DMSAppString, DefaultHasFourZeroedBytes) {
  DMSAppString s;
  ASSERT_NE(s.ReadString(), nullptr);
  EXPECT_EQ(s.GetStringLength(), 0u);
  EXPECT_EQ(s.GetBufferLength(), 4u);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(s.ReadString()[i], '\0');
}

TEST(DMSAppString, FromTextTakesExactBuffer) {
  DMSAppString s("hello");
  EXPECT_EQ(text(s), "hello");
  EXPECT_EQ(s.GetStringLength(), 5u);
  EXPECT_EQ(s.GetBufferLength(), 6u);
}

TEST(DMSAppString, FromNullTextHasNullBuffer) {
  DMSAppString s(static_cast<const char*>(nullptr));
  EXPECT_EQ(s.ReadString(), nullptr);
  EXPECT_EQ(s.GetStringLength(), 0u);
  EXPECT_EQ(s.GetBufferLength(), 0u);
}

TEST(DMSAppString, SizeConstructorReservesZeroedRoom) {
  DMSAppString s(10u);
  ASSERT_NE(s.ReadString(), nullptr);
  EXPECT_EQ(s.GetBufferLength(), 10u);
  EXPECT_EQ(s.GetStringLength(), 0u);
  DMSAppString none(0u);
  EXPECT_EQ(none.ReadString(), nullptr);
}

TEST(DMSAppString, CopyConstructorKeepsBufferLength) {
  DMSAppString reserved(20u);
  reserved.Copy("abc");
  DMSAppString big(32u);
  memcpy(big.ReadString(), "xyz", 3);
  big.SetStringLength(3);
  DMSAppString copy(&big);
  EXPECT_EQ(copy.GetBufferLength(), 32u);
  EXPECT_EQ(copy.GetStringLength(), 3u);
  EXPECT_EQ(text(copy), "xyz");
}

TEST(DMSAppString, CopyConstructorOfNullOrEmptyBufferIsNullBuffer) {
  DMSAppString copy1(static_cast<const DMSAppString*>(nullptr));
  EXPECT_EQ(copy1.ReadString(), nullptr);
  DMSAppString nullBuffer(static_cast<const char*>(nullptr));
  DMSAppString copy2(&nullBuffer);
  EXPECT_EQ(copy2.ReadString(), nullptr);
  DMSAppString zeroed("abc");
  zeroed.Zero();
  DMSAppString copy3(&zeroed);
  EXPECT_EQ(copy3.ReadString(), nullptr);
}

TEST(DMSAppString, ReadStringAtPositionChecksBounds) {
  DMSAppString s("abc");
  EXPECT_EQ(*s.ReadString(1), 'b');
  EXPECT_EQ(s.ReadString(-1), nullptr);
  EXPECT_EQ(s.ReadString(3), nullptr);
  DMSAppString n(static_cast<const char*>(nullptr));
  EXPECT_EQ(n.ReadString(0), nullptr);
}

TEST(DMSAppString, GetStringIsAnOwnedCopy) {
  DMSAppString s("abc");
  char* copy = s.GetString();
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(copy, "abc");
  EXPECT_NE(copy, s.ReadString());
  free(copy);
  DMSAppString n(static_cast<const char*>(nullptr));
  EXPECT_EQ(n.GetString(), nullptr);
}

TEST(DMSAppString, GetSubStringRefusesBadStart) {
  DMSAppString s("abcdef");
  DMSAppString* sub = s.GetSubString(1, 3);
  ASSERT_NE(sub, nullptr);
  EXPECT_EQ(text(*sub), "bcd");
  delete sub;
  EXPECT_EQ(s.GetSubString(-1, 2), nullptr);
  EXPECT_EQ(s.GetSubString(6, 1), nullptr);
  EXPECT_EQ(s.GetSubString(0, 0), nullptr);   // the copy refuses a count of 0
  EXPECT_EQ(s.GetSubString(0, 10), nullptr);  // strlen 6 < 10
}

TEST(DMSAppString, CopyReplacesContentExactly) {
  DMSAppString s("a much longer text");
  EXPECT_EQ(s.Copy("xy"), 1);
  EXPECT_EQ(text(s), "xy");
  EXPECT_EQ(s.GetStringLength(), 2u);
  EXPECT_EQ(s.GetBufferLength(), 3u);
  DMSAppString other("other");
  EXPECT_EQ(s.Copy(&other), 1);
  EXPECT_EQ(text(s), "other");
}

TEST(DMSAppString, CopyRefusals) {
  DMSAppString s("keep");
  EXPECT_EQ(s.Copy(static_cast<const char*>(nullptr)), 0);
  EXPECT_EQ(s.Copy(static_cast<const DMSAppString*>(nullptr)), 0);
  EXPECT_EQ(s.Copy(&s), 0);
  DMSAppString n(static_cast<const char*>(nullptr));
  EXPECT_EQ(s.Copy(&n), 0);
  EXPECT_EQ(text(s), "keep");
}

TEST(DMSAppString, CopyIntoNullBufferAllocates) {
  DMSAppString s(static_cast<const char*>(nullptr));
  EXPECT_EQ(s.Copy("new"), 1);
  EXPECT_EQ(text(s), "new");
}

TEST(DMSAppString, RangedCopyRefusedWhenTextShorterThanCount) {
  DMSAppString s("keep");
  EXPECT_EQ(s.Copy("abc", 1, 5), 0);
  EXPECT_EQ(text(s), "keep");
}

TEST(DMSAppString, RangedCopyReportsCountEvenWhenFewerBytes) {
  DMSAppString s;
  EXPECT_EQ(s.Copy("abcdef", 4, 4), 1);
  EXPECT_EQ(text(s), "ef");
  EXPECT_EQ(s.GetStringLength(), 4u);
}

TEST(DMSAppString, RangedCopyRefusals) {
  DMSAppString s("keep");
  EXPECT_EQ(s.Copy(static_cast<const char*>(nullptr), 0, 1), 0);
  EXPECT_EQ(s.Copy("abc", 0, 0), 0);
  EXPECT_EQ(s.Copy("abc", -1, 1), 0);
  EXPECT_EQ(s.Copy("", 0, 1), 0);
  EXPECT_EQ(s.Copy("abc", 4, 1), 0);
  DMSAppString src("abcdef");
  EXPECT_EQ(s.Copy(&src, 2, 3), 1);
  EXPECT_EQ(text(s), "cde");
  EXPECT_EQ(s.Copy(static_cast<const DMSAppString*>(nullptr), 0, 1), 0);
}

TEST(DMSAppString, AddAppendsAndGrowsExactly) {
  DMSAppString s("ab");
  EXPECT_EQ(s.Add("cd"), 1);
  EXPECT_EQ(text(s), "abcd");
  EXPECT_EQ(s.GetStringLength(), 4u);
  EXPECT_EQ(s.GetBufferLength(), 5u);
  DMSAppString other("ef");
  EXPECT_EQ(s.Add(&other), 1);
  EXPECT_EQ(text(s), "abcdef");
  EXPECT_EQ(s.Add(static_cast<const char*>(nullptr)), 0);
  EXPECT_EQ(s.Add(static_cast<const DMSAppString*>(nullptr)), 0);
  EXPECT_EQ(text(s), "abcdef");
}

TEST(DMSAppString, AddIntoReservedRoomKeepsBuffer) {
  DMSAppString s(100u);
  s.Add("abc");
  s.Add("def");
  EXPECT_EQ(text(s), "abcdef");
  EXPECT_EQ(s.GetBufferLength(), 100u);
}

TEST(DMSAppString, AddSelfDoublesText) {
  DMSAppString s("ab");
  EXPECT_EQ(s.Add(&s), 1);
  EXPECT_EQ(text(s), "abab");
}

TEST(DMSAppString, AddIntAppendsDecimal) {
  DMSAppString s("n=");
  EXPECT_EQ(s.Add(-42), 1);
  EXPECT_EQ(text(s), "n=-42");
  EXPECT_EQ(s.Add(INT_MIN), 1);
  EXPECT_EQ(text(s), "n=-42-2147483648");
}

TEST(DMSAppString, RangedAdd) {
  DMSAppString s("x");
  EXPECT_EQ(s.Add("abcdef", 2, 2), 1);
  EXPECT_EQ(text(s), "xcd");
  EXPECT_EQ(s.GetStringLength(), 3u);
  EXPECT_EQ(s.Add("abc", 0, 5), 0);
  EXPECT_EQ(s.Add("abc", -1, 1), 0);
  DMSAppString src("123");
  EXPECT_EQ(s.Add(&src, 1, 2), 1);
  EXPECT_EQ(text(s), "xcd23");
}

TEST(DMSAppString, AddAfterClearNeverOverflows) {
  DMSAppString s("abc");
  s.Clear();
  // Appends after the bytes Clear left in place, and stays inside the buffer.
  EXPECT_EQ(s.Add("x"), 1);
  EXPECT_EQ(text(s), "abcx");
  EXPECT_EQ(s.GetStringLength(), 1u);
  EXPECT_GT(s.GetBufferLength(), 4u);
}

TEST(DMSAppString, CompareNullOrEmptyBufferIsOne) {
  DMSAppString s("abc");
  EXPECT_EQ(s.Compare(static_cast<const char*>(nullptr)), 1);
  EXPECT_EQ(s.Compare(static_cast<const DMSAppString*>(nullptr)), 1);
  DMSAppString n(static_cast<const char*>(nullptr));
  EXPECT_EQ(s.Compare(&n), 1);
  EXPECT_EQ(n.Compare("abc"), 1);
  DMSAppString same("abc");
  EXPECT_EQ(s.Compare(&same), 0);
  EXPECT_EQ(s.Compare("abc"), 0);
}

TEST(DMSAppString, CompareGivesSignOfDifference) {
  DMSAppString s("abc");
  EXPECT_LT(s.Compare("abd"), 0);
  EXPECT_GT(s.Compare("abb"), 0);
  EXPECT_GE(s.Compare("abd"), -128);
}

TEST(DMSAppString, RangedCompareRefusals) {
  DMSAppString s("hello world");
  EXPECT_EQ(s.Compare("world", 6, 5), 0);
  EXPECT_EQ(s.Compare("wor", 6, 3), 0);
  EXPECT_EQ(s.Compare("world", 11, 1), 1);  // start at length
  EXPECT_EQ(s.Compare("world", 6, 0), 1);
  EXPECT_EQ(s.Compare("world", -1, 1), 1);
  EXPECT_EQ(s.Compare("worlds", 6, 6), 1);  // past the end
  EXPECT_EQ(s.Compare("wo", 6, 3), 1);      // s shorter than n
  EXPECT_EQ(s.Compare("", 6, 1), 1);
  DMSAppString w("world");
  EXPECT_EQ(s.Compare(&w, 6, 5), 0);
}

TEST(DMSAppString, CompareIIgnoresCase) {
  DMSAppString s("Hello World");
  EXPECT_EQ(s.CompareI("hello world"), 0);
  DMSAppString other("HELLO WORLD");
  EXPECT_EQ(s.CompareI(&other), 0);
  EXPECT_EQ(s.CompareI("WORLD", 6, 5), 0);
  EXPECT_EQ(s.CompareI(&other, 0, 5), 0);
  EXPECT_EQ(s.CompareI(static_cast<const char*>(nullptr)), 1);
  EXPECT_NE(s.CompareI("hello"), 0);
}

TEST(DMSAppString, FindAbcForB) {
  DMSAppString s("abc");
  EXPECT_EQ(s.Find("b"), 1);
  DMSAppString b("b");
  EXPECT_EQ(s.Find(&b), 1);
  EXPECT_EQ(s.Find("z"), -1);
}

TEST(DMSAppString, RangedFindDotFromTwo) {
  DMSAppString s("1.2.3");
  EXPECT_EQ(s.Find(".", 2, 1), 3);
  EXPECT_EQ(s.Find(".xyz", 2, 1), 3);  // only the first n bytes are sought
  EXPECT_EQ(s.Find(".", 5, 1), -1);
  EXPECT_EQ(s.Find("", 0, 1), -1);
  DMSAppString dot(".");
  EXPECT_EQ(s.Find(&dot, 2, 1), 3);
}

TEST(DMSAppString, AnySearchInNullBufferIsMinusOne) {
  DMSAppString n(static_cast<const char*>(nullptr));
  EXPECT_EQ(n.Find("a"), -1);
  EXPECT_EQ(n.Find("a", 0, 1), -1);
  EXPECT_EQ(n.Find('a'), -1);
  EXPECT_EQ(n.Findr('a'), -1);
  EXPECT_EQ(n.FindI("a"), -1);
  EXPECT_EQ(n.FindI("a", 0, 1), -1);
  EXPECT_EQ(n.FindI('a'), -1);
  DMSAppString s("abc");
  EXPECT_EQ(s.Find(static_cast<const char*>(nullptr)), -1);
  EXPECT_EQ(s.Find(&n), -1);
}

TEST(DMSAppString, FindCharAndFindrChar) {
  DMSAppString s("a/b/c");
  EXPECT_EQ(s.Find('/'), 1);
  EXPECT_EQ(s.Findr('/'), 3);
  EXPECT_EQ(s.Find('x'), -1);
}

TEST(DMSAppString, FindICharIsCaseSensitive) {
  DMSAppString s("abc");
  EXPECT_EQ(s.FindI('A'), -1);
  EXPECT_EQ(s.FindI('a'), 0);
}

TEST(DMSAppString, FindIIgnoresCase) {
  DMSAppString s("Content-Type");
  EXPECT_EQ(s.FindI("TYPE"), 8);
  DMSAppString t("type");
  EXPECT_EQ(s.FindI(&t), 8);
  EXPECT_EQ(s.FindI("type", 3, 4), 8);
  EXPECT_EQ(s.FindI("type", 3, 2), 8);    // the whole of s is sought
  EXPECT_EQ(s.FindI("type", 3, 5), -1);   // n beyond strlen(s)
  EXPECT_EQ(s.FindI("type", 12, 1), -1);  // start at length
}

TEST(DMSAppString, InsertChangesNothing) {
  DMSAppString s("abc");
  EXPECT_EQ(s.Insert(1, "xyz"), 1);
  DMSAppString x("xyz");
  EXPECT_EQ(s.Insert(0, &x), 1);
  EXPECT_EQ(text(s), "abc");
  EXPECT_EQ(s.GetStringLength(), 3u);
}

TEST(DMSAppString, ReplaceWithStringChangesNothing) {
  DMSAppString s("abc");
  DMSAppString x("xyz");
  EXPECT_EQ(s.Replace(0, 3, &x), 1);
  EXPECT_EQ(text(s), "abc");
}

TEST(DMSAppString, ReplaceOverwritesInPlace) {
  DMSAppString s("abcdef");
  EXPECT_EQ(s.Replace(2, 2, "XYZ"), 1);
  EXPECT_EQ(text(s), "abXYef");
  EXPECT_EQ(s.GetStringLength(), 6u);
  EXPECT_EQ(s.Replace(-1, 1, "x"), 0);
  EXPECT_EQ(s.Replace(7, 0, "x"), 0);
  EXPECT_EQ(s.Replace(4, 3, "xyz"), 0);
  EXPECT_EQ(s.Replace(0, 1, static_cast<const char*>(nullptr)), 0);
  EXPECT_EQ(text(s), "abXYef");
}

TEST(DMSAppString, ShiftLeftDropsLeadingBytes) {
  DMSAppString s("abcdef");
  EXPECT_EQ(s.ShiftLeft(2), 1);
  EXPECT_EQ(text(s), "cdef");
  EXPECT_EQ(s.GetStringLength(), 4u);
  EXPECT_EQ(s.GetBufferLength(), 5u);
  EXPECT_EQ(s.ShiftLeft(0), 1);
  EXPECT_EQ(s.ShiftLeft(-1), 0);
  EXPECT_EQ(s.ShiftLeft(5), 0);
  EXPECT_EQ(text(s), "cdef");
}

TEST(DMSAppString, DeleteRemovesRange) {
  DMSAppString s("abcdef");
  EXPECT_EQ(s.Delete(1, 2), 1);
  EXPECT_EQ(text(s), "adef");
  EXPECT_EQ(s.GetStringLength(), 4u);
  EXPECT_EQ(s.GetBufferLength(), 5u);
  EXPECT_EQ(s.Delete(0, 5), 0);
  EXPECT_EQ(s.Delete(3, 2), 0);
}

TEST(DMSAppString, DeleteNegativeOffsetLogs) {
  LogCapture log;
  DMSAppString s("abc");
  EXPECT_EQ(s.Delete(-1, 1), 0);
  EXPECT_TRUE(log.has("[DMSAppString] Invalid Offset!!", 2));
  EXPECT_EQ(text(s), "abc");
}

TEST(DMSAppString, UpperAndLowerCase) {
  DMSAppString s("MiXed 1");
  s.UpperCase();
  EXPECT_EQ(text(s), "MIXED 1");
  s.LowerCase();
  EXPECT_EQ(text(s), "mixed 1");
}

TEST(DMSAppString, ZeroKeepsBufferAndForgetsSizes) {
  DMSAppString s("abc");
  char* before = s.ReadString();
  s.Zero();
  EXPECT_EQ(s.ReadString(), before);
  EXPECT_EQ(s.GetStringLength(), 0u);
  EXPECT_EQ(s.GetBufferLength(), 0u);
  EXPECT_EQ(s.Copy("later"), 1);  // still usable afterwards
  EXPECT_EQ(text(s), "later");
}

TEST(DMSAppString, ClearKeepsBytesFillZeroErases) {
  DMSAppString s("abc");
  s.Clear();
  EXPECT_EQ(s.GetStringLength(), 0u);
  EXPECT_EQ(text(s), "abc");
  s.FillZero();
  EXPECT_EQ(text(s), "");
  EXPECT_EQ(s.GetBufferLength(), 4u);
}

TEST(DMSAppString, TrimRightOfThreeBlanksLeavesOne) {
  DMSAppString s("   ");
  s.TrimRight();
  EXPECT_EQ(s.GetStringLength(), 1u);
  EXPECT_EQ(text(s), " ");
}

TEST(DMSAppString, TrimLeftOfTwoBlanksAndLetter) {
  DMSAppString s("  a");
  s.TrimLeft();
  EXPECT_EQ(text(s), "a");
  EXPECT_EQ(s.GetStringLength(), 1u);
}

TEST(DMSAppString, TrimOnlyBlanksNotTabs) {
  DMSAppString s("\t a b \t");
  s.TrimAll();
  EXPECT_EQ(text(s), "\t a b \t");
  DMSAppString t("  a b  ");
  t.TrimAll();
  EXPECT_EQ(text(t), "a b");
  EXPECT_EQ(t.GetStringLength(), 3u);
}

TEST(DMSAppString, SetStringLengthOnlyTruncates) {
  DMSAppString s("abc");
  s.SetStringLength(10);
  EXPECT_EQ(s.GetStringLength(), 3u);
  EXPECT_EQ(text(s), "abc");
  s.SetStringLength(2);
  EXPECT_EQ(s.GetStringLength(), 2u);
  EXPECT_EQ(text(s), "ab");
}

TEST(DMSAppString, SetStringLengthOnEmptyTakesAnyLengthInsideBuffer) {
  DMSAppString s(16u);
  memcpy(s.ReadString(), "raw bytes", 9);
  s.SetStringLength(9);
  EXPECT_EQ(s.GetStringLength(), 9u);
  EXPECT_EQ(text(s), "raw bytes");
  DMSAppString small(4u);
  small.SetStringLength(100);  // beyond the buffer: refused
  EXPECT_EQ(small.GetStringLength(), 0u);
}

TEST(DMSAppString, SetBufferLengthKeepsWhatFits) {
  DMSAppString s("abcdef");
  s.SetBufferLength(4);
  EXPECT_EQ(s.GetBufferLength(), 4u);
  EXPECT_EQ(s.GetStringLength(), 3u);
  EXPECT_EQ(text(s), "abc");
  s.SetBufferLength(32);
  EXPECT_EQ(s.GetBufferLength(), 32u);
  EXPECT_EQ(text(s), "abc");
  DMSAppString n(static_cast<const char*>(nullptr));
  n.SetBufferLength(8);
  EXPECT_NE(n.ReadString(), nullptr);
  EXPECT_EQ(n.GetBufferLength(), 8u);
  EXPECT_EQ(n.GetStringLength(), 0u);
}

TEST(DMSAppString, FormatReplacesContent) {
  DMSAppString s("old");
  EXPECT_EQ(s.Format("%s_%d%s", "name", 3, ".jpg"), 10);
  EXPECT_EQ(text(s), "name_3.jpg");
}

TEST(DMSAppString, FormatNullLogs) {
  LogCapture log;
  DMSAppString s("old");
  const char* none = nullptr;
  EXPECT_EQ(s.Format(none), 0);
  EXPECT_TRUE(log.has("[DMSAppString::Format] pBuffer is NULL!!"));
  EXPECT_EQ(text(s), "old");
}

TEST(DMSAppString, FormatBeyondScratchIsCutNotOverflowed) {
  std::string big(20000, 'x');
  DMSAppString s;
  EXPECT_EQ(s.Format("%s", big.c_str()), 16383);
  EXPECT_EQ(s.GetStringLength(), 16383u);
}

TEST(DMSAppString, NumberConversionsOfNullBuffer) {
  DMSAppString n(static_cast<const char*>(nullptr));
  EXPECT_EQ(n.ConvertStringToInt(), -1);
  EXPECT_EQ(n.ConvertStringToLong(), 0);
  EXPECT_EQ(n.ConvertStringToInt64(), -1);
  EXPECT_EQ(n.ConvertStringToLlong(), ~0ull);
  EXPECT_EQ(n.ConvertIntToString(5, 10), 0);
  EXPECT_EQ(n.ConvertUnsignedLongToString(5), 0);
}

TEST(DMSAppString, NumberConversionsAre32Bit) {
  EXPECT_EQ(DMSAppString("123abc").ConvertStringToInt(), 123);
  EXPECT_EQ(DMSAppString("-7").ConvertStringToLong(), -7);
  EXPECT_EQ(DMSAppString("5000000000").ConvertStringToInt64(), 2147483647);
  EXPECT_EQ(DMSAppString("-5000000000").ConvertStringToInt64(), -2147483647 - 1);
  EXPECT_EQ(DMSAppString("5000000000").ConvertStringToLlong(), 0xffffffffull);
  EXPECT_EQ(DMSAppString("4000000000").ConvertStringToLlong(), 4000000000ull);
  EXPECT_EQ(DMSAppString("-1").ConvertStringToLlong(), 0xffffffffull);
  EXPECT_EQ(DMSAppString("99999999999").ConvertStringToInt(), 2147483647);
}

TEST(DMSAppString, ConvertIntToStringBases) {
  DMSAppString s;
  EXPECT_EQ(s.ConvertIntToString(255, 16), 1);
  EXPECT_EQ(text(s), "ff");
  EXPECT_EQ(s.GetBufferLength(), 65u);
  EXPECT_EQ(s.ConvertIntToString(-255, 10), 1);
  EXPECT_EQ(text(s), "-255");
  EXPECT_EQ(s.GetBufferLength(), 5u);
  EXPECT_EQ(s.GetStringLength(), 4u);
}

TEST(DMSAppString, ConvertUnsignedLongToStringKeepsBigBuffer) {
  DMSAppString s;
  EXPECT_EQ(s.ConvertUnsignedLongToString(18446744073709551615ull), 1);
  EXPECT_EQ(text(s), "18446744073709551615");
  EXPECT_EQ(s.GetBufferLength(), 65u);
}
