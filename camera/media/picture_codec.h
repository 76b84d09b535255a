// Scaling and JPEG encoding of decoded pictures for the thumbnail renderer.
#ifndef DMS_CAMERA_PICTURE_CODEC_H
#define DMS_CAMERA_PICTURE_CODEC_H

#include <vector>

namespace camera_thumb {

// Encodes packed RGB24 rows (`pitch` bytes apart) as a JPEG of quality 85.
bool encodeRgbJpeg(const unsigned char* rgb, int width, int height, int pitch,
                   std::vector<unsigned char>* jpeg);

// Renders the JPEG in `data` to a thumbnail (at most 160x160, aspect kept),
// decoding at the smallest libjpeg-turbo scale that still covers it.
bool renderJpegThumbnail(const std::vector<unsigned char>& data, std::vector<unsigned char>* jpeg);

// Renders a representative frame of the movie at `path` likewise.
bool renderMovieThumbnail(const char* path, std::vector<unsigned char>* jpeg);

}  // namespace camera_thumb

#endif  // DMS_CAMERA_PICTURE_CODEC_H
