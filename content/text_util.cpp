#include "text_util.h"

#include <strings.h>

#include <cstring>
#include <memory>
#include <new>

#include "dms_string.h"

namespace text_util {

const char* textOf(const DMSAppString* s) { return s == nullptr ? nullptr : s->ReadString(); }

bool sameText(const DMSAppString* a, const DMSAppString* b) { return sameText(a, textOf(b)); }

bool sameText(const DMSAppString* a, const char* b) {
  const char* left = textOf(a);
  return left != nullptr && b != nullptr && strcmp(left, b) == 0;
}

bool sameTextI(const DMSAppString* a, const DMSAppString* b) {
  const char* left = textOf(a);
  const char* right = textOf(b);
  return left != nullptr && right != nullptr && strcasecmp(left, right) == 0;
}

DMSAppString* newText(const char* text) {
  if (text == nullptr) return nullptr;
  std::unique_ptr<DMSAppString> s(new (std::nothrow) DMSAppString(text));
  if (s != nullptr && s->ReadString() == nullptr) return nullptr;
  return s.release();
}

DMSAppString* copyOf(const DMSAppString* s) { return newText(textOf(s)); }

}  // namespace text_util
