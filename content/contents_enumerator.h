// ContentsEnumerator: what the container tree asks of the enumerator behind
// each container. Listing, lookup, destruction and reservation answers go out
// asynchronously through NotifyCDSWLResponse (dms_content_engine.h) on the
// thread that called; the content engine calls them only on its own thread.
#ifndef DMS_CONTENT_CONTENTS_ENUMERATOR_H
#define DMS_CONTENT_CONTENTS_ENUMERATOR_H

class ContentsEnumeratorArgument;
class DMSAppString;
class DMSCDSList;

class ContentsEnumerator {
 public:
  virtual ~ContentsEnumerator() = default;

  // Number of items, or -1 for an unknown kind.
  virtual int GetTotalMatches(unsigned int requestID, DMSAppString* containerID) = 0;
  // Answers with a record list (response type 6). 0 when answered with a
  // list request, 1 when answered with a failure.
  virtual int GetContents(unsigned int requestID, DMSAppString* containerID, unsigned int start,
                          unsigned int count, bool flag) = 0;
  // Answers whether the item exists (response type 7).
  virtual int GetContent(unsigned int requestID, DMSAppString* containerID, DMSAppString* id,
                         bool flag) = 0;
  // Answers with a record list (response type 6) holding the one listed
  // item `id`, or none. 0 when answered with a list, 1 with a failure.
  virtual int GetContentRecord(unsigned int requestID, DMSAppString* containerID,
                               DMSAppString* id) = 0;
  // Deletes the item with its file (response type 2).
  virtual int DestroyContent(unsigned int requestID, DMSAppString* containerID,
                             DMSAppString* id) = 0;
  // Takes ownership of `record`, reserves its ID (response type 10).
  virtual int ReserveNewContentID(unsigned int requestID, ContentsEnumeratorArgument* record) = 0;
  // Stubs of the engine interface: they answer nothing and return 1.
  virtual int CreateContent(unsigned int requestID, ContentsEnumeratorArgument* record) = 0;
  virtual int GetSubContainerList(unsigned int requestID, DMSAppString* containerID,
                                  DMSCDSList** list) = 0;
  virtual int ModifyEventReceived(unsigned int requestID, DMSAppString* containerID) = 0;
};

#endif  // DMS_CONTENT_CONTENTS_ENUMERATOR_H
