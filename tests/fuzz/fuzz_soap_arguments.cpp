// Feeds arbitrary actions through the ContentDirectory dispatcher, as the
// stack would deliver them, and checks that every action gets exactly one
// reply (none only where an argument never appeared, which the service
// leaves unanswered on purpose), that the reply is a response or a fault,
// and that nothing is left behind.
//
// Input: one configuration byte, then fields separated by NUL bytes: the
// action name, then up to kMaxPairs name/value pairs (a missing value is
// empty). A field made of the single byte 0x01 stands for a null string.
// Configuration bits: 0 the camera hook takes unknown actions (and answers
// at once with a code chosen by bits 4-6), 1 state variables cannot be read,
// 2 no local address faces the client, 3 the streaming port is -1.
#include <strings.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app_cds.h"
#include "camera_actions.h"
#include "cds_impl_manager.h"
#include "dms_camera.h"
#include "dms_server.h"
#include "fake_stack.h"
#include "nuv_dms.h"
#include "nuv_log.h"

namespace {

constexpr size_t kMaxPairs = 8;
constexpr int kConnectionID = 5;
constexpr int kCameraCodes[] = {0, 1, 721, 801, 802, 803, 804, 402};

struct Field {
  bool isNull;
  std::string text;
};

int gCameraCode = 0;

int answeringHook(const char*, const char*, void* token, DmsRVFRespond respond) {
  respond(token, gCameraCode);
  return 1;
}

std::vector<Field> splitFields(const uint8_t* data, size_t size) {
  std::vector<Field> fields;
  size_t start = 0;
  for (size_t i = 0; i <= size && fields.size() < 1 + 2 * kMaxPairs; ++i) {
    if (i < size && data[i] != 0) continue;
    std::string text(reinterpret_cast<const char*>(data + start), i - start);
    fields.push_back({text == "\x01", text});
    start = i + 1;
  }
  return fields;
}

bool isAction(const Field& name, const char* action) {
  return !name.isNull && strcasecmp(name.text.c_str(), action) == 0;
}

bool hasName(const std::vector<Field>& fields, const char* wanted) {
  for (size_t i = 1; i < fields.size(); i += 2)
    if (!fields[i].isNull && strcasecmp(fields[i].text.c_str(), wanted) == 0) return true;
  return false;
}

// True where the service answers nothing on purpose: CreateObject,
// ImportResource or ExportResource whose arguments passed every check but
// one of the two required names never appeared.
bool mayStayUnanswered(const std::vector<Field>& fields) {
  const Field& action = fields[0];
  if (isAction(action, "CreateObject"))
    return !hasName(fields, "ContainerID") || !hasName(fields, "Elements");
  if (isAction(action, "ImportResource") || isAction(action, "ExportResource"))
    return !hasName(fields, "SourceURI") || !hasName(fields, "DestinationURI");
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static bool initialized = [] {
    NUVLogSetMask(0);  // logging would dominate the run time
    DMSAppSetDMSConnectionID(1);
    return true;
  }();
  (void)initialized;

  const uint8_t config = data[0];
  FakeStack& stack = FakeStack::instance();
  stack.reset();
  stack.setStateVariable("urn:schemas-upnp-org:service:ContentDirectory", "SortCapabilities",
                         "dc:title,dc:date");
  stack.failStateReads = (config & 2) != 0;
  if ((config & 4) != 0) stack.interfaceAddress = "";
  DMSAppSetHTTPStreamingPort((config & 8) != 0 ? -1 : 8200);
  gCameraCode = kCameraCodes[(config >> 4) & 7];
  DmsSetRVFHook((config & 1) != 0 ? answeringHook : nullptr);

  const std::vector<Field> fields = splitFields(data + 1, size - 1);
  const Field& action = fields[0];
  stNUVAppList* request =
      FakeStack::makeAction(action.isNull ? std::string() : action.text, "192.168.1.20", {});
  stNUVAppList* arguments = nullptr;
  if (HNuvDMSGetActionArgumentList(request, &arguments) != 0) abort();
  for (size_t i = 1; i < fields.size(); i += 2) {
    auto* pair = static_cast<stNUVArgument*>(malloc(sizeof(stNUVArgument)));
    const Field empty{false, ""};
    const Field& name = fields[i];
    const Field& value = i + 1 < fields.size() ? fields[i + 1] : empty;
    pair->name = name.isNull ? nullptr : strdup(name.text.c_str());
    pair->value = value.isNull ? nullptr : strdup(value.text.c_str());
    if (NUVListAddItem(arguments, pair) != 0) abort();
  }

  const int outstanding = stack.outstandingRequests();
  DMSAppCDSActionCallback(kConnectionID, 77, request);

  const std::vector<FakeResponse> responses = stack.responses();
  if (responses.size() > 1) abort();
  if (responses.empty() && !mayStayUnanswered(fields)) abort();
  for (const FakeResponse& response : responses) {
    if (response.connectionID != kConnectionID || response.actionID != 77) abort();
    if (response.body.rfind("<u:", 0) != 0 && response.body.rfind("<s:Fault>\r\n", 0) != 0) abort();
  }
  if (stack.outstandingRequests() != outstanding - 1) abort();
  if (UPnPCDSImplManager::GetInstance()->count() != 0) abort();
  if (dms_cds::pendingCameraActions() != 0) abort();
  return 0;
}
