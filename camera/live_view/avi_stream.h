// The live view's AVI framing: a 224-byte header for one MJPEG video stream
// (RIFF, the hdrl list with avih, strh and strf, and the start of the movi
// list), then one "00dc" chunk per JPEG picture. Players read it as it
// comes: the sizes of RIFF and movi are 0 (open-ended) and there is no index.
#ifndef DMS_CAMERA_LIVE_VIEW_AVI_STREAM_H
#define DMS_CAMERA_LIVE_VIEW_AVI_STREAM_H

#include <array>
#include <cstddef>
#include <vector>

namespace dms_camera {

constexpr size_t kAviHeaderBytes = 224;
constexpr size_t kAviChunkHeaderBytes = 8;

// The stream header for pictures of width x height at `rate` pictures/s.
std::array<unsigned char, kAviHeaderBytes> AviStreamHeader(int width, int height, double rate);

// Makes `chunk` the 8 bytes in front of a picture ("00dc" and a size to be
// filled in): append the JPEG picture after them, then call FinishAviChunk.
void BeginAviChunk(std::vector<unsigned char>* chunk);
// Fills in the size and pads the chunk to an even length; false when the
// picture is empty or does not fit 32 bits.
bool FinishAviChunk(std::vector<unsigned char>* chunk);

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_AVI_STREAM_H
