// Feeds arbitrary text through the database value encoding and decoding: every
// title, path and creator stored in a text column goes through them.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "dms_conversions.h"
#include "dms_string.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const char* text = bytes.c_str();  // the text ends at the first NUL
  const size_t length = strlen(text);

  std::unique_ptr<DMSAppString> encoded(
      DMSAppConversions::DMSAppConvertNormalStringToDBString(text));
  if (encoded != nullptr) {
    if (encoded->GetStringLength() >= DMSAppConversions::kMaxDBStringBytes) abort();
    if (strpbrk(encoded->ReadString(), "'\"&,%") != nullptr) abort();
    std::unique_ptr<DMSAppString> decoded(
        DMSAppConversions::DMSAppConvertDBStringToNormalString(encoded->ReadString()));
    // '^' is not encoded, so only texts without it must survive the trip.
    if (strchr(text, '^') == nullptr &&
        (decoded == nullptr || strcmp(decoded->ReadString(), text) != 0)) {
      abort();
    }
  } else if (length != 0 && length < DMSAppConversions::kMaxDBStringBytes &&
             strpbrk(text, "'\"&,%") == nullptr) {
    abort();  // plain short text needs no room to grow, so it must be accepted
  }

  std::unique_ptr<DMSAppString> normal(
      DMSAppConversions::DMSAppConvertDBStringToNormalString(text));
  if (normal != nullptr) {
    if (normal->GetStringLength() >= DMSAppConversions::kMaxNormalStringBytes) abort();
    if (normal->GetStringLength() > length) abort();
  } else if (length != 0 && length < DMSAppConversions::kMaxNormalStringBytes) {
    abort();  // decoding never grows the text
  }
  return 0;
}
