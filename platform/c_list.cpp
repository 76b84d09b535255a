// The exported C linked list. See include/dms_c_list.h for the contract.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

// The angle form skips this directory, which holds DMSCDSList's header of the
// same name.
#include "dms_c_list.h"

namespace {

// Records and their bytes come from malloc: callers of iDelete free() the
// bytes they get back.
struct CFree {
  void operator()(void* block) const { free(block); }
};

// A record with its own copy of the bytes, or null. A size of 0 still gets a
// one-byte block so that a successful copy is never null.
list* newRecord(const void* data, unsigned int size) {
  std::unique_ptr<list, CFree> record(static_cast<list*>(malloc(sizeof(list))));
  if (record == nullptr) return nullptr;
  record->data = malloc(size != 0 ? size : 1);
  if (record->data == nullptr) return nullptr;
  memcpy(record->data, data, size);
  record->size = size;
  record->next = nullptr;
  return record.release();
}

bool sameBytes(const list* record, const void* data, unsigned int size) {
  return record->size == size && memcmp(record->data, data, size) == 0;
}

// The link that points at the record at `position` (from 1), or null when the
// position is 0 or beyond the length.
list** linkAt(list** head, unsigned int position) {
  if (head == nullptr || position == 0) return nullptr;
  list** link = head;
  for (unsigned int i = 1; i < position; ++i) {
    if (*link == nullptr) return nullptr;
    link = &(*link)->next;
  }
  return *link != nullptr ? link : nullptr;
}

void freeRecord(list* record) {
  free(record->data);
  free(record);
}

}  // namespace

extern "C" int Add(list** head, void* data, unsigned int size) {
  if (head == nullptr || data == nullptr) return 0;
  list* record = newRecord(data, size);
  if (record == nullptr) return 0;
  list** link = head;
  while (*link != nullptr) link = &(*link)->next;
  *link = record;
  return 1;
}

extern "C" int Insert(list** head, void* data, unsigned int size, unsigned int position) {
  if (data == nullptr) return 0;
  list** link = linkAt(head, position);
  if (link == nullptr) return 0;

  printf("Enter choice\n\tInsert before(press b or B)\n\tInsert After(press a or A)");
  fflush(stdout);
  getchar();  // the newline left by the caller's previous answer
  char choice = 0;
  if (scanf("%c", &choice) != 1) return 0;
  bool before = choice == 'b' || choice == 'B';
  bool after = choice == 'a' || choice == 'A';
  if (!before && !after) return 0;

  list* record = newRecord(data, size);
  if (record == nullptr) {
    printf("Out of HEAP");
    fflush(stdout);
    return 0;
  }
  list* target = *link;
  if (before) {
    record->next = target;
    *link = record;
  } else {
    record->next = target->next;
    target->next = record;
  }
  return 1;
}

extern "C" int Delete(list** head, void* data, unsigned int size) {
  if (head == nullptr || data == nullptr) return 0;
  for (list** link = head; *link != nullptr; link = &(*link)->next) {
    if (sameBytes(*link, data, size)) {
      list* record = *link;
      *link = record->next;
      freeRecord(record);
      return 1;
    }
  }
  return 0;
}

extern "C" int DeleteFirst(list** head) {
  if (head == nullptr || *head == nullptr) return 0;
  list* record = *head;
  *head = record->next;
  freeRecord(record);
  return 1;
}

extern "C" void* iPeek(list* head, unsigned int position) {
  list** link = linkAt(&head, position);
  return link != nullptr ? (*link)->data : nullptr;
}

extern "C" void* iDelete(list** head, unsigned int position) {
  list** link = linkAt(head, position);
  if (link == nullptr) return nullptr;
  list* record = *link;
  void* data = record->data;
  *link = record->next;
  free(record);
  return data;
}

extern "C" unsigned int Search(list* head, void* data, unsigned int size) {
  if (data == nullptr) return 0;
  unsigned int position = 1;
  for (list* record = head; record != nullptr; record = record->next, ++position) {
    if (sameBytes(record, data, size)) return position;
  }
  return 0;
}

extern "C" void Sort(list** head) {
  if (head == nullptr) return;
  unsigned int length = Get_ListLen(*head);
  for (unsigned int pass = 1; pass < length; ++pass) {
    list** link = head;
    while (*link != nullptr && (*link)->next != nullptr) {
      list* left = *link;
      list* right = left->next;
      unsigned int common = left->size < right->size ? left->size : right->size;
      if (memcmp(left->data, right->data, common) > 0) {
        left->next = right->next;
        right->next = left;
        *link = right;
        link = &right->next;
      } else {
        link = &left->next;
      }
    }
  }
}

extern "C" unsigned int Get_ListLen(list* head) {
  unsigned int length = 0;
  for (list* record = head; record != nullptr; record = record->next) ++length;
  return length;
}

extern "C" void FreeList(list* head) {
  while (head != nullptr) {
    list* next = head->next;
    freeRecord(head);
    head = next;
  }
}
