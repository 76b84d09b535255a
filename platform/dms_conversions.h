// DMSAppConversions: the stateless text conversions applied wherever a string
// crosses a boundary: into SQL values, URLs and XML, out of the database, and
// between DMSAppString and plain byte buffers.
//
// All text is UTF-8 bytes. The "ANSI", "UTF8" and "Unicode" conversions are
// byte copies; nothing is transcoded.
//
// Ownership: a function whose name ends in MA returns a new object that the
// caller owns. So do the other functions that return a pointer.
// DMSAppString* results are released with delete, char* results with
// DMSAppMemFree. A null result means the input was refused (or memory ran
// out); no function takes ownership of its argument.
//
// The text of a DMSAppString argument is its bytes up to its length or its
// first NUL, whichever comes first, and never beyond its buffer length. A null
// argument and a string with a null buffer are refused alike.
//
// Thread safety: every function may be called from any thread; an argument
// must not be changed by another thread during the call.
#ifndef DMS_PLATFORM_DMS_CONVERSIONS_H
#define DMS_PLATFORM_DMS_CONVERSIONS_H

#include <cstdint>
#include <string>
#include <string_view>

class DMSAppString;

class DMSAppConversions {
 public:
  DMSAppConversions() = delete;

  // ---- Copies and lengths (null for a null input) ----

  static DMSAppString* DMSAppConvertANSIToDMSAppStringMA(const char* text);
  static DMSAppString* DMSAppConvertUTF8ToDMSAppStringMA(const char* text);
  static DMSAppString* NUVConvertUTF8ToNUVStringMA(const char* text);
  // A NUL-terminated byte copy of the string's text; null also for a null
  // buffer.
  static char* DMSAppConvertDMSAppStringToANSIMA(const DMSAppString* s);
  static char* DMSAppConvertDMSAppStringToUTF8MA(const DMSAppString* s);
  static char* DMSAppConvertNUVCharToANSIMA(const char* text);
  static char* DMSAppConverstUTF8ToUnicode(const signed char* text);
  // Allocates strlen + 2 bytes, both trailing bytes NUL.
  static char* DMSAppConverstUnicodeToUTF8(const char* text);
  // Byte length; 0 for null.
  static unsigned int DMSAppGetANSILength(const char* text);
  static unsigned int DMSAppGetUnicodeLength(const char* text);

  // ---- Numbers ----

  // 0-15 for a hexadecimal digit, -1 for anything else.
  static int hexCharToInt(char c);
  // As hexCharToInt, but 0 for anything else.
  static int hexchar_to_i(char c);
  // Value of the leading hexadecimal digits, at most `maxDigits` of them;
  // stops at the first other character. 0 for null.
  static uint64_t hexStringToNumber(const char* text, unsigned int maxDigits);
  // The first (at most) 8 hexadecimal digits as a 32-bit int, so "FFFFFFFF"
  // gives -1.
  static int hexToi(const char* text);
  // Value of exactly `n` hexadecimal characters; 0 if any of them (including
  // a NUL before the n-th) is not a hexadecimal digit, or for null or n <= 0.
  // Digits beyond the eighth shift the high ones out.
  static int ConvertHexa2Char(const char* text, int n);
  // Decimal value: one leading '+' is skipped, then one '-' sets the sign,
  // then digits up to the first non-digit. 0 for null or empty. Values
  // beyond 64 bits wrap.
  static int64_t ascii_to_long_long(const DMSAppString* s);
  // "H:MM:SS.mmm", or "H:MM:SS" when the millisecond part is 0. Hours are
  // not padded. Never null unless memory runs out.
  static DMSAppString* DurationToString(long milliseconds);

  // ---- URL texts (null for a null input or null buffer) ----

  // Every byte outside [A-Za-z0-9_.-~,/?:@=+$;] becomes "%XX" (upper case).
  static DMSAppString* DMSAppChangeUnicodeOfURLMA(const DMSAppString* s);
  // "%XX" becomes the byte 0xXX. A '%' not followed by two hexadecimal
  // digits, or followed by "00", is kept and copying goes on after it.
  static DMSAppString* DMSAppRestoreUnicodeOfURLMA(const DMSAppString* s);
  // Copies the text and escapes only its final byte, and only when that byte
  // is special (0x20-0x2F, 0x3A-0x40, 0x5B-0x60 or above 0x7A). Callers rely
  // on every other byte passing through untouched.
  static DMSAppString* DMSAppEscapeURLMA(const DMSAppString* s);
  // Decodes in place: "%" and the next two characters become one byte (an
  // invalid character counts as 0), '+' becomes a blank. A '%' with fewer
  // than two characters after it is kept. The text ends at the first NUL
  // produced ("%00"), and the length is set to match.
  // 0 on success; 1 for a null string or buffer, logged as an allocation
  // failure.
  static int DMSAppUnescapeURL(DMSAppString* s);

  // ---- XML texts ----

  // Escapes < > & ' " as entities and bytes 1-31 as "&#N;". The result must
  // fit, terminator included, in 6 bytes per input byte (12 for a one-byte
  // input); otherwise it is logged and null comes back, so a text made only
  // of quotes and apostrophes is refused. Null for a null or empty input.
  static DMSAppString* DMSAppGetEscapeXmlStringMA(const DMSAppString* s);
  static DMSAppString* DMSAppEscapeXmlValue(const DMSAppString* s);
  // The same escape appended to `out`, for writers that build text without
  // a DMSAppString per value. False, with `out` unchanged, where the escape
  // above gives null for lack of room or an empty text.
  static bool AppendEscapedXml(std::string_view text, std::string* out);
  // Decodes &amp; &nbsp; &lt; &gt; &apos; &quot; and "&#N;" / "&#xN;" (with
  // the ';' at most five characters after "&#") into `s` itself, then
  // returns a new copy of the result. Any other '&' is kept. A reference to
  // byte 0 ends the text there. Null for a null input or null buffer.
  static DMSAppString* DMSAppGetUnescapeXmlStringMA(DMSAppString* s);
  static DMSAppString* DMSAppUnescapeXmlValue(DMSAppString* s);

  // ---- Database texts (values of text columns) ----

  // ' " & , % become ^1q9 ^2d9 ^3n9 ^4c9 ^5p9. Null for a null or empty
  // input or when the result would reach kMaxDBStringBytes.
  static DMSAppString* DMSAppConvertNormalStringToDBString(const char* text);
  // The reverse. A '^' followed by a digit 1-5 and two characters that do
  // not complete a code is dropped; any other '^' is kept. '^' is not itself
  // encoded, so a normal text containing "^1q9" does not survive a round
  // trip. Null for a null or empty input or when the result would reach
  // kMaxNormalStringBytes.
  static DMSAppString* DMSAppConvertDBStringToNormalString(const char* text);

  // Exclusive upper bounds of the two database conversions' results, in
  // bytes, set by the column buffers that the stored values go through.
  static constexpr unsigned int kMaxDBStringBytes = 1023;
  static constexpr unsigned int kMaxNormalStringBytes = 2047;
};

#endif  // DMS_PLATFORM_DMS_CONVERSIONS_H
