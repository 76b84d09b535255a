// Process-wide state of the server layer shared between its own files:
// the stack connection ID and the release of the stored path settings.
//
// Threads: written by the lifecycle calls on the application's control
// thread, read from any thread afterwards; deliberately not locked.
#ifndef DMS_SERVER_SERVER_STATE_H
#define DMS_SERVER_SERVER_STATE_H

namespace dms_server {

// The connection ID the stack wrote through NUVDMSInitialize (0 until then).
int& stackConnectionId();

// Deletes the stored database, thumbnail and shared-file path strings and
// resets them to null. Only teardown and tests call this: the setters
// themselves never free what they replace.
void releaseStoredPaths();

// Resets every setting to its initial value (paths released, port 0,
// connection IDs 0 and -1). For tests.
void resetSettings();

}  // namespace dms_server

#endif  // DMS_SERVER_SERVER_STATE_H
