#include "scan_walker.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>

#include "media_parsers.h"
#include "nuv_log.h"
#include "scan_text.h"

namespace scan_walker {

namespace {

struct DirCloser {
  void operator()(DIR* d) const { closedir(d); }
};

bool allDigits(const std::string& s, size_t from, size_t count) {
  for (size_t i = from; i < from + count; ++i)
    if (!isdigit(static_cast<unsigned char>(s[i]))) return false;
  return true;
}

bool freeChars(const std::string& s, size_t from, size_t count) {
  for (size_t i = from; i < from + count; ++i) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    if (!isalnum(c) && c != '_') return false;
  }
  return true;
}

// "100CANON": a folder number 100-999, then five name characters.
bool dcfFolderName(const std::string& n) {
  return n.size() == 8 && allDigits(n, 0, 3) && n[0] != '0' && freeChars(n, 3, 5);
}

// "IMG_0001.JPG": four name characters, a file number 0001-9999, a
// three-character extension.
bool dcfFileName(const std::string& n) {
  return n.size() == 12 && freeChars(n, 0, 4) && allDigits(n, 4, 4) &&
         n.compare(4, 4, "0000") != 0 && n[8] == '.' && freeChars(n, 9, 3);
}

bool equalNoCase(const std::string& a, const char* b) {
  size_t i = 0;
  for (; i < a.size() && b[i] != '\0'; ++i)
    if (tolower(static_cast<unsigned char>(a[i])) != tolower(static_cast<unsigned char>(b[i])))
      return false;
  return i == a.size() && b[i] == '\0';
}

std::atomic<bool> gFollowLinksOutside{false};

// The path with every link resolved; "" when it cannot be.
std::string resolved(const std::string& path) {
  char* real = realpath(path.c_str(), nullptr);
  if (real == nullptr) return "";
  std::string result(real);
  free(real);
  return result;
}

void addIfFile(const std::string& path, const std::string& realRoot,
               std::vector<FoundFile>* files) {
  struct stat st {};
  if (lstat(path.c_str(), &st) != 0) return;
  // One system call per file; a link costs a second look at its target.
  if (S_ISLNK(st.st_mode)) {
    if (linkLeadsOutside(path, realRoot)) {
      NUVPrintf(NUV_LOG_ERROR, "[DirectoryScanner] skipped %s: a link to outside the media folder",
                path.c_str());
      return;
    }
    if (stat(path.c_str(), &st) != 0) return;
  }
  if (!S_ISREG(st.st_mode)) return;
  files->push_back({path, static_cast<long long>(st.st_size), static_cast<long long>(st.st_mtime)});
}

// Entries of `dir` in name order (so scans register files in a stable order).
std::vector<std::string> entries(const std::string& dir) {
  std::vector<std::string> names;
  std::unique_ptr<DIR, DirCloser> d(opendir(dir.c_str()));
  if (d == nullptr) return names;
  while (dirent* e = readdir(d.get())) {
    if (e->d_name[0] == '.') continue;  // ".", ".." and hidden entries
    names.emplace_back(e->d_name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool isDir(const std::string& path, bool followLinks) {
  struct stat st {};
  int rc = followLinks ? stat(path.c_str(), &st) : lstat(path.c_str(), &st);
  return rc == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

void setFollowLinksOutside(bool follow) { gFollowLinksOutside.store(follow); }

bool linkLeadsOutside(const std::string& path, const std::string& realRoot) {
  if (gFollowLinksOutside.load()) return false;
  struct stat st {};
  if (lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return false;
  const std::string target = resolved(path);
  if (target.empty() || realRoot.empty()) return true;
  return realRoot != "/" && target.compare(0, realRoot.size() + 1, realRoot + "/") != 0;
}

bool wantedName(const std::string& name) {
  std::string ext = scan_text::extension(name);
  return ext != "thm" && media_parsers::wantedExtension(ext);
}

void walkTree(const std::string& root, const std::atomic<bool>& cancel,
              std::vector<FoundFile>* files) {
  const std::string realRoot = resolved(root);
  std::vector<std::string> pending{root};
  while (!pending.empty() && !cancel.load()) {
    std::string dir = pending.back();
    pending.pop_back();
    std::vector<std::string> subfolders;
    for (const std::string& name : entries(dir)) {
      std::string path = dir + "/" + name;
      if (isDir(path, false)) {
        subfolders.push_back(path);
      } else if (wantedName(name)) {
        addIfFile(path, realRoot, files);
      }
    }
    // Reverse so that folders are visited in name order.
    pending.insert(pending.end(), subfolders.rbegin(), subfolders.rend());
  }
}

void walkDcf(const std::string& root, const std::atomic<bool>& cancel,
             std::vector<FoundFile>* files) {
  const std::string realRoot = resolved(root);
  for (const std::string& top : entries(root)) {
    if (!equalNoCase(top, "DCIM") || !isDir(root + "/" + top, true)) continue;
    std::string dcim = root + "/" + top;
    for (const std::string& folder : entries(dcim)) {
      if (cancel.load()) return;
      if (!dcfFolderName(folder) || !isDir(dcim + "/" + folder, true)) continue;
      for (const std::string& name : entries(dcim + "/" + folder)) {
        if (dcfFileName(name) && wantedName(name))
          addIfFile(dcim + "/" + folder + "/" + name, realRoot, files);
      }
    }
  }
}

bool isDcfPath(const std::string& root, const std::string& path) {
  if (path.compare(0, root.size() + 1, root + "/") != 0) return false;
  std::string rest = path.substr(root.size() + 1);
  size_t a = rest.find('/');
  if (a == std::string::npos || !equalNoCase(rest.substr(0, a), "DCIM")) return false;
  size_t b = rest.find('/', a + 1);
  if (b == std::string::npos || !dcfFolderName(rest.substr(a + 1, b - a - 1))) return false;
  std::string name = rest.substr(b + 1);
  return name.find('/') == std::string::npos && dcfFileName(name) && wantedName(name);
}

}  // namespace scan_walker
