// A recording fake of the stack's HTTP server operations (nuv_http.h) for
// unit tests of the transfer layer without any network. Profiles "start" on
// the configured addresses; responses and body pieces are recorded; a test
// drives the notifications itself: it builds request header lists, hands
// them to the registered callbacks and asks for body pieces one by one.
// The records themselves (header lists, response headers, connection-profile
// records) are the stack's real ones.
//
// Thread safety: all members may be used from any thread.
#ifndef DMS_TESTS_FAKE_HTTP_H
#define DMS_TESTS_FAKE_HTTP_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "fake_stack.h"
#include "nuv_http.h"

using FakeHeaders = std::vector<std::pair<std::string, std::string>>;

struct FakeHttpResponse {
  int profile = 0;
  int connection = 0;
  int status = 0;
  std::string connectionHeader;  // "" when none
  std::string contentType;
  bool hasContentLength = false;
  std::string contentLength;
  bool http11 = false;
  FakeHeaders headers;  // additional headers in order
  bool headerOnly = false;

  // The value of additional header `name` (exact name), or "" when absent.
  std::string header(const std::string& name) const;
  bool hasHeader(const std::string& name) const;
};

struct FakeHttpPacket {
  int profile = 0;
  int connection = 0;
  std::string data;
  bool last = false;
  const char* source = nullptr;  // the sender's buffer (compared, never read)
};

// One request a client profile sent (NUVHTTPSendRequest).
struct FakeClientRequest {
  int profile = 0;
  int connection = 0;
  eHTTPMessageType method = NUV_HTTP_METHOD_OTHER;
  std::string url;
  std::string host;
  bool http11 = true;
  bool expectContinue = false;
  long long contentLength = -1;
  FakeHeaders headers;
  bool complete = false;

  std::string header(const std::string& name) const;
};

class FakeHttp {
 public:
  static FakeHttp& instance();

  // Clears everything and restores the defaults below.
  void reset();

  // Results (defaults after reset() in brackets).
  int startResult = 0;                                 // [0]
  std::vector<std::string> addresses{"192.168.1.10"};  // one profile each [that one]
  int sendResponseResult = 0;                          // [0]
  int sendPacketResult = 0;                            // [0]
  int sendRequestResult = 0;                           // [0]
  long long transferBytes = -1;                        // NUVHTTPGetTransferBytesCount [-1]

  // Every call of the fake functions in order (name and arguments as text).
  std::vector<FakeCall> calls() const;
  size_t count(const std::string& name) const;
  std::vector<FakeHttpResponse> responses() const;
  std::vector<FakeHttpPacket> packets() const;
  // The callbacks given to the last NUVHTTPStartHTTPProfile.
  stNUVHTTPCallbacks callbacks() const;
  // Profiles started and not stopped.
  std::vector<int> runningProfiles() const;
  // Client mode: the requests sent and the callbacks of the last client
  // profile started.
  std::vector<FakeClientRequest> clientRequests() const;
  stNUVHTTPCallbacks clientCallbacks() const;
  // Client drivers: raise callback 2 with a response header, callback 1 with
  // a body piece, callback 6 (the body wants a piece), on this thread.
  void deliverResponseHeader(int profile, int status, const FakeHeaders& headers = {});
  void deliverResponsePiece(int profile, const std::string& data, bool last);
  void askForRequestBody(int profile);
  void raiseClientException(int profile, eExceptionType type);

  // A request header list as the stack builds it, watched so that
  // unreleasedRequests() can tell whether it was released.
  stNUVAppList* makeRequest(eHTTPMessageType method, const std::string& target,
                            const FakeHeaders& headers = {}, bool host = true,
                            eHTTPVersion version = NUV_HTTP_VERSION_1_1,
                            long long contentLength = -1);
  int unreleasedRequests() const;

  // Drivers: raise callback 5 with a new request; raise callback 3 until a
  // last piece was sent for the connection (at most `maxPieces` times) and
  // return the body sent in that time; raise callback 4.
  void deliverRequest(int profile, int connection, eHTTPMessageType method,
                      const std::string& target, const FakeHeaders& headers = {}, bool host = true,
                      eHTTPVersion version = NUV_HTTP_VERSION_1_1, long long contentLength = -1);
  // Raises callback 0 with one body piece of the request on `connection`.
  void deliverPiece(int profile, int connection, const std::string& target, const std::string& data,
                    bool last);
  std::string pumpBody(int profile, int connection, int maxPieces = 1000000);
  void raiseException(int profile, int connection, eExceptionType type);

  // Used by the fake functions themselves.
  void record(const std::string& name, std::vector<std::string> args);
  void addResponse(FakeHttpResponse response);
  void addPacket(FakeHttpPacket packet);
  void addClientRequest(FakeClientRequest request);
  int startProfiles(const stNUVHTTPCallbacks* callbacks, const char* address,
                    std::vector<std::pair<int, std::string>>* started);
  bool stopProfile(int profile);

 private:
  FakeHttp() = default;
  bool lastSent(int connection) const;

  mutable std::recursive_mutex mutex_;
  std::vector<FakeCall> calls_;
  std::vector<FakeHttpResponse> responses_;
  std::vector<FakeHttpPacket> packets_;
  stNUVHTTPCallbacks callbacks_{};
  stNUVHTTPCallbacks clientCallbacks_{};
  std::vector<FakeClientRequest> clientRequests_;
  std::vector<int> running_;
  int nextProfile_ = 1;
  std::vector<std::shared_ptr<std::atomic<bool>>> released_;
};

#endif  // DMS_TESTS_FAKE_HTTP_H
