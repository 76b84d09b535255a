/* The stack's exported device functions called from C: the header compiles
 * as C and the functions link and behave without a network. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "nuv_dms.h"
#include "nuv_http.h"
#include "nuv_list.h"

static int failures = 0;

#define CHECK(condition)                                              \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                     \
    }                                                                 \
  } while (0)

static void onAction(int connectionID, int actionID, stNUVAppList* request) {
  (void)connectionID;
  (void)actionID;
  HNuvDMSReleaseUIRequestData(request);
}

static void onResponseHeader(int profile, int connection, stNUVAppList* headerList, int error) {
  (void)profile;
  (void)connection;
  (void)error;
  NUVHTTPReleaseHeaderInfo(headerList);
}

int main(void) {
  char dir[] = "/tmp/stack-c-XXXXXX";
  CHECK(mkdtemp(dir) != NULL);

  char* address = NUVUtilGetInterfaceIPAddress("127.0.0.1");
  CHECK(address != NULL && strcmp(address, "127.0.0.1") == 0);
  free(address);

  stNUVAppList* nics = NULL;
  CHECK(NUVGetNetworkInterfaceList(&nics) == 0);
  int loopback = 0;
  for (int i = 0; i < HNUVGetNoOfNetworkInterfaceFromResponse(nics); ++i) {
    char* name = NULL;
    char* ip = NULL;
    CHECK(HNUVGetNetworkInfoFromResponse(nics, i, &name, &ip) == 0);
    if (strcmp(name, "lo") == 0 && strcmp(ip, "127.0.0.1") == 0) loopback = 1;
  }
  CHECK(loopback);
  NUVReleaseNetworkInterfaceList(nics);

  CHECK(NUVDmsACLInitialize(0) != 0); /* no device yet */
  stNUVDMSCallbacks callbacks = {onAction, NULL, NULL, NULL};
  int connection = -1;
  CHECK(NUVDMSInitialize(&callbacks, dir, &connection) == 0);
  CHECK(connection == 0);
  char* value = NULL;
  CHECK(NUVDMSGetStateVariableValue(connection, "urn:schemas-upnp-org:service:ContentDirectory",
                                    "SystemUpdateID", &value) == 0);
  CHECK(value != NULL && strcmp(value, "0") == 0);
  free(value);
  CHECK(NUVDmsACLInitialize(connection) == 0);
  CHECK(NUVDmsACLSetMode(connection, NUV_ACL_MODE_CONFIRM) == 0);
  CHECK(NUVDmsACLTerminate(connection) == 0);
  CHECK(NUVDMSTerminate(connection) == 1);

  char path[64];
  snprintf(path, sizeof path, "%s/DeviceDescription.xml", dir);
  FILE* file = fopen(path, "w");
  CHECK(file != NULL);
  if (file != NULL) {
    fputs("<root><device><friendlyName>x</friendlyName><UDN></UDN></device></root>", file);
    fclose(file);
  }
  CHECK(NUVSetDeviceName(path, "[Camera]C") == 0);
  char text[128] = {0};
  file = fopen(path, "r");
  if (file != NULL) {
    size_t n = fread(text, 1, sizeof text - 1, file);
    text[n] = '\0';
    fclose(file);
  }
  CHECK(strcmp(text,
               "<root><device><friendlyName>[Camera]C</friendlyName><UDN></UDN></device>"
               "</root>") == 0);
  unlink(path);

  /* A client profile from C: started, refused a scheme other than http://,
   * counted and stopped. */
  stNUVHTTPCallbacks client;
  memset(&client, 0, sizeof client);
  client.responseHeader = onResponseHeader;
  stNUVHTTPConnInfo* started = NULL;
  CHECK(NUVHTTPStartHTTPProfile(&client, NULL, NULL, 0, &started) == 0);
  int profile = 0;
  CHECK(NUVHTTPGetConnectionInfo(started, 1, &profile, NULL) == 0);
  NUVHTTPFreeConnectionInfo(started);
  NUVHTTPClientRequest request;
  memset(&request, 0, sizeof request);
  request.method = NUV_HTTP_GET;
  request.url = (char*)"file:///etc/passwd";
  request.http11 = 1;
  request.contentLength = -1;
  CHECK(NUVHTTPSendRequest(profile, profile, &request, 1) != 0);
  CHECK(NUVHTTPGetTransferBytesCount(profile) == 0);
  CHECK(NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS) == 0);
  CHECK(NUVHTTPGetTransferBytesCount(profile) == -1);

  snprintf(path, sizeof path, "%s/udn", dir);
  unlink(path);
  rmdir(dir);
  if (failures == 0) puts("stack exported C functions: all checks passed");
  return failures == 0 ? 0 : 1;
}
