#include "temporary_contents_manager.h"

#include <atomic>
#include <cstdio>
#include <mutex>
#include <new>

#include "content_limits.h"
#include "contents_enumerator_argument.h"
#include "dms_content_engine.h"
#include "dms_list.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "nuv_log.h"
#include "text_util.h"

namespace {

// Guards the instance's existence, so that a timer firing while the
// manager is destroyed finds either the whole manager or none. Taken before
// "TempContManagerMutex", never after it.
std::mutex gLifetimeMutex;
std::atomic<TemporaryContentsManager*> gInstance{nullptr};
std::atomic<unsigned long> gAutoDestroyDelayMs{content_limits::kTempContentLifetimeMs};

// Walks `list` from its first entry; `visit` returns true to stop there.
template <typename Visit>
TempContentInfo* findEntry(DMSCDSList* list, Visit visit) {
  if (list == nullptr || list->SetFirstItemToCurrentItem() != 0) return nullptr;
  for (void* data = list->ReadCurrentItemData(); data != nullptr; data = list->ReadNextItemData()) {
    TempContentInfo* entry = static_cast<TempContentInfo*>(data);
    if (visit(entry)) return entry;
  }
  return nullptr;
}

}  // namespace

TemporaryContentsManager* TemporaryContentsManager::GetInstance() {
  TemporaryContentsManager* instance = gInstance.load(std::memory_order_acquire);
  if (instance != nullptr) return instance;
  std::lock_guard<std::mutex> lock(gLifetimeMutex);
  instance = gInstance.load(std::memory_order_relaxed);
  if (instance == nullptr) {
    instance = new (std::nothrow) TemporaryContentsManager();
    if (instance != nullptr && (instance->entries_ == nullptr || instance->mutex_ == nullptr)) {
      delete instance;
      instance = nullptr;
    }
    gInstance.store(instance, std::memory_order_release);
  }
  return instance;
}

TemporaryContentsManager* TemporaryContentsManager::existingInstance() {
  return gInstance.load(std::memory_order_acquire);
}

void TemporaryContentsManager::DestroyInstance() {
  std::lock_guard<std::mutex> lock(gLifetimeMutex);
  delete gInstance.exchange(nullptr);
}

TemporaryContentsManager::TemporaryContentsManager()
    : entries_(new (std::nothrow) DMSCDSList()), mutex_(nullptr) {
  DMSAppString name("TempContManagerMutex");
  mutex_ = DMSAppCreateMutex(&name);
}

TemporaryContentsManager::~TemporaryContentsManager() {
  if (mutex_ != nullptr) DMSAppAcquireMutex(mutex_);
  if (entries_ != nullptr) {
    while (entries_->SetFirstItemToCurrentItem() == 0) {
      TempContentInfo* entry = static_cast<TempContentInfo*>(entries_->ReadCurrentItemData());
      entries_->DeleteCurrentItem(DMSCDSList::Deleter{});
      if (entry->timerHandle != 0) DMSAppDeleteTimer(entry->timerHandle);
      freeEntry(entry);
    }
    delete entries_;
  }
  if (mutex_ != nullptr) {
    DMSAppReleaseMutex(mutex_);
    DMSAppDeleteMutex(mutex_);
  }
}

void TemporaryContentsManager::freeEntry(TempContentInfo* entry) {
  if (entry == nullptr) return;
  delete entry->containerID;
  delete entry->contentID;
  delete entry->importURI;
  delete entry->record;
  delete entry;
}

int TemporaryContentsManager::AcquireMutex() { return DMSAppAcquireMutex(mutex_); }

int TemporaryContentsManager::ReleaseMutex() { return DMSAppReleaseMutex(mutex_); }

void TemporaryContentsManager::SetAutoDestroyDelayForTest(unsigned long milliseconds) {
  gAutoDestroyDelayMs.store(milliseconds);
}

unsigned long TemporaryContentsManager::GetAutoDestroyDelay() { return gAutoDestroyDelayMs.load(); }

int TemporaryContentsManager::AddContent(DMSAppString* id, ContentsEnumeratorArgument* record) {
  if (id == nullptr || record == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[TemporaryContentsManager] NULL IN Arguments AddContent()");
    delete record;
    return 0;
  }
  char type[16];
  snprintf(type, sizeof type, "%d", record->GetContentType());
  TempContentInfo* entry = new (std::nothrow) TempContentInfo{};
  if (entry != nullptr) {
    entry->containerID = text_util::newText(type);
    entry->contentID = text_util::copyOf(id);
    entry->importURI = text_util::copyOf(record->GetImportURI());
    entry->record = record;
    entry->contentType = record->GetContentType();
  }
  bool complete = entry != nullptr && entry->containerID != nullptr &&
                  entry->contentID != nullptr &&
                  (record->GetImportURI() == nullptr || entry->importURI != nullptr);
  if (!complete) {
    NUVPrintf(NUV_LOG_ERROR, "[TemporaryContentsManager] Malloc failed AddContent()");
    if (entry != nullptr) {
      freeEntry(entry);
    } else {
      delete record;
    }
    return 0;
  }

  // Listed before the timer starts, so that even a very short delay finds
  // its entry.
  TemporaryContentsLock lock(this);
  if (entries_->AddItem(entry) != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[TemporaryContentsManager] Malloc failed AddContent()");
    freeEntry(entry);
    return 0;
  }
  entry->timerHandle = DMSAppCreateTimer(entry->contentID);
  if (entry->timerHandle == 0) {
    NUVPrintf(NUV_LOG_ERROR,
              "[TemporaryContentsManager] DMSAppCreateTimer returned invalid handle -- AddContent");
  } else {
    DMSAppStartTimer(entry->timerHandle, gAutoDestroyDelayMs.load(), &AutoDestroyCallback, nullptr);
  }
  return 1;
}

TempContentInfo* TemporaryContentsManager::findByContentID(const DMSAppString* id) {
  return findEntry(entries_,
                   [id](TempContentInfo* e) { return text_util::sameText(e->contentID, id); });
}

int TemporaryContentsManager::RemoveContent(DMSAppString* id) {
  if (id == nullptr) return 0;
  TemporaryContentsLock lock(this);
  TempContentInfo* entry = findByContentID(id);
  const char* text = text_util::textOf(id);
  if (entry == nullptr) {
    NUVPrintf(NUV_LOG_INFO,
              "[TemporaryContentsManager:RemoveContent] Did not find content with ID   %s-- to "
              "remove",
              text != nullptr ? text : "");
    return 0;
  }
  NUVPrintf(NUV_LOG_INFO, "[TemporaryContentsManager] Deleted content with ID %s -- to remove",
            text != nullptr ? text : "");
  entries_->DeleteItem(entry);
  if (entry->timerHandle != 0) DMSAppDeleteTimer(entry->timerHandle);
  freeEntry(entry);
  return 1;
}

bool TemporaryContentsManager::takeExpired(unsigned long timer, DMSAppString** containerID,
                                           DMSAppString** contentID) {
  TemporaryContentsLock lock(this);
  TempContentInfo* entry =
      findEntry(entries_, [timer](TempContentInfo* e) { return e->timerHandle == timer; });
  if (entry == nullptr) return false;
  entry->timerHandle = 0;
  *containerID = text_util::copyOf(entry->containerID);
  *contentID = text_util::copyOf(entry->contentID);
  return true;
}

void TemporaryContentsManager::AutoDestroyCallback(unsigned long timer, unsigned long /*param*/,
                                                   bool /*expired*/) {
  NUVPrintf(NUV_LOG_INFO, "TemporaryContentsManager::AutoDestroyCallback");
  DMSAppString* containerID = nullptr;
  DMSAppString* contentID = nullptr;
  bool found = false;
  {
    std::lock_guard<std::mutex> lifetime(gLifetimeMutex);
    TemporaryContentsManager* manager = gInstance.load();
    found = manager != nullptr && manager->takeExpired(timer, &containerID, &contentID);
  }
  if (!found) {
    NUVPrintf(NUV_LOG_INFO,
              "[TemporaryContentsManager]  Did not find the temp object -- AutoDestroyCallback");
    return;
  }
  NUVPrintf(NUV_LOG_INFO,
            "[TemporaryContentsManager]  found the temp object -- AutoDestroyCallback");
  // The mutex is free again: the destruction's answer removes the entry,
  // taking it once more.
  NUVCEDestroyContent(0, containerID, contentID);
  delete containerID;
  delete contentID;
}

DMSCDSList* TemporaryContentsManager::GetContentList(DMSAppString* containerID) {
  TemporaryContentsLock lock(this);
  DMSCDSList* matches = nullptr;
  findEntry(entries_, [&matches, containerID](TempContentInfo* e) {
    if (!text_util::sameText(e->containerID, containerID)) return false;
    if (matches == nullptr) matches = new (std::nothrow) DMSCDSList();
    if (matches != nullptr) matches->AddItem(e);
    return false;
  });
  return matches;
}

int TemporaryContentsManager::GetTotalMatches(DMSAppString* containerID) {
  TemporaryContentsLock lock(this);
  int total = 0;
  findEntry(entries_, [&total, containerID](TempContentInfo* e) {
    if (text_util::sameText(e->containerID, containerID)) ++total;
    return false;
  });
  return total;
}

TempContentInfo* TemporaryContentsManager::GetContentInformation(DMSAppString* filePath) {
  const char* text = text_util::textOf(filePath);
  NUVPrintf(NUV_LOG_INFO, "GetContentInformation %s", text != nullptr ? text : "");
  TemporaryContentsLock lock(this);
  return findEntry(entries_, [filePath](TempContentInfo* e) {
    return e->record != nullptr && text_util::sameText(e->record->GetFilePath(), filePath);
  });
}

TempContentInfo* TemporaryContentsManager::GetContentInformation(unsigned int transferID) {
  if (transferID == 0) return nullptr;
  TemporaryContentsLock lock(this);
  return findEntry(entries_,
                   [transferID](TempContentInfo* e) { return e->transferID == transferID; });
}

int TemporaryContentsManager::ClaimUpload(DMSAppString* filePath, int connection) {
  if (connection <= 0) return 0;
  TemporaryContentsLock lock(this);
  TempContentInfo* entry = findEntry(entries_, [filePath](TempContentInfo* e) {
    return e->record != nullptr && text_util::sameText(e->record->GetFilePath(), filePath);
  });
  if (entry == nullptr) return 0;
  if (entry->uploadConnection != 0 && entry->uploadConnection != connection) return 0;
  entry->uploadConnection = connection;
  return 1;
}

void TemporaryContentsManager::ReleaseUpload(DMSAppString* filePath, int connection) {
  TemporaryContentsLock lock(this);
  TempContentInfo* entry = findEntry(entries_, [filePath](TempContentInfo* e) {
    return e->record != nullptr && text_util::sameText(e->record->GetFilePath(), filePath);
  });
  if (entry != nullptr && entry->uploadConnection == connection) entry->uploadConnection = 0;
}

int TemporaryContentsManager::CheckContent(DMSAppString* importURI) {
  TemporaryContentsLock lock(this);
  return findEntry(entries_,
                   [importURI](TempContentInfo* e) {
                     return text_util::sameText(e->importURI, importURI);
                   }) != nullptr
             ? 1
             : 0;
}

int TemporaryContentsManager::SetTransferID(DMSAppString* importURI, unsigned int transferID) {
  TemporaryContentsLock lock(this);
  TempContentInfo* entry = findEntry(entries_, [importURI](TempContentInfo* e) {
    return text_util::sameText(e->importURI, importURI);
  });
  if (entry == nullptr) return 0;
  entry->transferID = transferID;
  return 1;
}
