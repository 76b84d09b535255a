// Small helpers for DMSAppString texts inside the content store.
#ifndef DMS_CONTENT_TEXT_UTIL_H
#define DMS_CONTENT_TEXT_UTIL_H

#include <string>

class DMSAppString;

namespace text_util {

// The text (up to its first NUL), or null for a null string or buffer.
const char* textOf(const DMSAppString* s);
// The same as a std::string: "" for a null string or buffer.
inline std::string stringOf(const DMSAppString* s) {
  const char* text = textOf(s);
  return text != nullptr ? std::string(text) : std::string();
}
// Whole-text equality; two nulls are not equal (nothing matches "no text").
bool sameText(const DMSAppString* a, const DMSAppString* b);
bool sameText(const DMSAppString* a, const char* b);
// The same, ignoring ASCII case.
bool sameTextI(const DMSAppString* a, const DMSAppString* b);
// A new string holding `text`, or null for null text or no memory.
DMSAppString* newText(const char* text);
inline DMSAppString* newText(const std::string& text) { return newText(text.c_str()); }
// A new copy of `s`, or null for null.
DMSAppString* copyOf(const DMSAppString* s);

}  // namespace text_util

#endif  // DMS_CONTENT_TEXT_UTIL_H
