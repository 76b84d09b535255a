#include "multimedia_db_enumerator.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "content_limits.h"
#include "contents_enumerator_argument.h"
#include "dms_content_engine.h"
#include "dms_list.h"
#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "dms_string.h"
#include "media_db_schema.h"
#include "media_registration.h"
#include "multimedia_db_connector.h"
#include "nuv_config.h"
#include "nuv_log.h"
#include "text_util.h"

namespace {

constexpr unsigned int kRootKind = 0;
constexpr unsigned int kImageKind = media_db::kImageKind;
constexpr unsigned int kAudioKind = media_db::kAudioKind;
constexpr unsigned int kVideoKind = media_db::kVideoKind;
constexpr unsigned int kNoListingKind = 4;

struct ExtensionType {
  const char* extension;
  const char* mimeType;
};

constexpr ExtensionType kMimeTypes[] = {
    {"mp3", "audio/mpeg"},
    {"3gp", "audio/mp4"},
    {"m4a", "audio/mp4"},
    {"aac", "audio/mp4"},
    {"mp4", "video/mp4"},
    {"m4v", "video/mp4"},
    {"adts", "audio/vnd.dlna.adts"},
    {"jpeg", "image/jpeg"},
    {"jpg", "image/jpeg"},
    {"avi", "video/x-divx"},
};

bool certificationMode() { return NUVGetDlnaCertificationState() != 0; }

}  // namespace

MultiMediaDBEnumerator::MultiMediaDBEnumerator(DMSAppString* basePath, unsigned int kind)
    : basePath_(text_util::copyOf(basePath)), kind_(kind) {}

MultiMediaDBEnumerator::~MultiMediaDBEnumerator() = default;

int MultiMediaDBEnumerator::GetTotalMatches(unsigned int /*requestID*/,
                                            DMSAppString* /*containerID*/) {
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  switch (kind_) {
    case kRootKind:
    case kNoListingKind:
      return 0;
    case kImageKind:
      if (db == nullptr) return -1;
      return certificationMode() ? db->GetTotalImageItem() : db->GetTotalImageItem2();
    case kAudioKind:
      return db == nullptr ? -1 : db->GetTotalAudioItem();
    case kVideoKind:
      return db == nullptr ? -1 : db->GetTotalVideoItem();
    default:
      NUVPrintf(NUV_LOG_ERROR, "[CE] Invalid Category, GetmTotalMatches()!!!");
      return -1;
  }
}

DMSCDSList* MultiMediaDBEnumerator::readPage(MultiMediaDbConnector* db, int first, int size) const {
  if (db == nullptr) return nullptr;
  if (kind_ == kAudioKind) return db->GetAudioItems(first, size);
  if (kind_ == kVideoKind) return db->GetVideoItems(first, size);
  return certificationMode() ? db->GetImageItems(first, size) : db->GetImageItems2(first, size);
}

int MultiMediaDBEnumerator::GetContents(unsigned int requestID, DMSAppString* /*containerID*/,
                                        unsigned int start, unsigned int count, bool /*flag*/) {
  int id = static_cast<int>(requestID);
  if (kind_ != kImageKind && kind_ != kAudioKind && kind_ != kVideoKind) {
    NotifyCDSWLResponse(id, NUVCDSWL_RES_CONTENTS, NUVCDSWL_RES_FAILURE, 0, nullptr, nullptr);
    return 1;
  }
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  // Past INT_MAX the numbers turn negative, which the connector refuses.
  int first = static_cast<int>(start);
  int size = static_cast<int>(count);
  DMSCDSList* list = readPage(db, first, size);
  // (The caches stay as they were filled; only database pages can shrink.)
  if (list == nullptr && db != nullptr && first >= 0 && size > 0 &&
      (kind_ == kAudioKind || certificationMode())) {
    // The page was sized from a count taken just before; objects destroyed
    // in between (a client's DestroyObject, a file deleted) leave it short,
    // and a short page is refused. The part still there is read instead,
    // again while objects keep coming and going under it; a page that
    // begins past the end (or a database that fails) stays refused.
    for (int attempt = 0; list == nullptr && attempt < content_limits::kShortPageReads; ++attempt) {
      list = db->GetItemsPresent(kind_, first, size);
      if (list == nullptr && GetTotalMatches(requestID, nullptr) <= first) break;
    }
  }
  if (list == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[CE] Content List is NULL!!! startIndex = %d, count = %d", first,
              size);
  }
  // The receiver owns the list (null included).
  NotifyCDSWLResponse(id, NUVCDSWL_RES_CONTENTS, NUVCDSWL_RES_SUCCESS, 0, nullptr, list);
  return 0;
}

int MultiMediaDBEnumerator::GetContentRecord(unsigned int requestID, DMSAppString* /*containerID*/,
                                             DMSAppString* id) {
  int request = static_cast<int>(requestID);
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  DMSCDSList* list = nullptr;
  if ((kind_ == kImageKind || kind_ == kAudioKind || kind_ == kVideoKind) && db != nullptr)
    list = db->GetListedItem(static_cast<unsigned int>(kind_), id);
  if (list == nullptr) {
    NotifyCDSWLResponse(request, NUVCDSWL_RES_CONTENTS, NUVCDSWL_RES_FAILURE, 0, nullptr, nullptr);
    return 1;
  }
  // The receiver owns the list.
  NotifyCDSWLResponse(request, NUVCDSWL_RES_CONTENTS, NUVCDSWL_RES_SUCCESS, 0, nullptr, list);
  return 0;
}

int MultiMediaDBEnumerator::GetContent(unsigned int requestID, DMSAppString* containerID,
                                       DMSAppString* id, bool /*flag*/) {
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  bool found = db != nullptr && db->GetContent(kind_, containerID, id);
  NotifyCDSWLResponse(static_cast<int>(requestID), NUVCDSWL_RES_CONTENT,
                      found ? NUVCDSWL_RES_SUCCESS : NUVCDSWL_RES_FAILURE, 0, id, nullptr);
  return found ? 0 : 1;
}

int MultiMediaDBEnumerator::DestroyContent(unsigned int requestID, DMSAppString* /*containerID*/,
                                           DMSAppString* id) {
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  unsigned int removedKind = 0;
  bool destroyed = db != nullptr && db->DestroyContent(kind_, id, &removedKind) == 0;
  // Clients hear of it like of any other change in the container.
  if (destroyed) announceContentChange(DMSAppGetDMSConnectionID(), static_cast<int>(removedKind));
  // The answer names the content, so that its temporary entry can go.
  std::unique_ptr<DMSAppString> contentID(text_util::copyOf(id));
  DMSCDSList list;
  if (contentID != nullptr) list.AddItem(contentID.get());
  NotifyCDSWLResponse(static_cast<int>(requestID), NUVCDSWL_RES_CONTENT_DESTROYED,
                      destroyed ? NUVCDSWL_RES_SUCCESS : NUVCDSWL_RES_FAILURE, 0, nullptr, &list);
  list.RemoveAllListItem(DMSCDSList::Deleter{});
  return destroyed ? 0 : 1;
}

int MultiMediaDBEnumerator::ReserveNewContentID(unsigned int requestID,
                                                ContentsEnumeratorArgument* record) {
  int requestId = static_cast<int>(requestID);
  std::unique_ptr<ContentsEnumeratorArgument> owned(record);
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  DMSAppMemText id((db == nullptr || owned == nullptr) ? nullptr
                                                       : db->ReserveContentID(owned.get()));
  std::unique_ptr<DMSAppString> idText(text_util::newText(id.get()));
  // The answer list borrows the ID and the record (in that order); both are
  // released here once the answer has been handled.
  DMSCDSList list;
  if (idText == nullptr || list.AddItem(idText.get()) != 0 || list.AddItem(owned.get()) != 0) {
    if (idText == nullptr) {
      NUVPrintf(NUV_LOG_ERROR,
                "[MultiMediaDBEnumerator] Database call ReserveNewContentID returned NULL -- "
                "ReserveNewContentID");
    }
    list.RemoveAllListItem(DMSCDSList::Deleter{});
    NotifyCDSWLResponse(requestId, NUVCDSWL_RES_CONTENT_RESERVED, NUVCDSWL_RES_FAILURE, 0, nullptr,
                        nullptr);
    return 1;
  }
  NotifyCDSWLResponse(requestId, NUVCDSWL_RES_CONTENT_RESERVED, NUVCDSWL_RES_SUCCESS, 0,
                      idText.get(), &list);
  list.RemoveAllListItem(DMSCDSList::Deleter{});
  return 0;
}

int MultiMediaDBEnumerator::CreateContent(unsigned int /*requestID*/,
                                          ContentsEnumeratorArgument* /*record*/) {
  return 1;
}

int MultiMediaDBEnumerator::GetSubContainerList(unsigned int /*requestID*/,
                                                DMSAppString* /*containerID*/,
                                                DMSCDSList** /*list*/) {
  return 1;
}

int MultiMediaDBEnumerator::ModifyEventReceived(unsigned int /*requestID*/,
                                                DMSAppString* /*containerID*/) {
  return 1;
}

DMSAppString* MultiMediaDBEnumerator::GetContentMIMEType(DMSAppString* fileName) {
  const char* name = text_util::textOf(fileName);
  if (name == nullptr) return nullptr;
  const char* dot = strrchr(name, '.');
  if (dot == nullptr) return nullptr;
  for (const ExtensionType& entry : kMimeTypes) {
    if (strcasecmp(dot + 1, entry.extension) == 0) return text_util::newText(entry.mimeType);
  }
  return nullptr;
}
