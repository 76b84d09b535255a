// DMSAppString: the one owned, growable, NUL-terminated byte string of the
// server. Names, paths, SQL, XML and SOAP bodies all travel in it.
//
// Byte oriented: lengths count bytes and case operations use the C locale.
// Growth is exact (length + 1): there is no spare capacity and no small-string
// buffer. The results at the edges are part of the contract and other code
// relies on them:
//   - Copy/Add/Replace/Insert return 1 for done and 0 for refused;
//   - comparisons return the C library result truncated to signed 8 bits
//     (only sign and zero-ness mean anything) and 1 for any refusal;
//   - searches return a position from 0, or -1.
// Deliberate oddities kept for callers that depend on them: Insert and the
// DMSAppString form of Replace change nothing and return 1; FindI(char) is
// case-sensitive; TrimRight never looks at position 0; the 64-bit named number
// conversions use the 32-bit C conversions.
//
// Thread safety: none; an instance belongs to one thread at a time.
#ifndef DMS_PLATFORM_DMS_STRING_H
#define DMS_PLATFORM_DMS_STRING_H

#include <cstdint>

class DMSAppString {
 public:
  // Allocates a 4-byte zeroed buffer (null if the allocation fails).
  DMSAppString();
  // Empty string with a null buffer if `other` is null, has a null buffer or
  // a buffer length of 0; otherwise a copy with the same buffer length.
  explicit DMSAppString(const DMSAppString* other);
  // Null `text` gives a null buffer; otherwise buffer length strlen + 1.
  DMSAppString(const char* text);  // NOLINT: implicit by design of callers
  // Reserves a zeroed buffer of `size` bytes with length 0 (0: null buffer).
  explicit DMSAppString(unsigned int size);
  ~DMSAppString();

  DMSAppString(const DMSAppString&) = delete;
  DMSAppString& operator=(const DMSAppString&) = delete;

  unsigned int GetStringLength() const { return length_; }
  // Only lowers a non-empty string's length; an empty one takes any `n`
  // (the caller keeps n below the buffer length). Nothing for a null buffer.
  void SetStringLength(unsigned int n);
  unsigned int GetBufferLength() const { return bufferLength_; }
  void SetBufferLength(unsigned int n);

  // The buffer itself, not a copy; may be null.
  char* ReadString() const { return buffer_; }
  // Pointer to byte `pos`; null for a null buffer, pos < 0 or pos >= length.
  char* ReadString(int pos) const;
  // New malloc copy (buffer-length bytes, NUL-terminated); caller frees.
  char* GetString() const;
  // New string of `count` bytes from `start` (see the ranged Copy); caller
  // deletes. Null if start < 0, start >= length, null buffer or refused copy.
  DMSAppString* GetSubString(int start, unsigned int count) const;

  int Copy(const DMSAppString* s);
  int Copy(const char* s);
  // Content becomes up to `count` bytes from `start` of `s`, and the length
  // is set to `count` even when fewer bytes were there.
  int Copy(const char* s, int start, unsigned int count);
  int Copy(const DMSAppString* s, int start, unsigned int count);
  int Add(const DMSAppString* s);
  int Add(const char* s);
  int Add(int n);
  int Add(const char* s, int start, unsigned int count);
  int Add(const DMSAppString* s, int start, unsigned int count);

  int Compare(const DMSAppString* s) const;
  int Compare(const char* s) const;
  int Compare(const char* s, int start, unsigned int n) const;
  int Compare(const DMSAppString* s, int start, unsigned int n) const;
  int CompareI(const DMSAppString* s) const;
  int CompareI(const char* s) const;
  int CompareI(const char* s, int start, unsigned int n) const;
  int CompareI(const DMSAppString* s, int start, unsigned int n) const;

  int Find(const DMSAppString* s) const;
  int Find(const char* s) const;
  // Searches for the first `n` bytes of `s` from `start` on.
  int Find(const char* s, int start, unsigned int n) const;
  int Find(const DMSAppString* s, int start, unsigned int n) const;
  int Find(char c) const;
  int Findr(char c) const;
  int FindI(const DMSAppString* s) const;
  int FindI(const char* s) const;
  // Searches for the whole of `s` (not only `n` bytes) from `start`.
  int FindI(const char* s, int start, int n) const;
  // Case-sensitive despite its name, exactly as Find(char).
  int FindI(char c) const;

  int ShiftLeft(int n);
  int Delete(int pos, unsigned int count);
  // Insertion is not offered: both forms return 1 and change nothing.
  int Insert(int pos, const DMSAppString* s);
  int Insert(int pos, const char* s);
  // Does nothing and returns 1.
  int Replace(int pos, unsigned int count, const DMSAppString* s);
  // Overwrites `count` bytes at `pos` in place; the length does not change.
  int Replace(int pos, unsigned int count, const char* s);
  void UpperCase();
  void LowerCase();
  // Forgets length and buffer length but keeps (does not free) the buffer.
  void Zero();
  void Clear();
  void FillZero();
  void TrimLeft();
  void TrimRight();
  void TrimAll();
  // Formats into a 16384-byte scratch buffer and copies the result in.
  // Returns the new length, or 0 on failure. Output beyond 16383 bytes is
  // cut there (never overflows).
  int Format(const char* format, ...) __attribute__((format(printf, 2, 3)));

  int ConvertStringToInt() const;
  long ConvertStringToLong() const;
  int64_t ConvertStringToInt64() const;
  uint64_t ConvertStringToLlong() const;
  int ConvertIntToString(int n, int base);
  int ConvertUnsignedLongToString(unsigned long long n);

 private:
  int resizeFor(unsigned int newLength);
  int copyRange(const char* s, int start, unsigned int count);
  int addRange(const char* s, int start, unsigned int count);
  int compareRange(const char* other, const char* s, int start, unsigned int n,
                   bool ignoreCase) const;
  int findRange(const char* s, int start, unsigned int n) const;

  char* buffer_;
  uint32_t length_;
  uint32_t bufferLength_;
};

#endif  // DMS_PLATFORM_DMS_STRING_H
