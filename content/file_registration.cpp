// The registration layer's entry points over DirectoryScanner: the full scan
// of the shared media folder and the registration of single files, each
// followed by its announcement.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "directory_scanner.h"
#include "dms_camera.h"
#include "dms_media_registration.h"
#include "dms_platform.h"
#include "export_guard.h"
#include "media_registration.h"
#include "multimedia_db_connector.h"
#include "nuv_config.h"
#include "nuv_dms.h"
#include "nuv_log.h"

namespace {

// The profiles a full scan may assign.
constexpr const char* kScanProfiles =
    "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;DLNA.ORG_FLAGS="
    "00D00000000000000000000000000000,"
    "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN;DLNA.ORG_OP=01;DLNA.ORG_CI=1;DLNA.ORG_FLAGS="
    "00D00000000000000000000000000000,"
    "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_MED;DLNA.ORG_OP=01;DLNA.ORG_FLAGS="
    "00D00000000000000000000000000000,"
    "http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01;DLNA.ORG_FLAGS="
    "00D00000000000000000000000000000,"
    "http-get:*:video/mp4:DLNA.ORG_PN=AVC_MP4_BL_CIF15_AAC_520;DLNA.ORG_OP=01;DLNA.ORG_FLAGS="
    "01500000000000000000000000000000";

struct MemFree {
  void operator()(char* p) const { DMSAppMemFree(p); }
};
using Text = std::unique_ptr<char, MemFree>;

// Holds the scanner instance for a scope.
class ScannerHold {
 public:
  ScannerHold() : scanner_(DirectoryScanner::GetInstance()) {}
  ~ScannerHold() {
    if (scanner_ != nullptr) DirectoryScanner::DestroyInstance();
  }
  ScannerHold(const ScannerHold&) = delete;
  ScannerHold& operator=(const ScannerHold&) = delete;
  DirectoryScanner* get() const { return scanner_; }

 private:
  DirectoryScanner* scanner_;
};

std::atomic<DMSRegistrationObserver> gRegistrationObserver{nullptr};

NUVScanProgressCallback gProgress = nullptr;
void* gProgressContext = nullptr;

void forwardProgress(const ScanProgress& p, void* /*context*/) {
  NUVScanProgressCallback callback = gProgress;
  if (callback != nullptr) {
    callback(p.done, p.total, p.registered, p.removed, p.skipped, p.finished ? 1 : 0,
             gProgressContext);
  }
}

// Steps 1 to 4 of a single-file registration; the container ID or a
// negative value, with *result set to the exported result code.
int registerOne(int stackHandle, const char* filePath, const char* objectID, int share,
                const char* who, int* result) {
  Text dbPath(NUVGetConfigurationMA("MEDIA-DB-FILEPATH"));
  if (dbPath == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[%s]Check Config file - Media DB path missing - Pls copy from CC into simulator "
              "or target",
              who);
    *result = 1;
    return -1;
  }
  int container = -1;
  {
    ScannerHold scanner;
    if (scanner.get() != nullptr && filePath != nullptr) {
      // The full scan's list, not the device's SourceProtocolInfo: a file
      // is described the same whether the scan found it or it arrived while
      // the server ran (an upload, a copy into the folder). The device's
      // list would deny JPEG_MED and JPEG_LRG to such photos.
      scanner.get()->SetDlnaProfiles(kScanProfiles);
      container = scanner.get()->ParseAndRegisterFile(dbPath.get(), filePath, objectID, share);
    }
  }
  if (container < 0) {
    *result = 23;
    return -1;
  }
  announceContentChange(stackHandle, container);
  *result = 0;
  DMSRegistrationObserver observer = gRegistrationObserver.load();
  if (observer != nullptr) observer(filePath);
  return container;
}

}  // namespace

int ParseMediaFiles(const char* root, const char* dbPath, int* changed) {
  return dms_export::guarded("ParseMediaFiles", 0, [&]() -> int {
    DirectoryScanner* scanner = DirectoryScanner::GetInstance();
    if (scanner == nullptr) return 0;
    scanner->ScanDir(root, dbPath, changed);
    DirectoryScanner::DestroyInstance();
    return 1;
  });
}

int parseMediaFilesDcf(const char* root, const char* dbPath, int* changed) {
  return dms_export::guarded("parseMediaFilesDcf", 0, [&]() -> int {
    DirectoryScanner* scanner = DirectoryScanner::GetInstance();
    if (scanner == nullptr) return 0;
    scanner->scanDcf(root, dbPath, changed);
    DirectoryScanner::DestroyInstance();
    return 1;
  });
}

extern "C" int NUVUtilStartFileScanner(int stackHandle, const char* root) {
  return dms_export::guarded("NUVUtilStartFileScanner", 2, [&]() -> int {
    Text configured(NUVGetConfigurationMA("SHARED-MEDIA-FOLDER-PATH"));
    if (configured == nullptr) {
      NUVPrintf(NUV_LOG_ERROR,
                "[NUVUtilStartFileScanner]Check Config file - Contents Location missing - Pls copy "
                "from CC into simulator or target");
      return 2;
    }
    Text dbPath(NUVGetConfigurationMA(GetAllShareMode() == 1 ? "MEDIA-TV-DB-FILEPATH"
                                                             : "MEDIA-DB-FILEPATH"));
    if (dbPath == nullptr) {
      NUVPrintf(
          NUV_LOG_ERROR,
          "[NUVUtilStartFileScanner]Check Config file - Media DB path missing - Pls copy from "
          "CC into simulator or target");
      return 2;
    }
    Text profiles(static_cast<char*>(DMSAppMemAllocMA(strlen(kScanProfiles) + 1)));
    if (profiles == nullptr) {
      NUVPrintf(NUV_LOG_ERROR, "[NUVUtilStartFileScanner] pValue is NULL");
      return 2;
    }
    memcpy(profiles.get(), kScanProfiles, strlen(kScanProfiles) + 1);
    ScannerHold scanner;
    if (scanner.get() == nullptr) {
      NUVPrintf(NUV_LOG_ERROR, "[NUVUtilStartFileScanner] directory scanner is NULL");
      return 2;
    }
    scanner.get()->SetDlnaProfiles(profiles.get());
    // A database removed or replaced under the running server is made again
    // here, and this scan fills it.
    if (MultiMediaDbConnector* db = MultiMediaDbConnector::GetExisting()) db->FollowDatabaseFile();
    NUVPrintf(NUV_LOG_INFO, "[NUVUtilStartFileScanner] Parsing Media files");

    // The argument names the folder when given; the configured one otherwise.
    const char* folder = root != nullptr && root[0] != '\0' ? root : configured.get();
    int changed = 0;
    if (NUVGetDlnaCertificationState() == 0) {
      parseMediaFilesDcf(folder, dbPath.get(), &changed);
    } else {
      ParseMediaFiles(folder, dbPath.get(), &changed);
    }
    if (!DirectoryScanner::GetCancelFlag()) {
      NUVPrintf(NUV_LOG_INFO, "[NUVUtilStartFileScanner] Updating gContainerId variable Value");
      announceContainerUpdate(stackHandle, 0);
      if (changed != 0) {
        NUVPrintf(NUV_LOG_INFO,
                  "[NUVUtilStartFileScanner] Updating tSystemUpdateID variable Value");
        announceSystemUpdate(stackHandle);
      }
    }
    return 0;
  });
}

extern "C" int NUVUtilScanFolder(const char* root, const char* dbPath, int dcf) {
  return dms_export::guarded("NUVUtilScanFolder", 2, [&]() -> int {
    if (root == nullptr || dbPath == nullptr) return 2;
    ScannerHold scanner;
    if (scanner.get() == nullptr) return 2;
    scanner.get()->SetDlnaProfiles(kScanProfiles);
    int changed = 0;
    int rc = dcf != 0 ? scanner.get()->scanDcf(root, dbPath, &changed)
                      : scanner.get()->ScanDir(root, dbPath, &changed);
    return rc == 0 ? 0 : 2;
  });
}

extern "C" void DMSSetRegistrationObserver(DMSRegistrationObserver observer) {
  gRegistrationObserver.store(observer);
}

extern "C" int NUVUtilAddFileToDb(int stackHandle, const char* filePath) {
  return dms_export::guarded("NUVUtilAddFileToDb", 23, [&]() -> int {
    int result = 0;
    registerOne(stackHandle, filePath, nullptr, 1, "NUVUtilAddFileToDb", &result);
    return result;
  });
}

extern "C" int NUVUtilUpdateFileInfoInDb(int stackHandle, const char* filePath,
                                         const char* objectID, int share) {
  return dms_export::guarded("NUVUtilUpdateFileInfoInDb", 23, [&]() -> int {
    int result = 0;
    registerOne(stackHandle, filePath, objectID, share, "NUVUtilUpdateFileInfoInDb", &result);
    return result;
  });
}

extern "C" int NUVUtilRemoveFileFromDb(int stackHandle, const char* filePath) {
  return dms_export::guarded("NUVUtilRemoveFileFromDb", 1, [&]() -> int {
    Text dbPath(NUVGetConfigurationMA("MEDIA-DB-FILEPATH"));
    if (dbPath == nullptr) {
      NUVPrintf(NUV_LOG_ERROR,
                "[NUVUtilRemoveFileFromDb]Check Config file - Media DB path missing - Pls copy "
                "from CC into simulator or target");
      return 1;
    }
    int container = -1;
    {
      ScannerHold scanner;
      if (scanner.get() != nullptr) container = scanner.get()->RemoveFile(dbPath.get(), filePath);
    }
    if (container < 0) return 23;
    if (container > 0) announceContentChange(stackHandle, container);
    return 0;
  });
}

extern "C" long long NUVUtilRemoveFolderFromDb(int stackHandle, const char* folder) {
  return dms_export::guarded("NUVUtilRemoveFolderFromDb", -1, [&]() -> long long {
    Text dbPath(NUVGetConfigurationMA("MEDIA-DB-FILEPATH"));
    if (dbPath == nullptr || folder == nullptr) return -1;
    long long removed = DirectoryScanner::ForgetFolder(dbPath.get(), folder);
    // Announced as a scan that removed files is.
    if (removed > 0) {
      announceContainerUpdate(stackHandle, 0);
      announceSystemUpdate(stackHandle);
    }
    return removed;
  });
}

extern "C" void NUVUtilCancelFileScanner(void) { DirectoryScanner::Cancel(); }

extern "C" void NUVUtilSetScanProgressCallback(NUVScanProgressCallback callback, void* context) {
  dms_export::guardedVoid("NUVUtilSetScanProgressCallback", [&] {
    DirectoryScanner::SetProgressListener(nullptr, nullptr);
    gProgress = callback;
    gProgressContext = context;
    if (callback != nullptr) DirectoryScanner::SetProgressListener(forwardProgress, nullptr);
  });
}
