// The Elements argument of CreateObject: a DIDL-Lite fragment holding one
// item or container. ParseCreateObjectElements reads what object creation
// needs from it and refuses (712, "Bad metadata") what it cannot create,
// logging the reason with the texts control-point logs are matched against.
//
// Thread safety: no shared state.
#ifndef DMS_CDS_CREATE_OBJECT_ELEMENTS_H
#define DMS_CDS_CREATE_OBJECT_ELEMENTS_H

#include <string>

class DMSAppString;

namespace dms_cds {

// What one Elements argument holds. A field is empty when its element or
// attribute was absent.
struct CreateObjectElements {
  std::string restricted;    // the object's "restricted" attribute: "0" or "1"
  std::string dlnaManaged;   // its "dlna:dlnaManaged" attribute
  std::string upnpClass;     // upnp:class
  std::string title;         // dc:title
  std::string date;          // dc:date
  std::string artist;        // upnp:artist
  std::string creator;       // dc:creator
  std::string protocolInfo;  // of the res, cut after the profile (see below)
  std::string mimeType;      // the protocolInfo's third field
  bool hasRes = false;
};

// 0 when `elements` describes an object that can be created; 712 otherwise.
// `out` is filled as far as the parse went.
int ParseCreateObjectElements(const DMSAppString* elements, CreateObjectElements* out);

// The protocolInfo of a res as creation keeps it: the MIME type is the text
// between the second and third ":"; the kept text ends before the first ";"
// after the third ":"; a leading "*:" becomes "http:". False for an empty
// text or one with fewer than three ":" (nothing is set then).
bool KeepProtocolInfo(const std::string& protocolInfo, std::string* kept, std::string* mimeType);

// True for a class that names a container ("object.container...").
bool IsContainerClass(const std::string& upnpClass);

}  // namespace dms_cds

#endif  // DMS_CDS_CREATE_OBJECT_ELEMENTS_H
