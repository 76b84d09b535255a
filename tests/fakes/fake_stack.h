// Fakes of the UPnP/DLNA stack's device side and of the camera platform, for
// unit tests of libdms without any network. Every call is recorded in order
// (name and arguments as text) so tests can check call orders and bodies;
// results are configurable. Requests handed to the server's callbacks are
// built here and counted, so a test can check that each was released.
//
// Thread safety: all members may be used from any thread (the content engine
// answers on its own thread).
#ifndef DMS_TESTS_FAKE_STACK_H
#define DMS_TESTS_FAKE_STACK_H

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "nuv_dms.h"

struct FakeCall {
  std::string name;
  std::vector<std::string> args;
};

struct FakeResponse {
  int connectionID;
  int actionID;
  std::string body;
};

struct FakeUiEvent {
  int event;
  std::string text1;
  std::string text2;
};

class FakeStack {
 public:
  static FakeStack& instance();

  // Clears calls, responses, events, configuration and results to defaults.
  void reset();

  std::vector<FakeCall> calls() const;
  std::vector<std::string> callNames() const;
  size_t count(const std::string& name) const;
  std::vector<FakeResponse> responses() const;
  std::vector<FakeUiEvent> uiEvents() const;
  stNUVDMSCallbacks callbacks() const;
  std::string descriptionDir() const;
  // Requests made by the builders below and not yet released.
  int outstandingRequests() const;

  // Builders of what the stack hands to the server's callbacks.
  static stNUVAppList* makeAction(const std::string& name, const std::string& ip,
                                  const std::vector<std::pair<std::string, std::string>>& args);
  static stNUVAppList* makeAclNotification(int aclType, int eventType, const std::string& mac,
                                           const std::string& ip, const std::string& name);
  static stNUVAppList* makeException(int type, const std::string& address);

  // Results (defaults after reset() in brackets).
  int initializeResult = 0;      // [0]
  int connectionID = 0;          // written by NUVDMSInitialize [0]
  int startResult = 0;           // [0]
  int stopResult = 0;            // [0]
  int terminateResult = 1;       // [1]
  int aliveResult = 0;           // [0]
  int setDeviceNameResult = 0;   // [0]
  int sendResponseResult = 0;    // [0]
  int updateStateResult = 0;     // [0]
  int aclResult = 0;             // every NUVDmsACL... call [0]
  bool failStateReads = false;   // NUVDMSGetStateVariableValue fails [false]
  std::string interfaceAddress;  // NUVUtilGetInterfaceIPAddress; "" gives NULL ["192.168.1.10"]
  std::vector<std::pair<std::string, std::string>> interfaces;  // [{"eth0","192.168.1.10"}]
  int shareMode = 1;                                            // GetAllShareMode [1]
  int uiEventResult = 0;                                        // DmsSendEventToUI [0]

  // State variables by "serviceType|name"; defaults hold the ContentDirectory
  // values of a fresh device ("SystemUpdateID" "0", capabilities "").
  void setStateVariable(const std::string& service, const std::string& name,
                        const std::string& value);
  bool stateVariable(const std::string& service, const std::string& name, std::string* value) const;

  // Used by the fake functions themselves.
  void record(const std::string& name, std::vector<std::string> args);
  void addResponse(int connectionID, int actionID, const char* body);
  void addUiEvent(int event, const char* text1, const char* text2);
  void setCallbacks(const stNUVDMSCallbacks* callbacks, const char* dir);
  void requestMade();
  void requestReleased();

 private:
  FakeStack();
  mutable std::recursive_mutex mutex_;
  std::vector<FakeCall> calls_;
  std::vector<FakeResponse> responses_;
  std::vector<FakeUiEvent> uiEvents_;
  std::map<std::string, std::string> state_;
  stNUVDMSCallbacks callbacks_{};
  std::string descriptionDir_;
  int outstanding_ = 0;
};

#endif  // DMS_TESTS_FAKE_STACK_H
