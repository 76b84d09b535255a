// The fixed texts of the device description and the two service
// descriptions (UTF-8, LF line ends), and the maker's web address the device
// description carries by default. Static storage; never freed.
#ifndef DMS_SERVER_DESCRIPTION_TEMPLATES_H
#define DMS_SERVER_DESCRIPTION_TEMPLATES_H

namespace dms_server {

// The address in manufacturerURL and modelURL of kDeviceDescriptionTemplate,
// used when the configuration has no "MANUFACTURER-URL".
extern const char kDefaultManufacturerUrl[];

extern const char kDeviceDescriptionTemplate[];
extern const char kContentDirectoryTemplate[];
extern const char kConnectionManagerTemplate[];

}  // namespace dms_server

#endif  // DMS_SERVER_DESCRIPTION_TEMPLATES_H
