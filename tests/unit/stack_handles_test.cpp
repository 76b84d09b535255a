// Request, exception and access-control handles and their accessors.
#include <gtest/gtest.h>

#include <cstring>

#include "handles.h"
#include "nuv_dms.h"

using dmsstack::outstandingHandles;

TEST(Handles, ActionRequestCarriesNameAddressAndArgumentsInOrder) {
  int before = outstandingHandles();
  stNUVAppList* request = dmsstack::makeActionRequest(
      "Browse", "10.0.0.2", {{"ObjectID", "0"}, {"BrowseFlag", "BrowseMetadata"}, {"Filter", ""}});
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(outstandingHandles(), before + 1);
  char* name = nullptr;
  char* ip = nullptr;
  stNUVAppList* arguments = nullptr;
  ASSERT_EQ(HNuvDMSGetActionName(request, &name), 0);
  EXPECT_STREQ(name, "Browse");
  ASSERT_EQ(HNuvDMSGetCPIPAddress(request, &ip), 0);
  EXPECT_STREQ(ip, "10.0.0.2");
  ASSERT_EQ(HNuvDMSGetActionArgumentList(request, &arguments), 0);
  ASSERT_EQ(NUVListGetCount(arguments), 3);
  const char* expected[][2] = {{"ObjectID", "0"}, {"BrowseFlag", "BrowseMetadata"}, {"Filter", ""}};
  int i = 0;
  for (void* d = NUVListGetCurrentItemData(arguments); d != nullptr;
       d = NUVListGetNextItem(arguments) != nullptr ? NUVListGetCurrentItemData(arguments)
                                                    : nullptr) {
    auto* argument = static_cast<stNUVArgument*>(d);
    EXPECT_STREQ(argument->name, expected[i][0]);
    EXPECT_STREQ(argument->value, expected[i][1]);
    ++i;
  }
  EXPECT_EQ(i, 3);
  EXPECT_EQ(HNuvGetTypeOfException(request), -1);
  EXPECT_EQ(HNuvDMSGetACLIPAddr(request), nullptr);
  EXPECT_EQ(HNuvDMSReleaseUIRequestData(request), 0);
  EXPECT_EQ(outstandingHandles(), before);
}

TEST(Handles, ExceptionCarriesTypeAndAddress) {
  int before = outstandingHandles();
  stNUVAppList* exception = dmsstack::makeNicException(NUV_EXCEPTION_NIC_DOWN, "10.0.0.1");
  ASSERT_NE(exception, nullptr);
  EXPECT_EQ(HNuvGetTypeOfException(exception), 3);
  char* address = nullptr;
  ASSERT_EQ(HNuvGetNICExceptionInfo(exception, &address), 0);
  EXPECT_STREQ(address, "10.0.0.1");
  char* name = nullptr;
  EXPECT_EQ(HNuvDMSGetActionName(exception, &name), 1);
  // An exception is not released as a request.
  EXPECT_EQ(HNuvDMSReleaseUIRequestData(exception), 1);
  HNuvReleaseExceptionResource(exception);
  EXPECT_EQ(outstandingHandles(), before);
}

TEST(Handles, AclNotificationCarriesModeMacAddressAndName) {
  int before = outstandingHandles();
  stNUVAppList* note =
      dmsstack::makeAclNotification(NUV_ACL_MODE_CONFIRM, 1, "aa:bb:cc:dd:ee:ff", "10.0.0.7", "TV");
  ASSERT_NE(note, nullptr);
  EXPECT_EQ(HNuvDMSGetACLTYPE(note), 4);
  EXPECT_EQ(HNuvDMSGetACLEventType(note), 1);
  EXPECT_STREQ(HNuvDMSGetACLMacADDR(note), "aa:bb:cc:dd:ee:ff");
  EXPECT_STREQ(HNuvDMSGetACLIPAddr(note), "10.0.0.7");
  EXPECT_STREQ(HNuvDMSGetACLDeviceName(note), "TV");
  char* ip = nullptr;
  ASSERT_EQ(HNuvDMSGetCPIPAddress(note, &ip), 0);
  EXPECT_STREQ(ip, "10.0.0.7");
  EXPECT_EQ(HNuvDMSReleaseUIRequestData(note), 0);
  EXPECT_EQ(outstandingHandles(), before);
}

TEST(Handles, ForeignListsAndNullsAreRefused) {
  stNUVAppList* list = NUVListCreate();
  int dummy = 0;
  NUVListAddItem(list, &dummy);
  NUVListAddItem(list, &dummy);
  char* text = nullptr;
  EXPECT_EQ(HNuvDMSGetActionName(list, &text), 1);
  EXPECT_EQ(HNuvDMSReleaseUIRequestData(list), 1);
  EXPECT_EQ(HNuvGetTypeOfException(nullptr), -1);
  EXPECT_EQ(HNuvDMSGetActionName(nullptr, &text), 1);
  EXPECT_EQ(HNuvDMSGetACLDeviceName(nullptr), nullptr);
  HNuvReleaseExceptionResource(nullptr);
  NUVListDestroy(list, nullptr);
}
