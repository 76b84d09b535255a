// The stack's HTTP server profiles on libmicrohttpd, driven by a small test
// handler through the eight callbacks and exercised with curl on 127.0.0.1:
// the order of the notifications, the body pulled one piece per "response
// sent", pieces sent later from another thread, unanswered requests, request
// bodies, access control, and stopping a profile or one request. Requests
// whose handler answers late wait suspended: more of them than the profile
// has threads are all served, and the wait bound, cancels and stops reach
// them.
#include <arpa/inet.h>
#include <dirent.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "device.h"
#include "http_connection.h"
#include "http_limits.h"
#include "loopback_client.h"
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
  Http10,
  AnswerLater,  // the response comes from another thread after callback 5 returned
  UploadLater   // the same after an upload's last piece
};

// Requests to "/withhold" are kept unanswered until the test answers them;
// those to "/stall" get their response at once but their body pieces only
// from the test; one to "/stop" stops its own profile from callback 5.
struct Held {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::pair<int, stNUVAppList*>> withheld;  // connection, its header list
  std::set<int> stalled;
  int stallAsks = 0;
  void add(int connection, stNUVAppList* list) {
    std::lock_guard<std::mutex> lock(mutex);
    withheld.emplace_back(connection, list);
    changed.notify_all();
  }
};
Held gHeld;
constexpr size_t kStallBytes = 2 * 20480;
std::mutex gUploadMutex;
std::map<int, stNUVAppList*> gUploadLists;  // UploadLater: kept until answered

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

// Threads the test handler starts to answer later; each test waits for them
// before it ends.
std::mutex gHelperMutex;
std::condition_variable gHelperDone;
int gHelpers = 0;  // guarded by gHelperMutex

template <typename Work>
void startHelper(Work work) {
  {
    std::lock_guard<std::mutex> lock(gHelperMutex);
    ++gHelpers;
  }
  std::thread([work] {
    work();
    std::lock_guard<std::mutex> lock(gHelperMutex);
    --gHelpers;
    gHelperDone.notify_all();
  }).detach();
}

bool waitForHelpers() {
  std::unique_lock<std::mutex> lock(gHelperMutex);
  return gHelperDone.wait_for(lock, std::chrono::seconds(10), [] { return gHelpers == 0; });
}

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

// Answers a request from another thread once callback 5 has returned.
void answerLater(int profile, int connection, stNUVAppList* list, bool head) {
  startHelper([profile, connection, list, head] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    gEvents->add("answering " + std::to_string(connection));
    NUVHTTPResponseHeaderInfo* r =
        newResponse(200, "application/octet-stream", std::to_string(body()->size()));
    NUVHTTPSendResponse(profile, connection, r, head ? 1 : 0);
    FreeResponseHeader(r);
    NUVHTTPReleaseHeaderInfo(list);
  });
}

// Returns true when the target is one of the held ones (see Held).
bool holdRequest(int profile, int connection, stNUVAppList* list, const std::string& target) {
  if (target == "/withhold") {
    gHeld.add(connection, list);
    return true;
  }
  if (target == "/stall") {
    {
      std::lock_guard<std::mutex> lock(gHeld.mutex);
      gHeld.stalled.insert(connection);
    }
    NUVHTTPReleaseHeaderInfo(list);
    NUVHTTPResponseHeaderInfo* r = newResponse(200, "text/plain", std::to_string(kStallBytes));
    NUVHTTPSendResponse(profile, connection, r, 0);
    FreeResponseHeader(r);
    return true;
  }
  if (target == "/stop") {
    NUVHTTPReleaseHeaderInfo(list);
    gEvents->add(std::string("stopped ") +
                 (NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS) == 0 ? "0" : "1"));
    return true;
  }
  return false;
}

void onHeader(int profile, int connection, stNUVAppList* list, int) {
  NUVHTTPRequestHeaderInfo* info = nullptr;
  NUVHTTPGetRequestHeaderInfo(list, &info);
  gEvents->add("header " + std::to_string(connection) + " " + info->methodName + " " +
               info->target);
  if (holdRequest(profile, connection, list, info->target)) return;
  if (gMode == Mode::AnswerLater) {
    answerLater(profile, connection, list, info->method == NUV_HTTP_HEAD);
    gEvents->add("returned " + std::to_string(connection));
    return;
  }
  if (gMode == Mode::UploadLater) {
    std::lock_guard<std::mutex> lock(gUploadMutex);
    gUploadLists[connection] = list;
    return;
  }
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
    std::lock_guard<std::mutex> lock(gHeld.mutex);
    if (gHeld.stalled.count(connection) > 0) {
      ++gHeld.stallAsks;
      gHeld.changed.notify_all();
      return;
    }
  }
  {
    std::lock_guard<std::mutex> lock(gEvents->mutex);
    ++gEvents->piecesAsked;
  }
  if (gMode == Mode::ServeLater) {
    startHelper([profile, connection] {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      sendNextPiece(profile, connection);
    });
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
  if (gMode == Mode::UploadLater) {
    startHelper([profile, connection] {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      NUVHTTPResponseHeaderInfo* r = newResponse(200, "text/plain", "");
      gEvents->add(std::string("answered ") +
                   (NUVHTTPSendResponse(profile, connection, r, 1) == 0 ? "0" : "1"));
      FreeResponseHeader(r);
      std::lock_guard<std::mutex> lock(gUploadMutex);
      NUVHTTPReleaseHeaderInfo(gUploadLists[connection]);
      gUploadLists.erase(connection);
    });
    return;
  }
  NUVHTTPResponseHeaderInfo* r = newResponse(200, "text/plain", "");
  NUVHTTPSendResponse(profile, connection, r, 1);
  FreeResponseHeader(r);
}

void onException(int, int connection, eExceptionType type) {
  gEvents->add("exception " + std::to_string(connection) + " " + std::to_string(type));
  if (type == NUV_HTTP_EXCEPTION_SOCKET_CLOSED) {
    std::lock_guard<std::mutex> lock(gEvents->mutex);
    ++gEvents->exceptions6;
    gEvents->changed.notify_all();
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
    EXPECT_TRUE(waitForHelpers());
    NUVHTTPFreeConnectionInfo(info_);
    dmsstack::setHandlerWaitForTest(dmsstack::kHttpHandlerWait);
    std::lock_guard<std::mutex> lock(gHeld.mutex);
    for (const auto& held : gHeld.withheld) NUVHTTPReleaseHeaderInfo(held.second);
    gHeld.withheld.clear();
    gHeld.stalled.clear();
    gHeld.stallAsks = 0;
    gEvents = nullptr;
  }

  // Threads of this process.
  static int liveThreads() {
    DIR* dir = opendir("/proc/self/task");
    int n = 0;
    while (dir != nullptr && readdir(dir) != nullptr) ++n;
    if (dir != nullptr) closedir(dir);
    return n - 2;  // "." and ".."
  }

  // A raw GET of `target` on its own connection; its socket, or -1.
  int openRequest(const std::string& target) {
    const int s = loopback::connectTo(port_);
    if (s >= 0 && !loopback::sendAll(s, "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n")) {
      close(s);
      return -1;
    }
    return s;
  }

  // POSTs `data` to the profile with curl (from a file, as players send
  // uploads); the HTTP status.
  int post(const std::string& data) {
    const std::string file = "/tmp/stack_http_upload_" + std::to_string(getpid());
    FILE* f = fopen(file.c_str(), "wb");
    if (f == nullptr) return -1;
    fwrite(data.data(), 1, data.size(), f);
    fclose(f);
    int code = 0;
    curl("--data-binary @" + file + " " + url_, &code);
    std::remove(file.c_str());
    return code;
  }

  // Everything the server sends until it closes (or 20 s pass); closes `s`.
  static std::string readAll(int s) {
    std::string got;
    char buffer[65536];
    ssize_t n;
    while ((n = recv(s, buffer, sizeof buffer, 0)) > 0) got.append(buffer, static_cast<size_t>(n));
    close(s);
    return got;
  }

  // Waits until `count` requests are withheld; their connections.
  std::vector<int> waitForWithheld(size_t count) {
    std::unique_lock<std::mutex> lock(gHeld.mutex);
    gHeld.changed.wait_for(lock, std::chrono::seconds(10),
                           [&] { return gHeld.withheld.size() >= count; });
    std::vector<int> connections;
    for (const auto& held : gHeld.withheld) connections.push_back(held.first);
    return connections;
  }

  // Answers every withheld request (200, no body) and lets go of it.
  void answerWithheld() {
    std::lock_guard<std::mutex> lock(gHeld.mutex);
    for (const auto& held : gHeld.withheld) {
      NUVHTTPResponseHeaderInfo* r = newResponse(200, "text/plain", "");
      EXPECT_EQ(NUVHTTPSendResponse(profile_, held.first, r, 1), 0);
      FreeResponseHeader(r);
      NUVHTTPReleaseHeaderInfo(held.second);
    }
    gHeld.withheld.clear();
  }

  bool waitForStallAsks(int count) {
    std::unique_lock<std::mutex> lock(gHeld.mutex);
    return gHeld.changed.wait_for(lock, std::chrono::seconds(10),
                                  [&] { return gHeld.stallAsks >= count; });
  }

  std::vector<int> stalled() {
    std::lock_guard<std::mutex> lock(gHeld.mutex);
    return std::vector<int>(gHeld.stalled.begin(), gHeld.stalled.end());
  }

  // The exceptions raised for `connection`, in order ("2 6").
  std::string exceptionsOf(int connection) {
    std::string out;
    const std::string prefix = "exception " + std::to_string(connection) + " ";
    for (const auto& line : log()) {
      if (line.rfind(prefix, 0) != 0) continue;
      out += (out.empty() ? "" : " ") + line.substr(prefix.size());
    }
    return out;
  }

  // Where `line` first shows in the log, or -1.
  long indexOf(const std::string& line) {
    const auto lines = log();
    for (size_t i = 0; i < lines.size(); ++i)
      if (lines[i] == line) return static_cast<long>(i);
    return -1;
  }

  std::string base() const { return "http://127.0.0.1:" + std::to_string(port_); }

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
  EXPECT_EQ(post(data), 200);
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
  // No request is left in progress, and none of the profile's callbacks
  // runs after the stop returns: the count is final.
  ASSERT_EQ(NUVHTTPStopHTTPProfile(profile_, NUV_HTTP_ALL_CONNECTIONS), 0);
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
  ASSERT_TRUE(waitFor(1)) << "the admitted request's close comes after its response";
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
  // A piece asked for just before the stop may still be on its way: it
  // must not count against the next request's body.
  ASSERT_TRUE(waitForHelpers());
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

TEST_F(StackHttpServer, AResponseQueuedLaterFromAnotherThreadIsSent) {
  gMode = Mode::AnswerLater;
  int code = 0;
  EXPECT_TRUE(curl(url_, &code) == *body());
  EXPECT_EQ(code, 200);
  ASSERT_TRUE(waitFor(1));
  int connection = 0;
  for (const auto& line : log())
    if (line.rfind("connect ", 0) == 0) connection = atoi(line.c_str() + 8);
  const std::string id = std::to_string(connection);
  ASSERT_GE(indexOf("returned " + id), 0);
  EXPECT_LT(indexOf("returned " + id), indexOf("answering " + id))
      << "callback 5 returned before the response came";
  EXPECT_EQ(exceptionsOf(connection), "6");

  const std::string headers = run("curl -s --noproxy '*' -m 20 -I " + url_);
  EXPECT_NE(headers.find("Content-Length: 100000\r\n"), std::string::npos) << headers;
  ASSERT_TRUE(waitFor(2));
  EXPECT_EQ(pieces(), 5) << "the HEAD asked for no piece";
}

TEST_F(StackHttpServer, SlowRequestsBeyondThePoolSizeHoldNoThread) {
  constexpr size_t kSlow = 16;
  static_assert(kSlow > dmsstack::kHttpServerThreads, "more requests than threads");
  const int threadsServing = liveThreads();
  std::vector<int> sockets;
  for (size_t i = 0; i < kSlow; ++i) sockets.push_back(openRequest("/withhold"));
  for (int s : sockets) ASSERT_GE(s, 0);
  ASSERT_EQ(waitForWithheld(kSlow).size(), kSlow) << "every request reached its handler";
  EXPECT_LT(liveThreads() - threadsServing, 4) << "no thread per request";
  int code = 0;
  EXPECT_TRUE(curl(url_, &code) == *body()) << "served while all the others wait";
  EXPECT_EQ(code, 200);
  ASSERT_TRUE(waitFor(1)) << "the served request's close comes after its response";
  // The withheld ones are still open: each gets its 200 below.
  EXPECT_EQ(closed(), 1);
  answerWithheld();
  for (int s : sockets) {
    const std::string reply = readAll(s);
    EXPECT_EQ(reply.rfind("HTTP/1.1 200", 0), 0u) << reply;
  }
  EXPECT_TRUE(waitFor(kSlow + 1));
}

TEST_F(StackHttpServer, BodiesWhosePiecesComeLateHoldNoThread) {
  constexpr int kStalls = 8;
  std::vector<int> sockets;
  for (int i = 0; i < kStalls; ++i) sockets.push_back(openRequest("/stall"));
  for (int s : sockets) ASSERT_GE(s, 0);
  ASSERT_TRUE(waitForStallAsks(kStalls)) << "each body asked for its first piece";
  int code = 0;
  EXPECT_TRUE(curl(url_, &code) == *body()) << "served while the bodies wait";
  EXPECT_EQ(code, 200);
  const std::string half(kStallBytes / 2, 'h');
  std::vector<std::thread> senders;
  for (int connection : stalled()) {
    senders.emplace_back([this, connection, &half] {
      EXPECT_EQ(
          NUVHTTPSendPacket(profile_, connection, half.data(), static_cast<int>(half.size()), 0),
          0);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      EXPECT_EQ(
          NUVHTTPSendPacket(profile_, connection, half.data(), static_cast<int>(half.size()), 1),
          0);
    });
  }
  for (auto& t : senders) t.join();
  for (int s : sockets) {
    const std::string reply = readAll(s);
    const size_t split = reply.find("\r\n\r\n");
    ASSERT_NE(split, std::string::npos) << reply;
    EXPECT_EQ(reply.substr(split + 4), half + half);
  }
  EXPECT_TRUE(waitFor(kStalls + 1));
  for (int connection : stalled()) EXPECT_EQ(exceptionsOf(connection), "6");
}

TEST_F(StackHttpServer, CancellingARequestThatWaitsForItsResponseClosesIt) {
  const int s = openRequest("/withhold");
  ASSERT_GE(s, 0);
  const std::vector<int> held = waitForWithheld(1);
  ASSERT_EQ(held.size(), 1u);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile_, held[0]), 0);
  EXPECT_EQ(readAll(s), "") << "closed unanswered";
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  ASSERT_TRUE(waitFor(1));
  EXPECT_EQ(exceptionsOf(held[0]), "6");
  NUVHTTPResponseHeaderInfo* r = newResponse(200, "text/plain", "");
  EXPECT_NE(NUVHTTPSendResponse(profile_, held[0], r, 1), 0) << "the request has ended";
  FreeResponseHeader(r);
  EXPECT_EQ(curl(url_), *body()) << "the profile still serves";
}

TEST_F(StackHttpServer, CancellingABodyThatWaitsForItsPieceCutsIt) {
  const int s = openRequest("/stall");
  ASSERT_GE(s, 0);
  ASSERT_TRUE(waitForStallAsks(1));
  const int connection = stalled().at(0);
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile_, connection), 0);
  const std::string reply = readAll(s);
  EXPECT_EQ(reply.rfind("HTTP/1.1 200", 0), 0u) << reply;
  EXPECT_EQ(reply.substr(reply.find("\r\n\r\n") + 4), "") << "no byte of the body";
  ASSERT_TRUE(waitFor(1));
  EXPECT_EQ(exceptionsOf(connection), "2 6");
}

TEST_F(StackHttpServer, AResponseThatNeverComesIsClosedAfterTheWaitBound) {
  dmsstack::setHandlerWaitForTest(std::chrono::milliseconds(300));
  const auto start = std::chrono::steady_clock::now();
  int code = -1;
  curl(base() + "/withhold", &code);
  EXPECT_EQ(code, 0) << "no response";
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
  ASSERT_TRUE(waitFor(1));
  EXPECT_EQ(exceptionsOf(waitForWithheld(1).at(0)), "6");
}

TEST_F(StackHttpServer, APieceThatNeverComesEndsTheBodyAfterTheWaitBound) {
  dmsstack::setHandlerWaitForTest(std::chrono::milliseconds(300));
  const auto start = std::chrono::steady_clock::now();
  const int s = openRequest("/stall");
  ASSERT_GE(s, 0);
  const std::string reply = readAll(s);
  EXPECT_EQ(reply.rfind("HTTP/1.1 200", 0), 0u) << reply;
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
  ASSERT_TRUE(waitFor(1));
  EXPECT_EQ(exceptionsOf(stalled().at(0)), "2 6");
}

TEST_F(StackHttpServer, AnUploadAnsweredLaterFromAnotherThreadGetsItsResponse) {
  gMode = Mode::UploadLater;
  const std::string data(300000, 'u');
  EXPECT_EQ(post(data), 200);
  ASSERT_TRUE(waitFor(1));
  EXPECT_TRUE(uploaded() == data);
  // The helper logs its answer after sending it, and the send may end the
  // exchange first.
  ASSERT_TRUE(waitForHelpers());
  EXPECT_GE(indexOf("answered 0"), 0);
}

TEST_F(StackHttpServer, AnUploadCutOffHalfwayEndsAtOnce) {
  gMode = Mode::Upload;
  const int s = loopback::connectTo(port_);
  ASSERT_GE(s, 0);
  ASSERT_TRUE(loopback::sendAll(
      s, "POST /x HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 10485760\r\n\r\n"));
  const std::string piece(65536, 'c');
  for (int i = 0; i < 16; ++i) ASSERT_TRUE(loopback::sendAll(s, piece));
  close(s);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(waitFor(1)) << "the exchange ends with exception 6; uploaded " << uploaded().size();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_EQ(uploaded(), std::string(16 * piece.size(), 'c')) << "every piece sent was delivered";
  for (const auto& line : log()) EXPECT_NE(line.rfind("last ", 0), 0u) << "no last piece";
}

TEST_F(StackHttpServer, StoppingTheProfileEndsTheRequestsThatWait) {
  std::vector<int> sockets;
  for (int i = 0; i < 3; ++i) sockets.push_back(openRequest("/withhold"));
  for (int i = 0; i < 2; ++i) sockets.push_back(openRequest("/stall"));
  ASSERT_EQ(waitForWithheld(3).size(), 3u);
  ASSERT_TRUE(waitForStallAsks(2));
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile_, NUV_HTTP_ALL_CONNECTIONS), 0);
  EXPECT_EQ(closed(), 5) << "before the stop returned";
  for (int connection : waitForWithheld(3)) EXPECT_EQ(exceptionsOf(connection), "0 6");
  for (int connection : stalled()) EXPECT_EQ(exceptionsOf(connection), "0 6");
  for (int s : sockets) readAll(s);
}

TEST_F(StackHttpServer, StoppingTheProfileFromItsOwnCallbackEndsTheRequestsThatWait) {
  std::vector<int> sockets;
  for (int i = 0; i < 2; ++i) sockets.push_back(openRequest("/withhold"));
  sockets.push_back(openRequest("/stall"));
  ASSERT_EQ(waitForWithheld(2).size(), 2u);
  ASSERT_TRUE(waitForStallAsks(1));
  int code = -1;
  curl(base() + "/stop", &code);
  EXPECT_EQ(code, 0) << "no response";
  ASSERT_TRUE(waitFor(4)) << "every request ended just after";
  EXPECT_GE(indexOf("stopped 0"), 0) << testing::PrintToString(log());
  for (int connection : waitForWithheld(2)) EXPECT_EQ(exceptionsOf(connection), "0 6");
  for (int s : sockets) readAll(s);
  EXPECT_EQ(NUVHTTPGetProfilePort(profile_), -1);
  bool refused = false;
  for (int i = 0; i < 1000 && !refused; ++i) {
    const int s = openRequest("/x");
    refused = s < 0;
    if (s >= 0) close(s);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_TRUE(refused) << "the daemon stopped listening";
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
