#include "temporary_contents_manager.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <vector>

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

TempContentSnapshot snapshotOf(const TempContentInfo& entry) {
  TempContentSnapshot copy;
  copy.containerID = text_util::stringOf(entry.containerID.get());
  copy.contentID = text_util::stringOf(entry.contentID.get());
  copy.importURI = text_util::stringOf(entry.importURI.get());
  copy.filePath =
      entry.record != nullptr ? text_util::stringOf(entry.record->GetFilePath()) : std::string();
  copy.transferID = entry.transferID;
  copy.timerHandle = entry.timerHandle;
  copy.contentType = entry.contentType;
  copy.uploadConnection = entry.uploadConnection;
  return copy;
}

std::optional<TempContentSnapshot> snapshotOf(const TempContentInfo* entry) {
  if (entry == nullptr) return std::nullopt;
  return snapshotOf(*entry);
}

}  // namespace

// Out of line: the owned types are complete only here.
TempContentInfo::TempContentInfo() = default;
TempContentInfo::~TempContentInfo() = default;

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
      std::unique_ptr<TempContentInfo> entry(
          static_cast<TempContentInfo*>(entries_->ReadCurrentItemData()));
      entries_->DeleteCurrentItem(DMSCDSList::Deleter{});
      if (entry->timerHandle != 0) DMSAppDeleteTimer(entry->timerHandle);
    }
    entries_.reset();
  }
  if (mutex_ != nullptr) {
    DMSAppReleaseMutex(mutex_);
    DMSAppDeleteMutex(mutex_);
  }
}

int TemporaryContentsManager::AcquireMutex() { return DMSAppAcquireMutex(mutex_); }

int TemporaryContentsManager::ReleaseMutex() { return DMSAppReleaseMutex(mutex_); }

void TemporaryContentsManager::SetAutoDestroyDelayForTest(unsigned long milliseconds) {
  gAutoDestroyDelayMs.store(milliseconds);
}

unsigned long TemporaryContentsManager::GetAutoDestroyDelay() { return gAutoDestroyDelayMs.load(); }

int TemporaryContentsManager::AddContent(DMSAppString* id, ContentsEnumeratorArgument* record) {
  std::unique_ptr<ContentsEnumeratorArgument> owned(record);
  if (id == nullptr || owned == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[TemporaryContentsManager] NULL IN Arguments AddContent()");
    return 0;
  }
  char type[16];
  snprintf(type, sizeof type, "%d", owned->GetContentType());
  const bool hasImportURI = owned->GetImportURI() != nullptr;
  std::unique_ptr<TempContentInfo> made(new (std::nothrow) TempContentInfo());
  if (made != nullptr) {
    made->containerID.reset(text_util::newText(type));
    made->contentID.reset(text_util::copyOf(id));
    made->importURI.reset(text_util::copyOf(owned->GetImportURI()));
    made->contentType = owned->GetContentType();
    made->record = std::move(owned);
  }
  bool complete = made != nullptr && made->containerID != nullptr && made->contentID != nullptr &&
                  (!hasImportURI || made->importURI != nullptr);
  if (!complete) {
    NUVPrintf(NUV_LOG_ERROR, "[TemporaryContentsManager] Malloc failed AddContent()");
    return 0;
  }

  // Listed before the timer starts, so that even a very short delay finds
  // its entry.
  TemporaryContentsLock lock(this);
  if (entries_->AddItem(made.get()) != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[TemporaryContentsManager] Malloc failed AddContent()");
    return 0;
  }
  TempContentInfo* entry = made.release();  // the list's now
  entry->timerHandle = DMSAppCreateTimer(entry->contentID.get());
  if (entry->timerHandle == 0) {
    NUVPrintf(NUV_LOG_ERROR,
              "[TemporaryContentsManager] DMSAppCreateTimer returned invalid handle -- AddContent");
  } else {
    DMSAppStartTimer(entry->timerHandle, gAutoDestroyDelayMs.load(), &AutoDestroyCallback, nullptr);
  }
  return 1;
}

TempContentInfo* TemporaryContentsManager::findByContentID(const char* id) {
  return findEntry(entries_.get(), [id](TempContentInfo* e) {
    return text_util::sameText(e->contentID.get(), id);
  });
}

TempContentInfo* TemporaryContentsManager::findByFilePath(const DMSAppString* filePath) {
  return findEntry(entries_.get(), [filePath](TempContentInfo* e) {
    return e->record != nullptr && text_util::sameText(e->record->GetFilePath(), filePath);
  });
}

int TemporaryContentsManager::RemoveContent(DMSAppString* id) {
  if (id == nullptr) return 0;
  TemporaryContentsLock lock(this);
  const char* text = text_util::textOf(id);
  TempContentInfo* found = findByContentID(text);
  if (found == nullptr) {
    NUVPrintf(NUV_LOG_INFO,
              "[TemporaryContentsManager:RemoveContent] Did not find content with ID   %s-- to "
              "remove",
              text != nullptr ? text : "");
    return 0;
  }
  NUVPrintf(NUV_LOG_INFO, "[TemporaryContentsManager] Deleted content with ID %s -- to remove",
            text != nullptr ? text : "");
  entries_->DeleteItem(found);
  std::unique_ptr<TempContentInfo> entry(found);  // taken back from the list
  if (entry->timerHandle != 0) DMSAppDeleteTimer(entry->timerHandle);
  return 1;
}

bool TemporaryContentsManager::takeExpired(unsigned long timer,
                                           std::unique_ptr<DMSAppString>* containerID,
                                           std::unique_ptr<DMSAppString>* contentID) {
  TemporaryContentsLock lock(this);
  TempContentInfo* entry =
      findEntry(entries_.get(), [timer](TempContentInfo* e) { return e->timerHandle == timer; });
  if (entry == nullptr) return false;
  entry->timerHandle = 0;
  containerID->reset(text_util::copyOf(entry->containerID.get()));
  contentID->reset(text_util::copyOf(entry->contentID.get()));
  return true;
}

void TemporaryContentsManager::AutoDestroyCallback(unsigned long timer, unsigned long /*param*/,
                                                   bool /*expired*/) {
  NUVPrintf(NUV_LOG_INFO, "TemporaryContentsManager::AutoDestroyCallback");
  std::unique_ptr<DMSAppString> containerID;
  std::unique_ptr<DMSAppString> contentID;
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
  NUVCEDestroyContent(0, containerID.get(), contentID.get());
}

DMSCDSList* TemporaryContentsManager::GetContentList(DMSAppString* containerID) {
  TemporaryContentsLock lock(this);
  DMSCDSList* matches = nullptr;
  findEntry(entries_.get(), [&matches, containerID](TempContentInfo* e) {
    if (!text_util::sameText(e->containerID.get(), containerID)) return false;
    if (matches == nullptr) matches = new (std::nothrow) DMSCDSList();
    if (matches != nullptr) matches->AddItem(e);
    return false;
  });
  return matches;
}

int TemporaryContentsManager::GetTotalMatches(DMSAppString* containerID) {
  TemporaryContentsLock lock(this);
  int total = 0;
  findEntry(entries_.get(), [&total, containerID](TempContentInfo* e) {
    if (text_util::sameText(e->containerID.get(), containerID)) ++total;
    return false;
  });
  return total;
}

TempContentInfo* TemporaryContentsManager::GetContentInformation(DMSAppString* filePath) {
  const char* text = text_util::textOf(filePath);
  NUVPrintf(NUV_LOG_INFO, "GetContentInformation %s", text != nullptr ? text : "");
  TemporaryContentsLock lock(this);
  return findByFilePath(filePath);
}

TempContentInfo* TemporaryContentsManager::GetContentInformation(unsigned int transferID) {
  if (transferID == 0) return nullptr;
  TemporaryContentsLock lock(this);
  return findEntry(entries_.get(),
                   [transferID](TempContentInfo* e) { return e->transferID == transferID; });
}

std::vector<TempContentSnapshot> TemporaryContentsManager::contentsIn(DMSAppString* containerID) {
  TemporaryContentsLock lock(this);
  std::vector<TempContentSnapshot> matches;
  findEntry(entries_.get(), [&matches, containerID](TempContentInfo* e) {
    if (text_util::sameText(e->containerID.get(), containerID)) matches.push_back(snapshotOf(*e));
    return false;
  });
  return matches;
}

std::optional<TempContentSnapshot> TemporaryContentsManager::findContent(DMSAppString* filePath) {
  TemporaryContentsLock lock(this);
  return snapshotOf(GetContentInformation(filePath));
}

std::optional<TempContentSnapshot> TemporaryContentsManager::findContent(unsigned int transferID) {
  TemporaryContentsLock lock(this);
  return snapshotOf(GetContentInformation(transferID));
}

unsigned long TemporaryContentsManager::restartAutoDestroyTimer(const std::string& contentID) {
  TemporaryContentsLock lock(this);
  TempContentInfo* entry = findByContentID(contentID.c_str());
  if (entry == nullptr) return 0;
  if (entry->timerHandle != 0) DMSAppDeleteTimer(entry->timerHandle);
  entry->timerHandle = DMSAppCreateTimer(entry->contentID.get());
  if (entry->timerHandle != 0) {
    DMSAppStartTimer(entry->timerHandle, gAutoDestroyDelayMs.load(), &AutoDestroyCallback, nullptr);
  }
  return entry->timerHandle;
}

int TemporaryContentsManager::ClaimUpload(DMSAppString* filePath, int connection) {
  if (connection <= 0) return 0;
  TemporaryContentsLock lock(this);
  TempContentInfo* entry = findByFilePath(filePath);
  if (entry == nullptr) return 0;
  if (entry->uploadConnection != 0 && entry->uploadConnection != connection) return 0;
  entry->uploadConnection = connection;
  return 1;
}

void TemporaryContentsManager::ReleaseUpload(DMSAppString* filePath, int connection) {
  TemporaryContentsLock lock(this);
  TempContentInfo* entry = findByFilePath(filePath);
  if (entry != nullptr && entry->uploadConnection == connection) entry->uploadConnection = 0;
}

int TemporaryContentsManager::CheckContent(DMSAppString* importURI) {
  TemporaryContentsLock lock(this);
  return findEntry(entries_.get(),
                   [importURI](TempContentInfo* e) {
                     return text_util::sameText(e->importURI.get(), importURI);
                   }) != nullptr
             ? 1
             : 0;
}

int TemporaryContentsManager::SetTransferID(DMSAppString* importURI, unsigned int transferID) {
  TemporaryContentsLock lock(this);
  TempContentInfo* entry = findEntry(entries_.get(), [importURI](TempContentInfo* e) {
    return text_util::sameText(e->importURI.get(), importURI);
  });
  if (entry == nullptr) return 0;
  entry->transferID = transferID;
  return 1;
}
