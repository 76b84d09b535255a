// The stack's list: a vector of item pointers with a cursor.
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "export_guard.h"
#include "nuv_list.h"

struct stNUVAppList {
  std::vector<void*> items;
  size_t cursor = 0;
};

namespace {

char* duplicate(const char* text) {
  if (text == nullptr) text = "";
  size_t n = strlen(text) + 1;
  char* copy = static_cast<char*>(malloc(n));
  if (copy != nullptr) memcpy(copy, text, n);
  return copy;
}

// stNUVArgument and stNUVHeader share one layout: two owned strings.
int addPair(stNUVAppList* list, const char* name, const char* value) {
  if (list == nullptr || name == nullptr) return 1;
  auto* pair = static_cast<stNUVArgument*>(malloc(sizeof(stNUVArgument)));
  if (pair == nullptr) return 1;
  pair->name = duplicate(name);
  pair->value = duplicate(value);
  if (pair->name == nullptr || pair->value == nullptr || NUVListAddItem(list, pair) != 0) {
    NUVListFreePair(pair);
    return 1;
  }
  return 0;
}

}  // namespace

extern "C" stNUVAppList* NUVListCreate(void) { return new (std::nothrow) stNUVAppList(); }

extern "C" int NUVListAddItem(stNUVAppList* list, void* data) {
  if (list == nullptr || data == nullptr) return 1;
  return dms_export::guarded("NUVListAddItem", 1, [&] {
    list->items.push_back(data);
    return 0;
  });
}

extern "C" void* NUVListGetCurrentItemData(stNUVAppList* list) {
  if (list == nullptr || list->cursor >= list->items.size()) return nullptr;
  return list->items[list->cursor];
}

extern "C" void* NUVListGetNextItem(stNUVAppList* list) {
  if (list == nullptr || list->cursor + 1 >= list->items.size()) return nullptr;
  ++list->cursor;
  return &list->items[list->cursor];
}

extern "C" int NUVListSetFirstItem(stNUVAppList* list) {
  if (list == nullptr || list->items.empty()) return 1;
  list->cursor = 0;
  return 0;
}

extern "C" int NUVListGetCount(stNUVAppList* list) {
  return list == nullptr ? 0 : static_cast<int>(list->items.size());
}

extern "C" void* NUVListGetItemData(stNUVAppList* list, int index) {
  if (list == nullptr || index < 0 || static_cast<size_t>(index) >= list->items.size())
    return nullptr;
  return list->items[static_cast<size_t>(index)];
}

extern "C" void NUVListDestroy(stNUVAppList* list, void (*deleter)(void*)) {
  if (list == nullptr) return;
  if (deleter != nullptr)
    for (void* item : list->items) deleter(item);
  delete list;
}

extern "C" int NUVListAddArgument(stNUVAppList* list, const char* name, const char* value) {
  return addPair(list, name, value);
}

extern "C" int NUVListAddHeader(stNUVAppList* list, const char* name, const char* value) {
  return addPair(list, name, value);
}

extern "C" void NUVListFreePair(void* pair) {
  if (pair == nullptr) return;
  auto* p = static_cast<stNUVArgument*>(pair);
  free(p->name);
  free(p->value);
  free(p);
}
