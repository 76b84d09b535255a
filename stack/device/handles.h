// The handles the stack gives to the media server's callbacks: an action
// request (slot 1), a network exception (slot 3) and an access-control
// notification (slot 4). Each is an stNUVAppList whose only item is the
// stack's record; the HNuv... accessors read it and the release functions
// free both. Strings handed out by the accessors stay valid until release.
//
// Thread safety: a handle belongs to one thread at a time; making and
// releasing handles may happen on any thread.
#ifndef DMS_STACK_DEVICE_HANDLES_H
#define DMS_STACK_DEVICE_HANDLES_H

#include <string>

#include "nuv_list.h"
#include "state_table.h"

namespace dmsstack {

// New handles, or null when memory runs out. `arguments` are copied in order.
stNUVAppList* makeActionRequest(const std::string& name, const std::string& ip,
                                const NameValueList& arguments);
stNUVAppList* makeNicException(int type, const std::string& address);
stNUVAppList* makeAclNotification(int mode, int eventType, const std::string& mac,
                                  const std::string& ip, const std::string& name);

// Handles made and not yet released (for leak checks in tests).
int outstandingHandles();

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_HANDLES_H
