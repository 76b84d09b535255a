// MultiMediaDBEnumerator: the enumerator of one media kind, backed by the
// database connector. Kind 1 images (from the cache outside DLNA
// certification mode), 2 audio, 3 video; kind 0 (the root and new
// containers) lists nothing but can still reserve IDs.
//
// Thread safety: stateless after construction; may be called from any
// thread (answers go out on the calling thread).
#ifndef DMS_CONTENT_MULTIMEDIA_DB_ENUMERATOR_H
#define DMS_CONTENT_MULTIMEDIA_DB_ENUMERATOR_H

#include <memory>

#include "contents_enumerator.h"

class MultiMediaDbConnector;

class MultiMediaDBEnumerator : public ContentsEnumerator {
 public:
  // Copies `basePath` (may be null).
  MultiMediaDBEnumerator(DMSAppString* basePath, unsigned int kind);
  ~MultiMediaDBEnumerator() override;
  MultiMediaDBEnumerator(const MultiMediaDBEnumerator&) = delete;
  MultiMediaDBEnumerator& operator=(const MultiMediaDBEnumerator&) = delete;

  unsigned int GetKind() const { return kind_; }

  int GetTotalMatches(unsigned int requestID, DMSAppString* containerID) override;
  int GetContents(unsigned int requestID, DMSAppString* containerID, unsigned int start,
                  unsigned int count, bool flag) override;
  int GetContentRecord(unsigned int requestID, DMSAppString* containerID,
                       DMSAppString* id) override;
  int GetContent(unsigned int requestID, DMSAppString* containerID, DMSAppString* id,
                 bool flag) override;
  int DestroyContent(unsigned int requestID, DMSAppString* containerID, DMSAppString* id) override;
  int ReserveNewContentID(unsigned int requestID, ContentsEnumeratorArgument* record) override;
  int CreateContent(unsigned int requestID, ContentsEnumeratorArgument* record) override;
  int GetSubContainerList(unsigned int requestID, DMSAppString* containerID,
                          DMSCDSList** list) override;
  int ModifyEventReceived(unsigned int requestID, DMSAppString* containerID) override;

  // The MIME type of a file name from its extension (after the last "."),
  // ignoring case, as a new string; null for an unknown extension.
  DMSAppString* GetContentMIMEType(DMSAppString* fileName);

 private:
  // `size` records of this kind from `first`, from the database or the
  // caches as the mode asks; null when they are not all there.
  DMSCDSList* readPage(MultiMediaDbConnector* db, int first, int size) const;

  std::unique_ptr<DMSAppString> basePath_;
  unsigned int kind_;
};

#endif  // DMS_CONTENT_MULTIMEDIA_DB_ENUMERATOR_H
