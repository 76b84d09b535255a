// Interpretation of response and fault bodies handed to NUVDMSSendResponse.
#include "soap_reply.h"

#include "xml_text.h"

namespace dmsstack {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Skips blanks, an XML declaration and comments before the first element.
size_t firstElement(std::string_view body) {
  size_t pos = 0;
  for (;;) {
    while (pos < body.size() && isBlank(body[pos])) ++pos;
    if (body.compare(pos, 2, "<?") == 0) {
      size_t end = body.find("?>", pos);
      if (end == std::string_view::npos) return std::string_view::npos;
      pos = end + 2;
    } else if (body.compare(pos, 4, "<!--") == 0) {
      size_t end = body.find("-->", pos);
      if (end == std::string_view::npos) return std::string_view::npos;
      pos = end + 3;
    } else {
      break;
    }
  }
  if (pos + 1 >= body.size() || body[pos] != '<') return std::string_view::npos;
  char c = body[pos + 1];
  if (c == '/' || c == '!' || isBlank(c) || c == '>') return std::string_view::npos;
  return pos;
}

std::string_view elementLocalName(std::string_view body, size_t pos) {
  size_t end = pos + 1;
  while (end < body.size() && !isBlank(body[end]) && body[end] != '>' && body[end] != '/') ++end;
  std::string_view qname = body.substr(pos + 1, end - pos - 1);
  size_t colon = qname.find(':');
  return colon == std::string_view::npos ? qname : qname.substr(colon + 1);
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

// A response must close the element it opens, so that a body cut short never
// reaches a control point: "<q ...>...</q>" or "<q .../>" (blanks around).
bool closesItsElement(std::string_view xml, size_t pos) {
  size_t nameEnd = pos + 1;
  while (nameEnd < xml.size() && !isBlank(xml[nameEnd]) && xml[nameEnd] != '>' &&
         xml[nameEnd] != '/' && xml[nameEnd] != '<')
    ++nameEnd;
  std::string_view qname = xml.substr(pos + 1, nameEnd - pos - 1);
  if (qname.empty()) return false;
  size_t open = xml.find('>', nameEnd);
  if (open == std::string_view::npos || xml.find('<', nameEnd) < open) return false;
  std::string_view rest = trim(xml.substr(open + 1));
  if (xml[open - 1] == '/') return rest.empty();
  const std::string closing = "</" + std::string(qname);
  if (rest.size() < closing.size() + 1 || rest.back() != '>') return false;
  std::string_view tail = trim(rest.substr(0, rest.size() - 1));
  return tail.size() >= closing.size() && tail.substr(tail.size() - closing.size()) == closing;
}

void readFault(std::string_view body, size_t pos, SoapReply* reply) {
  reply->kind = SoapReply::Kind::Fault;
  std::string codeText = unescapeXml(trim(elementText(body, "errorCode")));
  int code = 0;
  bool valid = !codeText.empty() && codeText.size() <= 3;
  for (char c : codeText) {
    if (c < '0' || c > '9') valid = false;
    if (valid) code = code * 10 + (c - '0');
  }
  if (!valid || code < 100) {
    reply->errorCode = kUpnpActionFailed;
    reply->xml = faultBody(kUpnpActionFailed, upnpErrorText(kUpnpActionFailed));
    return;
  }
  reply->errorCode = code;
  reply->xml = std::string(trim(body.substr(pos)));
}

}  // namespace

SoapReply interpretReply(std::string_view body) {
  SoapReply reply;
  size_t pos = firstElement(body);
  if (pos == std::string_view::npos) return reply;
  if (elementLocalName(body, pos) == "Fault") {
    readFault(body, pos, &reply);
    return reply;
  }
  std::string_view xml = trim(body.substr(pos));
  if (!closesItsElement(xml, 0)) return reply;
  reply.kind = SoapReply::Kind::Response;
  reply.xml = std::string(xml);
  return reply;
}

std::string faultBody(int code, std::string_view description) {
  return "<s:Fault><faultcode>s:Client</faultcode><faultstring>UPnPError</faultstring>"
         "<detail><UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\"><errorCode>" +
         std::to_string(code) + "</errorCode><errorDescription>" + escapeXml(description) +
         "</errorDescription></UPnPError></detail></s:Fault>";
}

std::string soapEnvelope(std::string_view body) {
  static constexpr std::string_view kHead =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
      "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
      "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\r\n<s:Body>\r\n";
  static constexpr std::string_view kTail = "\r\n</s:Body>\r\n</s:Envelope>";
  std::string text;
  text.reserve(kHead.size() + body.size() + kTail.size());
  text.append(kHead).append(body).append(kTail);
  return text;
}

const char* upnpErrorText(int code) {
  switch (code) {
    case kUpnpInvalidAction:
      return "Invalid Action";
    case kUpnpInvalidArgs:
      return "Invalid Args";
    case kUpnpNotAuthorized:
      return "Action not authorized";
    case kUpnpInvalidConnection:
      return "Invalid connection reference";
    default:
      return "Action Failed";
  }
}

}  // namespace dmsstack
