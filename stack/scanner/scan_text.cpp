#include "scan_text.h"

#include <cstdio>
#include <cstdlib>

namespace scan_text {

std::string duration(long long ms) {
  if (ms < 0) ms = 0;
  char text[48];
  long long fraction = ms % 1000;
  long long seconds = ms / 1000;
  if (fraction == 0) {
    snprintf(text, sizeof text, "%lld:%02lld:%02lld", seconds / 3600, (seconds / 60) % 60,
             seconds % 60);
  } else {
    snprintf(text, sizeof text, "%lld:%02lld:%02lld.%03lld", seconds / 3600, (seconds / 60) % 60,
             seconds % 60, fraction);
  }
  return text;
}

std::string localDate(time_t t) {
  struct tm parts {};
  if (localtime_r(&t, &parts) == nullptr) return "1970-01-01T00:00:00";
  char text[32];
  strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  return text;
}

long long dateSeconds(const std::string& date) {
  int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
  if (sscanf(date.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d", &y, &mo, &d, &h, &mi, &s) != 6) return 0;
  if (y < 1970 || mo < 1 || mo > 12 || d < 1 || d > 31) return 0;
  struct tm parts {};
  parts.tm_year = y - 1900;
  parts.tm_mon = mo - 1;
  parts.tm_mday = d;
  parts.tm_hour = h;
  parts.tm_min = mi;
  parts.tm_sec = s;
  long long seconds = static_cast<long long>(timegm(&parts));
  return seconds < 0 || seconds > 9999999999ll ? 0 : seconds;
}

std::string sortIndex(const std::string& date, long long id) {
  char text[32];
  snprintf(text, sizeof text, "%010lld%06lld", dateSeconds(date), id < 0 ? 0 : id % 1000000);
  return text;
}

std::string cleanUtf8(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  size_t n = text.size();
  for (size_t i = 0; i < n;) {
    unsigned char c = p[i];
    size_t len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
    bool valid = len > 0 && i + len <= n && !(len == 2 && c < 0xC2) && !(len == 4 && c > 0xF4);
    for (size_t k = 1; valid && k < len; ++k) valid = (p[i + k] & 0xC0) == 0x80;
    if (!valid) {
      out += ' ';
      ++i;
    } else if (len == 1 && (c < 0x20 || c == 0x7F)) {
      if (c != 0) out += ' ';
      ++i;
    } else {
      out.append(text, i, len);
      i += len;
    }
  }
  size_t b = out.find_first_not_of(' ');
  if (b == std::string::npos) return "";
  size_t e = out.find_last_not_of(' ');
  return out.substr(b, e - b + 1);
}

std::string stem(const std::string& path) {
  size_t slash = path.rfind('/');
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string extension(const std::string& path) {
  size_t slash = path.rfind('/');
  size_t dot = path.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  std::string ext = path.substr(dot + 1);
  for (char& c : ext)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return ext;
}

}  // namespace scan_text
