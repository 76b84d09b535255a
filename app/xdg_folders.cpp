#include "xdg_folders.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

// The value of `key` in user-dirs.dirs syntax (KEY="value", '#' comments),
// with $HOME expanded; "" when absent.
std::string userDir(const std::string& text, const std::string& key, const std::string& home) {
  std::istringstream in(text);
  std::string line;
  std::string found;
  while (std::getline(in, line)) {
    size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos || line[start] == '#') continue;
    if (line.compare(start, key.size() + 1, key + "=") != 0) continue;
    std::string value = line.substr(start + key.size() + 1);
    while (!value.empty() && (value.back() == '\r' || value.back() == ' ')) value.pop_back();
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
      value = value.substr(1, value.size() - 2);
    if (value.rfind("$HOME", 0) == 0) {
      value = home + value.substr(5);
    } else if (value.empty() || value[0] != '/') {
      continue;  // only absolute or $HOME-relative paths are valid
    }
    found = value;  // the last assignment wins, as in the shell
  }
  while (found.size() > 1 && found.back() == '/') found.pop_back();
  return found;
}

}  // namespace

std::vector<std::string> XdgMediaFolders(const std::string& userDirsText, const std::string& home) {
  struct Kind {
    const char* key;
    const char* fallback;
  };
  const Kind kinds[] = {{"XDG_PICTURES_DIR", "/Pictures"},
                        {"XDG_MUSIC_DIR", "/Music"},
                        {"XDG_VIDEOS_DIR", "/Videos"}};
  std::string homeDir = home;
  while (homeDir.size() > 1 && homeDir.back() == '/') homeDir.pop_back();
  std::vector<std::string> folders;
  for (const Kind& kind : kinds) {
    std::string folder = userDir(userDirsText, kind.key, homeDir);
    if (folder.empty()) folder = homeDir + kind.fallback;
    if (folder == homeDir) continue;
    folders.push_back(folder);
  }
  return folders;
}

std::vector<std::string> UserXdgMediaFolders() {
  const char* home = getenv("HOME");
  if (home == nullptr || *home != '/') return {};
  const char* config = getenv("XDG_CONFIG_HOME");
  std::string file =
      (config != nullptr && *config == '/') ? std::string(config) : std::string(home) + "/.config";
  file += "/user-dirs.dirs";
  std::ifstream in(file);
  std::stringstream text;
  if (in) text << in.rdbuf();
  return XdgMediaFolders(text.str(), home);
}
