#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "action_arguments.h"
#include "browse_search_argument.h"
#include "cds_test_support.h"
#include "log_capture.h"

namespace {

using cds_test::Args;
using cds_test::faultBody;
using cds_test::kCds;

const std::string kInvalidArguments = faultBody(402, "Invalid Arguments");

std::string text(const DMSAppString* s) { return s == nullptr ? "(null)" : s->ReadString(); }

// The five arguments every Browse carries, with one changed or added.
Args browseArgs(const std::string& name = "", const std::string& value = "") {
  Args args = {{"ObjectID", "0"},
               {"BrowseFlag", "BrowseDirectChildren"},
               {"Filter", "*"},
               {"StartingIndex", "0"},
               {"RequestedCount", "10"}};
  if (name.empty()) return args;
  for (auto& arg : args) {
    if (arg.first == name) {
      arg.second = value;
      return args;
    }
  }
  args.emplace_back(name, value);
  return args;
}

class BrowseArgumentsTest : public cds_test::CdsTest {
 protected:
  int decode(const Args& args, const std::string& ip = cds_test::kClientIP) {
    std::unique_ptr<DMSAppActionInfo> record(cds_test::makeRecord("Browse", args, ip));
    DMSAppString service(kCds);
    request_.reset(new BrowseSearchArgument());
    return dms_cds::decodeBrowseArguments(record.get(), &service, request_.get());
  }
  int decodeRecord(DMSAppActionInfo* record) {
    DMSAppString service(kCds);
    request_.reset(new BrowseSearchArgument());
    return dms_cds::decodeBrowseArguments(record, &service, request_.get());
  }
  const BrowseSearchArgument& request() const { return *request_; }

 private:
  std::unique_ptr<BrowseSearchArgument> request_;
};

}  // namespace

// ---- ObjectID ----

TEST_F(BrowseArgumentsTest, RootHasParentMinusOne) {
  ASSERT_EQ(decode(browseArgs("ObjectID", "0")), 0);
  EXPECT_EQ(text(request().GetContainerID()), "0");
  EXPECT_EQ(text(request().GetParentContainerID()), "-1");
}

TEST_F(BrowseArgumentsTest, OtherContainerHasParentZero) {
  ASSERT_EQ(decode(browseArgs("ObjectID", "3")), 0);
  EXPECT_EQ(text(request().GetContainerID()), "3");
  EXPECT_EQ(text(request().GetParentContainerID()), "0");
}

TEST_F(BrowseArgumentsTest, ItemIdIsSplitAtTheFirstDollar) {
  ASSERT_EQ(decode(browseArgs("ObjectID", "5$12")), 0);
  EXPECT_EQ(text(request().GetContainerID()), "12");
  EXPECT_EQ(text(request().GetParentContainerID()), "5");
  ASSERT_EQ(decode(browseArgs("ObjectID", "5$12$7")), 0);
  EXPECT_EQ(text(request().GetContainerID()), "12$7");
  EXPECT_EQ(text(request().GetParentContainerID()), "5");
  ASSERT_EQ(decode(browseArgs("ObjectID", "$")), 0);
  EXPECT_EQ(text(request().GetContainerID()), "");
  EXPECT_EQ(text(request().GetParentContainerID()), "");
}

// ---- RequestedCount ----

TEST_F(BrowseArgumentsTest, RequestedCountAbove100IsCutTo100) {
  for (const char* count : {"500", "101", "2147483647", "99999999999"}) {
    SCOPED_TRACE(count);
    ASSERT_EQ(decode(browseArgs("RequestedCount", count)), 0);
    EXPECT_EQ(request().GetRequestedCount(), 100);
  }
  ASSERT_EQ(decode(browseArgs("RequestedCount", "100")), 0);
  EXPECT_EQ(request().GetRequestedCount(), 100);
  ASSERT_EQ(decode(browseArgs("RequestedCount", "7")), 0);
  EXPECT_EQ(request().GetRequestedCount(), 7);
}

TEST_F(BrowseArgumentsTest, RequestedCountZeroMustBeWrittenAsZero) {
  ASSERT_EQ(decode(browseArgs("RequestedCount", "0")), 0);
  EXPECT_EQ(request().GetRequestedCount(), 0);
  for (const char* count : {"abc", "", "00", "-0", " 0", "+0"}) {
    SCOPED_TRACE(count);
    EXPECT_EQ(decode(browseArgs("RequestedCount", count)), 402);
  }
}

TEST_F(BrowseArgumentsTest, NegativeRequestedCountIs402) {
  LogCapture log;
  EXPECT_EQ(decode(browseArgs("RequestedCount", "-1")), 402);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Invalid Argument!!!", 2));
}

// ---- StartingIndex, Filter, BrowseFlag ----

TEST_F(BrowseArgumentsTest, StartingIndexReadsNonNumbersAsZeroAndRefusesNegatives) {
  ASSERT_EQ(decode(browseArgs("StartingIndex", "12")), 0);
  EXPECT_EQ(request().GetStartIndex(), 12);
  ASSERT_EQ(decode(browseArgs("StartingIndex", "abc")), 0);
  EXPECT_EQ(request().GetStartIndex(), 0);
  EXPECT_EQ(decode(browseArgs("StartingIndex", "-3")), 402);
}

TEST_F(BrowseArgumentsTest, EmptyFilterMeansEverything) {
  ASSERT_EQ(decode(browseArgs("Filter", "")), 0);
  EXPECT_EQ(text(request().GetFilter()), "*");
  ASSERT_EQ(decode(browseArgs("Filter", "dc:title,res@size")), 0);
  EXPECT_EQ(text(request().GetFilter()), "dc:title,res@size");
}

TEST_F(BrowseArgumentsTest, BrowseFlagMustNotBeEmptyButIsNotCheckedFurther) {
  EXPECT_EQ(decode(browseArgs("BrowseFlag", "")), 402);
  ASSERT_EQ(decode(browseArgs("BrowseFlag", "BrowseSomething")), 0);
  EXPECT_EQ(text(request().GetQueryString()), "BrowseSomething");
}

TEST_F(BrowseArgumentsTest, BrowseMetadataNeedsStartingIndexZero) {
  LogCapture log;
  Args args = browseArgs("BrowseFlag", "BrowseMetadata");
  args[3].second = "1";
  EXPECT_EQ(decode(args), 402);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Invalid starting index!!!", 2));
  args[1].second = "BrowseDirectChildren";
  EXPECT_EQ(decode(args), 0);
  EXPECT_EQ(request().GetStartIndex(), 1);
  args[1].second = "browsemetadata";  // compared exactly here
  EXPECT_EQ(decode(args), 0);
}

// ---- SortCriteria ----

TEST_F(BrowseArgumentsTest, SortCriteriaMustOccurInTheSortCapabilities) {
  ASSERT_EQ(decode(browseArgs("SortCriteria", "dc:title")), 0);
  EXPECT_EQ(text(request().GetSortCriteria()), "dc:title");
  ASSERT_EQ(decode(browseArgs("SortCriteria", "")), 0);
  EXPECT_EQ(decode(browseArgs("SortCriteria", "+dc:title")), 709);
  EXPECT_EQ(decode(browseArgs("SortCriteria", "DC:TITLE")), 709);
  FakeStack::instance().setStateVariable(kCds, "SortCapabilities", "");
  EXPECT_EQ(decode(browseArgs("SortCriteria", "dc:title")), 709);
}

TEST_F(BrowseArgumentsTest, UnreadableSortCapabilitiesIs603) {
  FakeStack::instance().failStateReads = true;
  LogCapture log;
  EXPECT_EQ(decode(browseArgs("SortCriteria", "dc:title")), 603);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] DMSAPP_UPNP_OUT_OF_MEMORY!!!", 2));
}

// ---- Counts, names, order ----

TEST_F(BrowseArgumentsTest, FourArgumentsAreTooFewFiveGoAhead) {
  LogCapture log;
  Args args = browseArgs();
  ASSERT_EQ(decode(args), 0);  // the five besides SortCriteria
  args.pop_back();
  EXPECT_EQ(decode(args), 402);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Invalid arguments!!!, UPnPError = 402", 2));
}

TEST_F(BrowseArgumentsTest, NamesIgnoreCaseAndTheLaterDuplicateWins) {
  ASSERT_EQ(decode({{"objectid", "1"},
                    {"BROWSEFLAG", "BrowseDirectChildren"},
                    {"filter", "*"},
                    {"startingIndex", "0"},
                    {"requestedcount", "5"},
                    {"ObjectID", "2$9"},
                    {"RequestedCount", "6"}}),
            0);
  EXPECT_EQ(text(request().GetContainerID()), "9");
  EXPECT_EQ(text(request().GetParentContainerID()), "2");
  EXPECT_EQ(request().GetRequestedCount(), 6);
}

TEST_F(BrowseArgumentsTest, UnknownNameIs402) {
  LogCapture log;
  EXPECT_EQ(decode(browseArgs("Bogus", "1")), 402);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Invalid Argument!!!", 2));
}

TEST_F(BrowseArgumentsTest, ArgumentWithoutNameIsSkippedButCounted) {
  Args args = browseArgs();
  args.pop_back();  // four named arguments
  std::unique_ptr<DMSAppActionInfo> record(cds_test::makeRecord("Browse", args));
  auto* nameless = new AppArgumentList();
  nameless->value = new DMSAppString("ignored");
  record->ReadArgList()->AddItem(nameless);
  EXPECT_EQ(decodeRecord(record.get()), 0);
  EXPECT_EQ(request().GetRequestedCount(), 0);
}

TEST_F(BrowseArgumentsTest, NullValueReadsAsEmpty) {
  Args args = browseArgs();
  args.erase(args.begin() + 2);  // no Filter
  std::unique_ptr<DMSAppActionInfo> record(cds_test::makeRecord("Browse", args));
  auto* filter = new AppArgumentList();
  filter->name = new DMSAppString("Filter");
  record->ReadArgList()->AddItem(filter);
  ASSERT_EQ(decodeRecord(record.get()), 0);
  EXPECT_EQ(text(request().GetFilter()), "*");
  ASSERT_NE(filter->value, nullptr);
  EXPECT_STREQ(filter->value->ReadString(), "");
}

TEST_F(BrowseArgumentsTest, FinalChecksNeedAnObjectAndAFilter) {
  LogCapture log;
  Args noObject = browseArgs("SortCriteria", "");
  noObject.erase(noObject.begin());
  EXPECT_EQ(decode(noObject), 701);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] No such Object!!!", 2));
  Args noFilter = browseArgs("SortCriteria", "");
  noFilter.erase(noFilter.begin() + 2);
  EXPECT_EQ(decode(noFilter), 402);
}

TEST_F(BrowseArgumentsTest, ArgumentErrorsComeBeforeTheAddressCheck) {
  FakeStack::instance().interfaceAddress = "";
  EXPECT_EQ(decode(browseArgs("SortCriteria", "+upnp:class")), 709);
  EXPECT_EQ(decode(browseArgs()), 402);  // then the address lookup fails
}

// ---- Base URL ----

TEST_F(BrowseArgumentsTest, BaseUrlUsesTheLocalAddressFacingTheClientAndTheStreamingPort) {
  ASSERT_EQ(decode(browseArgs()), 0);
  EXPECT_EQ(text(request().GetBaseURL()), "http://192.168.1.10:8200");
  bool asked = false;
  for (const FakeCall& call : FakeStack::instance().calls())
    if (call.name == "NUVUtilGetInterfaceIPAddress") asked = call.args[0] == cds_test::kClientIP;
  EXPECT_TRUE(asked);
}

TEST_F(BrowseArgumentsTest, NoLocalAddressIs402) {
  FakeStack::instance().interfaceAddress = "";
  LogCapture log;
  EXPECT_EQ(decode(browseArgs()), 402);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Invalid IP Address!!!", 2));
}

TEST_F(BrowseArgumentsTest, PortMinusOneIsAGeneralFailure) {
  DMSAppSetHTTPStreamingPort(-1);
  LogCapture log;
  EXPECT_EQ(decode(browseArgs()), 1);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Invalid IP Address pszIP or Invalid port!!!", 2));
}

TEST_F(BrowseArgumentsTest, MissingRequestAddressIs402) {
  std::unique_ptr<DMSAppActionInfo> record(cds_test::makeRecord("Browse", browseArgs()));
  record->SetIPAddress(nullptr);
  LogCapture log;
  EXPECT_EQ(decodeRecord(record.get()), 402);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Memory allocation error for pszIP", 2));
}

TEST_F(BrowseArgumentsTest, ClientOutsideTheLocalNetworkIsOnlyLogged) {
  LogCapture log;
  ASSERT_EQ(decode(browseArgs(), "10.0.0.5"), 0);
  EXPECT_EQ(text(request().GetBaseURL()), "http://192.168.1.10:8200");
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Client's IP is INVALID!!!", 1));
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Local IP = 192.168.1.10, Request IP = 10.0.0.5", 1));
}

TEST_F(BrowseArgumentsTest, OnlyTheFirstEightCharactersOf192_168_1_10AreCompared) {
  LogCapture log;
  ASSERT_EQ(decode(browseArgs(), "192.168.77.5"), 0);  // other subnet, same prefix
  EXPECT_FALSE(log.has("[UPnPAppCDS::__Browse] Client's IP is INVALID!!!"));
  ASSERT_EQ(decode(browseArgs(), "192.169.1.10"), 0);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Client's IP is INVALID!!!"));
}

TEST_F(BrowseArgumentsTest, LocalAddressWithoutThreeDotsIsNotCompared) {
  FakeStack::instance().interfaceAddress = "localhost";
  LogCapture log;
  ASSERT_EQ(decode(browseArgs(), "10.0.0.5"), 0);
  EXPECT_EQ(text(request().GetBaseURL()), "http://localhost:8200");
  EXPECT_FALSE(log.has("[UPnPAppCDS::__Browse] Client's IP is INVALID!!!"));
}

// ---- Through the dispatcher ----

TEST_F(BrowseArgumentsTest, WellFormedBrowseReachesTheBrowseEngine) {
  // No content store runs here, so the engine finds no container at all.
  LogCapture log;
  EXPECT_EQ(runOnce("Browse", browseArgs()), faultBody(701, "No such object"));
  EXPECT_TRUE(log.has("CM : There is no container!!!", 2));
}

TEST_F(BrowseArgumentsTest, RefusalsReachTheControlPointAsFaults) {
  EXPECT_EQ(runOnce("Browse", browseArgs("RequestedCount", "abc")), kInvalidArguments);
  EXPECT_EQ(runOnce("Browse", browseArgs("RequestedCount", "-1")), kInvalidArguments);
  EXPECT_EQ(runOnce("Browse", browseArgs("SortCriteria", "-dc:date")),
            faultBody(709, "Unsupported or invalid sort criteria"));
  Args noObject = browseArgs("SortCriteria", "");
  noObject.erase(noObject.begin());
  EXPECT_EQ(runOnce("Browse", noObject), faultBody(701, "No such object"));
  FakeStack::instance().failStateReads = true;
  EXPECT_EQ(runOnce("Browse", browseArgs("SortCriteria", "")), faultBody(603, "Out of Memory"));
}

TEST_F(BrowseArgumentsTest, NamelessArgumentFromTheStackIsSkipped) {
  Args args = browseArgs();
  args.pop_back();
  stNUVAppList* request = FakeStack::makeAction("Browse", cds_test::kClientIP, args);
  cds_test::addRawArgument(request, nullptr, "5");
  EXPECT_EQ(deliver(request), std::vector<std::string>{faultBody(701, "No such object")});
}
