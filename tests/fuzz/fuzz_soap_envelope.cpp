// Feeds arbitrary bytes to the stack's SOAP readers as a control point's
// request would reach them: the SOAPACTION header (the first line) and the
// envelope (the rest); and the same bytes as an answer of the media server
// to classify. Checks that what they report holds together.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "soap_reply.h"
#include "soap_request.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t newline = input.find('\n');
  std::string_view header = newline == std::string_view::npos ? input : input.substr(0, newline);
  std::string_view body =
      newline == std::string_view::npos ? std::string_view() : input.substr(newline + 1);

  std::string type;
  std::string action;
  if (dmsstack::parseSoapActionHeader(header, &type, &action) && (type.empty() || action.empty()))
    abort();

  constexpr size_t kLimit = 32;
  dmsstack::SoapRequest request;
  if (dmsstack::parseSoapRequest(body, kLimit, &request) == dmsstack::SoapParse::Ok) {
    if (request.action.empty() || request.serviceType.empty()) abort();
    if (request.arguments.size() > kLimit) abort();
  }

  dmsstack::SoapReply reply = dmsstack::interpretReply(input);
  switch (reply.kind) {
    case dmsstack::SoapReply::Kind::Response:
      if (reply.xml.empty() || reply.xml.front() != '<' || reply.xml.back() != '>') abort();
      break;
    case dmsstack::SoapReply::Kind::Fault:
      if (reply.errorCode < 100 || reply.errorCode > 999 || reply.xml.empty()) abort();
      break;
    case dmsstack::SoapReply::Kind::Invalid:
      if (reply.errorCode != 501) abort();
      break;
  }
  std::string wrapped = dmsstack::soapEnvelope(reply.xml);
  if (wrapped.size() < reply.xml.size()) abort();
  return 0;
}
