// The stack's state variables: defaults, eventing kinds, unknown names.
#include <gtest/gtest.h>

#include "protocol_info.h"
#include "state_table.h"

using dmsstack::NameValueList;
using dmsstack::StateTable;

namespace {

const char* const kCds = "urn:schemas-upnp-org:service:ContentDirectory";
const char* const kCm = "urn:schemas-upnp-org:service:ConnectionManager";

}  // namespace

TEST(StateTable, FreshDeviceValues) {
  StateTable table;
  EXPECT_EQ(
      table.eventedValues(kCds),
      (NameValueList{{"SystemUpdateID", "0"}, {"ContainerUpdateIDs", ""}, {"TransferIDs", ""}}));
  EXPECT_EQ(table.eventedValues(kCm),
            (NameValueList{{"SourceProtocolInfo", dmsstack::kSourceProtocolInfo},
                           {"SinkProtocolInfo", ""},
                           {"CurrentConnectionIDs", "0"}}));
  std::string value = "x";
  ASSERT_TRUE(table.get(kCds, "SortCapabilities", &value));
  EXPECT_EQ(value, "");
}

TEST(StateTable, VersionedServiceTypeIsTheSameService) {
  StateTable table;
  ASSERT_TRUE(table.set("urn:schemas-upnp-org:service:ContentDirectory:1", "SystemUpdateID", "5",
                        nullptr, nullptr));
  std::string value;
  ASSERT_TRUE(table.get(kCds, "SystemUpdateID", &value));
  EXPECT_EQ(value, "5");
}

TEST(StateTable, SetTellsHowTheChangeIsEvented) {
  StateTable table;
  bool evented = false;
  bool moderated = false;
  ASSERT_TRUE(table.set(kCds, "SystemUpdateID", "1", &evented, &moderated));
  EXPECT_TRUE(evented && moderated);
  ASSERT_TRUE(table.set(kCds, "ContainerUpdateIDs", "0,1", &evented, &moderated));
  EXPECT_TRUE(evented && moderated);
  ASSERT_TRUE(table.set(kCds, "TransferIDs", "3", &evented, &moderated));
  EXPECT_TRUE(evented && !moderated);
  ASSERT_TRUE(table.set(kCds, "SearchCapabilities", "dc:title", &evented, &moderated));
  EXPECT_FALSE(evented || moderated);
  ASSERT_TRUE(table.set(kCm, "SourceProtocolInfo", "x", &evented, &moderated));
  EXPECT_TRUE(evented && !moderated);
}

TEST(StateTable, UnknownVariableIsStoredButNotEvented) {
  StateTable table;
  bool evented = true;
  ASSERT_TRUE(table.set(kCds, "X_FeatureList", "<Features/>", &evented, nullptr));
  EXPECT_FALSE(evented);
  std::string value;
  ASSERT_TRUE(table.get(kCds, "X_FeatureList", &value));
  EXPECT_EQ(value, "<Features/>");
  EXPECT_EQ(table.eventedValues(kCds).size(), 3u);
  EXPECT_FALSE(table.get(kCds, "Nothing", &value));
}

TEST(StateTable, UnknownServiceEmptyNameAndHugeValueAreRefused) {
  StateTable table;
  EXPECT_FALSE(table.set("urn:schemas-upnp-org:service:AVTransport", "A", "1", nullptr, nullptr));
  EXPECT_FALSE(table.set(kCds, "", "1", nullptr, nullptr));
  EXPECT_FALSE(table.set(kCds, "TransferIDs", std::string(70000, '1'), nullptr, nullptr));
  std::string value;
  EXPECT_FALSE(table.get("urn:schemas-upnp-org:service:AVTransport", "A", &value));
  EXPECT_TRUE(table.eventedValues("urn:x").empty());
  EXPECT_TRUE(StateTable::knownService("urn:schemas-upnp-org:service:ConnectionManager:1"));
  EXPECT_FALSE(StateTable::knownService("urn:schemas-upnp-org:service:AVTransport:1"));
}

TEST(StateTable, ResetRestoresDefaults) {
  StateTable table;
  table.set(kCds, "SystemUpdateID", "9", nullptr, nullptr);
  table.set(kCds, "Extra", "1", nullptr, nullptr);
  table.reset();
  std::string value;
  ASSERT_TRUE(table.get(kCds, "SystemUpdateID", &value));
  EXPECT_EQ(value, "0");
  EXPECT_FALSE(table.get(kCds, "Extra", &value));
}
