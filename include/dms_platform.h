/* Exported platform services of the media server: memory, recursive mutexes,
 * files and one-shot timers.
 *
 * Results: 1 for success and 0 for failure unless a function says otherwise.
 * Functions whose names end in MA allocate what they return; the caller
 * releases it with DMSAppMemFree.
 *
 * Thread safety: every function may be called from any thread once
 * DMSAppHelperInitialize has run. */
#ifndef DMS_PLATFORM_H
#define DMS_PLATFORM_H

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
class DMSAppString;
extern "C" {
#else
#include <stdbool.h>
typedef struct DMSAppString DMSAppString;
#endif

/* ---- Services ---------------------------------------------------------- */

/* Creates the mutex, memory, file and timer services (in that order) and
 * starts the timer thread "DMSAppTimer". Returns 1. */
int DMSAppHelperInitialize(void);
/* Destroys the timer, mutex, memory and file services (in that order). The
 * timer thread must have been stopped before with DMSAppStopTimerThread. */
void DMSAppHelperTerminate(void);

/* ---- Memory ------------------------------------------------------------ */

void* DMSAppMemAllocMA(unsigned long size);                       /* null for 0 */
void* DMSAppMemCallocMA(unsigned long count, unsigned long size); /* null if size is 0 */
/* realloc, except that a null `p` returns null and allocates nothing. */
void* DMSAppMemReallocMA(void* p, unsigned long size);
void DMSAppMemFree(void* p);
void* DMSAppMemSet(void* p, int value, unsigned long n);         /* null for null p */
void* DMSAppMemCpy(void* dst, const void* src, unsigned long n); /* null for a null pointer */
void* DMSAppMemmove(void* dst, const void* src, unsigned int n); /* null for a null pointer */

/* ---- Mutexes (always recursive) ---------------------------------------- */

/* A new recursive mutex, or null. The name is only checked for null (which
 * is logged; the mutex is made anyway). Release with DMSAppDeleteMutex. */
pthread_mutex_t* DMSAppCreateMutex(const DMSAppString* name);
/* Destroys and frees. 0, and nothing freed, when the destroy fails (for
 * example while the mutex is locked). */
int DMSAppDeleteMutex(pthread_mutex_t* m);
int DMSAppAcquireMutex(pthread_mutex_t* m);
int DMSAppReleaseMutex(pthread_mutex_t* m);

/* ---- Files ------------------------------------------------------------- */

typedef enum DMSAppFileMode {
  DMSAPP_FILE_READ = 0,           /* "r" */
  DMSAPP_FILE_WRITE = 1,          /* "w" */
  DMSAPP_FILE_APPEND = 2,         /* "a" */
  DMSAPP_FILE_READ_UPDATE = 3,    /* "r+" */
  DMSAPP_FILE_WRITE_UPDATE = 4,   /* "w+" */
  DMSAPP_FILE_APPEND_UPDATE = 5,  /* "a+" */
  DMSAPP_FILE_READ_UPDATE_ALT = 6 /* "r+", the same as 3 */
} DMSAppFileMode;

typedef enum DMSAppSeekMode {
  DMSAPP_SEEK_SET = 0,
  DMSAPP_SEEK_CUR = 1,
  DMSAPP_SEEK_END = 2
} DMSAppSeekMode;

int DMSAppCreatDirecotry(const char* path); /* mkdir 0777 */
/* The open stream (64-bit offsets), or null for a null path, an unknown mode
 * or a failed open. */
FILE* DMSAppOpenFile(const char* path, DMSAppFileMode mode);
int DMSAppCloseFile(FILE* f);
/* 1 only if all n bytes were written. */
int DMSAppWriteFile(FILE* f, const char* buf, unsigned long n);
/* As DMSAppWriteFile, but n = 0 counts as success. */
int DMSAppBufferPtrWriteFile(FILE* f, const char* buf, unsigned long n);
/* Reads up to n bytes and stores the count in *got. 0 when nothing was read
 * (end of file; *got is then left untouched) or for a null argument. */
int DMSAppReadFile(FILE* f, char* buf, unsigned long n, unsigned long* got);
int DMSAppReadFileByChar(FILE* f, char* buf, unsigned long n, unsigned long* got);
int DMSAppRemoveFile(const char* path);
/* Seek with a signed 32-bit offset. */
int DMSAppSeekFile(FILE* f, DMSAppSeekMode mode, long offset);
/* Seek with an unsigned 32-bit offset, for files between 2 and 4 GiB. */
int DMSAppSeekFileUlong(FILE* f, DMSAppSeekMode mode, unsigned long offset);
/* Copies min(wanted, available) bytes from src + offset to dst, stores the
 * count in *got and returns 1 (0 for a null pointer). */
int DMSAppReadBufferByChar(void* dst, const void* src, unsigned long offset, unsigned long wanted,
                           unsigned long available, unsigned long* got);
/* '0'-'9', 'a'-'f', 'A'-'F' to 0-15; any other character gives 0. */
int DMSAppConvertHexToInteger(char c);

/* ---- Timers ------------------------------------------------------------ */

/* Called on the timer thread "DMSAppTimer" with the handle, the param given
 * to DMSAppStartTimer and always `false`. The timer is deleted after the
 * callback returns; the callback may create, start and delete timers. */
typedef void (*DMSAppTimerCallback)(unsigned long handle, unsigned long param, bool expired);

/* A new timer handle (1, 2, 3 ..., never reused), or 0. */
unsigned long DMSAppCreateTimer(DMSAppString* name);
/* Arms the timer once. 0 for a null callback; 1 otherwise, including for an
 * unknown handle (nothing happens then). 0 ms disarms: it never fires. */
int DMSAppStartTimer(unsigned long handle, unsigned long timeoutMs, DMSAppTimerCallback callback,
                     void* param);
/* Deletes the timer; 1 whether or not the handle was known. */
int DMSAppDeleteTimer(unsigned long handle);
/* Stops and joins the timer thread; 1 when it is stopped afterwards. */
int DMSAppStopTimerThread(void);
int DMSAppHelperStopDMSAppTimerThread(void);

#ifdef __cplusplus
} /* extern "C" */

/* The 64-bit size from stat/fstat: 0 for a null argument, -1 if stat fails. */
int64_t DMSAppGetFileSize(const char* path);
int64_t DMSAppGetFileSize(FILE* f);
#endif

#endif /* DMS_PLATFORM_H */
