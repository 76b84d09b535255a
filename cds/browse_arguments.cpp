// The Browse argument decoder: argument rules, the base URL of resource links
// and the final checks, in that order.
#include <cstring>

#include "action_arguments.h"
#include "browse_search_argument.h"
#include "cds_limits.h"
#include "dms_conversions.h"
#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "dms_server.h"
#include "nuv_log.h"

namespace dms_cds {
namespace {

const char* textOf(const DMSAppString* s) {
  return s != nullptr && s->ReadString() != nullptr ? s->ReadString() : "";
}

int refuse(int code) {
  NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__Browse] Invalid Argument!!!");
  return code;
}

// "P$C": parent P, object C. Otherwise the whole value names a container,
// whose parent is "-1" for the root "0" and "0" for any other.
int decodeObjectID(const DMSAppString& value, BrowseSearchArgument* out) {
  const char* text = textOf(&value);
  const unsigned int length = static_cast<unsigned int>(strlen(text));
  if (const char* dollar = strchr(text, '$')) {
    const unsigned int position = static_cast<unsigned int>(dollar - text);
    out->SetParentContainerID(copyBytes(value, 0, position).release());
    out->SetContainerID(copyBytes(value, position + 1, length - position - 1).release());
  } else {
    out->SetContainerID(copyString(&value));
    out->SetParentContainerID(new (std::nothrow) DMSAppString(strcmp(text, "0") == 0 ? "-1" : "0"));
  }
  return out->GetContainerID() != nullptr && out->GetParentContainerID() != nullptr ? 0 : 1;
}

int decodeStartingIndex(const DMSAppString& value, BrowseSearchArgument* out) {
  // Text that is no number reads as 0 and is accepted.
  const int start = value.ConvertStringToInt();
  if (start < 0) return refuse(402);
  out->SetStartIndex(start);
  return 0;
}

int decodeRequestedCount(const DMSAppString& value, BrowseSearchArgument* out) {
  int64_t count = value.ConvertStringToInt64();
  // The conversion reads non-numbers as 0, so a 0 must have been written "0".
  if (count == 0 && value.Compare("0") != 0) return refuse(402);
  if (count < 0 || count > kMaxRequestedCountValue) return refuse(402);
  if (count > kMaxBrowseRequestedCount) count = kMaxBrowseRequestedCount;
  out->SetRequestedCount(static_cast<int>(count));
  return 0;
}

// Accepted when the whole text occurs in the SortCapabilities state variable
// (so "" always passes); it is kept, not applied.
int decodeSortCriteria(const DMSAppString& value, const DMSAppString* serviceType,
                       BrowseSearchArgument* out) {
  std::unique_ptr<DMSAppString> capabilities(
      DMSAppGetStateVariableValue(textOf(serviceType), "SortCapabilities"));
  if (capabilities == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__Browse] DMSAPP_UPNP_OUT_OF_MEMORY!!!");
    return 603;
  }
  if (capabilities->Find(&value) < 0) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__Browse] Unsupported SortCriteria!!!");
    return 709;
  }
  out->SetSortCriteria(copyString(&value));
  return out->GetSortCriteria() != nullptr ? 0 : 1;
}

int decodeArgument(const DMSAppString& name, DMSAppString& value, const DMSAppString* serviceType,
                   BrowseSearchArgument* out) {
  if (name.CompareI("ObjectID") == 0) return decodeObjectID(value, out);
  if (name.CompareI("BrowseFlag") == 0) {
    if (textOf(&value)[0] == '\0') return refuse(402);
    out->SetQueryString(copyString(&value));
    return out->GetQueryString() != nullptr ? 0 : 1;
  }
  if (name.CompareI("Filter") == 0) {
    out->SetFilter(textOf(&value)[0] == '\0' ? new (std::nothrow) DMSAppString("*")
                                             : copyString(&value));
    return out->GetFilter() != nullptr ? 0 : 1;
  }
  if (name.CompareI("StartingIndex") == 0) return decodeStartingIndex(value, out);
  if (name.CompareI("RequestedCount") == 0) return decodeRequestedCount(value, out);
  if (name.CompareI("SortCriteria") == 0) return decodeSortCriteria(value, serviceType, out);
  return refuse(402);
}

// Only logs: a client outside the server's network still gets its answer.
// The compared prefix ends one character before the third "." of the local
// address ("192.168." for 192.168.1.10); an address without three dots is
// not compared.
void logIfOtherNetwork(const char* local, const char* request) {
  int dots = 0;
  size_t third = 0;
  for (size_t i = 0; local[i] != '\0'; ++i) {
    if (local[i] == '.' && ++dots == 3) {
      third = i;
      break;
    }
  }
  if (dots < 3 || third < 2) return;
  if (strncmp(local, request, third - 1) == 0) return;
  NUVPrintf(NUV_LOG_INFO, "[UPnPAppCDS::__Browse] Client's IP is INVALID!!!");
  NUVPrintf(NUV_LOG_INFO, "[UPnPAppCDS::__Browse] Local IP = %s, Request IP = %s", local, request);
}

// "http://LOCAL:PORT" with the local address that faces the control point.
int buildBaseURL(const DMSAppActionInfo* record, BrowseSearchArgument* out) {
  DMSAppMemText requestIP(
      DMSAppConversions::DMSAppConvertDMSAppStringToANSIMA(record->ReadIPAddress()));
  if (requestIP == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__Browse] Memory allocation error for pszIP");
    return 402;
  }
  std::unique_ptr<DMSAppString> local(DMSAppDMSGetClientInterfaceIPAddressMA(requestIP.get()));
  if (local == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__Browse] Invalid IP Address!!!");
    return 402;
  }
  const int port = DMSAppGetHTTPStreamingPort();
  const char* localText = textOf(local.get());
  if (localText[0] == '\0' || port == -1) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__Browse] Invalid IP Address pszIP or Invalid port!!!");
    return 1;
  }
  logIfOtherNetwork(localText, requestIP.get());
  std::unique_ptr<DMSAppString> url(new (std::nothrow) DMSAppString(127u));
  if (url == nullptr || url->ReadString() == nullptr ||
      url->Format("http://%s:%d", localText, port) == 0) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__Browse] Memory allocation fail for tmpURLBase!!!");
    return 1;
  }
  out->SetBaseURL(url.release());
  return 0;
}

int finalChecks(const BrowseSearchArgument& request) {
  if (request.GetContainerID() == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__Browse] No such Object!!!");
    return 701;
  }
  if (request.GetFilter() == nullptr) return refuse(402);
  if (request.GetQueryString() != nullptr &&
      request.GetQueryString()->Compare("BrowseMetadata") == 0 && request.GetStartIndex() != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[UPnPAppCDS::__Browse] Invalid starting index!!!");
    return 402;
  }
  return 0;
}

}  // namespace

int decodeBrowseArguments(DMSAppActionInfo* record, const DMSAppString* serviceType,
                          BrowseSearchArgument* out) {
  if (argumentCount(record) < kBrowseMinArguments) return refuseArgumentCount("__Browse");
  int code = forEachArgument(record, [&](const DMSAppString& name, DMSAppString& value) {
    return decodeArgument(name, value, serviceType, out);
  });
  if (code == 0) code = buildBaseURL(record, out);
  if (code == 0) code = finalChecks(*out);
  return code;
}

}  // namespace dms_cds
