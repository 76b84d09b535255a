// Factories of the transfer server's handlers that the routing names by
// method and URL: uploads over POST and the live view.
#ifndef DMS_TRANSFER_HANDLER_FACTORIES_H
#define DMS_TRANSFER_HANDLER_FACTORIES_H

#include <string>

class ServerInterface;

namespace dms_transfer {

// RecvFileThruPOST(profileId, profile, connection); null without memory.
ServerInterface* CreateUploadHandler(unsigned int profileId, int profile, int connection);
// RVFStreamingThruGet(profile, connection); null without memory.
ServerInterface* CreateLiveViewHandler(int profile, int connection);
// The name of the photo just taken (RVFStreamingThruGet's
// m_strLastTakenPhotoname).
std::string LastTakenPhotoName();

}  // namespace dms_transfer

#endif  // DMS_TRANSFER_HANDLER_FACTORIES_H
