#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "camera_actions.h"
#include "cds_test_support.h"
#include "dms_content_engine.h"
#include "dms_conversions.h"
#include "dms_platform.h"
#include "failing_allocations.h"
#include "log_capture.h"

class UPnPAppCDSTestPeer {
 public:
  static int dispatch(DMSAppActionInfo* record) {
    return UPnPAppCDS::GetInstance()->__DispatchAction(record);
  }
};

namespace {

using cds_test::Args;
using cds_test::faultBody;
using cds_test::kCds;
using cds_test::kClientIP;
using cds_test::responseBody;

const std::string kInvalidAction = faultBody(401, "Invalid Action");
const std::string kInvalidArguments = faultBody(402, "Invalid Arguments");
const std::string kActionFailed = faultBody(501, "Action Failed");
const std::string kNotImplemented = faultBody(602, "Optional Action Not implemented");

// What the camera hook saw, and what it does.
struct HookState {
  std::vector<std::string> names;
  std::vector<std::string> ips;
  std::vector<size_t> responsesAtCall;  // replies already sent when it was called
  std::vector<int> outstandingAtCall;   // stack requests not yet released
  int result = 0;                       // what the hook returns
  int answerNow = -1;                   // answer during the call with this code (-1: no)
  void* token = nullptr;
  DmsRVFRespond respond = nullptr;
};
HookState gHook;

int recordingHook(const char* name, const char* ip, void* token, DmsRVFRespond respond) {
  gHook.names.push_back(name);
  gHook.ips.push_back(ip);
  gHook.responsesAtCall.push_back(FakeStack::instance().responses().size());
  gHook.outstandingAtCall.push_back(FakeStack::instance().outstandingRequests());
  gHook.token = token;
  gHook.respond = respond;
  if (gHook.answerNow >= 0) respond(token, gHook.answerNow);
  return gHook.result;
}

class UPnPAppCDSDispatchTest : public cds_test::CdsTest {
 protected:
  void SetUp() override {
    CdsTest::SetUp();
    gHook = HookState();
  }
  void installHook(int result) {
    gHook.result = result;
    DmsSetRVFHook(recordingHook);
  }
};

}  // namespace

// ---- Receiving ----

TEST_F(UPnPAppCDSDispatchTest, ActionIsLoggedWithNameAndControlPointAddress) {
  LogCapture log;
  run("GetSystemUpdateID", {}, "10.1.2.3");
  EXPECT_TRUE(log.has("[UPnPAppCDS::ProcessHTTPSOAPRequest] GetSystemUpdateID, 10.1.2.3", 1));
  EXPECT_TRUE(log.has("UPnPAppCDS::__DispatchAction () is called", 1));
}

TEST_F(UPnPAppCDSDispatchTest, StackRequestIsReleasedBeforeTheActionIsServed) {
  installHook(0);
  const int before = FakeStack::instance().outstandingRequests();
  run("Shot", {{"A", "1"}});
  ASSERT_EQ(gHook.outstandingAtCall.size(), 1u);
  EXPECT_EQ(gHook.outstandingAtCall[0], before);
  EXPECT_EQ(FakeStack::instance().count("HNuvDMSReleaseUIRequestData"), 1u);
}

TEST_F(UPnPAppCDSDispatchTest, ReplyGoesToTheConnectionAndActionItCameFrom) {
  DMSAppCDSActionCallback(9, 4242, FakeStack::makeAction("GetSystemUpdateID", kClientIP, {}));
  const std::vector<FakeResponse> responses = FakeStack::instance().responses();
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_EQ(responses[0].connectionID, 9);
  EXPECT_EQ(responses[0].actionID, 4242);
}

TEST_F(UPnPAppCDSDispatchTest, NullRequestIsAnsweredAsAnInvalidAction) {
  EXPECT_EQ(deliver(nullptr), std::vector<std::string>{kInvalidAction});
}

TEST_F(UPnPAppCDSDispatchTest, NullRecordIsOnlyLogged) {
  LogCapture log;
  EXPECT_EQ(UPnPAppCDSTestPeer::dispatch(nullptr), 501);
  EXPECT_TRUE(log.has(
      "[UPnPAppCDS::__DispatchAction] Invalid Arguments!!! __DispatchAction, UPnPError = 501", 2));
  EXPECT_TRUE(FakeStack::instance().responses().empty());
}

// ---- The action table ----

TEST_F(UPnPAppCDSDispatchTest, ActionNamesAreMatchedIgnoringCase) {
  LogCapture log;
  // Four arguments are too few for Browse: the Browse handler's own refusal
  // shows that the name reached it.
  EXPECT_EQ(runOnce("browse", {{"ObjectID", "0"},
                               {"BrowseFlag", "BrowseMetadata"},
                               {"Filter", "*"},
                               {"StartingIndex", "0"}}),
            kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__Browse] Invalid arguments!!!, UPnPError = 402", 2));
  EXPECT_EQ(runOnce("GETSYSTEMUPDATEID", {}), responseBody("GETSYSTEMUPDATEID", {{"Id", "0"}}));
}

TEST_F(UPnPAppCDSDispatchTest, EveryTableActionReachesItsOwnHandler) {
  installHook(0);
  struct Case {
    const char* name;
    const char* countLog;  // the handler's refusal of a wrong argument count
  };
  const Case cases[] = {
      {"GetSearchCapabilities",
       "[UPnPAppCDS::__GetSearchCapabilities] Invalid arguments!!!, UPnPError = 402"},
      {"GetSortCapabilities",
       "[UPnPAppCDS::__GetSortCapabilities] Invalid arguments!!!, UPnPError = 402"},
      {"GetSystemUpdateID",
       "[UPnPAppCDS::__GetSystemUpdateID] Invalid arguments!!!, UPnPError = 402"},
      {"Browse", "[UPnPAppCDS::__Browse] Invalid arguments!!!, UPnPError = 402"},
      {"CreateObject", "[UPnPAppCDS::__CreateObject] Invalid arguments!!!, UPnPError = 402"},
      {"ImportResource", "[UPnPAppCDS::__CreateObject] Invalid arguments!!!, UPnPError = 402"},
      {"ExportResource", "[UPnPAppCDS::__ExportResource] Invalid arguments!!!, UPnPError = 402"},
      {"DestroyObject", "[UPnPAppCDS::__DestroyObject] Invalid arguments!!!, UPnPError = 402"},
      {"StopTransferResource",
       "[UPnPAppCDS::__StopTransferResource] Invalid arguments!!!, UPnPError = 402"},
      {"GetTransferProgress",
       "[UPnPAppCDS::__GetTransferProgress] Invalid arguments!!!, UPnPError = 402"},
      {"X_GetFeatureList",
       "[UPnPAppCDS::__X_GetFeatureList] Invalid arguments!!!, UPnPError = 402"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    LogCapture log;
    // One argument is too few for CreateObject; three are wrong for every
    // other action of the table.
    const Args args = std::string(c.name) == "CreateObject"
                          ? Args{{"a", "1"}}
                          : Args{{"a", "1"}, {"b", "2"}, {"c", "3"}};
    EXPECT_EQ(runOnce(c.name, args), kInvalidArguments);
    EXPECT_TRUE(log.has(c.countLog, 2));
  }
  EXPECT_TRUE(gHook.names.empty());  // known actions never reach the hook
}

TEST_F(UPnPAppCDSDispatchTest, DeclinedStandardActionsAreAnswered602) {
  for (const char* name :
       {"Search", "search", "UpdateObject", "DeleteResource", "CREATEREFERENCE"}) {
    SCOPED_TRACE(name);
    LogCapture log;
    EXPECT_EQ(runOnce(name, {{"ContainerID", "0"}}), kNotImplemented);
    EXPECT_TRUE(
        log.has("[UPnPAppCDS::__DispatchAction] Action dispatch failed!!!, UPnPError = 602", 2));
  }
}

TEST_F(UPnPAppCDSDispatchTest, UnknownActionIsAnswered401) {
  LogCapture log;
  EXPECT_EQ(runOnce("Frobnicate", {}), kInvalidAction);
  EXPECT_EQ(runOnce("", {}), kInvalidAction);
  EXPECT_EQ(runOnce("Browse2", {}), kInvalidAction);
  EXPECT_EQ(log.count("[UPnPAppCDS::__DispatchAction] Action dispatch failed!!!, UPnPError = 401"),
            3u);
}

// ---- The remote-viewfinder hook ----

TEST_F(UPnPAppCDSDispatchTest, HookIsAskedBeforeAnUnknownActionIsRefused) {
  installHook(0);
  EXPECT_EQ(runOnce("ZoomIN", {}, "10.0.0.7"), kInvalidAction);
  ASSERT_EQ(gHook.names.size(), 1u);
  EXPECT_EQ(gHook.names[0], "ZoomIN");
  EXPECT_EQ(gHook.ips[0], "10.0.0.7");
  EXPECT_EQ(gHook.responsesAtCall[0], 0u);  // nothing sent before the hook declined
}

TEST_F(UPnPAppCDSDispatchTest, HookIsAskedBeforeADeclinedStandardActionIsRefused) {
  installHook(0);
  EXPECT_EQ(runOnce("Search", {}), kNotImplemented);
  ASSERT_EQ(gHook.names.size(), 1u);
  EXPECT_EQ(gHook.names[0], "Search");
  EXPECT_EQ(gHook.responsesAtCall[0], 0u);
}

TEST_F(UPnPAppCDSDispatchTest, DefaultHookDeclines) {
  EXPECT_EQ(runOnce("SetFlash", {}), kInvalidAction);
}

TEST_F(UPnPAppCDSDispatchTest, TakenActionIsAnsweredOnceThroughItsToken) {
  installHook(1);
  EXPECT_TRUE(run("Shot", {{"x", "1"}}).empty());
  const int actionID = lastActionID();
  EXPECT_EQ(dms_cds::pendingCameraActions(), 1);
  gHook.respond(gHook.token, 0);
  EXPECT_EQ(bodiesFor(actionID), std::vector<std::string>{responseBody("Shot", {})});
  LogCapture log;
  gHook.respond(gHook.token, 803);  // a second answer is refused
  EXPECT_EQ(bodiesFor(actionID).size(), 1u);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__RVFProcessAction] Unknown or answered action token", 2));
  EXPECT_EQ(dms_cds::pendingCameraActions(), 0);
}

TEST_F(UPnPAppCDSDispatchTest, CameraErrorsAreAnsweredWithTheirFaults) {
  installHook(1);
  struct Case {
    int code;
    std::string body;
  };
  const Case cases[] = {{801, faultBody(802, "Flash is not available")},
                        {802, faultBody(802, "Flash is not available")},
                        {803, faultBody(803, "Shot is Failed")},
                        {804, faultBody(804, "TouchAF set error")},
                        {1, kActionFailed},
                        {721, responseBody("touchAF", {})}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    run("touchAF", {});
    gHook.respond(gHook.token, c.code);
    EXPECT_EQ(bodiesFor(lastActionID()), std::vector<std::string>{c.body});
  }
}

TEST_F(UPnPAppCDSDispatchTest, HookMayAnswerFromAnotherThread) {
  installHook(1);
  EXPECT_TRUE(run("ShotWithGPS", {}).empty());
  std::thread([] { gHook.respond(gHook.token, 0); }).join();
  EXPECT_EQ(bodiesFor(lastActionID()), std::vector<std::string>{responseBody("ShotWithGPS", {})});
}

TEST_F(UPnPAppCDSDispatchTest, HookThatAnswersAndStillDeclinesSendsOnlyItsAnswer) {
  installHook(0);
  gHook.answerNow = 803;
  EXPECT_EQ(run("Shot", {}), std::vector<std::string>{faultBody(803, "Shot is Failed")});
}

TEST_F(UPnPAppCDSDispatchTest, HookThatAnswersDuringTheCallAnswersOnce) {
  installHook(1);
  gHook.answerNow = 0;
  EXPECT_EQ(run("SetLED", {}), std::vector<std::string>{responseBody("SetLED", {})});
}

TEST_F(UPnPAppCDSDispatchTest, PendingCameraActionsAreDroppedWithTheService) {
  installHook(1);
  run("MULTIAF", {});
  void* token = gHook.token;
  UPnPAppCDS::DestroyInstance();
  EXPECT_EQ(dms_cds::pendingCameraActions(), 0);
  gHook.respond(token, 0);  // too late: ignored
  EXPECT_TRUE(bodiesFor(lastActionID()).empty());
}

// ---- Synchronous actions ----

TEST_F(UPnPAppCDSDispatchTest, GetSystemUpdateIDAnswersTheStateVariable) {
  FakeStack::instance().setStateVariable(kCds, "SystemUpdateID", "17");
  EXPECT_EQ(runOnce("GetSystemUpdateID", {}),
            "<u:GetSystemUpdateIDResponse "
            "xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">\r\n"
            "<Id>17</Id>\r\n</u:GetSystemUpdateIDResponse>");
}

TEST_F(UPnPAppCDSDispatchTest, GetSortCapabilitiesAnswersTheStateVariable) {
  EXPECT_EQ(runOnce("GetSortCapabilities", {}),
            "<u:GetSortCapabilitiesResponse "
            "xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">\r\n"
            "<SortCaps>dc:title,dc:date</SortCaps>\r\n</u:GetSortCapabilitiesResponse>");
}

TEST_F(UPnPAppCDSDispatchTest, GetSearchCapabilitiesAnswersAnEmptyValue) {
  EXPECT_EQ(runOnce("GetSearchCapabilities", {}),
            "<u:GetSearchCapabilitiesResponse "
            "xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\">\r\n"
            "<SearchCaps></SearchCaps>\r\n</u:GetSearchCapabilitiesResponse>");
}

TEST_F(UPnPAppCDSDispatchTest, StateVariableIsReadOnTheServiceConnectionWithTheUnversionedType) {
  run("GetSystemUpdateID", {});
  bool found = false;
  for (const FakeCall& call : FakeStack::instance().calls()) {
    if (call.name != "NUVDMSGetStateVariableValue") continue;
    found = true;
    EXPECT_EQ(call.args, (std::vector<std::string>{"3", kCds, "SystemUpdateID"}));
  }
  EXPECT_TRUE(found);
}

TEST_F(UPnPAppCDSDispatchTest, SynchronousQueryWithAnyArgumentIs402) {
  for (const char* name : {"GetSystemUpdateID", "GetSortCapabilities", "GetSearchCapabilities"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(runOnce(name, {{"Id", ""}}), kInvalidArguments);
  }
}

TEST_F(UPnPAppCDSDispatchTest, UnreadableStateVariableIsAnswered501) {
  FakeStack::instance().failStateReads = true;
  struct Case {
    const char* action;
    const char* log;
  };
  const Case cases[] = {
      {"GetSearchCapabilities",
       "[UPnPAppCDS::__GetSearchCapabilities] Error at __GetSearchCapabilities > SearchCaps res 1"},
      {"GetSortCapabilities",
       "[UPnPAppCDS::__GetSortCapabilities] Error at GetSortCapabilities > SortCaps res 1"},
      {"GetSystemUpdateID",
       "[UPnPAppCDS::__GetSystemUpdateID] Error at GetSortCapabilities > SortCaps res 1"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.action);
    LogCapture log;
    EXPECT_EQ(runOnce(c.action, {}), kActionFailed);
    EXPECT_TRUE(log.has(c.log, 2));
    EXPECT_TRUE(log.has("[UPnPAppCDS] Can't get State variable value, Will be ignored.", 2));
  }
}

TEST_F(UPnPAppCDSDispatchTest, XGetFeatureListRefusesArgumentsAndFailsWithoutTheDocument) {
  LogCapture log;
  EXPECT_EQ(runOnce("X_GetFeatureList", {{"x", "y"}}), kInvalidArguments);
  EXPECT_TRUE(log.has("[UPnPAppCDS::__X_GetFeatureList] Invalid arguments!!!, UPnPError = 402"));
  EXPECT_EQ(runOnce("X_GetFeatureList", {}), kActionFailed);
}

TEST_F(UPnPAppCDSDispatchTest, XGetFeatureListAnswersTheEngineDocumentEscaped) {
  ASSERT_EQ(NUVCEInitializeWrapper(), 0);
  std::unique_ptr<DMSAppString> document(NUVCEGetBasicViewInfomationMA());
  ASSERT_TRUE(document);
  ASSERT_NE(std::string(document->ReadString()).find("<Features"), std::string::npos);
  std::unique_ptr<DMSAppString> escaped(DMSAppConversions::DMSAppEscapeXmlValue(document.get()));
  ASSERT_TRUE(escaped);
  const std::string body = runOnce("X_GetFeatureList", {});
  NUVCETerminateWrapper();
  EXPECT_EQ(body, responseBody("X_GetFeatureList", {{"FeatureList", escaped->ReadString()}}));
  EXPECT_NE(body.find("&lt;Features"), std::string::npos);
}

TEST_F(UPnPAppCDSDispatchTest, ConcurrentActionsAreEachAnsweredOnce) {
  DMSAppMemFree(DMSAppMemAllocMA(1));  // the memory service exists before the threads start
  UPnPAppCDS::GetInstance();
  constexpr int kThreads = 6;
  constexpr int kPerThread = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kPerThread; ++i) {
        const int actionID = 1000000 + t * kPerThread + i;
        const char* name = (i % 3 == 0) ? "GetSystemUpdateID" : (i % 3 == 1) ? "Search" : "Browse";
        DMSAppCDSActionCallback(kConnectionID, actionID,
                                FakeStack::makeAction(name, kClientIP, {{"ObjectID", "0"}}));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::vector<int> answers(kThreads * kPerThread, 0);
  for (const FakeResponse& response : FakeStack::instance().responses())
    ++answers[static_cast<size_t>(response.actionID - 1000000)];
  for (int count : answers) EXPECT_EQ(count, 1);
}

TEST_F(UPnPAppCDSDispatchTest, AllocationFailureInAnActionStaysInTheCallback) {
  // The stack's thread must get its call back whatever fails inside; the
  // action is then answered or dropped (the stack answers 501 for it).
  int n = 0;
  for (bool failed = true; failed; ++n) {
    stNUVAppList* request = FakeStack::makeAction("GetSystemUpdateID", kClientIP, {});
    const size_t before = FakeStack::instance().responses().size();
    {
      failing_allocations::Armed armed(n);
      EXPECT_NO_THROW(DMSAppCDSActionCallback(9, 100 + n, request));
      failed = armed.failed();
    }
    EXPECT_LE(FakeStack::instance().responses().size(), before + 1);
    if (!failed) {
      EXPECT_EQ(FakeStack::instance().responses().size(), before + 1);
    }
  }
  EXPECT_GT(n, 1);
}
