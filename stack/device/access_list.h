// The access-control list: a mode, device-name prefix rules and per-device
// entries, and the decision for one request. Decision order:
//   1. mode ALLOW_ALL admits everyone;
//   2. an entry for the device (matched by MAC when both sides know one,
//      else by IP) decides, except that mode DENY_ALL ignores admitting
//      entries (only "+" rules pass there);
//   3. the first name rule whose prefix starts one of the device's names
//      decides: "+" admits, "-" refuses;
//   4. otherwise ALLOW_LISTED and DENY_ALL refuse, DENY_LISTED admits, and
//      CONFIRM refuses. In CONFIRM one device at a time waits for the user:
//      an unknown device is reported (and becomes the pending one) when no
//      other device is pending; until an entry decides on the pending
//      device, its requests and those of other unknown devices are refused
//      silently, and the others are reported on a later request. This
//      matches a user interface that shows one question at a time.
//
// Thread safety: none; the owner serialises calls.
#ifndef DMS_STACK_DEVICE_ACCESS_LIST_H
#define DMS_STACK_DEVICE_ACCESS_LIST_H

#include <optional>
#include <string>
#include <vector>

namespace dmsstack {

// What the stack knows about the device behind a request.
struct ClientDevice {
  std::string ip;
  std::string mac;                 // "" when the ARP table does not know it
  std::vector<std::string> names;  // User-Agent, X-AV-Client-Info model...; may be empty
};

enum class AclDecision { Admit, Refuse, RefuseAndReport };

class AccessList {
 public:
  // Empty, mode ALLOW_ALL.
  void reset();
  // False for a mode outside 0..4.
  bool setMode(int mode);
  int mode() const { return mode_; }
  // `rule` "+" admits, "-" refuses; false for another rule, an empty prefix
  // or a full table.
  bool addNameRule(const std::string& prefix, const std::string& rule);
  // Adds or replaces the entry for `device`; when it is the pending device,
  // nobody is pending any more. False when the table is full.
  bool addEntry(const ClientDevice& device, bool admit);

  // The decision for a request of `device`. RefuseAndReport means: report
  // the device to the user; it is now the pending one.
  AclDecision decide(const ClientDevice& device);

  // The device reported and not yet decided on.
  std::optional<ClientDevice> pending() const { return pending_; }

 private:
  struct Rule {
    std::string prefix;
    bool admit;
  };
  struct Entry {
    ClientDevice device;
    bool admit;
  };
  static bool sameDevice(const ClientDevice& a, const ClientDevice& b);
  const Entry* findEntry(const ClientDevice& device) const;
  const Rule* findRule(const ClientDevice& device) const;

  int mode_ = 0;
  std::vector<Rule> rules_;
  std::vector<Entry> entries_;
  std::optional<ClientDevice> pending_;
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_ACCESS_LIST_H
