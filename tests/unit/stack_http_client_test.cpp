// The stack's HTTP client profiles on libcurl, against small HTTP servers of
// the test on 127.0.0.1: the order of the notifications, response header
// records, bodies in pieces, redirects followed and refused, failures
// (refused connections, stalls, short bodies), request bodies fed
// synchronously and from another thread, "100 Continue", byte counts, stops
// from another thread and from a callback, and many transfers at once.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "http_client.h"
#include "nuv_http.h"

namespace {

using namespace std::chrono_literals;

// Generous: sanitizer builds run several times slower.
constexpr auto kWait = 30s;

std::string pattern(size_t size, unsigned seed) {
  std::string text(size, '\0');
  for (size_t i = 0; i < size; ++i)
    text[i] = static_cast<char>((i * 31 + seed * 7 + i / 251) % 256);
  return text;
}

// ---- A small HTTP server of the test ---------------------------------------

// One accepted connection, from the server's side.
class Peer {
 public:
  Peer(int fd, const std::atomic<bool>* stopping) : fd_(fd), stopping_(stopping) {}

  // Reads the request line and headers; false when none came.
  bool readHead() {
    for (;;) {
      const size_t end = buffer_.find("\r\n\r\n");
      if (end != std::string::npos) {
        head_ = buffer_.substr(0, end + 4);
        buffer_.erase(0, end + 4);
        return true;
      }
      if (!fill()) return false;
    }
  }
  const std::string& head() const { return head_; }
  std::string target() const {
    const size_t from = head_.find(' ') + 1;
    return head_.substr(from, head_.find(' ', from) - from);
  }
  // The value of header `name`, or "" when absent.
  std::string header(const std::string& name) const {
    size_t at = head_.find("\r\n");
    while (at != std::string::npos && at + 2 < head_.size()) {
      const size_t end = head_.find("\r\n", at + 2);
      const std::string line = head_.substr(at + 2, end - at - 2);
      const size_t colon = line.find(':');
      if (colon != std::string::npos &&
          strcasecmp(line.substr(0, colon).c_str(), name.c_str()) == 0)
        return line.substr(line.find_first_not_of(' ', colon + 1));
      at = end;
    }
    return "";
  }
  bool hasHeader(const std::string& name) const {
    return head_.find("\r\n" + name + ":") != std::string::npos;
  }

  // The request body, by Content-Length or in chunks.
  std::string readBody() {
    std::string body;
    const std::string length = header("Content-Length");
    if (!length.empty()) {
      readExactly(static_cast<size_t>(atoll(length.c_str())), &body);
    } else if (header("Transfer-Encoding") == "chunked") {
      for (;;) {
        const std::string size = readLine();
        const size_t n = strtoul(size.c_str(), nullptr, 16);
        if (n == 0 || !readExactly(n, &body)) break;
        readLine();
      }
      while (!readLine().empty()) {
      }
    }
    return body;
  }

  bool send(const std::string& data) {
    size_t at = 0;
    while (at < data.size()) {
      pollfd p{fd_, POLLOUT, 0};
      if (stopping_->load()) return false;
      if (poll(&p, 1, 50) <= 0) continue;
      const ssize_t n = ::send(fd_, data.data() + at, data.size() - at, MSG_NOSIGNAL);
      if (n <= 0) return false;
      at += static_cast<size_t>(n);
    }
    return true;
  }

  // Waits until the client closes the connection (or the server stops).
  void waitForClose() {
    while (fill()) buffer_.clear();
  }

 private:
  bool fill() {
    char chunk[16384];
    for (;;) {
      if (stopping_->load()) return false;
      pollfd p{fd_, POLLIN, 0};
      if (poll(&p, 1, 50) <= 0) continue;
      const ssize_t n = recv(fd_, chunk, sizeof chunk, 0);
      if (n <= 0) return false;
      buffer_.append(chunk, static_cast<size_t>(n));
      return true;
    }
  }
  bool readExactly(size_t n, std::string* out) {
    while (buffer_.size() < n) {
      if (!fill()) return false;
    }
    out->append(buffer_, 0, n);
    buffer_.erase(0, n);
    return true;
  }
  std::string readLine() {
    size_t end;
    while ((end = buffer_.find("\r\n")) == std::string::npos) {
      if (!fill()) return "";
    }
    std::string line = buffer_.substr(0, end);
    buffer_.erase(0, end + 2);
    return line;
  }

  int fd_;
  const std::atomic<bool>* stopping_;
  std::string buffer_;
  std::string head_;
};

// Serves each connection on a thread of its own with `handler`, after
// reading its request head; the connection closes when the handler returns.
class TestServer {
 public:
  using Handler = std::function<void(Peer&)>;

  explicit TestServer(Handler handler) : handler_(std::move(handler)) {
    listen_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listen_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        listen(listen_, 128) != 0 ||
        getsockname(listen_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      ADD_FAILURE() << "test server cannot listen";
    }
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptLoop(); });
  }
  ~TestServer() {
    stopping_ = true;
    acceptor_.join();
    for (auto& t : threads_) t.join();
    close(listen_);
  }

  std::string url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
  }
  int port() const { return port_; }
  int accepted() const { return accepted_.load(); }

 private:
  void acceptLoop() {
    while (!stopping_.load()) {
      pollfd p{listen_, POLLIN, 0};
      if (poll(&p, 1, 50) <= 0) continue;
      const int fd = accept(listen_, nullptr, nullptr);
      if (fd < 0) continue;
      ++accepted_;
      threads_.emplace_back([this, fd] {
        Peer peer(fd, &stopping_);
        if (peer.readHead()) handler_(peer);
        close(fd);
      });
    }
  }

  Handler handler_;
  int listen_ = -1;
  int port_ = 0;
  std::atomic<bool> stopping_{false};
  std::atomic<int> accepted_{0};
  std::thread acceptor_;
  std::vector<std::thread> threads_;  // the acceptor's until it is joined
};

std::string response(int status, const std::string& body, const std::string& extra = "") {
  return "HTTP/1.1 " + std::to_string(status) +
         " X\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n" +
         extra + "\r\n" + body;
}

// ---- What the client profiles' callbacks saw ---------------------------------

struct ReceivedHeader {
  int status = 0;
  int http11 = 0;
  std::string contentType;
  std::string contentLength;  // "(none)" when absent
  std::map<std::string, std::string> headers;
};

// How a profile's handler behaves.
enum class Feed { None, Sync, Thread };
struct Behaviour {
  Feed feed = Feed::None;
  std::string upload;  // the request body to feed
  size_t pieceSize = 4096;
  size_t fed = 0;
  bool stopOnFirstPiece = false;
  bool stopOnHeader = false;
  int stopOnException = -1;  // the exception type whose callback stops the profile
};

struct ProfileLog {
  std::vector<std::string> events;  // runs of "piece" and "ask" collapsed
  std::string body;
  std::vector<ReceivedHeader> headers;
  int pieces = 0;
  int sixes = 0;
  bool afterSix = false;  // a callback came after exception 6
  eHTTPVersion version = NUV_HTTP_VERSION_1_1;
  std::thread::id thread;
  bool otherThread = false;  // the callbacks did not all run on one thread
};

std::mutex gMutex;
std::condition_variable gChanged;
std::map<int, ProfileLog> gLogs;
std::map<int, Behaviour> gBehaviours;

// mutex held
ProfileLog& note(int profile, const std::string& event) {
  ProfileLog& log = gLogs[profile];
  if (log.sixes > 0) log.afterSix = true;
  if (log.thread == std::thread::id()) log.thread = std::this_thread::get_id();
  if (log.thread != std::this_thread::get_id()) log.otherThread = true;
  const bool run = event == "piece" || event == "ask";
  if (!(run && !log.events.empty() && log.events.back() == event)) log.events.push_back(event);
  gChanged.notify_all();
  return log;
}

void feedNext(int profile) {
  std::string piece;
  bool last = false;
  {
    std::lock_guard<std::mutex> lock(gMutex);
    Behaviour& b = gBehaviours[profile];
    piece = b.upload.substr(b.fed, b.pieceSize);
    b.fed += piece.size();
    last = b.fed >= b.upload.size();
  }
  if (NUVHTTPSendPacket(profile, profile, piece.data(), static_cast<int>(piece.size()),
                        last ? 1 : 0) != 0) {
    std::lock_guard<std::mutex> lock(gMutex);
    note(profile, "packet refused");
  }
}

// Answers callback 6 from a thread of its own, a little later.
class Feeder {
 public:
  Feeder() : thread_([this] { loop(); }) {}
  ~Feeder() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      quit_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }
  void ask(int profile) {
    std::lock_guard<std::mutex> lock(mutex_);
    asks_.push_back(profile);
    changed_.notify_all();
  }

 private:
  void loop() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return quit_ || !asks_.empty(); });
      if (quit_) return;
      const int profile = asks_.front();
      asks_.pop_front();
      lock.unlock();
      std::this_thread::sleep_for(1ms);
      feedNext(profile);
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<int> asks_;
  bool quit_ = false;
  std::thread thread_;
};

Feeder* gFeeder = nullptr;

void onConnect(int profile, int connection) {
  std::lock_guard<std::mutex> lock(gMutex);
  note(profile, connection == profile ? "connect" : "connect on another connection");
}

void onHeader(int profile, int, stNUVAppList* list, int) {
  ReceivedHeader h;
  NUVHTTPResponseHeaderInfo* info = nullptr;
  if (NUVHTTPGetResponseHeaderInfo(list, &info) == 0) {
    h.status = info->statusCode;
    h.http11 = info->http11;
    h.contentType = info->contentType != nullptr ? info->contentType : "(none)";
    h.contentLength = info->contentLength != nullptr ? info->contentLength : "(none)";
    for (int i = 0; i < NUVListGetCount(info->additionalHeaders); ++i) {
      auto* pair = static_cast<stNUVHeader*>(NUVListGetItemData(info->additionalHeaders, i));
      h.headers[pair->name] = pair->value;
    }
  }
  NUVHTTPReleaseHeaderInfo(list);
  bool stop = false;
  {
    std::lock_guard<std::mutex> lock(gMutex);
    note(profile, "header " + std::to_string(h.status)).headers.push_back(h);
    stop = gBehaviours[profile].stopOnHeader;
  }
  if (stop) {
    const int rc = NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS);
    std::lock_guard<std::mutex> lock(gMutex);
    note(profile, "stop " + std::to_string(rc));
  }
}

void onPiece(int profile, int, eHTTPVersion version, int length, char* data, bool last, int) {
  bool stop = false;
  {
    std::lock_guard<std::mutex> lock(gMutex);
    if (last) {
      note(profile, length == 0 ? "last" : "last with bytes");
      return;
    }
    ProfileLog& log = note(profile, "piece");
    log.body.append(data, static_cast<size_t>(length));
    log.version = version;
    stop = ++log.pieces == 1 && gBehaviours[profile].stopOnFirstPiece;
  }
  if (stop) {
    const int rc = NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS);
    std::lock_guard<std::mutex> lock(gMutex);
    note(profile, "stop " + std::to_string(rc));
  }
}

void onAsk(int profile, int, int) {
  Feed feed;
  {
    std::lock_guard<std::mutex> lock(gMutex);
    note(profile, "ask");
    feed = gBehaviours[profile].feed;
  }
  if (feed == Feed::Sync) feedNext(profile);
  if (feed == Feed::Thread) gFeeder->ask(profile);
}

void onException(int profile, int, eExceptionType type) {
  bool stop = false;
  {
    std::lock_guard<std::mutex> lock(gMutex);
    note(profile, "exception " + std::to_string(type));
    stop = gBehaviours[profile].stopOnException == type;
  }
  if (stop) {
    const int rc = NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS);
    std::lock_guard<std::mutex> lock(gMutex);
    note(profile, "stop " + std::to_string(rc));
  }
  if (type == NUV_HTTP_EXCEPTION_SOCKET_CLOSED) {
    std::lock_guard<std::mutex> lock(gMutex);
    ++gLogs[profile].sixes;
    gChanged.notify_all();
  }
}

NUVHTTPClientRequest* newRequest(eHTTPMessageType method, const std::string& url) {
  auto* r = static_cast<NUVHTTPClientRequest*>(calloc(1, sizeof(NUVHTTPClientRequest)));
  r->method = method;
  r->url = strdup(url.c_str());
  r->http11 = 1;
  r->contentLength = -1;
  r->additionalHeaders = NUVListCreate();
  return r;
}

class StackHttpClient : public ::testing::Test {
 protected:
  void SetUp() override { gFeeder = &feeder_; }
  void TearDown() override {
    for (int p : started_) NUVHTTPStopHTTPProfile(p, NUV_HTTP_ALL_CONNECTIONS);
    dmsstack::setHttpClientLimits(dmsstack::HttpClientLimits{});
    std::lock_guard<std::mutex> lock(gMutex);
    gLogs.clear();
    gBehaviours.clear();
  }

  int start(Behaviour behaviour = {}) {
    stNUVHTTPCallbacks cb{};
    cb.responseReceive = &onPiece;
    cb.responseHeader = &onHeader;
    cb.exception = &onException;
    cb.sendRequest = &onAsk;
    cb.connect = &onConnect;
    stNUVHTTPConnInfo* info = nullptr;
    EXPECT_EQ(NUVHTTPStartHTTPProfile(&cb, nullptr, nullptr, 0, &info), 0);
    int profile = 0;
    char* address = nullptr;
    EXPECT_EQ(NUVHTTPGetConnProfilesCount(info), 1);
    EXPECT_EQ(NUVHTTPGetConnectionInfo(info, 1, &profile, &address), 0);
    EXPECT_STREQ(address, "");
    NUVHTTPFreeConnectionInfo(info);
    {
      std::lock_guard<std::mutex> lock(gMutex);
      gBehaviours[profile] = std::move(behaviour);
    }
    started_.push_back(profile);
    return profile;
  }

  // Starts a profile and sends `request` (freed here); the profile.
  int fetch(NUVHTTPClientRequest* request, bool complete = true, Behaviour behaviour = {}) {
    const int profile = start(std::move(behaviour));
    EXPECT_EQ(NUVHTTPSendRequest(profile, profile, request, complete ? 1 : 0), 0);
    NUVHTTPFreeClientRequest(request);
    return profile;
  }
  int get(const std::string& url) { return fetch(newRequest(NUV_HTTP_GET, url)); }

  bool waitClosed(int profile) {
    std::unique_lock<std::mutex> lock(gMutex);
    return gChanged.wait_for(lock, kWait, [profile] { return gLogs[profile].sixes > 0; });
  }
  bool waitPieces(int profile, int pieces) {
    std::unique_lock<std::mutex> lock(gMutex);
    return gChanged.wait_for(lock, kWait,
                             [profile, pieces] { return gLogs[profile].pieces >= pieces; });
  }
  ProfileLog log(int profile) {
    std::lock_guard<std::mutex> lock(gMutex);
    return gLogs[profile];
  }
  std::vector<std::string> events(int profile) { return log(profile).events; }

  Feeder feeder_;
  std::vector<int> started_;
};

using Events = std::vector<std::string>;

// A URL on 127.0.0.1 where nothing listens.
std::string closedUrl() {
  const int s = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  EXPECT_EQ(bind(s, reinterpret_cast<sockaddr*>(&address), size), 0);
  EXPECT_EQ(getsockname(s, reinterpret_cast<sockaddr*>(&address), &size), 0);
  close(s);
  return "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
}

}  // namespace

TEST_F(StackHttpClient, StartGivesOneEntryWithoutAddressAndOpensNothing) {
  TestServer server([](Peer&) {});
  const int profile = start();
  EXPECT_GE(profile, dmsstack::kFirstClientProfile) << "apart from server profile handles";
  EXPECT_NE(start(), profile);
  EXPECT_EQ(NUVHTTPGetProfilePort(profile), -1);
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(profile), 0);
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS), 0);
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS), 1) << "gone";
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(profile), -1);
  ASSERT_TRUE(dmsstack::waitHttpClientIdle(10s)) << "no callback can come after this";
  EXPECT_TRUE(events(profile).empty()) << "no request, no callback";
  EXPECT_EQ(server.accepted(), 0);
}

TEST_F(StackHttpClient, GetDeliversTheBodyInPiecesThenTheLastThenException6) {
  const std::string body = pattern(1 << 20, 1);
  TestServer server([&body](Peer& peer) {
    peer.send("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
              std::to_string(body.size()) + "\r\n\r\n");
    peer.send(body);
  });
  const int profile = get(server.url("/big"));
  ASSERT_TRUE(waitClosed(profile));
  const ProfileLog l = log(profile);
  EXPECT_EQ(l.events, (Events{"connect", "header 200", "piece", "last", "exception 6"}));
  EXPECT_TRUE(l.body == body) << l.body.size() << " bytes";
  EXPECT_GT(l.pieces, 1);
  EXPECT_FALSE(l.otherThread);
  EXPECT_NE(l.thread, std::this_thread::get_id());
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(profile), 1 << 20);
  ASSERT_TRUE(dmsstack::waitHttpClientIdle(10s)) << "no callback can come after this";
  EXPECT_FALSE(log(profile).afterSix);
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS), 0)
      << "the profile stays until stopped";
  EXPECT_EQ(events(profile).size(), 5u) << "no callback for a stop after the end";
}

TEST_F(StackHttpClient, RequestAndResponseHeadersAreTranslatedBothWays) {
  std::mutex mutex;
  std::string head;
  TestServer server([&](Peer& peer) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      head = peer.head();
    }
    peer.send(response(200, "hello",
                       "Content-Type: text/plain; charset=utf-8\r\nX-Extra: yes\r\n"
                       "X-Folded: one\r\n two\r\n"));
  });
  NUVHTTPClientRequest* request = newRequest(NUV_HTTP_GET, server.url("/a/b?c=d"));
  request->host = strdup("camera.local:80");
  NUVHTTPAddAdditionalHeaderValue(request->additionalHeaders, "transferMode.dlna.org",
                                  "Interactive");
  NUVHTTPAddAdditionalHeaderValue(request->additionalHeaders, "Connection", "close");
  NUVHTTPAddAdditionalHeaderValue(request->additionalHeaders, "X-Empty", "");
  const int profile = fetch(request);
  ASSERT_TRUE(waitClosed(profile));

  const ProfileLog l = log(profile);
  ASSERT_EQ(l.headers.size(), 1u);
  const ReceivedHeader& h = l.headers[0];
  EXPECT_EQ(h.status, 200);
  EXPECT_EQ(h.http11, 1);
  EXPECT_EQ(h.contentType, "text/plain; charset=utf-8");
  EXPECT_EQ(h.contentLength, "5");
  EXPECT_EQ(h.headers.at("X-Extra"), "yes");
  EXPECT_EQ(h.headers.at("X-Folded"), "one two");
  EXPECT_EQ(h.headers.at("Connection"), "close");
  EXPECT_EQ(l.body, "hello");

  std::lock_guard<std::mutex> lock(mutex);
  EXPECT_EQ(head.rfind("GET /a/b?c=d HTTP/1.1\r\n", 0), 0u) << head;
  EXPECT_NE(head.find("\r\nHost: camera.local:80\r\n"), std::string::npos) << head;
  EXPECT_EQ(head.find("Host:"), head.rfind("Host:")) << "one Host header";
  EXPECT_NE(head.find("\r\ntransferMode.dlna.org: Interactive\r\n"), std::string::npos) << head;
  EXPECT_NE(head.find("\r\nConnection: close\r\n"), std::string::npos) << head;
  EXPECT_NE(head.find("\r\nX-Empty:"), std::string::npos) << head;
  EXPECT_EQ(head.find("Accept:"), std::string::npos) << "only the headers asked for";
}

TEST_F(StackHttpClient, Http10RequestsAndResponses) {
  std::mutex mutex;
  std::string head;
  TestServer server([&](Peer& peer) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      head = peer.head();
    }
    peer.send("HTTP/1.0 200 OK\r\n\r\nold style");
  });
  NUVHTTPClientRequest* request = newRequest(NUV_HTTP_GET, server.url("/old"));
  request->http11 = 0;
  const int profile = fetch(request);
  ASSERT_TRUE(waitClosed(profile));
  const ProfileLog l = log(profile);
  EXPECT_EQ(l.events, (Events{"connect", "header 200", "piece", "last", "exception 6"}));
  ASSERT_EQ(l.headers.size(), 1u);
  EXPECT_EQ(l.headers[0].http11, 0);
  EXPECT_EQ(l.headers[0].contentLength, "(none)");
  EXPECT_EQ(l.version, NUV_HTTP_VERSION_1_0);
  EXPECT_EQ(l.body, "old style") << "a body that ends with the connection";
  std::lock_guard<std::mutex> lock(mutex);
  EXPECT_EQ(head.rfind("GET /old HTTP/1.0\r\n", 0), 0u) << head;
}

TEST_F(StackHttpClient, NotFoundIsDeliveredLikeAnyOtherResponse) {
  TestServer server([](Peer& peer) { peer.send(response(404, "nope")); });
  const int profile = get(server.url("/missing"));
  ASSERT_TRUE(waitClosed(profile));
  const ProfileLog l = log(profile);
  EXPECT_EQ(l.events, (Events{"connect", "header 404", "piece", "last", "exception 6"}));
  EXPECT_EQ(l.body, "nope");
}

// "/hop/N" redirects N more times (alternately relative and absolute), then
// answers "arrived".
void hops(Peer& peer, int port) {
  const std::string target = peer.target();
  const int left = atoi(target.c_str() + 5);
  if (left == 0) {
    peer.send(response(200, "arrived"));
    return;
  }
  const std::string next = "/hop/" + std::to_string(left - 1);
  const std::string location =
      left % 2 == 0 ? next : "http://127.0.0.1:" + std::to_string(port) + next;
  peer.send(response(302, "moved", "Location: " + location + "\r\n"));
}

TEST_F(StackHttpClient, GetFollowsFiveRedirects) {
  std::atomic<int> port{0};
  TestServer server([&port](Peer& peer) { hops(peer, port.load()); });
  port = server.port();
  const int profile = get(server.url("/hop/5"));
  ASSERT_TRUE(waitClosed(profile));
  const ProfileLog l = log(profile);
  EXPECT_EQ(l.events, (Events{"connect", "header 200", "piece", "last", "exception 6"}))
      << "the redirects themselves are not reported";
  EXPECT_EQ(l.body, "arrived");
  EXPECT_EQ(server.accepted(), 6);
}

TEST_F(StackHttpClient, ASixthRedirectFails) {
  std::atomic<int> port{0};
  TestServer server([&port](Peer& peer) { hops(peer, port.load()); });
  port = server.port();
  const int profile = get(server.url("/hop/6"));
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_EQ(events(profile), (Events{"connect", "exception 2", "exception 6"}));
  EXPECT_EQ(server.accepted(), 6);
}

TEST_F(StackHttpClient, RedirectsToOtherSchemesAreRefused) {
  for (const std::string location : {"file:///etc/passwd", "ftp://127.0.0.1/x", "https://x/"}) {
    TestServer server([&location](Peer& peer) {
      peer.send(response(301, "moved", "Location: " + location + "\r\n"));
    });
    const int profile = get(server.url("/moved"));
    ASSERT_TRUE(waitClosed(profile)) << location;
    EXPECT_EQ(events(profile), (Events{"connect", "exception 2", "exception 6"})) << location;
    EXPECT_EQ(log(profile).body, "");
  }
}

TEST_F(StackHttpClient, PostIsNotRedirected) {
  TestServer server([](Peer& peer) {
    peer.readBody();
    peer.send(response(303, "see", "Location: /elsewhere\r\n"));
  });
  NUVHTTPClientRequest* request = newRequest(NUV_HTTP_POST, server.url("/post"));
  request->contentLength = 3;
  Behaviour b;
  b.feed = Feed::Sync;
  b.upload = "abc";
  const int profile = fetch(request, false, b);
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_EQ(events(profile),
            (Events{"connect", "ask", "header 303", "piece", "last", "exception 6"}));
  EXPECT_EQ(server.accepted(), 1);
}

TEST_F(StackHttpClient, ARefusedConnectionFails) {
  const int profile = get(closedUrl());
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_EQ(events(profile), (Events{"connect", "exception 2", "exception 6"}));
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(profile), 0);
}

TEST_F(StackHttpClient, AStalledServerTimesOut) {
  dmsstack::HttpClientLimits limits;
  limits.lowSpeedTime = 1s;
  dmsstack::setHttpClientLimits(limits);
  TestServer server([](Peer& peer) {
    peer.send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\ns");
    peer.waitForClose();
  });
  const auto started = std::chrono::steady_clock::now();
  const int profile = get(server.url("/stall"));
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_LT(std::chrono::steady_clock::now() - started, 25s);
  EXPECT_EQ(events(profile),
            (Events{"connect", "header 200", "piece", "exception 2", "exception 6"}));
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(profile), 1);
}

TEST_F(StackHttpClient, ABodyCutShortFails) {
  TestServer server([](Peer& peer) {
    peer.send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + std::string(10, 'c'));
  });
  const int profile = get(server.url("/short"));
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_EQ(events(profile),
            (Events{"connect", "header 200", "piece", "exception 2", "exception 6"}));
}

// A POST server: reads the body (after "100 Continue" when asked and
// `interim` is set), keeps the head and body, answers 200 "stored".
struct UploadSink {
  std::mutex mutex;
  std::string head;
  std::string body;
  bool interim = false;
  void operator()(Peer& peer) {
    const bool expect = peer.header("Expect") == "100-continue";
    if (expect && interim) peer.send("HTTP/1.1 100 Continue\r\n\r\n");
    std::string received = peer.readBody();
    {
      std::lock_guard<std::mutex> lock(mutex);
      head = peer.head();
      body = std::move(received);
    }
    peer.send(response(200, "stored"));
  }
};

TEST_F(StackHttpClient, PostWithALengthIsFedSynchronously) {
  UploadSink sink;
  TestServer server([&sink](Peer& peer) { sink(peer); });
  const std::string upload = pattern(100000, 2);
  NUVHTTPClientRequest* request = newRequest(NUV_HTTP_POST, server.url("/upload"));
  request->contentLength = static_cast<long long>(upload.size());
  NUVHTTPAddAdditionalHeaderValue(request->additionalHeaders, "Content-Type", "image/jpeg");
  Behaviour b;
  b.feed = Feed::Sync;
  b.upload = upload;
  const int profile = fetch(request, false, b);
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_EQ(events(profile),
            (Events{"connect", "ask", "header 200", "piece", "last", "exception 6"}));
  EXPECT_EQ(log(profile).body, "stored");
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(profile), 100000) << "request body bytes";
  std::lock_guard<std::mutex> lock(sink.mutex);
  EXPECT_TRUE(sink.body == upload) << sink.body.size() << " bytes";
  EXPECT_EQ(sink.head.rfind("POST /upload HTTP/1.1\r\n", 0), 0u) << sink.head;
  EXPECT_NE(sink.head.find("\r\nContent-Length: 100000\r\n"), std::string::npos) << sink.head;
  EXPECT_NE(sink.head.find("\r\nContent-Type: image/jpeg\r\n"), std::string::npos) << sink.head;
  EXPECT_EQ(sink.head.find("Expect"), std::string::npos) << sink.head;
}

TEST_F(StackHttpClient, ChunkedPostIsFedFromAnotherThread) {
  UploadSink sink;
  TestServer server([&sink](Peer& peer) { sink(peer); });
  const std::string upload = pattern(2 * 1024 * 1024 + 17, 3);
  NUVHTTPClientRequest* request = newRequest(NUV_HTTP_POST, server.url("/chunks"));
  Behaviour b;
  b.feed = Feed::Thread;
  b.upload = upload;
  b.pieceSize = 20480;
  const int profile = fetch(request, false, b);
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_EQ(events(profile),
            (Events{"connect", "ask", "header 200", "piece", "last", "exception 6"}));
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(profile), static_cast<long long>(upload.size()));
  std::lock_guard<std::mutex> lock(sink.mutex);
  EXPECT_TRUE(sink.body == upload) << sink.body.size() << " bytes";
  EXPECT_NE(sink.head.find("\r\nTransfer-Encoding: chunked\r\n"), std::string::npos) << sink.head;
  EXPECT_EQ(sink.head.find("Expect"), std::string::npos) << "never added unasked";
}

TEST_F(StackHttpClient, ExpectContinueBringsTheInterimThenTheFinalHeader) {
  UploadSink sink;
  sink.interim = true;
  TestServer server([&sink](Peer& peer) { sink(peer); });
  const std::string upload = pattern(300000, 4);
  NUVHTTPClientRequest* request = newRequest(NUV_HTTP_POST, server.url("/continue"));
  request->contentLength = static_cast<long long>(upload.size());
  request->expectContinue = 1;
  Behaviour b;
  b.feed = Feed::Thread;
  b.upload = upload;
  b.pieceSize = 8192;
  const int profile = fetch(request, false, b);
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_EQ(events(profile),
            (Events{"connect", "header 100", "ask", "header 200", "piece", "last", "exception 6"}));
  const ProfileLog l = log(profile);
  ASSERT_EQ(l.headers.size(), 2u);
  EXPECT_EQ(l.headers[0].status, 100);
  EXPECT_EQ(l.headers[1].status, 200);
  std::lock_guard<std::mutex> lock(sink.mutex);
  EXPECT_TRUE(sink.body == upload);
  EXPECT_NE(sink.head.find("\r\nExpect: 100-continue\r\n"), std::string::npos) << sink.head;
}

TEST_F(StackHttpClient, ABodyThatBreaksItsLengthFails) {
  for (const std::string& upload : {std::string(20, 'l'), std::string(5, 's')}) {
    UploadSink sink;
    TestServer server([&sink](Peer& peer) { sink(peer); });
    NUVHTTPClientRequest* request = newRequest(NUV_HTTP_POST, server.url("/length"));
    request->contentLength = 10;
    Behaviour b;
    b.feed = Feed::Sync;
    b.upload = upload;
    const int profile = fetch(request, false, b);
    ASSERT_TRUE(waitClosed(profile));
    const Events e = events(profile);
    ASSERT_GE(e.size(), 2u);
    EXPECT_EQ(e[e.size() - 2], "exception 2") << upload.size() << " bytes";
    EXPECT_LE(NUVHTTPGetTransferBytesCount(profile), 10);
  }
}

TEST_F(StackHttpClient, AnUnansweredPieceRequestFails) {
  dmsstack::HttpClientLimits limits;
  limits.pieceWait = 300ms;
  dmsstack::setHttpClientLimits(limits);
  UploadSink sink;
  TestServer server([&sink](Peer& peer) { sink(peer); });
  NUVHTTPClientRequest* request = newRequest(NUV_HTTP_POST, server.url("/silent"));
  request->contentLength = 10;
  const int profile = fetch(request, false);  // Feed::None
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_EQ(events(profile), (Events{"connect", "ask", "exception 2", "exception 6"}));
}

TEST_F(StackHttpClient, StoppingFromAnotherThreadEndsASlowGetBeforeReturning) {
  TestServer server([](Peer& peer) {
    peer.send("HTTP/1.1 200 OK\r\nContent-Length: 100000000\r\n\r\n");
    while (peer.send(std::string(1024, 't'))) std::this_thread::sleep_for(10ms);
  });
  const int profile = get(server.url("/slow"));
  ASSERT_TRUE(waitPieces(profile, 3));
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS), 0);
  const Events e = events(profile);
  ASSERT_GE(e.size(), 4u);
  EXPECT_EQ(std::vector<std::string>(e.end() - 3, e.end()),
            (Events{"piece", "exception 0", "exception 6"}))
      << "before the stop returned";
  ASSERT_TRUE(dmsstack::waitHttpClientIdle(10s)) << "no callback can come after this";
  EXPECT_EQ(events(profile).size(), e.size()) << "nothing after";
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS), 1);
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(profile), -1);
  EXPECT_NE(NUVHTTPSendPacket(profile, profile, "x", 1, 1), 0);
}

TEST_F(StackHttpClient, StoppingFromACallbackEndsTheTransferWhenItReturns) {
  TestServer server([](Peer& peer) {
    peer.send("HTTP/1.1 200 OK\r\nContent-Length: 100000000\r\n\r\n");
    while (peer.send(std::string(1024, 't'))) std::this_thread::sleep_for(10ms);
  });
  Behaviour onPiece;
  onPiece.stopOnFirstPiece = true;
  const int first = fetch(newRequest(NUV_HTTP_GET, server.url("/slow")), true, onPiece);
  Behaviour onHeader;
  onHeader.stopOnHeader = true;
  const int second = fetch(newRequest(NUV_HTTP_GET, server.url("/slow")), true, onHeader);
  ASSERT_TRUE(waitClosed(first));
  ASSERT_TRUE(waitClosed(second));
  ASSERT_TRUE(dmsstack::waitHttpClientIdle(10s)) << "no callback can come after this";
  EXPECT_EQ(events(first),
            (Events{"connect", "header 200", "piece", "stop 0", "exception 0", "exception 6"}));
  EXPECT_EQ(log(first).pieces, 1);
  EXPECT_EQ(events(second),
            (Events{"connect", "header 200", "stop 0", "exception 0", "exception 6"}));
  EXPECT_EQ(NUVHTTPStopHTTPProfile(first, NUV_HTTP_ALL_CONNECTIONS), 1) << "already gone";
}

TEST_F(StackHttpClient, StoppingAnUploadThatWaitsForItsNextPiece) {
  UploadSink sink;
  TestServer server([&sink](Peer& peer) { sink(peer); });
  NUVHTTPClientRequest* request = newRequest(NUV_HTTP_POST, server.url("/wait"));
  request->contentLength = 10;
  const int profile = fetch(request, false);  // Feed::None: callback 6 is never answered
  {
    std::unique_lock<std::mutex> lock(gMutex);
    ASSERT_TRUE(gChanged.wait_for(lock, kWait, [profile] {
      const auto& e = gLogs[profile].events;
      return std::find(e.begin(), e.end(), "ask") != e.end();
    }));
  }
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile, profile), 0);
  EXPECT_EQ(events(profile), (Events{"connect", "ask", "exception 0", "exception 6"}));
}

TEST_F(StackHttpClient, PiecesSentAheadAreBounded) {
  // The server never answers "100 Continue": libcurl holds the body back
  // for a second, so nothing drains the pieces queued meanwhile.
  TestServer server([](Peer& peer) { peer.waitForClose(); });
  NUVHTTPClientRequest* request = newRequest(NUV_HTTP_POST, server.url("/ahead"));
  request->contentLength = 1 << 20;
  request->expectContinue = 1;
  const int profile = fetch(request, false);
  const std::string piece(200 * 1024, 'a');
  EXPECT_EQ(NUVHTTPSendPacket(profile, profile, piece.data(), 200 * 1024, 0), 0);
  EXPECT_NE(NUVHTTPSendPacket(profile, profile, piece.data(), 100 * 1024, 0), 0) << "too much";
  EXPECT_EQ(NUVHTTPSendPacket(profile, profile, piece.data(), 50 * 1024, 0), 0);
  EXPECT_EQ(NUVHTTPSendPacket(profile, profile, nullptr, 0, 0), 0) << "empty pieces take no room";
  EXPECT_EQ(NUVHTTPStopHTTPProfile(profile, NUV_HTTP_ALL_CONNECTIONS), 0);
  const Events e = events(profile);
  ASSERT_GE(e.size(), 2u);
  EXPECT_EQ(e[e.size() - 2], "exception 0");
  EXPECT_EQ(e.back(), "exception 6");
}

TEST_F(StackHttpClient, StoppingFromTheClosingExceptionsRaisesNothingMore) {
  TestServer server([](Peer& peer) { peer.send(response(200, "done")); });
  Behaviour onSix;
  onSix.stopOnException = NUV_HTTP_EXCEPTION_SOCKET_CLOSED;
  const int first = fetch(newRequest(NUV_HTTP_GET, server.url("/")), true, onSix);
  ASSERT_TRUE(waitClosed(first));
  Behaviour onFailure;
  onFailure.stopOnException = NUV_HTTP_EXCEPTION_SEND_FAILURE;
  const int second = fetch(newRequest(NUV_HTTP_GET, closedUrl()), true, onFailure);
  ASSERT_TRUE(waitClosed(second));
  ASSERT_TRUE(dmsstack::waitHttpClientIdle(10s)) << "no callback can come after this";
  EXPECT_EQ(events(first),
            (Events{"connect", "header 200", "piece", "last", "exception 6", "stop 0"}));
  EXPECT_EQ(events(second), (Events{"connect", "exception 2", "stop 0", "exception 6"}));
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(first), -1) << "gone";
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(second), -1) << "gone";
}

TEST_F(StackHttpClient, RequestsThatCannotBeSentAreRefused) {
  const int profile = start();
  const auto refused = [profile](NUVHTTPClientRequest* request, int complete = 1,
                                 int connection = 0) {
    const int rc =
        NUVHTTPSendRequest(profile, connection == 0 ? profile : connection, request, complete);
    NUVHTTPFreeClientRequest(request);
    return rc != 0;
  };
  for (const char* url : {"https://127.0.0.1/", "file:///etc/passwd", "ftp://127.0.0.1/", "HTTP:/x",
                          "http://", "127.0.0.1/x", "gopher://127.0.0.1/"}) {
    EXPECT_TRUE(refused(newRequest(NUV_HTTP_GET, url))) << url;
  }
  NUVHTTPClientRequest* noUrl = newRequest(NUV_HTTP_GET, "");
  free(noUrl->url);
  noUrl->url = nullptr;
  EXPECT_TRUE(refused(noUrl));
  EXPECT_TRUE(refused(newRequest(NUV_HTTP_PUT, "http://127.0.0.1/")));
  EXPECT_TRUE(refused(newRequest(NUV_HTTP_HEAD, "http://127.0.0.1/")));
  EXPECT_TRUE(refused(newRequest(NUV_HTTP_GET, "http://127.0.0.1/"), 0)) << "a GET has no body";
  NUVHTTPClientRequest* chunked10 = newRequest(NUV_HTTP_POST, "http://127.0.0.1/");
  chunked10->http11 = 0;
  EXPECT_TRUE(refused(chunked10, 0)) << "chunks need HTTP/1.1";
  NUVHTTPClientRequest* split = newRequest(NUV_HTTP_GET, "http://127.0.0.1/");
  NUVHTTPAddAdditionalHeaderValue(split->additionalHeaders, "X", "a\r\nInjected: yes");
  EXPECT_EQ(NUVHTTPSendRequest(profile, profile + 1, nullptr, 1), 1);
  EXPECT_TRUE(refused(newRequest(NUV_HTTP_GET, "http://127.0.0.1/"), 1, profile + 1))
      << "another connection";
  EXPECT_EQ(NUVHTTPSendRequest(12345, 12345, split, 1), 1) << "not a client profile";
  NUVHTTPFreeClientRequest(split);
  EXPECT_EQ(NUVHTTPGetTransferBytesCount(12345), -1);
  ASSERT_TRUE(dmsstack::waitHttpClientIdle(10s)) << "no callback can come after this";
  EXPECT_TRUE(events(profile).empty());

  TestServer server([](Peer& peer) { peer.send(response(200, "once")); });
  EXPECT_FALSE(refused(newRequest(NUV_HTTP_GET, server.url("/"))));
  EXPECT_TRUE(refused(newRequest(NUV_HTTP_GET, server.url("/")))) << "one request per profile";
  EXPECT_NE(NUVHTTPSendPacket(profile, profile, "x", 1, 1), 0) << "a GET takes no body";
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_EQ(log(profile).body, "once");
}

TEST_F(StackHttpClient, HeadersWithLineBreaksAreDropped) {
  std::mutex mutex;
  std::string head;
  TestServer server([&](Peer& peer) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      head = peer.head();
    }
    peer.send(response(200, ""));
  });
  NUVHTTPClientRequest* request = newRequest(NUV_HTTP_GET, server.url("/"));
  NUVHTTPAddAdditionalHeaderValue(request->additionalHeaders, "X", "a\r\nInjected: yes");
  NUVHTTPAddAdditionalHeaderValue(request->additionalHeaders, "Content-Length", "5");
  NUVHTTPAddAdditionalHeaderValue(request->additionalHeaders, "X-Kept", "1");
  const int profile = fetch(request);
  ASSERT_TRUE(waitClosed(profile));
  EXPECT_EQ(events(profile), (Events{"connect", "header 200", "last", "exception 6"}));
  std::lock_guard<std::mutex> lock(mutex);
  EXPECT_EQ(head.find("Injected"), std::string::npos) << head;
  EXPECT_EQ(head.find("Content-Length"), std::string::npos) << head;
  EXPECT_NE(head.find("\r\nX-Kept: 1\r\n"), std::string::npos) << head;
}

TEST_F(StackHttpClient, FiftyGetsAtOnceAllComplete) {
  constexpr int kCount = 50;
  TestServer server([](Peer& peer) {
    const int n = atoi(peer.target().c_str() + 3);
    peer.send(response(200, pattern(65536 + static_cast<size_t>(n) * 100, n)));
  });
  std::vector<int> profiles;
  for (int i = 0; i < kCount; ++i) profiles.push_back(get(server.url("/n/" + std::to_string(i))));
  for (int i = 0; i < kCount; ++i) {
    ASSERT_TRUE(waitClosed(profiles[i])) << i;
    const ProfileLog l = log(profiles[i]);
    EXPECT_TRUE(l.body == pattern(65536 + static_cast<size_t>(i) * 100, i)) << i;
    EXPECT_EQ(l.events.back(), "exception 6");
    EXPECT_EQ(l.events[l.events.size() - 2], "last");
  }
  EXPECT_EQ(server.accepted(), kCount);
}
