// DMSAppEmXmlParser: the tokenizer and recursive-descent parser that turns
// XML text into a DOM tree (dom_tree.h).
//
// Accepted: an optional UTF-8 byte-order mark, the XML declaration and other
// processing instructions (skipped), comments (skipped), one document
// element, nested elements with prefixed names kept whole ("dc:title"),
// single- or double-quoted attributes, self-closing tags, CDATA sections
// (taken as text), the five predefined entities and numeric character
// references (decoded, in text and attribute values). Adjacent text, CDATA
// and references merge into one "#text" node; white space between elements
// is kept as "#text" nodes too. Everything else is refused: DOCTYPE,
// mismatched or unclosed tags, an attribute without a quoted value or given
// twice, text other than white space outside the document element, a second
// document element, control characters, and input beyond the limits of
// xml_limits.h.
//
// Thread safety: an instance parses on one thread at a time; separate
// instances are independent.
#ifndef DMS_PLATFORM_XML_EM_XML_PARSER_H
#define DMS_PLATFORM_XML_EM_XML_PARSER_H

#include <cstddef>
#include <string>

#include "dom_tree.h"

// Token codes of the tokenizer. The parser skips white space (13) inside
// tags and around the document element; between elements it becomes text.
enum DMSAppXmlTokenCode : int {
  kXmlTokenEnd = 0,                     // end of input
  kXmlTokenError = 1,                   // malformed or truncated markup
  kXmlTokenStartTag = 2,                // "<name"; the text is the name
  kXmlTokenEndTag = 3,                  // "</name"; the text is the name
  kXmlTokenTagClose = 4,                // ">"
  kXmlTokenEmptyTagClose = 5,           // "/>"
  kXmlTokenName = 6,                    // attribute name inside a tag
  kXmlTokenEquals = 7,                  // "=" inside a tag
  kXmlTokenValue = 8,                   // quoted attribute value, decoded
  kXmlTokenText = 9,                    // character data, decoded
  kXmlTokenCData = 10,                  // content of a CDATA section
  kXmlTokenComment = 11,                // "<!-- ... -->"
  kXmlTokenProcessingInstruction = 12,  // "<? ... ?>", the XML declaration too
  kXmlTokenWhiteSpace = 13,             // blanks, tabs, CR and LF only
};

class DMSAppEmXmlParser {
 public:
  // `tree` allocates every node and must outlive the parser.
  explicit DMSAppEmXmlParser(DMSAppMakeDomTreeClass* tree) : tree_(tree) {}
  DMSAppEmXmlParser(const DMSAppEmXmlParser&) = delete;
  DMSAppEmXmlParser& operator=(const DMSAppEmXmlParser&) = delete;

  // Parses `length` bytes of `text` (no terminator needed; a NUL byte inside
  // is malformed). Returns a new document node whose only child is the
  // document element; the caller frees it with the tree's freeNode. Null for
  // malformed input, input beyond the limits, a null argument or an
  // allocation failure; nothing is left allocated then.
  DMSAppDomNode* parse(const char* text, size_t length);

 private:
  // Tokenizer.
  int nextToken();
  int nextTokenInTag();  // the next token other than white space
  int scanContent();
  int scanMarkup();
  int scanInTag();
  int scanAttributeValue();
  bool scanName();
  bool decodeReference(std::string* out);
  bool startsWith(const char* literal) const;
  int skipTo(const char* terminator, size_t skip, int code, bool keep);

  // Parser.
  bool parseDocument();
  bool parseElement(DMSAppDomNode* parent, const std::string& name, int depth);
  bool parseAttributes(DMSAppDomNode* element, bool* empty);
  bool parseContent(DMSAppDomNode* element, int depth);
  bool flushText(DMSAppDomNode* parent, std::string* text);
  bool countNode();

  DMSAppMakeDomTreeClass* tree_;
  DMSAppDomNode* document_ = nullptr;
  const char* pos_ = nullptr;
  const char* end_ = nullptr;
  bool inTag_ = false;
  std::string token_;  // text of the last name, value, text or CDATA token
  size_t nodes_ = 0;
};

#endif  // DMS_PLATFORM_XML_EM_XML_PARSER_H
