// The content engine's one response slot.
#include <atomic>

#include "dms_content_engine.h"

namespace {
std::atomic<NUVCDSWLResponseCallback> gCallback{nullptr};
}  // namespace

int NUVCERegisterResponseCallback(NUVCDSWLResponseCallback callback) {
  gCallback.store(callback);
  return 0;
}

int NUVCEDeregisterResponseCallback() {
  gCallback.store(nullptr);
  return 0;
}

NUVCDSWLResponseCallback NUVCEGetResponseCallback() { return gCallback.load(); }
