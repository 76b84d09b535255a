// TemporaryContentsManager: objects that a client created (CreateObject)
// whose file has not arrived yet. Each entry carries an auto-destroy timer:
// when no upload claims the object within 35 s, the timer destroys it through
// the content engine (rows and placeholder file) and the destruction's answer
// removes the entry.
//
// Thread safety: every member may be called from any thread. The entries are
// guarded by the recursive mutex "TempContManagerMutex"; pointers to entries
// (GetContentInformation, GetContentList) are valid only while the caller
// holds it, through a TemporaryContentsLock. The auto-destroy callback runs
// on the timer thread and releases the mutex before calling the engine.
#ifndef DMS_CONTENT_TEMPORARY_CONTENTS_MANAGER_H
#define DMS_CONTENT_TEMPORARY_CONTENTS_MANAGER_H

#include <pthread.h>

class ContentsEnumeratorArgument;
class DMSAppString;
class DMSCDSList;

// One temporary content. The strings and the record are owned by the entry.
struct TempContentInfo {
  DMSAppString* containerID;  // decimal content type: "1", "2" or "3"
  DMSAppString* contentID;    // also the name of its timer
  DMSAppString* importURI;
  ContentsEnumeratorArgument* record;
  unsigned int transferID;  // 0 until an import sets it
  // The auto-destroy timer, 0 when none. Whoever replaces the timer (the
  // upload handlers restart it) stores the new handle here, under the mutex,
  // so that the callback recognises it.
  unsigned long timerHandle;
  int contentType;
  // The transfer-server connection writing the file, 0 when none: one
  // upload at a time per object, so a file is never written twice at once.
  int uploadConnection;
};

class TemporaryContentsManager {
 public:
  static TemporaryContentsManager* GetInstance();
  // The instance if one exists, without creating it (for bookkeeping that
  // must not bring a destroyed manager back).
  static TemporaryContentsManager* existingInstance();
  // Deletes every entry's timer and the entries.
  static void DestroyInstance();

  // Takes a copy of `id` and ownership of `record` (also on failure), builds
  // the entry and starts its 35 s timer. 1, or 0 for a null argument or no
  // memory (logged). An entry whose timer cannot be made is kept without.
  int AddContent(DMSAppString* id, ContentsEnumeratorArgument* record);
  // Removes the entry with that content ID, deleting its timer. 1 when
  // found; 0 otherwise (null is not logged).
  int RemoveContent(DMSAppString* id);
  // The timer callback (DMSAppTimerCallback): destroys the content of the
  // entry whose timer fired, through NUVCEDestroyContent.
  static void AutoDestroyCallback(unsigned long timer, unsigned long param, bool expired);

  // A new list of the entries (borrowed) in that container; the caller
  // empties it without deleter and deletes it. Null when none match.
  DMSCDSList* GetContentList(DMSAppString* containerID);
  int GetTotalMatches(DMSAppString* containerID);
  // The entry whose record's file path equals `filePath`, or null.
  TempContentInfo* GetContentInformation(DMSAppString* filePath);
  // The entry with that transfer ID (never 0), or null.
  TempContentInfo* GetContentInformation(unsigned int transferID);
  // Makes `connection` (> 0) the one upload of the entry whose record's file
  // path is `filePath`: 1 when it holds it (now or already), 0 when there is
  // no such entry or another connection holds it.
  int ClaimUpload(DMSAppString* filePath, int connection);
  // Gives the entry up again if `connection` holds it.
  void ReleaseUpload(DMSAppString* filePath, int connection);
  // 1 when an entry has that import URI, else 0.
  int CheckContent(DMSAppString* importURI);
  // 1 when the entry with that import URI took the transfer ID, else 0.
  int SetTransferID(DMSAppString* importURI, unsigned int transferID);

  // Test seam: the auto-destroy delay of entries added from now on
  // (content_limits::kTempContentLifetimeMs by default).
  static void SetAutoDestroyDelayForTest(unsigned long milliseconds);
  static unsigned long GetAutoDestroyDelay();

 private:
  // Taken and given back through TemporaryContentsLock only.
  friend class TemporaryContentsLock;
  int AcquireMutex();
  int ReleaseMutex();

  TemporaryContentsManager();
  ~TemporaryContentsManager();
  TemporaryContentsManager(const TemporaryContentsManager&) = delete;
  TemporaryContentsManager& operator=(const TemporaryContentsManager&) = delete;

  static void freeEntry(TempContentInfo* entry);
  TempContentInfo* findByContentID(const DMSAppString* id);
  // Copies the IDs of the entry whose timer is `timer` and forgets the
  // timer (it is deleted by the timer service once the callback returns).
  bool takeExpired(unsigned long timer, DMSAppString** containerID, DMSAppString** contentID);

  DMSCDSList* entries_;
  pthread_mutex_t* mutex_;
};

// Holds "TempContManagerMutex" of `manager` (none for null) for a scope;
// entries found through it are valid only inside that scope.
class TemporaryContentsLock {
 public:
  explicit TemporaryContentsLock(TemporaryContentsManager* manager) : manager_(manager) {
    if (manager_ != nullptr) manager_->AcquireMutex();
  }
  ~TemporaryContentsLock() {
    if (manager_ != nullptr) manager_->ReleaseMutex();
  }
  TemporaryContentsLock(const TemporaryContentsLock&) = delete;
  TemporaryContentsLock& operator=(const TemporaryContentsLock&) = delete;

  // GetContentInformation under this lock; null without a manager.
  TempContentInfo* entryOf(DMSAppString* filePath) const {
    return manager_ == nullptr ? nullptr : manager_->GetContentInformation(filePath);
  }
  TempContentInfo* entryOf(unsigned int transferID) const {
    return manager_ == nullptr ? nullptr : manager_->GetContentInformation(transferID);
  }
  TemporaryContentsManager* manager() const { return manager_; }

 private:
  TemporaryContentsManager* manager_;
};

#endif  // DMS_CONTENT_TEMPORARY_CONTENTS_MANAGER_H
