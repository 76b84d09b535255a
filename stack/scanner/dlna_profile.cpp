#include "dlna_profile.h"
#include "media_db_schema.h"

namespace dlna_profile {

namespace {

bool aacStereoUpTo(const StreamFacts& f, long long maxBitrate) {
  return f.audioAacLc && f.channels >= 1 && f.channels <= 2 && f.sampleRate > 0 &&
         f.sampleRate <= 48000 && f.audioBitrate <= maxBitrate;
}

std::string jpegProfile(const StreamFacts& f) {
  if (!f.jpegBaseline || f.width <= 0 || f.height <= 0) return "";
  if (f.width <= 640 && f.height <= 480) return "JPEG_SM";
  if (f.width <= 1024 && f.height <= 768) return "JPEG_MED";
  if (f.width <= 4096 && f.height <= 4096) return "JPEG_LRG";
  return "";
}

std::string audioProfile(const StreamFacts& f) {
  if (f.container == Container::kMp3 && f.audioMp3 && f.channels >= 1 && f.channels <= 2 &&
      (f.sampleRate == 32000 || f.sampleRate == 44100 || f.sampleRate == 48000) &&
      f.audioBitrate <= 320000) {
    return "MP3";
  }
  if (f.container == Container::kAdts && aacStereoUpTo(f, 320000)) return "AAC_ADTS_320";
  if ((f.container == Container::kMp4 || f.container == Container::k3gp) &&
      aacStereoUpTo(f, 320000))
    return "AAC_ISO_320";
  return "";
}

std::string videoProfile(const StreamFacts& f) {
  if (f.container != Container::kMp4 || !f.videoH264 || !f.h264Baseline) return "";
  if (f.hasAudio && !f.audioAacLc) return "";
  bool cif = f.width <= 352 && f.height <= 288;
  if (cif && f.frameRate <= 15.01 && f.level <= 12 && f.totalBitrate <= 520000 &&
      (!f.hasAudio || aacStereoUpTo(f, 520000))) {
    return "AVC_MP4_BL_CIF15_AAC_520";
  }
  if (cif && f.frameRate <= 30.01 && f.level <= 20 && f.totalBitrate <= 2000000 &&
      (!f.hasAudio || aacStereoUpTo(f, 320000))) {
    return "AVC_MP4_BL_L2_CIF30_AAC";
  }
  if (f.width <= 720 && f.height <= 576 && f.frameRate <= 30.01 && f.level <= 30 &&
      f.totalBitrate <= 4500000 && (!f.hasAudio || aacStereoUpTo(f, 320000))) {
    return "AVC_MP4_BL_L3_SD_ACC";
  }
  return "";
}

const char* mediaWordOf(int kind) {
  return kind == media_db::kImageKind   ? ":image/"
         : kind == media_db::kAudioKind ? ":audio/"
                                        : ":video/";
}

}  // namespace

std::string detect(const StreamFacts& f) {
  if (f.container == Container::kJpeg) return jpegProfile(f);
  if (f.hasVideo) return videoProfile(f);
  if (f.hasAudio) return audioProfile(f);
  return "";
}

bool allowed(const std::string& profile, int kind, const std::string& list) {
  if (profile.empty()) return false;
  // Entries are separated by commas; the profile must match a whole
  // DLNA.ORG_PN value.
  size_t start = 0;
  bool kindListed = false;
  while (start <= list.size()) {
    size_t end = list.find(',', start);
    if (end == std::string::npos) end = list.size();
    std::string entry = list.substr(start, end - start);
    if (entry.find(mediaWordOf(kind)) != std::string::npos) kindListed = true;
    size_t pn = entry.find("DLNA.ORG_PN=");
    if (pn != std::string::npos) {
      size_t valueStart = pn + 12;
      size_t valueEnd = entry.find(';', valueStart);
      if (entry.compare(valueStart,
                        valueEnd == std::string::npos ? std::string::npos : valueEnd - valueStart,
                        profile) == 0) {
        return true;
      }
    }
    start = end + 1;
  }
  return !kindListed;
}

}  // namespace dlna_profile
