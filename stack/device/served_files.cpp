// The private web root of a started device.
#include "served_files.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "description.h"
#include "file_text.h"
#include "nuv_log.h"
#include "stack_limits.h"

namespace dmsstack {

namespace {

bool plainFileName(std::string_view name) {
  if (name.empty() || name.size() > 255 || name == "." || name == "..") return false;
  for (char c : name) {
    bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
              c == '.' || c == '_' || c == '-';
    if (!ok) return false;
  }
  return true;
}

void addReference(const std::string& url, std::vector<std::string>* names) {
  std::string_view name = url;
  if (!name.empty() && name.front() == '/') name.remove_prefix(1);
  if (!plainFileName(name) || name == kDeviceDescriptionFileName) return;
  if (std::find(names->begin(), names->end(), name) == names->end()) names->emplace_back(name);
}

}  // namespace

std::vector<std::string> referencedFiles(std::string_view description) {
  std::vector<std::string> names;
  for (const ServiceEntry& service : listServices(description))
    addReference(service.scpdUrl, &names);
  for (const std::string& url : listIconUrls(description)) addReference(url, &names);
  return names;
}

ServedFiles::~ServedFiles() {
  if (dir_.empty()) return;
  for (const std::string& name : files_) unlink(joinPath(dir_, name).c_str());
  unlink(descriptionPath().c_str());
  rmdir(dir_.c_str());
}

std::string ServedFiles::descriptionPath() const {
  return joinPath(dir_, kDeviceDescriptionFileName);
}

bool ServedFiles::prepare(const std::string& sourceDir, const std::string& filledDescription) {
  if (!dir_.empty()) return false;
  const char* base = getenv("TMPDIR");
  std::string pattern =
      std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") + "/dmsstack-XXXXXX";
  if (mkdtemp(&pattern[0]) == nullptr) return false;
  dir_ = pattern;
  if (!writeFileAtomically(descriptionPath(), filledDescription)) return false;
  contents_[kDeviceDescriptionFileName] = filledDescription;
  for (const std::string& name : referencedFiles(filledDescription)) {
    std::string content;
    if (!readWholeFile(joinPath(sourceDir, name), kMaxServedFileBytes, &content)) {
      NUVPrintf(NUV_LOG_ERROR, "[ServedFiles] %s is listed in the description but not readable",
                name.c_str());
      continue;
    }
    if (!writeFileAtomically(joinPath(dir_, name), content)) return false;
    files_.push_back(name);
    contents_[name] = std::move(content);
  }
  return true;
}

}  // namespace dmsstack

namespace dmsstack {

const std::string* ServedFiles::content(const std::string& name) const {
  auto it = contents_.find(name);
  return it == contents_.end() ? nullptr : &it->second;
}

const char* ServedFiles::contentType(std::string_view name) {
  auto endsWith = [name](std::string_view suffix) {
    if (name.size() < suffix.size()) return false;
    std::string_view tail = name.substr(name.size() - suffix.size());
    for (size_t i = 0; i < suffix.size(); ++i)
      if (tolower(static_cast<unsigned char>(tail[i])) != suffix[i]) return false;
    return true;
  };
  if (endsWith(".xml")) return "text/xml; charset=\"utf-8\"";
  if (endsWith(".png")) return "image/png";
  if (endsWith(".jpg") || endsWith(".jpeg")) return "image/jpeg";
  return "application/octet-stream";
}

}  // namespace dmsstack
