// UDN generation and persistence.
#include "udn.h"

#include <sys/random.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>

#include "file_text.h"

namespace dmsstack {

namespace {

bool isHex(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

void randomBytes(uint8_t* bytes, size_t size) {
  size_t done = 0;
  while (done < size) {
    ssize_t n = getrandom(bytes + done, size - done, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  if (done == size) return;
  // getrandom is missing only on very old kernels; a clock-seeded generator
  // still gives a UUID that differs between devices in practice.
  std::mt19937_64 generator(
      static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
      std::random_device{}());
  for (size_t i = done; i < size; ++i) bytes[i] = static_cast<uint8_t>(generator());
}

}  // namespace

std::string generateUdn() {
  uint8_t b[16];
  randomBytes(b, sizeof b);
  b[6] = static_cast<uint8_t>((b[6] & 0x0F) | 0x40);  // version 4
  b[8] = static_cast<uint8_t>((b[8] & 0x3F) | 0x80);  // RFC 4122 variant
  char text[48];
  std::snprintf(text, sizeof text,
                "uuid:%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", b[0],
                b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13],
                b[14], b[15]);
  return text;
}

bool isValidUdn(std::string_view udn) {
  if (udn.size() != 41 || udn.substr(0, 5) != "uuid:") return false;
  for (size_t i = 5; i < udn.size(); ++i) {
    size_t k = i - 5;
    bool dash = k == 8 || k == 13 || k == 18 || k == 23;
    if (dash ? udn[i] != '-' : !isHex(udn[i])) return false;
  }
  return true;
}

std::string loadOrCreateUdn(const std::string& dir) {
  const std::string path = joinPath(dir, kUdnFileName);
  std::string text;
  if (readWholeFile(path, 256, &text)) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
      text.pop_back();
    if (isValidUdn(text)) return text;
  }
  std::string udn = generateUdn();
  if (!writeFileAtomically(path, udn + "\n")) return std::string();
  return udn;
}

}  // namespace dmsstack
