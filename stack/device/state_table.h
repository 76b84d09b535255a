// The state variables of ContentDirectory:1 and ConnectionManager:1 that the
// stack holds for the media server, with which of them are evented and which
// of those are moderated.
//
// Services are keyed by type without version
// ("urn:schemas-upnp-org:service:ContentDirectory"); a type with a version is
// accepted and stripped. Unknown variables of a known service are stored and
// never evented; unknown services are refused.
//
// Thread safety: every member may be called from any thread.
#ifndef DMS_STACK_DEVICE_STATE_TABLE_H
#define DMS_STACK_DEVICE_STATE_TABLE_H

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace dmsstack {

constexpr const char* kContentDirectoryType = "urn:schemas-upnp-org:service:ContentDirectory";
constexpr const char* kConnectionManagerType = "urn:schemas-upnp-org:service:ConnectionManager";

using NameValueList = std::vector<std::pair<std::string, std::string>>;

class StateTable {
 public:
  StateTable();

  // Back to the values of a fresh device.
  void reset();

  // False for an unknown service or variable.
  bool get(std::string_view serviceType, std::string_view name, std::string* value) const;

  // Stores the value. False for an unknown service or a value longer than
  // kMaxStateValueBytes. `evented` and `moderated` (may be null) tell how the
  // change is to be evented.
  bool set(std::string_view serviceType, std::string_view name, std::string_view value,
           bool* evented, bool* moderated);

  // Every evented variable of the service and its current value, in a fixed
  // order: what a new subscriber receives.
  NameValueList eventedValues(std::string_view serviceType) const;

  // True for the two services the table knows.
  static bool knownService(std::string_view serviceType);

 private:
  struct Variable {
    std::string value;
    bool evented = false;
    bool moderated = false;
  };
  using Service = std::vector<std::pair<std::string, Variable>>;  // in declaration order

  Variable* find(std::string_view serviceType, std::string_view name);
  const Variable* find(std::string_view serviceType, std::string_view name) const;

  mutable std::mutex mutex_;
  std::map<std::string, Service, std::less<>> services_;  // guarded by mutex_
};

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_STATE_TABLE_H
