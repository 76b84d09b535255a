#include "upload_names.h"

#include <strings.h>

#include <cstring>

#include "transfer_limits.h"

namespace dms_upload {

namespace {

bool isSafeChar(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-' || c == '.';
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Decodes %XX once; false for a malformed escape.
bool percentDecode(const std::string& in, std::string* out) {
  out->clear();
  for (size_t i = 0; i < in.size(); ++i) {
    if (in[i] != '%') {
      out->push_back(in[i]);
      continue;
    }
    if (i + 2 >= in.size()) return false;
    const int high = hexValue(in[i + 1]);
    const int low = hexValue(in[i + 2]);
    if (high < 0 || low < 0) return false;
    out->push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return true;
}

// "http://host:port/path" -> "/path"; other targets unchanged.
std::string pathOf(const std::string& target) {
  if (strncasecmp(target.c_str(), "http://", 7) != 0) return target;
  const size_t slash = target.find('/', 7);
  return slash == std::string::npos ? std::string() : target.substr(slash);
}

}  // namespace

std::string MakeUploadFileName(const std::string& title, const std::string& extension) {
  std::string stem = title;
  if (!extension.empty() && stem.size() > extension.size() &&
      strcasecmp(stem.c_str() + stem.size() - extension.size(), extension.c_str()) == 0) {
    stem.resize(stem.size() - extension.size());
  }
  std::string name;
  for (unsigned char c : stem) {
    if (name.size() >= dms_transfer::kMaxUploadStemBytes) break;
    name.push_back(isSafeChar(c) ? static_cast<char>(c) : '_');
  }
  const size_t first = name.find_first_not_of("._");
  name = first == std::string::npos ? std::string() : name.substr(first);
  if (name.empty()) name = "upload";
  return name + extension;
}

bool IsSafeUploadFileName(const std::string& name) {
  if (name.empty() || name[0] == '.' || name.size() > dms_transfer::kMaxUploadNameBytes) {
    return false;
  }
  for (unsigned char c : name) {
    if (!isSafeChar(c)) return false;
  }
  return true;
}

std::string UploadFileNameFromTarget(const std::string& target) {
  if (target.size() > dms_transfer::kMaxUploadTargetBytes) return "";
  std::string decoded;
  if (!percentDecode(pathOf(target), &decoded)) return "";
  const size_t prefix = strlen(kUploadUrlPath);
  if (decoded.compare(0, prefix, kUploadUrlPath) != 0) return "";
  std::string name = decoded.substr(prefix);
  return IsSafeUploadFileName(name) ? name : "";
}

}  // namespace dms_upload
