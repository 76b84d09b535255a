// The record of one received ContentDirectory action (DMSAppActionInfo) and
// its name/value arguments (AppArgumentList), with the helpers that build and
// free argument lists.
//
// Ownership: a DMSAppActionInfo owns its strings and its argument list with
// every AppArgumentList in it. The same AppArgumentList record carries
// out-arguments to the SOAP generator, where a value must already be
// XML-escaped.
//
// Thread safety: none; a record belongs to one thread at a time (the stack's
// thread that received it, then the implementation object serving it).
#ifndef DMS_CDS_ACTION_INFO_H
#define DMS_CDS_ACTION_INFO_H

#include <memory>
#include <string>

class DMSAppString;
class DMSCDSList;

// One argument. Both strings start null and are deleted with the record.
class AppArgumentList {
 public:
  AppArgumentList() = default;
  ~AppArgumentList();

  AppArgumentList(const AppArgumentList&) = delete;
  AppArgumentList& operator=(const AppArgumentList&) = delete;

  DMSAppString* name = nullptr;
  DMSAppString* value = nullptr;
};

class DMSAppActionInfo {
 public:
  // Copies the three strings (a null string stays null) and takes ownership
  // of `argList`, a list of AppArgumentList (may be null).
  DMSAppActionInfo(int connectionID, int actionID, const DMSAppString* serviceName,
                   const DMSAppString* actionName, const DMSAppString* ipAddress,
                   DMSCDSList* argList);
  // Frees the argument list with its items, then the IP address, the service
  // name and the action name.
  ~DMSAppActionInfo();

  DMSAppActionInfo(const DMSAppActionInfo&) = delete;
  DMSAppActionInfo& operator=(const DMSAppActionInfo&) = delete;

  int GetConnectionID() const { return connectionID_; }
  void SetConnectionID(int id) { connectionID_ = id; }
  int GetActionID() const { return actionID_; }
  void SetActionID(int id) { actionID_ = id; }

  // The held strings, not copies; may be null. Valid until replaced or until
  // the record is deleted.
  DMSAppString* ReadServiceName() const { return serviceName_; }
  DMSAppString* ReadActionName() const { return actionName_; }
  DMSAppString* ReadIPAddress() const { return ipAddress_; }
  // The setters replace the held string by a copy of `s` (null clears it);
  // the caller keeps its own string.
  void SetServiceName(const DMSAppString* s);
  void SetActionName(const DMSAppString* s);
  void SetIPAddress(const DMSAppString* s);

  // The in-arguments in the order the stack delivered them; may be null.
  DMSCDSList* ReadArgList() const { return argList_; }
  // 1 for a null list (nothing changes). Otherwise frees the current list
  // with its items, adopts `list` and returns 0.
  int SetArgList(DMSCDSList* list);

 private:
  int connectionID_;
  int actionID_;
  DMSAppString* serviceName_ = nullptr;
  DMSAppString* actionName_ = nullptr;
  DMSAppString* ipAddress_ = nullptr;
  DMSCDSList* argList_ = nullptr;
};

namespace dms_cds {

// A new copy of `s`; null for null or when memory runs out.
DMSAppString* copyString(const DMSAppString* s);
// A new string holding `text`; null when memory runs out.
DMSAppString* newString(const std::string& text);

// Deletes every AppArgumentList in `list` and then the list. Null is ignored.
void deleteArgumentList(DMSCDSList* list);

// An argument list owned by a scope (deleted with deleteArgumentList).
struct ArgumentListDeleter {
  void operator()(DMSCDSList* list) const { deleteArgumentList(list); }
};
using ArgumentListPtr = std::unique_ptr<DMSCDSList, ArgumentListDeleter>;

// Appends an argument named `name` (copied) holding `value` (adopted, also on
// failure, when it is deleted). 0, or 1 for a null list or when memory runs
// out.
int appendArgument(DMSCDSList* list, const char* name, DMSAppString* value);

// Number of arguments in the record's list (0 for a null record or list).
int argumentCount(const DMSAppActionInfo* record);

}  // namespace dms_cds

#endif  // DMS_CDS_ACTION_INFO_H
