// Factories of the transfer server's handlers that the routing names
// without knowing them: uploads over POST, and the live view, which is not
// built yet. Until it is, its factory gives no handler, so such requests
// take the server's no-handler path (logged, the header released, no
// response); the live-view handler replaces its factory here and nothing
// else.
#ifndef DMS_TRANSFER_PENDING_HANDLERS_H
#define DMS_TRANSFER_PENDING_HANDLERS_H

#include <string>

class ServerInterface;

namespace dms_transfer {

// RecvFileThruPOST(profileId, profile, connection).
ServerInterface* CreateUploadHandler(unsigned int profileId, int profile, int connection);
// RVFStreamingThruGet(profile, connection).
ServerInterface* CreateLiveViewHandler(int profile, int connection);
// The name of the photo just taken (RVFStreamingThruGet's
// m_strLastTakenPhotoname); "" while there is none.
std::string LastTakenPhotoName();

}  // namespace dms_transfer

#endif  // DMS_TRANSFER_PENDING_HANDLERS_H
