// ssdp:alive messages and their multicast sender.
#include "ssdp_alive.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "nuv_log.h"

namespace dmsstack {

namespace {

constexpr const char* kSsdpGroup = "239.255.255.250";
constexpr unsigned short kSsdpPort = 1900;
// UPnP 1.0 asks for a TTL of 4 on SSDP multicast.
constexpr int kSsdpTtl = 4;

std::string notifyMessage(const AliveTarget& target, const std::string& nt,
                          const std::string& usn) {
  std::string message = "NOTIFY * HTTP/1.1\r\n";
  message += "HOST: 239.255.255.250:1900\r\n";
  message += "CACHE-CONTROL: max-age=" + std::to_string(target.maxAge) + "\r\n";
  message += "LOCATION: " + target.location + "\r\n";
  message += "NT: " + nt + "\r\n";
  message += "NTS: ssdp:alive\r\n";
  message += "SERVER: " + target.server + "\r\n";
  message += "USN: " + usn + "\r\n";
  message += "\r\n";
  return message;
}

}  // namespace

std::vector<std::string> buildAliveMessages(const AliveTarget& target) {
  std::vector<std::string> messages;
  messages.push_back(notifyMessage(target, "upnp:rootdevice", target.udn + "::upnp:rootdevice"));
  messages.push_back(notifyMessage(target, target.udn, target.udn));
  if (!target.deviceType.empty())
    messages.push_back(
        notifyMessage(target, target.deviceType, target.udn + "::" + target.deviceType));
  for (const std::string& type : target.serviceTypes)
    messages.push_back(notifyMessage(target, type, target.udn + "::" + type));
  return messages;
}

bool sendAliveRounds(const std::string& localAddress, const std::vector<std::string>& messages,
                     int rounds) {
  in_addr local{};
  if (inet_pton(AF_INET, localAddress.c_str(), &local) != 1) return false;
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  sockaddr_in source{};
  source.sin_family = AF_INET;
  source.sin_addr = local;
  const int ttl = kSsdpTtl;
  if (bind(fd, reinterpret_cast<sockaddr*>(&source), sizeof source) != 0 ||
      setsockopt(fd, IPPROTO_IP, IP_MULTICAST_IF, &local, sizeof local) != 0 ||
      setsockopt(fd, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, sizeof ttl) != 0) {
    NUVPrintf(NUV_LOG_ERROR, "[SsdpAlive] socket set-up on %s failed: %s", localAddress.c_str(),
              strerror(errno));
    close(fd);
    return false;
  }
  sockaddr_in group{};
  group.sin_family = AF_INET;
  group.sin_port = htons(kSsdpPort);
  inet_pton(AF_INET, kSsdpGroup, &group.sin_addr);
  int sent = 0;
  for (int round = 0; round < rounds; ++round) {
    if (round > 0) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    for (const std::string& message : messages) {
      if (sendto(fd, message.data(), message.size(), 0, reinterpret_cast<sockaddr*>(&group),
                 sizeof group) == static_cast<ssize_t>(message.size()))
        ++sent;
    }
  }
  if (sent == 0)
    NUVPrintf(NUV_LOG_ERROR, "[SsdpAlive] no alive message sent from %s: %s", localAddress.c_str(),
              strerror(errno));
  close(fd);
  return sent > 0;
}

}  // namespace dmsstack
