// Feeds arbitrary text through the XML escape and unescape: metadata from media
// files and from CreateObject requests passes through both.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "dms_conversions.h"
#include "dms_string.h"

namespace {

// Length of the escaped form of `text`, counted independently of the code
// under test.
size_t escapedLength(const char* text) {
  size_t length = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (c == '<' || c == '>') {
      length += 4;
    } else if (c == '&') {
      length += 5;
    } else if (c == '\'' || c == '"') {
      length += 6;
    } else if (c < 10) {
      length += 4;
    } else if (c < 32) {
      length += 5;
    } else {
      length += 1;
    }
  }
  return length;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  DMSAppString input(text.c_str());
  const size_t length = input.GetStringLength();

  std::unique_ptr<DMSAppString> escaped(DMSAppConversions::DMSAppEscapeXmlValue(&input));
  const size_t capacity = length == 1 ? 12 : 6 * length;
  const bool fits = length != 0 && escapedLength(input.ReadString()) < capacity;
  if ((escaped != nullptr) != fits) abort();
  if (escaped != nullptr) {
    if (escaped->GetStringLength() != escapedLength(input.ReadString())) abort();
    std::unique_ptr<DMSAppString> back(DMSAppConversions::DMSAppUnescapeXmlValue(escaped.get()));
    // The escape writes every '&' as "&amp;", so decoding gives the text back.
    if (back == nullptr || strcmp(back->ReadString(), input.ReadString()) != 0) abort();
  }

  DMSAppString raw(text.c_str());
  std::unique_ptr<DMSAppString> decoded(DMSAppConversions::DMSAppUnescapeXmlValue(&raw));
  if (decoded == nullptr) abort();
  if (decoded->GetStringLength() > length || raw.GetStringLength() != decoded->GetStringLength())
    abort();
  if (strcmp(raw.ReadString(), decoded->ReadString()) != 0) abort();
  return 0;
}
