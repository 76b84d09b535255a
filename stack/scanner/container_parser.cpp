// Containers through FFmpeg's libavformat: the first real video stream (not
// an attached cover picture) makes a video, else the first audio stream an
// audio file.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

#include <cmath>
#include <cstring>
#include <memory>

#include "dms_camera.h"
#include "media_db_schema.h"
#include "media_parsers.h"
#include "scan_text.h"

namespace media_parsers {

namespace {

struct InputCloser {
  void operator()(AVFormatContext* c) const { avformat_close_input(&c); }
};

std::string tagOf(AVDictionary* metadata, const char* key) {
  AVDictionaryEntry* e = av_dict_get(metadata, key, nullptr, 0);
  return e != nullptr && e->value != nullptr ? scan_text::cleanUtf8(e->value) : std::string();
}

bool hasWord(const char* list, const char* word) {
  return list != nullptr && strstr(list, word) != nullptr;
}

// MIME type and profile container from the demuxer and the major brand.
void classify(const AVFormatContext* input, bool video, ScannedMedia* m,
              dlna_profile::StreamFacts* facts) {
  const char* name = input->iformat->name;
  std::string brand = tagOf(input->metadata, "major_brand");
  if (hasWord(name, "mp4") || hasWord(name, "mov")) {
    bool threeGpp = brand.compare(0, 3, "3gp") == 0 || brand.compare(0, 3, "3g2") == 0;
    bool quickTime = brand == "qt" || brand.empty();
    facts->container = threeGpp    ? dlna_profile::Container::k3gp
                       : quickTime ? dlna_profile::Container::kOther
                                   : dlna_profile::Container::kMp4;
    if (video) {
      m->mimeType = threeGpp ? "video/3gpp" : quickTime ? "video/quicktime" : "video/mp4";
    } else {
      m->mimeType = threeGpp ? "audio/3gpp" : "audio/mp4";
      if (quickTime) facts->container = dlna_profile::Container::kMp4;
    }
  } else if (hasWord(name, "aac")) {
    facts->container = dlna_profile::Container::kAdts;
    m->mimeType = "audio/vnd.dlna.adts";
  } else if (hasWord(name, "avi")) {
    m->mimeType = "video/x-msvideo";
  } else if (hasWord(name, "matroska")) {
    m->mimeType = hasWord(name, "webm") && brand.empty() && m->extension == "webm"
                      ? (video ? "video/webm" : "audio/webm")
                      : (video ? "video/x-matroska" : "audio/x-matroska");
  } else if (hasWord(name, "mpegts")) {
    m->mimeType = "video/mp2t";
  } else if (hasWord(name, "mpeg")) {
    m->mimeType = video ? "video/mpeg" : "audio/mpeg";
  } else if (hasWord(name, "asf")) {
    m->mimeType = video ? "video/x-ms-wmv" : "audio/x-ms-wma";
  } else if (hasWord(name, "wav")) {
    m->mimeType = "audio/wav";
  } else if (hasWord(name, "flac")) {
    m->mimeType = "audio/flac";
  } else if (hasWord(name, "ogg")) {
    m->mimeType = video ? "video/ogg" : "audio/ogg";
  } else if (hasWord(name, "mp3")) {
    facts->container = dlna_profile::Container::kMp3;
    m->mimeType = "audio/mpeg";
  } else {
    m->mimeType = video ? "video/octet-stream" : "audio/octet-stream";
  }
}

void audioStreamFacts(const AVStream* s, ScannedMedia* m, dlna_profile::StreamFacts* facts) {
  const AVCodecParameters* p = s->codecpar;
  facts->hasAudio = true;
  facts->audioAacLc = p->codec_id == AV_CODEC_ID_AAC && p->profile == FF_PROFILE_AAC_LOW;
  facts->audioMp3 = p->codec_id == AV_CODEC_ID_MP3;
  facts->channels = p->ch_layout.nb_channels;
  facts->sampleRate = p->sample_rate;
  facts->audioBitrate = p->bit_rate;
  m->channels = p->ch_layout.nb_channels;
  m->sampleRate = p->sample_rate;
  m->bitrate = static_cast<int>(p->bit_rate / 8);
  if (s->duration > 0 && s->time_base.den > 0) {
    m->audioDuration = scan_text::duration(av_rescale_q(s->duration, s->time_base, {1, 1000}));
  }
}

// A movie's creation time (UTC, ISO 8601) as local "YYYY-MM-DDTHH:MM:SS".
std::string creationDate(const AVFormatContext* input) {
  std::string text = tagOf(input->metadata, "creation_time");
  if (text.size() < 19) return "";
  std::string iso = text.substr(0, 19);
  iso[10] = 'T';
  long long seconds = scan_text::dateSeconds(iso);
  return seconds > 0 ? scan_text::localDate(static_cast<time_t>(seconds)) : "";
}

}  // namespace

bool parseContainer(ScannedMedia* m, dlna_profile::StreamFacts* facts, std::string* why) {
  AVFormatContext* raw = nullptr;
  if (avformat_open_input(&raw, m->path.c_str(), nullptr, nullptr) != 0) {
    *why = "not a media container FFmpeg knows";
    return false;
  }
  std::unique_ptr<AVFormatContext, InputCloser> input(raw);
  if (avformat_find_stream_info(input.get(), nullptr) < 0) {
    *why = "no readable streams";
    return false;
  }
  const AVStream* video = nullptr;
  const AVStream* audio = nullptr;
  for (unsigned i = 0; i < input->nb_streams; ++i) {
    const AVStream* s = input->streams[i];
    if (s->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && video == nullptr &&
        (s->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0 && s->codecpar->width > 0) {
      video = s;
    } else if (s->codecpar->codec_type == AVMEDIA_TYPE_AUDIO && audio == nullptr) {
      audio = s;
    }
  }
  if (video == nullptr && audio == nullptr) {
    *why = "no audio or video stream";
    return false;
  }
  m->kind = video != nullptr ? media_db::kVideoKind : media_db::kAudioKind;
  classify(input.get(), video != nullptr, m, facts);
  m->title = tagOf(input->metadata, "title");
  if (m->title.empty()) m->title = scan_text::stem(m->path);
  m->artist = tagOf(input->metadata, "artist");
  m->album = tagOf(input->metadata, "album");
  m->albumArtist = tagOf(input->metadata, "album_artist");
  std::string created = video != nullptr ? creationDate(input.get()) : "";
  m->date = created.empty() ? scan_text::localDate(m->mtime) : created;
  if (input->duration > 0) m->duration = scan_text::duration(input->duration / 1000);
  facts->totalBitrate = input->bit_rate;
  if (audio != nullptr) audioStreamFacts(audio, m, facts);

  if (video != nullptr) {
    const AVCodecParameters* p = video->codecpar;
    m->width = p->width;
    m->height = p->height;
    AVRational rate = video->avg_frame_rate.num > 0 ? video->avg_frame_rate : video->r_frame_rate;
    double fps = rate.den > 0 ? av_q2d(rate) : 0;
    m->frameRate = static_cast<int>(std::lround(fps));
    m->videoBitrate = static_cast<int>(input->bit_rate / 8);
    m->videoLevel = p->level > 0 ? p->level : 0;
    ASLWifi_thumbSize(p->width, p->height, &m->thumbnailWidth, &m->thumbnailHeight);
    facts->hasVideo = true;
    facts->width = p->width;
    facts->height = p->height;
    facts->frameRate = fps;
    facts->level = m->videoLevel;
    facts->videoH264 = p->codec_id == AV_CODEC_ID_H264;
    facts->h264Baseline = p->profile == FF_PROFILE_H264_BASELINE ||
                          p->profile == FF_PROFILE_H264_CONSTRAINED_BASELINE;
  } else if (m->duration.empty() && !m->audioDuration.empty()) {
    m->duration = m->audioDuration;
  }
  return true;
}

}  // namespace media_parsers
