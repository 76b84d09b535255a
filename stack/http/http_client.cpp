// The stack's HTTP client profiles on libcurl (see http_client.h).
//
// One worker thread owns the multi handle and every easy handle. Other
// threads leave it work under the client's mutex (a request to start, a
// stop, a body piece for a paused upload) and wake it with
// curl_multi_wakeup. libcurl calls the header, write and read functions
// from curl_multi_perform on the worker; they raise the media server's
// callbacks with no lock held and never remove a handle themselves: a stop
// asked for during a callback takes effect once curl_multi_perform returns,
// and until then libcurl's further calls for that profile are refused.
#include "http_client.h"

#include <curl/curl.h>
#include <strings.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "nuv_list.h"
#include "nuv_log.h"
#include "response_header_block.h"

namespace dmsstack {
namespace {

// Longest sleep of the worker between two looks at paused request bodies.
constexpr int kPollMilliseconds = 250;

// Set on the worker thread: a stop asked for there cannot wait for itself.
thread_local bool tOnWorker = false;

struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct SlistDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct UrlDeleter {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

using Headers = HttpHeaders;

// A request as NUVHTTPSendRequest copied it.
struct Request {
  bool post = false;
  bool hasBody = false;
  std::string url;
  std::string host;  // empty: libcurl's, from the URL
  bool http11 = true;
  bool expectContinue = false;
  long long contentLength = -1;  // of the body; -1: chunked
  Headers headers;
};

// Where a profile's one exchange stands.
enum class Phase {
  Idle,    // no request yet
  Queued,  // sent; the worker has not begun it
  Active,  // begun (callback 7 raised)
  Done     // exception 6 raised
};

enum class Outcome { Completed, Failed, Stopped };

struct ClientProfile {
  ClientProfile(int h, const stNUVHTTPCallbacks& cb) : handle(h), callbacks(cb) {}

  const int handle;
  const stNUVHTTPCallbacks callbacks;
  std::atomic<long long> sentBytes{0};
  std::atomic<long long> receivedBytes{0};

  // Guarded by the client's mutex. `request` is written once, before the
  // profile is queued, and only read afterwards.
  Phase phase = Phase::Idle;
  bool stopRequested = false;
  Request request;
  std::string body;  // request body bytes not yet handed to libcurl
  size_t bodyOffset = 0;
  bool bodyLast = false;       // the handler sent the body's last piece
  bool pieceAnswered = false;  // a packet came since the latest callback 6
  bool paused = false;         // libcurl waits for the next piece
  std::chrono::steady_clock::time_point askedAt;
  int emptyPieces = 0;      // callbacks 6 in a row that brought no byte
  bool bodyBroken = false;  // the body did not match its Content-Length

  // Only the worker touches these.
  std::unique_ptr<CURL, EasyDeleter> easy;
  std::unique_ptr<curl_slist, SlistDeleter> requestHeaders;
  ResponseHeaderBlock block;
  bool followsRedirects = false;
  eHTTPVersion version = NUV_HTTP_VERSION_1_1;
  char error[CURL_ERROR_SIZE] = {0};
};

using ProfilePtr = std::shared_ptr<ClientProfile>;

// The header lines a request carries besides the additional ones, which
// come from the record's fields instead.
bool reservedRequestHeader(const std::string& name) {
  return sameHeaderName(name, "Host") || sameHeaderName(name, "Content-Length") ||
         sameHeaderName(name, "Transfer-Encoding") || sameHeaderName(name, "Expect");
}

bool hasLineBreak(const std::string& text) { return text.find_first_of("\r\n") != text.npos; }

// The record copied, or false when it cannot be fetched as it stands.
bool copyRequest(const NUVHTTPClientRequest& in, bool complete, Request* out) {
  if (in.url == nullptr || (in.method != NUV_HTTP_GET && in.method != NUV_HTTP_POST)) return false;
  if (strncasecmp(in.url, "http://", 7) != 0) return false;
  std::unique_ptr<CURLU, UrlDeleter> url(curl_url());
  if (url == nullptr || curl_url_set(url.get(), CURLUPART_URL, in.url, 0) != CURLUE_OK) {
    return false;
  }
  char* host = nullptr;
  if (curl_url_get(url.get(), CURLUPART_HOST, &host, 0) != CURLUE_OK) return false;
  curl_free(host);
  out->post = in.method == NUV_HTTP_POST;
  out->hasBody = out->post && !complete;
  // A GET carries no body; a body of unknown length needs HTTP/1.1 chunks.
  if (!complete && !out->post) return false;
  if (out->post && (in.contentLength < -1 || (complete && in.contentLength > 0))) return false;
  if (out->hasBody && in.contentLength < 0 && in.http11 == 0) return false;
  out->url = in.url;
  out->host = in.host != nullptr ? in.host : "";
  out->http11 = in.http11 != 0;
  out->expectContinue = in.expectContinue != 0;
  out->contentLength = out->hasBody ? in.contentLength : 0;
  if (hasLineBreak(out->host)) return false;
  const int count = NUVListGetCount(in.additionalHeaders);
  for (int i = 0; i < count; ++i) {
    auto* h = static_cast<stNUVHeader*>(NUVListGetItemData(in.additionalHeaders, i));
    if (h == nullptr || h->name == nullptr || *h->name == '\0') continue;
    const std::string name = h->name;
    const std::string value = h->value != nullptr ? h->value : "";
    if (reservedRequestHeader(name) || hasLineBreak(name) || hasLineBreak(value) ||
        name.find(':') != name.npos) {
      NUVPrintf(NUV_LOG_ERROR, "[HTTP] client header \"%s\" ignored", h->name);
      continue;
    }
    out->headers.emplace_back(name, value);
  }
  return true;
}

class HttpClient {
 public:
  static HttpClient& instance() {
    static HttpClient client;
    return client;
  }

  int start(const stNUVHTTPCallbacks& callbacks);
  int send(int profile, int connection, Request request);
  int packet(int profile, int connection, const char* data, size_t length, bool last);
  int stop(int profile, int connection);
  long long bytes(int profile) const;
  bool waitIdle(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    return finished_.wait_for(lock, timeout, [this] { return !running_; });
  }
  void setLimits(const HttpClientLimits& limits) {
    std::lock_guard<std::mutex> lock(mutex_);
    limits_ = limits;
  }

  // libcurl's calls, on the worker inside curl_multi_perform; their results
  // go back to libcurl as they are.
  size_t onHeader(ClientProfile& p, std::string_view line);
  size_t onBody(ClientProfile& p, char* data, size_t length);
  size_t onRead(ClientProfile& p, char* buffer, size_t max);

 private:
  HttpClient();
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  ProfilePtr find(int profile, int connection) const;  // mutex_ held
  bool stopRequested(const ClientProfile& p) const;
  bool startWorker(std::thread* previous);  // mutex_ held
  void wake();                              // mutex_ held

  // The worker.
  void run();
  void begin(const ProfilePtr& p);
  bool configure(ClientProfile& p, const HttpClientLimits& limits);
  void sweep();
  void collectFinished();
  void detach(ClientProfile& p);
  void finish(const ProfilePtr& p, Outcome outcome);
  bool deliverHeader(ClientProfile& p);
  void abandonAll();

  CURLM* multi_ = nullptr;  // curl_multi_wakeup from any thread, the rest on the worker
  mutable std::mutex mutex_;
  std::condition_variable finished_;
  std::map<int, ProfilePtr> profiles_;    // guarded by mutex_
  int nextHandle_ = kFirstClientProfile;  // guarded by mutex_
  std::vector<ProfilePtr> starts_;        // guarded by mutex_
  bool running_ = false;                  // guarded by mutex_: the worker loops
  bool quit_ = false;                     // guarded by mutex_
  std::thread worker_;                    // guarded by mutex_
  HttpClientLimits limits_;               // guarded by mutex_
  std::map<CURL*, ProfilePtr> attached_;  // the worker's: transfers in the multi handle
};

size_t headerFunction(char* data, size_t size, size_t count, void* user) {
  try {
    return HttpClient::instance().onHeader(*static_cast<ClientProfile*>(user),
                                           std::string_view(data, size * count));
  } catch (const std::exception&) {
    return 0;  // fails the transfer
  }
}

size_t writeFunction(char* data, size_t size, size_t count, void* user) {
  try {
    return HttpClient::instance().onBody(*static_cast<ClientProfile*>(user), data, size * count);
  } catch (const std::exception&) {
    return 0;
  }
}

size_t readFunction(char* buffer, size_t size, size_t count, void* user) {
  try {
    return HttpClient::instance().onRead(*static_cast<ClientProfile*>(user), buffer, size * count);
  } catch (const std::exception&) {
    return CURL_READFUNC_ABORT;
  }
}

HttpClient::HttpClient() {
  if (curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK) multi_ = curl_multi_init();
  if (multi_ == nullptr) NUVPrintf(NUV_LOG_ERROR, "[HTTP] libcurl could not start");
}

HttpClient::~HttpClient() {
  std::thread worker;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    quit_ = true;
    worker = std::move(worker_);
    wake();
  }
  if (worker.joinable() && worker.get_id() == std::this_thread::get_id()) {
    // exit() from a callback: libcurl is on this thread's stack and never
    // returns to it, so its handles are left alone.
    worker.detach();
    for (auto& entry : attached_) entry.second->easy.release();
    return;
  }
  if (worker.joinable()) worker.join();
  if (multi_ != nullptr) curl_multi_cleanup(multi_);
  curl_global_cleanup();
}

ProfilePtr HttpClient::find(int profile, int connection) const {
  if (connection != profile && connection != NUV_HTTP_ALL_CONNECTIONS) return nullptr;
  auto it = profiles_.find(profile);
  return it == profiles_.end() ? nullptr : it->second;
}

bool HttpClient::stopRequested(const ClientProfile& p) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return p.stopRequested;
}

void HttpClient::wake() {
  if (multi_ != nullptr) curl_multi_wakeup(multi_);
}

int HttpClient::start(const stNUVHTTPCallbacks& callbacks) {
  std::lock_guard<std::mutex> lock(mutex_);
  int handle = nextHandle_;
  while (profiles_.count(handle) != 0)
    handle = handle == INT_MAX ? kFirstClientProfile : handle + 1;
  profiles_.emplace(handle, std::make_shared<ClientProfile>(handle, callbacks));
  nextHandle_ = handle == INT_MAX ? kFirstClientProfile : handle + 1;
  return handle;
}

bool HttpClient::startWorker(std::thread* previous) {
  if (running_) return true;
  try {
    std::thread worker(&HttpClient::run, this);
    *previous = std::move(worker_);
    worker_ = std::move(worker);
  } catch (const std::system_error&) {
    NUVPrintf(NUV_LOG_ERROR, "[HTTP] no thread for the client profiles");
    return false;
  }
  running_ = true;
  return true;
}

int HttpClient::send(int profile, int connection, Request request) {
  std::thread previous;  // a worker that ended for want of work
  {
    std::lock_guard<std::mutex> lock(mutex_);
    ProfilePtr p = find(profile, connection);
    if (p == nullptr || p->phase != Phase::Idle || multi_ == nullptr) return 1;
    starts_.push_back(p);
    if (!startWorker(&previous)) {
      starts_.pop_back();
      return 1;
    }
    p->request = std::move(request);
    p->phase = Phase::Queued;
    wake();
  }
  if (previous.joinable()) previous.join();
  return 0;
}

int HttpClient::packet(int profile, int connection, const char* data, size_t length, bool last) {
  std::lock_guard<std::mutex> lock(mutex_);
  ProfilePtr p = find(profile, connection);
  if (p == nullptr || (p->phase != Phase::Queued && p->phase != Phase::Active) ||
      !p->request.hasBody || p->bodyLast || p->stopRequested) {
    return 1;
  }
  if (length > 0) {
    const size_t waiting = p->body.size() - p->bodyOffset;
    if (waiting > 0 && waiting + length > kHttpClientQueuedBodyBytes) return 1;
    if (waiting == 0) {
      p->body.clear();
      p->bodyOffset = 0;
    }
    p->body.append(data, length);
  }
  p->bodyLast = last;
  p->pieceAnswered = true;
  if (p->paused) wake();
  return 0;
}

int HttpClient::stop(int profile, int connection) {
  std::unique_lock<std::mutex> lock(mutex_);
  ProfilePtr p = find(profile, connection);
  if (p == nullptr) return 1;
  profiles_.erase(profile);
  if (p->phase == Phase::Idle || p->phase == Phase::Done) return 0;
  p->stopRequested = true;
  wake();
  if (tOnWorker) return 0;
  finished_.wait(lock, [&p] { return p->phase == Phase::Done; });
  return 0;
}

long long HttpClient::bytes(int profile) const {
  std::lock_guard<std::mutex> lock(mutex_);
  ProfilePtr p = find(profile, profile);
  if (p == nullptr) return -1;
  return p->request.hasBody ? p->sentBytes.load() : p->receivedBytes.load();
}

// ---- The worker ----

void HttpClient::run() {
  tOnWorker = true;
  for (;;) {
    std::vector<ProfilePtr> starts;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (quit_) break;
      starts.swap(starts_);
      if (starts.empty() && attached_.empty()) {
        running_ = false;  // the next request starts another worker
        finished_.notify_all();
        return;
      }
    }
    try {
      for (const auto& p : starts) begin(p);
      sweep();
      int running = 0;
      curl_multi_perform(multi_, &running);
      collectFinished();
    } catch (const std::bad_alloc&) {
      NUVPrintf(NUV_LOG_ERROR, "[HTTP] client profiles: out of memory");
    }
    if (!attached_.empty()) curl_multi_poll(multi_, nullptr, 0, kPollMilliseconds, nullptr);
  }
  abandonAll();
}

void HttpClient::begin(const ProfilePtr& p) {
  HttpClientLimits limits;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!p->stopRequested) p->phase = Phase::Active;
    limits = limits_;
  }
  if (stopRequested(*p)) {
    finish(p, Outcome::Stopped);
    return;
  }
  if (p->callbacks.connect != nullptr) p->callbacks.connect(p->handle, p->handle);
  if (stopRequested(*p)) {
    finish(p, Outcome::Stopped);
    return;
  }
  if (!configure(*p, limits)) {
    NUVPrintf(NUV_LOG_ERROR, "[HTTP] client profile %d: request not set up", p->handle);
    finish(p, Outcome::Failed);
    return;
  }
  CURL* easy = p->easy.get();
  try {
    attached_.emplace(easy, p);
  } catch (const std::bad_alloc&) {
    finish(p, Outcome::Failed);
    return;
  }
  if (curl_multi_add_handle(multi_, easy) != CURLM_OK) {
    attached_.erase(easy);
    finish(p, Outcome::Failed);
  }
}

bool HttpClient::configure(ClientProfile& p, const HttpClientLimits& limits) {
  p.easy.reset(curl_easy_init());
  CURL* easy = p.easy.get();
  if (easy == nullptr) return false;
  const Request& r = p.request;
  bool ok = true;
  const auto set = [&ok, easy](CURLoption option, auto value) {
    ok = ok && curl_easy_setopt(easy, option, value) == CURLE_OK;
  };
  set(CURLOPT_URL, r.url.c_str());
  set(CURLOPT_PROTOCOLS_STR, "http");
  set(CURLOPT_REDIR_PROTOCOLS_STR, "http");
  set(CURLOPT_NOSIGNAL, 1L);
  // Peers are devices of the local network: no proxy of the environment.
  set(CURLOPT_PROXY, "");
  // One exchange per connection, closed by the time exception 6 is raised.
  set(CURLOPT_FORBID_REUSE, 1L);
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits.connectTimeout.count()));
  set(CURLOPT_LOW_SPEED_LIMIT, limits.lowSpeedBytes);
  set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(limits.lowSpeedTime.count()));
  set(CURLOPT_HTTP_VERSION, r.http11 ? static_cast<long>(CURL_HTTP_VERSION_1_1)
                                     : static_cast<long>(CURL_HTTP_VERSION_1_0));
  set(CURLOPT_ERRORBUFFER, p.error);
  set(CURLOPT_HEADERFUNCTION, &headerFunction);
  set(CURLOPT_HEADERDATA, static_cast<void*>(&p));
  set(CURLOPT_WRITEFUNCTION, &writeFunction);
  set(CURLOPT_WRITEDATA, static_cast<void*>(&p));
  if (!r.post) {
    set(CURLOPT_HTTPGET, 1L);
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, kHttpClientMaxRedirects);
    p.followsRedirects = true;
  } else if (r.hasBody) {
    set(CURLOPT_POST, 1L);
    set(CURLOPT_READFUNCTION, &readFunction);
    set(CURLOPT_READDATA, static_cast<void*>(&p));
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(r.contentLength));
  } else {
    set(CURLOPT_POST, 1L);
    set(CURLOPT_POSTFIELDS, "");
    set(CURLOPT_POSTFIELDSIZE, 0L);
  }

  curl_slist* list = nullptr;
  const auto add = [&ok, &list](const std::string& line) {
    curl_slist* grown = ok ? curl_slist_append(list, line.c_str()) : nullptr;
    if (grown == nullptr) ok = false;
    if (grown != nullptr) list = grown;
  };
  if (!r.host.empty()) add("Host: " + r.host);
  // "Name;" is libcurl's way to send a header with an empty value.
  for (const auto& h : r.headers) add(h.second.empty() ? h.first + ";" : h.first + ": " + h.second);
  // libcurl would add "Expect: 100-continue" to large bodies on its own.
  if (r.post) add(r.hasBody && r.expectContinue ? "Expect: 100-continue" : "Expect:");
  if (findHeader(r.headers, "Accept") == nullptr) add("Accept:");
  p.requestHeaders.reset(list);
  set(CURLOPT_HTTPHEADER, list);
  return ok;
}

// Stops asked for, pieces that came for paused bodies, pieces that did not.
void HttpClient::sweep() {
  enum class Step { Stop, Resume, Expire };
  std::vector<std::pair<ProfilePtr, Step>> steps;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    for (const auto& entry : attached_) {
      ClientProfile& p = *entry.second;
      if (p.stopRequested) {
        steps.emplace_back(entry.second, Step::Stop);
      } else if (p.paused && p.pieceAnswered) {
        p.paused = false;
        steps.emplace_back(entry.second, Step::Resume);
      } else if (p.paused && now - p.askedAt > limits_.pieceWait) {
        steps.emplace_back(entry.second, Step::Expire);
      }
    }
  }
  for (const auto& step : steps) {
    const ProfilePtr& p = step.first;
    if (step.second == Step::Resume) {
      // libcurl may call the read function again from in here.
      if (curl_easy_pause(p->easy.get(), CURLPAUSE_CONT) == CURLE_OK) continue;
    } else if (step.second == Step::Expire) {
      NUVPrintf(NUV_LOG_ERROR, "[HTTP] client profile %d: no request body piece came", p->handle);
    }
    detach(*p);
    finish(p, step.second == Step::Stop ? Outcome::Stopped : Outcome::Failed);
  }
}

void HttpClient::collectFinished() {
  std::vector<std::pair<ProfilePtr, CURLcode>> done;
  int left = 0;
  while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    auto it = attached_.find(message->easy_handle);
    if (it != attached_.end()) done.emplace_back(it->second, message->data.result);
  }
  for (const auto& entry : done) {
    const ProfilePtr& p = entry.first;
    bool broken = false;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      broken = p->bodyBroken;
    }
    if (broken) {
      NUVPrintf(NUV_LOG_ERROR, "[HTTP] client profile %d: request body and its length differ",
                p->handle);
    } else if (entry.second != CURLE_OK && !stopRequested(*p)) {
      NUVPrintf(NUV_LOG_ERROR, "[HTTP] client profile %d: %s", p->handle,
                p->error[0] != '\0' ? p->error : curl_easy_strerror(entry.second));
    }
    detach(*p);
    finish(p, entry.second == CURLE_OK && !broken ? Outcome::Completed : Outcome::Failed);
  }
}

void HttpClient::detach(ClientProfile& p) {
  CURL* easy = p.easy.get();
  if (easy == nullptr) return;
  curl_multi_remove_handle(multi_, easy);
  attached_.erase(easy);
}

// The end of an exchange: the last piece when it completed, then exception
// 0 (stopped) or 2 (failed), then 6.
void HttpClient::finish(const ProfilePtr& p, Outcome outcome) {
  p->easy.reset();
  p->requestHeaders.reset();
  p->block = ResponseHeaderBlock{};
  const stNUVHTTPCallbacks& cb = p->callbacks;
  if (outcome == Outcome::Completed && !stopRequested(*p) && cb.responseReceive != nullptr) {
    char empty[1] = {0};
    cb.responseReceive(p->handle, p->handle, p->version, 0, empty, true, 0);
  }
  const auto raise = [&p, &cb](eExceptionType type) {
    if (cb.exception != nullptr) cb.exception(p->handle, p->handle, type);
  };
  if (stopRequested(*p)) {
    raise(NUV_HTTP_EXCEPTION_NETWORK_DISABLED);
  } else if (outcome != Outcome::Completed) {
    raise(NUV_HTTP_EXCEPTION_SEND_FAILURE);
  }
  raise(NUV_HTTP_EXCEPTION_SOCKET_CLOSED);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    p->phase = Phase::Done;
    p->paused = false;
    std::string().swap(p->body);
    p->bodyOffset = 0;
  }
  finished_.notify_all();
}

// At exit: transfers end without callbacks, the media server being gone.
void HttpClient::abandonAll() {
  for (auto& entry : attached_) {
    curl_multi_remove_handle(multi_, entry.first);
    entry.second->easy.reset();
    entry.second->requestHeaders.reset();
  }
  std::lock_guard<std::mutex> lock(mutex_);
  for (auto& entry : attached_) entry.second->phase = Phase::Done;
  for (auto& p : starts_) p->phase = Phase::Done;
  attached_.clear();
  starts_.clear();
  running_ = false;
  finished_.notify_all();
}

// ---- libcurl's calls ----

size_t HttpClient::onHeader(ClientProfile& p, std::string_view data) {
  if (stopRequested(p)) return 0;
  if (p.block.take(data) == ResponseHeaderBlock::Line::End && !deliverHeader(p)) return 0;
  return data.size();
}

// Callback 2 with the block that just ended, unless libcurl follows it.
bool HttpClient::deliverHeader(ClientProfile& p) {
  const ResponseHeaderBlock& b = p.block;
  const std::string* location = findHeader(b.headers(), "Location");
  if (p.followsRedirects && b.status() >= 300 && b.status() < 400 && location != nullptr &&
      !location->empty()) {
    return true;  // libcurl follows it, or fails the transfer when it may not
  }
  if (b.status() >= 200) p.version = b.http11() ? NUV_HTTP_VERSION_1_1 : NUV_HTTP_VERSION_1_0;
  stNUVAppList* list = b.makeList();
  if (list == nullptr) return false;
  if (p.callbacks.responseHeader != nullptr) {
    p.callbacks.responseHeader(p.handle, p.handle, list, 0);
  } else {
    NUVHTTPReleaseHeaderInfo(list);
  }
  return true;
}

size_t HttpClient::onBody(ClientProfile& p, char* data, size_t length) {
  if (stopRequested(p)) return 0;
  p.receivedBytes += static_cast<long long>(length);
  if (p.callbacks.responseReceive != nullptr) {
    p.callbacks.responseReceive(p.handle, p.handle, p.version, static_cast<int>(length), data,
                                false, 0);
  }
  return length;
}

// Bytes the handler queued; else callback 6, whose answer is taken at once
// when it came during the call, or after a pause when it comes later.
size_t HttpClient::onRead(ClientProfile& p, char* buffer, size_t max) {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    if (p.stopRequested) return CURL_READFUNC_ABORT;
    const long long announced = p.request.contentLength;
    const size_t waiting = p.body.size() - p.bodyOffset;
    if (waiting > 0) {
      const size_t count = std::min(waiting, max);
      if (announced >= 0 && p.sentBytes.load() + static_cast<long long>(count) > announced) {
        p.bodyBroken = true;
        return CURL_READFUNC_ABORT;
      }
      memcpy(buffer, p.body.data() + p.bodyOffset, count);
      p.bodyOffset += count;
      p.sentBytes += static_cast<long long>(count);
      p.emptyPieces = 0;
      return count;
    }
    if (p.bodyLast) {
      if (announced >= 0 && p.sentBytes.load() != announced) {
        p.bodyBroken = true;
        return CURL_READFUNC_ABORT;
      }
      return 0;
    }
    if (p.emptyPieces++ >= kMaxEmptyPieces) {
      p.bodyBroken = true;
      return CURL_READFUNC_ABORT;
    }
    p.pieceAnswered = false;
    p.askedAt = std::chrono::steady_clock::now();
    lock.unlock();
    if (p.callbacks.sendRequest != nullptr) p.callbacks.sendRequest(p.handle, p.handle, 0);
    lock.lock();
    if (!p.pieceAnswered && !p.stopRequested) {
      p.paused = true;
      return CURL_READFUNC_PAUSE;
    }
  }
}

}  // namespace

int startClientProfile(const stNUVHTTPCallbacks& callbacks) {
  try {
    return HttpClient::instance().start(callbacks);
  } catch (const std::exception&) {
    return 0;
  }
}

int sendClientRequest(int profile, int connection, const NUVHTTPClientRequest& request,
                      bool complete) {
  try {
    Request copy;
    if (!copyRequest(request, complete, &copy)) {
      NUVPrintf(NUV_LOG_ERROR, "[HTTP] client profile %d: request refused", profile);
      return 1;
    }
    return HttpClient::instance().send(profile, connection, std::move(copy));
  } catch (const std::exception&) {
    return 1;
  }
}

int sendClientPacket(int profile, int connection, const char* data, size_t length, bool last) {
  try {
    return HttpClient::instance().packet(profile, connection, data, length, last);
  } catch (const std::exception&) {
    return 1;
  }
}

int stopClientProfile(int profile, int connection) {
  return HttpClient::instance().stop(profile, connection);
}

long long clientTransferBytes(int profile) { return HttpClient::instance().bytes(profile); }

void setHttpClientLimits(const HttpClientLimits& limits) {
  HttpClient::instance().setLimits(limits);
}

bool waitHttpClientIdle(std::chrono::milliseconds timeout) {
  return HttpClient::instance().waitIdle(timeout);
}

}  // namespace dmsstack
