// The live view's AVI framing (see avi_stream.h).
#include "avi_stream.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace dms_camera {

namespace {

// Little-endian writer over the fixed header.
class HeaderWriter {
 public:
  explicit HeaderWriter(unsigned char* out) : out_(out) {}
  void tag(const char* fourcc) {
    memcpy(out_ + at_, fourcc, 4);
    at_ += 4;
  }
  void u32(uint32_t v) {
    for (int i = 0; i < 4; ++i) out_[at_++] = static_cast<unsigned char>(v >> (8 * i));
  }
  void u16(uint16_t v) {
    out_[at_++] = static_cast<unsigned char>(v);
    out_[at_++] = static_cast<unsigned char>(v >> 8);
  }
  size_t at() const { return at_; }

 private:
  unsigned char* out_;
  size_t at_ = 0;
};

constexpr uint32_t kStrlBytes = 4 + (8 + 56) + (8 + 40);          // "strl", strh, strf
constexpr uint32_t kHdrlBytes = 4 + (8 + 56) + (8 + kStrlBytes);  // "hdrl", avih, strl

void writeMainHeader(HeaderWriter* w, int width, int height, uint32_t microsPerFrame) {
  w->tag("avih");
  w->u32(56);
  w->u32(microsPerFrame);
  w->u32(0);  // max bytes per second: unknown
  w->u32(0);  // padding granularity
  w->u32(0);  // flags: no index, one stream
  w->u32(0);  // total frames: open-ended
  w->u32(0);  // initial frames
  w->u32(1);  // streams
  w->u32(0);  // suggested buffer size
  w->u32(static_cast<uint32_t>(width));
  w->u32(static_cast<uint32_t>(height));
  for (int i = 0; i < 4; ++i) w->u32(0);
}

void writeStreamHeader(HeaderWriter* w, int width, int height, uint32_t rateMillis) {
  w->tag("strh");
  w->u32(56);
  w->tag("vids");
  w->tag("MJPG");
  w->u32(0);  // flags
  w->u16(0);  // priority
  w->u16(0);  // language
  w->u32(0);  // initial frames
  w->u32(1000);
  w->u32(rateMillis);   // rate / scale = pictures per second
  w->u32(0);            // start
  w->u32(0);            // length: open-ended
  w->u32(0);            // suggested buffer size
  w->u32(0xFFFFFFFFu);  // quality: default
  w->u32(0);            // sample size: varies
  w->u16(0);
  w->u16(0);
  w->u16(static_cast<uint16_t>(width));
  w->u16(static_cast<uint16_t>(height));
}

void writeStreamFormat(HeaderWriter* w, int width, int height) {
  w->tag("strf");
  w->u32(40);
  w->u32(40);  // BITMAPINFOHEADER
  w->u32(static_cast<uint32_t>(width));
  w->u32(static_cast<uint32_t>(height));
  w->u16(1);   // planes
  w->u16(24);  // bits per pixel once decoded
  w->tag("MJPG");
  w->u32(static_cast<uint32_t>(width) * static_cast<uint32_t>(height) * 3u);
  for (int i = 0; i < 4; ++i) w->u32(0);
}

}  // namespace

std::array<unsigned char, kAviHeaderBytes> AviStreamHeader(int width, int height, double rate) {
  if (!(rate > 0.0) || rate > 1000.0) rate = 30.0;
  const auto micros = static_cast<uint32_t>(std::lround(1000000.0 / rate));
  const auto rateMillis = static_cast<uint32_t>(std::lround(rate * 1000.0));
  std::array<unsigned char, kAviHeaderBytes> header{};
  HeaderWriter w(header.data());
  w.tag("RIFF");
  w.u32(0);  // open-ended
  w.tag("AVI ");
  w.tag("LIST");
  w.u32(kHdrlBytes);
  w.tag("hdrl");
  writeMainHeader(&w, width, height, micros);
  w.tag("LIST");
  w.u32(kStrlBytes);
  w.tag("strl");
  writeStreamHeader(&w, width, height, rateMillis);
  writeStreamFormat(&w, width, height);
  w.tag("LIST");
  w.u32(0);  // open-ended
  w.tag("movi");
  return header;
}

void BeginAviChunk(std::vector<unsigned char>* chunk) {
  chunk->assign({'0', '0', 'd', 'c', 0, 0, 0, 0});
}

bool FinishAviChunk(std::vector<unsigned char>* chunk) {
  if (chunk->size() <= kAviChunkHeaderBytes) return false;
  const size_t picture = chunk->size() - kAviChunkHeaderBytes;
  if (picture > 0xFFFFFFF0u) return false;
  for (int i = 0; i < 4; ++i) (*chunk)[4 + i] = static_cast<unsigned char>(picture >> (8 * i));
  if (picture % 2 != 0) chunk->push_back(0);
  return true;
}

}  // namespace dms_camera
