#include "received_file.h"

#include <memory>

#include "dms_content_engine.h"
#include "dms_media_registration.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "multimedia_db_connector.h"
#include "temporary_contents_manager.h"
#include "upload_file.h"

namespace dms_transfer {

namespace {

bool objectWaitsFor(DMSAppString* path) {
  TemporaryContentsManager* temp = TemporaryContentsManager::existingInstance();
  if (temp == nullptr) return false;
  return temp->findContent(path).has_value();
}

}  // namespace

Registration RegisterReceivedFile(UploadFile* file, const std::string& reference, int stackHandle) {
  DMSAppString path(file->finalPath().c_str());
  if (!objectWaitsFor(&path)) {
    file->Discard();
    return Registration::kNoObject;
  }
  if (!file->Commit()) {
    file->Discard();
    return Registration::kNotPlaced;
  }
  DMSAppString referenceText(reference.c_str());
  std::unique_ptr<DMSAppString> objectID(NUVCERegisterUploadedContent(0, &referenceText, &path));
  if (objectID == nullptr || objectID->ReadString() == nullptr) {
    DMSAppRemoveFile(file->finalPath().c_str());  // destroyed while the last piece came
    return Registration::kNoObject;
  }
  if (NUVUtilUpdateFileInfoInDb(stackHandle, file->finalPath().c_str(), objectID->ReadString()) !=
      0) {
    MultiMediaDbConnector* db = MultiMediaDbConnector::GetInstance();
    if (db != nullptr) db->DeleteContent(static_cast<unsigned int>(stackHandle), objectID.get());
    return Registration::kNotMedia;
  }
  return Registration::kRegistered;
}

}  // namespace dms_transfer
