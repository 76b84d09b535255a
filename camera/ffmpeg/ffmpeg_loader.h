// FFmpeg, loaded while something needs it.
//
// Only the scan of movies and songs in containers, movie thumbnails and the
// live view from a video file or a V4L2 camera use FFmpeg. Linked at start,
// it and the hundred libraries it pulls in (codecs, TLS, SVG, X11) would
// stay in every process that loads the server, idle most of the time: on a
// PC build about 20 MiB of resident pages. So FFmpeg is not linked: this
// library defines the FFmpeg functions the server calls, loads the real
// ones with dlopen while an FFmpegUse is held, and unloads them when the last
// one ends. The callers' code stays plain FFmpeg.
//
// Rules: hold an FFmpegUse for as long as any FFmpeg object lives (declare it
// before the objects, so that it ends after them). A call made without one
// loads FFmpeg and keeps it until the process ends (logged once): slower to
// find, never a crash. When the libraries cannot be loaded (logged once per
// attempt), every function fails as FFmpeg does: null, or a negative error.
//
// Sanitizer builds keep FFmpeg once loaded (DMS_FFMPEG_KEEP_LOADED).
//
// Each library that links this (static, hidden symbols) has its own count,
// so FFmpeg libraries a host program links itself are never unloaded under
// it. Thread safety: uses and calls may come from any thread.
#ifndef DMS_CAMERA_FFMPEG_LOADER_H
#define DMS_CAMERA_FFMPEG_LOADER_H

namespace dms_ffmpeg {

class FFmpegUse {
 public:
  FFmpegUse();
  ~FFmpegUse();
  FFmpegUse(const FFmpegUse&) = delete;
  FFmpegUse& operator=(const FFmpegUse&) = delete;

  // False when the libraries could not be loaded.
  bool available() const { return available_; }

 private:
  bool available_;
};

// For tests: whether the libraries are loaded now, whether they are kept
// for good (a call without a use, or a sanitizer build), and whether this
// build unloads them at all.
bool loadedForTest();
bool pinnedForTest();
bool unloadsForTest();

}  // namespace dms_ffmpeg

#endif  // DMS_CAMERA_FFMPEG_LOADER_H
