// DMSAppConversions. See the header for the contracts; comments here explain
// only where the code departs from the obvious for a reason.
#include "dms_conversions.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "dms_platform.h"
#include "dms_string.h"
#include "nuv_log.h"

namespace {

constexpr long kMillisPerSecond = 1000;
constexpr long kMillisPerMinute = 60 * kMillisPerSecond;
constexpr long kMillisPerHour = 60 * kMillisPerMinute;

// Bytes that resource URIs carry unescaped.
constexpr std::string_view kUrlKeptBytes =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-~,/?:@=+$;";
constexpr char kUpperHexDigits[] = "0123456789ABCDEF";

// The escaped XML text gets this many output bytes per input byte, and a
// one-byte input gets kXmlSingleByteOutput.
constexpr size_t kXmlOutputPerInputByte = 6;
constexpr size_t kXmlSingleByteOutput = 12;
// "&#" is followed by its ';' within this many characters, or it is no
// character reference.
constexpr size_t kXmlCharRefWindow = 5;
constexpr unsigned int kXmlHexRefDigits = 8;
constexpr unsigned int kHexToiDigits = 8;

// A database code is "^", a digit 1-5, a letter and "9"; the digit picks the
// entry (digit '1' is entry 0).
struct DBCode {
  char plain;
  char letter;
};
constexpr DBCode kDBCodes[] = {{'\'', 'q'}, {'"', 'd'}, {'&', 'n'}, {',', 'c'}, {'%', 'p'}};
constexpr size_t kDBCodeLength = 4;

// The text of `s`: up to its length or first NUL, never past its buffer.
std::optional<std::string_view> textOf(const DMSAppString* s) {
  if (s == nullptr || s->ReadString() == nullptr) return std::nullopt;
  size_t n = strnlen(s->ReadString(), s->GetBufferLength());
  if (s->GetStringLength() < n) n = s->GetStringLength();
  return std::string_view(s->ReadString(), n);
}

// A new DMSAppString of `text` up to its first NUL; null if memory runs out.
DMSAppString* newString(const char* text) {
  auto* result = new (std::nothrow) DMSAppString(text);
  if (result != nullptr && result->ReadString() == nullptr) {
    delete result;
    result = nullptr;
  }
  return result;
}

DMSAppString* newString(const std::string& text) { return newString(text.c_str()); }

// A new DMSAppMemAllocMA buffer holding `text` and `padding` + 1 NUL bytes.
char* newBytes(std::string_view text, size_t padding) {
  const size_t size = text.size() + 1 + padding;
  auto* bytes = static_cast<char*>(DMSAppMemAllocMA(size));
  if (bytes == nullptr) return nullptr;
  memcpy(bytes, text.data(), text.size());
  memset(bytes + text.size(), 0, size - text.size());
  return bytes;
}

char* newBytes(const char* text, size_t padding) {
  if (text == nullptr) return nullptr;
  return newBytes(std::string_view(text), padding);
}

void appendPercentHex(std::string* out, unsigned char byte) {
  *out += '%';
  *out += kUpperHexDigits[byte >> 4];
  *out += kUpperHexDigits[byte & 0xF];
}

bool isUrlSpecial(unsigned char b) {
  return (b >= 0x20 && b <= 0x2F) || (b >= 0x3A && b <= 0x40) || (b >= 0x5B && b <= 0x60) ||
         b > 0x7A;
}

// Writes `decoded` over the text of `s` and sets the length to its first NUL
// (a decoded byte 0 ends the text). `decoded` is never longer than the text
// it came from, so it fits in place.
void storeInPlace(DMSAppString* s, const std::string& decoded) {
  char* buffer = s->ReadString();
  const size_t bufferLength = s->GetBufferLength();
  memcpy(buffer, decoded.data(), decoded.size());
  if (decoded.size() < bufferLength) buffer[decoded.size()] = '\0';
  s->SetStringLength(static_cast<unsigned int>(strnlen(buffer, decoded.size())));
}

// The escape of one byte for XML, or null when the byte is copied.
const char* xmlEntityFor(char c) {
  switch (c) {
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '&':
      return "&amp;";
    case '\'':
      return "&apos;";
    case '"':
      return "&quot;";
    default:
      return nullptr;
  }
}

struct XmlEntity {
  std::string_view name;
  char value;
};
constexpr XmlEntity kXmlEntities[] = {{"&amp;", '&'}, {"&nbsp;", ' '},  {"&lt;", '<'},
                                      {"&gt;", '>'},  {"&apos;", '\''}, {"&quot;", '"'}};

// Decodes the "&#N;" or "&#xN;" at the start of `rest`. Returns the number of
// characters consumed, or 0 if `rest` holds no such reference.
size_t decodeCharRef(std::string_view rest, char* byte) {
  if (rest.size() < 3 || rest[0] != '&' || rest[1] != '#') return 0;
  const size_t semicolon = rest.substr(2, kXmlCharRefWindow).find(';');
  if (semicolon == std::string_view::npos) return 0;
  // At most four characters, so neither conversion can overflow.
  const std::string digits(rest.substr(2, semicolon));
  long value;
  if (!digits.empty() && digits[0] == 'x') {
    value = static_cast<long>(
        DMSAppConversions::hexStringToNumber(digits.c_str() + 1, kXmlHexRefDigits));
  } else {
    value = std::atoi(digits.c_str());
  }
  *byte = static_cast<char>(static_cast<unsigned char>(value & 0xFF));
  return 2 + semicolon + 1;
}

}  // namespace

// ---- Copies and lengths ----------------------------------------------------

DMSAppString* DMSAppConversions::DMSAppConvertANSIToDMSAppStringMA(const char* text) {
  return text == nullptr ? nullptr : newString(text);
}

DMSAppString* DMSAppConversions::DMSAppConvertUTF8ToDMSAppStringMA(const char* text) {
  return DMSAppConvertANSIToDMSAppStringMA(text);
}

DMSAppString* DMSAppConversions::NUVConvertUTF8ToNUVStringMA(const char* text) {
  return DMSAppConvertANSIToDMSAppStringMA(text);
}

char* DMSAppConversions::DMSAppConvertDMSAppStringToANSIMA(const DMSAppString* s) {
  std::optional<std::string_view> text = textOf(s);
  return text ? newBytes(*text, 0) : nullptr;
}

char* DMSAppConversions::DMSAppConvertDMSAppStringToUTF8MA(const DMSAppString* s) {
  return DMSAppConvertDMSAppStringToANSIMA(s);
}

char* DMSAppConversions::DMSAppConvertNUVCharToANSIMA(const char* text) {
  return newBytes(text, 0);
}

char* DMSAppConversions::DMSAppConverstUTF8ToUnicode(const signed char* text) {
  return newBytes(reinterpret_cast<const char*>(text), 0);
}

char* DMSAppConversions::DMSAppConverstUnicodeToUTF8(const char* text) { return newBytes(text, 1); }

unsigned int DMSAppConversions::DMSAppGetANSILength(const char* text) {
  return text == nullptr ? 0 : static_cast<unsigned int>(strlen(text));
}

unsigned int DMSAppConversions::DMSAppGetUnicodeLength(const char* text) {
  return DMSAppGetANSILength(text);
}

// ---- Numbers ---------------------------------------------------------------

int DMSAppConversions::hexCharToInt(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

int DMSAppConversions::hexchar_to_i(char c) {
  const int value = hexCharToInt(c);
  return value < 0 ? 0 : value;
}

uint64_t DMSAppConversions::hexStringToNumber(const char* text, unsigned int maxDigits) {
  if (text == nullptr) return 0;
  uint64_t value = 0;
  for (unsigned int i = 0; i < maxDigits; ++i) {
    const int digit = hexCharToInt(text[i]);
    if (digit < 0) break;
    value = (value << 4) | static_cast<uint64_t>(digit);
  }
  return value;
}

int DMSAppConversions::hexToi(const char* text) {
  return static_cast<int>(static_cast<uint32_t>(hexStringToNumber(text, kHexToiDigits)));
}

int DMSAppConversions::ConvertHexa2Char(const char* text, int n) {
  if (text == nullptr || n <= 0) return 0;
  uint32_t value = 0;
  // A NUL is not a digit, so a short text stops the loop before its end.
  for (int i = 0; i < n; ++i) {
    const int digit = hexCharToInt(text[i]);
    if (digit < 0) return 0;
    value = (value << 4) | static_cast<uint32_t>(digit);
  }
  return static_cast<int>(value);
}

int64_t DMSAppConversions::ascii_to_long_long(const DMSAppString* s) {
  std::optional<std::string_view> text = textOf(s);
  if (!text || text->empty()) return 0;
  size_t i = 0;
  if ((*text)[i] == '+') ++i;
  bool negative = false;
  if (i < text->size() && (*text)[i] == '-') {
    negative = true;
    ++i;
  }
  // Unsigned arithmetic so that an over-long number wraps instead of being
  // undefined.
  uint64_t magnitude = 0;
  for (; i < text->size() && (*text)[i] >= '0' && (*text)[i] <= '9'; ++i)
    magnitude = magnitude * 10 + static_cast<uint64_t>((*text)[i] - '0');
  return static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
}

DMSAppString* DMSAppConversions::DurationToString(long milliseconds) {
  const long hours = milliseconds / kMillisPerHour;
  const long minutes = milliseconds / kMillisPerMinute % 60;
  const long seconds = milliseconds / kMillisPerSecond % 60;
  const long millis = milliseconds % kMillisPerSecond;
  auto* result = new (std::nothrow) DMSAppString();
  if (result == nullptr) return nullptr;
  const int length = millis == 0
                         ? result->Format("%ld:%02ld:%02ld", hours, minutes, seconds)
                         : result->Format("%ld:%02ld:%02ld.%03ld", hours, minutes, seconds, millis);
  if (length == 0) {
    delete result;
    return nullptr;
  }
  return result;
}

// ---- URL texts -------------------------------------------------------------

DMSAppString* DMSAppConversions::DMSAppChangeUnicodeOfURLMA(const DMSAppString* s) {
  std::optional<std::string_view> text = textOf(s);
  if (!text) return nullptr;
  std::string out;
  out.reserve(text->size());
  for (char c : *text) {
    if (kUrlKeptBytes.find(c) != std::string_view::npos) {
      out += c;
    } else {
      appendPercentHex(&out, static_cast<unsigned char>(c));
    }
  }
  return newString(out);
}

DMSAppString* DMSAppConversions::DMSAppRestoreUnicodeOfURLMA(const DMSAppString* s) {
  std::optional<std::string_view> text = textOf(s);
  if (!text) return nullptr;
  std::string out;
  out.reserve(text->size());
  for (size_t i = 0; i < text->size(); ++i) {
    if ((*text)[i] == '%' && i + 2 < text->size()) {
      const int high = hexCharToInt((*text)[i + 1]);
      const int low = hexCharToInt((*text)[i + 2]);
      // "%00" stays as it is: a NUL would cut the name short.
      if (high >= 0 && low >= 0 && (high | low) != 0) {
        out += static_cast<char>(high << 4 | low);
        i += 2;
        continue;
      }
    }
    out += (*text)[i];
  }
  return newString(out);
}

DMSAppString* DMSAppConversions::DMSAppEscapeURLMA(const DMSAppString* s) {
  std::optional<std::string_view> text = textOf(s);
  if (!text) return nullptr;
  std::string out(*text);
  if (!out.empty() && isUrlSpecial(static_cast<unsigned char>(out.back()))) {
    const auto last = static_cast<unsigned char>(out.back());
    out.pop_back();
    appendPercentHex(&out, last);
  }
  return newString(out);
}

int DMSAppConversions::DMSAppUnescapeURL(DMSAppString* s) {
  std::optional<std::string_view> text = textOf(s);
  if (!text) {
    NUVPrintf(NUV_LOG_ERROR, "[DMSAppConversions::DMSAppUnescapeURL] Memory allocation failed!!!");
    return 1;
  }
  std::string out;
  out.reserve(text->size());
  for (size_t i = 0; i < text->size(); ++i) {
    const char c = (*text)[i];
    if (c == '%' && i + 2 < text->size()) {
      out += static_cast<char>(DMSAppConvertHexToInteger((*text)[i + 1]) << 4 |
                               DMSAppConvertHexToInteger((*text)[i + 2]));
      i += 2;
    } else {
      out += c == '+' ? ' ' : c;
    }
  }
  storeInPlace(s, out);
  return 0;
}

// ---- XML texts -------------------------------------------------------------

namespace {

size_t xmlEscapeCapacity(size_t inputBytes) {
  return inputBytes == 1 ? kXmlSingleByteOutput : inputBytes * kXmlOutputPerInputByte;
}

// Escapes `text` into `out` (room for `capacity` bytes, the last kept for the
// terminator): the bytes written, or SIZE_MAX when they do not fit.
size_t escapeXmlInto(std::string_view text, char* out, size_t capacity) {
  size_t used = 0;
  for (char c : text) {
    char number[8];
    const char* piece = xmlEntityFor(c);
    if (piece == nullptr && c >= 1 && c <= 31) {
      snprintf(number, sizeof number, "&#%d;", c);
      piece = number;
    }
    const size_t pieceLength = piece == nullptr ? 1 : strlen(piece);
    if (used + pieceLength > capacity - 1) return SIZE_MAX;
    if (piece == nullptr) {
      out[used] = c;
    } else {
      memcpy(out + used, piece, pieceLength);
    }
    used += pieceLength;
  }
  return used;
}

}  // namespace

bool DMSAppConversions::AppendEscapedXml(std::string_view text, std::string* out) {
  if (out == nullptr || text.empty()) return false;
  const size_t before = out->size();
  out->resize(before + xmlEscapeCapacity(text.size()));
  const size_t used = escapeXmlInto(text, &(*out)[before], out->size() - before);
  out->resize(used == SIZE_MAX ? before : before + used);
  return used != SIZE_MAX;
}

DMSAppString* DMSAppConversions::DMSAppGetEscapeXmlStringMA(const DMSAppString* s) {
  std::optional<std::string_view> text = textOf(s);
  if (!text || text->empty()) return nullptr;
  const size_t capacity = xmlEscapeCapacity(text->size());
  DMSAppString* result = nullptr;
  // The buffer length of a DMSAppString is 32 bits; a larger need counts as
  // an allocation failure.
  if (text->size() <= UINT32_MAX / kXmlOutputPerInputByte) {
    result = new (std::nothrow) DMSAppString(static_cast<unsigned int>(capacity));
  }
  if (result == nullptr || result->ReadString() == nullptr) {
    delete result;
    NUVPrintf(NUV_LOG_ERROR, "[NUVConversion] Memory allocation fail!!!, DlnaEscapeXmlValue()");
    return nullptr;
  }
  const size_t used = escapeXmlInto(*text, result->ReadString(), capacity);
  if (used == SIZE_MAX) {
    delete result;
    NUVPrintf(NUV_LOG_ERROR, "[NUVConversion] Lack of Output buffer!!!, DlnaEscapeXmlValue()");
    return nullptr;
  }
  result->SetStringLength(static_cast<unsigned int>(used));
  return result;
}

DMSAppString* DMSAppConversions::DMSAppEscapeXmlValue(const DMSAppString* s) {
  return DMSAppGetEscapeXmlStringMA(s);
}

DMSAppString* DMSAppConversions::DMSAppGetUnescapeXmlStringMA(DMSAppString* s) {
  std::optional<std::string_view> text = textOf(s);
  if (!text) return nullptr;
  std::string out;
  out.reserve(text->size());
  size_t i = 0;
  while (i < text->size()) {
    const std::string_view rest = text->substr(i);
    if (rest[0] != '&') {
      out += rest[0];
      ++i;
      continue;
    }
    size_t consumed = 0;
    for (const XmlEntity& entity : kXmlEntities) {
      if (rest.substr(0, entity.name.size()) == entity.name) {
        out += entity.value;
        consumed = entity.name.size();
        break;
      }
    }
    if (consumed == 0) {
      char byte;
      consumed = decodeCharRef(rest, &byte);
      if (consumed != 0) out += byte;
    }
    if (consumed == 0) {
      out += '&';
      consumed = 1;
    }
    i += consumed;
  }
  storeInPlace(s, out);
  return newString(out);
}

DMSAppString* DMSAppConversions::DMSAppUnescapeXmlValue(DMSAppString* s) {
  return DMSAppGetUnescapeXmlStringMA(s);
}

// ---- Database texts --------------------------------------------------------

DMSAppString* DMSAppConversions::DMSAppConvertNormalStringToDBString(const char* text) {
  if (text == nullptr || text[0] == '\0') return nullptr;
  std::string out;
  for (const char* p = text; *p != '\0'; ++p) {
    const DBCode* code = nullptr;
    for (const DBCode& candidate : kDBCodes) {
      if (candidate.plain == *p) code = &candidate;
    }
    if (code == nullptr) {
      out += *p;
    } else {
      out += '^';
      out += static_cast<char>('1' + (code - kDBCodes));
      out += code->letter;
      out += '9';
    }
    if (out.size() >= kMaxDBStringBytes) return nullptr;
  }
  return newString(out);
}

DMSAppString* DMSAppConversions::DMSAppConvertDBStringToNormalString(const char* text) {
  if (text == nullptr || text[0] == '\0') return nullptr;
  const std::string_view in(text);
  std::string out;
  size_t i = 0;
  while (i < in.size()) {
    const bool codeFits = i + kDBCodeLength - 1 < in.size();
    if (in[i] == '^' && codeFits && in[i + 1] >= '1' && in[i + 1] <= '5') {
      const DBCode& code = kDBCodes[in[i + 1] - '1'];
      if (in[i + 2] == code.letter && in[i + 3] == '9') {
        out += code.plain;
        i += kDBCodeLength;
      } else {
        ++i;  // a broken code loses its '^' only
      }
    } else {
      out += in[i];
      ++i;
    }
    if (out.size() >= kMaxNormalStringBytes) return nullptr;
  }
  return newString(out);
}
