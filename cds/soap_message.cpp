// SOAPAppMessage. See the header for the contract.
#include "soap_message.h"

#include <cstring>

#include "dms_conversions.h"
#include "dms_platform.h"
#include "dms_string.h"

namespace {

constexpr const char* kEnvelopeHead =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
    "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\r\n"
    "<s:Body>\r\n";
constexpr const char* kEnvelopeTail = "\r\n</s:Body>\r\n</s:Envelope>";

// A UTF-8 copy of `text` for DMSAppMemFree, or null when memory runs out.
char* utf8Copy(const char* text) {
  DMSAppString s(text);
  return DMSAppConversions::DMSAppConvertDMSAppStringToUTF8MA(&s);
}

}  // namespace

SOAPAppMessage::SOAPAppMessage()
    : body_(nullptr),
      bodyLength_(0),
      envelopeHead_(utf8Copy(kEnvelopeHead)),
      envelopeTail_(utf8Copy(kEnvelopeTail)),
      envelopeHeadLength_(DMSAppConversions::DMSAppGetANSILength(envelopeHead_)),
      envelopeTailLength_(DMSAppConversions::DMSAppGetANSILength(envelopeTail_)) {}

SOAPAppMessage::~SOAPAppMessage() {
  DMSAppMemFree(body_);
  DMSAppMemFree(envelopeHead_);
  DMSAppMemFree(envelopeTail_);
}

int SOAPAppMessage::SetSOAPBody(const DMSAppString* body) {
  if (body == nullptr) return 1;
  DMSAppMemFree(body_);
  body_ = nullptr;
  bodyLength_ = 0;
  char* converted = DMSAppConversions::DMSAppConvertDMSAppStringToUTF8MA(body);
  const unsigned int length = DMSAppConversions::DMSAppGetANSILength(converted);
  auto* copy = static_cast<char*>(DMSAppMemAllocMA(static_cast<unsigned long>(length) + 1));
  if (copy == nullptr) {
    DMSAppMemFree(converted);
    return 3;
  }
  memset(copy, 0, static_cast<size_t>(length) + 1);
  if (converted != nullptr) memcpy(copy, converted, length);
  body_ = copy;
  bodyLength_ = length;
  DMSAppMemFree(converted);
  return 0;
}
