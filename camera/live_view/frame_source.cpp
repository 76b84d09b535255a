// OpenFrameSource: which source a name stands for.
#include <sys/stat.h>

#include "frame_sources.h"

namespace dms_camera {

namespace {

// Under /dev/, a character device or a name that does not exist (so that
// the camera's own error says so) is a camera; anything else, such as a
// file in /dev/shm, is a video file.
bool isCameraPath(const std::string& name) {
  if (name.compare(0, 5, "/dev/") != 0) return false;
  struct stat st {};
  return stat(name.c_str(), &st) != 0 || S_ISCHR(st.st_mode);
}

}  // namespace

bool checkPictureSize(FrameSize size, std::string* error) {
  if (size.width > 0 && size.height > 0 && size.width <= kMaxPictureSide &&
      size.height <= kMaxPictureSide) {
    return true;
  }
  *error = "cannot render a " + std::to_string(size.width) + "x" + std::to_string(size.height) +
           " picture";
  return false;
}

std::unique_ptr<FrameSource> OpenFrameSource(const std::string& name, std::string* error) {
  if (name == "test") return openTestPictureSource();
  if (isCameraPath(name)) return openV4l2Source(name, error);
  return openVideoFileSource(name, error);
}

}  // namespace dms_camera
