// Argument checks and decoding of the ContentDirectory actions that take
// arguments. Each decoder applies its action's rules to the record's
// in-arguments and fills a small request for the object that will serve the
// action.
//
// Rules common to all: the argument count is checked first; the arguments
// are then walked in order, an argument without a name is skipped, a null
// value is first replaced by an empty string (in the record), names are
// matched ignoring case and values are compared exactly, and when a name
// occurs twice the later value wins. The first refused argument ends the
// walk.
//
// Results: 0 when the request may go ahead (a field whose argument never
// appeared stays null); otherwise the result code to end the action with
// (1 for fault 501, or the UPnP error code). Every refusal is logged with the
// texts control-point logs are matched against.
//
// Thread safety: a record belongs to the calling thread; the decoders keep no
// state.
#ifndef DMS_CDS_ACTION_ARGUMENTS_H
#define DMS_CDS_ACTION_ARGUMENTS_H

#include <memory>
#include <new>

#include "action_info.h"
#include "dms_list.h"
#include "dms_string.h"

class BrowseSearchArgument;
class DMSAppActionInfo;

namespace dms_cds {

struct CreateObjectRequest {
  std::unique_ptr<DMSAppString> containerID;  // the part after the first "$"
  std::unique_ptr<DMSAppString> elements;     // XML-unescaped
};

// ImportResource and ExportResource; both URIs XML-unescaped.
struct ResourceRequest {
  std::unique_ptr<DMSAppString> sourceURI;
  std::unique_ptr<DMSAppString> destinationURI;
};

// Fills `out` from the Browse arguments: container and parent IDs ("P$C":
// parent P, object C; otherwise the parent of "0" is "-1", of any other "0"),
// BrowseFlag, Filter ("" becomes "*"), StartingIndex, RequestedCount (0 means
// all, cut to kMaxBrowseRequestedCount), SortCriteria, and the base URL
// "http://LOCAL-ADDRESS:PORT". Reads the state variable "SortCapabilities" of
// `serviceType` for the SortCriteria check, and the local address facing the
// control point and the streaming port for the base URL. Codes: 402, 603,
// 701, 709, 1.
int decodeBrowseArguments(DMSAppActionInfo* record, const DMSAppString* serviceType,
                          BrowseSearchArgument* out);
// Codes: 402, 1 (no memory).
int decodeCreateObjectArguments(DMSAppActionInfo* record, CreateObjectRequest* out);
int decodeImportResourceArguments(DMSAppActionInfo* record, ResourceRequest* out);
int decodeExportResourceArguments(DMSAppActionInfo* record, ResourceRequest* out);
// `objectID` is the ObjectID as given. Code: 402.
int decodeDestroyObjectArguments(DMSAppActionInfo* record, std::unique_ptr<DMSAppString>* objectID);
// Codes: 402; an unknown argument name gives 1 for StopTransferResource but
// 402 for GetTransferProgress (control points rely on each).
int decodeStopTransferResourceArguments(DMSAppActionInfo* record,
                                        std::unique_ptr<DMSAppString>* transferID);
int decodeGetTransferProgressArguments(DMSAppActionInfo* record,
                                       std::unique_ptr<DMSAppString>* transferID);

// ---- Shared by the decoders ----

// Calls visit(name, value) for each argument that has a name, after a null
// value became an empty string. Stops at the first non-zero result and
// returns it; 1 if an empty value cannot be allocated.
template <typename Visit>
int forEachArgument(DMSAppActionInfo* record, Visit visit);

// A new string holding `count` bytes of `s` from `start` (an empty string
// when count is 0); null when memory runs out.
std::unique_ptr<DMSAppString> copyBytes(const DMSAppString& s, unsigned int start,
                                        unsigned int count);
// The text of `s` after its first "$", or all of it when it has none.
std::unique_ptr<DMSAppString> textAfterFirstDollar(const DMSAppString& s);
// Logs "[UPnPAppCDS::HANDLER] Invalid arguments!!!, UPnPError = 402" and
// returns 402.
int refuseArgumentCount(const char* handler);

// ---- Template definitions ----

template <typename Visit>
int forEachArgument(DMSAppActionInfo* record, Visit visit) {
  DMSCDSList* list = record != nullptr ? record->ReadArgList() : nullptr;
  if (list == nullptr) return 0;
  for (const stDMSCDSListItem* item = list->ReadFirstItem(); item != nullptr; item = item->next) {
    auto* argument = static_cast<AppArgumentList*>(item->data);
    if (argument == nullptr || argument->name == nullptr) continue;
    if (argument->value == nullptr) {
      argument->value = new (std::nothrow) DMSAppString("");
      if (argument->value == nullptr) return 1;
    }
    const int result = visit(*argument->name, *argument->value);
    if (result != 0) return result;
  }
  return 0;
}

}  // namespace dms_cds

#endif  // DMS_CDS_ACTION_ARGUMENTS_H
