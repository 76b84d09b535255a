// Action, exception and access-control handles and their HNuv accessors.
#include "handles.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <new>

#include "nuv_dms.h"

namespace dmsstack {

namespace {

enum class Kind { Action, Exception, Acl };

// Recognises our records among arbitrary list items.
constexpr uint32_t kHandleMagic = 0x4e55564bu;

struct Record {
  uint32_t magic = kHandleMagic;
  Kind kind = Kind::Action;
  std::string name;  // action or device name
  std::string ip;    // control point, device or interface address
  std::string mac;
  stNUVAppList* arguments = nullptr;
  int type = 0;       // exception type or ACL mode
  int eventType = 0;  // ACL event type
};

std::atomic<int> gOutstanding{0};

// Null when out of memory; the copies of the strings may throw, and then
// nothing is left allocated.
Record* newRecord(Kind kind, const std::string& name, const std::string& ip,
                  const std::string& mac) {
  std::unique_ptr<Record> record(new (std::nothrow) Record());
  if (record == nullptr) return nullptr;
  record->kind = kind;
  record->name = name;
  record->ip = ip;
  record->mac = mac;
  return record.release();
}

stNUVAppList* wrap(Record* record) {
  stNUVAppList* handle = NUVListCreate();
  if (handle == nullptr || NUVListAddItem(handle, record) != 0) {
    NUVListDestroy(handle, nullptr);
    NUVListDestroy(record->arguments, NUVListFreePair);
    delete record;
    return nullptr;
  }
  gOutstanding.fetch_add(1);
  return handle;
}

Record* recordOf(stNUVAppList* handle, Kind kind) {
  if (NUVListGetCount(handle) != 1) return nullptr;
  auto* record = static_cast<Record*>(NUVListGetItemData(handle, 0));
  if (record == nullptr || record->magic != kHandleMagic || record->kind != kind) return nullptr;
  return record;
}

Record* anyRecordOf(stNUVAppList* handle) {
  if (NUVListGetCount(handle) != 1) return nullptr;
  auto* record = static_cast<Record*>(NUVListGetItemData(handle, 0));
  return record != nullptr && record->magic == kHandleMagic ? record : nullptr;
}

void destroy(stNUVAppList* handle, Record* record) {
  record->magic = 0;
  NUVListDestroy(record->arguments, NUVListFreePair);
  delete record;
  NUVListDestroy(handle, nullptr);
  gOutstanding.fetch_sub(1);
}

}  // namespace

stNUVAppList* makeActionRequest(const std::string& name, const std::string& ip,
                                const NameValueList& arguments) {
  Record* record = newRecord(Kind::Action, name, ip, "");
  if (record == nullptr) return nullptr;
  record->arguments = NUVListCreate();
  if (record->arguments == nullptr) {
    delete record;
    return nullptr;
  }
  for (const auto& argument : arguments) {
    if (NUVListAddArgument(record->arguments, argument.first.c_str(), argument.second.c_str()) !=
        0) {
      NUVListDestroy(record->arguments, NUVListFreePair);
      delete record;
      return nullptr;
    }
  }
  return wrap(record);
}

stNUVAppList* makeNicException(int type, const std::string& address) {
  Record* record = newRecord(Kind::Exception, "", address, "");
  if (record == nullptr) return nullptr;
  record->type = type;
  return wrap(record);
}

stNUVAppList* makeAclNotification(int mode, int eventType, const std::string& mac,
                                  const std::string& ip, const std::string& name) {
  Record* record = newRecord(Kind::Acl, name, ip, mac);
  if (record == nullptr) return nullptr;
  record->type = mode;
  record->eventType = eventType;
  return wrap(record);
}

int outstandingHandles() { return gOutstanding.load(); }

}  // namespace dmsstack

using dmsstack::Kind;
using dmsstack::recordOf;

extern "C" int HNuvDMSGetActionName(stNUVAppList* request, char** name) {
  dmsstack::Record* record = recordOf(request, Kind::Action);
  if (record == nullptr || name == nullptr) return 1;
  *name = &record->name[0];
  return 0;
}

// Also answers for an access-control notification (the device's address).
extern "C" int HNuvDMSGetCPIPAddress(stNUVAppList* request, char** ipAddress) {
  dmsstack::Record* record = dmsstack::anyRecordOf(request);
  if (record == nullptr || ipAddress == nullptr || record->kind == Kind::Exception) return 1;
  *ipAddress = &record->ip[0];
  return 0;
}

extern "C" int HNuvDMSGetActionArgumentList(stNUVAppList* request, stNUVAppList** arguments) {
  dmsstack::Record* record = recordOf(request, Kind::Action);
  if (record == nullptr || arguments == nullptr) return 1;
  *arguments = record->arguments;
  return 0;
}

extern "C" int HNuvDMSReleaseUIRequestData(stNUVAppList* request) {
  dmsstack::Record* record = dmsstack::anyRecordOf(request);
  if (record == nullptr || record->kind == Kind::Exception) return 1;
  dmsstack::destroy(request, record);
  return 0;
}

extern "C" int HNuvGetTypeOfException(stNUVAppList* exception) {
  dmsstack::Record* record = recordOf(exception, Kind::Exception);
  return record == nullptr ? -1 : record->type;
}

extern "C" int HNuvGetNICExceptionInfo(stNUVAppList* exception, char** address) {
  dmsstack::Record* record = recordOf(exception, Kind::Exception);
  if (record == nullptr || address == nullptr) return 1;
  *address = &record->ip[0];
  return 0;
}

extern "C" void HNuvReleaseExceptionResource(stNUVAppList* exception) {
  dmsstack::Record* record = recordOf(exception, Kind::Exception);
  if (record != nullptr) dmsstack::destroy(exception, record);
}

extern "C" int HNuvDMSGetACLTYPE(stNUVAppList* request) {
  dmsstack::Record* record = recordOf(request, Kind::Acl);
  return record == nullptr ? -1 : record->type;
}

extern "C" int HNuvDMSGetACLEventType(stNUVAppList* request) {
  dmsstack::Record* record = recordOf(request, Kind::Acl);
  return record == nullptr ? -1 : record->eventType;
}

extern "C" const char* HNuvDMSGetACLMacADDR(stNUVAppList* request) {
  dmsstack::Record* record = recordOf(request, Kind::Acl);
  return record == nullptr ? nullptr : record->mac.c_str();
}

extern "C" const char* HNuvDMSGetACLIPAddr(stNUVAppList* request) {
  dmsstack::Record* record = recordOf(request, Kind::Acl);
  return record == nullptr ? nullptr : record->ip.c_str();
}

extern "C" const char* HNuvDMSGetACLDeviceName(stNUVAppList* request) {
  dmsstack::Record* record = recordOf(request, Kind::Acl);
  return record == nullptr ? nullptr : record->name.c_str();
}
