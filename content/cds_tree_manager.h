// CDSTreeManager: the container tree the server shows: the root "0" and one
// container per media kind ("1" images, "2" music, "3" videos), plus any a
// client creates ("4", "5", ...). It finds the enumerator of a container ID
// and forwards the content engine's requests to it, keeps the container
// event listeners, and writes the X_GetFeatureList document.
//
// Thread safety: every member may be called from any thread; one recursive
// lock guards the lists, counters and settings. Containers are never removed
// while the tree lives, so a ContainerInfo returned here stays valid until
// DestroyInstance. Requests are forwarded outside the lock.
#ifndef DMS_CONTENT_CDS_TREE_MANAGER_H
#define DMS_CONTENT_CDS_TREE_MANAGER_H

#include <array>
#include <memory>
#include <mutex>

#include "container_event_listener.h"
#include "contents_enumerator_init_info.h"

class ContainerInfo;
class ContentsEnumerator;
class ContentsEnumeratorArgument;
class DMSAppString;
class DMSCDSList;

class CDSTreeManager : public ContentsEnumeratorEventListener {
 public:
  // Created on first use with the fixed containers (reading "DefaultContainer",
  // "BASICVIEW-CONTAINERS" and "VENDOR-DOMAIN"); creates the temporary
  // contents, which DestroyInstance destroys with the tree.
  static CDSTreeManager* GetInstance();
  static void DestroyInstance();

  // ---- Containers (borrowed results, null when there is none) ----
  ContainerInfo* GetFirstContainerInformation(unsigned int requestID);
  // The container after the one whose ID equals afterID, ignoring case.
  ContainerInfo* GetNextContainerInformation(unsigned int requestID, DMSAppString* afterID);
  // Exact ID comparison.
  ContainerInfo* GetContainerInformation(unsigned int requestID, DMSAppString* id);

  // ---- Forwarded to the container's enumerator ----
  // -1 for an empty ID or an unknown container.
  int GetTotalMatches(DMSAppString* containerID, unsigned int requestID);
  // 0 forwarded (the enumerator answers), 1 refused with a log (no answer).
  int GetContents(unsigned int requestID, DMSAppString* containerID, unsigned int start,
                  unsigned int count, bool flag);
  int GetContent(unsigned int requestID, DMSAppString* containerID, DMSAppString* id, bool flag);
  int GetContentRecord(unsigned int requestID, DMSAppString* containerID, DMSAppString* id);
  int DestroyContent(unsigned int requestID, DMSAppString* containerID, DMSAppString* id);
  // Takes `record`: sets its MIME type from its file path and lets the
  // container's enumerator reserve its ID (answer type 10). 1 for an
  // unknown container (the record is then deleted, and nothing answers).
  int CreateContent(unsigned int requestID, DMSAppString* containerID,
                    ContentsEnumeratorArgument* record);
  // Answers type 3 with result 0.
  int RegisterUploadedContent(unsigned int requestID, DMSAppString* containerID,
                              DMSAppString* path);

  // ---- Listeners ----
  // 1 (the listener's ID is set), 0 for null.
  int RegisterContainerEventListener(ContainerEventListener* listener);
  // 1 when a listener with that ID was removed, else 0.
  int DeregisterContainerEventListener(unsigned int id);
  // Hands the event to every registered listener (see the listener's note).
  void Notify(NUV_CDSEVENT_TYPE type, DMSCDSList* list);
  void Notify(NUV_CDSEVENT_TYPE type, DMSAppString* text);

  // ---- New containers ----
  // The next container number as decimal text ("4", "5", ...), new.
  DMSAppString* GetNewContainerIDMA();
  // A new container under parentID with its enumerator; returns a copy of
  // its ID (new) or null (logged).
  DMSAppString* AddNewContainerToListMA(unsigned int requestID, DMSAppString* parentID,
                                        DMSAppString* name, DMSAppString* upnpClass);

  // ---- Basic view (X_GetFeatureList) ----
  // The Features document, new; null when memory runs out.
  DMSAppString* GetBasicViewInformationMA();
  // Bit 0 image, bit 1 audio, bit 2 video: which media containers the
  // basic view lists. Values outside 0..7 are refused (1).
  int SetSetDefaultContainer(int mask);
  int GetDefaultContainer() const;

 private:
  CDSTreeManager();
  ~CDSTreeManager() override;
  CDSTreeManager(const CDSTreeManager&) = delete;
  CDSTreeManager& operator=(const CDSTreeManager&) = delete;

  void __InitContainerList();
  ContentsEnumerator* __FindCEInstance(DMSAppString* id);
  // Builds a container with a MultiMediaDBEnumerator and appends it. False
  // (nothing appended) when any part cannot be made.
  bool addContainer(const char* id, const char* parentID, const char* name, const char* upnpClass,
                    const char* basePath, unsigned int kind, int third,
                    const char* accessRestriction);
  // Reads "DefaultContainer", "BASICVIEW-CONTAINERS" and "VENDOR-DOMAIN".
  void readBasicViewSettings();
  // Offers the configured container IDs that the default-container mask
  // selects. Caller holds mutex_.
  void applyBasicViewSetting();
  ContentsEnumerator* findForRequest(DMSAppString* containerID, const char* request);

  mutable std::recursive_mutex mutex_;
  // Both lists own their elements (a ListenerEntry, a ContainerInfo), which
  // the destructor releases through the lists' deleters.
  std::unique_ptr<DMSCDSList> listeners_;
  std::unique_ptr<DMSCDSList> containers_;
  unsigned int listenerCounter_;
  unsigned int newContainerNumber_;
  int defaultContainer_;
  // Basic-view container IDs as configured, and as offered (null when the
  // default-container mask leaves a kind out).
  std::array<std::unique_ptr<DMSAppString>, 3> configuredViewIDs_;
  std::unique_ptr<DMSAppString> imageContainerID_;
  std::unique_ptr<DMSAppString> audioContainerID_;
  std::unique_ptr<DMSAppString> videoContainerID_;
  std::unique_ptr<DMSAppString> vendorDomain_;
};

#endif  // DMS_CONTENT_CDS_TREE_MANAGER_H
