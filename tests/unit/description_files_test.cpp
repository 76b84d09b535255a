// The description file table, the three templates and DMSAppCheckFileState.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "description_files.h"
#include "description_templates.h"
#include "log_capture.h"
#include "server_test_support.h"

using server_test::Element;
using server_test::TempDir;

namespace {

const std::string kDeviceFile = "DeviceDescription.xml";
const std::string kCdsFile = "ContentDirectory_1.xml";
const std::string kCmFile = "ConnectionManager_1.xml";

// Runs xmllint on `text`; its exit status (0: well-formed).
int xmllintStatus(const std::string& text) {
  TempDir dir;
  const std::string path = dir / "doc.xml";
  server_test::writeFile(path, text);
  const std::string command = "xmllint --noout --nonet '" + path + "' 2>/dev/null";
  return std::system(command.c_str());
}

Element parsed(const char* text) {
  Element root;
  EXPECT_TRUE(server_test::parseWithOwnReader(text, &root));
  return root;
}

struct Argument {
  std::string name, direction, relatedStateVariable;
};

std::vector<Argument> argumentsOf(const Element& scpd, const std::string& action) {
  std::vector<Argument> out;
  const Element* list = scpd.child("actionList");
  if (list == nullptr) return out;
  for (const Element& a : list->children) {
    if (a.childText("name") != action) continue;
    const Element* args = a.child("argumentList");
    if (args == nullptr) return out;
    for (const Element& arg : args->children)
      out.push_back({arg.childText("name"), arg.childText("direction"),
                     arg.childText("relatedStateVariable")});
  }
  return out;
}

void expectArguments(const Element& scpd, const std::string& action,
                     const std::vector<Argument>& expected) {
  const std::vector<Argument> actual = argumentsOf(scpd, action);
  ASSERT_EQ(actual.size(), expected.size()) << action;
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(actual[i].name, expected[i].name) << action << " #" << i;
    EXPECT_EQ(actual[i].direction, expected[i].direction) << action << " #" << i;
    EXPECT_EQ(actual[i].relatedStateVariable, expected[i].relatedStateVariable)
        << action << " #" << i;
  }
}

class DescriptionCheck : public ::testing::Test {
 protected:
  void SetUp() override { server_test::resetServerState(); }
  void TearDown() override { server_test::resetServerState(); }

  std::string descDir() const { return dir_ / "aa/bb/desc"; }
  std::string file(const std::string& name) const { return descDir() + "/" + name; }
  void createGoodFiles() { ASSERT_EQ(DMSAppCheckFileState(descDir().c_str()), 1); }

  TempDir dir_;
};

}  // namespace

// ---- The table ---------------------------------------------------------------

TEST(DescriptionTable, NamesSizesAndEndRow) {
  const dms_server::DescriptionFileInfo* table = dms_server::descriptionFileTable();
  EXPECT_STREQ(table[0].fileName, "DeviceDescription.xml");
  EXPECT_STREQ(table[1].fileName, "ContentDirectory_1.xml");
  EXPECT_STREQ(table[2].fileName, "/ConnectionManager_1.xml");
  EXPECT_EQ(table[0].nFileSize, 2349);
  EXPECT_EQ(table[1].nFileSize, 7352);
  EXPECT_EQ(table[2].nFileSize, 5786);
  for (int row = 0; row < 3; ++row) EXPECT_EQ(table[row].reserved, 0);
  EXPECT_EQ(table[3].fileName, nullptr);
  EXPECT_EQ(table[3].templateText, nullptr);
  EXPECT_EQ(table[3].nFileSize, 0);
}

TEST(DescriptionTable, FilenameByTypeKeepsTheLeadingSlashOfConnectionManager) {
  EXPECT_STREQ(DMSGetDeviceDescriptionFilename(DLNADMS_DEVICE_DESCRIPTION),
               "DeviceDescription.xml");
  EXPECT_STREQ(DMSGetDeviceDescriptionFilename(DLNADMS_CONTENT_DIRECTORY_DESCRIPTION),
               "ContentDirectory_1.xml");
  EXPECT_STREQ(DMSGetDeviceDescriptionFilename(DLNADMS_CONNECTION_MANAGER_DESCRIPTION),
               "/ConnectionManager_1.xml");
}

TEST(DescriptionTable, FilenameOfUnknownTypeIsNull) {
  EXPECT_EQ(DMSGetDeviceDescriptionFilename(static_cast<DLNADMS_DESCRIOPTION_TYPE>(3)), nullptr);
  EXPECT_EQ(DMSGetDeviceDescriptionFilename(static_cast<DLNADMS_DESCRIOPTION_TYPE>(-1)), nullptr);
}

// ---- The templates -------------------------------------------------------------

TEST(DescriptionTemplates, ServiceDescriptionsAreExactlyTheirRecordedSizes) {
  EXPECT_EQ(std::strlen(dms_server::kContentDirectoryTemplate), 7352u);
  EXPECT_EQ(std::strlen(dms_server::kConnectionManagerTemplate), 5786u);
  const dms_server::DescriptionFileInfo* table = dms_server::descriptionFileTable();
  for (int row = 1; row <= 2; ++row)
    EXPECT_EQ(static_cast<int64_t>(std::strlen(table[row].templateText)), table[row].nFileSize);
}

TEST(DescriptionTemplates, DeviceDescriptionIsLongerThanItsRecordedSize) {
  EXPECT_EQ(std::strlen(dms_server::kDeviceDescriptionTemplate), 2564u);
  EXPECT_NE(static_cast<int64_t>(std::strlen(dms_server::kDeviceDescriptionTemplate)),
            dms_server::descriptionFileTable()[0].nFileSize);
}

TEST(DescriptionTemplates, AreUtf8WithLfLineEndsOnly) {
  for (const char* text :
       {dms_server::kDeviceDescriptionTemplate, dms_server::kContentDirectoryTemplate,
        dms_server::kConnectionManagerTemplate}) {
    EXPECT_EQ(std::strchr(text, '\r'), nullptr);
    EXPECT_EQ(std::string(text).rfind("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n", 0), 0u);
    for (const char* p = text; *p != '\0'; ++p)
      EXPECT_LT(static_cast<unsigned char>(*p), 0x80u) << "plain ASCII is valid UTF-8";
  }
}

TEST(DescriptionTemplates, DeviceDescriptionIsIndentedWithTabsAndBlanks) {
  const std::string text = dms_server::kDeviceDescriptionTemplate;
  EXPECT_NE(text.find("\n\t\t<friendlyName>"), std::string::npos);
  EXPECT_NE(text.find("\n\t\t    <icon>"), std::string::npos);
}

TEST(DescriptionTemplates, AllAreWellFormedForXmllint) {
  EXPECT_EQ(xmllintStatus(dms_server::kDeviceDescriptionTemplate), 0);
  EXPECT_EQ(xmllintStatus(dms_server::kContentDirectoryTemplate), 0);
  EXPECT_EQ(xmllintStatus(dms_server::kConnectionManagerTemplate), 0);
  // The check itself can fail.
  EXPECT_NE(xmllintStatus("<root><a></root>"), 0);
}

TEST(DescriptionTemplates, AllParseWithTheServersOwnReader) {
  Element root;
  EXPECT_TRUE(server_test::parseWithOwnReader(dms_server::kDeviceDescriptionTemplate, &root));
  EXPECT_EQ(root.name, "root");
  EXPECT_TRUE(server_test::parseWithOwnReader(dms_server::kContentDirectoryTemplate, &root));
  EXPECT_EQ(root.name, "scpd");
  EXPECT_TRUE(server_test::parseWithOwnReader(dms_server::kConnectionManagerTemplate, &root));
  EXPECT_EQ(root.name, "scpd");
}

TEST(DescriptionTemplates, DeviceDescriptionHasTheElementsInOrder) {
  const Element root = parsed(dms_server::kDeviceDescriptionTemplate);
  EXPECT_EQ(root.attributes.at("xmlns"), "urn:schemas-upnp-org:device-1-0");
  EXPECT_EQ(root.attributes.at("xmlns:dlna"), "urn:schemas-dlna-org:device-1-0");
  ASSERT_EQ(root.childNames(), (std::vector<std::string>{"specVersion", "device"}));
  EXPECT_EQ(root.children[0].childText("major"), "1");
  EXPECT_EQ(root.children[0].childText("minor"), "0");

  const Element& device = root.children[1];
  EXPECT_EQ(
      device.childNames(),
      (std::vector<std::string>{"dlna:X_DLNADOC", "dlna:X_DLNADOC", "deviceType", "friendlyName",
                                "manufacturer", "manufacturerURL", "modelDescription", "modelName",
                                "modelNumber", "modelURL", "UDN", "iconList", "serviceList"}));
  ASSERT_EQ(device.children.size(), 13u);
  EXPECT_EQ(device.children[0].text, "DMS-1.50");
  EXPECT_EQ(device.children[1].text, "M-DMS-1.50");
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(device.children[i].attributes.at("xmlns:dlna"), "urn:schemas-dlna-org:device-1-0");
  EXPECT_EQ(device.childText("deviceType"), "urn:schemas-upnp-org:device:MediaServer:1");
  EXPECT_EQ(device.childText("friendlyName"), "[Camera]KV900");
  EXPECT_EQ(device.childText("manufacturer"), "Tellurex");
  EXPECT_EQ(device.childText("manufacturerURL"), dms_server::kDefaultManufacturerUrl);
  EXPECT_EQ(device.childText("modelDescription"),
            "Provides content through UPnP ContentDirectory service");
  EXPECT_EQ(device.childText("modelName"), "QV Media Server");
  EXPECT_EQ(device.childText("modelNumber"), "0.765");
  EXPECT_EQ(device.childText("modelURL"), dms_server::kDefaultManufacturerUrl);
  EXPECT_EQ(device.childText("UDN"), "");
  EXPECT_TRUE(device.child("UDN")->children.empty());
}

TEST(DescriptionTemplates, DeviceDescriptionListsFourIcons) {
  const Element root = parsed(dms_server::kDeviceDescriptionTemplate);
  const Element* icons = root.children.at(1).child("iconList");
  ASSERT_NE(icons, nullptr);
  ASSERT_EQ(icons->children.size(), 4u);
  const char* expected[4][4] = {{"image/jpeg", "48", "/icon_48x48.jpg"},
                                {"image/jpeg", "120", "/icon_120x120.jpg"},
                                {"image/png", "48", "/icon_48x48.png"},
                                {"image/png", "120", "/icon_120x120.png"}};
  for (int i = 0; i < 4; ++i) {
    const Element& icon = icons->children[i];
    EXPECT_EQ(icon.childNames(),
              (std::vector<std::string>{"mimetype", "width", "height", "depth", "url"}));
    EXPECT_EQ(icon.childText("mimetype"), expected[i][0]);
    EXPECT_EQ(icon.childText("width"), expected[i][1]);
    EXPECT_EQ(icon.childText("height"), expected[i][1]);
    EXPECT_EQ(icon.childText("depth"), "24");
    EXPECT_EQ(icon.childText("url"), expected[i][2]);
  }
}

TEST(DescriptionTemplates, DeviceDescriptionListsConnectionManagerThenContentDirectory) {
  const Element root = parsed(dms_server::kDeviceDescriptionTemplate);
  const Element* services = root.children.at(1).child("serviceList");
  ASSERT_NE(services, nullptr);
  ASSERT_EQ(services->children.size(), 2u);
  const char* names[2] = {"ConnectionManager", "ContentDirectory"};
  for (int i = 0; i < 2; ++i) {
    const Element& service = services->children[i];
    const std::string n = names[i];
    EXPECT_EQ(service.childNames(), (std::vector<std::string>{"serviceType", "serviceId", "SCPDURL",
                                                              "controlURL", "eventSubURL"}));
    EXPECT_EQ(service.childText("serviceType"), "urn:schemas-upnp-org:service:" + n + ":1");
    EXPECT_EQ(service.childText("serviceId"), "urn:upnp-org:serviceId:" + n);
    EXPECT_EQ(service.childText("SCPDURL"), "/" + n + "_1.xml");
    EXPECT_EQ(service.childText("controlURL"), "/_urn:schemas-upnp-org:service:" + n + "_control");
    EXPECT_EQ(service.childText("eventSubURL"), "/_urn:schemas-upnp-org:service:" + n + "_event");
  }
}

TEST(DescriptionTemplates, ContentDirectoryDeclaresTheElevenActionsWithStandardArguments) {
  const Element scpd = parsed(dms_server::kContentDirectoryTemplate);
  EXPECT_EQ(scpd.attributes.at("xmlns"), "urn:schemas-upnp-org:service-1-0");
  const Element* actions = scpd.child("actionList");
  ASSERT_NE(actions, nullptr);
  std::vector<std::string> names;
  for (const Element& a : actions->children) names.push_back(a.childText("name"));
  EXPECT_EQ(names,
            (std::vector<std::string>{"Browse", "GetSearchCapabilities", "GetSortCapabilities",
                                      "GetSystemUpdateID", "ImportResource", "ExportResource",
                                      "StopTransferResource", "GetTransferProgress",
                                      "DestroyObject", "CreateObject", "X_GetFeatureList"}));
  expectArguments(scpd, "Browse",
                  {{"ObjectID", "in", "A_ARG_TYPE_ObjectID"},
                   {"BrowseFlag", "in", "A_ARG_TYPE_BrowseFlag"},
                   {"Filter", "in", "A_ARG_TYPE_Filter"},
                   {"StartingIndex", "in", "A_ARG_TYPE_Index"},
                   {"RequestedCount", "in", "A_ARG_TYPE_Count"},
                   {"SortCriteria", "in", "A_ARG_TYPE_SortCriteria"},
                   {"Result", "out", "A_ARG_TYPE_Result"},
                   {"NumberReturned", "out", "A_ARG_TYPE_Count"},
                   {"TotalMatches", "out", "A_ARG_TYPE_Count"},
                   {"UpdateID", "out", "A_ARG_TYPE_UpdateID"}});
  expectArguments(scpd, "GetSearchCapabilities", {{"SearchCaps", "out", "SearchCapabilities"}});
  expectArguments(scpd, "GetSortCapabilities", {{"SortCaps", "out", "SortCapabilities"}});
  expectArguments(scpd, "GetSystemUpdateID", {{"Id", "out", "SystemUpdateID"}});
  for (const char* action : {"ImportResource", "ExportResource"})
    expectArguments(scpd, action,
                    {{"SourceURI", "in", "A_ARG_TYPE_URI"},
                     {"DestinationURI", "in", "A_ARG_TYPE_URI"},
                     {"TransferID", "out", "A_ARG_TYPE_TransferID"}});
  expectArguments(scpd, "StopTransferResource", {{"TransferID", "in", "A_ARG_TYPE_TransferID"}});
  expectArguments(scpd, "GetTransferProgress",
                  {{"TransferID", "in", "A_ARG_TYPE_TransferID"},
                   {"TransferStatus", "out", "A_ARG_TYPE_TransferStatus"},
                   {"TransferLength", "out", "A_ARG_TYPE_TransferLength"},
                   {"TransferTotal", "out", "A_ARG_TYPE_TransferTotal"}});
  expectArguments(scpd, "DestroyObject", {{"ObjectID", "in", "A_ARG_TYPE_ObjectID"}});
  expectArguments(scpd, "CreateObject",
                  {{"ContainerID", "in", "A_ARG_TYPE_ObjectID"},
                   {"Elements", "in", "A_ARG_TYPE_Result"},
                   {"ObjectID", "out", "A_ARG_TYPE_ObjectID"},
                   {"Result", "out", "A_ARG_TYPE_Result"}});
  expectArguments(scpd, "X_GetFeatureList", {{"FeatureList", "out", "A_ARG_TYPE_Featurelist"}});
}

TEST(DescriptionTemplates, ContentDirectoryStateTableIsExact) {
  struct Row {
    const char* name;
    const char* events;
    const char* type;
    const char* defaultValue;  // null: no defaultValue element
  };
  const Row expected[] = {
      {"A_ARG_TYPE_SortCriteria", "no", "string", ""},
      {"TransferIDs", "yes", "string", ""},
      {"A_ARG_TYPE_UpdateID", "no", "ui4", "0"},
      {"A_ARG_TYPE_Filter", "no", "string", "*"},
      {"ContainerUpdateIDs", "yes", "string", ""},
      {"A_ARG_TYPE_Result", "no", "string", "Result"},
      {"A_ARG_TYPE_Index", "no", "ui4", "0"},
      {"A_ARG_TYPE_ObjectID", "no", "string", "0"},
      {"SortCapabilities", "no", "string", nullptr},
      {"SearchCapabilities", "no", "string", ""},
      {"A_ARG_TYPE_Count", "no", "ui4", "0"},
      {"A_ARG_TYPE_BrowseFlag", "no", "string", "BrowseMetadata"},
      {"A_ARG_TYPE_URI", "no", "uri", ""},
      {"A_ARG_TYPE_TransferID", "no", "ui4", ""},
      {"SystemUpdateID", "yes", "ui4", "0"},
      {"A_ARG_TYPE_Featurelist", "no", "string", ""},
  };
  const Element scpd = parsed(dms_server::kContentDirectoryTemplate);
  const Element* table = scpd.child("serviceStateTable");
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table->children.size(), sizeof expected / sizeof expected[0]);
  for (size_t i = 0; i < table->children.size(); ++i) {
    const Element& sv = table->children[i];
    const Row& row = expected[i];
    EXPECT_EQ(sv.name, "stateVariable");
    EXPECT_EQ(sv.childText("name"), row.name);
    EXPECT_EQ(sv.attributes.at("sendEvents"), row.events) << row.name;
    EXPECT_EQ(sv.childText("dataType"), row.type) << row.name;
    if (row.defaultValue == nullptr)
      EXPECT_EQ(sv.child("defaultValue"), nullptr) << row.name;
    else
      EXPECT_EQ(sv.childText("defaultValue"), row.defaultValue) << row.name;
    const Element* allowed = sv.child("allowedValueList");
    if (std::string(row.name) == "A_ARG_TYPE_BrowseFlag") {
      ASSERT_NE(allowed, nullptr);
      ASSERT_EQ(allowed->children.size(), 2u);
      EXPECT_EQ(allowed->children[0].text, "BrowseMetadata");
      EXPECT_EQ(allowed->children[1].text, "BrowseDirectChildren");
    } else {
      EXPECT_EQ(allowed, nullptr) << row.name;
    }
  }
}

TEST(DescriptionTemplates, ConnectionManagerIsTheStandardServiceTheStackAnswers) {
  const Element scpd = parsed(dms_server::kConnectionManagerTemplate);
  const Element* actions = scpd.child("actionList");
  ASSERT_NE(actions, nullptr);
  std::vector<std::string> names;
  for (const Element& a : actions->children) names.push_back(a.childText("name"));
  EXPECT_EQ(names, (std::vector<std::string>{"GetProtocolInfo", "GetCurrentConnectionIDs",
                                             "GetCurrentConnectionInfo"}));
  expectArguments(scpd, "GetProtocolInfo",
                  {{"Source", "out", "SourceProtocolInfo"}, {"Sink", "out", "SinkProtocolInfo"}});
  expectArguments(scpd, "GetCurrentConnectionIDs",
                  {{"ConnectionIDs", "out", "CurrentConnectionIDs"}});
  expectArguments(scpd, "GetCurrentConnectionInfo",
                  {{"ConnectionID", "in", "A_ARG_TYPE_ConnectionID"},
                   {"RcsID", "out", "A_ARG_TYPE_RcsID"},
                   {"AVTransportID", "out", "A_ARG_TYPE_AVTransportID"},
                   {"ProtocolInfo", "out", "A_ARG_TYPE_ProtocolInfo"},
                   {"PeerConnectionManager", "out", "A_ARG_TYPE_ConnectionManager"},
                   {"PeerConnectionID", "out", "A_ARG_TYPE_ConnectionID"},
                   {"Direction", "out", "A_ARG_TYPE_Direction"},
                   {"Status", "out", "A_ARG_TYPE_ConnectionStatus"}});
  const Element* table = scpd.child("serviceStateTable");
  ASSERT_NE(table, nullptr);
  std::vector<std::string> variables;
  for (const Element& sv : table->children)
    variables.push_back(sv.childText("name") + "/" + sv.attributes.at("sendEvents") + "/" +
                        sv.childText("dataType"));
  EXPECT_EQ(variables,
            (std::vector<std::string>{
                "SourceProtocolInfo/yes/string", "SinkProtocolInfo/yes/string",
                "CurrentConnectionIDs/yes/string", "A_ARG_TYPE_ConnectionStatus/no/string",
                "A_ARG_TYPE_ConnectionManager/no/string", "A_ARG_TYPE_Direction/no/string",
                "A_ARG_TYPE_ProtocolInfo/no/string", "A_ARG_TYPE_ConnectionID/no/i4",
                "A_ARG_TYPE_AVTransportID/no/i4", "A_ARG_TYPE_RcsID/no/i4"}));
  std::vector<std::string> statuses;
  for (const Element& v : table->children[3].child("allowedValueList")->children)
    statuses.push_back(v.text);
  EXPECT_EQ(statuses,
            (std::vector<std::string>{"OK", "ContentFormatMismatch", "InsufficientBandwidth",
                                      "UnreliableChannel", "Unknown"}));
  std::vector<std::string> directions;
  for (const Element& v : table->children[5].child("allowedValueList")->children)
    directions.push_back(v.text);
  EXPECT_EQ(directions, (std::vector<std::string>{"Input", "Output"}));
}

TEST(DescriptionTemplates, ConfiguredMakerAddressReplacesTheDefaultWhenWritten) {
  NUVClearConfiguration();
  EXPECT_EQ(dms_server::renderDescription(0), dms_server::kDeviceDescriptionTemplate);
  NUVSetConfiguration("MANUFACTURER-URL", "http://maker.example/?a=1&b=2");
  const std::string text = dms_server::renderDescription(0);
  Element root;
  ASSERT_TRUE(server_test::parseWithOwnReader(text, &root));
  EXPECT_EQ(root.children.at(1).childText("manufacturerURL"), "http://maker.example/?a=1&b=2");
  EXPECT_EQ(root.children.at(1).childText("modelURL"), "http://maker.example/?a=1&b=2");
  EXPECT_NE(text.find("?a=1&amp;b=2"), std::string::npos);
  EXPECT_EQ(xmllintStatus(text), 0);
  // The service descriptions never change.
  EXPECT_EQ(dms_server::renderDescription(1), dms_server::kContentDirectoryTemplate);
  NUVClearConfiguration();
}

// ---- DMSAppCheckFileState ------------------------------------------------------

TEST_F(DescriptionCheck, NullDirectoryIsRefusedWithItsLogLine) {
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(nullptr), 0);
  EXPECT_TRUE(log.has("[DMSAppCheckFileState] Input - pDirPath is NULL\n", 0));
}

TEST_F(DescriptionCheck, EmptyDirectoryGetsThePathAndAllThreeFiles) {
  LogCapture log;
  ASSERT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_EQ(server_test::readFile(file(kDeviceFile)), dms_server::kDeviceDescriptionTemplate);
  EXPECT_EQ(server_test::readFile(file(kCdsFile)), dms_server::kContentDirectoryTemplate);
  EXPECT_EQ(server_test::readFile(file(kCmFile)), dms_server::kConnectionManagerTemplate);
  EXPECT_TRUE(log.has("[DMSAppCheckFileState]  XML Files are not good.so creating it\n", 0));
  EXPECT_FALSE(log.has("[DMSAppCheckFileState] XML Files are good.\n"));
  EXPECT_TRUE(log.has("[_SaveFileData]  File Size 2349 String File Data 2564 \n", 0));
  EXPECT_TRUE(log.has("[_SaveFileData]  File Size 7352 String File Data 7352 \n", 0));
  EXPECT_TRUE(log.has("[_SaveFileData]  File Size 5786 String File Data 5786 \n", 0));
  EXPECT_TRUE(log.has("[_SaveFileData]  file (" + descDir() +
                          "//ConnectionManager_1.xml) data :\n" +
                          dms_server::kConnectionManagerTemplate + " \n",
                      0));
  EXPECT_EQ(log.count("[_SaveFileData] Cannot Remove File \n"), 3u);
}

TEST_F(DescriptionCheck, SecondCheckFindsTheFilesGoodAndWritesNothing) {
  createGoodFiles();
  struct stat before {};
  ASSERT_EQ(stat(file(kCdsFile).c_str(), &before), 0);
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_TRUE(log.has("[DMSAppCheckFileState] XML Files are good.\n", 0));
  EXPECT_EQ(log.count("[_SaveFileData] Removed File \n"), 0u);
  struct stat after {};
  ASSERT_EQ(stat(file(kCdsFile).c_str(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(DescriptionCheck, ServiceDescriptionEditedByOneByteIsRewritten) {
  createGoodFiles();
  std::string text = server_test::readFile(file(kCdsFile));
  text[text.find("Browse")] = 'X';  // same size, different text
  server_test::writeFile(file(kCdsFile), text);
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_TRUE(log.has(" CompareI Failed pFileBuffer\n", 0));
  EXPECT_TRUE(log.has("_BinaryCheckFileData Failed returning False\n", 0));
  EXPECT_EQ(log.count("[_SaveFileData] Removed File \n"), 3u);
  EXPECT_EQ(server_test::readFile(file(kCdsFile)), dms_server::kContentDirectoryTemplate);
}

TEST_F(DescriptionCheck, ServiceDescriptionOfWrongSizeIsRewritten) {
  createGoodFiles();
  server_test::writeFile(file(kCmFile), std::string(dms_server::kConnectionManagerTemplate) + "\n");
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_TRUE(
      log.has("DMSAppGetFileSize Failed nFileSize (5787)!= pFileInfo->nFileSize (5786)\n", 0));
  EXPECT_EQ(server_test::readFile(file(kCmFile)), dms_server::kConnectionManagerTemplate);
}

TEST_F(DescriptionCheck, MissingServiceDescriptionLogsSizeMinusOne) {
  createGoodFiles();
  ASSERT_EQ(unlink(file(kCdsFile).c_str()), 0);
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_TRUE(
      log.has("DMSAppGetFileSize Failed nFileSize (-1)!= pFileInfo->nFileSize (7352)\n", 0));
  EXPECT_TRUE(server_test::fileExists(file(kCdsFile)));
}

TEST_F(DescriptionCheck, ServiceDescriptionDifferingOnlyInCaseIsKept) {
  createGoodFiles();
  std::string text = server_test::readFile(file(kCdsFile));
  for (char& c : text) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  server_test::writeFile(file(kCdsFile), text);
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_TRUE(log.has("[DMSAppCheckFileState] XML Files are good.\n"));
  EXPECT_EQ(server_test::readFile(file(kCdsFile)), text);
}

TEST_F(DescriptionCheck, ServiceDescriptionWithANulByteIsRewritten) {
  createGoodFiles();
  std::string text = server_test::readFile(file(kCdsFile));
  text[100] = '\0';
  server_test::writeFile(file(kCdsFile), text);
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_TRUE(log.has(" CompareI Failed pFileBuffer\n"));
  EXPECT_EQ(server_test::readFile(file(kCdsFile)), dms_server::kContentDirectoryTemplate);
}

TEST_F(DescriptionCheck, DeviceDescriptionEditedByOneByteSoItNoLongerParsesIsRewritten) {
  createGoodFiles();
  std::string text = server_test::readFile(file(kDeviceFile));
  text[text.find("</device>") + 2] = 'x';  // </dxvice>: mismatched end tag
  server_test::writeFile(file(kDeviceFile), text);
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_TRUE(log.has("[_DMSChkDevDescFile] XML Parsing Failed \n", 0));
  EXPECT_EQ(server_test::readFile(file(kDeviceFile)), dms_server::kDeviceDescriptionTemplate);
}

TEST_F(DescriptionCheck, DeviceDescriptionWithOnlyAChangedFriendlyNameIsKept) {
  createGoodFiles();
  std::string text = server_test::readFile(file(kDeviceFile));
  const std::string from = "[Camera]KV900";
  text.replace(text.find(from), from.size(), "[Camera]A much longer model name");
  server_test::writeFile(file(kDeviceFile), text);
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_TRUE(log.has("[DMSAppCheckFileState] XML Files are good.\n"));
  EXPECT_EQ(server_test::readFile(file(kDeviceFile)), text);
}

TEST_F(DescriptionCheck, MissingDeviceDescriptionIsRewritten) {
  createGoodFiles();
  ASSERT_EQ(unlink(file(kDeviceFile).c_str()), 0);
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_TRUE(log.has("[_DMSChkDevDescFile] _GetFileBuffer Failed \n", 0));
  EXPECT_EQ(server_test::readFile(file(kDeviceFile)), dms_server::kDeviceDescriptionTemplate);
}

TEST_F(DescriptionCheck, RewriteWritesTheConfiguredMakerAddress) {
  NUVSetConfiguration("MANUFACTURER-URL", "http://maker.example/");
  createGoodFiles();
  const std::string text = server_test::readFile(file(kDeviceFile));
  EXPECT_NE(text.find("<manufacturerURL>http://maker.example/</manufacturerURL>"),
            std::string::npos);
  EXPECT_NE(text.find("<modelURL>http://maker.example/</modelURL>"), std::string::npos);
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 1);
  EXPECT_TRUE(log.has("[DMSAppCheckFileState] XML Files are good.\n"));
}

TEST_F(DescriptionCheck, TrailingSlashAndDoubledSlashesAreAccepted) {
  const std::string dir = dir_.path() + "//x1//y2/";
  EXPECT_EQ(DMSAppCheckFileState(dir.c_str()), 1);
  EXPECT_EQ(server_test::readFile(dir_ / "x1/y2/ContentDirectory_1.xml"),
            dms_server::kContentDirectoryTemplate);
}

TEST_F(DescriptionCheck, OneCharacterSegmentIsNotCreatedOnItsOwn) {
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState((dir_ / "q/desc").c_str()), 0);
  EXPECT_FALSE(server_test::fileExists(dir_ / "q"));
  EXPECT_TRUE(log.has("[_SaveFileData]  DMSAPP_INVALID_FILE_HANDLE While Opening.\n", 0));
  EXPECT_TRUE(log.has("[_DMSCreateFiles]  _SaveFileData Failed.\n", 0));
}

TEST_F(DescriptionCheck, DirectoryUnderARegularFileFailsCleanly) {
  server_test::writeFile(dir_ / "plain", "not a directory");
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState((dir_ / "plain/desc").c_str()), 0);
  EXPECT_TRUE(log.has("[DMSAppCheckFileState]  XML Files are not good.so creating it\n", 0));
  EXPECT_TRUE(log.has("[_SaveFileData]  DMSAPP_INVALID_FILE_HANDLE While Opening.\n", 0));
  EXPECT_TRUE(log.has("[_DMSCreateFiles]  _SaveFileData Failed.\n", 0));
  EXPECT_EQ(server_test::readFile(dir_ / "plain"), "not a directory");
}

TEST_F(DescriptionCheck, OverlongDirectoryPathFailsCleanly) {
  const std::string dir = dir_.path() + "/" + std::string(5000, 'd');
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(dir.c_str()), 0);
  EXPECT_TRUE(log.has("[_DMSCreateFiles]  _SaveFileData Failed.\n", 0));
}

TEST_F(DescriptionCheck, DescriptionFileThatIsADirectoryFailsCleanly) {
  ASSERT_EQ(system(("mkdir -p '" + file(kCdsFile) + "/inner'").c_str()), 0);
  LogCapture log;
  EXPECT_EQ(DMSAppCheckFileState(descDir().c_str()), 0);
  EXPECT_TRUE(log.has("[_SaveFileData] Cannot Remove File \n", 0));
  EXPECT_TRUE(log.has("[_DMSCreateFiles]  _SaveFileData Failed.\n", 0));
}
