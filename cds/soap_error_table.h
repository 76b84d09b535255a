// The UPnP error codes and their descriptions for the ContentDirectory,
// ConnectionManager and AVTransport services, as the fault bodies state them.
//
// Thread safety: the tables are constant; every function may be called from
// any thread.
#ifndef DMS_CDS_SOAP_ERROR_TABLE_H
#define DMS_CDS_SOAP_ERROR_TABLE_H

namespace dms_cds {

// Service numbers of the table: 0 any service, 1 ContentDirectory,
// 2 ConnectionManager, 3 AVTransport.
constexpr int kServiceAny = 0;
constexpr int kServiceContentDirectory = 1;
constexpr int kServiceConnectionManager = 2;
constexpr int kServiceAVTransport = 3;

// The number of an unversioned service type such as
// "urn:schemas-upnp-org:service:ContentDirectory", compared exactly
// (case-sensitive). A versioned type, an unknown one or null gives 0, so that
// only the codes below 701 can be found for it.
int soapServiceNumber(const char* serviceType);

// The description of `code` for service number `service`: codes below 701
// are found for any service, codes from 701 on only for their own service.
// Null when the table has no such row (for example 707 for ContentDirectory).
// The text is static.
const char* soapErrorText(int code, int service);

}  // namespace dms_cds

#endif  // DMS_CDS_SOAP_ERROR_TABLE_H
