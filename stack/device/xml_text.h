// Small XML text helpers of the device side: escaping, and finding or
// replacing the text of a leaf element in a document kept as text, so that a
// rewrite keeps every other byte of the file as it was.
//
// Thread safety: pure functions.
#ifndef DMS_STACK_DEVICE_XML_TEXT_H
#define DMS_STACK_DEVICE_XML_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace dmsstack {

// Escapes the five XML special characters.
std::string escapeXml(std::string_view text);

// Resolves the five predefined entities and decimal or hexadecimal character
// references (written as UTF-8). An unknown or malformed reference is kept as
// it stands.
std::string unescapeXml(std::string_view text);

// Where a leaf element's content lies in a document.
struct ElementSpan {
  bool found = false;
  bool selfClosing = false;   // written as <name/>: content is empty
  size_t tagBegin = 0;        // the '<' of the start tag
  size_t contentBegin = 0;    // first byte after the start tag
  size_t contentEnd = 0;      // the '<' of the end tag (== contentBegin if empty)
  size_t elementEnd = 0;      // one past the end tag's '>'
  std::string qualifiedName;  // as written, with its prefix
};

// The first element whose local name (prefix ignored) equals `localName`,
// skipping comments, processing instructions and declarations. Meant for
// leaf elements: the end tag is the first one with the same qualified name.
ElementSpan findElement(std::string_view document, std::string_view localName);

// The raw (still escaped) content of that element, or "" when absent.
std::string elementText(std::string_view document, std::string_view localName);

// `document` with the first `localName` element's content replaced by
// `escapedContent` (a self-closing element is expanded). False, and
// `*result` untouched, when there is no such element.
bool replaceElementText(std::string_view document, std::string_view localName,
                        std::string_view escapedContent, std::string* result);

}  // namespace dmsstack

#endif  // DMS_STACK_DEVICE_XML_TEXT_H
