// RVFStreamingThruGet: the request, the response header and the handler's
// life (see rvf_streaming_thru_get.h).
#include "rvf_streaming_thru_get.h"

#include <cstdlib>
#include <cstring>

#include "dms_conversions.h"
#include "dms_live_view.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "error_response.h"
#include "nuv_config.h"
#include "nuv_log.h"

namespace {

constexpr const char* kFullSizeUrl = "/livestream.avi";
constexpr const char* kQvgaUrl = "/qvga_livestream.avi";

// On the camera the small images are files under "/b". A Linux host has no
// such folder: the host application names one of its state directory in
// the configuration key "LAST-PHOTO-DIR" (the camera side keeps the small
// image there under the same name).
constexpr const char* kCameraPhotoDir = "/b";

constexpr const char* kContentFeatures =
    "DLNA.ORG_PN=AVC_MP4_BL_CIF15_AAC_520;DLNA.ORG_OP=01;DLNA.ORG_CI=0;DLNA.ORG_FLAGS="
    "01500000000000000000000000000000";

std::string photoDir() {
  char* configured = NUVGetConfigurationMA("LAST-PHOTO-DIR");
  std::string dir = configured != nullptr && configured[0] != '\0' ? configured : kCameraPhotoDir;
  free(configured);
  return dir;
}

}  // namespace

RVFStreamingThruGet::RVFStreamingThruGet(int profile, int connection)
    : ServerInterface(profile, connection) {}

RVFStreamingThruGet::~RVFStreamingThruGet() {
  NUVPrintf(NUV_LOG_INFO, " [RVFStreamingThruGet:~RVFStreamingThruGet] is called !!\n");
  stopSender();
  if (screenNailFile_ != nullptr) DMSAppCloseFile(screenNailFile_);
  releaseRequest();
  if (!CDSRVF_Sysfunc_get_Isvideo_hotswap())
    CDSRVF_Sysfunc_send_RVF_async_event(DMS_RVF_EVENT_STREAM_ENDED, nullptr, 0);
}

bool RVFStreamingThruGet::HandlePayload(int, int, eHTTPVersion, int, eHTTPMessageType, char*, char*,
                                        bool) {
  NUVPrintf(NUV_LOG_INFO, "[RVFStreamingThruGet::HandlePayload] GET request carries no body");
  return true;
}

bool RVFStreamingThruGet::HandleHeader(stNUVAppList* headerList) {
  headerList_ = headerList;
  if (headerList == nullptr || NUVHTTPGetRequestHeaderInfo(headerList, &request_) != 0 ||
      request_ == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[RVFStreamingThruGet:HandleHeader] In-Param NULL -- Handle GET Header \n");
    releaseRequest();
    return false;
  }
  if (request_->target == nullptr || request_->target[0] == '\0') {
    NUVPrintf(NUV_LOG_ERROR, " [RVFStreamingThruGet:HandleHeader] There is no URI!!!\n");
    releaseRequest();
    return false;
  }
  DMSAppString url(request_->target);
  if (url.ReadString() == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              " [RVFStreamingThruGet:HandleHeader] Memory allocation failed for pUrl!!!\n");
    releaseRequest();
    return false;
  }
  DMSAppConversions::DMSAppUnescapeURL(&url);
  const std::string target = url.ReadString() != nullptr ? url.ReadString() : "";
  if (target == kFullSizeUrl || target == kQvgaUrl) {
    // The quality change and the encoder's start wait for the producer: the
    // sender thread does them, then answers and releases the request (the
    // stack takes a request released unanswered as one that never will be).
    streaming_ = true;
    streamUrl_ = target;
    if (!startSender()) {
      sendErrorReply(503);
      releaseRequest();
      return false;
    }
    return true;
  }
  if (!openScreenNail(target)) {
    sendErrorReply(503);
    releaseRequest();
    return false;
  }
  const bool sent = sendResponseHeader();
  releaseRequest();
  return sent;
}

bool RVFStreamingThruGet::openScreenNail(const std::string& url) {
  const size_t slash = url.rfind('/');
  const std::string name =
      photoDir() + (slash == std::string::npos ? "/" + url : url.substr(slash));
  screenNailFile_ = DMSAppOpenFile(name.c_str(), DMSAPP_FILE_READ);
  NUVPrintf(NUV_LOG_INFO, "[RVFStreamingThruGet:HandleHeader] Screen Nail Fila name = %s\n",
            name.c_str());
  return screenNailFile_ != nullptr;
}

bool RVFStreamingThruGet::sendResponseHeader() {
  auto* response = static_cast<NUVHTTPResponseHeaderInfo*>(
      DMSAppMemCallocMA(1, sizeof(NUVHTTPResponseHeaderInfo)));
  if (response == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[RVFStreamingThruGet:HandleHeader] Memory allocation failed for "
              "pRespHeaderInfo!!!\n");
    return false;
  }
  response->additionalHeaders = NUVListCreate();
  if (response->additionalHeaders == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[RVFStreamingThruGet:HandleHeader] Memory allocation failed for pAddResHeader!!!\n");
    FreeResponseHeader(response);
    return false;
  }
  response->statusCode = 200;
  response->http11 = 1;
  // The line break inside the type is deliberate: it carries a second
  // header line, which clients of the camera rely on.
  if (streaming_) {
    response->connection = strdup("close");
    response->contentType = strdup("video/x-avi \nCache-Control: no-cache");
  } else {
    response->contentType = strdup("image/jpeg \nCache-Control: no-cache");
    const int64_t size = DMSAppGetFileSize(screenNailFile_);
    response->contentLength = strdup(std::to_string(size < 0 ? 0 : size).c_str());
  }
  NUVHTTPAddAdditionalHeaderValue(response->additionalHeaders, "contentFeatures.dlna.org",
                                  kContentFeatures);
  NUVHTTPAddAdditionalHeaderValue(response->additionalHeaders, "transferMode.dlna.org",
                                  "Streaming");
  NUVHTTPSendResponse(profile_, connection_, response, 0);
  FreeResponseHeader(response);
  return true;
}

void RVFStreamingThruGet::sendErrorReply(int status) {
  dms_transfer::SendErrorResponse(profile_, connection_, status);
}

void RVFStreamingThruGet::releaseRequest() {
  if (headerList_ != nullptr) NUVHTTPReleaseHeaderInfo(headerList_);
  headerList_ = nullptr;
  request_ = nullptr;
}
