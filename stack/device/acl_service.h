// The access-control list as the stack runs it: an AccessList behind a lock,
// active between NUVDmsACLInitialize and NUVDmsACLTerminate (admitting
// everyone otherwise), plus what the stack learns about client devices: MAC
// addresses from the ARP table and names from HTTP headers.
//
// Every request the stack serves (SOAP control and HTTP transfers) reports
// its headers with noteClientHeaders before it is checked, so a request is
// judged by its own names, or by the names last seen from the same IP when
// it sends none; a client never seen with a name has none.
//
// Thread safety: every member may be called from any thread.
#ifndef DMS_STACK_DEVICE_ACL_SERVICE_H
#define DMS_STACK_DEVICE_ACL_SERVICE_H

#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "access_list.h"

namespace dmsstack {

class AclService {
 public:
  // Function that finds the MAC of an IP ("" if unknown); lookupMac by default.
  using MacLookup = std::string (*)(const std::string& ip);
  explicit AclService(MacLookup lookup);

  // Clears the list and activates it (mode ALLOW_ALL until set).
  void initialize();
  // Deactivates it: every device is admitted again.
  void terminate();
  bool active() const;
  // False while inactive or for a mode outside 0..4.
  bool setMode(int mode);
  int mode() const;
  // `flag` is reserved; false while inactive or for a bad rule.
  bool addNameRule(const std::string& prefix, const std::string& rule);
  // kind NUV_ACL_ENTRY_PENDING: the pending device (false if none);
  // NUV_ACL_ENTRY_BY_IP: the device at `ip` (its MAC looked up now).
  bool addEntry(int decision, int kind, const std::string& ip, const std::string& name);

  // The device behind a request from `ip` and the decision for it.
  AclDecision check(const std::string& ip, ClientDevice* device);

  // Remembers the names a client at `ip` goes by, from its User-Agent and
  // X-AV-Client-Info headers (either may be empty).
  void noteClientHeaders(const std::string& ip, const std::string& userAgent,
                         const std::string& avClientInfo);

 private:
  std::vector<std::string> namesOf(const std::string& ip) const;  // mutex_ held

  const MacLookup lookup_;
  mutable std::mutex mutex_;
  AccessList list_;                                        // guarded by mutex_
  bool active_ = false;                                    // guarded by mutex_
  std::map<std::string, std::vector<std::string>> names_;  // guarded by mutex_
  std::deque<std::string> nameOrder_;  // IPs of names_, oldest first; guarded by mutex_
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_ACL_SERVICE_H
