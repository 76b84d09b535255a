#include "ffmpeg_loader.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/macros.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}
#include <dlfcn.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <mutex>

#include "nuv_log.h"

namespace {

enum Library { kAvutil, kSwscale, kAvcodec, kAvformat, kLibraries };

// The sonames of the major versions the server was built against, in
// loading order (each after the ones it needs).
const std::array<const char*, kLibraries> kSonames = {
    "libavutil.so." AV_STRINGIFY(LIBAVUTIL_VERSION_MAJOR),
    "libswscale.so." AV_STRINGIFY(LIBSWSCALE_VERSION_MAJOR),
    "libavcodec.so." AV_STRINGIFY(LIBAVCODEC_VERSION_MAJOR),
    "libavformat.so." AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR)};

// Every FFmpeg function the server calls, with its library.
#define DMS_FFMPEG_FUNCTIONS(X)              \
  X(kAvutil, av_dict_get)                    \
  X(kAvutil, av_frame_alloc)                 \
  X(kAvutil, av_frame_free)                  \
  X(kAvutil, av_get_pix_fmt_name)            \
  X(kAvutil, av_log_set_level)               \
  X(kAvutil, av_opt_set_int)                 \
  X(kAvutil, av_rescale_q)                   \
  X(kAvutil, av_strerror)                    \
  X(kSwscale, sws_alloc_context)             \
  X(kSwscale, sws_freeContext)               \
  X(kSwscale, sws_getCoefficients)           \
  X(kSwscale, sws_getContext)                \
  X(kSwscale, sws_init_context)              \
  X(kSwscale, sws_scale)                     \
  X(kSwscale, sws_setColorspaceDetails)      \
  X(kAvcodec, av_packet_alloc)               \
  X(kAvcodec, av_packet_free)                \
  X(kAvcodec, av_packet_unref)               \
  X(kAvcodec, avcodec_alloc_context3)        \
  X(kAvcodec, avcodec_flush_buffers)         \
  X(kAvcodec, avcodec_free_context)          \
  X(kAvcodec, avcodec_open2)                 \
  X(kAvcodec, avcodec_parameters_to_context) \
  X(kAvcodec, avcodec_receive_frame)         \
  X(kAvcodec, avcodec_send_packet)           \
  X(kAvformat, av_find_best_stream)          \
  X(kAvformat, av_guess_sample_aspect_ratio) \
  X(kAvformat, av_read_frame)                \
  X(kAvformat, av_seek_frame)                \
  X(kAvformat, avformat_close_input)         \
  X(kAvformat, avformat_find_stream_info)    \
  X(kAvformat, avformat_open_input)          \
  X(kAvformat, avformat_seek_file)

enum Slot {
#define DMS_SLOT(library, name) k_##name,
  DMS_FFMPEG_FUNCTIONS(DMS_SLOT)
#undef DMS_SLOT
      kSlots
};

struct Entry {
  Library library;
  const char* name;
};

const std::array<Entry, kSlots> kEntries = {{
#define DMS_ENTRY(library, name) {library, #name},
    DMS_FFMPEG_FUNCTIONS(DMS_ENTRY)
#undef DMS_ENTRY
}};

class Loader {
 public:
  static Loader& instance() {
    static Loader* loader = new Loader();  // used until the process ends
    return *loader;
  }

  bool acquire() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++uses_;
    return loaded() || load();
  }

  void release() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (uses_ > 0) --uses_;
    if (uses_ == 0 && !pinned_) unload();
  }

  // The function in `slot`, loading FFmpeg if need be; null if it cannot be
  // loaded.
  void* function(Slot slot) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (uses_ == 0 && !pinned_) {
      pinned_ = true;
      NUVPrintf(NUV_LOG_INFO, "[FFmpeg] %s called outside a use: FFmpeg stays loaded",
                kEntries[slot].name);
    }
    if (!loaded() && !load()) return nullptr;
    return functions_[slot];
  }

  bool loaded() const { return handles_[kAvformat] != nullptr; }
  bool pinned() const { return pinned_; }
  std::mutex& mutex() { return mutex_; }

 private:
  bool load() {
    for (int library = 0; library < kLibraries; ++library) {
      handles_[library] = dlopen(kSonames[library], RTLD_NOW | RTLD_LOCAL);
      if (handles_[library] == nullptr) {
        const char* why = dlerror();
        NUVPrintf(NUV_LOG_ERROR, "[FFmpeg] cannot load %s: %s", kSonames[library],
                  why != nullptr ? why : "unknown error");
        unload();
        return false;
      }
    }
    for (int slot = 0; slot < kSlots; ++slot) {
      functions_[slot] = dlsym(handles_[kEntries[slot].library], kEntries[slot].name);
      if (functions_[slot] == nullptr) {
        NUVPrintf(NUV_LOG_ERROR, "[FFmpeg] %s has no %s", kSonames[kEntries[slot].library],
                  kEntries[slot].name);
        unload();
        return false;
      }
    }
    // A bad file is reported once, by the caller.
    reinterpret_cast<decltype(&av_log_set_level)>(functions_[k_av_log_set_level])(AV_LOG_QUIET);
    return true;
  }

  void unload() {
    functions_.fill(nullptr);
    for (int library = kLibraries - 1; library >= 0; --library) {
      if (handles_[library] != nullptr) dlclose(handles_[library]);
      handles_[library] = nullptr;
    }
  }

  std::mutex mutex_;
  int uses_ = 0;
#ifdef DMS_FFMPEG_KEEP_LOADED
  bool pinned_ = true;
#else
  bool pinned_ = false;
#endif
  std::array<void*, kLibraries> handles_{};
  std::array<void*, kSlots> functions_{};
};

template <typename F>
F resolved(Slot slot) {
  return reinterpret_cast<F>(Loader::instance().function(slot));
}

constexpr int kNotLoaded = AVERROR(ENOSYS);

}  // namespace

namespace dms_ffmpeg {

FFmpegUse::FFmpegUse() : available_(Loader::instance().acquire()) {}

FFmpegUse::~FFmpegUse() { Loader::instance().release(); }

bool loadedForTest() {
  Loader& loader = Loader::instance();
  std::lock_guard<std::mutex> lock(loader.mutex());
  return loader.loaded();
}

bool pinnedForTest() {
  Loader& loader = Loader::instance();
  std::lock_guard<std::mutex> lock(loader.mutex());
  return loader.pinned();
}

bool unloadsForTest() {
#ifdef DMS_FFMPEG_KEEP_LOADED
  return false;
#else
  return true;
#endif
}

}  // namespace dms_ffmpeg

// The FFmpeg functions: each forwards to the loaded one.
#define DMS_FORWARD(Ret, name, fallback, Params, Args) \
  extern "C" Ret name Params {                         \
    auto real = resolved<decltype(&name)>(k_##name);   \
    return real != nullptr ? real Args : fallback;     \
  }
#define DMS_FORWARD_VOID(name, Params, Args)         \
  extern "C" void name Params {                      \
    auto real = resolved<decltype(&name)>(k_##name); \
    if (real != nullptr) real Args;                  \
  }

DMS_FORWARD(AVDictionaryEntry*, av_dict_get, nullptr,
            (const AVDictionary* m, const char* key, const AVDictionaryEntry* prev, int flags),
            (m, key, prev, flags))
DMS_FORWARD(AVFrame*, av_frame_alloc, nullptr, (void), ())
DMS_FORWARD_VOID(av_frame_free, (AVFrame * *frame), (frame))
DMS_FORWARD(const char*, av_get_pix_fmt_name, nullptr, (enum AVPixelFormat format), (format))
DMS_FORWARD_VOID(av_log_set_level, (int level), (level))
DMS_FORWARD(int, av_opt_set_int, kNotLoaded,
            (void* object, const char* name, int64_t value, int searchFlags),
            (object, name, value, searchFlags))
DMS_FORWARD(int64_t, av_rescale_q, 0, (int64_t a, AVRational bq, AVRational cq), (a, bq, cq))
extern "C" int av_strerror(int error, char* buffer, size_t size) {
  auto real = resolved<decltype(&av_strerror)>(k_av_strerror);
  if (real != nullptr) return real(error, buffer, size);
  if (buffer != nullptr && size > 0) snprintf(buffer, size, "FFmpeg not loaded (error %d)", error);
  return -1;
}
DMS_FORWARD(SwsContext*, sws_alloc_context, nullptr, (void), ())
DMS_FORWARD_VOID(sws_freeContext, (SwsContext * context), (context))
DMS_FORWARD(const int*, sws_getCoefficients, nullptr, (int colorspace), (colorspace))
DMS_FORWARD(SwsContext*, sws_getContext, nullptr,
            (int srcW, int srcH, enum AVPixelFormat srcFormat, int dstW, int dstH,
             enum AVPixelFormat dstFormat, int flags, SwsFilter* srcFilter, SwsFilter* dstFilter,
             const double* param),
            (srcW, srcH, srcFormat, dstW, dstH, dstFormat, flags, srcFilter, dstFilter, param))
DMS_FORWARD(int, sws_init_context, kNotLoaded,
            (SwsContext * context, SwsFilter* srcFilter, SwsFilter* dstFilter),
            (context, srcFilter, dstFilter))
DMS_FORWARD(int, sws_scale, kNotLoaded,
            (SwsContext * context, const uint8_t* const srcSlice[], const int srcStride[],
             int srcSliceY, int srcSliceH, uint8_t* const dst[], const int dstStride[]),
            (context, srcSlice, srcStride, srcSliceY, srcSliceH, dst, dstStride))
DMS_FORWARD(int, sws_setColorspaceDetails, kNotLoaded,
            (SwsContext * context, const int invTable[4], int srcRange, const int table[4],
             int dstRange, int brightness, int contrast, int saturation),
            (context, invTable, srcRange, table, dstRange, brightness, contrast, saturation))
DMS_FORWARD(AVPacket*, av_packet_alloc, nullptr, (void), ())
DMS_FORWARD_VOID(av_packet_free, (AVPacket * *packet), (packet))
DMS_FORWARD_VOID(av_packet_unref, (AVPacket * packet), (packet))
DMS_FORWARD(AVCodecContext*, avcodec_alloc_context3, nullptr, (const AVCodec* codec), (codec))
DMS_FORWARD_VOID(avcodec_flush_buffers, (AVCodecContext * context), (context))
DMS_FORWARD_VOID(avcodec_free_context, (AVCodecContext * *context), (context))
DMS_FORWARD(int, avcodec_open2, kNotLoaded,
            (AVCodecContext * context, const AVCodec* codec, AVDictionary** options),
            (context, codec, options))
DMS_FORWARD(int, avcodec_parameters_to_context, kNotLoaded,
            (AVCodecContext * context, const AVCodecParameters* parameters), (context, parameters))
DMS_FORWARD(int, avcodec_receive_frame, kNotLoaded, (AVCodecContext * context, AVFrame* frame),
            (context, frame))
DMS_FORWARD(int, avcodec_send_packet, kNotLoaded,
            (AVCodecContext * context, const AVPacket* packet), (context, packet))
DMS_FORWARD(int, av_find_best_stream, kNotLoaded,
            (AVFormatContext * input, enum AVMediaType type, int wanted, int related,
             const AVCodec** decoder, int flags),
            (input, type, wanted, related, decoder, flags))
DMS_FORWARD(AVRational, av_guess_sample_aspect_ratio, (AVRational{0, 1}),
            (AVFormatContext * input, AVStream* stream, AVFrame* frame), (input, stream, frame))
DMS_FORWARD(int, av_read_frame, kNotLoaded, (AVFormatContext * input, AVPacket* packet),
            (input, packet))
DMS_FORWARD(int, av_seek_frame, kNotLoaded,
            (AVFormatContext * input, int stream, int64_t timestamp, int flags),
            (input, stream, timestamp, flags))
DMS_FORWARD_VOID(avformat_close_input, (AVFormatContext * *input), (input))
DMS_FORWARD(int, avformat_find_stream_info, kNotLoaded,
            (AVFormatContext * input, AVDictionary** options), (input, options))
DMS_FORWARD(int, avformat_open_input, kNotLoaded,
            (AVFormatContext * *input, const char* url, const AVInputFormat* format,
             AVDictionary** options),
            (input, url, format, options))
DMS_FORWARD(int, avformat_seek_file, kNotLoaded,
            (AVFormatContext * input, int stream, int64_t minTs, int64_t ts, int64_t maxTs,
             int flags),
            (input, stream, minTs, ts, maxTs, flags))
