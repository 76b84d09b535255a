// Escaping of configured texts placed into XML written by the server itself
// (description files, the feature document). Unlike the DMSAppConversions
// escape, this one has no size limit and leaves control bytes alone.
#ifndef DMS_PLATFORM_XML_ESCAPE_H
#define DMS_PLATFORM_XML_ESCAPE_H

#include <string>

namespace dms {

// & < > " ' as entities; every other byte unchanged. Null gives "".
std::string EscapeXmlText(const char* text);

}  // namespace dms

#endif  // DMS_PLATFORM_XML_ESCAPE_H
