// DirectoryScanner: the stack's extension library that turns media files
// into rows of the media database (ObjectTable plus ImageTable, AudioTable
// or VideoTable), with metadata read from the files themselves and DLNA
// profiles detected from what each file really is.
//
// Rows: `id` is the ObjectTable row id as text; `uri` is "/media/<id>.<ext>",
// thumbnails "/nuvthumb<id>.jpg" (images; rendered by the camera platform
// when the photo has none), "/nuvscreen<id>.jpg" (images with an MPF
// screennail) and "/nuvthumbvideo<id>.jpg" (videos). URIs stay the same
// across rescans because a file keeps its id while its path is unchanged.
// `date` is "YYYY-MM-DDTHH:MM:SS" (EXIF DateTimeOriginal, a movie's
// creation time, else the file's modification time, local time); `SortIndex`
// is 16 digits, the date's seconds then the id, so larger means newer.
// Bit rates are in bytes per second (the unit of a res element's bitrate).
// The scanner keeps the size and modification time of every file it saw in
// its own table, ScannerFileState, to tell changed files from unchanged ones.
//
// The media tables must exist (the content store's connector creates them).
//
// Thread safety: GetInstance/DestroyInstance are reference counted, so
// several threads may each hold the instance; every member may be called from
// any thread. Writers to one database are serialised by SQLite (the scanner
// waits up to 10 s for a lock and commits in batches).
#ifndef DMS_SCANNER_DIRECTORY_SCANNER_H
#define DMS_SCANNER_DIRECTORY_SCANNER_H

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

// The metadata of one file (ParseAndGetFileInfo). Text is UTF-8.
struct ScannedMedia {
  int kind = 0;  // 1 image, 2 audio, 3 video
  std::string path;
  std::string extension;  // lower case, without the dot ("jpg")
  long long size = 0;
  long long mtime = 0;  // seconds since the epoch
  std::string title;
  std::string date;  // "YYYY-MM-DDTHH:MM:SS"
  std::string mimeType;
  std::string profile;  // DLNA.ORG_PN value, "" when none fits
  std::string description;
  std::string duration;  // "H:MM:SS[.mmm]"
  int width = 0;
  int height = 0;
  // Images: embedded pictures (offset -1 and length 0 when absent; the
  // thumbnail's width and height are then those of a rendered one).
  long long thumbnailOffset = -1;
  long long thumbnailLength = 0;
  int thumbnailWidth = 0;
  int thumbnailHeight = 0;
  long long screennailOffset = -1;
  long long screennailLength = 0;
  int screennailWidth = 0;
  int screennailHeight = 0;
  // Audio, and the audio stream of a video.
  std::string album;
  std::string albumArtist;
  std::string artist;
  int channels = 0;
  int bitrate = 0;     // bytes per second
  int sampleRate = 0;  // Hz
  long long albumArtOffset = 0;
  long long albumArtLength = 0;
  std::string audioDuration;
  // Video.
  int frameRate = 0;
  int videoBitrate = 0;  // bytes per second, whole file
  int videoLevel = 0;    // codec level as coded (H.264: 30 for 3.0)
};

// Progress of a directory scan: files examined so far of those found.
struct ScanProgress {
  long long done = 0;
  long long total = 0;
  long long registered = 0;  // new or updated rows
  long long removed = 0;
  long long skipped = 0;  // unreadable or unsupported
  bool finished = false;
};
// Called on the scanning thread after each file and once at the end.
using ScanProgressListener = void (*)(const ScanProgress& progress, void* context);

class DirectoryScanner {
 public:
  // Each GetInstance must be matched by one DestroyInstance; the instance
  // goes when the last holder releases it. Never null unless out of memory.
  static DirectoryScanner* GetInstance();
  static void DestroyInstance();

  // The protocolInfo list (comma-separated "http-get:*:MIME:DLNA.ORG_PN=..")
  // whose profiles the scanner may assign. A profile of a media kind that the
  // list does not mention at all is still assigned when the file fits it, so
  // that a list naming only images and video keeps audio profiles. 0, or 1
  // for null.
  int SetDlnaProfiles(const char* protocolInfoList);

  // Registers every media file under `root` (recursively), updates changed
  // ones, removes rows of files that vanished from under `root`. *changed
  // (when not null) becomes 1 when any row changed. 0 success, 1 when the
  // database cannot be used or `root` is not a folder. A cancelled scan stops
  // between two files, keeps what it wrote and removes nothing.
  int ScanDir(const char* root, const char* dbPath, int* changed);
  // The same over the camera's DCF layout only: root/DCIM/NNNXXXXX/XXXXNNNN.EXT
  // (three digits then five name characters; four characters then four
  // digits). Other folders and names are ignored, and registered files
  // outside the layout are removed.
  int scanDcf(const char* root, const char* dbPath, int* changed);

  // Registers or updates one file. `objectID` (may be null) names a row that
  // object creation reserved for it; otherwise the row is found by path or
  // made. `share` becomes the Share column (images and videos). Returns the
  // container ID of the file's kind (1 image, 2 audio, 3 video), or -1 when
  // the file cannot be parsed or written.
  int ParseAndRegisterFile(const char* dbPath, const char* filePath, const char* objectID = nullptr,
                           int share = 1);
  // Removes the rows of a file (deleted from the media folder). The container
  // ID of its kind, 0 when it had no rows, -1 on a database error.
  int RemoveFile(const char* dbPath, const char* filePath);
  // Removes the rows of every file recorded outside all of `folders` (a
  // folder no longer served must not stay browsable). The number of files
  // removed, -1 on a database error.
  static long long ForgetOutside(const char* dbPath, const std::vector<std::string>& folders);
  // Removes the rows of every file recorded below `folder` (a media folder
  // that has gone), in one transaction. The number of files removed, -1 on a
  // database error.
  static long long ForgetFolder(const char* dbPath, const std::string& folder);
  // The metadata of one file without touching the database; false when the
  // file is not a supported media file.
  bool ParseAndGetFileInfo(const char* filePath, ScannedMedia* media);

  // The cancel flag is process-wide: Cancel() stops the running scans; the
  // flag stays set until the next scan starts, so a caller can still see
  // after the scan that it was cancelled.
  static void Cancel();
  static bool GetCancelFlag();

  static void SetProgressListener(ScanProgressListener listener, void* context);

  // Whether a scan looks at a file of this name (by its extension; movie
  // sidecar thumbnails ".THM" are not media of their own).
  static bool IsMediaFileName(const char* path);
  // Symbolic links to files outside the scanned folder are skipped (with a
  // log line) unless this is set; process-wide, off by default.
  static void SetFollowSymlinks(bool follow);
  // Whether `path` is such a link with regard to the media folder `root`.
  static bool IsLinkOutside(const char* root, const char* path);
  // Whether `path` lies in the DCF layout below `root` (what scanDcf takes).
  static bool IsDcfPath(const char* root, const char* path);

 private:
  DirectoryScanner() = default;
  ~DirectoryScanner() = default;
  int __Scan(const char* root, const char* dbPath, int* changed, bool dcf);
  std::string __Profiles();

  std::mutex mutex_;
  std::string profiles_;
};

#endif  // DMS_SCANNER_DIRECTORY_SCANNER_H
