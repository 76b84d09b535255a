// The stack's HTTP server profiles on libmicrohttpd, driven by a small test
// handler through the eight callbacks and exercised with curl on 127.0.0.1:
// the order of the notifications, the body pulled one piece per "response
// sent", pieces sent later from another thread, unanswered requests, request
// bodies, access control, and stopping a profile or one request.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "device.h"
#include "nuv_dms.h"
#include "nuv_http.h"

namespace {

// What the test handler does with a request.
enum class Mode {
  Serve,
  ServeLater,
  Unanswered,
  OnePiece,
  Upload,
  UploadUnanswered,
  CacheControl,
  Http10
};

struct Events {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> log;  // "connect 3", "header 3 GET /x", ...
  int exceptions6 = 0;
  int piecesAsked = 0;
  std::string uploaded;
  void add(const std::string& line) {
    std::lock_guard<std::mutex> lock(mutex);
    log.push_back(line);
    changed.notify_all();
  }
};

// Set by the test's thread and read by the server's: the hand-over goes
// through curl, which ThreadSanitizer cannot see, so both are synchronised.
Events* gEvents = nullptr;  // set before each profile starts
std::atomic<Mode> gMode{Mode::Serve};
std::mutex gBodyMutex;
std::shared_ptr<const std::string> gBodyText;
std::atomic<size_t> gSent{0};

void setBody(std::string text) {
  std::lock_guard<std::mutex> lock(gBodyMutex);
  gBodyText = std::make_shared<const std::string>(std::move(text));
}

std::shared_ptr<const std::string> body() {
  std::lock_guard<std::mutex> lock(gBodyMutex);
  return gBodyText;
}

NUVHTTPResponseHeaderInfo* newResponse(int status, const char* type, const std::string& length) {
  auto* r = static_cast<NUVHTTPResponseHeaderInfo*>(calloc(1, sizeof(NUVHTTPResponseHeaderInfo)));
  r->statusCode = status;
  r->connection = strdup("close");
  r->contentType = strdup(type);
  if (!length.empty()) r->contentLength = strdup(length.c_str());
  r->http11 = gMode == Mode::Http10 ? 0 : 1;
  r->additionalHeaders = NUVListCreate();
  NUVHTTPAddAdditionalHeaderValue(r->additionalHeaders, "transferMode.dlna.org", "Streaming");
  return r;
}

void sendNextPiece(int profile, int connection) {
  const auto text = body();
  const size_t at = gSent.load();
  const size_t n = std::min<size_t>(20480, text->size() - at);
  gSent += n;
  NUVHTTPSendPacket(profile, connection, text->data() + at, static_cast<int>(n),
                    gSent.load() == text->size() ? 1 : 0);
}

void onHeader(int profile, int connection, stNUVAppList* list, int) {
  NUVHTTPRequestHeaderInfo* info = nullptr;
  NUVHTTPGetRequestHeaderInfo(list, &info);
  gEvents->add("header " + std::to_string(connection) + " " + info->methodName + " " +
               info->target);
  if (gMode == Mode::Unanswered || gMode == Mode::Upload || gMode == Mode::UploadUnanswered) {
    NUVHTTPReleaseHeaderInfo(list);
    return;
  }
  const bool head = info->method == NUV_HTTP_HEAD;
  NUVHTTPReleaseHeaderInfo(list);
  const char* type = gMode == Mode::CacheControl ? "image/jpeg \nCache-Control: no-cache"
                                                 : "application/octet-stream";
  NUVHTTPResponseHeaderInfo* r = newResponse(200, type, std::to_string(body()->size()));
  NUVHTTPSendResponse(profile, connection, r, head ? 1 : 0);
  FreeResponseHeader(r);
}

void onSent(int profile, int connection, int) {
  {
    std::lock_guard<std::mutex> lock(gEvents->mutex);
    ++gEvents->piecesAsked;
  }
  if (gMode == Mode::ServeLater) {
    std::thread([profile, connection] {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      sendNextPiece(profile, connection);
    }).detach();
  } else if (gMode == Mode::OnePiece) {
    const auto text = body();
    gSent = text->size();
    NUVHTTPSendPacket(profile, connection, text->data(), static_cast<int>(text->size()), 1);
  } else {
    sendNextPiece(profile, connection);
  }
}

void onPayload(int profile, int connection, eHTTPVersion, int length, eHTTPMessageType, char* data,
               char*, bool last, int) {
  {
    std::lock_guard<std::mutex> lock(gEvents->mutex);
    gEvents->uploaded.append(data, static_cast<size_t>(length));
  }
  if (!last) return;
  gEvents->add("last " + std::to_string(connection));
  if (gMode == Mode::UploadUnanswered) return;
  NUVHTTPResponseHeaderInfo* r = newResponse(200, "text/plain", "");
  NUVHTTPSendResponse(profile, connection, r, 1);
  FreeResponseHeader(r);
}

void onException(int, int connection, eExceptionType type) {
  gEvents->add("exception " + std::to_string(connection) + " " + std::to_string(type));
  if (type == NUV_HTTP_EXCEPTION_SOCKET_CLOSED) {
    std::lock_guard<std::mutex> lock(gEvents->mutex);
    ++gEvents->exceptions6;
  }
}

void onConnect(int, int connection) { gEvents->add("connect " + std::to_string(connection)); }

std::string run(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  std::string out;
  char buffer[4096];
  size_t got;
  while (pipe != nullptr && (got = fread(buffer, 1, sizeof buffer, pipe)) > 0)
    out.append(buffer, got);
  if (pipe != nullptr) pclose(pipe);
  return out;
}

class StackHttpServer : public ::testing::Test {
 protected:
  void SetUp() override {
    gEvents = &events_;
    gMode = Mode::Serve;
    gSent = 0;
    std::string text(100000, '\0');
    for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 7 % 253);
    setBody(std::move(text));
    NUVDMSSetBindAddress("127.0.0.1");
    stNUVHTTPCallbacks cb{};
    cb.requestReceive = &onPayload;
    cb.sendResponse = &onSent;
    cb.exception = &onException;
    cb.requestHeader = &onHeader;
    cb.connect = &onConnect;
    ASSERT_EQ(NUVHTTPStartHTTPProfile(&cb, nullptr, nullptr, 0, &info_), 0);
    ASSERT_EQ(NUVHTTPGetConnProfilesCount(info_), 1);
    char* address = nullptr;
    ASSERT_EQ(NUVHTTPGetConnectionInfo(info_, 1, &profile_, &address), 0);
    EXPECT_STREQ(address, "127.0.0.1");
    port_ = NUVHTTPGetProfilePort(profile_);
    ASSERT_GT(port_, 0);
    url_ = "http://127.0.0.1:" + std::to_string(port_) + "/x";
  }
  void TearDown() override {
    NUVHTTPStopHTTPProfile(profile_, NUV_HTTP_ALL_CONNECTIONS);
    NUVHTTPFreeConnectionInfo(info_);
    gEvents = nullptr;
  }

  // curl's body; `code` receives the status (0 when no response came).
  std::string curl(const std::string& args, int* code = nullptr) {
    const std::string out = run("curl -s --noproxy '*' -m 20 -w '\\n%{http_code}' " + args);
    const size_t split = out.rfind('\n');
    if (code != nullptr) *code = atoi(out.c_str() + split + 1);
    return out.substr(0, split);
  }

  bool waitFor(int exceptions6) {
    std::unique_lock<std::mutex> lock(events_.mutex);
    return events_.changed.wait_for(lock, std::chrono::seconds(10),
                                    [&] { return events_.exceptions6 >= exceptions6; });
  }

  std::vector<std::string> log() {
    std::lock_guard<std::mutex> lock(events_.mutex);
    return events_.log;
  }
  int pieces() {
    std::lock_guard<std::mutex> lock(events_.mutex);
    return events_.piecesAsked;
  }
  int closed() {
    std::lock_guard<std::mutex> lock(events_.mutex);
    return events_.exceptions6;
  }
  std::string uploaded() {
    std::lock_guard<std::mutex> lock(events_.mutex);
    return events_.uploaded;
  }

  Events events_;
  stNUVHTTPConnInfo* info_ = nullptr;
  int profile_ = 0;
  int port_ = 0;
  std::string url_;
};

}  // namespace

TEST_F(StackHttpServer, BodyIsPulledOnePiecePerNotification) {
  int code = 0;
  EXPECT_TRUE(curl(url_, &code) == *body());
  EXPECT_EQ(code, 200);
  ASSERT_TRUE(waitFor(1));
  EXPECT_EQ(pieces(), 5) << "100000 bytes in pieces of 20480";
  const auto lines = log();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].rfind("connect ", 0), 0u);
  EXPECT_EQ(lines[1].rfind("header ", 0), 0u);
  EXPECT_NE(lines[1].find(" GET /x"), std::string::npos);
  EXPECT_EQ(lines[2].rfind("exception ", 0), 0u);
  EXPECT_EQ(lines[2].substr(lines[2].size() - 2), " 6");
}

TEST_F(StackHttpServer, ResponseHeadersAreTheRecordsOwn) {
  const std::string headers = run("curl -s --noproxy '*' -m 20 -D - -o /dev/null " + url_);
  EXPECT_NE(headers.find("HTTP/1.1 200"), std::string::npos) << headers;
  EXPECT_NE(headers.find("Content-Length: 100000\r\n"), std::string::npos) << headers;
  EXPECT_NE(headers.find("Connection: close\r\n"), std::string::npos) << headers;
  EXPECT_NE(headers.find("transferMode.dlna.org: Streaming\r\n"), std::string::npos) << headers;
  EXPECT_NE(headers.find("Content-Type: application/octet-stream\r\n"), std::string::npos);
}

TEST_F(StackHttpServer, ALineBreakInTheContentTypeStartsAnotherHeader) {
  gMode = Mode::CacheControl;
  const std::string headers = run("curl -s --noproxy '*' -m 20 -D - -o /dev/null " + url_);
  EXPECT_NE(headers.find("Content-Type: image/jpeg\r\n"), std::string::npos) << headers;
  EXPECT_NE(headers.find("Cache-Control: no-cache\r\n"), std::string::npos) << headers;
}

TEST_F(StackHttpServer, Http10ResponsesSayHttp10) {
  gMode = Mode::Http10;
  const std::string headers = run("curl -s --noproxy '*' -m 20 -0 -D - -o /dev/null " + url_);
  EXPECT_EQ(headers.rfind("HTTP/1.0 200", 0), 0u) << headers;
}

TEST_F(StackHttpServer, HeadAnnouncesTheLengthAndAsksForNoPiece) {
  const std::string headers = run("curl -s --noproxy '*' -m 20 -I " + url_);
  EXPECT_NE(headers.find("Content-Length: 100000\r\n"), std::string::npos) << headers;
  ASSERT_TRUE(waitFor(1));
  EXPECT_EQ(pieces(), 0);
}

TEST_F(StackHttpServer, PiecesMaySendFromAnotherThreadLater) {
  gMode = Mode::ServeLater;
  EXPECT_TRUE(curl(url_) == *body());
}

TEST_F(StackHttpServer, APieceLargerThanTheBufferArrivesWhole) {
  gMode = Mode::OnePiece;
  std::string text(1572864, 'z');
  text[1000] = 'a';
  setBody(text);
  EXPECT_TRUE(curl(url_) == text);
  ASSERT_TRUE(waitFor(1));
  EXPECT_EQ(pieces(), 1);
}

TEST_F(StackHttpServer, ARequestLeftUnansweredIsClosed) {
  gMode = Mode::Unanswered;
  int code = -1;
  curl(url_, &code);
  EXPECT_EQ(code, 0) << "no response";
  EXPECT_TRUE(waitFor(1)) << "the exchange still ends with exception 6";
}

TEST_F(StackHttpServer, RequestBodyArrivesInPiecesThenTheLastCall) {
  gMode = Mode::Upload;
  const std::string data(300000, 'u');
  const std::string file = "/tmp/stack_http_upload_" + std::to_string(getpid());
  FILE* f = fopen(file.c_str(), "wb");
  fwrite(data.data(), 1, data.size(), f);
  fclose(f);
  int code = 0;
  curl("--data-binary @" + file + " " + url_, &code);
  std::remove(file.c_str());
  EXPECT_EQ(code, 200);
  ASSERT_TRUE(waitFor(1));
  EXPECT_TRUE(uploaded() == data);
  bool lastSeen = false;
  for (const auto& line : log()) lastSeen = lastSeen || line.rfind("last ", 0) == 0;
  EXPECT_TRUE(lastSeen);
}

TEST_F(StackHttpServer, AnUploadLeftUnansweredIsClosedAfterItsLastPiece) {
  gMode = Mode::UploadUnanswered;
  int code = -1;
  const auto started = std::chrono::steady_clock::now();
  curl("--data-binary 'abc' " + url_, &code);
  EXPECT_EQ(code, 0) << "no response";
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20))
      << "not held for the handler wait";
  EXPECT_TRUE(waitFor(1));
  EXPECT_EQ(uploaded(), "abc");
}

TEST_F(StackHttpServer, EveryRequestEndsWithOneSocketClosedException) {
  for (int i = 0; i < 5; ++i) curl(url_);
  ASSERT_TRUE(waitFor(5));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(closed(), 5);
}

TEST_F(StackHttpServer, RefusedDevicesGet403WithoutReachingTheHandler) {
  dmsstack::AclService& acl = dmsstack::Device::instance().acl();
  acl.initialize();
  ASSERT_TRUE(acl.setMode(NUV_ACL_MODE_DENY_ALL));
  int code = 0;
  curl("-A 'SomeTV/1.0' " + url_, &code);
  EXPECT_EQ(code, 403);
  ASSERT_TRUE(acl.addNameRule("SomeTV", "+"));
  curl("-A 'SomeTV/1.0' " + url_, &code);
  EXPECT_EQ(code, 200) << "admitted by the name its User-Agent gives";
  acl.terminate();
  EXPECT_EQ(log().empty() ? std::string() : log()[0].substr(0, 7), "connect");
  EXPECT_EQ(log().size(), 3u) << "only the admitted request reached the callbacks";
}

TEST_F(StackHttpServer, StoppingOneRequestCutsItsBody) {
  gMode = Mode::ServeLater;
  setBody(std::string(50 * 1024 * 1024, 'q'));
  std::thread client([this] { curl("--limit-rate 2M " + url_); });
  int connection = 0;
  for (int i = 0; i < 500 && connection == 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    for (const auto& line : log())
      if (line.rfind("connect ", 0) == 0) connection = atoi(line.c_str() + 8);
  }
  ASSERT_GT(connection, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile_, connection), 0);
  client.join();
  ASSERT_TRUE(waitFor(1));
  EXPECT_LT(gSent.load(), body()->size());
  gSent = 0;
  setBody(std::string(1000, 'r'));
  EXPECT_EQ(curl(url_), *body()) << "the profile still serves";
  EXPECT_NE(NUVHTTPStopHTTPProfile(profile_, 999999), 0) << "unknown connection";
}

TEST_F(StackHttpServer, StoppingTheProfileEndsItsRequestsFirst) {
  gMode = Mode::ServeLater;
  setBody(std::string(50 * 1024 * 1024, 'q'));
  std::thread client([this] { curl("--limit-rate 2M " + url_); });
  for (int i = 0; i < 500 && pieces() < 3; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile_, NUV_HTTP_ALL_CONNECTIONS), 0);
  EXPECT_EQ(closed(), 1) << "before the stop returned";
  bool networkDisabled = false;
  for (const auto& line : log())
    networkDisabled = networkDisabled || line.substr(line.size() - 2) == " 0";
  EXPECT_TRUE(networkDisabled);
  client.join();
  EXPECT_EQ(NUVHTTPGetProfilePort(profile_), -1);
  EXPECT_NE(NUVHTTPStopHTTPProfile(profile_, NUV_HTTP_ALL_CONNECTIONS), 0) << "already stopped";
}

TEST(StackHttpStart, BadArgumentsAndMissingInterfaces) {
  stNUVHTTPCallbacks cb{};
  stNUVHTTPConnInfo* info = nullptr;
  EXPECT_EQ(NUVHTTPStartHTTPProfile(nullptr, nullptr, "127.0.0.1", 0, &info), 1);
  EXPECT_EQ(NUVHTTPStartHTTPProfile(&cb, nullptr, "127.0.0.1", 70000, &info), 1);
  EXPECT_EQ(NUVHTTPStartHTTPProfile(&cb, nullptr, "not-an-address", 0, &info), 1);
  EXPECT_EQ(info, nullptr);
  ASSERT_EQ(NUVDMSSetBindInterface("nosuchif0"), 0);
  EXPECT_EQ(NUVHTTPStartHTTPProfile(&cb, nullptr, nullptr, 0, &info), 4) << "no address up";
  NUVDMSSetBindAddress("127.0.0.1");
}

TEST(StackHttpStart, APortInUseCannotBeTakenTwice) {
  stNUVHTTPCallbacks cb{};
  stNUVHTTPConnInfo* first = nullptr;
  ASSERT_EQ(NUVHTTPStartHTTPProfile(&cb, nullptr, "127.0.0.1", 0, &first), 0);
  int profile = 0;
  NUVHTTPGetConnectionInfo(first, 1, &profile, nullptr);
  stNUVHTTPConnInfo* second = nullptr;
  EXPECT_EQ(
      NUVHTTPStartHTTPProfile(&cb, nullptr, "127.0.0.1", NUVHTTPGetProfilePort(profile), &second),
      1);
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS), 0);
  NUVHTTPFreeConnectionInfo(first);
}
