// The video file's decoder (video_decoder.h).
#include "video_decoder.h"

extern "C" {
#include <libavutil/error.h>
}

#include <cmath>

namespace dms_camera {

namespace {

// Packets the decoder may take without giving a picture before the file
// counts as undecodable. Well above any decoder's delay, so that only a
// broken stream reaches it.
constexpr int kMaxPacketsWithoutPicture = 64;
// Decoding errors since the last picture that end the file; fewer, such as
// one damaged packet in a good file, are passed over.
constexpr int kMaxErrorsInARow = 8;
constexpr int kDecoderThreads = 2;

std::string reason(int rc) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(rc, text, sizeof text);
  return text;
}

}  // namespace

std::unique_ptr<VideoDecoder> VideoDecoder::open(const std::string& path, std::string* error) {
  std::unique_ptr<VideoDecoder> decoder(new VideoDecoder);
  decoder->path_ = path;
  AVFormatContext* raw = nullptr;
  int rc = avformat_open_input(&raw, path.c_str(), nullptr, nullptr);
  if (rc < 0) {
    *error = "cannot open " + path + ": " + reason(rc);
    return nullptr;
  }
  decoder->input_.reset(raw);
  rc = avformat_find_stream_info(raw, nullptr);
  if (rc < 0) {
    *error = "cannot read " + path + ": " + reason(rc);
    return nullptr;
  }
  if (!decoder->openStream(error)) return nullptr;
  return decoder;
}

bool VideoDecoder::openStream(std::string* error) {
  const AVCodec* codec = nullptr;
  int index = av_find_best_stream(input_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
  // A song's cover picture is a video stream of one picture, not a video.
  if (index < 0 || codec == nullptr ||
      input_->streams[index]->disposition & AV_DISPOSITION_ATTACHED_PIC) {
    *error = path_ + " has no video stream" +
             (index == AVERROR_DECODER_NOT_FOUND ? " that FFmpeg can decode" : "");
    return false;
  }
  stream_ = input_->streams[index];
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    if (input_->streams[i] != stream_) input_->streams[i]->discard = AVDISCARD_ALL;
  }
  codec_.reset(avcodec_alloc_context3(codec));
  frame_.reset(av_frame_alloc());
  packet_.reset(av_packet_alloc());
  if (codec_ == nullptr || frame_ == nullptr || packet_ == nullptr) {
    *error = "out of memory opening " + path_;
    return false;
  }
  int rc = avcodec_parameters_to_context(codec_.get(), stream_->codecpar);
  if (rc >= 0) {
    codec_->thread_count = kDecoderThreads;
    codec_->pkt_timebase = stream_->time_base;
    rc = avcodec_open2(codec_.get(), codec, nullptr);
  }
  if (rc < 0) {
    *error = "cannot decode the video of " + path_ + ": " + reason(rc);
    return false;
  }
  return true;
}

VideoDecoder::Result VideoDecoder::fail(const char* what, int rc, std::string* error) const {
  *error = std::string("cannot ") + what + " " + path_ + ": " +
           (rc != 0 ? reason(rc)
                    : "no picture in " + std::to_string(packetsWithoutPicture_) + " packets");
  return Result::kError;
}

VideoDecoder::Result VideoDecoder::next(const AVFrame** picture, std::string* error) {
  for (;;) {
    int rc = avcodec_receive_frame(codec_.get(), frame_.get());
    if (rc == 0) {
      packetsWithoutPicture_ = 0;
      errorsInARow_ = 0;
      *picture = frame_.get();
      return Result::kPicture;
    }
    if (rc == AVERROR_EOF) return Result::kEnd;
    if (rc != AVERROR(EAGAIN)) noteError(rc);
    if (draining_) return Result::kEnd;  // a decoder that failed while draining
    if (packetsWithoutPicture_ > kMaxPacketsWithoutPicture || errorsInARow_ > kMaxErrorsInARow) {
      return fail("decode", lastDecodeError_, error);
    }
    rc = av_read_frame(input_.get(), packet_.get());
    if (rc == AVERROR_EOF) {
      draining_ = true;
      avcodec_send_packet(codec_.get(), nullptr);
      continue;
    }
    if (rc < 0) return fail("read", rc, error);
    if (packet_->stream_index == stream_->index) {
      rc = avcodec_send_packet(codec_.get(), packet_.get());
      if (rc < 0) noteError(rc);
      ++packetsWithoutPicture_;
    }
    av_packet_unref(packet_.get());
  }
}

void VideoDecoder::noteError(int rc) {
  lastDecodeError_ = rc;
  ++errorsInARow_;
}

bool VideoDecoder::rewind() {
  int64_t start = stream_->start_time != AV_NOPTS_VALUE ? stream_->start_time : 0;
  if (av_seek_frame(input_.get(), stream_->index, start, AVSEEK_FLAG_BACKWARD) < 0 &&
      avformat_seek_file(input_.get(), -1, INT64_MIN, 0, 0, 0) < 0) {
    return false;
  }
  avcodec_flush_buffers(codec_.get());
  draining_ = false;
  return true;
}

double VideoDecoder::seconds(const AVFrame& picture) const {
  int64_t pts = picture.best_effort_timestamp;
  if (pts == AV_NOPTS_VALUE) return NAN;
  if (stream_->start_time != AV_NOPTS_VALUE) pts -= stream_->start_time;
  return static_cast<double>(pts) * av_q2d(stream_->time_base);
}

double VideoDecoder::averageRate() const {
  AVRational rate = stream_->avg_frame_rate;
  if (rate.num <= 0 || rate.den <= 0) rate = stream_->r_frame_rate;
  if (rate.num <= 0 || rate.den <= 0) return 0;
  return av_q2d(rate);
}

AVRational VideoDecoder::sampleAspect(const AVFrame& picture) const {
  if (picture.sample_aspect_ratio.num > 0) return picture.sample_aspect_ratio;
  return av_guess_sample_aspect_ratio(input_.get(), stream_, nullptr);
}

}  // namespace dms_camera
