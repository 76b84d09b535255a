// DMSCDSList. See the header for the contract.
#include "dms_list.h"

#include "dms_platform.h"

DMSCDSList::DMSCDSList() : first_(nullptr), last_(nullptr), current_(nullptr), size_(0) {}

DMSCDSList::~DMSCDSList() { reset(); }

void DMSCDSList::reset() {
  first_ = nullptr;
  last_ = nullptr;
  current_ = nullptr;
  size_ = 0;
}

stDMSCDSListItem* DMSCDSList::newItem(void* data) {
  auto* item = static_cast<stDMSCDSListItem*>(DMSAppMemAllocMA(sizeof(stDMSCDSListItem)));
  if (item == nullptr) return nullptr;
  item->data = data;
  item->next = nullptr;
  item->previous = nullptr;
  return item;
}

int DMSCDSList::AddItem(void* data) {
  if (data == nullptr) return 1;
  stDMSCDSListItem* item = newItem(data);
  if (item == nullptr) return 1;
  item->previous = last_;
  if (last_ != nullptr) {
    last_->next = item;
  } else {
    first_ = item;
  }
  last_ = item;
  current_ = item;
  ++size_;
  return 0;
}

int DMSCDSList::AddItemBeforeCurrentNode(void* data) {
  if (data == nullptr || current_ == nullptr) return 1;
  stDMSCDSListItem* item = newItem(data);
  if (item == nullptr) return 1;
  item->next = current_;
  item->previous = current_->previous;
  if (current_->previous != nullptr) {
    current_->previous->next = item;
  } else {
    first_ = item;
  }
  current_->previous = item;
  ++size_;
  return 1;
}

int DMSCDSList::AddItemAfterCurrentNode(void* data) {
  if (data == nullptr || current_ == nullptr) return 1;
  stDMSCDSListItem* item = newItem(data);
  if (item == nullptr) return 1;
  item->previous = current_;
  item->next = current_->next;
  if (current_->next != nullptr) {
    current_->next->previous = item;
  } else {
    last_ = item;
  }
  current_->next = item;
  ++size_;
  return 1;
}

bool DMSCDSList::unlinkAndFree(stDMSCDSListItem* item) {
  stDMSCDSListItem* previous = item->previous;
  stDMSCDSListItem* next = item->next;
  bool consistent = (previous != nullptr ? previous->next == item : first_ == item) &&
                    (next != nullptr ? next->previous == item : last_ == item);
  if (!consistent) return false;

  if (previous != nullptr) previous->next = next;
  if (next != nullptr) next->previous = previous;
  DMSAppMemFree(item);

  // The neighbour becomes current and takes over whichever end it now holds.
  current_ = next != nullptr ? next : previous;
  if (current_ != nullptr) {
    if (current_->next == nullptr) last_ = current_;
    if (current_->previous == nullptr) first_ = current_;
  }
  if (--size_ < 1) reset();
  return true;
}

int DMSCDSList::DeleteItem(void* data) {
  if (data == nullptr) return 1;
  for (stDMSCDSListItem* item = first_; item != nullptr; item = item->next) {
    if (item->data == data) return unlinkAndFree(item) ? 1 : 0;
  }
  return 0;
}

int DMSCDSList::DeleteCurrentItem(stDMSCDSListItem* out) {
  if (current_ == nullptr || out == nullptr) return 1;
  out->data = current_->data;
  return unlinkAndFree(current_) ? 0 : 1;
}

int DMSCDSList::DeleteCurrentItem(Deleter deleter) {
  if (current_ == nullptr) return 1;
  if (deleter != nullptr) deleter(current_->data);
  return unlinkAndFree(current_) ? 0 : 1;
}

int DMSCDSList::SetFirstItemToCurrentItem() {
  if (first_ == nullptr) return 1;
  current_ = first_;
  return 0;
}

int DMSCDSList::SetLastItemToCurrentItem() {
  if (last_ == nullptr) return 1;
  current_ = last_;
  return 0;
}

stDMSCDSListItem* DMSCDSList::ReadNextItem() {
  if (current_ == nullptr || current_->next == nullptr) return nullptr;
  current_ = current_->next;
  return current_;
}

stDMSCDSListItem* DMSCDSList::ReadPreviousItem() {
  if (current_ == nullptr || current_->previous == nullptr) return nullptr;
  current_ = current_->previous;
  return current_;
}

void* DMSCDSList::ReadFirstItemData() const { return first_ != nullptr ? first_->data : nullptr; }

void* DMSCDSList::ReadLastItemData() const { return last_ != nullptr ? last_->data : nullptr; }

void* DMSCDSList::ReadCurrentItemData() const {
  return current_ != nullptr ? current_->data : nullptr;
}

void* DMSCDSList::ReadNextItemData() {
  stDMSCDSListItem* item = ReadNextItem();
  return item != nullptr ? item->data : nullptr;
}

void* DMSCDSList::ReadPreviousItemData() {
  stDMSCDSListItem* item = ReadPreviousItem();
  return item != nullptr ? item->data : nullptr;
}

int DMSCDSList::FreeAllDMSCDSListItem() {
  stDMSCDSListItem* item = first_;
  while (item != nullptr) {
    stDMSCDSListItem* next = item->next;
    DMSAppMemFree(item->data);
    DMSAppMemFree(item);
    item = next;
  }
  reset();
  return 0;
}

int DMSCDSList::RemoveAllListItem(Deleter deleter) {
  stDMSCDSListItem* item = first_;
  while (item != nullptr) {
    stDMSCDSListItem* next = item->next;
    if (deleter != nullptr) deleter(item->data);
    DMSAppMemFree(item);
    item = next;
  }
  reset();
  return 0;
}
