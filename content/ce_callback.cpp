// The content engine's one response slot, and the bookkeeping every answer
// passes through on its way to it.
#include <atomic>
#include <memory>

#include "contents_enumerator_argument.h"
#include "dms_content_engine.h"
#include "dms_list.h"
#include "dms_server.h"
#include "dms_string.h"
#include "export_guard.h"
#include "media_registration.h"
#include "nuv_log.h"
#include "record_list.h"
#include "temporary_contents_manager.h"

namespace {

std::atomic<NUVCDSWLResponseCallback> gCallback{nullptr};

void send(int requestID, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result, int value,
          DMSAppString* text, DMSCDSList* list) {
  NUVCDSWLResponseCallback callback = gCallback.load();
  if (callback != nullptr) callback(requestID, type, result, value, text, list);
}

// A reserved ID: the record becomes a temporary content awaiting upload, and
// clients hear of the change.
void registerCreatedContent(DMSCDSList* list) {
  if (list == nullptr || list->Size() < 2) return;
  DMSAppString* id = static_cast<DMSAppString*>(list->ReadFirstItemData());
  ContentsEnumeratorArgument* record =
      static_cast<ContentsEnumeratorArgument*>(list->ReadLastItemData());
  if (id == nullptr || record == nullptr) return;
  // The import URI the client uploads to ends with the object's title.
  if (record->GetImportURI() != nullptr && record->GetTitle() != nullptr) {
    record->GetImportURI()->Add(record->GetTitle());
  }
  TemporaryContentsManager* temp = TemporaryContentsManager::existingInstance();
  if (temp != nullptr) temp->AddContent(id, new (std::nothrow) ContentsEnumeratorArgument(*record));
  NUVUtilUpdateTempFileInfo(DMSAppGetDMSConnectionID(), record->GetContentType(),
                            record->GetContentParentID());
}

}  // namespace

int NUVCERegisterResponseCallback(NUVCDSWLResponseCallback callback) {
  gCallback.store(callback);
  return 0;
}

int NUVCEDeregisterResponseCallback() {
  gCallback.store(nullptr);
  return 0;
}

NUVCDSWLResponseCallback NUVCEGetResponseCallback() { return gCallback.load(); }

void NotifyCDSWLResponse(int requestID, NUVCDSWL_RES_TYPE type, NUVCDSWL_RES_RESULT result,
                         int value, DMSAppString* text, DMSCDSList* list) {
  dms_export::guardedVoid("NotifyCDSWLResponse", [&] {
    switch (type) {
      case NUVCDSWL_RES_PASS_THROUGH:
      case NUVCDSWL_RES_CONTENT:
      case NUVCDSWL_RES_UPLOAD_CHECK:
      case NUVCDSWL_RES_EXISTENCE_CHECK:
        send(requestID, type, result, value, text, list);
        return;
      case NUVCDSWL_RES_CONTENT_DESTROYED:
        if (result == NUVCDSWL_RES_SUCCESS && list != nullptr) {
          TemporaryContentsManager* temp = TemporaryContentsManager::existingInstance();
          DMSAppString* id = static_cast<DMSAppString*>(list->ReadFirstItemData());
          if (temp != nullptr) temp->RemoveContent(id);
        }
        send(requestID, type, result, value, text, nullptr);
        return;
      case NUVCDSWL_RES_UPLOAD_REGISTERED: {
        TemporaryContentsManager* temp = TemporaryContentsManager::existingInstance();
        if (temp != nullptr) temp->RemoveContent(nullptr);
        send(requestID, type, result, value, text, list);
        return;
      }
      case NUVCDSWL_RES_CONTENTS: {
        NUVCDSWLResponseCallback callback = gCallback.load();
        if (callback == nullptr) {
          freeRecordList(list);  // nobody to take it
          return;
        }
        callback(requestID, type, result, value, text, list);
        return;
      }
      case NUVCDSWL_RES_CONTENT_RESERVED:
        if (result != NUVCDSWL_RES_SUCCESS) {
          send(requestID, NUVCDSWL_RES_CONTENT_CREATED, result, value, text, list);
          return;
        }
        registerCreatedContent(list);
        send(requestID, NUVCDSWL_RES_CONTENT_CREATED, result, value, text, list);
        return;
      default:
        NUVPrintf(NUV_LOG_ERROR, "[NUVCDSWL] Switch Case unavailable NotifyCDSWLResponse()");
        return;
    }
  });
}
