// The daemon's media folders: the start-up scan with its progress line, then
// inotify watching of the folder tree (new subfolders included) so that
// files are registered when their writer closes them or they are moved in,
// and removed when deleted or moved out; each change is announced. A media
// folder that goes (removed, moved away, an unmounted card) takes its files
// with it; it is looked for every two seconds and scanned again when it is
// back. Rescans on request (SIGUSR1). Everything runs on one thread of its own, so the
// SOAP side is never blocked by the scanner.
#ifndef DMS_APP_MEDIA_WATCH_H
#define DMS_APP_MEDIA_WATCH_H

#include <string>
#include <vector>

struct MediaWatchOptions {
  std::vector<std::string> folders;  // no one inside another
  int connectionID = 0;
  bool dcf = false;         // only the DCF layout is registered
  bool watch = true;        // inotify after the first scan
  bool initialScan = true;  // false when ScanBeforeStart already ran
};

// Scans `folder` into `dbPath` on the calling thread, with the progress
// line, before the server starts (the DCF layout's listings are read into
// memory at start). True when the scan ran.
bool ScanBeforeStart(const std::string& folder, const std::string& dbPath, bool dcf);

// Starts the thread (scan first). False when it cannot start.
bool StartMediaWatch(const MediaWatchOptions& options);
// Asks for a full rescan (async-signal-unsafe: call from the signal loop).
void RequestMediaRescan();
// Cancels a running scan, stops watching and joins the thread.
void StopMediaWatch();

#endif  // DMS_APP_MEDIA_WATCH_H
