// DMSAppString. See the header for the contract; the comments here explain
// only where the code departs from the obvious for a reason.
#include "dms_string.h"

#include <strings.h>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "nuv_log.h"

namespace {

// Owns a block of the C allocator (the string's own buffers are managed by
// hand because they are resized in place).
struct CFree {
  void operator()(void* block) const { free(block); }
};

constexpr unsigned int kFormatScratchBytes = 16384;
constexpr unsigned int kNumberBufferBytes = 65;

int truncateToInt8(int result) { return static_cast<signed char>(result); }

// Parses decimal text the way the 32-bit C library's strtol/strtoul do on the
// camera: leading white space, one sign, digits, saturating at the 32-bit
// limits. Used so that the numeric conversions behave the same on every host.
int64_t parseLong32(const char* s) {
  while (isspace(static_cast<unsigned char>(*s))) ++s;
  bool negative = false;
  if (*s == '+' || *s == '-') negative = (*s++ == '-');
  uint64_t magnitude = 0;
  while (*s >= '0' && *s <= '9') {
    if (magnitude <= 0x100000000ull) magnitude = magnitude * 10 + static_cast<unsigned>(*s - '0');
    ++s;
  }
  if (negative) return magnitude > 0x80000000ull ? INT32_MIN : -static_cast<int64_t>(magnitude);
  return magnitude > 0x7fffffffull ? INT32_MAX : static_cast<int64_t>(magnitude);
}

uint32_t parseUnsignedLong32(const char* s) {
  while (isspace(static_cast<unsigned char>(*s))) ++s;
  bool negative = false;
  if (*s == '+' || *s == '-') negative = (*s++ == '-');
  uint64_t magnitude = 0;
  while (*s >= '0' && *s <= '9') {
    if (magnitude <= 0x100000000ull) magnitude = magnitude * 10 + static_cast<unsigned>(*s - '0');
    ++s;
  }
  if (magnitude > 0xffffffffull) return 0xffffffffu;
  uint32_t value = static_cast<uint32_t>(magnitude);
  return negative ? static_cast<uint32_t>(0u - value) : value;
}

}  // namespace

DMSAppString::DMSAppString() : buffer_(nullptr), length_(0), bufferLength_(0) {
  buffer_ = static_cast<char*>(calloc(4, 1));
  if (buffer_ != nullptr) bufferLength_ = 4;
}

DMSAppString::DMSAppString(const DMSAppString* other)
    : buffer_(nullptr), length_(0), bufferLength_(0) {
  if (other == nullptr || other->buffer_ == nullptr || other->bufferLength_ == 0) return;
  // A length at or beyond the buffer length only arises from misuse; the copy
  // then gets room for its terminator rather than reading past the source.
  unsigned int size = other->bufferLength_;
  if (other->length_ >= size) size = other->length_ + 1;
  buffer_ = static_cast<char*>(calloc(size, 1));
  if (buffer_ == nullptr) return;
  unsigned int available =
      other->length_ < other->bufferLength_ ? other->length_ : other->bufferLength_;
  memcpy(buffer_, other->buffer_, available);
  length_ = other->length_;
  bufferLength_ = size;
}

DMSAppString::DMSAppString(const char* text) : buffer_(nullptr), length_(0), bufferLength_(0) {
  if (text == nullptr) return;
  size_t n = strlen(text);
  buffer_ = static_cast<char*>(malloc(n + 1));
  if (buffer_ == nullptr) return;
  memcpy(buffer_, text, n + 1);
  length_ = static_cast<uint32_t>(n);
  bufferLength_ = static_cast<uint32_t>(n + 1);
}

DMSAppString::DMSAppString(unsigned int size) : buffer_(nullptr), length_(0), bufferLength_(0) {
  if (size == 0) return;
  buffer_ = static_cast<char*>(calloc(size, 1));
  if (buffer_ != nullptr) bufferLength_ = size;
}

DMSAppString::~DMSAppString() {
  free(buffer_);
  buffer_ = nullptr;
  length_ = 0;
  bufferLength_ = 0;
}

void DMSAppString::SetStringLength(unsigned int n) {
  if (buffer_ == nullptr || static_cast<int>(n) < 0) return;
  if (length_ != 0 && length_ <= n) return;
  if (n >= bufferLength_) return;  // would write past the buffer
  length_ = n;
  buffer_[n] = '\0';
}

void DMSAppString::SetBufferLength(unsigned int n) {
  if (buffer_ != nullptr && n != 0 && n != bufferLength_) {
    char* fresh = static_cast<char*>(calloc(n, 1));
    if (fresh == nullptr) return;
    size_t keep = strnlen(buffer_, bufferLength_);
    if (keep > n - 1) keep = n - 1;
    memcpy(fresh, buffer_, keep);
    if (keep != 0) {
      length_ = static_cast<uint32_t>(keep);
    } else if (length_ >= n) {
      length_ = n - 1;  // an unchanged length would now point past the buffer
    }
    free(buffer_);
    buffer_ = fresh;
    bufferLength_ = n;
  } else if (buffer_ == nullptr && bufferLength_ == 0 && n != 0) {
    buffer_ = static_cast<char*>(calloc(n, 1));
    if (buffer_ == nullptr) return;
    bufferLength_ = n;
    length_ = 0;
  }
}

char* DMSAppString::ReadString(int pos) const {
  if (buffer_ == nullptr || pos < 0 || static_cast<unsigned int>(pos) >= length_) return nullptr;
  return buffer_ + pos;
}

char* DMSAppString::GetString() const {
  if (buffer_ == nullptr) return nullptr;
  size_t size = bufferLength_ > length_ ? bufferLength_ : static_cast<size_t>(length_) + 1;
  char* copy = static_cast<char*>(malloc(size));
  if (copy == nullptr) return nullptr;
  size_t available = length_ < bufferLength_ ? length_ : bufferLength_;
  memcpy(copy, buffer_, available);
  memset(copy + available, 0, size - available);
  return copy;
}

DMSAppString* DMSAppString::GetSubString(int start, unsigned int count) const {
  if (start < 0 || buffer_ == nullptr || static_cast<unsigned int>(start) >= length_)
    return nullptr;
  std::unique_ptr<DMSAppString> sub(new DMSAppString());
  if (sub->Copy(buffer_, start, count) == 0) return nullptr;
  return sub.release();
}

// Replaces the buffer by a zeroed one of `size` bytes that keeps the old
// bytes. Returns 0 (and changes nothing) when the allocation fails.
int DMSAppString::resizeFor(unsigned int size) {
  char* fresh = static_cast<char*>(calloc(size, 1));
  if (fresh == nullptr) return 0;
  if (buffer_ != nullptr) {
    memcpy(fresh, buffer_, bufferLength_ < size ? bufferLength_ : size);
    free(buffer_);
  }
  buffer_ = fresh;
  bufferLength_ = size;
  return 1;
}

int DMSAppString::Copy(const DMSAppString* s) {
  if (s == nullptr || s == this || s->buffer_ == nullptr) return 0;
  return Copy(s->buffer_);
}

int DMSAppString::Copy(const char* s) {
  if (s == nullptr) return 0;
  size_t n = strlen(s);
  char* fresh = static_cast<char*>(malloc(n + 1));
  if (fresh == nullptr) return 1;  // old content stays, as after a failed resize
  memcpy(fresh, s, n + 1);         // `s` may point into our own buffer: copy first
  free(buffer_);
  buffer_ = fresh;
  length_ = static_cast<uint32_t>(n);
  bufferLength_ = static_cast<uint32_t>(n + 1);
  return 1;
}

int DMSAppString::copyRange(const char* s, int start, unsigned int count) {
  if (s == nullptr || count == 0 || start < 0) return 0;
  size_t n = strlen(s);
  if (n == 0 || n < count || n < static_cast<size_t>(start)) return 0;
  char* fresh = static_cast<char*>(calloc(static_cast<size_t>(count) + 1, 1));
  if (fresh == nullptr) return 1;
  strncpy(fresh, s + start, count);
  free(buffer_);
  buffer_ = fresh;
  length_ = count;
  bufferLength_ = count + 1;
  return 1;
}

int DMSAppString::Copy(const char* s, int start, unsigned int count) {
  return copyRange(s, start, count);
}

int DMSAppString::Copy(const DMSAppString* s, int start, unsigned int count) {
  if (s == nullptr || s->buffer_ == nullptr) return 0;
  if (s == this) {
    DMSAppString self(this);
    return copyRange(self.buffer_, start, count);
  }
  return copyRange(s->buffer_, start, count);
}

// Appending uses strcat semantics: the text goes after the first NUL of the
// buffer. Room is checked against both the length and that position, so a
// length that lags the bytes (after Clear) can never overflow the buffer.
int DMSAppString::Add(const char* s) {
  if (s == nullptr) return 0;
  size_t addLength = strlen(s);
  size_t end = buffer_ != nullptr ? strnlen(buffer_, bufferLength_) : 0;
  size_t base = end > length_ ? end : length_;
  size_t needed = base + addLength + 1;
  if (buffer_ == nullptr || needed > bufferLength_) {
    if (s >= buffer_ && buffer_ != nullptr && s < buffer_ + bufferLength_) {
      DMSAppString copy(s);  // appending from our own buffer
      return Add(copy.buffer_);
    }
    if (resizeFor(static_cast<unsigned int>(needed)) == 0) return 1;
  }
  memmove(buffer_ + end, s, addLength);
  buffer_[end + addLength] = '\0';
  length_ = static_cast<uint32_t>(length_ + addLength);
  return 1;
}

int DMSAppString::Add(const DMSAppString* s) {
  if (s == nullptr || s->buffer_ == nullptr) return 0;
  if (s == this) {
    DMSAppString copy(this);
    return Add(copy.buffer_);
  }
  return Add(s->buffer_);
}

int DMSAppString::Add(int n) {
  DMSAppString number(15u);
  number.ConvertIntToString(n, 10);
  Add(&number);
  return 1;
}

int DMSAppString::addRange(const char* s, int start, unsigned int count) {
  if (s == nullptr || count == 0 || start < 0) return 0;
  size_t n = strlen(s);
  if (n == 0 || n < count || n < static_cast<size_t>(start)) return 0;
  DMSAppString piece(static_cast<unsigned int>(count + 1));  // s may be our own buffer
  if (piece.buffer_ == nullptr) return 1;
  strncpy(piece.buffer_, s + start, count);
  size_t end = buffer_ != nullptr ? strnlen(buffer_, bufferLength_) : 0;
  size_t base = end > length_ ? end : length_;
  size_t needed = base + count + 1;
  if (buffer_ == nullptr || needed > bufferLength_) {
    if (resizeFor(static_cast<unsigned int>(needed)) == 0) return 1;
  }
  strncat(buffer_ + end, piece.buffer_, count);
  length_ += count;
  return 1;
}

int DMSAppString::Add(const char* s, int start, unsigned int count) {
  return addRange(s, start, count);
}

int DMSAppString::Add(const DMSAppString* s, int start, unsigned int count) {
  if (s == nullptr || s->buffer_ == nullptr) return 0;
  return addRange(s->buffer_, start, count);
}

int DMSAppString::Compare(const DMSAppString* s) const {
  if (s == nullptr) return 1;
  return Compare(s->buffer_);
}

int DMSAppString::Compare(const char* s) const {
  if (s == nullptr || buffer_ == nullptr) return 1;
  return truncateToInt8(strcmp(buffer_, s));
}

int DMSAppString::compareRange(const char* mine, const char* s, int start, unsigned int n,
                               bool ignoreCase) const {
  if (s == nullptr || mine == nullptr || start < 0 || n == 0) return 1;
  unsigned int ustart = static_cast<unsigned int>(start);
  if (ustart >= length_ || static_cast<uint64_t>(ustart) + n > length_) return 1;
  size_t sl = strlen(s);
  if (sl == 0 || sl < n) return 1;
  int r = ignoreCase ? strncasecmp(mine + ustart, s, n) : strncmp(mine + ustart, s, n);
  return truncateToInt8(r);
}

int DMSAppString::Compare(const char* s, int start, unsigned int n) const {
  return compareRange(buffer_, s, start, n, false);
}

int DMSAppString::Compare(const DMSAppString* s, int start, unsigned int n) const {
  return compareRange(buffer_, s != nullptr ? s->buffer_ : nullptr, start, n, false);
}

int DMSAppString::CompareI(const DMSAppString* s) const {
  if (s == nullptr) return 1;
  return CompareI(s->buffer_);
}

int DMSAppString::CompareI(const char* s) const {
  if (s == nullptr || buffer_ == nullptr) return 1;
  return truncateToInt8(strcasecmp(buffer_, s));
}

int DMSAppString::CompareI(const char* s, int start, unsigned int n) const {
  return compareRange(buffer_, s, start, n, true);
}

int DMSAppString::CompareI(const DMSAppString* s, int start, unsigned int n) const {
  return compareRange(buffer_, s != nullptr ? s->buffer_ : nullptr, start, n, true);
}

int DMSAppString::Find(const DMSAppString* s) const { return s == nullptr ? -1 : Find(s->buffer_); }

int DMSAppString::Find(const char* s) const {
  if (s == nullptr || buffer_ == nullptr) return -1;
  const char* hit = strstr(buffer_, s);
  return hit == nullptr ? -1 : static_cast<int>(hit - buffer_);
}

int DMSAppString::findRange(const char* s, int start, unsigned int n) const {
  if (buffer_ == nullptr || s == nullptr || start < 0 || *s == '\0') return -1;
  if (static_cast<unsigned int>(start) >= length_) return -1;
  // Only bytes before the first NUL of `s` can take part in the search.
  size_t take = strnlen(s, n);
  DMSAppString needle(static_cast<unsigned int>(take + 1));
  if (needle.buffer_ == nullptr) return -1;
  memcpy(needle.buffer_, s, take);
  if (static_cast<unsigned int>(start) > strlen(buffer_)) return -1;
  const char* hit = strstr(buffer_ + start, needle.buffer_);
  return hit == nullptr ? -1 : static_cast<int>(hit - buffer_);
}

int DMSAppString::Find(const char* s, int start, unsigned int n) const {
  return findRange(s, start, n);
}

int DMSAppString::Find(const DMSAppString* s, int start, unsigned int n) const {
  return findRange(s != nullptr ? s->buffer_ : nullptr, start, n);
}

int DMSAppString::Find(char c) const {
  if (buffer_ == nullptr) return -1;
  const char* hit = strchr(buffer_, c);
  return hit == nullptr ? -1 : static_cast<int>(hit - buffer_);
}

int DMSAppString::Findr(char c) const {
  if (buffer_ == nullptr) return -1;
  const char* hit = strrchr(buffer_, c);
  return hit == nullptr ? -1 : static_cast<int>(hit - buffer_);
}

int DMSAppString::FindI(const DMSAppString* s) const {
  return s == nullptr ? -1 : FindI(s->buffer_);
}

int DMSAppString::FindI(const char* s) const {
  if (s == nullptr || buffer_ == nullptr) return -1;
  const char* hit = strcasestr(buffer_, s);
  return hit == nullptr ? -1 : static_cast<int>(hit - buffer_);
}

int DMSAppString::FindI(const char* s, int start, int n) const {
  if (s == nullptr || buffer_ == nullptr || start < 0) return -1;
  if (static_cast<unsigned int>(start) >= length_) return -1;
  if (n > 0 && static_cast<size_t>(n) > strlen(s)) return -1;
  if (static_cast<unsigned int>(start) > strlen(buffer_)) return -1;
  const char* hit = strcasestr(buffer_ + start, s);
  return hit == nullptr ? -1 : static_cast<int>(hit - buffer_);
}

int DMSAppString::FindI(char c) const { return Find(c); }

int DMSAppString::ShiftLeft(int n) {
  if (n < 0 || static_cast<unsigned int>(n) > length_) return 0;
  if (n == 0 || buffer_ == nullptr) return 1;
  unsigned int un = static_cast<unsigned int>(n);
  memmove(buffer_, buffer_ + un, bufferLength_ - un);
  length_ -= un;
  bufferLength_ -= un;
  return 1;
}

int DMSAppString::Delete(int pos, unsigned int count) {
  if (pos < 0) {
    NUVPrintf(2, "[DMSAppString] Invalid Offset!!");
    return 0;
  }
  unsigned int upos = static_cast<unsigned int>(pos);
  if (count > length_ || static_cast<uint64_t>(upos) + count > length_) return 0;
  if (buffer_ == nullptr) return 0;
  unsigned int newSize = bufferLength_ - count;
  char* fresh = static_cast<char*>(calloc(newSize, 1));
  if (fresh == nullptr) {
    NUVPrintf(2, "[DMSAppString] Insufficiant Memory!!");
    return 0;
  }
  memcpy(fresh, buffer_, upos);
  memcpy(fresh + upos, buffer_ + upos + count, bufferLength_ - upos - count);
  free(buffer_);
  buffer_ = fresh;
  bufferLength_ = newSize;
  length_ -= count;
  return 1;
}

int DMSAppString::Insert(int, const DMSAppString*) { return 1; }

int DMSAppString::Insert(int, const char*) { return 1; }

int DMSAppString::Replace(int, unsigned int, const DMSAppString*) { return 1; }

int DMSAppString::Replace(int pos, unsigned int count, const char* s) {
  if (pos < 0 || s == nullptr || bufferLength_ == 0 || buffer_ == nullptr) return 0;
  unsigned int upos = static_cast<unsigned int>(pos);
  if (upos > length_ || length_ - upos < count) return 0;
  memcpy(buffer_ + upos, s, strnlen(s, count));
  return 1;
}

void DMSAppString::UpperCase() {
  if (buffer_ == nullptr) return;
  for (char* p = buffer_; *p != '\0'; ++p)
    *p = static_cast<char>(toupper(static_cast<unsigned char>(*p)));
}

void DMSAppString::LowerCase() {
  if (buffer_ == nullptr) return;
  for (char* p = buffer_; *p != '\0'; ++p)
    *p = static_cast<char>(tolower(static_cast<unsigned char>(*p)));
}

void DMSAppString::Zero() {
  length_ = 0;
  bufferLength_ = 0;
}

void DMSAppString::Clear() { length_ = 0; }

void DMSAppString::FillZero() {
  length_ = 0;
  if (buffer_ != nullptr) memset(buffer_, 0, bufferLength_);
}

void DMSAppString::TrimLeft() {
  if (buffer_ == nullptr || bufferLength_ == 0) return;
  size_t end = strnlen(buffer_, bufferLength_);
  size_t skip = 0;
  while (skip < end && buffer_[skip] == ' ') ++skip;
  if (skip == 0) return;
  size_t rest = (length_ > skip ? length_ - skip : 0);
  if (rest > end - skip) rest = end - skip;
  char* fresh = static_cast<char*>(calloc(rest + 1, 1));
  if (fresh == nullptr) return;
  memcpy(fresh, buffer_ + skip, rest);
  free(buffer_);
  buffer_ = fresh;
  length_ = static_cast<uint32_t>(rest);
  bufferLength_ = static_cast<uint32_t>(rest + 1);
}

void DMSAppString::TrimRight() {
  if (buffer_ == nullptr || length_ == 0 || length_ >= bufferLength_) return;
  for (uint32_t i = length_ - 1; i > 0 && buffer_[i] == ' '; --i) {
    buffer_[i] = '\0';
    length_ = i;
  }
}

void DMSAppString::TrimAll() {
  TrimLeft();
  TrimRight();
  if (buffer_ != nullptr) length_ = static_cast<uint32_t>(strnlen(buffer_, bufferLength_));
}

int DMSAppString::Format(const char* format, ...) {
  if (format == nullptr) {
    NUVPrintf(2, "[DMSAppString::Format] pBuffer is NULL!!");
    return 0;
  }
  std::unique_ptr<char, CFree> scratch(static_cast<char*>(calloc(kFormatScratchBytes, 1)));
  if (scratch == nullptr) {
    NUVPrintf(2, "[DMSAppString::Format] Insufficiant Memory!!");
    return 0;
  }
  va_list args;
  va_start(args, format);
  vsnprintf(scratch.get(), kFormatScratchBytes, format, args);  // cut, never overflow
  va_end(args);
  Copy(scratch.get());
  return static_cast<int>(length_);
}

int DMSAppString::ConvertStringToInt() const {
  if (buffer_ == nullptr) return -1;
  return static_cast<int>(parseLong32(buffer_));
}

long DMSAppString::ConvertStringToLong() const {
  if (buffer_ == nullptr) return 0;
  return static_cast<long>(parseLong32(buffer_));
}

int64_t DMSAppString::ConvertStringToInt64() const {
  if (buffer_ == nullptr) return -1;
  return parseLong32(buffer_);
}

uint64_t DMSAppString::ConvertStringToLlong() const {
  if (buffer_ == nullptr) return ~static_cast<uint64_t>(0);
  return parseUnsignedLong32(buffer_);
}

int DMSAppString::ConvertIntToString(int n, int base) {
  if (buffer_ == nullptr) return 0;
  if (bufferLength_ < kNumberBufferBytes) {
    char* fresh = static_cast<char*>(calloc(kNumberBufferBytes, 1));
    if (fresh == nullptr) return 0;
    free(buffer_);
    buffer_ = fresh;
    bufferLength_ = kNumberBufferBytes;
  }
  int written = base == 16 ? snprintf(buffer_, bufferLength_, "%x", static_cast<unsigned int>(n))
                           : snprintf(buffer_, bufferLength_, "%d", n);
  if (written < 0) return 0;
  length_ = static_cast<uint32_t>(written);
  if (base != 16) SetBufferLength(length_ + 1);
  return 1;
}

int DMSAppString::ConvertUnsignedLongToString(unsigned long long n) {
  if (buffer_ == nullptr) return 0;
  if (bufferLength_ < kNumberBufferBytes) {
    char* fresh = static_cast<char*>(calloc(kNumberBufferBytes, 1));
    if (fresh == nullptr) return 0;
    free(buffer_);
    buffer_ = fresh;
    bufferLength_ = kNumberBufferBytes;
  } else {
    memset(buffer_, 0, bufferLength_);
  }
  int written = snprintf(buffer_, bufferLength_, "%llu", n);
  if (written < 0) return 0;
  length_ = static_cast<uint32_t>(written);
  return 1;
}
