// Helpers shared by the ContentDirectory service tests: golden reply bodies
// written out independently of the generator, action records, and a fixture
// that delivers actions through the stack callback against the fake stack.
#ifndef DMS_TESTS_CDS_TEST_SUPPORT_H
#define DMS_TESTS_CDS_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "action_info.h"
#include "app_cds.h"
#include "cds_impl_manager.h"
#include "dms_camera.h"
#include "dms_list.h"
#include "dms_server.h"
#include "dms_string.h"
#include "fake_stack.h"
#include "nuv_dms.h"
#include "soap_generator.h"

namespace cds_test {

using Args = std::vector<std::pair<std::string, std::string>>;

constexpr const char* kCds = "urn:schemas-upnp-org:service:ContentDirectory";
constexpr const char* kCds1 = "urn:schemas-upnp-org:service:ContentDirectory:1";
constexpr const char* kClientIP = "192.168.1.20";

// The DIDL-Lite head and tail of a Result, escaped as they travel.
const std::string kDidlHead =
    "&lt;DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\"\r\n"
    " xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
    " xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\""
    " xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0/\"&gt;\r\n";
const std::string kDidlTail = "&lt;/DIDL-Lite&gt;";

// The fault body a control point receives for `code`.
inline std::string faultBody(int code, const std::string& text) {
  return "<s:Fault>\r\n<faultcode>s:Client</faultcode>\r\n"
         "<faultstring>UPnPError</faultstring>\r\n<detail>\r\n"
         "<UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\">\r\n<errorCode>" +
         std::to_string(code) + "\r\n</errorCode>\r\n<errorDescription>" + text +
         "\r\n</errorDescription>\r\n</UPnPError>\r\n</detail>\r\n</s:Fault>";
}

// The response body of `action` with out-arguments `out`, in order.
inline std::string responseBody(const std::string& action, const Args& out) {
  std::string body = "<u:" + action + "Response xmlns:u=\"" + kCds1 + "\">\r\n";
  for (const auto& arg : out)
    body += "<" + arg.first + ">" + arg.second + "</" + arg.first + ">\r\n";
  return body + "</u:" + action + "Response>";
}

// Waits (generously) for the one body sent for `actionID` by another
// thread; "(none)" or "(several)" otherwise.
inline std::string awaitOneBody(int actionID) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < deadline) {
    std::vector<std::string> bodies;
    for (const FakeResponse& r : FakeStack::instance().responses())
      if (r.actionID == actionID) bodies.push_back(r.body);
    if (bodies.size() > 1) return "(several)";
    if (bodies.size() == 1) return bodies[0];
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return "(none)";
}

// An out- or in-argument list of AppArgumentList.
inline DMSCDSList* argumentList(const Args& args) {
  auto* list = new DMSCDSList();
  for (const auto& arg : args)
    dms_cds::appendArgument(list, arg.first.c_str(), new DMSAppString(arg.second.c_str()));
  return list;
}

// A record as the dispatcher builds it; the caller deletes it.
inline DMSAppActionInfo* makeRecord(const std::string& action, const Args& args,
                                    const std::string& ip = kClientIP, int connectionID = 1,
                                    int actionID = 1) {
  DMSAppString service(kCds);
  DMSAppString name(action.c_str());
  DMSAppString address(ip.c_str());
  return new DMSAppActionInfo(connectionID, actionID, &service, &name, &address,
                              argumentList(args));
}

// Appends an argument whose name or value may be null to a request made by
// FakeStack::makeAction (the builder itself only takes strings).
inline void addRawArgument(stNUVAppList* request, const char* name, const char* value) {
  stNUVAppList* arguments = nullptr;
  ASSERT_EQ(HNuvDMSGetActionArgumentList(request, &arguments), 0);
  auto* pair = static_cast<stNUVArgument*>(malloc(sizeof(stNUVArgument)));
  pair->name = name != nullptr ? strdup(name) : nullptr;
  pair->value = value != nullptr ? strdup(value) : nullptr;
  ASSERT_EQ(NUVListAddItem(arguments, pair), 0);
}

// Resets the fake stack and the settings the service reads, and tears the
// service singletons down after each test. Every request handle a test makes
// must have been released by then.
class CdsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    FakeStack::instance().reset();
    FakeStack::instance().setStateVariable(kCds, "SortCapabilities", "dc:title,dc:date");
    DMSAppSetHTTPStreamingPort(8200);
    DMSAppSetDMSConnectionID(3);
    outstandingBefore_ = FakeStack::instance().outstandingRequests();
  }

  void TearDown() override {
    UPnPAppCDS::DestroyInstance();
    UPnPCDSImplManager::DestroyInstance();
    SOAPAppGenerator::DestroyInstance();
    EXPECT_EQ(FakeStack::instance().outstandingRequests(), outstandingBefore_);
    DmsSetRVFHook(nullptr);
  }

  // Delivers `request` through the stack's callback slot under a new action
  // ID and returns the bodies sent for that action ID.
  std::vector<std::string> deliver(stNUVAppList* request) {
    const int actionID = ++lastActionID_;
    DMSAppCDSActionCallback(kConnectionID, actionID, request);
    return bodiesFor(actionID);
  }

  std::vector<std::string> run(const std::string& action, const Args& args,
                               const std::string& ip = kClientIP) {
    return deliver(FakeStack::makeAction(action, ip, args));
  }

  // The one body sent for the action, or "(none)" / "(several)".
  std::string runOnce(const std::string& action, const Args& args,
                      const std::string& ip = kClientIP) {
    std::vector<std::string> bodies = run(action, args, ip);
    if (bodies.empty()) return "(none)";
    if (bodies.size() > 1) return "(several)";
    return bodies[0];
  }

  std::vector<std::string> bodiesFor(int actionID) const {
    std::vector<std::string> bodies;
    for (const FakeResponse& response : FakeStack::instance().responses()) {
      EXPECT_EQ(response.connectionID, kConnectionID);
      if (response.actionID == actionID) bodies.push_back(response.body);
    }
    return bodies;
  }

  int lastActionID() const { return lastActionID_; }

  static constexpr int kConnectionID = 9;

 private:
  int lastActionID_ = 100;
  int outstandingBefore_ = 0;
};

}  // namespace cds_test

#endif  // DMS_TESTS_CDS_TEST_SUPPORT_H
