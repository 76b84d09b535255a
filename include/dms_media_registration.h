/* Registration of media files: the full scan of the shared media folder,
 * single files after an upload or a change on disk, and the announcement of
 * every change to clients (ContainerUpdateIDs, SystemUpdateID). Built on the
 * stack's extension library (DirectoryScanner).
 *
 * Configuration keys read: "SHARED-MEDIA-FOLDER-PATH", "MEDIA-DB-FILEPATH",
 * "MEDIA-TV-DB-FILEPATH" (used instead when GetAllShareMode() is 1 for the
 * full scan). With DLNA certification mode off the full scan follows the
 * camera's DCF layout (DCIM/NNNXXXXX/XXXXNNNN.EXT), else it takes every
 * media file below the folder.
 *
 * Thread safety: every function may be called from any thread; a full scan
 * runs on the caller's thread for as long as it takes. */
#ifndef DMS_MEDIA_REGISTRATION_H
#define DMS_MEDIA_REGISTRATION_H

#ifdef __cplusplus
extern "C" {
#endif

/* Scans the shared media folder into the database and announces the result
 * (unless the scan was cancelled). 0 success, 2 failure. */
int NUVUtilStartFileScanner(int stackHandle, const char* root);
/* Registers or updates one file and announces the change in its container.
 * 0 success, 1 database path missing, 23 the file could not be registered. */
int NUVUtilAddFileToDb(int stackHandle, const char* filePath);
/* As NUVUtilAddFileToDb for a file whose row object creation reserved:
 * `objectID` names it (NULL: found by path); `share` becomes its Share
 * column (1 offered to clients). */
int NUVUtilUpdateFileInfoInDb(int stackHandle, const char* filePath, const char* objectID,
                              int share);
/* Removes the rows of a file deleted from the media folder and announces the
 * change. 0 success (also when it had none), 1 database path missing, 23 on
 * a database error. */
int NUVUtilRemoveFileFromDb(int stackHandle, const char* filePath);

/* Removes the rows of every file below `folder` (a media folder that has
 * gone: removed, moved away, unmounted) in one transaction and announces the
 * change. The number of files removed, -1 on a database error or when the
 * database path is missing. */
long long NUVUtilRemoveFolderFromDb(int stackHandle, const char* folder);
/* The full scan's work without reading the configuration and without
 * announcing: for a scan before the server starts. `dcf` non-zero follows
 * the DCF layout. 0 success, 2 failure. */
int NUVUtilScanFolder(const char* root, const char* dbPath, int dcf);
/* Stops a running full scan between two files (it then announces nothing). */
void NUVUtilCancelFileScanner(void);

/* Progress of a running full scan, reported on the scanning thread after
 * each file and once with finished = 1 at the end. */
typedef void (*NUVScanProgressCallback)(long long done, long long total, long long registered,
                                        long long removed, long long skipped, int finished,
                                        void* context);
void NUVUtilSetScanProgressCallback(NUVScanProgressCallback callback, void* context);

/* Makes the database file ready before the server opens it: creates it with
 * the media tables when it does not exist yet (as the server's connector
 * would), so that a scan can run before the server starts, and puts it in
 * write-ahead-log mode, so that the server's reads never fail while a scan
 * writes. Call it before DMSAppInitialize. 0 success, 1 failure. */
int DMSPrepareMediaDatabase(const char* dbPath);

/* Renderers of thumbnails the files do not carry (the camera platform's
 * ASLWifi_getMovieThumbBuffer and ASLWifi_getJpegThumbBuffer): each renders
 * a JPEG picture into a new malloc'd buffer and returns 0. NULL leaves that
 * kind to the substitute pictures. */
typedef int (*DMSThumbnailRenderer)(const char* path, char** buffer, unsigned int* size);
void DMSSetThumbnailRenderers(DMSThumbnailRenderer movie, DMSThumbnailRenderer photo);
/* Forgets the pictures rendered for a file that is about to be deleted
 * (ASLWifi_removeThumbBuffers); called with the file still in place. NULL:
 * nothing to forget. */
typedef int (*DMSThumbnailRemover)(const char* path);
void DMSSetThumbnailRemover(DMSThumbnailRemover remover);
/* Told of every file registered one by one (NUVUtilAddFileToDb,
 * NUVUtilUpdateFileInfoInDb: a file that appeared, an upload, an import),
 * after its registration and on the registering thread; a full scan tells
 * nothing. NULL: nobody is told. */
typedef void (*DMSRegistrationObserver)(const char* path);
void DMSSetRegistrationObserver(DMSRegistrationObserver observer);

#ifdef __cplusplus
}

class ContentsEnumeratorArgument;
/* Scans `root` (recursively, or following the DCF layout) into the database
 * at dbPath; *changed becomes 1 when any row changed. 1, or 0 when there is
 * no scanner. */
int ParseMediaFiles(const char* root, const char* dbPath, int* changed);
int parseMediaFilesDcf(const char* root, const char* dbPath, int* changed);
/* The metadata of one file as a new record (delete it), without
 * registration; null when it is not a supported media file. */
ContentsEnumeratorArgument* NUVUtilGetFileMetaData(const char* filePath);
/* The three-argument form the upload path uses. */
inline int NUVUtilUpdateFileInfoInDb(int stackHandle, const char* filePath, const char* objectID) {
  return NUVUtilUpdateFileInfoInDb(stackHandle, filePath, objectID, 1);
}
#endif

#endif /* DMS_MEDIA_REGISTRATION_H */
