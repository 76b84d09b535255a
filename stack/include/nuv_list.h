/* The stack's list: an ordered list of untyped item pointers with a cursor.
 * The stack hands its data to the media server in such lists (action
 * arguments, additional HTTP headers, network interfaces).
 *
 * Walking idiom (the cursor starts on the first item):
 *   for (void* d = NUVListGetCurrentItemData(l); d != NULL;
 *        d = NUVListGetNextItem(l) != NULL ? NUVListGetCurrentItemData(l) : NULL) { ... }
 *
 * Thread safety: none; a list belongs to one thread at a time.
 *
 * Linking: libdmsstack defines these functions. libdms, libdmscamera and
 * libdmsscanner call them without linking libdmsstack, on purpose: the
 * executable links the stack they run on (dmsd the real one, the unit tests
 * the fakes of tests/fakes, which keep the network out of them). A program
 * that loads those libraries must therefore link or load a stack first. */
#ifndef NUV_LIST_H
#define NUV_LIST_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct stNUVAppList stNUVAppList;

/* One action argument: both strings are owned by the list they are in. */
typedef struct stNUVArgument {
  char* name;
  char* value;
} stNUVArgument;

/* One additional HTTP header: both strings owned by the list they are in. */
typedef struct stNUVHeader {
  char* name;
  char* value;
} stNUVHeader;

/* A new empty list, or NULL. Release with NUVListDestroy. */
stNUVAppList* NUVListCreate(void);
/* Appends `data` (not copied, not owned unless NUVListDestroy is given a
 * deleter). The cursor does not move, except onto the first item added to an
 * empty list. 0 on success, 1 for a null list or data or no memory. */
int NUVListAddItem(stNUVAppList* list, void* data);
/* Data of the item under the cursor, or NULL (empty list or null list). */
void* NUVListGetCurrentItemData(stNUVAppList* list);
/* Moves the cursor one item on and returns a non-null token, or NULL at the
 * end (the cursor then stays on the last item). */
void* NUVListGetNextItem(stNUVAppList* list);
/* Puts the cursor on the first item; 0, or 1 for an empty or null list. */
int NUVListSetFirstItem(stNUVAppList* list);
/* Number of items; 0 for a null list. */
int NUVListGetCount(stNUVAppList* list);
/* Data of item `index` (from 0), or NULL. The cursor does not move. */
void* NUVListGetItemData(stNUVAppList* list, int index);
/* Frees the list; `deleter` (may be NULL) is called on every item's data. */
void NUVListDestroy(stNUVAppList* list, void (*deleter)(void* data));

/* Helpers for the two pair lists. Both copy the strings; 0 on success. */
int NUVListAddArgument(stNUVAppList* list, const char* name, const char* value);
int NUVListAddHeader(stNUVAppList* list, const char* name, const char* value);
/* Deleter for lists of stNUVArgument or stNUVHeader made by the helpers. */
void NUVListFreePair(void* pair);

#ifdef __cplusplus
}
#endif

#endif /* NUV_LIST_H */
