// The registration layer over the media scanner: the exported NUVUtil...
// entry points that put files into the database and announce changes to
// clients through the ContentDirectory state variables. The exported scanner
// entry points are declared in include/dms_media_registration.h; they share
// the announcements below.
//
// Thread safety: every function may be called from any thread.
#ifndef DMS_CONTENT_MEDIA_REGISTRATION_H
#define DMS_CONTENT_MEDIA_REGISTRATION_H

class DMSAppString;

// Announces a change in `containerID` on the stack connection
// `stackHandle`: ContainerUpdateIDs becomes "<containerID>,<counter>" (the
// counter starts at 5 and rises with every announcement), then
// SystemUpdateID is read, a negative value counted as 0, and written back
// one higher. When SystemUpdateID cannot be read it is left alone (logged)
// rather than restarted.
void announceContentChange(int stackHandle, int containerID);
// Its two steps: ContainerUpdateIDs "<containerID>,<counter>" alone (what a
// full scan announces for the root), and the SystemUpdateID increment.
void announceContainerUpdate(int stackHandle, int containerID);
void announceSystemUpdate(int stackHandle);

// Announces a created object that waits for its upload. `parentID` is the
// container the client named; the announcement carries `containerID` (the
// object's media kind, which is its media container's ID). 0.
int NUVUtilUpdateTempFileInfo(int stackHandle, int containerID, DMSAppString* parentID);

// For tests: the counter value the next announcement will carry.
int nextContainerUpdateCounter();

#endif  // DMS_CONTENT_MEDIA_REGISTRATION_H
