#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "action_arguments.h"
#include "cds_test_support.h"
#include "log_capture.h"

namespace {

using cds_test::Args;
using cds_test::faultBody;

const std::string kInvalidArguments = faultBody(402, "Invalid Arguments");
const std::string kActionFailed = faultBody(501, "Action Failed");
const std::string kNone = "(none)";

std::string text(const std::unique_ptr<DMSAppString>& s) {
  return s == nullptr ? "(null)" : s->ReadString();
}

class ActionArgumentsTest : public cds_test::CdsTest {};

}  // namespace

// ---- CreateObject ----

TEST_F(ActionArgumentsTest, CreateObjectNeedsAtLeastTwoArguments) {
  LogCapture log;
  EXPECT_EQ(runOnce("CreateObject", {{"ContainerID", "0"}}), kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__CreateObject] Invalid arguments!!!, UPnPError = 402", 2));
  // Two arguments go ahead; a DIDL-Lite without an object is bad metadata.
  EXPECT_EQ(runOnce("CreateObject", {{"ContainerID", "0"}, {"Elements", "&lt;DIDL-Lite/&gt;"}}),
            faultBody(712, "Bad metadata"));
}

TEST_F(ActionArgumentsTest, CreateObjectTakesTheContainerAfterTheFirstDollar) {
  struct Case {
    const char* given;
    const char* kept;
  };
  const Case cases[] = {
      {"1$12", "12"}, {"0", "0"}, {"DLNA.ORG_AnyContainer", "DLNA.ORG_AnyContainer"},
      {"", ""},       {"5$", ""}, {"a$b$c", "b$c"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.given);
    std::unique_ptr<DMSAppActionInfo> record(
        cds_test::makeRecord("CreateObject", {{"ContainerID", c.given}, {"Elements", "x"}}));
    dms_cds::CreateObjectRequest request;
    ASSERT_EQ(dms_cds::decodeCreateObjectArguments(record.get(), &request), 0);
    EXPECT_EQ(text(request.containerID), c.kept);
  }
}

TEST_F(ActionArgumentsTest, CreateObjectUnescapesElementsAndRefusesThemEmpty) {
  std::unique_ptr<DMSAppActionInfo> record(cds_test::makeRecord(
      "CreateObject", {{"containerid", "0"},
                       {"ELEMENTS", "&lt;item restricted=&quot;0&quot;&gt;&amp;&lt;/item&gt;"}}));
  dms_cds::CreateObjectRequest request;
  ASSERT_EQ(dms_cds::decodeCreateObjectArguments(record.get(), &request), 0);
  EXPECT_EQ(text(request.elements), "<item restricted=\"0\">&</item>");
  LogCapture log;
  EXPECT_EQ(runOnce("CreateObject", {{"ContainerID", "0"}, {"Elements", ""}}), kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__CreateObject] Invalid Argument in CreateObject", 2));
}

TEST_F(ActionArgumentsTest, CreateObjectRefusesUnknownNames) {
  LogCapture log;
  EXPECT_EQ(runOnce("CreateObject", {{"ContainerID", "0"}, {"Element", "x"}}), kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__CreateObject] Invalid Argument!!!", 2));
}

TEST_F(ActionArgumentsTest, CreateObjectWithAnArgumentMissingIsNotAnswered) {
  EXPECT_EQ(runOnce("CreateObject", {{"ContainerID", "0"}, {"ContainerID", "1"}}), kNone);
  EXPECT_EQ(runOnce("CreateObject", {{"Elements", "x"}, {"Elements", "y"}}), kNone);
}

TEST_F(ActionArgumentsTest, CreateObjectLaterDuplicateWins) {
  std::unique_ptr<DMSAppActionInfo> record(cds_test::makeRecord(
      "CreateObject", {{"ContainerID", "1"}, {"Elements", "a"}, {"ContainerID", "2$3"}}));
  dms_cds::CreateObjectRequest request;
  ASSERT_EQ(dms_cds::decodeCreateObjectArguments(record.get(), &request), 0);
  EXPECT_EQ(text(request.containerID), "3");
}

// ---- ImportResource ----

TEST_F(ActionArgumentsTest, ImportResourceNeedsExactlyTwoAndLogsUnderCreateObject) {
  for (const Args& args : {Args{{"SourceURI", "http://a/1"}}, Args{{"SourceURI", "http://a/1"},
                                                                   {"DestinationURI", "http://b/2"},
                                                                   {"SourceURI", "http://a/3"}}}) {
    LogCapture log;
    EXPECT_EQ(runOnce("ImportResource", args), kInvalidArguments);
    EXPECT_TRUE(log.has("[UPnPAppCDS::__CreateObject] Invalid arguments!!!, UPnPError = 402", 2));
  }
}

TEST_F(ActionArgumentsTest, ImportResourceRefusesEmptyUrisWithItsOwnTexts) {
  LogCapture log;
  EXPECT_EQ(runOnce("ImportResource", {{"SourceURI", ""}, {"DestinationURI", "http://b/2"}}),
            kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__CreateObject] Invalid Argument in Import resource", 2));
  EXPECT_EQ(runOnce("ImportResource", {{"SourceURI", "http://a/1"}, {"DestinationURI", ""}}),
            kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__CreateObject] Invalid Argument in import resource", 2));
  EXPECT_EQ(runOnce("ImportResource", {{"SourceURI", "http://a/1"}, {"Destination", "x"}}),
            kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__CreateObject] Invalid Argument!!!", 2));
}

TEST_F(ActionArgumentsTest, ImportResourceUnescapesBothUris) {
  std::unique_ptr<DMSAppActionInfo> record(cds_test::makeRecord(
      "ImportResource",
      {{"sourceuri", "http://a/x?p=1&amp;q=2"}, {"DestinationURI", "http://b/&lt;2&gt;"}}));
  dms_cds::ResourceRequest request;
  ASSERT_EQ(dms_cds::decodeImportResourceArguments(record.get(), &request), 0);
  EXPECT_EQ(text(request.sourceURI), "http://a/x?p=1&q=2");
  EXPECT_EQ(text(request.destinationURI), "http://b/<2>");
  // Decoded and checked; without a content engine no created object waits.
  EXPECT_EQ(
      runOnce("ImportResource", {{"SourceURI", "http://a/1"}, {"DestinationURI", "http://b/2"}}),
      faultBody(718, "No such destination resource"));
}

TEST_F(ActionArgumentsTest, ImportResourceWithAUriMissingIsNotAnswered) {
  EXPECT_EQ(runOnce("ImportResource", {{"SourceURI", "http://a/1"}, {"SourceURI", "http://a/2"}}),
            kNone);
}

// ---- ExportResource ----

TEST_F(ActionArgumentsTest, ExportResourceRulesAndTexts) {
  LogCapture log;
  EXPECT_EQ(runOnce("ExportResource", {{"SourceURI", "http://a/1"}}), kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__ExportResource] Invalid arguments!!!, UPnPError = 402", 2));
  EXPECT_EQ(runOnce("ExportResource", {{"SourceURI", ""}, {"DestinationURI", "http://b/2"}}),
            kInvalidArguments);
  EXPECT_EQ(runOnce("ExportResource", {{"SourceURI", "http://a/1"}, {"DestinationURI", ""}}),
            kInvalidArguments);
  EXPECT_EQ(log.count("[UPnPAppCDS::__ExportResource] Invalid Argument in Export resource"), 2u);
  EXPECT_EQ(runOnce("ExportResource", {{"Source", "http://a/1"}, {"DestinationURI", "x"}}),
            kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__ExportResource] Invalid Argument!!!", 2));
  EXPECT_EQ(runOnce("ExportResource", {{"DestinationURI", "x"}, {"DestinationURI", "y"}}), kNone);
  EXPECT_EQ(
      runOnce("ExportResource", {{"SourceURI", "http://a/1"}, {"DestinationURI", "http://b/2"}}),
      faultBody(714, "No such source resource"));
}

TEST_F(ActionArgumentsTest, ExportResourceUnescapesBothUris) {
  std::unique_ptr<DMSAppActionInfo> record(cds_test::makeRecord(
      "ExportResource", {{"DestinationURI", "http://b/u?a=1&amp;b=2"}, {"SourceURI", "/x&apos;"}}));
  dms_cds::ResourceRequest request;
  ASSERT_EQ(dms_cds::decodeExportResourceArguments(record.get(), &request), 0);
  EXPECT_EQ(text(request.sourceURI), "/x'");
  EXPECT_EQ(text(request.destinationURI), "http://b/u?a=1&b=2");
}

// ---- DestroyObject ----

TEST_F(ActionArgumentsTest, DestroyObjectRulesAndTexts) {
  LogCapture log;
  EXPECT_EQ(runOnce("DestroyObject", {}), kInvalidArguments);
  EXPECT_EQ(runOnce("DestroyObject", {{"ObjectID", "1$2"}, {"ObjectID", "1$3"}}),
            kInvalidArguments);
  EXPECT_EQ(log.count("[UPnPAppCDS::__DestroyObject] Invalid arguments!!!, UPnPError = 402"), 2u);
  EXPECT_EQ(runOnce("DestroyObject", {{"ObjectID", ""}}), kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__DestroyObject] Invalid Argument in Destroy object", 2));
  EXPECT_EQ(runOnce("DestroyObject", {{"Object", "1$2"}}), kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__DestroyObject] Invalid Argument!!!", 2));
  // The name matches ignoring case; without a content engine no object exists.
  EXPECT_EQ(runOnce("DestroyObject", {{"objectID", "1$2"}}), faultBody(701, "No such object"));
}

TEST_F(ActionArgumentsTest, DestroyObjectPassesTheObjectIdWhole) {
  std::unique_ptr<DMSAppActionInfo> record(
      cds_test::makeRecord("DestroyObject", {{"ObjectID", "1$12"}}));
  std::unique_ptr<DMSAppString> objectID;
  ASSERT_EQ(dms_cds::decodeDestroyObjectArguments(record.get(), &objectID), 0);
  EXPECT_EQ(text(objectID), "1$12");
}

// ---- StopTransferResource and GetTransferProgress ----

TEST_F(ActionArgumentsTest, TransferIdZeroIs402) {
  LogCapture log;
  EXPECT_EQ(runOnce("StopTransferResource", {{"TransferID", "0"}}), kInvalidArguments);
  EXPECT_TRUE(log.has(
      "[UPnPAppCDS::__StopTransferResource] Invalid TransferID, it is started from 1!!!", 2));
  EXPECT_EQ(runOnce("GetTransferProgress", {{"TransferID", "0"}}), kInvalidArguments);
  EXPECT_TRUE(log.has(
      "[UPnPAppCDS::__GetTransferProgress] Invalid TransferID, it is started from 1!!!", 2));
}

TEST_F(ActionArgumentsTest, WronglyNamedTransferIdIs501ForStopButIs402ForProgress) {
  LogCapture log;
  EXPECT_EQ(runOnce("StopTransferResource", {{"TransferId_", "3"}}), kActionFailed);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__StopTransferResource] Invalid Argument!!!", 2));
  EXPECT_EQ(runOnce("GetTransferProgress", {{"TransferId_", "3"}}), kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__GetTransferProgress] Invalid Argument!!!", 2));
}

TEST_F(ActionArgumentsTest, TransferActionsNeedExactlyOneNonEmptyTransferId) {
  for (const char* action : {"StopTransferResource", "GetTransferProgress"}) {
    SCOPED_TRACE(action);
    EXPECT_EQ(runOnce(action, {}), kInvalidArguments);
    EXPECT_EQ(runOnce(action, {{"TransferID", "1"}, {"TransferID", "2"}}), kInvalidArguments);
    EXPECT_EQ(runOnce(action, {{"TransferID", ""}}), kInvalidArguments);
    // Taken (only "0" is refused), then unknown: no such transfer runs.
    EXPECT_EQ(runOnce(action, {{"transferid", "00"}}), kInvalidArguments);
  }
}

TEST_F(ActionArgumentsTest, TransferIdIsKeptAsGiven) {
  std::unique_ptr<DMSAppActionInfo> record(
      cds_test::makeRecord("GetTransferProgress", {{"TransferID", "42"}}));
  std::unique_ptr<DMSAppString> transferID;
  ASSERT_EQ(dms_cds::decodeGetTransferProgressArguments(record.get(), &transferID), 0);
  EXPECT_EQ(text(transferID), "42");
}

// ---- Bad input from the network ----

TEST_F(ActionArgumentsTest, NamelessArgumentIsSkippedAndNullValueReadsEmpty) {
  stNUVAppList* nameless = FakeStack::makeAction("DestroyObject", cds_test::kClientIP, {});
  cds_test::addRawArgument(nameless, nullptr, "1$2");
  // Skipped, so DestroyObject has no object ID at all.
  EXPECT_EQ(deliver(nameless), std::vector<std::string>{kInvalidArguments});
  stNUVAppList* valueless = FakeStack::makeAction("DestroyObject", cds_test::kClientIP, {});
  cds_test::addRawArgument(valueless, "ObjectID", nullptr);
  EXPECT_EQ(deliver(valueless), std::vector<std::string>{kInvalidArguments});
  stNUVAppList* neither = FakeStack::makeAction("GetSystemUpdateID", cds_test::kClientIP, {});
  cds_test::addRawArgument(neither, nullptr, nullptr);
  EXPECT_EQ(deliver(neither), std::vector<std::string>{kInvalidArguments});
}

TEST_F(ActionArgumentsTest, EmptyNameIsAnUnknownName) {
  EXPECT_EQ(runOnce("DestroyObject", {{"", "1$2"}}), kInvalidArguments);
  EXPECT_EQ(runOnce("StopTransferResource", {{"", "1"}}), kActionFailed);
}

TEST_F(ActionArgumentsTest, VeryLongValuesAreHandledWithoutHarm) {
  const std::string big(100 * 1024, 'x');
  const std::string bigNumber(100 * 1024, '9');
  EXPECT_EQ(runOnce("DestroyObject", {{"ObjectID", big}}), faultBody(701, "No such object"));
  EXPECT_EQ(runOnce("DestroyObject", {{big, "1"}}), kInvalidArguments);
  EXPECT_EQ(runOnce("CreateObject", {{"ContainerID", big}, {"Elements", big}}),
            faultBody(712, "Bad metadata"));
  EXPECT_EQ(runOnce("ImportResource", {{"SourceURI", big}, {"DestinationURI", big}}),
            kInvalidArguments);
  EXPECT_EQ(runOnce("GetTransferProgress", {{"TransferID", bigNumber}}), kInvalidArguments);
  EXPECT_EQ(runOnce("Browse", {{"ObjectID", big + "$" + big},
                               {"BrowseFlag", big},
                               {"Filter", big},
                               {"StartingIndex", bigNumber},
                               {"RequestedCount", bigNumber},
                               {"SortCriteria", big}}),
            faultBody(709, "Unsupported or invalid sort criteria"));
  EXPECT_EQ(runOnce(big, {{big, big}}), faultBody(401, "Invalid Action"));
}

TEST_F(ActionArgumentsTest, BytesThatAreNotUtf8AreRefusedOrPassedOnAsBytes) {
  const std::string junk = "\xff\xfe\xc3\x28\x80";
  EXPECT_EQ(runOnce("DestroyObject", {{junk, "1"}}), kInvalidArguments);
  EXPECT_EQ(runOnce("DestroyObject", {{"ObjectID", junk}}), faultBody(701, "No such object"));
  EXPECT_EQ(runOnce("Browse" + junk, {}), faultBody(401, "Invalid Action"));
  EXPECT_EQ(runOnce("StopTransferResource", {{"TransferID", junk}}), kInvalidArguments);
  std::unique_ptr<DMSAppActionInfo> record(
      cds_test::makeRecord("CreateObject", {{"ContainerID", "1$" + junk}, {"Elements", junk}}));
  dms_cds::CreateObjectRequest request;
  ASSERT_EQ(dms_cds::decodeCreateObjectArguments(record.get(), &request), 0);
  EXPECT_EQ(text(request.containerID), junk);
  EXPECT_EQ(text(request.elements), junk);
}
