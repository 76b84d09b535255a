/* The exported C linked list: a singly linked chain of byte copies.
 *
 * A list is a pointer to its first record; an empty list is null. Each record
 * owns a malloc copy of the caller's bytes. Positions count from 1. Results
 * are 1 for success and 0 for failure unless a function says otherwise.
 *
 * Thread safety: none; a list belongs to one caller at a time. */
#ifndef DMS_C_LIST_H
#define DMS_C_LIST_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct list {
  unsigned int size; /* byte length of data */
  void* data;        /* owned malloc copy */
  struct list* next;
} list;

/* Appends a record holding a copy of `size` bytes of `data`. 0 if an
 * allocation fails or an argument is null. */
int Add(list** head, void* data, unsigned int size);

/* Interactive insertion next to the record at `position`. Refuses (0) a null
 * argument, position 0 or one beyond the length without asking. Otherwise it
 * prints a prompt on stdout, discards one pending character of stdin and reads
 * one more: b or B inserts a copy before that record, a or A after it (1).
 * Any other answer, or end of input, returns 0. An allocation failure prints
 * "Out of HEAP" and returns 0. */
int Insert(list** head, void* data, unsigned int size, unsigned int position);

/* Removes (and frees) the first record of the same size and equal bytes. 1 if
 * one was removed, else 0. */
int Delete(list** head, void* data, unsigned int size);

/* Removes (and frees) the first record. 0 on an empty list. */
int DeleteFirst(list** head);

/* The data of the record at `position`, still owned by the list; 0 if the
 * position is 0 or beyond the length. */
void* iPeek(list* head, unsigned int position);

/* Unlinks and frees the record at `position` but not its data, which is
 * returned: the caller frees it with free(). 0 for an invalid position. */
void* iDelete(list** head, unsigned int position);

/* The position (from 1) of the first record of the same size and equal bytes,
 * or 0. */
unsigned int Search(list* head, void* data, unsigned int size);

/* Bubble sort, ascending: adjacent records are compared with memcmp over the
 * shorter of their sizes and swapped when the result is positive, so records
 * with an equal common prefix keep their order. */
void Sort(list** head);

/* The number of records. */
unsigned int Get_ListLen(list* head);

/* Frees every record and its data. */
void FreeList(list* head);

#ifdef __cplusplus
}
#endif

#endif /* DMS_C_LIST_H */
