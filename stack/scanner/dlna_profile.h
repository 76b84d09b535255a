// DLNA media profiles from what a file really is. Only the profiles the
// server announces are ever assigned: JPEG_SM/MED/LRG, MP3, AAC_ISO_320,
// AAC_ADTS_320, AVC_MP4_BL_CIF15_AAC_520, AVC_MP4_BL_L2_CIF30_AAC and
// AVC_MP4_BL_L3_SD_ACC (the name as announced).
#ifndef DMS_SCANNER_DLNA_PROFILE_H
#define DMS_SCANNER_DLNA_PROFILE_H

#include <string>

namespace dlna_profile {

enum class Container { kOther, kJpeg, kMp3, kAdts, kMp4, k3gp };

struct StreamFacts {
  Container container = Container::kOther;
  // Pictures and video.
  int width = 0;
  int height = 0;
  bool jpegBaseline = false;
  // Video.
  bool hasVideo = false;
  bool videoH264 = false;
  bool h264Baseline = false;  // Baseline or Constrained Baseline
  int level = 0;              // level_idc
  double frameRate = 0;
  long long totalBitrate = 0;  // bits per second
  // Audio.
  bool hasAudio = false;
  bool audioMp3 = false;  // MPEG-1 Layer III
  bool audioAacLc = false;
  int channels = 0;
  int sampleRate = 0;
  long long audioBitrate = 0;  // bits per second
};

// The best fitting profile, or "" when none fits.
std::string detect(const StreamFacts& facts);

// Whether `profile` may be assigned under the protocolInfo `list` (see
// DirectoryScanner::SetDlnaProfiles); `kind` is 1 image, 2 audio, 3 video.
bool allowed(const std::string& profile, int kind, const std::string& list);

}  // namespace dlna_profile

#endif  // DMS_SCANNER_DLNA_PROFILE_H
