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
      defaultContainer_(7) {
  __InitContainerList();
  TemporaryContentsManager::GetInstance();
}

CDSTreeManager::~CDSTreeManager() {
  TemporaryContentsManager::DestroyInstance();
  if (containers_ != nullptr) containers_->RemoveAllListItem(&deleteContainer);
  if (listeners_ != nullptr) listeners_->RemoveAllListItem(&deleteListenerEntry);
}

bool CDSTreeManager::addContainer(const char* id, const char* parentID, const char* name,
                                  const char* upnpClass, const char* basePath, unsigned int kind,
                                  int third, const char* accessRestriction) {
  if (containers_ == nullptr) return false;
  std::unique_ptr<DMSAppString> path(basePath == nullptr ? nullptr : text_util::newText(basePath));
  if (basePath != nullptr && path == nullptr) return false;
  // Each part stays with its own pointer until the object taking it exists,
  // so a failed allocation releases whatever was made before it.
  std::unique_ptr<ContentsEnumeratorInitInfo> init(
      new (std::nothrow) ContentsEnumeratorInitInfo(path.get(), kind, third));
  if (init == nullptr) return false;
  path.release();  // the init info's now
  std::unique_ptr<ContainerInfo> container(new (std::nothrow) ContainerInfo(
      id, parentID, name, upnpClass, init.get(), accessRestriction));
  if (container == nullptr) return false;
  init.release();  // the container's now
  // The enumerator keeps its own copy of the base path.
  std::unique_ptr<MultiMediaDBEnumerator> enumerator(
      new (std::nothrow) MultiMediaDBEnumerator(container->ReadCEInfo()->GetBasePath(), kind));
  if (!container->IsComplete() || container->ConnectCE(enumerator.get()) != 0) return false;
  enumerator.release();  // the container's now
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (containers_->AddItem(container.get()) != 0) return false;
  container.release();  // the list's now
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
  return static_cast<ContainerInfo*>(
      walk(containers_.get(), [&previousMatched, afterID](void* data) {
        if (previousMatched) return true;
        previousMatched = text_util::sameTextI(static_cast<ContainerInfo*>(data)->GetID(), afterID);
        return false;
      }));
}

ContainerInfo* CDSTreeManager::GetContainerInformation(unsigned int /*requestID*/,
                                                       DMSAppString* id) {
  if (id == nullptr) return nullptr;
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return static_cast<ContainerInfo*>(walk(containers_.get(), [id](void* data) {
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
  std::unique_ptr<ContentsEnumeratorArgument> owned(record);
  ContainerInfo* container = GetContainerInformation(requestID, containerID);
  MultiMediaDBEnumerator* enumerator =
      container == nullptr ? nullptr : dynamic_cast<MultiMediaDBEnumerator*>(container->GetCE());
  if (enumerator == nullptr || owned == nullptr) return 1;
  // A type the extension table does not know keeps the one the client gave.
  std::unique_ptr<DMSAppString> mimeType(enumerator->GetContentMIMEType(owned->GetFilePath()));
  if (mimeType != nullptr) owned->SetMimetypeString(mimeType.release());
  enumerator->ReserveNewContentID(requestID, owned.release());
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
  std::unique_ptr<ListenerEntry> entry(new (std::nothrow)
                                           ListenerEntry{listenerCounter_ + 1, listener});
  if (entry == nullptr || listeners_ == nullptr || listeners_->AddItem(entry.get()) != 0) return 0;
  const ListenerEntry* listed = entry.release();  // the list's now
  ++listenerCounter_;
  listener->listenerID_ = listed->id;
  return 1;
}

int CDSTreeManager::DeregisterContainerEventListener(unsigned int id) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  ListenerEntry* found = static_cast<ListenerEntry*>(walk(
      listeners_.get(), [id](void* data) { return static_cast<ListenerEntry*>(data)->id == id; }));
  if (found == nullptr) return 0;
  listeners_->DeleteItem(found);
  std::unique_ptr<ListenerEntry> entry(found);  // taken back from the list
  entry->listener->listenerID_ = 0;
  return 1;
}

void CDSTreeManager::Notify(NUV_CDSEVENT_TYPE type, DMSCDSList* list) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  walk(listeners_.get(), [type, list](void* data) {
    static_cast<ListenerEntry*>(data)->listener->ContainerEventReceived(type, list);
    return false;
  });
}

void CDSTreeManager::Notify(NUV_CDSEVENT_TYPE type, DMSAppString* text) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  walk(listeners_.get(), [type, text](void* data) {
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
