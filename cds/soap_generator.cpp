// SOAPAppGenerator. See the header for the contract.
#include "soap_generator.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "action_info.h"
#include "dms_list.h"
#include "dms_string.h"
#include "nuv_log.h"
#include "soap_error_table.h"
#include "soap_message.h"

namespace {

std::mutex gInstanceMutex;
SOAPAppGenerator* gInstance = nullptr;

// Room reserved up front for a response body and added to a fault text.
constexpr unsigned int kResponseInitialRoom = 100;
constexpr unsigned int kFaultRoomBeyondText = 263;

const char* textOf(const DMSAppString* s) {
  return s != nullptr && s->ReadString() != nullptr ? s->ReadString() : "";
}

// The log line shows pointers as 32-bit numbers, as on the camera.
unsigned int pointerBits(const void* p) {
  return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(p));
}

}  // namespace

SOAPAppGenerator* SOAPAppGenerator::GetInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  if (gInstance == nullptr) gInstance = new SOAPAppGenerator();
  return gInstance;
}

void SOAPAppGenerator::DestroyInstance() {
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  delete gInstance;
  gInstance = nullptr;
}

int SOAPAppGenerator::GenerateSOAPBody(DMSAppString* serviceType, DMSAppString* actionName,
                                       DMSCDSList* outArguments, SOAPAppMessage* message) {
  NUVPrintf(NUV_LOG_INFO, "[SOAPAppGenerator::GenerateSOAPBody] 0x%x, 0x%x, 0x%x, 0x%x",
            pointerBits(serviceType), pointerBits(actionName), pointerBits(outArguments),
            pointerBits(message));
  if (serviceType == nullptr || actionName == nullptr || outArguments == nullptr ||
      message == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[SOAPAppGenerator::GenerateSOAPBody] Invalid Args!!!");
    return 1;
  }
  std::unique_ptr<DMSAppString> body(new (std::nothrow) DMSAppString(kResponseInitialRoom));
  if (body == nullptr || body->ReadString() == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[SOAPAppGenerator::GenerateSOAPBody] SOAP Message allocation fail!!!");
    return 1;
  }
  const char* name = textOf(actionName);
  // Joined in one growing buffer and stored once: appending to the string
  // itself resizes it to the exact length at every piece, and a Result is
  // tens of kilobytes.
  std::string text;
  text.append("<u:").append(name).append("Response xmlns:u=\"").append(textOf(serviceType));
  text.append("\">\r\n");
  const stDMSCDSListItem* item = outArguments->ReadFirstItem();
  for (int i = 0; i < outArguments->Size() && item != nullptr && item->data != nullptr;
       ++i, item = item->next) {
    const auto* argument = static_cast<const AppArgumentList*>(item->data);
    const char* argumentName = textOf(argument->name);
    text.append("<").append(argumentName).append(">").append(textOf(argument->value));
    text.append("</").append(argumentName).append(">\r\n");
  }
  text.append("</u:").append(name).append("Response>");
  body->Copy(text.c_str());
  if (body->GetStringLength() != text.size()) return 1;
  return message->SetSOAPBody(body.get()) == 0 ? 0 : 1;
}

int SOAPAppGenerator::GenerateErrorSOAPBody(int errorCode, DMSAppString* serviceType,
                                            SOAPAppMessage* message) {
  if (errorCode < 1 || message == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[SOAPAppGenerator] Invalid Args!!!");
    return 1;
  }
  const int service =
      dms_cds::soapServiceNumber(serviceType != nullptr ? serviceType->ReadString() : nullptr);
  const char* text = dms_cds::soapErrorText(errorCode, service);
  if (text == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[SOAPAppGenerator] Invalid Error code!!!");
    return 1;
  }
  std::unique_ptr<DMSAppString> body(new (std::nothrow) DMSAppString(
      static_cast<unsigned int>(strlen(text)) + kFaultRoomBeyondText));
  if (body == nullptr || body->ReadString() == nullptr) return 1;
  // The CR LF before </errorCode> and </errorDescription> belongs to the
  // format that control points already parse.
  const int written = body->Format(
      "<s:Fault>\r\n<faultcode>s:Client</faultcode>\r\n<faultstring>UPnPError</faultstring>\r\n"
      "<detail>\r\n<UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\">\r\n"
      "<errorCode>%d\r\n</errorCode>\r\n<errorDescription>%s\r\n</errorDescription>\r\n"
      "</UPnPError>\r\n</detail>\r\n</s:Fault>",
      errorCode, text);
  if (written == 0) return 1;
  return message->SetSOAPBody(body.get()) == 0 ? 0 : 1;
}
