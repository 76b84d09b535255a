// The last photo of the live view on a Linux host: the newest photo
// registered while the application runs. Its small image (the MPF
// screennail, else the EXIF thumbnail) is copied out of the photo into the
// folder of the configuration key "LAST-PHOTO-DIR" as NAME_SM, where the
// media server's live-view handler opens it (a camera keeps these files
// under "/b"); its offset and size in that file are what the handler is
// told.
//
// Thread safety: every member may be called from any thread.
#ifndef DMS_CAMERA_LIVE_VIEW_LAST_PHOTO_H
#define DMS_CAMERA_LIVE_VIEW_LAST_PHOTO_H

#include <mutex>
#include <string>

namespace dms_camera {

class LastPhoto {
 public:
  static LastPhoto& instance();

  // Makes the JPEG at `path` the last photo; false (and nothing changes)
  // when it is not a readable JPEG or its small image cannot be written.
  bool Taken(const std::string& path);
  // The small image of `name` (the last photo's file name): its offset and
  // size in NAME_SM. False when `name` is not the last photo or it has no
  // small image.
  bool SmallImage(const std::string& name, long* offset, long* size) const;

 private:
  LastPhoto() = default;
  mutable std::mutex mutex_;
  std::string name_;    // guarded by mutex_
  std::string folder_;  // guarded by mutex_: where NAME_SM was written
  long size_ = 0;       // guarded by mutex_
};

}  // namespace dms_camera

#endif  // DMS_CAMERA_LIVE_VIEW_LAST_PHOTO_H
