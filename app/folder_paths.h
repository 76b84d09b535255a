// Small questions about folders that the daemon's options and its watcher
// both ask.
#ifndef DMS_APP_FOLDER_PATHS_H
#define DMS_APP_FOLDER_PATHS_H

#include <string>

// Whether `path` names a folder (links followed).
bool IsDirectory(const std::string& path);

// Whether `path` is `folder` itself or lies below it (both without a
// trailing slash; "/" contains everything).
bool IsWithin(const std::string& path, const std::string& folder);

#endif  // DMS_APP_FOLDER_PATHS_H
