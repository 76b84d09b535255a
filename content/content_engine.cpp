// The content engine API (NUVCE...): the flat functions through which the
// ContentDirectory layer and the camera application reach the store.
// Synchronous requests run on the caller's thread; asynchronous ones are
// copied into a request for the engine's worker, which answers each exactly
// once through NotifyCDSWLResponse.
#include <atomic>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "cds_tree_manager.h"
#include "container_info.h"
#include "contents_enumerator_argument.h"
#include "dms_content_engine.h"
#include "dms_string.h"
#include "engine_worker.h"
#include "export_guard.h"
#include "multimedia_db_connector.h"
#include "nuv_log.h"
#include "temporary_contents_manager.h"
#include "text_util.h"

namespace {

std::atomic<bool> gInitialized{false};

using SharedText = std::shared_ptr<DMSAppString>;

// A copy that a queued request can own; null stays null. False when a
// present text could not be copied.
bool shareCopy(const DMSAppString* source, SharedText* out) {
  if (source == nullptr) {
    out->reset();
    return true;
  }
  DMSAppString* copy = text_util::copyOf(source);
  if (copy == nullptr) return false;
  out->reset(copy);
  return true;
}

// The tree, or null before NUVCEInitializeWrapper and after termination.
CDSTreeManager* tree() { return gInitialized.load() ? CDSTreeManager::GetInstance() : nullptr; }

bool queue(std::function<void()> request) {
  try {
    return engine_worker::post(std::move(request));
  } catch (const std::bad_alloc&) {
    return false;
  }
}

ContainerPublicInfo* publicCopy(const ContainerInfo* container) {
  if (container == nullptr) return nullptr;
  ContainerPublicInfo* copy = new (std::nothrow) ContainerPublicInfo(*container);
  if (copy != nullptr && !copy->IsComplete()) {
    delete copy;
    return nullptr;
  }
  return copy;
}

// Owns a record until a queued request hands it on.
struct RecordHandoff {
  explicit RecordHandoff(ContentsEnumeratorArgument* r) : record(r) {}
  ~RecordHandoff() { delete record; }
  RecordHandoff(const RecordHandoff&) = delete;
  RecordHandoff& operator=(const RecordHandoff&) = delete;
  ContentsEnumeratorArgument* record;
  ContentsEnumeratorArgument* take() {
    ContentsEnumeratorArgument* r = record;
    record = nullptr;
    return r;
  }
};

}  // namespace

int NUVCEInitializeWrapper() {
  return dms_export::guarded("NUVCEInitializeWrapper", 1, [&]() -> int {
    // The database opens (and the caches fill) now rather than on the first
    // request; the lifecycle destroys the connector separately.
    MultiMediaDbConnector::GetInstance();
    if (CDSTreeManager::GetInstance() == nullptr) return 1;
    if (!engine_worker::start()) {
      CDSTreeManager::DestroyInstance();
      return 1;
    }
    gInitialized.store(true);
    return 0;
  });
}

int NUVCETerminateWrapper() {
  return dms_export::guarded("NUVCETerminateWrapper", 1, [&]() -> int {
    gInitialized.store(false);
    engine_worker::stop();
    CDSTreeManager::DestroyInstance();
    return 0;
  });
}

int NUVCEGetContainerTotalMatches(DMSAppString* containerID, unsigned int requestID) {
  return dms_export::guarded("NUVCEGetContainerTotalMatches", -1, [&]() -> int {
    CDSTreeManager* t = tree();
    return t == nullptr ? -1 : t->GetTotalMatches(containerID, requestID);
  });
}

ContainerPublicInfo* NUVCEGetFirstContainer(unsigned int requestID) {
  return dms_export::guarded(
      "NUVCEGetFirstContainer", static_cast<ContainerPublicInfo*>(nullptr),
      [&]() -> ContainerPublicInfo* {
        CDSTreeManager* t = tree();
        return t == nullptr ? nullptr : publicCopy(t->GetFirstContainerInformation(requestID));
      });
}

ContainerPublicInfo* NUVCEGetNextContainer(unsigned int requestID, DMSAppString* afterID) {
  return dms_export::guarded(
      "NUVCEGetNextContainer", static_cast<ContainerPublicInfo*>(nullptr),
      [&]() -> ContainerPublicInfo* {
        CDSTreeManager* t = tree();
        return t == nullptr ? nullptr
                            : publicCopy(t->GetNextContainerInformation(requestID, afterID));
      });
}

ContainerPublicInfo* NUVCEGetContainerInfo(unsigned int requestID, DMSAppString* containerID) {
  return dms_export::guarded(
      "NUVCEGetContainerInfo", static_cast<ContainerPublicInfo*>(nullptr),
      [&]() -> ContainerPublicInfo* {
        CDSTreeManager* t = tree();
        return t == nullptr ? nullptr
                            : publicCopy(t->GetContainerInformation(requestID, containerID));
      });
}

DMSAppString* NUVCEGetContentMIMEType(DMSAppString* fullPath) {
  return dms_export::guarded("NUVCEGetContentMIMEType", static_cast<DMSAppString*>(nullptr),
                             [&]() -> DMSAppString* {
                               MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
                               if (db == nullptr || fullPath == nullptr) return nullptr;
                               DMSAppString* mime = db->GetMimeTypeOfImageItem(fullPath);
                               if (mime == nullptr) mime = db->GetMimeTypeOfAudioItem(fullPath);
                               if (mime == nullptr) mime = db->GetMimeTypeOfVideoItem(fullPath);
                               return mime;
                             });
}

DMSAppString* NUVCECreateContainer(unsigned int requestID, DMSAppString* parentID,
                                   DMSAppString* name, DMSAppString* upnpClass) {
  return dms_export::guarded(
      "NUVCECreateContainer", static_cast<DMSAppString*>(nullptr), [&]() -> DMSAppString* {
        CDSTreeManager* t = tree();
        return t == nullptr ? nullptr
                            : t->AddNewContainerToListMA(requestID, parentID, name, upnpClass);
      });
}

DMSAppString* NUVCERegisterUploadedContent(unsigned int /*requestID*/,
                                           DMSAppString* /*containerID*/, DMSAppString* path) {
  return dms_export::guarded(
      "NUVCERegisterUploadedContent", static_cast<DMSAppString*>(nullptr), [&]() -> DMSAppString* {
        TemporaryContentsManager* temp =
            tree() == nullptr ? nullptr : TemporaryContentsManager::GetInstance();
        DMSAppString* id = nullptr;
        if (temp != nullptr) {
          // Found and removed under one lock: no other upload takes it between.
          TemporaryContentsLock lock(temp);
          const std::optional<TempContentSnapshot> entry = lock.contentOf(path);
          if (entry) id = text_util::newText(entry->contentID);
          if (id != nullptr) {
            NUVPrintf(NUV_LOG_INFO, "Deleting content with ID - %s from TempContentsManager",
                      text_util::textOf(id));
            temp->RemoveContent(id);
          }
        }
        if (id == nullptr) {
          NUVPrintf(NUV_LOG_ERROR,
                    "[NUVCERegisterUploadedContent]TempContentsManager returned ContentID as NULL");
        }
        return id;
      });
}

int NUVCESetCreatedContentTransferID(DMSAppString* importURI, unsigned int transferID) {
  return dms_export::guarded("NUVCESetCreatedContentTransferID", 1, [&]() -> int {
    if (tree() == nullptr) return 1;
    TemporaryContentsManager* temp = TemporaryContentsManager::GetInstance();
    return temp != nullptr && temp->SetTransferID(importURI, transferID) == 1 ? 0 : 1;
  });
}

int NUVCERegisterContainerEventListener(ContainerEventListener* listener) {
  return dms_export::guarded("NUVCERegisterContainerEventListener", 0, [&]() -> int {
    CDSTreeManager* t = tree();
    return t == nullptr ? 0 : t->RegisterContainerEventListener(listener);
  });
}

int NUVCEDeregisterContainerEventListener(unsigned int listenerID) {
  return dms_export::guarded("NUVCEDeregisterContainerEventListener", 0, [&]() -> int {
    CDSTreeManager* t = tree();
    return t == nullptr ? 0 : t->DeregisterContainerEventListener(listenerID);
  });
}

int NUVCESetDefaultContainer(int mask) {
  return dms_export::guarded("NUVCESetDefaultContainer", 1, [&]() -> int {
    CDSTreeManager* t = tree();
    return t == nullptr ? 1 : t->SetSetDefaultContainer(mask);
  });
}

DMSAppString* NUVCEGetBasicViewInfomationMA() {
  return dms_export::guarded("NUVCEGetBasicViewInfomationMA", static_cast<DMSAppString*>(nullptr),
                             [&]() -> DMSAppString* {
                               CDSTreeManager* t = tree();
                               return t == nullptr ? nullptr : t->GetBasicViewInformationMA();
                             });
}

int NUVCEGetContents(unsigned int requestID, DMSAppString* containerID, unsigned int start,
                     unsigned int count, bool flag) {
  return dms_export::guarded("NUVCEGetContents", 1, [&]() -> int {
    SharedText container;
    if (tree() == nullptr || !shareCopy(containerID, &container)) return 1;
    return queue([requestID, container, start, count, flag] {
      CDSTreeManager* t = CDSTreeManager::GetInstance();
      if (t == nullptr || t->GetContents(requestID, container.get(), start, count, flag) != 0) {
        NotifyCDSWLResponse(static_cast<int>(requestID), NUVCDSWL_RES_CONTENTS,
                            NUVCDSWL_RES_FAILURE, 0, nullptr, nullptr);
      }
    })
               ? 0
               : 1;
  });
}

int NUVCEGetContentRecord(unsigned int requestID, DMSAppString* containerID, DMSAppString* id) {
  return dms_export::guarded("NUVCEGetContentRecord", 1, [&]() -> int {
    SharedText container, content;
    if (tree() == nullptr || !shareCopy(containerID, &container) || !shareCopy(id, &content)) {
      return 1;
    }
    return queue([requestID, container, content] {
      CDSTreeManager* t = CDSTreeManager::GetInstance();
      if (t == nullptr || t->GetContentRecord(requestID, container.get(), content.get()) != 0) {
        NotifyCDSWLResponse(static_cast<int>(requestID), NUVCDSWL_RES_CONTENTS,
                            NUVCDSWL_RES_FAILURE, 0, nullptr, nullptr);
      }
    })
               ? 0
               : 1;
  });
}

int NUVCEGetContent(unsigned int requestID, DMSAppString* containerID, DMSAppString* id,
                    bool flag) {
  return dms_export::guarded("NUVCEGetContent", 1, [&]() -> int {
    SharedText container, content;
    if (tree() == nullptr || !shareCopy(containerID, &container) || !shareCopy(id, &content)) {
      return 1;
    }
    return queue([requestID, container, content, flag] {
      CDSTreeManager* t = CDSTreeManager::GetInstance();
      if (t == nullptr || t->GetContent(requestID, container.get(), content.get(), flag) != 0) {
        NotifyCDSWLResponse(static_cast<int>(requestID), NUVCDSWL_RES_CONTENT, NUVCDSWL_RES_FAILURE,
                            0, content.get(), nullptr);
      }
    })
               ? 0
               : 1;
  });
}

int NUVCEDestroyContent(unsigned int requestID, DMSAppString* containerID, DMSAppString* id) {
  return dms_export::guarded("NUVCEDestroyContent", 1, [&]() -> int {
    SharedText container, content;
    if (tree() == nullptr || !shareCopy(containerID, &container) || !shareCopy(id, &content)) {
      return 1;
    }
    return queue([requestID, container, content] {
      CDSTreeManager* t = CDSTreeManager::GetInstance();
      if (t == nullptr || t->DestroyContent(requestID, container.get(), content.get()) != 0) {
        NotifyCDSWLResponse(static_cast<int>(requestID), NUVCDSWL_RES_CONTENT_DESTROYED,
                            NUVCDSWL_RES_FAILURE, 0, nullptr, nullptr);
      }
    })
               ? 0
               : 1;
  });
}

int NUVCECreateContent(unsigned int requestID, DMSAppString* containerID,
                       ContentsEnumeratorArgument* record) {
  return dms_export::guarded("NUVCECreateContent", 1, [&]() -> int {
    std::shared_ptr<RecordHandoff> handoff;
    try {
      handoff = std::make_shared<RecordHandoff>(record);
    } catch (const std::bad_alloc&) {
      delete record;
      return 1;
    }
    CDSTreeManager* t = tree();
    SharedText container;
    if (t == nullptr || record == nullptr || !shareCopy(containerID, &container)) return 1;
    if (t->GetContainerInformation(requestID, containerID) == nullptr) {
      NUVPrintf(NUV_LOG_ERROR, "[NUVCDSWL] No such container NUVCECreateContent");
      return 1;
    }
    return queue([requestID, container, handoff] {
      CDSTreeManager* current = CDSTreeManager::GetInstance();
      if (current == nullptr ||
          current->CreateContent(requestID, container.get(), handoff->take()) != 0) {
        NotifyCDSWLResponse(static_cast<int>(requestID), NUVCDSWL_RES_CONTENT_RESERVED,
                            NUVCDSWL_RES_FAILURE, 0, nullptr, nullptr);
      }
    })
               ? 0
               : 1;
  });
}

int NUVCECheckContentForUpload(unsigned int requestID, DMSAppString* importURI) {
  return dms_export::guarded("NUVCECheckContentForUpload", 1, [&]() -> int {
    SharedText uri;
    if (tree() == nullptr || !shareCopy(importURI, &uri)) return 1;
    return queue([requestID, uri] {
      TemporaryContentsManager* temp = TemporaryContentsManager::GetInstance();
      bool waiting = temp != nullptr && temp->CheckContent(uri.get()) == 1;
      NotifyCDSWLResponse(static_cast<int>(requestID), NUVCDSWL_RES_UPLOAD_CHECK,
                          waiting ? NUVCDSWL_RES_SUCCESS : NUVCDSWL_RES_FAILURE, 0, nullptr,
                          nullptr);
    })
               ? 0
               : 1;
  });
}

int NUVCECheckContentExistence(unsigned int requestID, DMSAppString* uri) {
  return dms_export::guarded("NUVCECheckContentExistence", 1, [&]() -> int {
    SharedText key;
    if (tree() == nullptr || !shareCopy(uri, &key)) return 1;
    return queue([requestID, key] {
      MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
      std::unique_ptr<DMSAppString> path(db == nullptr ? nullptr
                                                       : db->GetFilePathFromURI(key.get()));
      NotifyCDSWLResponse(static_cast<int>(requestID), NUVCDSWL_RES_EXISTENCE_CHECK,
                          path != nullptr ? NUVCDSWL_RES_SUCCESS : NUVCDSWL_RES_FAILURE, 0, nullptr,
                          nullptr);
    })
               ? 0
               : 1;
  });
}
