// Audio through TagLib: tags, stream properties of MP3, and the position of
// embedded album art (found by its bytes, so a client can be served the
// picture straight from the file).
#include <attachedpictureframe.h>
#include <fileref.h>
#include <id3v2framefactory.h>
#include <id3v2tag.h>
#include <mp4file.h>
#include <mpegfile.h>
#include <tfilestream.h>
#include <tpropertymap.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "media_db_schema.h"
#include "media_parsers.h"
#include "scan_text.h"

namespace media_parsers {

namespace {

constexpr long long kArtSearchLimit = 32ll << 20;
constexpr size_t kChunk = 1u << 20;

struct FileCloser {
  void operator()(FILE* f) const { fclose(f); }
};

std::string utf8(const TagLib::String& s) { return scan_text::cleanUtf8(s.to8Bit(true)); }

// Offset of the first occurrence of `needle` within the first `limit` bytes
// of the file, or -1.
long long findBytes(const std::string& path, const TagLib::ByteVector& needle, long long limit) {
  if (needle.size() < 16) return -1;  // too short to be sure it is the picture
  std::unique_ptr<FILE, FileCloser> f(fopen(path.c_str(), "rb"));
  if (f == nullptr) return -1;
  const size_t n = needle.size();
  std::vector<char> window;
  long long windowStart = 0;
  std::vector<char> chunk(kChunk);
  while (windowStart + static_cast<long long>(window.size()) < limit) {
    size_t got = fread(chunk.data(), 1, chunk.size(), f.get());
    if (got == 0) break;
    window.insert(window.end(), chunk.begin(), chunk.begin() + got);
    auto it = std::search(window.begin(), window.end(), needle.data(), needle.data() + n);
    if (it != window.end()) return windowStart + (it - window.begin());
    // Keep the tail that could start a match spanning into the next chunk.
    if (window.size() >= n) {
      size_t drop = window.size() - (n - 1);
      window.erase(window.begin(), window.begin() + static_cast<long>(drop));
      windowStart += static_cast<long long>(drop);
    }
  }
  return -1;
}

void takeTags(const TagLib::Tag* tag, const TagLib::PropertyMap& properties, ScannedMedia* m) {
  if (tag != nullptr) {
    std::string title = utf8(tag->title());
    if (!title.empty()) m->title = title;
    m->artist = utf8(tag->artist());
    m->album = utf8(tag->album());
  }
  auto albumArtist = properties.find("ALBUMARTIST");
  if (albumArtist != properties.end() && !albumArtist->second.isEmpty()) {
    m->albumArtist = utf8(albumArtist->second.front());
  }
}

void locateArt(const TagLib::ByteVector& picture, long long limit, ScannedMedia* m) {
  long long at = findBytes(m->path, picture, limit);
  if (at < 0) return;
  m->albumArtOffset = at;
  m->albumArtLength = picture.size();
}

}  // namespace

bool parseMp3(ScannedMedia* m, dlna_profile::StreamFacts* facts, std::string* why) {
  // Read-only: media files are never opened for writing (which would also
  // raise close-after-write events for the folder watcher).
  TagLib::FileStream stream(m->path.c_str(), true);
  if (!stream.isOpen()) {
    *why = "cannot be opened";
    return false;
  }
  TagLib::MPEG::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), true,
                          TagLib::AudioProperties::Average);
  const TagLib::MPEG::Properties* props = file.audioProperties();
  if (!file.isValid() || props == nullptr || props->lengthInMilliseconds() <= 0 ||
      props->sampleRate() <= 0) {
    *why = "no MPEG audio frames";
    return false;
  }
  m->kind = media_db::kAudioKind;
  m->mimeType = "audio/mpeg";
  m->title = scan_text::stem(m->path);
  m->date = scan_text::localDate(m->mtime);
  m->duration = scan_text::duration(props->lengthInMilliseconds());
  m->channels = props->channels();
  m->sampleRate = props->sampleRate();
  m->bitrate = props->bitrate() * 1000 / 8;
  takeTags(file.tag(), file.properties(), m);

  if (file.hasID3v2Tag()) {
    TagLib::ID3v2::Tag* id3 = file.ID3v2Tag();
    const TagLib::ID3v2::FrameList& frames = id3->frameListMap()["APIC"];
    if (!frames.isEmpty()) {
      auto* art = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame*>(frames.front());
      if (art != nullptr) {
        locateArt(art->picture(), static_cast<long long>(id3->header()->completeTagSize()), m);
      }
    }
  }
  facts->container = dlna_profile::Container::kMp3;
  facts->hasAudio = true;
  facts->audioMp3 = props->version() == TagLib::MPEG::Header::Version1 && props->layer() == 3;
  facts->channels = props->channels();
  facts->sampleRate = props->sampleRate();
  facts->audioBitrate = static_cast<long long>(props->bitrate()) * 1000;
  return true;
}

void readAudioTags(ScannedMedia* m) {
  TagLib::FileStream stream(m->path.c_str(), true);
  if (!stream.isOpen()) return;
  TagLib::FileRef ref(&stream, false);
  if (ref.isNull() || ref.file() == nullptr || !ref.file()->isValid()) return;
  takeTags(ref.tag(), ref.file()->properties(), m);
  auto* mp4 = dynamic_cast<TagLib::MP4::File*>(ref.file());
  if (mp4 != nullptr && mp4->tag() != nullptr && mp4->tag()->contains("covr")) {
    TagLib::MP4::CoverArtList covers = mp4->tag()->item("covr").toCoverArtList();
    if (!covers.isEmpty()) locateArt(covers.front().data(), kArtSearchLimit, m);
  }
}

}  // namespace media_parsers
