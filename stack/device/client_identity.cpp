// MAC lookup and device names.
#include "client_identity.h"

#include <cctype>

#include "file_text.h"
#include "stack_limits.h"

namespace dmsstack {

namespace {

std::string_view nextField(std::string_view* line) {
  size_t begin = line->find_first_not_of(" \t");
  if (begin == std::string_view::npos) {
    *line = std::string_view();
    return std::string_view();
  }
  size_t end = line->find_first_of(" \t", begin);
  std::string_view field = line->substr(begin, end == std::string_view::npos ? end : end - begin);
  *line = end == std::string_view::npos ? std::string_view() : line->substr(end);
  return field;
}

bool isMac(std::string_view text) {
  if (text.size() != 17) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (i % 3 == 2 ? text[i] != ':' : !std::isxdigit(static_cast<unsigned char>(text[i])))
      return false;
  }
  return text != "00:00:00:00:00:00";
}

std::string trimmed(std::string_view text) {
  size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string_view::npos) return std::string();
  size_t end = text.find_last_not_of(" \t\r\n");
  return std::string(text.substr(begin, end - begin + 1));
}

std::string cut(std::string text) {
  if (text.size() <= kMaxDeviceNameBytes) return text;
  size_t end = kMaxDeviceNameBytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  text.resize(end);
  return text;
}

// The value of `key="..."` (or key=value up to ';') in X-AV-Client-Info.
std::string avField(std::string_view info, std::string_view key) {
  size_t pos = 0;
  while (pos < info.size()) {
    size_t semi = info.find(';', pos);
    std::string_view part = info.substr(pos, semi == std::string_view::npos ? semi : semi - pos);
    size_t eq = part.find('=');
    if (eq != std::string_view::npos && trimmed(part.substr(0, eq)) == key) {
      std::string_view value = part.substr(eq + 1);
      size_t open = value.find('"');
      if (open != std::string_view::npos) {
        size_t close = info.find('"', pos + eq + 1 + open + 1);
        if (close == std::string_view::npos) return std::string();
        size_t from = pos + eq + 1 + open + 1;
        return std::string(info.substr(from, close - from));
      }
      return trimmed(value);
    }
    if (semi == std::string_view::npos) break;
    pos = semi + 1;
  }
  return std::string();
}

}  // namespace

std::string macFromArpTable(std::string_view table, std::string_view ip) {
  size_t pos = table.find('\n');  // the first line is the heading
  while (pos != std::string_view::npos && pos < table.size()) {
    size_t end = table.find('\n', pos + 1);
    std::string_view line =
        table.substr(pos + 1, end == std::string_view::npos ? end : end - pos - 1);
    pos = end;
    std::string_view address = nextField(&line);
    if (address != ip) continue;
    nextField(&line);  // HW type
    std::string_view flags = nextField(&line);
    std::string_view mac = nextField(&line);
    if (flags == "0x0" || !isMac(mac)) return std::string();
    std::string lower(mac);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
  }
  return std::string();
}

std::string lookupMac(const std::string& ip) {
  std::string table;
  if (ip.empty() || !readWholeFile("/proc/net/arp", kMaxArpTableBytes, &table))
    return std::string();
  return macFromArpTable(table, ip);
}

std::vector<std::string> deviceNames(std::string_view userAgent, std::string_view avClientInfo) {
  std::vector<std::string> names;
  std::string info = trimmed(avClientInfo);
  if (!info.empty()) {
    std::string model = trimmed(avField(info, "mn"));
    if (!model.empty()) names.push_back(cut(model));
    names.push_back(cut(info));
  }
  std::string agent = trimmed(userAgent);
  if (!agent.empty()) names.push_back(cut(agent));
  return names;
}

}  // namespace dmsstack
