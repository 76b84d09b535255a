// A small device built on libdmsstack alone, for loopback tests of the stack.
//
// It writes minimal description files into --dir, starts the stack on the
// given address or interface and answers ContentDirectory actions itself with
// canned bodies, one behaviour per action name:
//   Browse              answered inside the callback, echoing its arguments
//                       (padded with 'x' to --result-bytes N, for measuring
//                       the stack with Results of a real page's size);
//   GetSystemUpdateID   answered 100 ms later from another thread with the
//                       current SystemUpdateID;
//   DestroyObject       a fault: 701 "No such object & <gone>";
//   GetSortCapabilities a body that is not XML (answered 501 by the stack);
//   GetSearchCapabilities never answered (answered 501 after the timeout);
//   anything else       a fault 401.
// Every callback is printed as one line on standard output ("READY url",
// "ACTION name ip arg=value...", "ACL mode event mac ip name",
// "EXCEPTION type address"). Commands come on standard input, one per line:
//   update SERVICE NAME VALUE | alive COUNT | admit | refuse | mode N |
//   rule PREFIX +|- | stop | start | quit
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "nuv_dms.h"
#include "nuv_log.h"

namespace {

const char* const kDeviceDescription =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<root xmlns=\"urn:schemas-upnp-org:device-1-0\" "
    "xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\">\n"
    "\t<specVersion><major>1</major><minor>0</minor></specVersion>\n"
    "\t<device>\n"
    "\t\t<dlna:X_DLNADOC xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\">DMS-1.50</dlna:X_DLNADOC>\n"
    "\t\t<deviceType>urn:schemas-upnp-org:device:MediaServer:1</deviceType>\n"
    "\t\t<friendlyName>Unnamed</friendlyName>\n"
    "\t\t<manufacturer>Harness</manufacturer>\n"
    "\t\t<modelName>Stack Harness</modelName>\n"
    "\t\t<UDN></UDN>\n"
    "\t\t<iconList>\n"
    "\t\t\t<icon><mimetype>image/jpeg</mimetype><width>48</width><height>48</height>"
    "<depth>24</depth><url>/icon_48x48.jpg</url></icon>\n"
    "\t\t\t<icon><mimetype>image/jpeg</mimetype><width>120</width><height>120</height>"
    "<depth>24</depth><url>/icon_120x120.jpg</url></icon>\n"
    "\t\t\t<icon><mimetype>image/png</mimetype><width>48</width><height>48</height>"
    "<depth>24</depth><url>/icon_48x48.png</url></icon>\n"
    "\t\t\t<icon><mimetype>image/png</mimetype><width>120</width><height>120</height>"
    "<depth>24</depth><url>/icon_120x120.png</url></icon>\n"
    "\t\t</iconList>\n"
    "\t\t<serviceList>\n"
    "\t\t\t<service>\n"
    "\t\t\t\t<serviceType>urn:schemas-upnp-org:service:ConnectionManager:1</serviceType>\n"
    "\t\t\t\t<serviceId>urn:upnp-org:serviceId:ConnectionManager</serviceId>\n"
    "\t\t\t\t<SCPDURL>/ConnectionManager_1.xml</SCPDURL>\n"
    "\t\t\t\t<controlURL>/_urn:schemas-upnp-org:service:ConnectionManager_control</controlURL>\n"
    "\t\t\t\t<eventSubURL>/_urn:schemas-upnp-org:service:ConnectionManager_event</eventSubURL>\n"
    "\t\t\t</service>\n"
    "\t\t\t<service>\n"
    "\t\t\t\t<serviceType>urn:schemas-upnp-org:service:ContentDirectory:1</serviceType>\n"
    "\t\t\t\t<serviceId>urn:upnp-org:serviceId:ContentDirectory</serviceId>\n"
    "\t\t\t\t<SCPDURL>/ContentDirectory_1.xml</SCPDURL>\n"
    "\t\t\t\t<controlURL>/_urn:schemas-upnp-org:service:ContentDirectory_control</controlURL>\n"
    "\t\t\t\t<eventSubURL>/_urn:schemas-upnp-org:service:ContentDirectory_event</eventSubURL>\n"
    "\t\t\t</service>\n"
    "\t\t</serviceList>\n"
    "\t</device>\n"
    "</root>\n";

std::string scpd(const std::string& actions, const std::string& variables) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
         "<scpd xmlns=\"urn:schemas-upnp-org:service-1-0\">\n"
         "<specVersion><major>1</major><minor>0</minor></specVersion>\n"
         "<actionList>" +
         actions + "</actionList>\n<serviceStateTable>" + variables +
         "</serviceStateTable>\n</scpd>\n";
}

std::string action(const std::string& name, const std::string& arguments) {
  return "<action><name>" + name + "</name><argumentList>" + arguments +
         "</argumentList></action>\n";
}

std::string argument(const std::string& name, bool in, const std::string& variable) {
  return "<argument><name>" + name + "</name><direction>" + (in ? "in" : "out") +
         "</direction><relatedStateVariable>" + variable + "</relatedStateVariable></argument>";
}

std::string variable(const std::string& name, bool evented, const std::string& type) {
  return std::string("<stateVariable sendEvents=\"") + (evented ? "yes" : "no") + "\"><name>" +
         name + "</name><dataType>" + type + "</dataType></stateVariable>\n";
}

std::string contentDirectoryScpd() {
  return scpd(
      action("Browse", argument("ObjectID", true, "A_ARG_TYPE_ObjectID") +
                           argument("BrowseFlag", true, "A_ARG_TYPE_BrowseFlag") +
                           argument("Result", false, "A_ARG_TYPE_Result")) +
          action("GetSystemUpdateID", argument("Id", false, "SystemUpdateID")) +
          action("GetSortCapabilities", argument("SortCaps", false, "SortCapabilities")) +
          action("GetSearchCapabilities", argument("SearchCaps", false, "SearchCapabilities")) +
          action("DestroyObject", argument("ObjectID", true, "A_ARG_TYPE_ObjectID")),
      variable("A_ARG_TYPE_ObjectID", false, "string") +
          variable("A_ARG_TYPE_BrowseFlag", false, "string") +
          variable("A_ARG_TYPE_Result", false, "string") +
          variable("SortCapabilities", false, "string") +
          variable("SearchCapabilities", false, "string") +
          variable("SystemUpdateID", true, "ui4") + variable("ContainerUpdateIDs", true, "string") +
          variable("TransferIDs", true, "string"));
}

std::string connectionManagerScpd() {
  return scpd(action("GetProtocolInfo", argument("Source", false, "SourceProtocolInfo") +
                                            argument("Sink", false, "SinkProtocolInfo")) +
                  action("GetCurrentConnectionIDs",
                         argument("ConnectionIDs", false, "CurrentConnectionIDs")) +
                  action("GetCurrentConnectionInfo",
                         argument("ConnectionID", true, "A_ARG_TYPE_ConnectionID")),
              variable("SourceProtocolInfo", true, "string") +
                  variable("SinkProtocolInfo", true, "string") +
                  variable("CurrentConnectionIDs", true, "string") +
                  variable("A_ARG_TYPE_ConnectionID", false, "i4"));
}

bool writeFile(const std::string& path, const std::string& text) {
  FILE* file = fopen(path.c_str(), "w");
  if (file == nullptr) return false;
  bool ok = fwrite(text.data(), 1, text.size(), file) == text.size();
  return fclose(file) == 0 && ok;
}

std::mutex gOutputMutex;
std::vector<std::thread> gLateAnswers;  // guarded by gOutputMutex
int gConnection = -1;

void say(const std::string& line) {
  std::lock_guard<std::mutex> lock(gOutputMutex);
  std::cout << line << std::endl;
}

std::string escape(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '<') {
      out += "&lt;";
    } else if (c == '>') {
      out += "&gt;";
    } else if (c == '&') {
      out += "&amp;";
    } else {
      out += c;
    }
  }
  return out;
}

size_t gResultBytes = 0;  // --result-bytes

void onAction(int connectionID, int actionID, stNUVAppList* request) {
  char* name = nullptr;
  char* ip = nullptr;
  stNUVAppList* arguments = nullptr;
  HNuvDMSGetActionName(request, &name);
  HNuvDMSGetCPIPAddress(request, &ip);
  HNuvDMSGetActionArgumentList(request, &arguments);
  std::string action = name != nullptr ? name : "?";
  std::string line = "ACTION " + action + " " + (ip != nullptr ? ip : "?");
  std::string echo;
  for (int i = 0; i < NUVListGetCount(arguments); ++i) {
    auto* arg = static_cast<stNUVArgument*>(NUVListGetItemData(arguments, i));
    line += std::string(" ") + arg->name + "=" + arg->value;
    echo += std::string(arg->name) + "=" + arg->value + ";";
  }
  HNuvDMSReleaseUIRequestData(request);
  say(line);
  const std::string cds = "xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\"";
  if (action == "Browse") {
    std::string result = escape(escape(echo));
    if (result.size() < gResultBytes) result.append(gResultBytes - result.size(), 'x');
    std::string body = "<u:BrowseResponse " + cds + "><Result>" + result +
                       "</Result><NumberReturned>0</NumberReturned><TotalMatches>0</TotalMatches>"
                       "<UpdateID>0</UpdateID></u:BrowseResponse>";
    NUVDMSSendResponse(connectionID, actionID, body.c_str());
  } else if (action == "GetSystemUpdateID") {
    std::lock_guard<std::mutex> lock(gOutputMutex);
    gLateAnswers.emplace_back([connectionID, actionID, cds] {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      char* value = nullptr;
      NUVDMSGetStateVariableValue(connectionID, "urn:schemas-upnp-org:service:ContentDirectory",
                                  "SystemUpdateID", &value);
      std::string body = "<u:GetSystemUpdateIDResponse " + cds + "><Id>" +
                         (value != nullptr ? value : "") + "</Id></u:GetSystemUpdateIDResponse>";
      free(value);
      NUVDMSSendResponse(connectionID, actionID, body.c_str());
    });
  } else if (action == "DestroyObject") {
    NUVDMSSendResponse(
        connectionID, actionID,
        "<s:Fault><faultcode>s:Client</faultcode><faultstring>UPnPError"
        "</faultstring><detail><UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\">"
        "<errorCode>701</errorCode><errorDescription>No such object &amp; "
        "&lt;gone&gt;</errorDescription></UPnPError></detail></s:Fault>");
  } else if (action == "GetSortCapabilities") {
    NUVDMSSendResponse(connectionID, actionID, "<u:GetSortCapabilitiesResponse <broken");
  } else if (action == "GetSearchCapabilities") {
    // Never answered: the stack answers 501 when its timeout ends.
  } else {
    NUVDMSSendResponse(connectionID, actionID,
                       "<s:Fault><detail><UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\">"
                       "<errorCode>401</errorCode>"
                       "<errorDescription>Invalid Action</errorDescription></UPnPError></detail>"
                       "</s:Fault>");
  }
}

void onException(stNUVAppList* exception) {
  char* address = nullptr;
  HNuvGetNICExceptionInfo(exception, &address);
  say("EXCEPTION " + std::to_string(HNuvGetTypeOfException(exception)) + " " +
      (address != nullptr ? address : "?"));
  HNuvReleaseExceptionResource(exception);
}

void onAcl(int, stNUVAppList* request) {
  const char* mac = HNuvDMSGetACLMacADDR(request);
  say("ACL " + std::to_string(HNuvDMSGetACLTYPE(request)) + " " +
      std::to_string(HNuvDMSGetACLEventType(request)) + " [" + (mac != nullptr ? mac : "?") + "] " +
      HNuvDMSGetACLIPAddr(request) + " [" + HNuvDMSGetACLDeviceName(request) + "]");
  HNuvDMSReleaseUIRequestData(request);
}

struct Options {
  std::string dir;
  std::string address;
  std::string interfaceName;
  int port = 0;
  int timeoutMs = 0;
  int aclMode = -1;
};

bool parse(int argc, char** argv, Options* options) {
  for (int i = 1; i + 1 < argc; i += 2) {
    std::string key = argv[i];
    std::string value = argv[i + 1];
    if (key == "--dir") {
      options->dir = value;
    } else if (key == "--address") {
      options->address = value;
    } else if (key == "--interface") {
      options->interfaceName = value;
    } else if (key == "--port") {
      options->port = atoi(value.c_str());
    } else if (key == "--timeout-ms") {
      options->timeoutMs = atoi(value.c_str());
    } else if (key == "--result-bytes") {
      gResultBytes = static_cast<size_t>(strtoul(value.c_str(), nullptr, 10));
    } else if (key == "--acl-mode") {
      options->aclMode = atoi(value.c_str());
    } else {
      return false;
    }
  }
  return !options->dir.empty() && (argc % 2) == 1;
}

bool start(int maxAge) {
  if (NUVDMSStart(gConnection, maxAge, 0) != 0) return false;
  char* url = NUVDMSGetDescriptionURLMA(gConnection);
  say(std::string("READY ") + (url != nullptr ? url : "?"));
  free(url);
  return true;
}

int runCommand(const std::string& line) {
  std::istringstream words(line);
  std::string command;
  words >> command;
  if (command == "update") {
    std::string service, name, value;
    words >> service >> name;
    std::getline(words, value);
    if (!value.empty() && value[0] == ' ') value.erase(0, 1);
    return NUVDMSUpdateStateVariableValue(gConnection, service.c_str(), name.c_str(),
                                          value.c_str());
  }
  if (command == "alive") {
    int count = 0;
    words >> count;
    return NUVDMSSendAliveTemporary(gConnection, count, 0);
  }
  if (command == "admit" || command == "refuse")
    return NUVDmsACLAddEntry(gConnection, command == "admit" ? NUV_ACL_ADMIT : NUV_ACL_REFUSE,
                             NUV_ACL_ENTRY_PENDING, "1.1.1.1", "DEV_MELONG");
  if (command == "mode") {
    int mode = 0;
    words >> mode;
    return NUVDmsACLSetMode(gConnection, mode);
  }
  if (command == "rule") {
    std::string prefix, rule;
    words >> prefix >> rule;
    return NUVDmsACLAddDevNameFilterRule(gConnection, prefix.c_str(), 0, rule.c_str());
  }
  if (command == "stop") return NUVDMSStop(gConnection);
  if (command == "start") return start(0) ? 0 : 1;
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!parse(argc, argv, &options)) {
    fprintf(stderr,
            "usage: stack_harness --dir DIR [--address IP | --interface NAME] [--port N] "
            "[--timeout-ms N] [--acl-mode N] [--result-bytes N]\n");
    return 2;
  }
  NUVLogSetMask(NUV_LOG_ERROR | NUV_LOG_INFO);
  // The robustness tests hold a thousand connections at once.
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  const std::string description = options.dir + "/DeviceDescription.xml";
  if (!writeFile(description, kDeviceDescription) ||
      !writeFile(options.dir + "/ContentDirectory_1.xml", contentDirectoryScpd()) ||
      !writeFile(options.dir + "/ConnectionManager_1.xml", connectionManagerScpd())) {
    fprintf(stderr, "stack_harness: cannot write the description files\n");
    return 1;
  }
  if (NUVSetDeviceName(description.c_str(), "[Camera]Harness & Co") != 0) return 1;
  if (!options.interfaceName.empty()) {
    if (NUVDMSSetBindInterface(options.interfaceName.c_str()) != 0) return 1;
  } else if (!options.address.empty() && NUVDMSSetBindAddress(options.address.c_str()) != 0) {
    return 1;
  }
  if (NUVDMSSetPort(options.port) != 0) return 1;
  if (options.timeoutMs > 0 && NUVDMSSetActionTimeout(options.timeoutMs) != 0) return 1;
  stNUVDMSCallbacks callbacks = {onAction, nullptr, onException, onAcl};
  if (NUVDMSInitialize(&callbacks, options.dir.c_str(), &gConnection) != 0) return 1;
  if (!start(0)) return 1;
  if (NUVDmsACLInitialize(gConnection) != 0) return 1;
  if (options.aclMode >= 0 && NUVDmsACLSetMode(gConnection, options.aclMode) != 0) return 1;

  std::string line;
  while (std::getline(std::cin, line)) {
    if (line == "quit") break;
    say("RESULT " + std::to_string(runCommand(line)));
  }
  std::vector<std::thread> lateAnswers;
  {
    std::lock_guard<std::mutex> lock(gOutputMutex);
    lateAnswers.swap(gLateAnswers);
  }
  for (std::thread& thread : lateAnswers) thread.join();
  NUVDmsACLTerminate(gConnection);
  NUVDMSStop(gConnection);
  int terminated = NUVDMSTerminate(gConnection);
  say("BYE " + std::to_string(terminated));
  return terminated == 1 ? 0 : 1;
}
