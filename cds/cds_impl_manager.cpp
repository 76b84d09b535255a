// UPnPCDSImplManager. See the header for the contract.
#include "cds_impl_manager.h"

#include <mutex>
#include <new>

#include "cds_impl_interface.h"
#include "cds_limits.h"
#include "dms_list.h"
#include "nuv_log.h"

namespace {

// Outlives every instance, so that a late engine answer can safely find none.
std::recursive_mutex& registryMutex() {
  static std::recursive_mutex* mutex = new std::recursive_mutex();
  return *mutex;
}

UPnPCDSImplManager* gInstance = nullptr;

int deleteObject(void* data) {
  delete static_cast<UPnPCDSImplInterface*>(data);
  return 0;
}

}  // namespace

UPnPCDSImplManager* UPnPCDSImplManager::GetInstance() {
  std::lock_guard<std::recursive_mutex> lock(registryMutex());
  if (gInstance == nullptr) gInstance = new UPnPCDSImplManager();
  return gInstance;
}

void UPnPCDSImplManager::DestroyInstance() {
  std::lock_guard<std::recursive_mutex> lock(registryMutex());
  UPnPCDSImplManager* instance = gInstance;
  gInstance = nullptr;
  delete instance;
}

UPnPCDSImplManager::UPnPCDSImplManager() : objects_(new DMSCDSList()), lastID_(0) {
  NUVCERegisterResponseCallback(&UPnPCDSImplManager::NotifyCommandResponse);
}

UPnPCDSImplManager::~UPnPCDSImplManager() {
  std::lock_guard<std::recursive_mutex> lock(registryMutex());
  objects_->RemoveAllListItem(deleteObject);
  delete objects_;
  NUVCEDeregisterResponseCallback();
}

unsigned int UPnPCDSImplManager::Add(UPnPCDSImplInterface* object) {
  if (object == nullptr) return 0;
  std::lock_guard<std::recursive_mutex> lock(registryMutex());
  ++lastID_;
  if (lastID_ > dms_cds::kMaxImplementationID) lastID_ = 1;
  object->SetID(lastID_);
  if (objects_->AddItem(object) != 0) {
    object->SetID(0);
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSImplManager] Memory allocation failed!!! Add");
    return 0;
  }
  return lastID_;
}

int UPnPCDSImplManager::Remove(unsigned int id) {
  std::lock_guard<std::recursive_mutex> lock(registryMutex());
  UPnPCDSImplInterface* object = __Find(id);
  if (object == nullptr) return 1;
  // Unlinked first: the destructor may reach the registry again.
  objects_->DeleteItem(object);
  delete object;
  return 0;
}

UPnPCDSImplInterface* UPnPCDSImplManager::__Find(unsigned int id) {
  std::lock_guard<std::recursive_mutex> lock(registryMutex());
  for (const stDMSCDSListItem* item = objects_->ReadFirstItem(); item != nullptr;
       item = item->next) {
    auto* object = static_cast<UPnPCDSImplInterface*>(item->data);
    if (object != nullptr && object->GetID() == id) return object;
  }
  return nullptr;
}

int UPnPCDSImplManager::count() const {
  std::lock_guard<std::recursive_mutex> lock(registryMutex());
  return objects_->Size();
}

void UPnPCDSImplManager::NotifyCommandResponse(int id, NUVCDSWL_RES_TYPE type,
                                               NUVCDSWL_RES_RESULT result, int value,
                                               DMSAppString* text, DMSCDSList* list) {
  NUVPrintf(NUV_LOG_INFO, "[UPnPCDSImplManager::NotifyCommandResponse] is called");
  if (id < 0) {
    NUVPrintf(NUV_LOG_ERROR,
              "[UPnPCDSImplManager] Invalid Input(InstanceID) NotifyCommandResponse()");
    return;
  }
  std::lock_guard<std::recursive_mutex> lock(registryMutex());
  UPnPCDSImplInterface* object =
      gInstance != nullptr ? gInstance->__Find(static_cast<unsigned int>(id)) : nullptr;
  if (object == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSImplManager] Cant find the instance NotifyCommandResponse()");
    return;
  }
  object->NotifyCommandResponse(id, type, result, value, text, list);
}
