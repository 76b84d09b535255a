// DMSCDSList: the server's general container, a doubly linked list of untyped
// item pointers with a built-in cursor (the current item).
//
// Ownership: the list owns its item records (allocated with DMSAppMemAllocMA,
// freed with DMSAppMemFree) but not the data they point to, except that
// FreeAllDMSCDSListItem frees the data with DMSAppMemFree. The destructor only
// resets the fields: an owner empties the list first (RemoveAllListItem with
// its deleter, or FreeAllDMSCDSListItem) and then deletes it, otherwise the
// item records leak.
//
// Results: 0 for success and 1 for failure, with two deliberate exceptions
// that callers rely on:
//   - AddItemBeforeCurrentNode and AddItemAfterCurrentNode return 1 whether
//     or not they inserted; do not test their result;
//   - DeleteItem returns 1 when it deleted an item (and for a null argument),
//     0 when nothing matched.
//
// Walking: SetFirstItemToCurrentItem(), then ReadCurrentItemData() and
// ReadNextItemData() until null. The cursor stays on the last item at the end,
// and AddItem moves it to the new item, so adding during a walk ends the walk.
//
// Thread safety: none. A list belongs to one owner at a time, who guards it if
// it is shared between threads.
#ifndef DMS_PLATFORM_DMS_LIST_H
#define DMS_PLATFORM_DMS_LIST_H

struct stDMSCDSListItem {
  void* data;  // not owned by the list
  stDMSCDSListItem* next;
  stDMSCDSListItem* previous;
};

class DMSCDSList {
 public:
  // Called on each item's data by the removing operations; the result is
  // ignored.
  using Deleter = int (*)(void*);

  DMSCDSList();
  // Resets the fields only; see the ownership note above.
  ~DMSCDSList();

  DMSCDSList(const DMSCDSList&) = delete;
  DMSCDSList& operator=(const DMSCDSList&) = delete;

  // Appends; the new item becomes current. 0, or 1 for null data or a failed
  // allocation.
  int AddItem(void* data);
  // Insert next to the current item without moving the cursor. Always 1 (see
  // above); nothing is added for null data, a failed allocation or an empty
  // cursor.
  int AddItemBeforeCurrentNode(void* data);
  int AddItemAfterCurrentNode(void* data);

  // Unlinks and frees the first item whose data equals `data` (the data is
  // not freed). The cursor moves to the item after it, else the one before.
  // 1 if deleted or `data` is null; 0 if nothing matched or the links around
  // the match are inconsistent (then nothing changes).
  int DeleteItem(void* data);
  // Hands the current item's data back through out->data (the other fields of
  // *out are left alone), then unlinks and frees the current item; the cursor
  // moves to the next item, else the previous one. 1 if there is no current
  // item or `out` is null, else 0.
  int DeleteCurrentItem(stDMSCDSListItem* out);
  // As above, but calls `deleter` (if not null) on the data instead of
  // handing it back. 1 if there is no current item, else 0. A bare nullptr
  // is ambiguous between the two forms: pass Deleter{} for "no deleter".
  int DeleteCurrentItem(Deleter deleter);

  // The item records, not the data; null for an empty list. Valid until the
  // item is deleted.
  stDMSCDSListItem* ReadFirstItem() const { return first_; }
  stDMSCDSListItem* ReadLastItem() const { return last_; }
  stDMSCDSListItem* ReadCurrentItem() const { return current_; }

  // Move the cursor to an end. 1 for an empty list (cursor unchanged), else 0.
  int SetFirstItemToCurrentItem();
  int SetLastItemToCurrentItem();

  // Step the cursor and return the new current item. At either end (or on an
  // empty list) they return null and leave the cursor where it was.
  stDMSCDSListItem* ReadNextItem();
  stDMSCDSListItem* ReadPreviousItem();

  // The data of that item, or null when there is no such item.
  void* ReadFirstItemData() const;
  void* ReadLastItemData() const;
  void* ReadCurrentItemData() const;
  // As ReadNextItem/ReadPreviousItem, returning the new item's data.
  void* ReadNextItemData();
  void* ReadPreviousItemData();

  int Size() const { return size_; }

  // Frees every item's data with DMSAppMemFree, then the items; the list is
  // empty afterwards. Returns 0.
  int FreeAllDMSCDSListItem();
  // Calls `deleter` (if not null) on every item's data, frees the items and
  // empties the list. Returns 0.
  int RemoveAllListItem(Deleter deleter);

 private:
  static stDMSCDSListItem* newItem(void* data);
  // Unlinks `item`, frees its record and moves the cursor to its neighbour
  // (next, else previous). False, with nothing changed, if its links are
  // inconsistent with the list.
  bool unlinkAndFree(stDMSCDSListItem* item);
  void reset();

  stDMSCDSListItem* first_;
  stDMSCDSListItem* last_;
  stDMSCDSListItem* current_;
  int size_;
};

#endif  // DMS_PLATFORM_DMS_LIST_H
