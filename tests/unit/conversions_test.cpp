#include "dms_conversions.h"
#include "dms_mem_ptr.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "dms_platform.h"
#include "dms_string.h"
#include "log_capture.h"

namespace {

using C = DMSAppConversions;
using StringPtr = std::unique_ptr<DMSAppString>;

using BytesPtr = DMSAppMemText;

const char kUnescapeUrlFailed[] =
    "[DMSAppConversions::DMSAppUnescapeURL] Memory allocation failed!!!";
const char kXmlLackOfBuffer[] = "[NUVConversion] Lack of Output buffer!!!, DlnaEscapeXmlValue()";

// The text of a result, or "<null>" so that a missing result shows clearly.
std::string textOf(const StringPtr& s) {
  if (s == nullptr) return "<null>";
  if (s->ReadString() == nullptr) return "<null buffer>";
  return std::string(s->ReadString(), s->GetStringLength());
}

// The length of a result, or -1 for a missing one.
long lengthOf(const StringPtr& s) {
  return s == nullptr ? -1 : static_cast<long>(s->GetStringLength());
}

std::string textOf(const BytesPtr& p) { return p == nullptr ? "<null>" : std::string(p.get()); }

// A string whose buffer is null, as made from a null text.
StringPtr nullBufferString() {
  return StringPtr(new DMSAppString(static_cast<const char*>(nullptr)));
}

StringPtr changeUnicode(const char* text) {
  DMSAppString in(text);
  return StringPtr(C::DMSAppChangeUnicodeOfURLMA(&in));
}
StringPtr restoreUnicode(const char* text) {
  DMSAppString in(text);
  return StringPtr(C::DMSAppRestoreUnicodeOfURLMA(&in));
}
StringPtr escapeUrl(const std::string& text) {
  DMSAppString in(text.c_str());
  return StringPtr(C::DMSAppEscapeURLMA(&in));
}
std::string unescapeUrl(const char* text) {
  DMSAppString s(text);
  EXPECT_EQ(0, C::DMSAppUnescapeURL(&s));
  return std::string(s.ReadString(), s.GetStringLength());
}
StringPtr escapeXml(const std::string& text) {
  DMSAppString in(text.c_str());
  return StringPtr(C::DMSAppEscapeXmlValue(&in));
}
StringPtr unescapeXml(const std::string& text) {
  DMSAppString in(text.c_str());
  return StringPtr(C::DMSAppUnescapeXmlValue(&in));
}
StringPtr toDB(const std::string& text) {
  return StringPtr(C::DMSAppConvertNormalStringToDBString(text.c_str()));
}
StringPtr fromDB(const std::string& text) {
  return StringPtr(C::DMSAppConvertDBStringToNormalString(text.c_str()));
}
std::string duration(long milliseconds) {
  return textOf(StringPtr(C::DurationToString(milliseconds)));
}
int64_t asciiToLongLong(const char* text) {
  DMSAppString s(text);
  return C::ascii_to_long_long(&s);
}
std::string repeat(const std::string& piece, size_t times) {
  std::string out;
  for (size_t i = 0; i < times; ++i) out += piece;
  return out;
}

// ---- Copies and lengths ----------------------------------------------------

TEST(Conversions, ANSIToDMSAppStringCopiesBytes) {
  StringPtr s(C::DMSAppConvertANSIToDMSAppStringMA("caf\xC3\xA9 bar"));
  EXPECT_EQ("caf\xC3\xA9 bar", textOf(s));
  EXPECT_EQ(9u, s->GetStringLength());
}

TEST(Conversions, UTF8AndNUVStringConversionsCopyBytesUnchanged) {
  const char text[] = "\xE3\x81\x82-x";
  EXPECT_EQ(text, textOf(StringPtr(C::DMSAppConvertUTF8ToDMSAppStringMA(text))));
  EXPECT_EQ(text, textOf(StringPtr(C::NUVConvertUTF8ToNUVStringMA(text))));
}

TEST(Conversions, TextToDMSAppStringOfEmptyTextIsEmptyString) {
  StringPtr s(C::DMSAppConvertANSIToDMSAppStringMA(""));
  ASSERT_NE(nullptr, s);
  EXPECT_EQ(0u, s->GetStringLength());
  EXPECT_STREQ("", s->ReadString());
}

TEST(Conversions, TextToDMSAppStringRefusesNull) {
  EXPECT_EQ(nullptr, C::DMSAppConvertANSIToDMSAppStringMA(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppConvertUTF8ToDMSAppStringMA(nullptr));
  EXPECT_EQ(nullptr, C::NUVConvertUTF8ToNUVStringMA(nullptr));
}

TEST(Conversions, DMSAppStringToBytesIsIndependentCopy) {
  DMSAppString s("hello");
  BytesPtr ansi(C::DMSAppConvertDMSAppStringToANSIMA(&s));
  BytesPtr utf8(C::DMSAppConvertDMSAppStringToUTF8MA(&s));
  s.UpperCase();
  EXPECT_EQ("hello", textOf(ansi));
  EXPECT_EQ("hello", textOf(utf8));
  EXPECT_NE(s.ReadString(), ansi.get());
}

TEST(Conversions, DMSAppStringToBytesStopsAtStringLength) {
  DMSAppString s("abc");
  s.Clear();  // length 0, bytes left in place
  EXPECT_EQ("", textOf(BytesPtr(C::DMSAppConvertDMSAppStringToANSIMA(&s))));
}

TEST(Conversions, DMSAppStringToBytesRefusesNullAndNullBuffer) {
  StringPtr empty = nullBufferString();
  EXPECT_EQ(nullptr, C::DMSAppConvertDMSAppStringToANSIMA(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppConvertDMSAppStringToUTF8MA(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppConvertDMSAppStringToANSIMA(empty.get()));
  EXPECT_EQ(nullptr, C::DMSAppConvertDMSAppStringToUTF8MA(empty.get()));
}

TEST(Conversions, ByteCopiesDuplicateText) {
  const char text[] = "a\xC3\xA9z";
  BytesPtr ansi(C::DMSAppConvertNUVCharToANSIMA(text));
  BytesPtr unicode(C::DMSAppConverstUTF8ToUnicode(reinterpret_cast<const signed char*>(text)));
  BytesPtr utf8(C::DMSAppConverstUnicodeToUTF8(text));
  EXPECT_EQ(text, textOf(ansi));
  EXPECT_EQ(text, textOf(unicode));
  EXPECT_EQ(text, textOf(utf8));
  EXPECT_NE(text, ansi.get());
}

TEST(Conversions, ByteCopiesOfEmptyTextAreEmpty) {
  EXPECT_EQ("", textOf(BytesPtr(C::DMSAppConvertNUVCharToANSIMA(""))));
  EXPECT_EQ("", textOf(BytesPtr(C::DMSAppConverstUnicodeToUTF8(""))));
}

TEST(Conversions, UnicodeToUTF8AllocatesOneSpareNulByte) {
  BytesPtr utf8(C::DMSAppConverstUnicodeToUTF8("abc"));
  ASSERT_NE(nullptr, utf8);
  EXPECT_EQ('\0', utf8.get()[3]);
  EXPECT_EQ('\0', utf8.get()[4]);  // under ASan, reading it proves the byte exists
}

TEST(Conversions, ByteCopiesRefuseNull) {
  EXPECT_EQ(nullptr, C::DMSAppConvertNUVCharToANSIMA(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppConverstUTF8ToUnicode(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppConverstUnicodeToUTF8(nullptr));
}

TEST(Conversions, LengthsCountBytesAndNullIsZero) {
  EXPECT_EQ(5u, C::DMSAppGetANSILength("a\xC3\xA9z!"));
  EXPECT_EQ(5u, C::DMSAppGetUnicodeLength("a\xC3\xA9z!"));
  EXPECT_EQ(0u, C::DMSAppGetANSILength(""));
  EXPECT_EQ(0u, C::DMSAppGetANSILength(nullptr));
  EXPECT_EQ(0u, C::DMSAppGetUnicodeLength(nullptr));
}

// ---- Numbers ---------------------------------------------------------------

TEST(Conversions, HexCharToIntMapsDigitsAndRejectsOthers) {
  EXPECT_EQ(0, C::hexCharToInt('0'));
  EXPECT_EQ(9, C::hexCharToInt('9'));
  EXPECT_EQ(10, C::hexCharToInt('A'));
  EXPECT_EQ(15, C::hexCharToInt('F'));
  EXPECT_EQ(10, C::hexCharToInt('a'));
  EXPECT_EQ(15, C::hexCharToInt('f'));
  for (char c : {'G', 'g', '/', ':', '@', '`', ' ', '\0', 'x'}) EXPECT_EQ(-1, C::hexCharToInt(c));
  EXPECT_EQ(-1, C::hexCharToInt(static_cast<char>(0xC3)));
}

TEST(Conversions, HexcharToIGivesZeroForInvalid) {
  EXPECT_EQ(11, C::hexchar_to_i('b'));
  EXPECT_EQ(12, C::hexchar_to_i('C'));
  EXPECT_EQ(7, C::hexchar_to_i('7'));
  EXPECT_EQ(0, C::hexchar_to_i('G'));
  EXPECT_EQ(0, C::hexchar_to_i('-'));
}

TEST(Conversions, HexStringToNumberReadsLeadingDigits) {
  EXPECT_EQ(0x1AFu, C::hexStringToNumber("1aF", 8));
  EXPECT_EQ(0x12u, C::hexStringToNumber("12g4", 8));
  EXPECT_EQ(0x123u, C::hexStringToNumber("123456", 3));
  EXPECT_EQ(UINT64_MAX, C::hexStringToNumber("FFFFFFFFFFFFFFFF", 16));
  EXPECT_EQ(0x123456789ABCDEF0u, C::hexStringToNumber("123456789abcdef0", 16));
}

TEST(Conversions, HexStringToNumberRefusals) {
  EXPECT_EQ(0u, C::hexStringToNumber(nullptr, 8));
  EXPECT_EQ(0u, C::hexStringToNumber("", 8));
  EXPECT_EQ(0u, C::hexStringToNumber("zz", 8));
  EXPECT_EQ(0u, C::hexStringToNumber("ff", 0));
}

TEST(Conversions, HexToiReadsOnlyEightDigits) {
  EXPECT_EQ(0x12345678, C::hexToi("123456789A"));
  EXPECT_EQ(0x7f, C::hexToi("7f"));
  EXPECT_EQ(-1, C::hexToi("FFFFFFFF"));
  EXPECT_EQ(0, C::hexToi("x1"));
  EXPECT_EQ(0, C::hexToi(nullptr));
}

TEST(Conversions, ConvertHexa2CharReadsExactlyNDigits) {
  EXPECT_EQ(0x41, C::ConvertHexa2Char("41", 2));
  EXPECT_EQ(0x41, C::ConvertHexa2Char("41ff", 2));
  EXPECT_EQ(0xabc, C::ConvertHexa2Char("aBc", 3));
  EXPECT_EQ(0xf, C::ConvertHexa2Char("f", 1));
}

TEST(Conversions, ConvertHexa2CharIsZeroForAnyInvalidDigit) {
  EXPECT_EQ(0, C::ConvertHexa2Char("4G", 2));
  EXPECT_EQ(0, C::ConvertHexa2Char("G4", 2));
  EXPECT_EQ(0, C::ConvertHexa2Char("4", 2));  // too short: the NUL is not a digit
  EXPECT_EQ(0, C::ConvertHexa2Char(nullptr, 2));
  EXPECT_EQ(0, C::ConvertHexa2Char("41", 0));
  EXPECT_EQ(0, C::ConvertHexa2Char("41", -1));
}

TEST(Conversions, AsciiToLongLongSkipsPlusThenTakesMinus) {
  EXPECT_EQ(-12, asciiToLongLong("+-12x"));
  EXPECT_EQ(0, asciiToLongLong("-+12"));
}

TEST(Conversions, AsciiToLongLongReadsDigitsToFirstNonDigit) {
  EXPECT_EQ(42, asciiToLongLong("42"));
  EXPECT_EQ(7, asciiToLongLong("+7"));
  EXPECT_EQ(-5, asciiToLongLong("-5"));
  EXPECT_EQ(12, asciiToLongLong("12 34"));
  EXPECT_EQ(0, asciiToLongLong("++1"));
  EXPECT_EQ(0, asciiToLongLong("abc"));
  EXPECT_EQ(INT64_C(9223372036854775807), asciiToLongLong("9223372036854775807"));
  EXPECT_EQ(INT64_MIN, asciiToLongLong("-9223372036854775808"));
  EXPECT_EQ(INT64_C(5000000000), asciiToLongLong("5000000000"));
}

TEST(Conversions, AsciiToLongLongOfNullOrEmptyIsZero) {
  StringPtr empty = nullBufferString();
  EXPECT_EQ(0, C::ascii_to_long_long(nullptr));
  EXPECT_EQ(0, C::ascii_to_long_long(empty.get()));
  EXPECT_EQ(0, asciiToLongLong(""));
  EXPECT_EQ(0, asciiToLongLong("+"));
  EXPECT_EQ(0, asciiToLongLong("-"));
}

TEST(Conversions, DurationShowsMilliseconds) {
  EXPECT_EQ("1:02:03.004", duration(3723004));
  EXPECT_EQ("0:00:00.999", duration(999));
  EXPECT_EQ("0:00:00.001", duration(1));
}

TEST(Conversions, DurationDropsZeroMilliseconds) {
  EXPECT_EQ("0:01:00", duration(60000));
  EXPECT_EQ("0:00:00", duration(0));
  EXPECT_EQ("1:00:01", duration(3601000));
}

TEST(Conversions, DurationDoesNotPadHours) {
  EXPECT_EQ("100:00:00", duration(360000000));
  EXPECT_EQ("12:34:56.789", duration(45296789));
}

// ---- URL texts -------------------------------------------------------------

TEST(Conversions, ChangeUnicodeOfURLWritesBlankAsPercent20Anywhere) {
  EXPECT_EQ("%20a%20b%20", textOf(changeUnicode(" a b ")));
}

TEST(Conversions, ChangeUnicodeOfURLKeepsItsSetAndEscapesOthers) {
  const char kept[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-~,/?:@=+$;";
  EXPECT_EQ(kept, textOf(changeUnicode(kept)));
  EXPECT_EQ("%25%26%23%22%27%3C%3E%5B%5D%7B%7D%5C%7C%5E%60%21%2A%28%29",
            textOf(changeUnicode("%&#\"'<>[]{}\\|^`!*()")));
  EXPECT_EQ("caf%C3%A9.jpg", textOf(changeUnicode("caf\xC3\xA9.jpg")));
  EXPECT_EQ("%01%1F%7F%FF", textOf(changeUnicode("\x01\x1f\x7f\xff")));
}

TEST(Conversions, ChangeUnicodeOfURLRefusesNullAndKeepsEmpty) {
  StringPtr empty = nullBufferString();
  EXPECT_EQ(nullptr, C::DMSAppChangeUnicodeOfURLMA(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppChangeUnicodeOfURLMA(empty.get()));
  EXPECT_EQ("", textOf(changeUnicode("")));
}

TEST(Conversions, RestoreUnicodeOfURLDecodesHexPairs) {
  EXPECT_EQ("AB c", textOf(restoreUnicode("%41%42%20c")));
  EXPECT_EQ("caf\xC3\xA9", textOf(restoreUnicode("caf%C3%a9")));
  EXPECT_EQ("%A", textOf(restoreUnicode("%%41")));
}

TEST(Conversions, RestoreUnicodeOfURLKeepsPercentBeforeNonHex) {
  EXPECT_EQ("%zz1", textOf(restoreUnicode("%zz1")));
  EXPECT_EQ("a%4g", textOf(restoreUnicode("a%4g")));
  EXPECT_EQ("%g4", textOf(restoreUnicode("%g4")));
}

TEST(Conversions, RestoreUnicodeOfURLKeepsEncodedZero) {
  EXPECT_EQ("a%00b", textOf(restoreUnicode("a%00b")));
}

TEST(Conversions, RestoreUnicodeOfURLKeepsPercentNearEnd) {
  EXPECT_EQ("a%4", textOf(restoreUnicode("a%4")));
  EXPECT_EQ("a%", textOf(restoreUnicode("a%")));
}

TEST(Conversions, RestoreUnicodeOfURLUndoesChangeUnicode) {
  const char name[] = "My Photo 100% (caf\xC3\xA9) #1.jpg";
  StringPtr changed = changeUnicode(name);
  ASSERT_NE(nullptr, changed);
  EXPECT_EQ(name, textOf(StringPtr(C::DMSAppRestoreUnicodeOfURLMA(changed.get()))));
}

TEST(Conversions, RestoreUnicodeOfURLRefusesNullAndKeepsEmpty) {
  StringPtr empty = nullBufferString();
  EXPECT_EQ(nullptr, C::DMSAppRestoreUnicodeOfURLMA(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppRestoreUnicodeOfURLMA(empty.get()));
  EXPECT_EQ("", textOf(restoreUnicode("")));
}

TEST(Conversions, EscapeURLEscapesOnlyFinalSpecialByte) {
  EXPECT_EQ("a b%2F", textOf(escapeUrl("a b/")));
  EXPECT_EQ("a b", textOf(escapeUrl("a b")));
  EXPECT_EQ("/x/y:z%3A", textOf(escapeUrl("/x/y:z:")));
}

TEST(Conversions, EscapeURLSpecialRangesAtFinalByte) {
  struct Case {
    unsigned char byte;
    bool special;
  };
  const Case cases[] = {{0x1F, false}, {0x20, true},  {0x2F, true},  {0x30, false}, {0x39, false},
                        {0x3A, true},  {0x40, true},  {0x41, false}, {0x5A, false}, {0x5B, true},
                        {0x60, true},  {0x61, false}, {0x7A, false}, {0x7B, true},  {0x7F, true},
                        {0x80, true},  {0xFF, true}};
  const char hex[] = "0123456789ABCDEF";
  for (const Case& c : cases) {
    const std::string in = std::string("x") + static_cast<char>(c.byte);
    const std::string escaped = std::string("x%") + hex[c.byte >> 4] + hex[c.byte & 0xF];
    EXPECT_EQ(c.special ? escaped : in, textOf(escapeUrl(in))) << "byte " << int(c.byte);
  }
}

TEST(Conversions, EscapeURLCopiesSpecialBytesBeforeTheLast) {
  EXPECT_EQ("\xC3\xA9\x01 [x]%5D", textOf(escapeUrl("\xC3\xA9\x01 [x]]")));
  EXPECT_EQ("%20", textOf(escapeUrl(" ")));
}

TEST(Conversions, EscapeURLRefusesNullAndKeepsEmpty) {
  StringPtr empty = nullBufferString();
  EXPECT_EQ(nullptr, C::DMSAppEscapeURLMA(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppEscapeURLMA(empty.get()));
  EXPECT_EQ("", textOf(escapeUrl("")));
}

TEST(Conversions, UnescapeURLDecodesPercentAndPlusInPlace) {
  DMSAppString s("a%20b+c%2fd");
  EXPECT_EQ(0, C::DMSAppUnescapeURL(&s));
  EXPECT_STREQ("a b c/d", s.ReadString());
  EXPECT_EQ(7u, s.GetStringLength());
}

TEST(Conversions, UnescapeURLDecodesMixedCaseHex) { EXPECT_EQ("\xC3\xA9", unescapeUrl("%C3%a9")); }

TEST(Conversions, UnescapeURLEndsTextAtDecodedNul) {
  EXPECT_EQ("x", unescapeUrl("x%00y"));
  EXPECT_EQ("x", unescapeUrl("x%zzy"));  // invalid characters count as 0
}

TEST(Conversions, UnescapeURLKeepsPercentNearEnd) {
  EXPECT_EQ("a%4", unescapeUrl("a%4"));
  EXPECT_EQ("%", unescapeUrl("%"));
}

TEST(Conversions, UnescapeURLOfEmptyStringSucceeds) { EXPECT_EQ("", unescapeUrl("")); }

TEST(Conversions, UnescapeURLRefusesNullAndLogs) {
  LogCapture log;
  EXPECT_EQ(1, C::DMSAppUnescapeURL(nullptr));
  EXPECT_TRUE(log.has(kUnescapeUrlFailed, 2));
  log.clear();
  StringPtr empty = nullBufferString();
  EXPECT_EQ(1, C::DMSAppUnescapeURL(empty.get()));
  EXPECT_TRUE(log.has(kUnescapeUrlFailed, 2));
}

TEST(Conversions, UnescapeURLSuccessLogsNothing) {
  LogCapture log;
  EXPECT_EQ("a b", unescapeUrl("a+b"));
  EXPECT_TRUE(log.lines().empty());
}

// ---- XML texts -------------------------------------------------------------

TEST(Conversions, EscapeXmlValueEscapesMarkup) {
  EXPECT_EQ("&lt;a &amp; &apos;b&apos; &quot;c&quot;&gt;", textOf(escapeXml("<a & 'b' \"c\">")));
}

TEST(Conversions, EscapeXmlValueWritesTabAsCharacterReference) {
  EXPECT_EQ("&#9;", textOf(escapeXml("\t")));
  EXPECT_EQ("a&#1;b&#10;c&#31;", textOf(escapeXml("a\x01"
                                                  "b\nc\x1f")));
}

TEST(Conversions, EscapeXmlValueCopiesOtherBytes) {
  EXPECT_EQ("caf\xC3\xA9 \x7f ~;#", textOf(escapeXml("caf\xC3\xA9 \x7f ~;#")));
}

TEST(Conversions, EscapeXmlValueRefusesNullAndEmpty) {
  LogCapture log;
  StringPtr empty = nullBufferString();
  EXPECT_EQ(nullptr, escapeXml(""));
  EXPECT_EQ(nullptr, C::DMSAppEscapeXmlValue(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppEscapeXmlValue(empty.get()));
  EXPECT_TRUE(log.lines().empty());
}

TEST(Conversions, EscapeXmlValueBufferHoldsSixBytesPerInputByte) {
  for (const auto& [text, expected] :
       {std::pair<std::string, unsigned int>{"a", 12}, {"ab", 12}, {"abcde", 30}}) {
    StringPtr escaped = escapeXml(text);
    ASSERT_NE(nullptr, escaped) << text;
    EXPECT_EQ(expected, escaped->GetBufferLength()) << text;
  }
}

TEST(Conversions, EscapeXmlValueOfOneQuoteFits) { EXPECT_EQ("&quot;", textOf(escapeXml("\""))); }

TEST(Conversions, EscapeXmlValueFailsWhenOutputReachesLastByte) {
  LogCapture log;
  EXPECT_EQ(nullptr, escapeXml("\"'"));
  EXPECT_TRUE(log.has(kXmlLackOfBuffer, 2));
  log.clear();
  EXPECT_EQ(nullptr, escapeXml(repeat("'", 50)));
  EXPECT_EQ(1u, log.count(kXmlLackOfBuffer));
}

TEST(Conversions, EscapeXmlValueFillsAllButTheLastByte) {
  LogCapture log;
  StringPtr s = escapeXml("\"\x1f");  // 6 + 5 = 11 bytes of a 12-byte buffer
  EXPECT_EQ("&quot;&#31;", textOf(s));
  EXPECT_FALSE(log.has(kXmlLackOfBuffer));
}

TEST(Conversions, AppendEscapedXmlAgreesWithEscapeXmlValue) {
  const std::string inputs[] = {"a",
                                "'",
                                "\"'",
                                "\"\x1f",
                                "Tom & Jerry <b>",
                                repeat("'", 50),
                                "\xc3\xa9t\xc3\xa9",
                                "tab\there",
                                "x'\"y",
                                "a\x01"};
  for (const std::string& text : inputs) {
    StringPtr expected = escapeXml(text);
    std::string out = "kept:";
    const bool written = C::AppendEscapedXml(text, &out);
    EXPECT_EQ(expected != nullptr, written) << text;
    EXPECT_EQ("kept:" + (expected != nullptr ? textOf(expected) : std::string()), out) << text;
  }
}

TEST(Conversions, AppendEscapedXmlRefusesEmptyText) {
  std::string out = "kept";
  EXPECT_FALSE(C::AppendEscapedXml("", &out));
  EXPECT_FALSE(C::AppendEscapedXml("a", nullptr));
  EXPECT_EQ("kept", out);
}

TEST(Conversions, GetEscapeXmlStringIsEscapeXmlValue) {
  DMSAppString in("a<b");
  EXPECT_EQ("a&lt;b", textOf(StringPtr(C::DMSAppGetEscapeXmlStringMA(&in))));
  EXPECT_EQ(nullptr, C::DMSAppGetEscapeXmlStringMA(nullptr));
}

TEST(Conversions, UnescapeXmlValueDecodesNamedEntities) {
  EXPECT_EQ("<a> & '\" x", textOf(unescapeXml("&lt;a&gt; &amp; &apos;&quot;&nbsp;x")));
}

TEST(Conversions, UnescapeXmlValueDecodesInPlaceAndReturnsCopy) {
  DMSAppString in("1 &lt; 2");
  StringPtr out(C::DMSAppUnescapeXmlValue(&in));
  EXPECT_EQ("1 < 2", textOf(out));
  EXPECT_STREQ("1 < 2", in.ReadString());
  EXPECT_EQ(5u, in.GetStringLength());
  EXPECT_NE(in.ReadString(), out->ReadString());
}

TEST(Conversions, UnescapeXmlValueDecodesCharacterReferences) {
  EXPECT_EQ("A", textOf(unescapeXml("&#65;")));
  EXPECT_EQ("A", textOf(unescapeXml("&#x41;")));
  EXPECT_EQ("\t", textOf(unescapeXml("&#9;")));
  EXPECT_EQ("\xD2", textOf(unescapeXml("&#1234;")));  // one byte: the low 8 bits
  EXPECT_EQ("\xAB", textOf(unescapeXml("&#xab;")));
}

TEST(Conversions, UnescapeXmlValueNeedsSemicolonWithinFiveCharacters) {
  EXPECT_EQ("&#12345;", textOf(unescapeXml("&#12345;")));
  EXPECT_EQ("&#x4142;", textOf(unescapeXml("&#x4142;")));
  EXPECT_EQ("&#65", textOf(unescapeXml("&#65")));
}

TEST(Conversions, UnescapeXmlValueKeepsOtherAmpersands) {
  EXPECT_EQ("AT&T &foo; &am &", textOf(unescapeXml("AT&T &foo; &am &")));
}

TEST(Conversions, UnescapeXmlValueDecodesOnce) {
  EXPECT_EQ("&lt;", textOf(unescapeXml("&amp;lt;")));
}

TEST(Conversions, UnescapeXmlValueEndsTextAtReferenceToZero) {
  DMSAppString in("a&#0;b");
  StringPtr out(C::DMSAppUnescapeXmlValue(&in));
  EXPECT_EQ("a", textOf(out));
  EXPECT_EQ(1u, in.GetStringLength());
}

TEST(Conversions, UnescapeXmlValueRefusesNullAndKeepsEmpty) {
  StringPtr empty = nullBufferString();
  EXPECT_EQ(nullptr, C::DMSAppUnescapeXmlValue(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppUnescapeXmlValue(empty.get()));
  EXPECT_EQ("", textOf(unescapeXml("")));
}

TEST(Conversions, GetUnescapeXmlStringIsUnescapeXmlValue) {
  DMSAppString in("a&gt;b");
  EXPECT_EQ("a>b", textOf(StringPtr(C::DMSAppGetUnescapeXmlStringMA(&in))));
  EXPECT_EQ(nullptr, C::DMSAppGetUnescapeXmlStringMA(nullptr));
}

TEST(Conversions, UnescapeXmlValueUndoesEscape) {
  const std::string text = "<tag a='1' b=\"&amp;\">\t&#9;x\x01\x1f caf\xC3\xA9</tag>";
  StringPtr escaped = escapeXml(text);
  ASSERT_NE(nullptr, escaped);
  EXPECT_EQ(text, textOf(StringPtr(C::DMSAppUnescapeXmlValue(escaped.get()))));
}

// ---- Database texts --------------------------------------------------------

TEST(Conversions, DBStringEncodesApostropheInsideWord) {
  StringPtr db = toDB("it's");
  EXPECT_EQ("it^1q9s", textOf(db));
  EXPECT_EQ("it's", textOf(fromDB(textOf(db))));
}

TEST(Conversions, DBStringEncodesAllFiveCharacters) {
  EXPECT_EQ("^1q9^2d9^3n9^4c9^5p9", textOf(toDB("'\"&,%")));
  EXPECT_EQ("'\"&,%", textOf(fromDB("^1q9^2d9^3n9^4c9^5p9")));
  EXPECT_EQ("a b^c\xC3\xA9", textOf(toDB("a b^c\xC3\xA9")));
}

TEST(Conversions, DBStringRefusesNullAndEmpty) {
  EXPECT_EQ(nullptr, C::DMSAppConvertNormalStringToDBString(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppConvertNormalStringToDBString(""));
  EXPECT_EQ(nullptr, C::DMSAppConvertDBStringToNormalString(nullptr));
  EXPECT_EQ(nullptr, C::DMSAppConvertDBStringToNormalString(""));
}

TEST(Conversions, DBStringStaysBelow1023Bytes) {
  EXPECT_EQ(1022, lengthOf(toDB(std::string(1022, 'a'))));
  EXPECT_EQ(nullptr, toDB(std::string(1023, 'a')));
  EXPECT_EQ(1020, lengthOf(toDB(repeat("'", 255))));
  EXPECT_EQ(nullptr, toDB(repeat("'", 256)));
  EXPECT_EQ(1022, lengthOf(toDB(std::string(1018, 'a') + "%")));
  EXPECT_EQ(nullptr, toDB(std::string(1019, 'a') + "%"));
}

TEST(Conversions, NormalStringStaysBelow2047Bytes) {
  EXPECT_EQ(2046, lengthOf(fromDB(std::string(2046, 'a'))));
  EXPECT_EQ(nullptr, fromDB(std::string(2047, 'a')));
  EXPECT_EQ(2046, lengthOf(fromDB(repeat("^4c9", 2046))));
  EXPECT_EQ(nullptr, fromDB(repeat("^4c9", 2047)));
}

TEST(Conversions, NormalStringDropsCaretOfBrokenCode) {
  EXPECT_EQ("1x9", textOf(fromDB("^1x9")));
  EXPECT_EQ("1q8", textOf(fromDB("^1q8")));
  EXPECT_EQ("2q9'", textOf(fromDB("^2q9^1q9")));
}

TEST(Conversions, NormalStringKeepsOtherCarets) {
  EXPECT_EQ("^6q9", textOf(fromDB("^6q9")));
  EXPECT_EQ("^0q9", textOf(fromDB("^0q9")));
  EXPECT_EQ("^'", textOf(fromDB("^^1q9")));
  EXPECT_EQ("a^1q", textOf(fromDB("a^1q")));  // too near the end
  EXPECT_EQ("a^", textOf(fromDB("a^")));
}

TEST(Conversions, NormalStringOfPlainTextIsCopy) {
  EXPECT_EQ("Holiday 2024", textOf(fromDB("Holiday 2024")));
}

}  // namespace
