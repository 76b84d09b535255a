// Which reader a file goes to, by its first bytes.
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>

#include "media_parsers.h"

namespace media_parsers {

namespace {
struct FileCloser {
  void operator()(FILE* f) const { fclose(f); }
};
}  // namespace

bool wantedExtension(const std::string& ext) {
  static const std::set<std::string> kWanted = {
      "jpg",  "jpeg", "jpe",  "mpo", "mp3", "m4a",  "aac", "adts", "mp4", "m4v",
      "mov",  "3gp",  "3g2",  "avi", "mkv", "webm", "mpg", "mpeg", "ts",  "mts",
      "m2ts", "wav",  "flac", "ogg", "oga", "opus", "wma", "wmv",  "asf"};
  return kWanted.count(ext) != 0;
}

namespace {

bool isAdtsSync(const unsigned char* b) { return b[0] == 0xFF && (b[1] & 0xF6) == 0xF0; }

// What follows an ID3v2 tag at the start: AAC in ADTS frames (phones and
// recorders tag those too), FLAC, or else MPEG audio.
Guess afterId3(FILE* f, const unsigned char* header) {
  // The size is syncsafe: seven bits per byte.
  long size = (static_cast<long>(header[6] & 0x7F) << 21) | ((header[7] & 0x7F) << 14) |
              ((header[8] & 0x7F) << 7) | (header[9] & 0x7F);
  size += 10 + ((header[5] & 0x10) != 0 ? 10 : 0);  // header, and footer when flagged
  unsigned char b[4] = {};
  if (fseek(f, size, SEEK_SET) != 0 || fread(b, 1, sizeof b, f) != sizeof b) return Guess::kMp3;
  if (isAdtsSync(b)) return Guess::kAdts;
  if (memcmp(b, "fLaC", 4) == 0) return Guess::kContainer;
  return Guess::kMp3;
}

}  // namespace

Guess guessByContent(const std::string& path) {
  std::unique_ptr<FILE, FileCloser> f(fopen(path.c_str(), "rb"));
  unsigned char b[16] = {};
  if (f == nullptr) return Guess::kNone;
  size_t n = fread(b, 1, sizeof b, f.get());
  if (n < 4) return Guess::kNone;
  if (b[0] == 0xFF && b[1] == 0xD8 && b[2] == 0xFF) return Guess::kJpeg;
  if (n >= 10 && memcmp(b, "ID3", 3) == 0) return afterId3(f.get(), b);
  if (isAdtsSync(b)) return Guess::kAdts;  // layer bits 00
  if (b[0] == 0xFF && (b[1] & 0xE0) == 0xE0 && (b[1] & 0x06) != 0) return Guess::kMp3;
  return Guess::kContainer;
}

}  // namespace media_parsers
