// SendFileThruGet: the request's checks, path resolution and response header
// (see send_file_thru_get.h).
#include "send_file_thru_get.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "dms_conversions.h"
#include "dms_list.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "error_response.h"
#include "media_db_schema.h"
#include "multimedia_db_connector.h"
#include "nuv_log.h"
#include "range_header.h"

namespace {

constexpr const char* kThumbnailPrefix = MEDIA_DB_THUMBNAIL_URI;
constexpr const char* kScreennailPrefix = MEDIA_DB_SCREENNAIL_URI;

// The range list, emptied when the request is done with it.
struct RangeListDeleter {
  void operator()(DMSCDSList* list) const {
    dms_transfer::ClearRangeList(list);
    delete list;
  }
};

// An absolute-form target "http://host:port/path" reduced to "/path": up to
// the first ":" after the scheme, then up to the first "/" after it. Without
// a port nothing is found ("").
std::string pathOfAbsoluteForm(const std::string& url) {
  const size_t colon = url.find(':', 7);
  if (colon == std::string::npos) return "";
  const size_t slash = url.find('/', colon);
  return slash == std::string::npos ? "" : url.substr(slash);
}

std::string takeText(DMSAppString* text) {
  std::string result;
  if (text != nullptr && text->ReadString() != nullptr) result = text->ReadString();
  delete text;
  return result;
}

char* copyText(const std::string& text) { return strdup(text.c_str()); }

}  // namespace

SendFileThruGet::SendFileThruGet(int profile, int connection)
    : ServerInterface(profile, connection) {}

SendFileThruGet::~SendFileThruGet() {
  __CloseFile();
  __ReleaseRequest();
}

bool SendFileThruGet::HandlePayload(int, int, eHTTPVersion, int, eHTTPMessageType, char*, char*,
                                    bool) {
  NUVPrintf(NUV_LOG_INFO, "[SendFileThruGet::HandlePayload] GET request carries no body");
  return true;
}

bool SendFileThruGet::RetriveFilePath(DMSAppString* url) {
  NUVPrintf(NUV_LOG_INFO, "Retrive File Path URI [%s]",
            url->ReadString() != nullptr ? url->ReadString() : "");
  std::string uri = takeText(DMSAppConversions::DMSAppRestoreUnicodeOfURLMA(url));
  if (strncasecmp(uri.c_str(), "http://", 7) == 0) uri = pathOfAbsoluteForm(uri);
  uri_ = uri;
  path_.clear();
  mime_.clear();
  if (uri.empty()) return false;
  DMSAppString key(uri.c_str());
  MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
  if (db == nullptr) return false;  // no memory for the connector
  if (strncmp(uri.c_str(), kThumbnailPrefix, 9) == 0 ||
      strncmp(uri.c_str(), kScreennailPrefix, 10) == 0) {
    thumbnail_ = true;
    DMSAppString* path = nullptr;
    char* buffer = nullptr;
    int length = 0;
    if (!db->GetThumbnailInfoFromURI(&key, &path, &thumbnailOffset_, length, &videoThumbnail_,
                                     &substitutePicture_, buffer)) {
      return false;
    }
    imageBuffer_.reset(buffer);
    thumbnailSize_ = length;
    path_ = takeText(path);
    mime_ = "image/jpeg";
  } else {
    path_ = takeText(db->GetFilePathFromURI(&key));
    mime_ = takeText(db->GetMimeTypeFromURI(&key));
  }
  NUVPrintf(NUV_LOG_INFO, "File Path is [%s]", path_.c_str());
  return !path_.empty();
}

bool SendFileThruGet::HandleHeader(stNUVAppList* headerList) {
  headerList_ = headerList;
  if (headerList == nullptr || NUVHTTPGetRequestHeaderInfo(headerList, &request_) != 0 ||
      request_ == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[SendFileThruGet:HandleHeader] In-Param NULL -- Handle GET Header");
    __ReleaseRequest();
    return false;
  }
  if (!__CheckContentFeatures() || !__CheckHostField()) return __Refuse(400);
  std::unique_ptr<DMSCDSList, RangeListDeleter> ranges(new (std::nothrow) DMSCDSList);
  if (ranges == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[SendFileThruGet:HandleHeader] Memory allocation failed for rangeList!!!");
    return __Refuse(400);
  }
  DMSAppMemText range = _GetValueOfHeader("Range");
  if (range != nullptr) {
    const int status = __GetRangeList(range.get(), ranges.get());
    if (status != 200) {
      NUVPrintf(NUV_LOG_ERROR, "[SendFileThruGet:HandleHeader] Invalid Range list!!!");
      return __Refuse(status);
    }
  }
  if (!__CheckTimeSeekRange()) return __Refuse(406);
  if (request_->target == nullptr || request_->target[0] == '\0') {
    NUVPrintf(NUV_LOG_ERROR, "[SendFileThruGet:HandleHeader] There is no URI!!!");
    return __Refuse(400);
  }
  DMSAppString url(request_->target);
  if (DMSAppConversions::DMSAppUnescapeURL(&url) != 0) return __Refuse(400);
  if (!RetriveFilePath(&url) || mime_.empty()) return __Refuse(400);

  file_ = __GetFileFD();
  if (file_ == nullptr || (videoThumbnail_ != 0 && imageBuffer_ == nullptr)) {
    NUVPrintf(NUV_LOG_ERROR,
              "[SendFileThruGet:HandleHeader] File open error, Please check URL of file!!!");
    return __Refuse(503);
  }
  NUVPrintf(NUV_LOG_INFO, "[SendFileThruGet:HandleHeader] File open Success");
  int status = 200;
  if (!__CheckTrnasferMode(mime_.c_str(), &status)) {
    __HTTPSendErrorResponse(status);
    __ReleaseRequest();
    return true;
  }

  auto* response = static_cast<NUVHTTPResponseHeaderInfo*>(
      DMSAppMemCallocMA(1, sizeof(NUVHTTPResponseHeaderInfo)));
  if (response == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[SendFileThruGet:HandleHeader] Memory allocation failed for pRespHeaderInfo!!!");
    return __Refuse(500);
  }
  responseType_ = __FindResponseType(ranges.get());
  response->additionalHeaders = NUVListCreate();
  if (response->additionalHeaders == nullptr) {
    FreeResponseHeader(response);
    NUVPrintf(NUV_LOG_ERROR,
              "[SendFileThruGet:HandleHeader] Memory allocation failed for pAddResHeader!!!");
    return __Refuse(500);
  }
  __AddConnectionResponseHeader(response);
  __AddContentFeaturesResponseHeader(response->additionalHeaders);
  __AddTransferModeResponseHeader(response->additionalHeaders, mime_.c_str());
  // Deviation: the DLNA headers alone say that ranges are served, but
  // players such as mpd look for Accept-Ranges and, without it, treat the
  // file as unseekable and fetch it again from the start on every seek.
  NUVHTTPAddAdditionalHeaderValue(response->additionalHeaders, "Accept-Ranges", "bytes");
  response->contentType = copyText(mime_);

  if (responseType_ == dms_transfer::kOneRange) {
    status = __PrepareOneRange(response, ranges.get());
  } else if (responseType_ == dms_transfer::kSeveralRanges) {
    status = __PrepareSeveralRanges(response, ranges.get());
  } else {
    status = __PrepareWhole(response);
  }
  if (status != 0) {
    FreeResponseHeader(response);
    return __Refuse(status);
  }

  const int64_t seekTo = (thumbnail_ && videoThumbnail_ == 0) ? thumbnailOffset_ : 0;
  if (fseeko(file_, static_cast<off_t>(seekTo), SEEK_SET) != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[SendFileThruGet:HandleHeader] Seek failed!!!");
    __CloseFile();
    FreeResponseHeader(response);
    __ReleaseRequest();
    return false;
  }
  streamPosition_ = seekTo;
  if (request_->method == NUV_HTTP_HEAD) {
    NUVPrintf(NUV_LOG_INFO, "[SendFileThruGet:HandleHeader] HTTP-HEAD REQUEST!!!");
    __CloseFile();
    NUVHTTPSendResponse(profile_, connection_, response, 1);
  } else {
    NUVPrintf(NUV_LOG_INFO, "[SendFileThruGet:HandleHeader] HTTP-GET REQUEST!!!");
    NUVHTTPSendResponse(profile_, connection_, response, 0);
  }
  FreeResponseHeader(response);
  __ReleaseRequest();
  return true;
}

bool SendFileThruGet::__Refuse(int status) {
  __HTTPSendErrorResponse(status);
  __ReleaseRequest();
  return false;
}

int64_t SendFileThruGet::__ResourceSize() const {
  if (thumbnail_) return thumbnailSize_;
  const int64_t size = DMSAppGetFileSize(file_);
  return size < 0 ? 0 : size;
}

int SendFileThruGet::__PrepareWhole(NUVHTTPResponseHeaderInfo* response) {
  response->statusCode = 200;
  response->http11 = request_->notHttp10 != 0 ? 1 : 0;
  response->contentLength = copyText(std::to_string(__ResourceSize()));
  NUVPrintf(NUV_LOG_INFO, "[SendFileThruGet::HandleHeader] conetent length : %s",
            response->contentLength != nullptr ? response->contentLength : "");
  return 0;
}

int SendFileThruGet::__PrepareOneRange(NUVHTTPResponseHeaderInfo* response, DMSCDSList* ranges) {
  total_ = __ResourceSize();
  int64_t start = 0;
  int64_t end = 0;
  if (__GetRange(ranges, &start, &end) != 0) {
    responseType_ = dms_transfer::kWholeResource;
    response->statusCode = 200;
    response->http11 = 1;
    response->contentLength = copyText(std::to_string(total_));
    position_ = 0;
    __ShiftIntoThumbnail();
    return 0;
  }
  if (end == -1) {
    end = total_ - 1;
  } else if (start == -1) {
    start = total_ - end;  // end holds the suffix's count
    end = total_ - 1;
  }
  if (total_ < start || total_ < end) return 416;
  if (start < 0) {
    NUVPrintf(NUV_LOG_ERROR, "[SendFileThruGet:HandleHeader] Invalid Start Seek Range!!!");
    return 400;
  }
  const int64_t length = start == end ? 1 : end - start + 1;
  position_ = start;
  endPosition_ = end;
  response->statusCode = 206;
  response->contentLength = copyText(std::to_string(length));
  NUVHTTPAddAdditionalHeaderValue(response->additionalHeaders, "Content-Range",
                                  __GetRangeValue(start, end, total_).c_str());
  endPosition_ += 1;
  response->http11 = 1;
  __ShiftIntoThumbnail();
  return 0;
}

int SendFileThruGet::__PrepareSeveralRanges(NUVHTTPResponseHeaderInfo* response,
                                            DMSCDSList* ranges) {
  const auto* first = static_cast<const RangeInfo*>(ranges->ReadFirstItemData());
  if (first == nullptr) {
    NUVPrintf(NUV_LOG_ERROR, "[SendFileThruGet:HandleHeader] Invalid Range list!!!");
    return 416;
  }
  total_ = __ResourceSize();
  int64_t start = first->start;
  int64_t end = total_;
  if (first->type == RangeInfo::kSuffix) {
    start = total_ - first->end;
  } else if (first->type != RangeInfo::kOpen && first->end < total_) {
    end = first->end + 1;  // the first range's own bytes (see the header)
  }
  if (start < 0 || start > total_) return 416;
  response->statusCode = 200;
  response->http11 = 1;
  position_ = start;
  endPosition_ = end < start ? start : end;
  free(response->contentType);
  response->contentType = copyText("multipart/byteranges; boundary=DLNA_MIME_BOUNDARY");
  __ShiftIntoThumbnail();
  return 0;
}

// Ranges of a thumbnail count from its first byte inside the file.
void SendFileThruGet::__ShiftIntoThumbnail() {
  if (!thumbnail_ || videoThumbnail_ != 0) return;
  position_ += thumbnailOffset_;
  endPosition_ += thumbnailOffset_;
}

FILE* SendFileThruGet::__GetFileFD() { return DMSAppOpenFile(path_.c_str(), DMSAPP_FILE_READ); }

void SendFileThruGet::__HTTPSendErrorResponse(int code) {
  dms_transfer::SendErrorResponse(profile_, connection_, code);
  __CloseFile();
}

void SendFileThruGet::__ReleaseRequest() {
  if (headerList_ != nullptr) NUVHTTPReleaseHeaderInfo(headerList_);
  headerList_ = nullptr;
  request_ = nullptr;
}

void SendFileThruGet::__CloseFile() {
  if (file_ != nullptr) DMSAppCloseFile(file_);
  file_ = nullptr;
}
