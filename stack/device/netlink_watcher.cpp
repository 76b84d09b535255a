// rtnetlink watcher of IPv4 address changes.
#include "netlink_watcher.h"

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "network.h"
#include "nuv_log.h"

namespace dmsstack {

namespace {

std::string keyOf(const std::string& name, const std::string& address) {
  return name + "|" + address;
}

}  // namespace

NetlinkWatcher::~NetlinkWatcher() { stop(); }

bool NetlinkWatcher::start(Handler handler) {
  stop();
  socket_ = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (socket_ < 0) {
    NUVPrintf(NUV_LOG_ERROR, "[NetlinkWatcher] socket failed: %s", strerror(errno));
    return false;
  }
  sockaddr_nl local{};
  local.nl_family = AF_NETLINK;
  local.nl_groups = RTMGRP_IPV4_IFADDR;
  wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (bind(socket_, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0 || wakeFd_ < 0) {
    NUVPrintf(NUV_LOG_ERROR, "[NetlinkWatcher] bind failed: %s", strerror(errno));
    stop();
    return false;
  }
  known_.clear();
  for (const InterfaceAddress& nic : upInterfaces()) known_.insert(keyOf(nic.name, nic.address));
  handler_ = std::move(handler);
  thread_ = std::thread(&NetlinkWatcher::run, this);
  return true;
}

void NetlinkWatcher::stop() {
  if (thread_.joinable()) {
    uint64_t one = 1;
    ssize_t written = write(wakeFd_, &one, sizeof one);
    (void)written;  // the counter cannot overflow with one write
    thread_.join();
  }
  if (socket_ >= 0) close(socket_);
  if (wakeFd_ >= 0) close(wakeFd_);
  socket_ = -1;
  wakeFd_ = -1;
  handler_ = nullptr;
}

void NetlinkWatcher::run() {
  alignas(nlmsghdr) char buffer[16384];
  for (;;) {
    pollfd fds[2] = {{socket_, POLLIN, 0}, {wakeFd_, POLLIN, 0}};
    if (poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (fds[1].revents != 0) break;
    if ((fds[0].revents & POLLIN) == 0) continue;
    ssize_t n = recv(socket_, buffer, sizeof buffer, MSG_DONTWAIT);
    if (n < 0) {
      // ENOBUFS: the kernel dropped messages; the next ones still arrive.
      if (errno == EINTR || errno == EAGAIN || errno == ENOBUFS) continue;
      NUVPrintf(NUV_LOG_ERROR, "[NetlinkWatcher] recv failed: %s", strerror(errno));
      break;
    }
    dispatch(buffer, static_cast<size_t>(n));
  }
}

void NetlinkWatcher::dispatch(const char* data, size_t size) {
  int length = static_cast<int>(size);
  // NLMSG_OK compares the header's unsigned length with the int count it
  // takes; clang reports the macro's comparison, GCC does not.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wsign-compare"
  for (auto* header = reinterpret_cast<const nlmsghdr*>(data); NLMSG_OK(header, length);
       header = NLMSG_NEXT(header, length)) {
#pragma GCC diagnostic pop
    if (header->nlmsg_type != RTM_NEWADDR && header->nlmsg_type != RTM_DELADDR) continue;
    const auto* message = static_cast<const ifaddrmsg*>(NLMSG_DATA(header));
    if (message->ifa_family != AF_INET) continue;
    std::string address;
    std::string label;
    int attributesLength = static_cast<int>(IFA_PAYLOAD(header));
    for (auto* attribute = IFA_RTA(message); RTA_OK(attribute, attributesLength);
         attribute = RTA_NEXT(attribute, attributesLength)) {
      if ((attribute->rta_type == IFA_LOCAL ||
           (attribute->rta_type == IFA_ADDRESS && address.empty())) &&
          RTA_PAYLOAD(attribute) >= sizeof(in_addr)) {
        char text[INET_ADDRSTRLEN];
        if (inet_ntop(AF_INET, RTA_DATA(attribute), text, sizeof text) != nullptr) address = text;
      } else if (attribute->rta_type == IFA_LABEL && RTA_PAYLOAD(attribute) > 0) {
        label.assign(
            static_cast<const char*>(RTA_DATA(attribute)),
            strnlen(static_cast<const char*>(RTA_DATA(attribute)), RTA_PAYLOAD(attribute)));
      }
    }
    if (address.empty()) continue;
    char nameBuffer[IF_NAMESIZE] = {0};
    // A removed interface has no index any more; its label names it then,
    // without the alias suffix of "eth0:1".
    std::string name = if_indextoname(message->ifa_index, nameBuffer) != nullptr
                           ? std::string(nameBuffer)
                           : label.substr(0, label.find(':'));
    const bool appeared = header->nlmsg_type == RTM_NEWADDR;
    const std::string key = keyOf(name, address);
    if (appeared ? !known_.insert(key).second : known_.erase(key) == 0) continue;
    handler_(appeared, name, address);
  }
}

}  // namespace dmsstack
