#include "browse_search_argument.h"

#include "dms_string.h"

BrowseSearchArgument::~BrowseSearchArgument() {
  delete filter_;
  delete containerID_;
  delete parentContainerID_;
  delete queryString_;
  delete sortCriteria_;
  delete baseURL_;
}

void BrowseSearchArgument::replace(DMSAppString*& field, DMSAppString* s) {
  if (field == s) return;
  delete field;
  field = s;
}

void BrowseSearchArgument::SetFilter(DMSAppString* s) { replace(filter_, s); }
void BrowseSearchArgument::SetContainerID(DMSAppString* s) { replace(containerID_, s); }
void BrowseSearchArgument::SetParentContainerID(DMSAppString* s) { replace(parentContainerID_, s); }
void BrowseSearchArgument::SetQueryString(DMSAppString* s) { replace(queryString_, s); }
void BrowseSearchArgument::SetSortCriteria(DMSAppString* s) { replace(sortCriteria_, s); }
void BrowseSearchArgument::SetBaseURL(DMSAppString* s) { replace(baseURL_, s); }
