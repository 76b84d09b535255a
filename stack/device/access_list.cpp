// Access-control decisions.
#include "access_list.h"

#include <algorithm>

#include "nuv_dms.h"
#include "stack_limits.h"

namespace dmsstack {

void AccessList::reset() {
  mode_ = NUV_ACL_MODE_ALLOW_ALL;
  rules_.clear();
  entries_.clear();
  pending_.reset();
}

bool AccessList::setMode(int mode) {
  if (mode < NUV_ACL_MODE_ALLOW_ALL || mode > NUV_ACL_MODE_CONFIRM) return false;
  mode_ = mode;
  return true;
}

bool AccessList::addNameRule(const std::string& prefix, const std::string& rule) {
  if (prefix.empty() || (rule != "+" && rule != "-") || rules_.size() >= kMaxAclRules) return false;
  rules_.push_back(Rule{prefix, rule == "+"});
  return true;
}

bool AccessList::sameDevice(const ClientDevice& a, const ClientDevice& b) {
  if (!a.mac.empty() && !b.mac.empty()) return a.mac == b.mac;
  return !a.ip.empty() && a.ip == b.ip;
}

bool AccessList::addEntry(const ClientDevice& device, bool admit) {
  auto same = [&](const Entry& entry) { return sameDevice(entry.device, device); };
  auto it = std::find_if(entries_.begin(), entries_.end(), same);
  if (it != entries_.end()) {
    *it = Entry{device, admit};
  } else {
    if (entries_.size() >= kMaxAclEntries) return false;
    entries_.push_back(Entry{device, admit});
  }
  if (pending_ && sameDevice(*pending_, device)) pending_.reset();
  return true;
}

const AccessList::Entry* AccessList::findEntry(const ClientDevice& device) const {
  for (const Entry& entry : entries_)
    if (sameDevice(entry.device, device)) return &entry;
  return nullptr;
}

const AccessList::Rule* AccessList::findRule(const ClientDevice& device) const {
  for (const Rule& rule : rules_)
    for (const std::string& name : device.names)
      if (name.compare(0, rule.prefix.size(), rule.prefix) == 0) return &rule;
  return nullptr;
}

AclDecision AccessList::decide(const ClientDevice& device) {
  if (mode_ == NUV_ACL_MODE_ALLOW_ALL) return AclDecision::Admit;
  const Entry* entry = findEntry(device);
  if (entry != nullptr && !entry->admit) return AclDecision::Refuse;
  if (entry != nullptr && mode_ != NUV_ACL_MODE_DENY_ALL) return AclDecision::Admit;
  if (const Rule* rule = findRule(device))
    return rule->admit ? AclDecision::Admit : AclDecision::Refuse;
  switch (mode_) {
    case NUV_ACL_MODE_DENY_LISTED:
      return AclDecision::Admit;
    case NUV_ACL_MODE_CONFIRM:
      break;
    default:
      return AclDecision::Refuse;
  }
  if (pending_) return AclDecision::Refuse;
  pending_ = device;
  return AclDecision::RefuseAndReport;
}

}  // namespace dmsstack
