// Copies the built-in icons into the description directory.
#include "icons.h"

#include <unistd.h>

#include "file_text.h"
#include "nuv_log.h"

namespace dmsstack {

bool installIcons(const std::string& dir) {
  bool ok = true;
  for (size_t i = 0; i < kEmbeddedIconCount; ++i) {
    const EmbeddedIcon& icon = kEmbeddedIcons[i];
    const std::string path = joinPath(dir, icon.fileName);
    if (access(path.c_str(), F_OK) == 0) continue;
    std::string content(reinterpret_cast<const char*>(icon.data), icon.size);
    if (!writeFileAtomically(path, content)) {
      NUVPrintf(NUV_LOG_ERROR, "[Icons] cannot write %s", path.c_str());
      ok = false;
    }
  }
  return ok;
}

}  // namespace dmsstack
