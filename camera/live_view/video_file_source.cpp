// A video file as the live view: its pictures at their own times (at most
// 30 a second), scaled to the asked size and encoded as JPEG, the file
// starting again at its end, since a live view does not end by itself.
#include <memory>
#include <string>
#include <utility>

#include "frame_sources.h"
#include "frame_timing.h"
#include "jpeg_encoder.h"
#include "picture_scaler.h"
#include "video_decoder.h"

namespace dms_camera {

namespace {

// Pictures skipped in a row when the source is behind its times; one then
// comes anyway, so that a machine too slow for the file still shows some.
constexpr int kMaxSkipped = 5;

class VideoFileSource final : public FrameSource {
 public:
  VideoFileSource(std::string path, std::unique_ptr<VideoDecoder> decoder)
      : path_(std::move(path)), decoder_(std::move(decoder)) {
    double fileRate = decoder_->averageRate();
    rate_ = fileRate > 0 && fileRate < kMaxRate ? fileRate : kMaxRate;
    frameSeconds_ = 1 / (fileRate > 0 ? fileRate : kMaxRate);
  }

  double rate() const override { return rate_; }

  bool next(FrameSize size, std::vector<unsigned char>* out, std::string* error) override {
    if (!checkPictureSize(size, error)) return false;
    for (;;) {
      const AVFrame* picture = nullptr;
      double seconds = 0;
      if (!nextPicture(&picture, &seconds, error)) return false;
      if (!rateCap_.admit(seconds)) continue;
      if (clock_.lateness(seconds) > 1 / kMaxRate && skipped_ < kMaxSkipped) {
        ++skipped_;
        continue;
      }
      skipped_ = 0;
      if (!encode(*picture, size, out, error)) return false;
      clock_.sleepUntil(seconds);
      return true;
    }
  }

 private:
  // The next picture and its place on the unbroken timeline.
  bool nextPicture(const AVFrame** picture, double* seconds, std::string* error) {
    for (;;) {
      switch (decoder_->next(picture, error)) {
        case VideoDecoder::Result::kPicture:
          ++picturesThisPass_;
          *seconds = timeline_.place(decoder_->seconds(**picture), frameSeconds_);
          return true;
        case VideoDecoder::Result::kError:
          return false;
        case VideoDecoder::Result::kEnd:
          if (picturesThisPass_ == 0 && justOpened_) {
            *error = "no picture of " + path_ + " decodes";
            return false;
          }
          // A pass without pictures after a seek: the seek did not work.
          if (!restart(picturesThisPass_ == 0, error)) return false;
          picturesThisPass_ = 0;
          break;
      }
    }
  }

  // Back to the start; a file that cannot seek is opened again.
  bool restart(bool reopen, std::string* error) {
    justOpened_ = reopen || !decoder_->rewind();
    if (!justOpened_) return true;
    std::unique_ptr<VideoDecoder> reopened = VideoDecoder::open(path_, error);
    if (reopened == nullptr) return false;
    decoder_ = std::move(reopened);
    return true;
  }

  bool encode(const AVFrame& picture, FrameSize size, std::vector<unsigned char>* out,
              std::string* error) {
    SourcePicture source{
        picture.data,        picture.linesize,  static_cast<AVPixelFormat>(picture.format),
        picture.width,       picture.height,    decoder_->sampleAspect(picture),
        picture.color_range, picture.colorspace};
    I420View scaled{};
    return scaler_.scale(source, size, &scaled, error) && encoder_.encodeI420(scaled, out, error);
  }

  std::string path_;
  std::unique_ptr<VideoDecoder> decoder_;
  double rate_ = kMaxRate;
  double frameSeconds_ = 1 / kMaxRate;
  FrameClock clock_;
  RateCap rateCap_;
  Timeline timeline_;
  PictureScaler scaler_;
  JpegEncoder encoder_;
  long picturesThisPass_ = 0;
  bool justOpened_ = true;  // the pass began with opening the file, not with a seek
  int skipped_ = 0;
};

}  // namespace

std::unique_ptr<FrameSource> openVideoFileSource(const std::string& path, std::string* error) {
  std::unique_ptr<VideoDecoder> decoder = VideoDecoder::open(path, error);
  if (decoder == nullptr) return nullptr;
  return std::make_unique<VideoFileSource>(path, std::move(decoder));
}

}  // namespace dms_camera
