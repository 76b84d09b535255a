// ConnectionManager:1 as this server needs it, answered by the stack itself:
// a source-only device with the single connection 0 and no
// PrepareForConnection.
//
// Thread safety: pure function over the (thread-safe) state table.
#ifndef DMS_STACK_DEVICE_CONNECTION_MANAGER_H
#define DMS_STACK_DEVICE_CONNECTION_MANAGER_H

#include <string>

#include "state_table.h"

namespace dmsstack {

struct CmAnswer {
  int errorCode = 0;  // 0: `body` is the action response; else a UPnP error code
  std::string body;   // "<u:...Response xmlns:u=...>...</u:...Response>"
};

// GetProtocolInfo answers the current SourceProtocolInfo and SinkProtocolInfo;
// GetCurrentConnectionIDs the current CurrentConnectionIDs; and
// GetCurrentConnectionInfo describes connection 0 (another ID gives 706, a
// missing or non-numeric one 402). Any other action gives 401.
CmAnswer answerConnectionManager(const std::string& action, const NameValueList& arguments,
                                 const StateTable& table);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_CONNECTION_MANAGER_H
