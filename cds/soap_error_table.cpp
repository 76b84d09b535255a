// The error table of the fault bodies. Rows are looked up by walking from the
// top to the terminating row with code 0; the first match wins.
#include "soap_error_table.h"

#include <cstring>

namespace dms_cds {
namespace {

struct ErrorRow {
  int code;
  int service;
  const char* text;
};

struct ServiceRow {
  int number;
  const char* type;
};

// Codes below 701 are shared by every service; from 701 on each service has
// its own meanings. 801-804 are the camera's own codes, kept under
// ContentDirectory because camera actions arrive through that service.
constexpr ErrorRow kErrorTable[] = {
    {401, kServiceAny, "Invalid Action"},
    {402, kServiceAny, "Invalid Arguments"},
    {412, kServiceAny, "precondition failed"},
    {501, kServiceAny, "Action Failed"},
    {600, kServiceAny, "Argument Value Invalid"},
    {601, kServiceAny, "Argument Value Out of Range"},
    {602, kServiceAny, "Optional Action Not implemented"},
    {603, kServiceAny, "Out of Memory"},
    {604, kServiceAny, "Human Intervention Required"},
    {605, kServiceAny, "String Argument Too Long"},
    {606, kServiceAny, "Action not authorized"},
    {607, kServiceAny, "Signature failure"},
    {608, kServiceAny, "Signature missing"},
    {609, kServiceAny, "Not encrypted"},
    {610, kServiceAny, "Invalid Sequence"},
    {611, kServiceAny, "Invalid control URL"},
    {612, kServiceAny, "No such session"},

    {701, kServiceContentDirectory, "No such object"},
    {702, kServiceContentDirectory, "Invalid CurrentTagValue"},
    {703, kServiceContentDirectory, "Invalid NewTagValue"},
    {704, kServiceContentDirectory, "Required tag"},
    {705, kServiceContentDirectory, "Read only tag"},
    {706, kServiceContentDirectory, "Parameter Mismatch"},
    {708, kServiceContentDirectory, "Unsupported or invalid search criteria"},
    {709, kServiceContentDirectory, "Unsupported or invalid sort criteria"},
    {710, kServiceContentDirectory, "No such container"},
    {711, kServiceContentDirectory, "Restricted object"},
    {712, kServiceContentDirectory, "Bad metadata"},
    {713, kServiceContentDirectory, "Restricted parent object"},
    {714, kServiceContentDirectory, "No such source resource"},
    {715, kServiceContentDirectory, "Source resource access denied"},
    {716, kServiceContentDirectory, "Transfer busy"},
    {717, kServiceContentDirectory, "No such file transfer"},
    {718, kServiceContentDirectory, "No such destination resource"},
    {719, kServiceContentDirectory, "Destination resource access denied"},
    {720, kServiceContentDirectory, "Cannot process the request"},
    {721, kServiceContentDirectory, "Restricted source parent object"},
    {722, kServiceContentDirectory, "Incompatible parent class"},
    {723, kServiceContentDirectory, "Illegal destination"},
    {801, kServiceContentDirectory, "Open the pop-up flash"},
    {802, kServiceContentDirectory, "Flash is not available"},
    {803, kServiceContentDirectory, "Shot is Failed"},
    {804, kServiceContentDirectory, "TouchAF set error"},

    {701, kServiceConnectionManager, "Incompatible protocol info"},
    {702, kServiceConnectionManager, "Incompatible directions"},
    {703, kServiceConnectionManager, "Insufficient network resources"},
    {704, kServiceConnectionManager, "Local restrictions"},
    {705, kServiceConnectionManager, "Access denied"},
    {706, kServiceConnectionManager, "Invalid connection reference"},
    {707, kServiceConnectionManager, "Not in network"},
    {708, kServiceConnectionManager, "Connection Table overflow"},
    {709, kServiceConnectionManager, "Internal processing resources exceeded"},
    {710, kServiceConnectionManager, "Internal memory resources exceeded"},
    {711, kServiceConnectionManager, "Internal storage system capabilities exceeded"},

    {701, kServiceAVTransport, "Transition not available"},
    {702, kServiceAVTransport, "No contents"},
    {703, kServiceAVTransport, "Read error"},
    {704, kServiceAVTransport, "Format not supported for playback"},
    {705, kServiceAVTransport, "Transport is locked"},
    {706, kServiceAVTransport, "Write error"},
    {707, kServiceAVTransport, "Media is protected or not writable"},
    {708, kServiceAVTransport, "Format not supported for recording"},
    {709, kServiceAVTransport, "Media is full"},
    {710, kServiceAVTransport, "Seek mode not supported"},
    {711, kServiceAVTransport, "Illegal seek target"},
    {712, kServiceAVTransport, "Play mode not supported"},
    {713, kServiceAVTransport, "Record quality not supported"},
    {714, kServiceAVTransport, "Illegal MIME-type"},
    {715, kServiceAVTransport, "Content BUSY"},
    {716, kServiceAVTransport, "Resource not found"},
    {717, kServiceAVTransport, "Play speed not supported"},
    {718, kServiceAVTransport, "Invalid InstanceID"},
    {719, kServiceAVTransport, "DRM error"},
    {720, kServiceAVTransport, "Expired content"},
    {721, kServiceAVTransport, "Non-allowed use"},
    {722, kServiceAVTransport, "Cannot determine allowed uses"},
    {723, kServiceAVTransport, "Exhausted allowed use"},
    {724, kServiceAVTransport, "Device authentication failure"},
    {725, kServiceAVTransport, "Device revocation"},
    {726, kServiceAVTransport, "Invalid StateVariableList"},
    {727, kServiceAVTransport, "Ill-formed CSV List"},
    {728, kServiceAVTransport, "Invalid State Variable Value"},
    {729, kServiceAVTransport, "Invalid Service Type"},
    {730, kServiceAVTransport, "Invalid Service Id"},

    {0, kServiceAny, nullptr},
};

// Starts with the row for 0 (empty type) and ends at the row numbered 4.
constexpr ServiceRow kServiceTable[] = {
    {kServiceAny, ""},
    {kServiceContentDirectory, "urn:schemas-upnp-org:service:ContentDirectory"},
    {kServiceConnectionManager, "urn:schemas-upnp-org:service:ConnectionManager"},
    {kServiceAVTransport, "urn:schemas-upnp-org:service:AVTransport"},
    {4, nullptr},
};

constexpr int kFirstPerServiceCode = 701;

}  // namespace

int soapServiceNumber(const char* serviceType) {
  if (serviceType == nullptr) return kServiceAny;
  for (const ServiceRow& row : kServiceTable) {
    if (row.type == nullptr) break;
    if (strcmp(row.type, serviceType) == 0) return row.number;
  }
  return kServiceAny;
}

const char* soapErrorText(int code, int service) {
  for (const ErrorRow& row : kErrorTable) {
    if (row.code == 0) break;
    if (row.code != code) continue;
    if (code < kFirstPerServiceCode || row.service == service) return row.text;
  }
  return nullptr;
}

}  // namespace dms_cds
