// The stack's state-variable table.
#include "state_table.h"

#include "description.h"
#include "protocol_info.h"
#include "stack_limits.h"

namespace dmsstack {

StateTable::StateTable() { reset(); }

void StateTable::reset() {
  std::lock_guard<std::mutex> lock(mutex_);
  services_.clear();
  // ContentDirectory:1: SystemUpdateID and ContainerUpdateIDs are moderated
  // (at most one event per kModerationInterval); TransferIDs is evented at
  // once so a control point sees a transfer begin and end.
  services_[kContentDirectoryType] = {
      {"SystemUpdateID", {"0", true, true}},    {"ContainerUpdateIDs", {"", true, true}},
      {"TransferIDs", {"", true, false}},       {"SearchCapabilities", {"", false, false}},
      {"SortCapabilities", {"", false, false}},
  };
  services_[kConnectionManagerType] = {
      {"SourceProtocolInfo", {kSourceProtocolInfo, true, false}},
      {"SinkProtocolInfo", {kSinkProtocolInfo, true, false}},
      {"CurrentConnectionIDs", {"0", true, false}},
  };
}

StateTable::Variable* StateTable::find(std::string_view serviceType, std::string_view name) {
  auto service = services_.find(serviceTypeWithoutVersion(serviceType));
  if (service == services_.end()) return nullptr;
  for (auto& entry : service->second)
    if (entry.first == name) return &entry.second;
  return nullptr;
}

const StateTable::Variable* StateTable::find(std::string_view serviceType,
                                             std::string_view name) const {
  return const_cast<StateTable*>(this)->find(serviceType, name);
}

bool StateTable::get(std::string_view serviceType, std::string_view name,
                     std::string* value) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const Variable* variable = find(serviceType, name);
  if (variable == nullptr) return false;
  *value = variable->value;
  return true;
}

bool StateTable::set(std::string_view serviceType, std::string_view name, std::string_view value,
                     bool* evented, bool* moderated) {
  if (value.size() > kMaxStateValueBytes || name.empty()) return false;
  std::lock_guard<std::mutex> lock(mutex_);
  auto service = services_.find(serviceTypeWithoutVersion(serviceType));
  if (service == services_.end()) return false;
  Variable* variable = find(serviceType, name);
  if (variable == nullptr) {
    service->second.emplace_back(std::string(name), Variable{});
    variable = &service->second.back().second;
  }
  variable->value = std::string(value);
  if (evented != nullptr) *evented = variable->evented;
  if (moderated != nullptr) *moderated = variable->moderated;
  return true;
}

NameValueList StateTable::eventedValues(std::string_view serviceType) const {
  NameValueList values;
  std::lock_guard<std::mutex> lock(mutex_);
  auto service = services_.find(serviceTypeWithoutVersion(serviceType));
  if (service == services_.end()) return values;
  for (const auto& entry : service->second)
    if (entry.second.evented) values.emplace_back(entry.first, entry.second.value);
  return values;
}

bool StateTable::knownService(std::string_view serviceType) {
  std::string key = serviceTypeWithoutVersion(serviceType);
  return key == kContentDirectoryType || key == kConnectionManagerType;
}

}  // namespace dmsstack
