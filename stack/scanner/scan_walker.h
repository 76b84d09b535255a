// Finding the media files of a folder: every wanted file below it, or only
// the files of the camera's DCF layout.
#ifndef DMS_SCANNER_SCAN_WALKER_H
#define DMS_SCANNER_SCAN_WALKER_H

#include <atomic>
#include <string>
#include <vector>

namespace scan_walker {

struct FoundFile {
  std::string path;
  long long size = 0;
  long long mtime = 0;
};

// Files with a wanted extension below `root` (hidden entries and symbolic
// links to folders are not followed, links to files outside `root` only when
// allowed; ".THM" movie sidecars are left out).
// Stops early when `cancel` becomes true.
void walkTree(const std::string& root, const std::atomic<bool>& cancel,
              std::vector<FoundFile>* files);
// The same for root/DCIM/NNNXXXXX/XXXXNNNN.EXT only (names compared without
// regard to case).
void walkDcf(const std::string& root, const std::atomic<bool>& cancel,
             std::vector<FoundFile>* files);
// Links to files outside the media folder are left out (the folder is what
// the user chose to share) unless this is set; process-wide.
void setFollowLinksOutside(bool follow);
// Whether `path` is a symbolic link that resolves outside `realRoot` (a
// folder without links in its path) while such links are left out.
bool linkLeadsOutside(const std::string& path, const std::string& realRoot);
// Whether `path` has the shape of a DCF file below `root`.
bool isDcfPath(const std::string& root, const std::string& path);

// Whether the scanner looks at a file of this name at all.
bool wantedName(const std::string& name);

}  // namespace scan_walker

#endif  // DMS_SCANNER_SCAN_WALKER_H
