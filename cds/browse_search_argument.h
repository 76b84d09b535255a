// BrowseSearchArgument: the decoded arguments of one Browse (the type is
// shared with Search, which has no engine). All numbers start at 0 and all
// strings null; the string setters take ownership of their argument
// (replacing and deleting the previous string), and the getters lend the held
// string (valid until replaced or the argument is deleted).
//
// Thread safety: none; an argument belongs to one Browse at a time.
#ifndef DMS_CDS_BROWSE_SEARCH_ARGUMENT_H
#define DMS_CDS_BROWSE_SEARCH_ARGUMENT_H

class DMSAppString;

class BrowseSearchArgument {
 public:
  BrowseSearchArgument() = default;
  // Deletes the six strings.
  ~BrowseSearchArgument();
  BrowseSearchArgument(const BrowseSearchArgument&) = delete;
  BrowseSearchArgument& operator=(const BrowseSearchArgument&) = delete;

  int GetReturnedCount() const { return returnedCount_; }
  void SetReturnedCount(int n) { returnedCount_ = n; }
  // 0 means all; the action layer never stores more than 100.
  int GetRequestedCount() const { return requestedCount_; }
  void SetRequestedCount(int n) { requestedCount_ = n; }
  int GetStartIndex() const { return startIndex_; }
  void SetStartIndex(int n) { startIndex_ = n; }
  int GetTotalMatches() const { return totalMatches_; }
  void SetTotalMatches(int n) { totalMatches_ = n; }
  int GetUpdateID() const { return updateID_; }
  void SetUpdateID(int n) { updateID_ = n; }

  // The Filter ("" became "*").
  DMSAppString* GetFilter() const { return filter_; }
  void SetFilter(DMSAppString* s);
  // The object asked for: a container ID, or an item's content ID.
  DMSAppString* GetContainerID() const { return containerID_; }
  void SetContainerID(DMSAppString* s);
  // An item's container ID; for a container "-1" (the root "0") or "0".
  DMSAppString* GetParentContainerID() const { return parentContainerID_; }
  void SetParentContainerID(DMSAppString* s);
  // The BrowseFlag: "BrowseMetadata" or "BrowseDirectChildren".
  DMSAppString* GetQueryString() const { return queryString_; }
  void SetQueryString(DMSAppString* s);
  // Kept, not applied.
  DMSAppString* GetSortCriteria() const { return sortCriteria_; }
  void SetSortCriteria(DMSAppString* s);
  // "http://LOCAL-ADDRESS:PORT", the base of res URIs.
  DMSAppString* GetBaseURL() const { return baseURL_; }
  void SetBaseURL(DMSAppString* s);

 private:
  static void replace(DMSAppString*& field, DMSAppString* s);

  int returnedCount_ = 0;
  int requestedCount_ = 0;
  int startIndex_ = 0;
  int totalMatches_ = 0;
  int updateID_ = 0;
  DMSAppString* filter_ = nullptr;
  DMSAppString* containerID_ = nullptr;
  DMSAppString* parentContainerID_ = nullptr;
  DMSAppString* queryString_ = nullptr;
  DMSAppString* sortCriteria_ = nullptr;
  DMSAppString* baseURL_ = nullptr;
};

#endif  // DMS_CDS_BROWSE_SEARCH_ARGUMENT_H
