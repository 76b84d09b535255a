/* Calls the exported C interface from a C translation unit, to prove the
 * headers are valid C and the symbols have C linkage. */
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "c_check.h"
#include "dms_c_list.h"
#include "dms_platform.h"
#include "dms_xml.h"

static void memoryFromC(void) {
  CHECK(DMSAppMemAllocMA(0) == NULL);
  CHECK(DMSAppMemReallocMA(NULL, 16) == NULL);
  char* p = (char*)DMSAppMemCallocMA(2, 4);
  CHECK(p != NULL && p[7] == 0);
  CHECK(DMSAppMemCpy(p, "abc", 4) == p);
  CHECK(strcmp(p, "abc") == 0);
  DMSAppMemFree(p);
}

static void mutexFromC(void) {
  pthread_mutex_t* m = DMSAppCreateMutex(NULL);
  CHECK(m != NULL);
  CHECK(DMSAppAcquireMutex(m) == 1);
  CHECK(DMSAppAcquireMutex(m) == 1);
  CHECK(DMSAppReleaseMutex(m) == 1);
  CHECK(DMSAppReleaseMutex(m) == 1);
  CHECK(DMSAppDeleteMutex(m) == 1);
}

static void filesFromC(void) {
  char path[] = "/tmp/dms-c-XXXXXX";
  int fd = mkstemp(path);
  CHECK(fd >= 0);
  close(fd);
  FILE* f = DMSAppOpenFile(path, DMSAPP_FILE_WRITE_UPDATE);
  CHECK(f != NULL);
  CHECK(DMSAppWriteFile(f, "hello", 5) == 1);
  CHECK(DMSAppSeekFile(f, DMSAPP_SEEK_SET, 1) == 1);
  char buf[8] = {0};
  unsigned long got = 0;
  CHECK(DMSAppReadFile(f, buf, sizeof buf, &got) == 1 && got == 4);
  CHECK(memcmp(buf, "ello", 4) == 0);
  CHECK(DMSAppCloseFile(f) == 1);
  CHECK(DMSAppRemoveFile(path) == 1);
  CHECK(DMSAppOpenFile(path, (DMSAppFileMode)7) == NULL);
}

/* Written on the timer thread, read here. */
static atomic_int fired = 0;

static void onTimer(unsigned long handle, unsigned long param, bool expired) {
  (void)handle;
  (void)expired;
  atomic_store(&fired, (int)param);
}

static void timersFromC(void) {
  unsigned long handle = DMSAppCreateTimer(NULL);
  CHECK(handle != 0);
  CHECK(DMSAppStartTimer(handle, 20, NULL, NULL) == 0);
  CHECK(DMSAppStartTimer(handle, 20, onTimer, (void*)42) == 1);
  for (int i = 0; i < 500 && atomic_load(&fired) == 0; ++i) usleep(10000);
  CHECK(atomic_load(&fired) == 42);
  CHECK(DMSAppDeleteTimer(handle) == 1); /* already gone: still 1 */
}

static void listFromC(void) {
  list* head = NULL;
  int a = 1, b = 2;
  CHECK(Add(&head, &a, sizeof a) == 1);
  CHECK(Add(&head, &b, sizeof b) == 1);
  CHECK(Get_ListLen(head) == 2);
  CHECK(Search(head, &b, sizeof b) == 2);
  CHECK(*(int*)iPeek(head, 1) == 1);
  CHECK(iPeek(head, 0) == 0);
  CHECK(Delete(&head, &a, sizeof a) == 1);
  CHECK(Get_ListLen(head) == 1);
  FreeList(head);
}

static void xmlFromC(void) {
  CHECK(DMSAppXmlParserGetDomMA(NULL) == NULL);
  CHECK(DMSAppXmlParserGetFirstNode(NULL) == NULL);
  DMSAppXmlParserDestroy(NULL);
  DMSAppXmlParserFreeNode(NULL);
}

int main(void) {
  CHECK(DMSAppHelperInitialize() == 1);
  memoryFromC();
  mutexFromC();
  filesFromC();
  timersFromC();
  listFromC();
  xmlFromC();
  CHECK(DMSAppStopTimerThread() == 1);
  DMSAppHelperTerminate();
  return C_CHECK_REPORT();
}
