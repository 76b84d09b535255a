#include "record_list.h"

#include <new>

#include "contents_enumerator_argument.h"
#include "dms_list.h"
#include "dms_platform.h"

namespace {

constexpr int kHeaderItems = 2;

int* newHeapInt(int value) {
  int* block = static_cast<int*>(DMSAppMemAllocMA(sizeof(int)));
  if (block != nullptr) *block = value;
  return block;
}

void* dataAt(DMSCDSList* list, int index) {
  if (list == nullptr || index < 0 || index >= list->Size()) return nullptr;
  stDMSCDSListItem* item = list->ReadFirstItem();
  for (int i = 0; i < index && item != nullptr; ++i) item = item->next;
  return item == nullptr ? nullptr : item->data;
}

int freeBlock(void* block) {
  DMSAppMemFree(block);
  return 1;
}

int intAt(DMSCDSList* list, int index) {
  int* value = static_cast<int*>(dataAt(list, index));
  return value == nullptr ? -1 : *value;
}

}  // namespace

int FreeContentsEnumeratorArgumentList(void* item) {
  delete static_cast<ContentsEnumeratorArgument*>(item);
  return 1;
}

DMSCDSList* newRecordList(int mediaKind, int pageSize) {
  DMSCDSList* list = new (std::nothrow) DMSCDSList();
  if (list == nullptr) return nullptr;
  int* kind = newHeapInt(mediaKind);
  int* size = newHeapInt(pageSize);
  if (kind == nullptr || size == nullptr || list->AddItem(kind) != 0) {
    DMSAppMemFree(kind);
    DMSAppMemFree(size);
    freeRecordList(list);
    return nullptr;
  }
  if (list->AddItem(size) != 0) {
    DMSAppMemFree(size);
    freeRecordList(list);
    return nullptr;
  }
  return list;
}

bool appendRecord(DMSCDSList* list, ContentsEnumeratorArgument* record) {
  return list != nullptr && record != nullptr && list->AddItem(record) == 0;
}

void freeRecordList(DMSCDSList* list) {
  if (list == nullptr) return;
  // The leading ints are plain blocks, everything after them a record.
  for (int i = 0; list->SetFirstItemToCurrentItem() == 0; ++i) {
    list->DeleteCurrentItem(i < kHeaderItems ? &freeBlock : &FreeContentsEnumeratorArgumentList);
  }
  delete list;
}

int recordListKind(DMSCDSList* list) { return intAt(list, 0); }

int recordListPageSize(DMSCDSList* list) { return intAt(list, 1); }

int recordListCount(DMSCDSList* list) {
  if (list == nullptr || list->Size() < kHeaderItems) return 0;
  return list->Size() - kHeaderItems;
}

ContentsEnumeratorArgument* recordListAt(DMSCDSList* list, int index) {
  if (index < 0) return nullptr;
  return static_cast<ContentsEnumeratorArgument*>(dataAt(list, index + kHeaderItems));
}
