// DMSAppActionInfo, AppArgumentList and the argument-list helpers.
#include "action_info.h"

#include <memory>
#include <new>

#include "dms_list.h"
#include "dms_string.h"

namespace {

int deleteArgument(void* data) {
  delete static_cast<AppArgumentList*>(data);
  return 0;
}

void replace(DMSAppString** held, const DMSAppString* s) {
  DMSAppString* copy = dms_cds::copyString(s);
  delete *held;
  *held = copy;
}

}  // namespace

AppArgumentList::~AppArgumentList() {
  delete name;
  delete value;
}

DMSAppActionInfo::DMSAppActionInfo(int connectionID, int actionID, const DMSAppString* serviceName,
                                   const DMSAppString* actionName, const DMSAppString* ipAddress,
                                   DMSCDSList* argList)
    : connectionID_(connectionID), actionID_(actionID) {
  // Copied first, so that a copy that throws leaves nothing behind and the
  // argument list with the caller.
  std::unique_ptr<DMSAppString> service(dms_cds::copyString(serviceName));
  std::unique_ptr<DMSAppString> action(dms_cds::copyString(actionName));
  std::unique_ptr<DMSAppString> address(dms_cds::copyString(ipAddress));
  serviceName_ = service.release();
  actionName_ = action.release();
  ipAddress_ = address.release();
  argList_ = argList;
}

DMSAppActionInfo::~DMSAppActionInfo() {
  dms_cds::deleteArgumentList(argList_);
  delete ipAddress_;
  delete serviceName_;
  delete actionName_;
}

void DMSAppActionInfo::SetServiceName(const DMSAppString* s) { replace(&serviceName_, s); }

void DMSAppActionInfo::SetActionName(const DMSAppString* s) { replace(&actionName_, s); }

void DMSAppActionInfo::SetIPAddress(const DMSAppString* s) { replace(&ipAddress_, s); }

int DMSAppActionInfo::SetArgList(DMSCDSList* list) {
  if (list == nullptr) return 1;
  if (list != argList_) dms_cds::deleteArgumentList(argList_);
  argList_ = list;
  return 0;
}

namespace dms_cds {

DMSAppString* copyString(const DMSAppString* s) {
  if (s == nullptr) return nullptr;
  return new (std::nothrow) DMSAppString(s);
}

DMSAppString* newString(const std::string& text) {
  auto* s = new (std::nothrow) DMSAppString(text.c_str());
  if (s != nullptr && s->ReadString() == nullptr) {
    delete s;
    return nullptr;
  }
  return s;
}

void deleteArgumentList(DMSCDSList* list) {
  if (list == nullptr) return;
  list->RemoveAllListItem(deleteArgument);
  delete list;
}

int appendArgument(DMSCDSList* list, const char* name, DMSAppString* value) {
  auto* argument = new (std::nothrow) AppArgumentList();
  if (list == nullptr || argument == nullptr) {
    delete argument;
    delete value;
    return 1;
  }
  argument->value = value;
  argument->name = new (std::nothrow) DMSAppString(name);
  if (argument->name == nullptr || list->AddItem(argument) != 0) {
    delete argument;
    return 1;
  }
  return 0;
}

int argumentCount(const DMSAppActionInfo* record) {
  if (record == nullptr || record->ReadArgList() == nullptr) return 0;
  return record->ReadArgList()->Size();
}

}  // namespace dms_cds
