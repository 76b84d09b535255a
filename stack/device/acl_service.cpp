// The running access-control list.
#include "acl_service.h"

#include <algorithm>

#include "client_identity.h"
#include "nuv_dms.h"
#include "stack_limits.h"

namespace dmsstack {

AclService::AclService(MacLookup lookup) : lookup_(lookup != nullptr ? lookup : &lookupMac) {}

void AclService::initialize() {
  std::lock_guard<std::mutex> lock(mutex_);
  list_.reset();
  active_ = true;
}

void AclService::terminate() {
  std::lock_guard<std::mutex> lock(mutex_);
  list_.reset();
  active_ = false;
}

bool AclService::active() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return active_;
}

bool AclService::setMode(int mode) {
  std::lock_guard<std::mutex> lock(mutex_);
  return active_ && list_.setMode(mode);
}

int AclService::mode() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return active_ ? list_.mode() : NUV_ACL_MODE_ALLOW_ALL;
}

bool AclService::addNameRule(const std::string& prefix, const std::string& rule) {
  std::lock_guard<std::mutex> lock(mutex_);
  return active_ && list_.addNameRule(prefix, rule);
}

bool AclService::addEntry(int decision, int kind, const std::string& ip, const std::string& name) {
  if (decision != NUV_ACL_REFUSE && decision != NUV_ACL_ADMIT) return false;
  ClientDevice device;
  if (kind == NUV_ACL_ENTRY_BY_IP) {
    if (ip.empty()) return false;
    device.ip = ip;
    device.mac = lookup_(ip);
    if (!name.empty()) device.names.push_back(name);
  } else if (kind != NUV_ACL_ENTRY_PENDING) {
    return false;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  if (!active_) return false;
  if (kind == NUV_ACL_ENTRY_PENDING) {
    if (!list_.pending()) return false;
    device = *list_.pending();
  }
  return list_.addEntry(device, decision == NUV_ACL_ADMIT);
}

std::vector<std::string> AclService::namesOf(const std::string& ip) const {
  auto it = names_.find(ip);
  return it == names_.end() ? std::vector<std::string>() : it->second;
}

AclDecision AclService::check(const std::string& ip, ClientDevice* device) {
  device->ip = ip;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    device->names = namesOf(ip);
    if (!active_ || list_.mode() == NUV_ACL_MODE_ALLOW_ALL) return AclDecision::Admit;
  }
  // The ARP table is read without the lock: it is a file read per request.
  device->mac = lookup_(ip);
  std::lock_guard<std::mutex> lock(mutex_);
  if (!active_) return AclDecision::Admit;
  return list_.decide(*device);
}

void AclService::noteClientHeaders(const std::string& ip, const std::string& userAgent,
                                   const std::string& avClientInfo) {
  std::vector<std::string> names = deviceNames(userAgent, avClientInfo);
  if (ip.empty() || names.empty()) return;
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = names_.find(ip);
  if (it != names_.end()) {
    it->second = std::move(names);
    return;
  }
  if (nameOrder_.size() >= kMaxAclKnownNames) {
    names_.erase(nameOrder_.front());
    nameOrder_.pop_front();
  }
  names_.emplace(ip, std::move(names));
  nameOrder_.push_back(ip);
}

}  // namespace dmsstack
