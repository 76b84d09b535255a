// TemporaryContentsManager: objects that a client created (CreateObject)
// whose file has not arrived yet. Each entry carries an auto-destroy timer:
// when no upload claims the object within 35 s, the timer destroys it through
// the content engine (rows and placeholder file) and the destruction's answer
// removes the entry.
//
// Thread safety: every member may be called from any thread. The entries are
// guarded by the recursive mutex "TempContManagerMutex". Readers get copies
// (findContent, contentsIn) that stay valid however long they are kept; the
// few changes callers make to an entry go through members that find it and
// change it under the mutex (restartAutoDestroyTimer, ClaimUpload,
// ReleaseUpload, SetTransferID). A TemporaryContentsLock holds the mutex
// across several such calls. The pointers of GetContentInformation and
// GetContentList are valid only while the caller holds that lock. The
// auto-destroy callback runs on the timer thread and releases the mutex
// before calling the engine.
#ifndef DMS_CONTENT_TEMPORARY_CONTENTS_MANAGER_H
#define DMS_CONTENT_TEMPORARY_CONTENTS_MANAGER_H

#include <pthread.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

class ContentsEnumeratorArgument;
class DMSAppString;
class DMSCDSList;

// One temporary content, owning its strings and its record.
struct TempContentInfo {
  TempContentInfo();
  ~TempContentInfo();
  TempContentInfo(const TempContentInfo&) = delete;
  TempContentInfo& operator=(const TempContentInfo&) = delete;

  std::unique_ptr<DMSAppString> containerID;  // decimal content type: "1", "2" or "3"
  std::unique_ptr<DMSAppString> contentID;    // also the name of its timer
  std::unique_ptr<DMSAppString> importURI;
  std::unique_ptr<ContentsEnumeratorArgument> record;
  unsigned int transferID = 0;  // 0 until an import sets it
  // The auto-destroy timer, 0 when none. Whoever replaces the timer (the
  // upload handlers restart it) does so through restartAutoDestroyTimer, so
  // that the callback recognises the new one.
  unsigned long timerHandle = 0;
  int contentType = 0;
  // The transfer-server connection writing the file, 0 when none: one
  // upload at a time per object, so a file is never written twice at once.
  int uploadConnection = 0;
};

// A copy of one entry, the caller's own: it stays valid after the lock is
// gone and after the entry has been removed. A text the entry lacks is "".
struct TempContentSnapshot {
  std::string containerID;
  std::string contentID;
  std::string importURI;
  std::string filePath;  // the record's file path
  unsigned int transferID = 0;
  unsigned long timerHandle = 0;
  int contentType = 0;
  int uploadConnection = 0;
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

  // Copies of the entries in that container, in the order they were added;
  // empty when none match.
  std::vector<TempContentSnapshot> contentsIn(DMSAppString* containerID);
  int GetTotalMatches(DMSAppString* containerID);
  // A copy of the entry whose record's file path equals `filePath` (logged
  // as by GetContentInformation), or nullopt.
  std::optional<TempContentSnapshot> findContent(DMSAppString* filePath);
  // A copy of the entry with that transfer ID (never 0), or nullopt.
  std::optional<TempContentSnapshot> findContent(unsigned int transferID);
  // Deletes the auto-destroy timer of the entry with that content ID and
  // starts a new one of GetAutoDestroyDelay(), which the entry keeps: an
  // upload or import in progress keeps its object alive this way. The new
  // handle; 0 for no such entry, or when no timer could be made (the entry
  // is then left without one).
  unsigned long restartAutoDestroyTimer(const std::string& contentID);

  // ---- The entries themselves: only for a caller holding a
  // TemporaryContentsLock, since the pointers die with the lock (and with
  // the entry). Readers use the copies above. ----
  // A new list of the entries (borrowed) in that container; the caller
  // empties it without deleter and deletes it. Null when none match.
  DMSCDSList* GetContentList(DMSAppString* containerID);
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

  // Finders; the caller holds the mutex.
  TempContentInfo* findByContentID(const char* id);
  TempContentInfo* findByFilePath(const DMSAppString* filePath);
  // Copies the IDs of the entry whose timer is `timer` and forgets the
  // timer (it is deleted by the timer service once the callback returns).
  bool takeExpired(unsigned long timer, std::unique_ptr<DMSAppString>* containerID,
                   std::unique_ptr<DMSAppString>* contentID);

  // Owns its entries (TempContentInfo), released when they are removed.
  std::unique_ptr<DMSCDSList> entries_;
  pthread_mutex_t* mutex_;
};

// Holds "TempContManagerMutex" of `manager` (none for null) for a scope, so
// that several calls see and change the entries as one step. Entry pointers
// found through it are valid only inside that scope; copies stay valid.
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

  // findContent under this lock; nullopt without a manager.
  std::optional<TempContentSnapshot> contentOf(DMSAppString* filePath) const {
    return manager_ == nullptr ? std::nullopt : manager_->findContent(filePath);
  }
  std::optional<TempContentSnapshot> contentOf(unsigned int transferID) const {
    return manager_ == nullptr ? std::nullopt : manager_->findContent(transferID);
  }
  // restartAutoDestroyTimer under this lock; 0 without a manager.
  unsigned long restartAutoDestroyTimer(const std::string& contentID) const {
    return manager_ == nullptr ? 0 : manager_->restartAutoDestroyTimer(contentID);
  }
  // GetContentInformation under this lock; null without a manager. The
  // pointer is valid only inside this lock's scope.
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
