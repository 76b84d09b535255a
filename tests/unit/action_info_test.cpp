#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "action_info.h"
#include "allocated_bytes.h"
#include "dms_list.h"
#include "dms_string.h"

namespace {

std::string text(const DMSAppString* s) {
  return s == nullptr ? "(null)" : (s->ReadString() == nullptr ? "(no buffer)" : s->ReadString());
}

std::string argumentAt(const DMSCDSList* list, int index) {
  const stDMSCDSListItem* item = list->ReadFirstItem();
  for (int i = 0; i < index && item != nullptr; ++i) item = item->next;
  if (item == nullptr) return "(missing)";
  const auto* argument = static_cast<const AppArgumentList*>(item->data);
  return text(argument->name) + "=" + text(argument->value);
}

}  // namespace

TEST(AppArgumentList, StartsWithNullNameAndValue) {
  AppArgumentList argument;
  EXPECT_EQ(argument.name, nullptr);
  EXPECT_EQ(argument.value, nullptr);
}

TEST(DMSAppActionInfo, ConstructorCopiesTheThreeStrings) {
  DMSAppString service("urn:schemas-upnp-org:service:ContentDirectory");
  DMSAppString action("Browse");
  DMSAppString ip("192.168.1.20");
  DMSAppActionInfo record(4, 17, &service, &action, &ip, new DMSCDSList());
  service.Copy("x");
  action.Copy("y");
  ip.Copy("z");
  EXPECT_EQ(record.GetConnectionID(), 4);
  EXPECT_EQ(record.GetActionID(), 17);
  EXPECT_EQ(text(record.ReadServiceName()), "urn:schemas-upnp-org:service:ContentDirectory");
  EXPECT_EQ(text(record.ReadActionName()), "Browse");
  EXPECT_EQ(text(record.ReadIPAddress()), "192.168.1.20");
}

TEST(DMSAppActionInfo, NullStringsAndListStayNull) {
  DMSAppActionInfo record(0, 0, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(record.ReadServiceName(), nullptr);
  EXPECT_EQ(record.ReadActionName(), nullptr);
  EXPECT_EQ(record.ReadIPAddress(), nullptr);
  EXPECT_EQ(record.ReadArgList(), nullptr);
  EXPECT_EQ(dms_cds::argumentCount(&record), 0);
}

TEST(DMSAppActionInfo, OwnsItsArgumentListInDeliveryOrder) {
  auto* list = new DMSCDSList();
  ASSERT_EQ(dms_cds::appendArgument(list, "ObjectID", new DMSAppString("0")), 0);
  ASSERT_EQ(dms_cds::appendArgument(list, "BrowseFlag", new DMSAppString("BrowseMetadata")), 0);
  DMSAppActionInfo record(0, 0, nullptr, nullptr, nullptr, list);
  EXPECT_EQ(record.ReadArgList(), list);
  EXPECT_EQ(dms_cds::argumentCount(&record), 2);
  EXPECT_EQ(argumentAt(list, 0), "ObjectID=0");
  EXPECT_EQ(argumentAt(list, 1), "BrowseFlag=BrowseMetadata");
  // The destructor frees the list and its items (checked by the sanitizers).
}

TEST(DMSAppActionInfo, SetArgListRefusesNullAndKeepsTheList) {
  auto* list = new DMSCDSList();
  dms_cds::appendArgument(list, "A", new DMSAppString("1"));
  DMSAppActionInfo record(0, 0, nullptr, nullptr, nullptr, list);
  EXPECT_EQ(record.SetArgList(nullptr), 1);
  EXPECT_EQ(record.ReadArgList(), list);
}

TEST(DMSAppActionInfo, SetArgListFreesTheOldListAndAdoptsTheNewOne) {
  auto* first = new DMSCDSList();
  dms_cds::appendArgument(first, "A", new DMSAppString("1"));
  DMSAppActionInfo record(0, 0, nullptr, nullptr, nullptr, first);
  auto* second = new DMSCDSList();
  dms_cds::appendArgument(second, "B", new DMSAppString("2"));
  EXPECT_EQ(record.SetArgList(second), 0);
  EXPECT_EQ(record.ReadArgList(), second);
  EXPECT_EQ(argumentAt(second, 0), "B=2");
  EXPECT_EQ(record.SetArgList(second), 0);  // the same list again is kept, not freed
  EXPECT_EQ(argumentAt(record.ReadArgList(), 0), "B=2");
}

TEST(DMSAppActionInfo, SettersReplaceWithCopies) {
  DMSAppActionInfo record(1, 2, nullptr, nullptr, nullptr, nullptr);
  DMSAppString name("GetSystemUpdateID");
  record.SetActionName(&name);
  name.Copy("changed");
  EXPECT_EQ(text(record.ReadActionName()), "GetSystemUpdateID");
  DMSAppString ip("10.0.0.2");
  record.SetIPAddress(&ip);
  DMSAppString service("svc");
  record.SetServiceName(&service);
  EXPECT_EQ(text(record.ReadIPAddress()), "10.0.0.2");
  EXPECT_EQ(text(record.ReadServiceName()), "svc");
  record.SetIPAddress(nullptr);
  EXPECT_EQ(record.ReadIPAddress(), nullptr);
  record.SetConnectionID(5);
  record.SetActionID(6);
  EXPECT_EQ(record.GetConnectionID(), 5);
  EXPECT_EQ(record.GetActionID(), 6);
}

TEST(ArgumentListHelpers, AppendRefusesNullListAndFreesTheValue) {
  EXPECT_EQ(dms_cds::appendArgument(nullptr, "Id", new DMSAppString("0")), 1);
}

namespace {

// Bytes still allocated after a list of two arguments (one of 4 KiB) is
// made, and after it is deleted; relative to before.
std::pair<long, long> argumentListFootprint() {
  const size_t before = allocatedBytes();
  auto* list = new DMSCDSList();
  dms_cds::appendArgument(list, "ObjectID", dms_cds::newString("0"));
  dms_cds::appendArgument(list, "Filter", dms_cds::newString(std::string(4096, '*')));
  const size_t made = allocatedBytes();
  dms_cds::deleteArgumentList(list);
  dms_cds::deleteArgumentList(nullptr);
  const size_t after = allocatedBytes();
  return {static_cast<long>(made - before), static_cast<long>(after - before)};
}

}  // namespace

TEST(ArgumentListHelpers, DeleteFreesEveryArgumentAndToleratesNull) {
  argumentListFootprint();  // first use sets up what stays for the process
  const auto [made, left] = argumentListFootprint();
  EXPECT_GT(made, 4096);
  EXPECT_EQ(left, 0);
}

TEST(ArgumentListHelpers, CopyStringCopiesOrGivesNull) {
  EXPECT_EQ(dms_cds::copyString(nullptr), nullptr);
  DMSAppString original("abc");
  DMSAppString* copy = dms_cds::copyString(&original);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, &original);
  EXPECT_EQ(text(copy), "abc");
  delete copy;
}
