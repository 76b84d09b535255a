#include "cds_tree_manager.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <new>

#include "container_info.h"
#include "content_limits.h"
#include "contents_enumerator.h"
#include "contents_enumerator_argument.h"
#include "dms_content_engine.h"
#include "dms_list.h"
#include "dms_string.h"
#include "multimedia_db_enumerator.h"
#include "nuv_log.h"
#include "temporary_contents_manager.h"
#include "text_util.h"

namespace {

std::mutex gInstanceMutex;
CDSTreeManager* gInstance = nullptr;

constexpr const char* kMediaBasePath = "/Media";
constexpr int kMediaThird = 3;
constexpr int kNewContainerThird = 2;
constexpr unsigned int kFirstNewContainer = 4;

struct ListenerEntry {
  unsigned int id;
  ContainerEventListener* listener;
};

int deleteContainer(void* data) {
  delete static_cast<ContainerInfo*>(data);
  return 1;
}

int deleteListenerEntry(void* data) {
  delete static_cast<ListenerEntry*>(data);
  return 1;
}

// The list's data in order, walked with its cursor (callers hold the lock).
template <typename Visit>
void* walk(DMSCDSList* list, Visit visit) {
  if (list == nullptr || list->SetFirstItemToCurrentItem() != 0) return nullptr;
  for (void* data = list->ReadCurrentItemData(); data != nullptr; data = list->ReadNextItemData()) {
    if (visit(data)) return data;
  }
  return nullptr;
}

bool emptyText(DMSAppString* s) {
  const char* text = text_util::textOf(s);
  return text == nullptr || text[0] == '\0';
}

}  // namespace

CDSTreeManager* CDSTreeManager::GetInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  if (gInstance == nullptr) gInstance = new (std::nothrow) CDSTreeManager();
  return gInstance;
}

void CDSTreeManager::DestroyInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  delete gInstance;
  gInstance = nullptr;
}

CDSTreeManager::CDSTreeManager()
    : listeners_(new (std::nothrow) DMSCDSList()),
      containers_(new (std::nothrow) DMSCDSList()),
      listenerCounter_(0),
      newContainerNumber_(0),
      defaultContainer_(7),
      configuredViewIDs_{nullptr, nullptr, nullptr},
      imageContainerID_(nullptr),
      audioContainerID_(nullptr),
      videoContainerID_(nullptr),
      vendorDomain_(nullptr) {
  __InitContainerList();
  TemporaryContentsManager::GetInstance();
}

CDSTreeManager::~CDSTreeManager() {
  TemporaryContentsManager::DestroyInstance();
  if (containers_ != nullptr) containers_->RemoveAllListItem(&deleteContainer);
  if (listeners_ != nullptr) listeners_->RemoveAllListItem(&deleteListenerEntry);
  delete containers_;
  delete listeners_;
  for (DMSAppString* id : configuredViewIDs_) delete id;
  delete imageContainerID_;
  delete audioContainerID_;
  delete videoContainerID_;
  delete vendorDomain_;
}

bool CDSTreeManager::addContainer(const char* id, const char* parentID, const char* name,
                                  const char* upnpClass, const char* basePath, unsigned int kind,
                                  int third, const char* accessRestriction) {
  if (containers_ == nullptr) return false;
  DMSAppString* path = basePath == nullptr ? nullptr : text_util::newText(basePath);
  if (basePath != nullptr && path == nullptr) return false;
  ContentsEnumeratorInitInfo* init =
      new (std::nothrow) ContentsEnumeratorInitInfo(path, kind, third);
  if (init == nullptr) {
    delete path;
    return false;
  }
  std::unique_ptr<ContainerInfo> container(
      new (std::nothrow) ContainerInfo(id, parentID, name, upnpClass, init, accessRestriction));
  if (container == nullptr) {
    delete init;
    return false;
  }
  MultiMediaDBEnumerator* enumerator = new (std::nothrow) MultiMediaDBEnumerator(path, kind);
  if (!container->IsComplete() || container->ConnectCE(enumerator) != 0) {
    delete enumerator;
    return false;
  }
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (containers_->AddItem(container.get()) != 0) return false;
  container.release();
  return true;
}

void CDSTreeManager::__InitContainerList() {
  // Access restriction "0": clients may create objects in the fixed
  // containers (uploads land there).
  bool built = addContainer("0", "-1", "Root", "object.container", nullptr, 0, 0, "0") &&
               addContainer("1", "0", "Image", "object.container.pictureContainer", kMediaBasePath,
                            1, kMediaThird, "0") &&
               addContainer("2", "0", "Audio", "object.container.musicContainer", kMediaBasePath, 2,
                            kMediaThird, "0") &&
               addContainer("3", "0", "Video", "object.container.videoContainer", kMediaBasePath, 3,
                            kMediaThird, "0");
  if (!built) NUVPrintf(NUV_LOG_ERROR, "CDSTM : Fail init CDS Tree");
  newContainerNumber_ = kFirstNewContainer;
  readBasicViewSettings();
}

ContainerInfo* CDSTreeManager::GetFirstContainerInformation(unsigned int /*requestID*/) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return containers_ == nullptr ? nullptr
                                : static_cast<ContainerInfo*>(containers_->ReadFirstItemData());
}

ContainerInfo* CDSTreeManager::GetNextContainerInformation(unsigned int /*requestID*/,
                                                           DMSAppString* afterID) {
  if (afterID == nullptr) return nullptr;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  bool previousMatched = false;
  return static_cast<ContainerInfo*>(walk(containers_, [&previousMatched, afterID](void* data) {
    if (previousMatched) return true;
    previousMatched = text_util::sameTextI(static_cast<ContainerInfo*>(data)->GetID(), afterID);
    return false;
  }));
}

ContainerInfo* CDSTreeManager::GetContainerInformation(unsigned int /*requestID*/,
                                                       DMSAppString* id) {
  if (id == nullptr) return nullptr;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return static_cast<ContainerInfo*>(walk(containers_, [id](void* data) {
    return text_util::sameText(static_cast<ContainerInfo*>(data)->GetID(), id);
  }));
}

ContentsEnumerator* CDSTreeManager::__FindCEInstance(DMSAppString* id) {
  if (id == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, " [CDSTreeManager] pContainerID is NULL -- __FindCEInstance");
    return nullptr;
  }
  ContainerInfo* container = GetContainerInformation(0, id);
  if (container == nullptr || container->GetCE() == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, " [CDSTreeManager] CE instance returned is NULL -- __FindCEInstance");
    return nullptr;
  }
  return container->GetCE();
}

ContentsEnumerator* CDSTreeManager::findForRequest(DMSAppString* containerID, const char* request) {
  if (emptyText(containerID)) {
    NUVPrintf(NUV_LOG_ERROR, "[CDSTreeManager] pContainerID is NULL or not valid -- %s", request);
    return nullptr;
  }
  ContentsEnumerator* enumerator = __FindCEInstance(containerID);
  if (enumerator == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[CDSTreeManager] Unable to find CE Instance, maybe ContainerID is not present in "
              "the list -- %s",
              request);
  }
  return enumerator;
}

int CDSTreeManager::GetTotalMatches(DMSAppString* containerID, unsigned int requestID) {
  if (emptyText(containerID)) return -1;
  ContentsEnumerator* enumerator = __FindCEInstance(containerID);
  return enumerator == nullptr ? -1 : enumerator->GetTotalMatches(requestID, containerID);
}

int CDSTreeManager::GetContents(unsigned int requestID, DMSAppString* containerID,
                                unsigned int start, unsigned int count, bool flag) {
  ContentsEnumerator* enumerator = findForRequest(containerID, "GetContents");
  if (enumerator == nullptr) return 1;
  enumerator->GetContents(requestID, containerID, start, count, flag);
  return 0;
}

int CDSTreeManager::GetContentRecord(unsigned int requestID, DMSAppString* containerID,
                                     DMSAppString* id) {
  ContentsEnumerator* enumerator = findForRequest(containerID, "GetContentRecord");
  if (enumerator == nullptr) return 1;
  enumerator->GetContentRecord(requestID, containerID, id);
  return 0;
}

int CDSTreeManager::GetContent(unsigned int requestID, DMSAppString* containerID, DMSAppString* id,
                               bool flag) {
  ContentsEnumerator* enumerator = findForRequest(containerID, "GetContent");
  if (enumerator == nullptr) return 1;
  enumerator->GetContent(requestID, containerID, id, flag);
  return 0;
}

int CDSTreeManager::DestroyContent(unsigned int requestID, DMSAppString* containerID,
                                   DMSAppString* id) {
  ContentsEnumerator* enumerator = findForRequest(containerID, "DestroyContent");
  if (enumerator == nullptr) return 1;
  enumerator->DestroyContent(requestID, containerID, id);
  return 0;
}

int CDSTreeManager::CreateContent(unsigned int requestID, DMSAppString* containerID,
                                  ContentsEnumeratorArgument* record) {
  ContainerInfo* container = GetContainerInformation(requestID, containerID);
  MultiMediaDBEnumerator* enumerator =
      container == nullptr ? nullptr : dynamic_cast<MultiMediaDBEnumerator*>(container->GetCE());
  if (enumerator == nullptr || record == nullptr) {
    delete record;
    return 1;
  }
  // A type the extension table does not know keeps the one the client gave.
  DMSAppString* mimeType = enumerator->GetContentMIMEType(record->GetFilePath());
  if (mimeType != nullptr) record->SetMimetypeString(mimeType);
  enumerator->ReserveNewContentID(requestID, record);
  return 0;
}

int CDSTreeManager::RegisterUploadedContent(unsigned int requestID, DMSAppString* /*containerID*/,
                                            DMSAppString* /*path*/) {
  NotifyCDSWLResponse(static_cast<int>(requestID), NUVCDSWL_RES_UPLOAD_REGISTERED,
                      NUVCDSWL_RES_SUCCESS, 0, nullptr, nullptr);
  return 0;
}

int CDSTreeManager::RegisterContainerEventListener(ContainerEventListener* listener) {
  if (listener == nullptr) return 0;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  ListenerEntry* entry = new (std::nothrow) ListenerEntry{listenerCounter_ + 1, listener};
  if (entry == nullptr || listeners_ == nullptr || listeners_->AddItem(entry) != 0) {
    delete entry;
    return 0;
  }
  ++listenerCounter_;
  listener->listenerID_ = entry->id;
  return 1;
}

int CDSTreeManager::DeregisterContainerEventListener(unsigned int id) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  ListenerEntry* entry = static_cast<ListenerEntry*>(
      walk(listeners_, [id](void* data) { return static_cast<ListenerEntry*>(data)->id == id; }));
  if (entry == nullptr) return 0;
  listeners_->DeleteItem(entry);
  entry->listener->listenerID_ = 0;
  delete entry;
  return 1;
}

void CDSTreeManager::Notify(NUV_CDSEVENT_TYPE type, DMSCDSList* list) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  walk(listeners_, [type, list](void* data) {
    static_cast<ListenerEntry*>(data)->listener->ContainerEventReceived(type, list);
    return false;
  });
}

void CDSTreeManager::Notify(NUV_CDSEVENT_TYPE type, DMSAppString* text) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  walk(listeners_, [type, text](void* data) {
    static_cast<ListenerEntry*>(data)->listener->ContainerEventReceived(type, text);
    return false;
  });
}

DMSAppString* CDSTreeManager::GetNewContainerIDMA() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  char text[16];
  snprintf(text, sizeof text, "%u", newContainerNumber_++);
  return text_util::newText(text);
}

DMSAppString* CDSTreeManager::AddNewContainerToListMA(unsigned int /*requestID*/,
                                                      DMSAppString* parentID, DMSAppString* name,
                                                      DMSAppString* upnpClass) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (newContainerNumber_ >= kFirstNewContainer + content_limits::kMaxCreatedContainers) {
    NUVPrintf(NUV_LOG_ERROR, "CDSTM : Too many created containers AddNewContainerToListMA");
    return nullptr;
  }
  std::unique_ptr<DMSAppString> id(GetNewContainerIDMA());
  const char* idText = text_util::textOf(id.get());
  if (idText == nullptr ||
      !addContainer(idText, text_util::textOf(parentID), text_util::textOf(name),
                    text_util::textOf(upnpClass), kMediaBasePath, 0, kNewContainerThird, "0")) {
    NUVPrintf(NUV_LOG_ERROR, "CDSTM : Fail AddNewContainerToListMA");
    return nullptr;
  }
  Notify(NUV_CDSEVENT_CONTAINER_CREATED, id.get());
  return id.release();
}
