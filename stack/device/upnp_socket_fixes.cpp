// Confines libupnp 1.8.4 to the address or interface the device serves on.
// Left alone, the library
//   - opens an IPv6 server socket on [::] beside the IPv4 one, reachable on
//     every IPv6 address of the host, although the device is IPv4 only;
//   - binds its SSDP socket to 0.0.0.0:1900, so it hears (and answers)
//     searches arriving on every interface;
//   - sets the multicast interface of its NOTIFY sockets with an `unsigned
//     long` holding the in_addr; where a long has 8 bytes Linux reads a struct
//     ip_mreq whose interface is 0.0.0.0, and alive and byebye leave through
//     the default route.
// These wrappers of socket(), bind() and setsockopt() correct exactly those
// calls when libupnp's own code makes them (and those of accept() and recv()
// show the stack the headers of the requests libupnp serves, see
// upnp_client_headers.h): an IPv6 socket is refused (the
// library then runs IPv4 only), the SSDP socket is bound to the SSDP group
// and hears only the memberships it joined itself, and the 8-byte multicast
// interface is passed on as the in_addr it holds. Every other call goes to
// the C library unchanged. They take effect because libdmsstack comes before
// the C library in the symbol lookup order of every program linked against
// it (a sanitizer's interceptors come first and pass the calls on to us);
// upnpSocketFixesActive() checks that, and the device does not start without
// them.
//
// Thread safety: may be called from any thread.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <errno.h>
#include <execinfo.h>
#include <link.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <cstring>
#include <initializer_list>

#include "upnp_client_headers.h"
#include "upnp_socket_fixes.h"

namespace {

using SocketFunction = int (*)(int, int, int);
using BindFunction = int (*)(int, const sockaddr*, socklen_t);
using SetsockoptFunction = int (*)(int, int, int, const void*, socklen_t);
using AcceptFunction = int (*)(int, sockaddr*, socklen_t*);
using RecvFunction = ssize_t (*)(int, void*, size_t, int);

constexpr unsigned short kSsdpPort = 1900;
constexpr const char* kSsdpGroup = "239.255.255.250";

template <typename Function>
Function next(const char* name, std::atomic<Function>* cache) {
  Function found = cache->load(std::memory_order_acquire);
  if (found == nullptr) {
    found = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    cache->store(found, std::memory_order_release);
  }
  return found;
}

SocketFunction realSocket() {
  static std::atomic<SocketFunction> cache{nullptr};
  return next("socket", &cache);
}

BindFunction realBind() {
  static std::atomic<BindFunction> cache{nullptr};
  return next("bind", &cache);
}

SetsockoptFunction realSetsockopt() {
  static std::atomic<SetsockoptFunction> cache{nullptr};
  return next("setsockopt", &cache);
}

AcceptFunction realAccept() {
  static std::atomic<AcceptFunction> cache{nullptr};
  return next("accept", &cache);
}

RecvFunction realRecv() {
  static std::atomic<RecvFunction> cache{nullptr};
  return next("recv", &cache);
}

bool isSanitizerRuntime(const char* path) {
  return std::strstr(path, "libtsan") != nullptr || std::strstr(path, "libasan") != nullptr ||
         std::strstr(path, "libubsan") != nullptr;
}

// Whether libupnp made the call: the first caller outside this library and a
// sanitizer runtime (whose interceptors, and backtrace() itself, add frames
// in sanitizer builds) lies in libupnp. Only the calls these wrappers may
// change come here, so the stack walk is paid a handful of times per start.
bool calledFromLibupnp() {
  Dl_info self;
  if (dladdr(reinterpret_cast<void*>(&isSanitizerRuntime), &self) == 0) return false;
  void* frames[12];
  int count = backtrace(frames, 12);
  for (int i = 0; i < count; ++i) {
    Dl_info info;
    if (dladdr(frames[i], &info) == 0 || info.dli_fname == nullptr) return false;
    if (info.dli_fbase == self.dli_fbase || isSanitizerRuntime(info.dli_fname)) continue;
    return std::strstr(info.dli_fname, "libupnp") != nullptr;
  }
  return false;
}

struct FirstDefinition {
  const char* name;
  const void* object = nullptr;  // base of the first object in lookup order defining `name`
};

// Where an object's ELF header is mapped, as dladdr() reports it.
const void* objectBase(const dl_phdr_info* info) {
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)& header = info->dlpi_phdr[i];
    if (header.p_type == PT_LOAD && header.p_offset == 0)
      return reinterpret_cast<const void*>(info->dlpi_addr + header.p_vaddr);
  }
  return nullptr;
}

// Visits the loaded objects in lookup order (the link map's order) and
// records the first one, sanitizer runtimes aside, defining the symbol.
int findFirstDefinition(dl_phdr_info* info, size_t, void* data) {
  auto* wanted = static_cast<FirstDefinition*>(data);
  if (wanted->object != nullptr || isSanitizerRuntime(info->dlpi_name)) return 0;
  void* handle =
      dlopen(info->dlpi_name[0] != '\0' ? info->dlpi_name : nullptr, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return 0;
  void* symbol = dlsym(handle, wanted->name);
  Dl_info where;
  const void* base = objectBase(info);
  if (symbol != nullptr && base != nullptr && dladdr(symbol, &where) != 0 &&
      where.dli_fbase == base)
    wanted->object = base;
  dlclose(handle);
  return 0;
}

bool isAnySsdpAddress(const sockaddr* address, socklen_t length) {
  if (address == nullptr || address->sa_family != AF_INET || length < sizeof(sockaddr_in))
    return false;
  const auto* v4 = reinterpret_cast<const sockaddr_in*>(address);
  return v4->sin_addr.s_addr == htonl(INADDR_ANY) && ntohs(v4->sin_port) == kSsdpPort;
}

// Binds libupnp's SSDP socket to the SSDP group, hearing only the
// memberships it joins itself (on the served interface).
int bindSsdpGroup(BindFunction real, int fd) {
  sockaddr_in group{};
  group.sin_family = AF_INET;
  group.sin_port = htons(kSsdpPort);
  inet_pton(AF_INET, kSsdpGroup, &group.sin_addr);
  const int off = 0;
  SetsockoptFunction setOption = realSetsockopt();
  if (setOption == nullptr || setOption(fd, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off) != 0)
    return -1;
  return real(fd, reinterpret_cast<const sockaddr*>(&group), sizeof group);
}

}  // namespace

namespace dmsstack {

bool upnpSocketFixesActive() {
  Dl_info self;
  if (dladdr(reinterpret_cast<void*>(&upnpSocketFixesActive), &self) == 0) return false;
  for (const char* name : {"socket", "bind", "setsockopt", "accept", "recv"}) {
    FirstDefinition first{name};
    dl_iterate_phdr(&findFirstDefinition, &first);
    if (first.object != self.dli_fbase) return false;
  }
  return true;
}

}  // namespace dmsstack

extern "C" __attribute__((visibility("default"))) int socket(int domain, int type, int protocol) {
  SocketFunction real = realSocket();
  if (real == nullptr) return -1;
  if (domain == AF_INET6 && calledFromLibupnp()) {
    errno = EAFNOSUPPORT;
    return -1;
  }
  return real(domain, type, protocol);
}

extern "C" __attribute__((visibility("default"))) int bind(int fd, const sockaddr* address,
                                                           socklen_t length) {
  BindFunction real = realBind();
  if (real == nullptr) return -1;
  if (isAnySsdpAddress(address, length) && calledFromLibupnp()) return bindSsdpGroup(real, fd);
  return real(fd, address, length);
}

extern "C" __attribute__((visibility("default"))) int setsockopt(int fd, int level, int name,
                                                                 const void* value,
                                                                 socklen_t length) {
  SetsockoptFunction real = realSetsockopt();
  if (real == nullptr) return -1;
  if (level == IPPROTO_IP && name == IP_MULTICAST_IF && value != nullptr &&
      length == sizeof(unsigned long) && sizeof(unsigned long) > sizeof(in_addr) &&
      calledFromLibupnp()) {
    unsigned long holder;
    std::memcpy(&holder, value, sizeof holder);
    in_addr address;
    address.s_addr = static_cast<in_addr_t>(holder);
    return real(fd, level, name, &address, sizeof address);
  }
  return real(fd, level, name, value, length);
}

// A connection libupnp accepts is remembered until its first read (once per
// connection, so the stack walk is paid per accepted connection only).
extern "C" __attribute__((visibility("default"))) int accept(int fd, sockaddr* address,
                                                             socklen_t* length) {
  AcceptFunction real = realAccept();
  if (real == nullptr) return -1;
  int connection = real(fd, address, length);
  if (connection >= 0 && calledFromLibupnp()) dmsstack::noteUpnpConnection(connection);
  return connection;
}

extern "C" __attribute__((visibility("default"))) ssize_t recv(int fd, void* buffer, size_t length,
                                                               int flags) {
  RecvFunction real = realRecv();
  if (real == nullptr) return -1;
  ssize_t got = real(fd, buffer, length, flags);
  if (got > 0 && (flags & MSG_PEEK) == 0)
    dmsstack::noteUpnpRead(fd, static_cast<const char*>(buffer), static_cast<size_t>(got));
  return got;
}
