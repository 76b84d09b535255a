// Whole-file reads and atomic writes of the description directory's files.
//
// Thread safety: pure functions; concurrent writers of one path each leave a
// complete file (the last rename wins).
#ifndef DMS_STACK_DEVICE_FILE_TEXT_H
#define DMS_STACK_DEVICE_FILE_TEXT_H

#include <cstddef>
#include <string>

namespace dmsstack {

// Reads the whole file into `*text`. False for a missing or unreadable file
// or one larger than `limit` bytes.
bool readWholeFile(const std::string& path, size_t limit, std::string* text);

// Writes `text` to a temporary file beside `path`, flushes it and renames it
// over `path`, so readers see the old or the new content, never a mix.
bool writeFileAtomically(const std::string& path, const std::string& text);

// `dir` + "/" + `name` without doubling a slash.
std::string joinPath(const std::string& dir, const std::string& name);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_FILE_TEXT_H
