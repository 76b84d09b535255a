// The stack's own ConnectionManager:1 actions.
#include "connection_manager.h"

#include "soap_reply.h"
#include "xml_text.h"

namespace dmsstack {

namespace {

constexpr const char* kServiceUrn = "urn:schemas-upnp-org:service:ConnectionManager:1";

std::string response(const std::string& action, const NameValueList& outArguments) {
  std::string body = "<u:" + action + "Response xmlns:u=\"" + kServiceUrn + "\">";
  for (const auto& [name, value] : outArguments)
    body += "<" + name + ">" + escapeXml(value) + "</" + name + ">";
  body += "</u:" + action + "Response>";
  return body;
}

std::string current(const StateTable& table, const char* name) {
  std::string value;
  table.get(kConnectionManagerType, name, &value);
  return value;
}

CmAnswer connectionInfo(const NameValueList& arguments) {
  const std::string* id = nullptr;
  for (const auto& argument : arguments)
    if (argument.first == "ConnectionID") id = &argument.second;
  if (id == nullptr || id->empty() || id->size() > 10) return CmAnswer{kUpnpInvalidArgs, ""};
  size_t digitsFrom = (*id)[0] == '-' ? 1 : 0;
  if (digitsFrom == id->size()) return CmAnswer{kUpnpInvalidArgs, ""};
  for (size_t i = digitsFrom; i < id->size(); ++i)
    if ((*id)[i] < '0' || (*id)[i] > '9') return CmAnswer{kUpnpInvalidArgs, ""};
  if (id->find_first_not_of('0', digitsFrom) != std::string::npos)
    return CmAnswer{kUpnpInvalidConnection, ""};
  return CmAnswer{0, response("GetCurrentConnectionInfo", {{"RcsID", "-1"},
                                                           {"AVTransportID", "-1"},
                                                           {"ProtocolInfo", ""},
                                                           {"PeerConnectionManager", ""},
                                                           {"PeerConnectionID", "-1"},
                                                           {"Direction", "Output"},
                                                           {"Status", "OK"}})};
}

}  // namespace

CmAnswer answerConnectionManager(const std::string& action, const NameValueList& arguments,
                                 const StateTable& table) {
  if (action == "GetProtocolInfo") {
    return CmAnswer{0, response(action, {{"Source", current(table, "SourceProtocolInfo")},
                                         {"Sink", current(table, "SinkProtocolInfo")}})};
  }
  if (action == "GetCurrentConnectionIDs")
    return CmAnswer{0,
                    response(action, {{"ConnectionIDs", current(table, "CurrentConnectionIDs")}})};
  if (action == "GetCurrentConnectionInfo") return connectionInfo(arguments);
  return CmAnswer{kUpnpInvalidAction, ""};
}

}  // namespace dmsstack
