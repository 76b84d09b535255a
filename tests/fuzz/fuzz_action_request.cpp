// Feeds arbitrary bytes to the device side's path from a SOAP envelope to the
// action request the media server receives: the first line is the control
// point's address, the rest the body. A body that parses becomes the handle
// of the action callback, which is read back through the accessors the
// media server uses (cds/app_cds_dispatch.cpp) and released as it releases
// it; what it reads must be what was parsed.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "handles.h"
#include "nuv_dms.h"
#include "nuv_list.h"
#include "soap_request.h"
#include "stack_limits.h"

namespace {

void check(bool condition) {
  if (!condition) abort();
}

// Every argument of the list, walked with the list's cursor as the media
// server walks it, equals the parsed one in the same place.
void checkArguments(stNUVAppList* arguments, const dmsstack::NameValueList& parsed) {
  check(NUVListGetCount(arguments) == static_cast<int>(parsed.size()));
  check((NUVListSetFirstItem(arguments) == 0) == !parsed.empty());
  size_t index = 0;
  for (void* data = NUVListGetCurrentItemData(arguments); data != nullptr;
       data = NUVListGetNextItem(arguments) != nullptr ? NUVListGetCurrentItemData(arguments)
                                                       : nullptr) {
    check(index < parsed.size());
    const auto* pair = static_cast<const stNUVArgument*>(data);
    check(pair->name != nullptr && pair->value != nullptr);
    check(parsed[index].first == pair->name && parsed[index].second == pair->value);
    ++index;
  }
  check(index == parsed.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t newline = input.find('\n');
  // libsoup gives the address as a C string: it ends at its first NUL.
  std::string_view address = input.substr(0, newline);
  address = address.substr(0, address.find('\0'));
  const std::string_view body =
      newline == std::string_view::npos ? std::string_view() : input.substr(newline + 1);
  // The control server answers larger bodies itself (413).
  if (body.size() > dmsstack::kMaxSoapRequestBytes) return 0;

  dmsstack::SoapRequest parsed;
  if (dmsstack::parseSoapRequest(body, dmsstack::kMaxActionArguments, &parsed) !=
      dmsstack::SoapParse::Ok) {
    return 0;
  }
  check(!parsed.action.empty() && !parsed.serviceType.empty());
  check(parsed.arguments.size() <= dmsstack::kMaxActionArguments);

  const int before = dmsstack::outstandingHandles();
  stNUVAppList* request =
      dmsstack::makeActionRequest(parsed.action, std::string(address), parsed.arguments);
  check(request != nullptr);
  check(dmsstack::outstandingHandles() == before + 1);

  char* name = nullptr;
  check(HNuvDMSGetActionName(request, &name) == 0 && name != nullptr);
  check(parsed.action == name);
  char* ip = nullptr;
  check(HNuvDMSGetCPIPAddress(request, &ip) == 0 && ip != nullptr);
  check(address == ip);
  stNUVAppList* arguments = nullptr;
  check(HNuvDMSGetActionArgumentList(request, &arguments) == 0 && arguments != nullptr);
  checkArguments(arguments, parsed.arguments);
  // A second walk, after the first left the cursor on the last item.
  checkArguments(arguments, parsed.arguments);

  // An action request answers none of the other handles' accessors.
  check(HNuvGetTypeOfException(request) == -1);
  check(HNuvDMSGetACLTYPE(request) == -1);
  check(HNuvDMSGetACLIPAddr(request) == nullptr);

  check(HNuvDMSReleaseUIRequestData(request) == 0);
  check(dmsstack::outstandingHandles() == before);
  return 0;
}
