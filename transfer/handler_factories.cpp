// The handler factories (see handler_factories.h).
#include "handler_factories.h"

#include <new>

#include "recv_file_thru_post.h"
#include "rvf_streaming_thru_get.h"

namespace dms_transfer {

ServerInterface* CreateUploadHandler(unsigned int profileId, int profile, int connection) {
  return new (std::nothrow) RecvFileThruPOST(profileId, profile, connection);
}

ServerInterface* CreateLiveViewHandler(int profile, int connection) {
  return new (std::nothrow) RVFStreamingThruGet(profile, connection);
}

std::string LastTakenPhotoName() { return RVFStreamingThruGet::LastTakenPhotoName(); }

}  // namespace dms_transfer
