// The device's four icons (48x48 and 120x120, JPEG and PNG), built into the
// library from stack/icons/ and copied into the description directory, where
// the device serves them at the paths the description lists.
//
// Thread safety: pure; installIcons writes each file atomically.
#ifndef DMS_STACK_DEVICE_ICONS_H
#define DMS_STACK_DEVICE_ICONS_H

#include <cstddef>
#include <string>

namespace dmsstack {

struct EmbeddedIcon {
  const char* fileName;  // "icon_48x48.jpg"
  const unsigned char* data;
  size_t size;
};

// Defined in the generated icon_data.cpp.
extern const EmbeddedIcon kEmbeddedIcons[];
extern const size_t kEmbeddedIconCount;

// Writes every icon that `dir` lacks; existing files are left alone so that
// a product may put its own icons there. True when all are present after.
bool installIcons(const std::string& dir);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_ICONS_H
