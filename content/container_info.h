// ContainerInfo: one container of the tree with its enumerator (owned by the
// tree). ContainerPublicInfo: a copy of its description for callers outside
// the tree, which they own and delete.
//
// Both are immutable after construction (apart from ConnectCE), so a
// ContainerInfo borrowed from the tree may be read from any thread while the
// tree lives.
#ifndef DMS_CONTENT_CONTAINER_INFO_H
#define DMS_CONTENT_CONTAINER_INFO_H

class ContentsEnumerator;
class ContentsEnumeratorInitInfo;
class DMSAppString;

class ContainerInfo {
 public:
  // Copies the texts; takes ownership of `initInfo`. IsComplete() tells
  // whether every copy could be made.
  ContainerInfo(const char* id, const char* parentID, const char* name, const char* upnpClass,
                ContentsEnumeratorInitInfo* initInfo, const char* accessRestriction);
  // Releases the texts, the init info and the enumerator.
  ~ContainerInfo();
  ContainerInfo(const ContainerInfo&) = delete;
  ContainerInfo& operator=(const ContainerInfo&) = delete;

  bool IsComplete() const;
  DMSAppString* GetID() const { return id_; }
  DMSAppString* GetParentID() const { return parentID_; }
  DMSAppString* GetName() const { return name_; }
  DMSAppString* GetUPnPClass() const { return upnpClass_; }
  ContentsEnumeratorInitInfo* ReadCEInfo() const { return initInfo_; }
  ContentsEnumerator* GetCE() const { return enumerator_; }
  DMSAppString* GetAccessRestriction() const { return accessRestriction_; }
  // Attaches (and takes) the enumerator. 0, or 1 for null or when one is
  // attached already.
  int ConnectCE(ContentsEnumerator* enumerator);

 private:
  DMSAppString* id_;
  DMSAppString* parentID_;
  DMSAppString* name_;
  DMSAppString* upnpClass_;
  ContentsEnumeratorInitInfo* initInfo_;
  ContentsEnumerator* enumerator_;
  DMSAppString* accessRestriction_;
};

class ContainerPublicInfo {
 public:
  explicit ContainerPublicInfo(const ContainerInfo& source);
  ~ContainerPublicInfo();
  ContainerPublicInfo(const ContainerPublicInfo&) = delete;
  ContainerPublicInfo& operator=(const ContainerPublicInfo&) = delete;

  bool IsComplete() const;
  DMSAppString* GetID() const { return id_; }
  DMSAppString* GetParentID() const { return parentID_; }
  DMSAppString* GetName() const { return name_; }
  DMSAppString* GetUPnPClass() const { return upnpClass_; }
  DMSAppString* GetAccessRestriction() const { return accessRestriction_; }
  // A public copy has no enumerator: does nothing.
  void ConnectCE() {}

 private:
  DMSAppString* id_;
  DMSAppString* parentID_;
  DMSAppString* name_;
  DMSAppString* upnpClass_;
  DMSAppString* accessRestriction_;
};

#endif  // DMS_CONTENT_CONTAINER_INFO_H
