/* Calls the server layer's exported interface from C, to prove dms_server.h
 * is valid C and the functions have C linkage. Needs no stack answers beyond
 * the fake's defaults. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "c_check.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "nuv_config.h"

static void settingsFromC(void) {
  CHECK(DMSAppGetDBPathMA() == NULL);
  CHECK(DMSAppGetDMSConnectionID() == -1);
  DMSAppSetDMSConnectionID(4);
  CHECK(DMSAppGetDMSConnectionID() == 4);
  DMSAppSetHTTPStreamingPort(8200);
  CHECK(DMSAppGetHTTPStreamingPort() == 8200);
}

static void descriptionsFromC(void) {
  CHECK(strcmp(DMSGetDeviceDescriptionFilename(DLNADMS_DEVICE_DESCRIPTION),
               "DeviceDescription.xml") == 0);
  CHECK(strcmp(DMSGetDeviceDescriptionFilename(DLNADMS_CONNECTION_MANAGER_DESCRIPTION),
               "/ConnectionManager_1.xml") == 0);
  CHECK(DMSAppCheckFileState(NULL) == 0);
}

static void servicesFromC(void) {
  char* value;
  CHECK(DmsSetFriendlyName(NULL, "X") == 0);
  CHECK(DMSAppInitialize(NULL, NULL) == 0);
  CHECK(DMSAppSendTransferIDEvent(NULL) == 0);
  CHECK(DMSGetItemObjectID(NULL) == NULL);
  NUVSetDefaultContainer(1, 0, 1);
  value = NUVGetConfigurationMA("DefaultContainer");
  CHECK(value != NULL && strcmp(value, "5") == 0);
  DMSAppMemFree(value);
  CHECK(DmsAppACLAddDevNameFilterRule(NULL, 0, "+") == 0);
}

int main(void) {
  settingsFromC();
  descriptionsFromC();
  servicesFromC();
  NUVClearConfiguration();
  return C_CHECK_REPORT();
}
