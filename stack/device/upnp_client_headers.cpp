// Client names from the requests libupnp serves (see upnp_client_headers.h).
#include "upnp_client_headers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>

#include <atomic>
#include <cstring>

namespace dmsstack {
namespace {

// One bit per descriptor number: set between accept() and the first read.
constexpr int kTrackedDescriptors = 65536;
std::atomic<unsigned long> gFresh[kTrackedDescriptors / (8 * sizeof(unsigned long))];
std::atomic<ClientHeaderSink> gSink{nullptr};

constexpr std::size_t kBitsPerWord = 8 * sizeof(unsigned long);
constexpr std::size_t kMaxHeaderValue = 256;

bool tracked(int fd) { return fd >= 0 && fd < kTrackedDescriptors; }

// The request methods libupnp serves; anything else is not a request start.
bool beginsLikeRequest(const char* data, std::size_t length) {
  for (const char* method :
       {"GET ", "HEAD ", "POST ", "M-POST ", "SUBSCRIBE ", "UNSUBSCRIBE ", "NOTIFY "}) {
    std::size_t n = std::strlen(method);
    if (length >= n && std::memcmp(data, method, n) == 0) return true;
  }
  return false;
}

std::string trimmed(const char* begin, const char* end) {
  while (begin < end && (*begin == ' ' || *begin == '\t')) ++begin;
  while (end > begin && (end[-1] == ' ' || end[-1] == '\t' || end[-1] == '\r')) --end;
  std::size_t n = static_cast<std::size_t>(end - begin);
  return std::string(begin, n < kMaxHeaderValue ? n : kMaxHeaderValue);
}

std::string peerAddress(int fd) {
  sockaddr_storage peer{};
  socklen_t size = sizeof peer;
  if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) != 0 || peer.ss_family != AF_INET)
    return "";
  char text[INET_ADDRSTRLEN];
  const auto* v4 = reinterpret_cast<const sockaddr_in*>(&peer);
  return inet_ntop(AF_INET, &v4->sin_addr, text, sizeof text) != nullptr ? text : "";
}

}  // namespace

void setUpnpClientHeaderSink(ClientHeaderSink sink) { gSink.store(sink); }

void noteUpnpConnection(int fd) {
  if (!tracked(fd)) return;
  gFresh[fd / kBitsPerWord].fetch_or(1UL << (fd % kBitsPerWord));
}

void noteUpnpRead(int fd, const char* data, std::size_t length) {
  if (!tracked(fd)) return;
  const unsigned long bit = 1UL << (fd % kBitsPerWord);
  std::atomic<unsigned long>& word = gFresh[fd / kBitsPerWord];
  // Every recv() of the process comes here: a plain load keeps the common
  // case (not a fresh libupnp connection) free of a locked instruction.
  if ((word.load(std::memory_order_relaxed) & bit) == 0) return;
  if ((word.fetch_and(~bit) & bit) == 0) return;
  ClientHeaderSink sink = gSink.load();
  std::string userAgent;
  std::string avClientInfo;
  if (sink == nullptr || !parseClientHeaders(data, length, &userAgent, &avClientInfo)) return;
  if (userAgent.empty() && avClientInfo.empty()) return;
  std::string ip = peerAddress(fd);
  if (!ip.empty()) sink(ip, userAgent, avClientInfo);
}

bool parseClientHeaders(const char* data, std::size_t length, std::string* userAgent,
                        std::string* avClientInfo) {
  if (data == nullptr || !beginsLikeRequest(data, length)) return false;
  const char* end = data + length;
  const char* line = static_cast<const char*>(std::memchr(data, '\n', length));
  while (line != nullptr && ++line < end) {
    const char* next = static_cast<const char*>(std::memchr(line, '\n', end - line));
    const char* lineEnd = next != nullptr ? next : end;
    if (lineEnd == line || (lineEnd - line == 1 && *line == '\r')) break;  // end of headers
    const char* colon = static_cast<const char*>(std::memchr(line, ':', lineEnd - line));
    if (colon != nullptr) {
      std::size_t nameLength = static_cast<std::size_t>(colon - line);
      if (nameLength == 10 && strncasecmp(line, "User-Agent", 10) == 0)
        *userAgent = trimmed(colon + 1, lineEnd);
      else if (nameLength == 16 && strncasecmp(line, "X-AV-Client-Info", 16) == 0)
        *avClientInfo = trimmed(colon + 1, lineEnd);
    }
    line = next;
  }
  return true;
}

}  // namespace dmsstack
