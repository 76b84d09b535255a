// The handler factories (see pending_handlers.h).
#include "pending_handlers.h"

#include <new>

#include "recv_file_thru_post.h"

namespace dms_transfer {

ServerInterface* CreateUploadHandler(unsigned int profileId, int profile, int connection) {
  return new (std::nothrow) RecvFileThruPOST(profileId, profile, connection);
}

ServerInterface* CreateLiveViewHandler(int, int) { return nullptr; }

std::string LastTakenPhotoName() { return ""; }

}  // namespace dms_transfer
