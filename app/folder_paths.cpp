#include "folder_paths.h"

#include <sys/stat.h>

bool IsDirectory(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsWithin(const std::string& path, const std::string& folder) {
  if (folder == "/" || path == folder) return true;
  return path.size() > folder.size() && path[folder.size()] == '/' &&
         path.compare(0, folder.size(), folder) == 0;
}
