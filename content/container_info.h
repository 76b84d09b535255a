// ContainerInfo: one container of the tree with its enumerator (owned by the
// tree). ContainerPublicInfo: a copy of its description for callers outside
// the tree, which they own and delete.
//
// Both are immutable after construction (apart from ConnectCE), so a
// ContainerInfo borrowed from the tree may be read from any thread while the
// tree lives.
#ifndef DMS_CONTENT_CONTAINER_INFO_H
#define DMS_CONTENT_CONTAINER_INFO_H

#include <memory>

class ContentsEnumerator;
class ContentsEnumeratorInitInfo;
class DMSAppString;

class ContainerInfo {
 public:
  // Copies the texts; takes ownership of `initInfo`. IsComplete() tells
  // whether every copy could be made.
  ContainerInfo(const char* id, const char* parentID, const char* name, const char* upnpClass,
                ContentsEnumeratorInitInfo* initInfo, const char* accessRestriction);
  ~ContainerInfo();
  ContainerInfo(const ContainerInfo&) = delete;
  ContainerInfo& operator=(const ContainerInfo&) = delete;

  bool IsComplete() const;
  DMSAppString* GetID() const { return id_.get(); }
  DMSAppString* GetParentID() const { return parentID_.get(); }
  DMSAppString* GetName() const { return name_.get(); }
  DMSAppString* GetUPnPClass() const { return upnpClass_.get(); }
  ContentsEnumeratorInitInfo* ReadCEInfo() const { return initInfo_.get(); }
  ContentsEnumerator* GetCE() const { return enumerator_.get(); }
  DMSAppString* GetAccessRestriction() const { return accessRestriction_.get(); }
  // Attaches (and takes) the enumerator. 0, or 1 for null or when one is
  // attached already.
  int ConnectCE(ContentsEnumerator* enumerator);

 private:
  // First, so that the init info is owned before any copy is attempted.
  std::unique_ptr<ContentsEnumeratorInitInfo> initInfo_;
  std::unique_ptr<DMSAppString> id_;
  std::unique_ptr<DMSAppString> parentID_;
  std::unique_ptr<DMSAppString> name_;
  std::unique_ptr<DMSAppString> upnpClass_;
  std::unique_ptr<ContentsEnumerator> enumerator_;
  std::unique_ptr<DMSAppString> accessRestriction_;
};

class ContainerPublicInfo {
 public:
  explicit ContainerPublicInfo(const ContainerInfo& source);
  ~ContainerPublicInfo();
  ContainerPublicInfo(const ContainerPublicInfo&) = delete;
  ContainerPublicInfo& operator=(const ContainerPublicInfo&) = delete;

  bool IsComplete() const;
  DMSAppString* GetID() const { return id_.get(); }
  DMSAppString* GetParentID() const { return parentID_.get(); }
  DMSAppString* GetName() const { return name_.get(); }
  DMSAppString* GetUPnPClass() const { return upnpClass_.get(); }
  DMSAppString* GetAccessRestriction() const { return accessRestriction_.get(); }
  // A public copy has no enumerator: does nothing.
  void ConnectCE() {}

 private:
  std::unique_ptr<DMSAppString> id_;
  std::unique_ptr<DMSAppString> parentID_;
  std::unique_ptr<DMSAppString> name_;
  std::unique_ptr<DMSAppString> upnpClass_;
  std::unique_ptr<DMSAppString> accessRestriction_;
};

#endif  // DMS_CONTENT_CONTAINER_INFO_H
