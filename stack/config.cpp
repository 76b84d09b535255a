// The stack's configuration store, model name and certification state.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "export_guard.h"
#include "nuv_config.h"

namespace {

std::mutex gMutex;
std::map<std::string, std::string>& store() {
  static std::map<std::string, std::string> values;
  return values;
}
std::string gModelName;
bool gHasModelName = false;
std::atomic<int> gCertification{0};

char* duplicate(const std::string& text) {
  char* copy = static_cast<char*>(malloc(text.size() + 1));
  if (copy != nullptr) memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

}  // namespace

extern "C" char* NUVGetConfigurationMA(const char* key) {
  return dms_export::guarded("NUVGetConfigurationMA", static_cast<char*>(nullptr), [&]() -> char* {
    if (key == nullptr) return nullptr;
    std::lock_guard<std::mutex> lock(gMutex);
    auto it = store().find(key);
    return it == store().end() ? nullptr : duplicate(it->second);
  });
}

extern "C" int NUVSetConfiguration(const char* key, const char* value) {
  return dms_export::guarded("NUVSetConfiguration", 1, [&]() -> int {
    if (key == nullptr) return 1;
    std::lock_guard<std::mutex> lock(gMutex);
    if (value == nullptr) {
      store().erase(key);
    } else {
      store()[key] = value;
    }
    return 0;
  });
}

extern "C" void NUVClearConfiguration(void) {
  dms_export::guardedVoid("NUVClearConfiguration", [&] {
    std::lock_guard<std::mutex> lock(gMutex);
    store().clear();
  });
}

// The returned pointer stays valid until the next NUVSetModelName.
extern "C" const char* NUVGetModelName(void) {
  return dms_export::guarded("NUVGetModelName", static_cast<const char*>(nullptr),
                             [&]() -> const char* {
                               std::lock_guard<std::mutex> lock(gMutex);
                               return gHasModelName ? gModelName.c_str() : nullptr;
                             });
}

extern "C" int NUVSetModelName(const char* name) {
  return dms_export::guarded("NUVSetModelName", 1, [&]() -> int {
    std::lock_guard<std::mutex> lock(gMutex);
    gHasModelName = name != nullptr;
    gModelName = name != nullptr ? name : "";
    return 0;
  });
}

extern "C" int NUVGetDlnaCertificationState(void) { return gCertification.load(); }

extern "C" void NUVSetDlnaCertificationState(int on) { gCertification.store(on != 0 ? 1 : 0); }
