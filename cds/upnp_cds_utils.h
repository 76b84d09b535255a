// UPnPCDSUtils: the DIDL-Lite writer. Turns one container description or one
// content record into DIDL-Lite pieces, tests the Browse Filter, and packs a
// finished Browse into its four output arguments. Static operations without
// state of their own; Browse and the object-creation responses call them.
//
// The text is written already XML-escaped once (templates with &lt; and
// &gt;), because it travels as the text of the SOAP Result argument; element
// values are escaped twice. Every line ends with CR LF.
//
// Output: the operations append whole pieces (heap DMSAppString, owned by
// the list from then on; free them with dms_cds::freePieces) to the caller's
// list. Results: 0 success, 1 failure (what was appended stays).
//
// Thread safety: every operation may be called from any thread on its own
// arguments.
#ifndef DMS_CDS_UPNP_CDS_UTILS_H
#define DMS_CDS_UPNP_CDS_UTILS_H

#include <string>
#include <string_view>

class BrowseSearchArgument;
class ContainerPublicInfo;
class ContentsEnumeratorArgument;
class ContentsResGenerator;
class DMSAppString;
class DMSCDSList;

class UPnPCDSUtils {
 public:
  // Take and drop the CDSHelper singleton; called by the server lifecycle.
  static int Initialize();
  static int Terminate();

  // Appends one container: its opening tag (searchable="1" when the Filter
  // asks for "searchable"), the root's search class when asked for
  // "includeDerived", dc:title and upnp:class whatever the Filter says, and
  // the closing tag. 1 for a null argument or when memory runs out.
  static int __GenerateContainerProperty(BrowseSearchArgument* argument,
                                         ContainerPublicInfo* container, DMSCDSList* pieces);
  // The same for a container that arrives as a record (object type not 50):
  // its content ID, parent ID, title and the class "object.container".
  static int GenerateContainerFromRecord(BrowseSearchArgument* argument,
                                         ContentsEnumeratorArgument* record, DMSCDSList* pieces);
  // Appends one item with the properties the Filter asks for and its res
  // elements. 1 for a non-item record, a null argument or a failed res.
  static int __GenerateItemProperty(BrowseSearchArgument* argument,
                                    ContentsEnumeratorArgument* record, DMSCDSList* pieces);

  // 1 when the Browse Filter asks for `property`, else 0. Deliberate rules,
  // in order: "*..." asks for all but "ALLIP"; "ALLIP" for all; dc:title is
  // always asked for; a Filter holding "dlna:" is searched as plain text;
  // otherwise the property must be followed by the end, "," or "@" (one
  // blank may come before the end, but a blank before a comma ends a match).
  static int __CheckFilter(const DMSAppString* filter, DMSAppString* property);
  static int checkFilter(const DMSAppString* filter, std::string_view property);
  // Sort criteria are accepted and not applied: always 1.
  static int __CheckSortCriteria(BrowseSearchArgument* argument);

  // Formats "&lt;TAG ATTRS&gt;VALUE&lt;/TAG&gt;" CR LF into *out (made when
  // null, `capacity` bytes reserved). The value is trimmed (when longer than
  // one byte), escaped twice and cut at `limit` characters, never inside an
  // entity. Refused (1, *out left empty) for a null attribute text or value,
  // a value that is blank after trimming, or nothing to write. `flag` has no
  // effect.
  static int __AddWithXMLTag(DMSAppString** out, int capacity, const DMSAppString* tag,
                             const DMSAppString* attributes, const DMSAppString* value, bool flag,
                             int limit);

  // Joins `pieces` into "Result" and appends "Result", "NumberReturned",
  // "TotalMatches" and "UpdateID" (AppArgumentList) to *outArguments,
  // making the list when *outArguments is null. 0, or 1 when memory runs out.
  static int __AddOutArgs(DMSCDSList** outArguments, DMSCDSList* pieces, int numberReturned,
                          int totalMatches, int updateID);

  // Splits an absolute "http://HOST:PORT/..." (or https) into host and port
  // (0 without a port). 0, or 1 for a null argument.
  static int __GetUrlInfo(const DMSAppString* url, DMSAppString* host, int* port);
  static int __GetPortNumber(const DMSAppString* url);

 private:
  // One res set of the record (per content type) with `generator`.
  // `importURI` names a temporary content (its res carry no URI);
  // `singlePass` tells the per-interface sets apart in the failure logs.
  static int writeResSet(ContentsEnumeratorArgument* record, ContentsResGenerator* generator,
                         const DMSAppString* importURI, bool singlePass, std::string* out);
  static int writeContainer(BrowseSearchArgument* argument, const DMSAppString* id,
                            const DMSAppString* parentID, const DMSAppString* restricted,
                            const DMSAppString* name, const DMSAppString* upnpClass,
                            DMSCDSList* pieces);
};

namespace dms_cds {

// `value` XML-escaped twice; "" for an empty value; null when memory runs
// out or the escape refuses the text. The caller deletes the result.
DMSAppString* escapeTwice(const DMSAppString* value);
// The same, appended to `out`; false where escapeTwice gives null.
bool appendEscapedTwice(std::string_view value, std::string* out);
// Appends the property element __AddWithXMLTag formats (tag, attribute
// text, `value` trimmed and escaped twice, cut to `limit`); false, with `out`
// unchanged, where it would refuse the property.
bool appendProperty(std::string* out, std::string_view tag, std::string_view attributes,
                    const char* value, int limit);
// Appends a heap copy of `text` as one piece. 0, or 1 when memory runs out.
int appendPiece(DMSCDSList* pieces, const char* text);
// Frees every piece and empties the list (the list itself stays).
void freePieces(DMSCDSList* pieces);

}  // namespace dms_cds

#endif  // DMS_CDS_UPNP_CDS_UTILS_H
