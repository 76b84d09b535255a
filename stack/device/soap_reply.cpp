// Interpretation of response and fault bodies handed to NUVDMSSendResponse.
#include "soap_reply.h"

#include "stack_limits.h"
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

// Cuts at a UTF-8 character boundary at or below `limit` bytes.
std::string cutUtf8(std::string text, size_t limit) {
  if (text.size() <= limit) return text;
  size_t end = limit;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  text.resize(end);
  return text;
}

void readFault(std::string_view body, SoapReply* reply) {
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
    reply->errorDescription = upnpErrorText(kUpnpActionFailed);
    return;
  }
  reply->errorCode = code;
  std::string description = unescapeXml(trim(elementText(body, "errorDescription")));
  reply->errorDescription = description.empty() ? std::string(upnpErrorText(code))
                                                : cutUtf8(description, kMaxFaultDescriptionBytes);
}

}  // namespace

SoapReply interpretReply(std::string_view body) {
  SoapReply reply;
  size_t pos = firstElement(body);
  if (pos == std::string_view::npos) return reply;
  if (elementLocalName(body, pos) == "Fault") {
    readFault(body, &reply);
    return reply;
  }
  reply.kind = SoapReply::Kind::Response;
  reply.responseXml = std::string(trim(body.substr(pos)));
  return reply;
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
