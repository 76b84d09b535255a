/* The exported XML reader: parses a small XML text (a DIDL-Lite fragment, a
 * device or service description) and walks its elements with a cursor.
 *
 *   _XmlParser* p = DMSAppXmlParserGetDomMA(text);  (null: malformed)
 *   _NodeXml* n = DMSAppXmlParserGetFirstNode(p);   (first child of the
 *                                                     document element)
 *   ... DMSAppXmlParserGetNextNode / GetChildNode / StepBackToParentNode ...
 *   DMSAppXmlParserFreeNode(n);
 *   DMSAppXmlParserDestroy(p);
 *
 * The cursor and the parent mark:
 *   - after DMSAppXmlParserGetDomMA the cursor is on the document element and
 *     the parent mark on the document above it;
 *   - GetFirstNode puts the cursor on the document element and then acts as
 *     GetChildNode;
 *   - GetNextNode moves to the cursor's next sibling, GetChildNode sets the
 *     parent mark to the cursor and moves to its first child (neither does
 *     anything while the cursor is off the tree);
 *   - StepBackToParentNode moves the cursor to the parent mark and the mark to
 *     its parent;
 *   - when there is no node to move to (past the last sibling, below a
 *     childless element) the call returns null and the cursor leaves the
 *     tree: GetNextNode and GetChildNode then return null until
 *     StepBackToParentNode or GetFirstNode puts it back. GetChildNode has set
 *     the parent mark before, so StepBackToParentNode returns to the element
 *     whose children were asked for;
 *   - text lives in "#text" nodes between and inside elements. A call that
 *     lands on one (white space between elements, typically) returns null:
 *     it consumes the text node, and the next GetNextNode goes on with the
 *     element after it. So one null may be a text node, and two nulls in a
 *     row are the end of the siblings; callers walking pretty-printed XML
 *     call GetNextNode once more after a null.
 *
 * Ownership: a handle owns its copy of the text and the whole tree, and is
 * released with DMSAppXmlParserDestroy. Each _NodeXml is a separate copy owned
 * by the caller, valid after the handle is destroyed, and released with
 * DMSAppXmlParserFreeNode. The record and its attribute array come from
 * DMSAppMemAllocMA and its strings from new; never free them by hand.
 *
 * Every function refuses a null argument (null result, or no effect).
 *
 * Thread safety: a handle is used by one thread at a time; distinct handles
 * are independent. */
#ifndef DMS_XML_H
#define DMS_XML_H

#ifdef __cplusplus
class DMSAppString;
extern "C" {
#else
typedef struct DMSAppString DMSAppString;
#endif

/* Reader handle: the text copy, the tree, the cursor and the parent mark. */
typedef struct _XmlParser _XmlParser;

/* One attribute of a node record, both strings decoded. */
typedef struct DMSAppXmlAttribute {
  DMSAppString* name; /* as written, with its prefix: "dlna:dlnaManaged" */
  DMSAppString* value;
} DMSAppXmlAttribute;

/* Node record of one element. */
typedef struct _NodeXml {
  DMSAppString* name; /* tag with its prefix: "dc:title" */
  /* In document order, ended by a slot whose name and value are null. Never
   * null itself; the end slot comes first for an element without
   * attributes. */
  DMSAppXmlAttribute* attributes;
  /* The element's first text (entities decoded, CDATA included) without the
   * white space at either end; an empty string, never null, when the element
   * holds no text. */
  DMSAppString* value;
} _NodeXml;

/* Copies `text` (its GetStringLength() bytes) and parses it into a new
 * handle. Null for a null or empty text, malformed XML, text beyond the
 * reader's limits (1 MiB, 64 levels of nesting) or lack of memory. */
_XmlParser* DMSAppXmlParserGetDomMA(DMSAppString* text);

/* New node records (see the cursor rules above); null at the end, on a text
 * node, or for lack of memory. */
_NodeXml* DMSAppXmlParserGetFirstNode(_XmlParser* parser);
_NodeXml* DMSAppXmlParserGetNextNode(_XmlParser* parser);
_NodeXml* DMSAppXmlParserGetChildNode(_XmlParser* parser);

/* Cursor := parent mark; parent mark := its parent. 0 when the cursor moved,
 * 1 when there was no mark (above the document) or the handle is null. */
int DMSAppXmlParserStepBackToParentNode(_XmlParser* parser);

void DMSAppXmlParserFreeNode(_NodeXml* node);
void DMSAppXmlParserDestroy(_XmlParser* parser);

/* The value of the first attribute, in document order, whose name contains
 * `name`, ignoring case: "dlnaManaged" finds "dlna:dlnaManaged", and
 * "Restricted" finds "restricted". Null if none matches or `name` is empty.
 * The result belongs to `node` and lives until DMSAppXmlParserFreeNode. */
DMSAppString* DMSAppXmlGetAttribute(_NodeXml* node, DMSAppString* name);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* DMS_XML_H */
