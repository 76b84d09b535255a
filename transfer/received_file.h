// The end of a received file (an upload over POST, an import over GET): the
// complete file takes its final name and becomes the content of the created
// object waiting for it, registered like a scanned file.
#ifndef DMS_TRANSFER_RECEIVED_FILE_H
#define DMS_TRANSFER_RECEIVED_FILE_H

#include <string>

class UploadFile;

namespace dms_transfer {

// What became of a received file.
enum class Registration {
  kRegistered,  // the object's content, described and announced
  kNoObject,    // no created object waits for it (destroyed meanwhile)
  kNotPlaced,   // it could not take its final name
  kNotMedia,    // the scanner could not read it: object and file removed
};

// Moves the closed `file` to its final path and registers it for the created
// object waiting for that path. `reference` names the transfer to the
// content engine (the request target or the import URI); `stackHandle`
// announces the change. Nothing of the file is left unless registered.
Registration RegisterReceivedFile(UploadFile* file, const std::string& reference, int stackHandle);

}  // namespace dms_transfer

#endif  // DMS_TRANSFER_RECEIVED_FILE_H
