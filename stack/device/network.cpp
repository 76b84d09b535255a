// Interface lists and local addresses, and their exported functions.
#include "network.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

#include "export_guard.h"
#include "nuv_dms.h"

namespace dmsstack {

namespace {

std::string dotted(const in_addr& address) {
  char text[INET_ADDRSTRLEN];
  if (inet_ntop(AF_INET, &address, text, sizeof text) == nullptr) return std::string();
  return text;
}

}  // namespace

std::vector<InterfaceAddress> upInterfaces() {
  std::vector<InterfaceAddress> result;
  struct ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return result;
  // Freed however the loop ends: a copy below may throw.
  std::unique_ptr<struct ifaddrs, void (*)(struct ifaddrs*)> owned(list, &freeifaddrs);
  for (struct ifaddrs* it = list; it != nullptr; it = it->ifa_next) {
    if (it->ifa_addr == nullptr || it->ifa_addr->sa_family != AF_INET) continue;
    if ((it->ifa_flags & IFF_UP) == 0) continue;
    const auto* address = reinterpret_cast<const sockaddr_in*>(it->ifa_addr);
    result.push_back(InterfaceAddress{it->ifa_name, dotted(address->sin_addr)});
  }
  return result;
}

std::string interfaceAddress(const std::string& name) {
  for (const InterfaceAddress& nic : upInterfaces())
    if (nic.name == name) return nic.address;
  return std::string();
}

std::string localAddressFacing(const std::string& clientIP) {
  sockaddr_in remote{};
  remote.sin_family = AF_INET;
  remote.sin_port = htons(9);  // discard; connect() on UDP sends nothing
  if (inet_pton(AF_INET, clientIP.c_str(), &remote.sin_addr) != 1) return std::string();
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return std::string();
  std::string result;
  sockaddr_in local{};
  socklen_t length = sizeof local;
  if (connect(fd, reinterpret_cast<sockaddr*>(&remote), sizeof remote) == 0 &&
      getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length) == 0)
    result = dotted(local.sin_addr);
  close(fd);
  return result;
}

std::string rememberedAddressFacing(const std::string& clientIP,
                                    std::chrono::steady_clock::time_point now,
                                    std::string (*lookup)(const std::string&)) {
  struct Entry {
    std::string client;
    std::string local;
    std::chrono::steady_clock::time_point found;
  };
  static std::mutex mutex;
  static std::vector<Entry> entries;  // the most recent clients, newest last
  {
    std::lock_guard<std::mutex> lock(mutex);
    for (const Entry& entry : entries) {
      if (entry.client == clientIP && now - entry.found < kLocalAddressMemory) return entry.local;
    }
  }
  std::string local = lookup(clientIP);
  std::lock_guard<std::mutex> lock(mutex);
  for (auto it = entries.begin(); it != entries.end(); ++it) {
    if (it->client == clientIP) {
      entries.erase(it);
      break;
    }
  }
  if (entries.size() >= kRememberedClients) entries.erase(entries.begin());
  entries.push_back(Entry{clientIP, local, now});
  return local;
}

}  // namespace dmsstack

namespace {

struct NicItem {
  char* name;
  char* address;
};

char* duplicate(const std::string& text) {
  char* copy = static_cast<char*>(malloc(text.size() + 1));
  if (copy != nullptr) memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

void freeNic(void* item) {
  auto* nic = static_cast<NicItem*>(item);
  free(nic->name);
  free(nic->address);
  free(nic);
}

}  // namespace

extern "C" char* NUVUtilGetInterfaceIPAddress(const char* clientIP) {
  if (clientIP == nullptr) return nullptr;
  return dms_export::guarded(
      "NUVUtilGetInterfaceIPAddress", static_cast<char*>(nullptr), [&]() -> char* {
        std::string address =
            dmsstack::rememberedAddressFacing(clientIP, std::chrono::steady_clock::now());
        return address.empty() ? nullptr : duplicate(address);
      });
}

extern "C" int NUVGetNetworkInterfaceList(stNUVAppList** response) {
  if (response == nullptr) return 1;
  *response = nullptr;
  return dms_export::guarded("NUVGetNetworkInterfaceList", 1, [&] {
    const std::vector<dmsstack::InterfaceAddress> nics = dmsstack::upInterfaces();
    // Nothing below throws: the list is built with C allocations only.
    stNUVAppList* list = NUVListCreate();
    if (list == nullptr) return 1;
    for (const dmsstack::InterfaceAddress& nic : nics) {
      auto* item = static_cast<NicItem*>(malloc(sizeof(NicItem)));
      if (item != nullptr) {
        item->name = duplicate(nic.name);
        item->address = duplicate(nic.address);
      }
      if (item == nullptr || item->name == nullptr || item->address == nullptr ||
          NUVListAddItem(list, item) != 0) {
        if (item != nullptr) freeNic(item);
        NUVListDestroy(list, freeNic);
        return 1;
      }
    }
    *response = list;
    return 0;
  });
}

extern "C" int HNUVGetNoOfNetworkInterfaceFromResponse(stNUVAppList* response) {
  return NUVListGetCount(response);
}

extern "C" int HNUVGetNetworkInfoFromResponse(stNUVAppList* response, int index, char** name,
                                              char** address) {
  auto* nic = static_cast<NicItem*>(NUVListGetItemData(response, index));
  if (nic == nullptr) return 1;
  if (name != nullptr) *name = nic->name;
  if (address != nullptr) *address = nic->address;
  return 0;
}

extern "C" void NUVReleaseNetworkInterfaceList(stNUVAppList* response) {
  NUVListDestroy(response, freeNic);
}
