// Watches the kernel's IPv4 address changes (rtnetlink) and reports an
// address that appeared or went away, once each: an address refreshed by
// DHCP is not reported again.
//
// Thread safety: start and stop from one controlling thread; the handler
// runs on the watcher's own thread.
#ifndef DMS_STACK_DEVICE_NETLINK_WATCHER_H
#define DMS_STACK_DEVICE_NETLINK_WATCHER_H

#include <functional>
#include <set>
#include <string>
#include <thread>

namespace dmsstack {

class NetlinkWatcher {
 public:
  // `appeared` is true for a new address, false for one removed.
  using Handler = std::function<void(bool appeared, const std::string& interfaceName,
                                     const std::string& address)>;

  NetlinkWatcher() = default;
  ~NetlinkWatcher();
  NetlinkWatcher(const NetlinkWatcher&) = delete;
  NetlinkWatcher& operator=(const NetlinkWatcher&) = delete;

  // Opens the netlink socket and starts the thread. False (and nothing runs)
  // when the socket cannot be had, e.g. in a restricted sandbox.
  bool start(Handler handler);
  // Stops and joins the thread; the handler is not called afterwards.
  void stop();
  bool running() const { return thread_.joinable(); }

 private:
  void run();
  void dispatch(const char* data, size_t size);

  Handler handler_;
  int socket_ = -1;
  int wakeFd_ = -1;
  std::thread thread_;
  std::set<std::string> known_;  // "name|address"; touched by the thread only
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_NETLINK_WATCHER_H
