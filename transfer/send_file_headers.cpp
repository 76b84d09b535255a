// SendFileThruGet: the DLNA request checks and the response headers (see
// send_file_thru_get.h).
#include <strings.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dms_string.h"
#include "media_db_schema.h"
#include "multimedia_db_connector.h"
#include "nuv_config.h"
#include "nuv_log.h"
#include "range_header.h"
#include "send_file_thru_get.h"

namespace {

constexpr const char* kFlagsStreaming = "DLNA.ORG_FLAGS=01500000000000000000000000000000";
constexpr const char* kFlagsInteractive = "DLNA.ORG_FLAGS=00D00000000000000000000000000000";

bool startsWith(const char* text, const char* prefix) {
  return text != nullptr && strncmp(text, prefix, strlen(prefix)) == 0;
}

// Case-insensitive search, as the MIME checks need.
bool containsNoCase(const char* text, const char* word) {
  return text != nullptr && strcasestr(text, word) != nullptr;
}

}  // namespace

DMSAppMemText SendFileThruGet::__GetDlnaHeaders(const char* name) const {
  if (request_ == nullptr) return nullptr;
  return DMSAppMemText(NUVHTTPGetAdditionalHeaderValue(request_->additionalHeaders, name));
}

DMSAppMemText SendFileThruGet::_GetValueOfHeader(const char* name) const {
  return __GetDlnaHeaders(name);
}

int SendFileThruGet::__GetRangeList(const char* value, DMSCDSList* ranges) {
  return dms_transfer::ParseRangeList(value, ranges);
}

int SendFileThruGet::__GetRange(DMSCDSList* ranges, int64_t* start, int64_t* end) {
  return dms_transfer::MergeRanges(ranges, start, end);
}

int SendFileThruGet::__FindResponseType(DMSCDSList* ranges) {
  return dms_transfer::FindResponseType(ranges);
}

bool SendFileThruGet::__CheckContentFeatures() const {
  DMSAppMemText value = __GetDlnaHeaders("getcontentFeatures.dlna.org");
  if (value == nullptr || atoi(value.get()) == 1) return true;
  NUVPrintf(NUV_LOG_ERROR,
            "[SendFileThruGet:HandleHeader] Invalid header getcontentFeatures.dlna.org");
  return false;
}

bool SendFileThruGet::__CheckHostField() const {
  if (request_->notHttp10 == 0 || request_->hostPresent != 0) return true;
  NUVPrintf(NUV_LOG_ERROR,
            "[SendFileThruGet:HandleHeader] There is no HOST field, even if it isn't HTTP 1.0 "
            "request");
  return false;
}

bool SendFileThruGet::__CheckTimeSeekRange() const {
  if (__GetDlnaHeaders("TimeSeekRange.dlna.org") == nullptr) return true;
  NUVPrintf(NUV_LOG_ERROR, "[SendFileThruGet:HandleHeader] We doesn't support time based seek!!!");
  return false;
}

bool SendFileThruGet::__CheckTrnasferMode(const char* mime, int* status) const {
  *status = 200;
  DMSAppMemText mode = __GetDlnaHeaders("transferMode.dlna.org");
  if (mode == nullptr) return true;
  if (startsWith(mode.get(), "Streaming") && startsWith(mime, "image")) {
    *status = 406;
  } else if (startsWith(mode.get(), "Interactive")) {
    if (startsWith(mime, "video") || startsWith(mime, "audio")) {
      *status = 406;
    } else if (strstr(mime, "image") != nullptr &&
               (__GetDlnaHeaders("PlaySpeed.dlna.org") != nullptr ||
                __GetDlnaHeaders("realTimeInfo.dlna.org") != nullptr)) {
      *status = 400;
    }
  }
  return *status == 200;
}

void SendFileThruGet::__AddContentFeaturesResponseHeader(stNUVAppList* headers) const {
  if (__GetDlnaHeaders("getcontentFeatures.dlna.org") == nullptr) return;
  const std::string features = __GetContetFeatures(uri_.c_str());
  if (features.empty()) {
    NUVPrintf(NUV_LOG_ERROR,
              "[SendFileThruGet:HandleHeader] Invalid response getcontentfeatures.dlna.org!!!");
    return;
  }
  NUVHTTPAddAdditionalHeaderValue(headers, "contentFeatures.dlna.org", features.c_str());
}

void SendFileThruGet::__AddTransferModeResponseHeader(stNUVAppList* headers,
                                                      const char* mime) const {
  DMSAppMemText asked = __GetDlnaHeaders("transferMode.dlna.org");
  const char* mode = "Interactive";
  if (asked != nullptr) {
    mode = asked.get();
  } else if ((containsNoCase(mime, "video") || containsNoCase(mime, "audio")) &&
             !containsNoCase(mime, "image")) {
    mode = "Streaming";
  }
  NUVHTTPAddAdditionalHeaderValue(headers, "transferMode.dlna.org", mode);
}

void SendFileThruGet::__AddConnectionResponseHeader(NUVHTTPResponseHeaderInfo* response) const {
  free(response->connection);
  response->connection = strdup("close");
}

std::string SendFileThruGet::__GetRangeValue(int64_t start, int64_t end, int64_t total) {
  char text[96];
  snprintf(text, sizeof(text), "bytes %lld-%lld/%lld", static_cast<long long>(start),
           static_cast<long long>(end), static_cast<long long>(total));
  return text;
}

std::string SendFileThruGet::__GetContetFeatures(const char* path) const {
  std::string features = "DLNA.ORG_PN=";
  if (startsWith(path, MEDIA_DB_THUMBNAIL_URI)) {
    return features + "JPEG_TN" + ";" + "DLNA.ORG_OP=01;" + "DLNA.ORG_CI=1;" + kFlagsInteractive;
  }
  if (startsWith(path, MEDIA_DB_SCREENNAIL_URI)) {
    features += std::string("JPEG_SM") + ";" + "DLNA.ORG_OP=01;";
    if (NUVGetDlnaCertificationState() != 0) features += "DLNA.ORG_CI=1;";
    return features + kFlagsInteractive;
  }
  DMSAppString uri(path);
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  DMSAppString* profile = db != nullptr ? db->GetDLNAProfileNameFromURI(&uri) : nullptr;
  std::string name;
  if (profile != nullptr && profile->ReadString() != nullptr) name = profile->ReadString();
  delete profile;
  if (name.empty() || name == "*") return "DLNA.ORG_OP=01";
  return features + name + ";" + "DLNA.ORG_OP=01;" +
         (strstr(path, ".mp4") != nullptr ? kFlagsStreaming : kFlagsInteractive);
}
