// Thumbnails of movies: one frame, a tenth into the movie (at most 5 s in,
// past black lead-ins without decoding much), scaled by libswscale.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <memory>

#include "dms_camera.h"
#include "ffmpeg_handles.h"
#include "ffmpeg_loader.h"
#include "picture_codec.h"

namespace camera_thumb {

namespace {

constexpr int64_t kLatestSeek = 5 * AV_TIME_BASE;
constexpr int kMaxPackets = 600;  // bound on packets read for one frame

// Decodes the first frame at or after the current read position.
bool decodeOneFrame(AVFormatContext* input, int stream, AVCodecContext* codec, AVFrame* frame) {
  dms_ffmpeg::Packet packet(av_packet_alloc());
  if (packet == nullptr) return false;
  for (int n = 0; n < kMaxPackets; ++n) {
    int rc = av_read_frame(input, packet.get());
    if (rc < 0) {
      avcodec_send_packet(codec, nullptr);  // drain what the decoder holds
      return avcodec_receive_frame(codec, frame) == 0;
    }
    if (packet->stream_index == stream && avcodec_send_packet(codec, packet.get()) >= 0 &&
        avcodec_receive_frame(codec, frame) == 0) {
      av_packet_unref(packet.get());
      return true;
    }
    av_packet_unref(packet.get());
  }
  return false;
}

}  // namespace

bool renderMovieThumbnail(const char* path, std::vector<unsigned char>* jpeg) {
  dms_ffmpeg::FFmpegUse ffmpeg;  // first: it outlives every FFmpeg object below
  AVFormatContext* raw = nullptr;
  if (avformat_open_input(&raw, path, nullptr, nullptr) != 0) return false;
  dms_ffmpeg::Input input(raw);
  if (avformat_find_stream_info(input.get(), nullptr) < 0) return false;
  const AVCodec* decoder = nullptr;
  int stream = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
  if (stream < 0 || decoder == nullptr) return false;
  dms_ffmpeg::Codec codec(avcodec_alloc_context3(decoder));
  if (codec == nullptr ||
      avcodec_parameters_to_context(codec.get(), input->streams[stream]->codecpar) < 0) {
    return false;
  }
  codec->thread_count = 1;
  if (avcodec_open2(codec.get(), decoder, nullptr) < 0) return false;

  dms_ffmpeg::Frame frame(av_frame_alloc());
  if (frame == nullptr) return false;
  int64_t duration = input->duration > 0 ? input->duration : 0;
  int64_t target = duration / 10 < kLatestSeek ? duration / 10 : kLatestSeek;
  bool decoded = false;
  if (target > 0 && av_seek_frame(input.get(), -1, target, AVSEEK_FLAG_BACKWARD) >= 0) {
    avcodec_flush_buffers(codec.get());
    decoded = decodeOneFrame(input.get(), stream, codec.get(), frame.get());
  }
  if (!decoded) {
    // Some files do not seek: start again from the beginning.
    if (av_seek_frame(input.get(), -1, 0, AVSEEK_FLAG_BACKWARD) < 0 && target > 0) return false;
    avcodec_flush_buffers(codec.get());
    if (!decodeOneFrame(input.get(), stream, codec.get(), frame.get())) return false;
  }
  if (frame->width <= 0 || frame->height <= 0) return false;

  int w = 0;
  int h = 0;
  ASLWifi_thumbSize(frame->width, frame->height, &w, &h);
  dms_ffmpeg::Scaler sws(sws_getContext(frame->width, frame->height,
                                        static_cast<AVPixelFormat>(frame->format), w, h,
                                        AV_PIX_FMT_RGB24, SWS_AREA, nullptr, nullptr, nullptr));
  if (sws == nullptr) return false;
  std::vector<unsigned char> rgb(static_cast<size_t>(w) * h * 3);
  uint8_t* planes[1] = {rgb.data()};
  int strides[1] = {w * 3};
  if (sws_scale(sws.get(), frame->data, frame->linesize, 0, frame->height, planes, strides) != h) {
    return false;
  }
  return encodeRgbJpeg(rgb.data(), w, h, w * 3, jpeg);
}

}  // namespace camera_thumb
