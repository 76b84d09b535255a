// Record lists: how the store hands pages of records to its callers. A
// DMSCDSList whose elements are, in order:
//   1. a heap int (DMSAppMemAllocMA) holding the media kind (1, 2, 3);
//   2. a heap int holding the number of records asked for (the page size);
//   3. the records, one heap ContentsEnumeratorArgument each, in query order.
#ifndef DMS_CONTENT_RECORD_LIST_H
#define DMS_CONTENT_RECORD_LIST_H

#include <memory>

class ContentsEnumeratorArgument;
class DMSCDSList;

// The per-record release function for DMSCDSList::RemoveAllListItem: deletes
// the record. Returns 1, also for null (which does nothing).
int FreeContentsEnumeratorArgumentList(void* item);

// A new list holding only the two leading ints, or null when memory runs out.
DMSCDSList* newRecordList(int mediaKind, int pageSize);
// Appends a record; the list owns it afterwards. False (the record is then
// still the caller's) when memory runs out.
bool appendRecord(DMSCDSList* list, ContentsEnumeratorArgument* record);
// Releases the two ints, every record and the list itself. Null is fine.
void freeRecordList(DMSCDSList* list);

// A record list owned while it is built; release() hands it on.
struct RecordListDeleter {
  void operator()(DMSCDSList* list) const { freeRecordList(list); }
};
using RecordListPtr = std::unique_ptr<DMSCDSList, RecordListDeleter>;

// Readers of a list built as above (the cursor is moved). The kind and page
// size are -1, and the record null, when the list is too short.
int recordListKind(DMSCDSList* list);
int recordListPageSize(DMSCDSList* list);
// Number of records (list size minus the two ints; 0 for null).
int recordListCount(DMSCDSList* list);
// Record `index` (from 0), borrowed from the list.
ContentsEnumeratorArgument* recordListAt(DMSCDSList* list, int index);

#endif  // DMS_CONTENT_RECORD_LIST_H
