// The recording fake of the stack's HTTP server operations (see
// fake_http.h).
#include "fake_http.h"

#include <algorithm>

#include "http_records.h"

std::string FakeHttpResponse::header(const std::string& name) const {
  for (const auto& h : headers) {
    if (h.first == name) return h.second;
  }
  return "";
}

bool FakeHttpResponse::hasHeader(const std::string& name) const {
  return std::any_of(headers.begin(), headers.end(),
                     [&name](const auto& h) { return h.first == name; });
}

FakeHttp& FakeHttp::instance() {
  static FakeHttp fake;
  return fake;
}

void FakeHttp::reset() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  startResult = 0;
  addresses = {"192.168.1.10"};
  sendResponseResult = 0;
  sendPacketResult = 0;
  calls_.clear();
  responses_.clear();
  packets_.clear();
  callbacks_ = stNUVHTTPCallbacks{};
  clientCallbacks_ = stNUVHTTPCallbacks{};
  clientRequests_.clear();
  sendRequestResult = 0;
  transferBytes = -1;
  running_.clear();
  nextProfile_ = 1;
  released_.clear();
}

std::vector<FakeCall> FakeHttp::calls() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return calls_;
}

size_t FakeHttp::count(const std::string& name) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return static_cast<size_t>(std::count_if(calls_.begin(), calls_.end(),
                                           [&name](const FakeCall& c) { return c.name == name; }));
}

std::vector<FakeHttpResponse> FakeHttp::responses() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return responses_;
}

std::vector<FakeHttpPacket> FakeHttp::packets() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return packets_;
}

stNUVHTTPCallbacks FakeHttp::callbacks() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return callbacks_;
}

std::vector<int> FakeHttp::runningProfiles() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return running_;
}

stNUVAppList* FakeHttp::makeRequest(eHTTPMessageType method, const std::string& target,
                                    const FakeHeaders& headers, bool host, eHTTPVersion version,
                                    long long contentLength) {
  stNUVAppList* list = NUVListCreate();
  for (const auto& h : headers) NUVListAddHeader(list, h.first.c_str(), h.second.c_str());
  static const char* const kNames[] = {"OTHER", "GET", "HEAD", "PUT", "POST", "DELETE", "OPTIONS"};
  stNUVAppList* request =
      NUVHTTPCreateRequestHeaderList(method, kNames[static_cast<int>(method) % 7], target.c_str(),
                                     version, host ? 1 : 0, "192.168.1.20", contentLength, list);
  FreeAdditionalHeaders(list);
  auto flag = std::make_shared<std::atomic<bool>>(false);
  dmsstack::watchRelease(request, flag);
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  released_.push_back(flag);
  return request;
}

int FakeHttp::unreleasedRequests() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return static_cast<int>(std::count_if(released_.begin(), released_.end(),
                                        [](const auto& flag) { return !flag->load(); }));
}

void FakeHttp::deliverRequest(int profile, int connection, eHTTPMessageType method,
                              const std::string& target, const FakeHeaders& headers, bool host,
                              eHTTPVersion version, long long contentLength) {
  stNUVAppList* request = makeRequest(method, target, headers, host, version, contentLength);
  const stNUVHTTPCallbacks cb = callbacks();
  if (cb.connect != nullptr) cb.connect(profile, connection);
  if (cb.requestHeader != nullptr) {
    cb.requestHeader(profile, connection, request, 0);
  } else {
    NUVHTTPReleaseHeaderInfo(request);
  }
}

void FakeHttp::deliverPiece(int profile, int connection, const std::string& target,
                            const std::string& data, bool last) {
  const stNUVHTTPCallbacks cb = callbacks();
  if (cb.requestReceive == nullptr) return;
  std::string body = data;  // the stack's buffer is writable
  std::string where = target;
  cb.requestReceive(profile, connection, NUV_HTTP_VERSION_1_1, static_cast<int>(body.size()),
                    NUV_HTTP_POST, &body[0], &where[0], last, 0);
}

bool FakeHttp::lastSent(int connection) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return std::any_of(packets_.begin(), packets_.end(), [connection](const FakeHttpPacket& p) {
    return p.connection == connection && p.last;
  });
}

std::string FakeHttp::pumpBody(int profile, int connection, int maxPieces) {
  size_t seen = packets().size();
  std::string body;
  const stNUVHTTPCallbacks cb = callbacks();
  for (int i = 0; i < maxPieces && !lastSent(connection) && cb.sendResponse != nullptr; ++i) {
    cb.sendResponse(profile, connection, 0);
    const std::vector<FakeHttpPacket> now = packets();
    for (; seen < now.size(); ++seen) {
      if (now[seen].connection == connection) body += now[seen].data;
    }
  }
  return body;
}

std::string FakeClientRequest::header(const std::string& name) const {
  for (const auto& h : headers)
    if (h.first == name) return h.second;
  return "";
}

std::vector<FakeClientRequest> FakeHttp::clientRequests() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return clientRequests_;
}

stNUVHTTPCallbacks FakeHttp::clientCallbacks() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return clientCallbacks_;
}

void FakeHttp::addClientRequest(FakeClientRequest request) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  clientRequests_.push_back(std::move(request));
}

void FakeHttp::deliverResponseHeader(int profile, int status, const FakeHeaders& headers) {
  stNUVAppList* list = NUVListCreate();
  for (const auto& h : headers) NUVListAddHeader(list, h.first.c_str(), h.second.c_str());
  stNUVAppList* response = NUVHTTPCreateResponseHeaderList(status, 1, list);
  FreeAdditionalHeaders(list);
  const stNUVHTTPCallbacks cb = clientCallbacks();
  if (cb.responseHeader != nullptr) {
    cb.responseHeader(profile, profile, response, 0);
  } else {
    NUVHTTPReleaseHeaderInfo(response);
  }
}

void FakeHttp::deliverResponsePiece(int profile, const std::string& data, bool last) {
  const stNUVHTTPCallbacks cb = clientCallbacks();
  std::string body = data;
  if (cb.responseReceive != nullptr)
    cb.responseReceive(profile, profile, NUV_HTTP_VERSION_1_1, static_cast<int>(body.size()),
                       &body[0], last, 0);
}

void FakeHttp::askForRequestBody(int profile) {
  const stNUVHTTPCallbacks cb = clientCallbacks();
  if (cb.sendRequest != nullptr) cb.sendRequest(profile, profile, 0);
}

void FakeHttp::raiseClientException(int profile, eExceptionType type) {
  const stNUVHTTPCallbacks cb = clientCallbacks();
  if (cb.exception != nullptr) cb.exception(profile, profile, type);
}

void FakeHttp::raiseException(int profile, int connection, eExceptionType type) {
  const stNUVHTTPCallbacks cb = callbacks();
  if (cb.exception != nullptr) cb.exception(profile, connection, type);
}

void FakeHttp::record(const std::string& name, std::vector<std::string> args) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  calls_.push_back({name, std::move(args)});
}

void FakeHttp::addResponse(FakeHttpResponse response) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  responses_.push_back(std::move(response));
}

void FakeHttp::addPacket(FakeHttpPacket packet) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  packets_.push_back(std::move(packet));
}

int FakeHttp::startProfiles(const stNUVHTTPCallbacks* callbacks, const char* address,
                            std::vector<std::pair<int, std::string>>* started) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (startResult != 0) return startResult;
  if (callbacks->responseHeader != nullptr && callbacks->requestHeader == nullptr) {
    clientCallbacks_ = *callbacks;  // a client profile: one connection, its own number
    running_.push_back(nextProfile_);
    started->emplace_back(nextProfile_++, "");
    return 0;
  }
  callbacks_ = *callbacks;
  const std::vector<std::string> where =
      address != nullptr ? std::vector<std::string>{address} : addresses;
  for (const auto& a : where) {
    running_.push_back(nextProfile_);
    started->emplace_back(nextProfile_++, a);
  }
  return 0;
}

bool FakeHttp::stopProfile(int profile) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  auto it = std::find(running_.begin(), running_.end(), profile);
  if (it == running_.end()) return false;
  running_.erase(it);
  return true;
}

extern "C" {

int NUVHTTPStartHTTPProfile(const stNUVHTTPCallbacks* callbacks, void*, const char* address,
                            int port, stNUVHTTPConnInfo** connInfo) {
  FakeHttp& fake = FakeHttp::instance();
  fake.record("NUVHTTPStartHTTPProfile",
              {address != nullptr ? address : "(null)", std::to_string(port)});
  if (callbacks == nullptr || connInfo == nullptr) return 1;
  std::vector<std::pair<int, std::string>> started;
  const int result = fake.startProfiles(callbacks, address, &started);
  if (result != 0) return result;
  *connInfo = dmsstack::newConnInfo(started);
  return *connInfo != nullptr ? 0 : 1;
}

int NUVHTTPSendRequest(int profile, int connection, const NUVHTTPClientRequest* request,
                       int complete) {
  FakeHttp& fake = FakeHttp::instance();
  fake.record("NUVHTTPSendRequest",
              {std::to_string(profile), std::to_string(connection), std::to_string(complete)});
  if (request == nullptr) return 1;
  FakeClientRequest r;
  r.profile = profile;
  r.connection = connection;
  r.method = request->method;
  r.url = request->url != nullptr ? request->url : "";
  r.host = request->host != nullptr ? request->host : "";
  r.http11 = request->http11 != 0;
  r.expectContinue = request->expectContinue != 0;
  r.contentLength = request->contentLength;
  r.complete = complete != 0;
  const int count = NUVListGetCount(request->additionalHeaders);
  for (int i = 0; i < count; ++i) {
    auto* h = static_cast<stNUVHeader*>(NUVListGetItemData(request->additionalHeaders, i));
    if (h != nullptr) r.headers.emplace_back(h->name, h->value);
  }
  fake.addClientRequest(std::move(r));
  return fake.sendRequestResult;
}

long long NUVHTTPGetTransferBytesCount(int profile) {
  FakeHttp::instance().record("NUVHTTPGetTransferBytesCount", {std::to_string(profile)});
  return FakeHttp::instance().transferBytes;
}

int NUVHTTPGetProfilePort(int profile) {
  FakeHttp::instance().record("NUVHTTPGetProfilePort", {std::to_string(profile)});
  return -1;
}

int NUVHTTPStopHTTPProfile(int profile, int connection) {
  FakeHttp& fake = FakeHttp::instance();
  fake.record("NUVHTTPStopHTTPProfile", {std::to_string(profile), std::to_string(connection)});
  if (connection < 0) return fake.stopProfile(profile) ? 0 : 1;
  return 0;
}

int NUVHTTPSendResponse(int profile, int connection, NUVHTTPResponseHeaderInfo* header,
                        int headerOnly) {
  FakeHttp& fake = FakeHttp::instance();
  fake.record("NUVHTTPSendResponse",
              {std::to_string(profile), std::to_string(connection), std::to_string(headerOnly)});
  if (header == nullptr) return 1;
  FakeHttpResponse r;
  r.profile = profile;
  r.connection = connection;
  r.status = header->statusCode;
  r.connectionHeader = header->connection != nullptr ? header->connection : "";
  r.contentType = header->contentType != nullptr ? header->contentType : "";
  r.hasContentLength = header->contentLength != nullptr;
  r.contentLength = header->contentLength != nullptr ? header->contentLength : "";
  r.http11 = header->http11 != 0;
  r.headerOnly = headerOnly != 0;
  const int count = NUVListGetCount(header->additionalHeaders);
  for (int i = 0; i < count; ++i) {
    auto* h = static_cast<stNUVHeader*>(NUVListGetItemData(header->additionalHeaders, i));
    if (h != nullptr) r.headers.emplace_back(h->name, h->value);
  }
  fake.addResponse(std::move(r));
  return fake.sendResponseResult;
}

int NUVHTTPSendPacket(int profile, int connection, const char* buffer, int length, int last) {
  FakeHttp& fake = FakeHttp::instance();
  fake.record("NUVHTTPSendPacket", {std::to_string(profile), std::to_string(connection),
                                    std::to_string(length), std::to_string(last)});
  FakeHttpPacket p;
  p.profile = profile;
  p.connection = connection;
  if (buffer != nullptr && length > 0) p.data.assign(buffer, static_cast<size_t>(length));
  p.last = last != 0;
  p.source = buffer;
  fake.addPacket(std::move(p));
  return fake.sendPacketResult;
}

}  // extern "C"
