// The sources OpenFrameSource chooses from, one file each.
#ifndef DMS_CAMERA_LIVE_VIEW_FRAME_SOURCES_H
#define DMS_CAMERA_LIVE_VIEW_FRAME_SOURCES_H

#include <memory>
#include <string>

#include "frame_source.h"

namespace dms_camera {

// The largest side of a picture any source renders.
constexpr int kMaxPictureSide = 4096;

// False with `error` set when `size` is not a picture a source can render.
bool checkPictureSize(FrameSize size, std::string* error);

std::unique_ptr<FrameSource> openTestPictureSource();
// A V4L2 capture device; null with `error` set when it cannot be used.
std::unique_ptr<FrameSource> openV4l2Source(const std::string& path, std::string* error);
// A video file, played in a loop; null with `error` set when it cannot be.
std::unique_ptr<FrameSource> openVideoFileSource(const std::string& path, std::string* error);

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_FRAME_SOURCES_H
