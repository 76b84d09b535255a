// A camera's MJPEG picture as a JPEG that stands on its own. Many USB
// cameras leave out the Huffman tables (motion JPEG assumes the standard
// ones), which a JPEG decoder then misses; they are put back, nothing else
// is changed.
#ifndef DMS_CAMERA_LIVE_VIEW_CAMERA_JPEG_H
#define DMS_CAMERA_LIVE_VIEW_CAMERA_JPEG_H

#include <cstddef>
#include <vector>

namespace dms_camera {

// Appends the picture in `data` to `out` (whose earlier bytes stay in
// front), with the standard Huffman tables before its scan when it has
// none. False, with `out` unchanged, when `data` is not a JPEG picture (a
// camera's broken or empty buffer).
bool appendCameraJpeg(const unsigned char* data, size_t size, std::vector<unsigned char>* out);

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_CAMERA_JPEG_H
