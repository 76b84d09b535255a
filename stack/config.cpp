// The stack's configuration store, model name and certification state.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

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
  if (key == nullptr) return nullptr;
  std::lock_guard<std::mutex> lock(gMutex);
  auto it = store().find(key);
  return it == store().end() ? nullptr : duplicate(it->second);
}

extern "C" int NUVSetConfiguration(const char* key, const char* value) {
  if (key == nullptr) return 1;
  std::lock_guard<std::mutex> lock(gMutex);
  try {
    if (value == nullptr) {
      store().erase(key);
    } else {
      store()[key] = value;
    }
  } catch (...) {
    return 1;
  }
  return 0;
}

extern "C" void NUVClearConfiguration(void) {
  std::lock_guard<std::mutex> lock(gMutex);
  store().clear();
}

// The returned pointer stays valid until the next NUVSetModelName.
extern "C" const char* NUVGetModelName(void) {
  std::lock_guard<std::mutex> lock(gMutex);
  return gHasModelName ? gModelName.c_str() : nullptr;
}

extern "C" int NUVSetModelName(const char* name) {
  std::lock_guard<std::mutex> lock(gMutex);
  gHasModelName = name != nullptr;
  gModelName = name != nullptr ? name : "";
  return 0;
}

extern "C" int NUVGetDlnaCertificationState(void) { return gCertification.load(); }

extern "C" void NUVSetDlnaCertificationState(int on) { gCertification.store(on != 0 ? 1 : 0); }
