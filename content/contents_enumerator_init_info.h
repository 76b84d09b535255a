// ContentsEnumeratorInitInfo: the configuration of one container's
// enumerator, owned by the container's ContainerInfo. And the (empty) event
// listener interface that the enumerators' owners implement.
#ifndef DMS_CONTENT_CONTENTS_ENUMERATOR_INIT_INFO_H
#define DMS_CONTENT_CONTENTS_ENUMERATOR_INIT_INFO_H

#include <memory>

class DMSAppString;

class ContentsEnumeratorInitInfo {
 public:
  // Null base path, kind 0, third value 0.
  ContentsEnumeratorInitInfo();
  // Takes ownership of `basePath` (may be null).
  ContentsEnumeratorInitInfo(DMSAppString* basePath, unsigned int mediaKind, int third);
  ~ContentsEnumeratorInitInfo();
  ContentsEnumeratorInitInfo(const ContentsEnumeratorInitInfo&) = delete;
  ContentsEnumeratorInitInfo& operator=(const ContentsEnumeratorInitInfo&) = delete;

  DMSAppString* GetBasePath() const { return basePath_.get(); }  // borrowed
  unsigned int GetMediaKind() const { return mediaKind_; }  // 0 root, 1 image, 2 audio, 3 video
  int GetThirdValue() const { return third_; }  // 3 media containers, 0 root, 2 new containers

 private:
  std::unique_ptr<DMSAppString> basePath_;
  unsigned int mediaKind_;
  int third_;
};

// Interface of whoever receives the enumerators' events. It has no data and
// no operations of its own; CDSTreeManager derives from it.
class ContentsEnumeratorEventListener {
 public:
  virtual ~ContentsEnumeratorEventListener() = default;
};

#endif  // DMS_CONTENT_CONTENTS_ENUMERATOR_INIT_INFO_H
