// Feeds arbitrary text through the URL conversions: a resource URI's file name
// is escaped with them and a request's path is decoded with them.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "dms_conversions.h"
#include "dms_string.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  DMSAppString input(text.c_str());

  std::unique_ptr<DMSAppString> changed(DMSAppConversions::DMSAppChangeUnicodeOfURLMA(&input));
  if (changed == nullptr) abort();
  // Every escaped byte comes back, so a name without NUL survives the trip.
  std::unique_ptr<DMSAppString> restored(
      DMSAppConversions::DMSAppRestoreUnicodeOfURLMA(changed.get()));
  if (restored == nullptr || strcmp(restored->ReadString(), input.ReadString()) != 0) abort();

  std::unique_ptr<DMSAppString> restoredRaw(DMSAppConversions::DMSAppRestoreUnicodeOfURLMA(&input));
  std::unique_ptr<DMSAppString> escaped(DMSAppConversions::DMSAppEscapeURLMA(&input));
  if (restoredRaw == nullptr || escaped == nullptr) abort();
  if (restoredRaw->GetStringLength() > input.GetStringLength()) abort();

  DMSAppString inPlace(text.c_str());
  if (DMSAppConversions::DMSAppUnescapeURL(&inPlace) != 0) abort();
  if (inPlace.GetStringLength() != strlen(inPlace.ReadString())) abort();
  if (inPlace.GetStringLength() > input.GetStringLength()) abort();
  return 0;
}
