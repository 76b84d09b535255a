// DMSAppEmXmlParser. See the header for the grammar accepted.
#include "em_xml_parser.h"

#include <cstring>
#include <new>

#include "nuv_log.h"
#include "xml_limits.h"

namespace {

// Longest reference accepted between "&" and ";" ("#x10FFFF" is 8).
constexpr size_t kMaxReferenceLength = 10;

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Names are read byte by byte; any byte of a multi-byte UTF-8 sequence is
// accepted as a name character, which is all DIDL-Lite and descriptions need.
bool isNameStart(char c) {
  unsigned char u = static_cast<unsigned char>(c);
  return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || u == '_' || u == ':' || u >= 0x80;
}

bool isNameChar(char c) { return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; }

// XML 1.0 allows no control character other than tab, LF and CR.
bool isForbiddenByte(char c) {
  unsigned char u = static_cast<unsigned char>(c);
  return u < 0x20 && c != '\t' && c != '\n' && c != '\r';
}

bool isXmlChar(unsigned long cp) {
  return cp == 0x9 || cp == 0xA || cp == 0xD || (cp >= 0x20 && cp <= 0xD7FF) ||
         (cp >= 0xE000 && cp <= 0xFFFD) || (cp >= 0x10000 && cp <= 0x10FFFF);
}

void appendUtf8(unsigned long cp, std::string* out) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

// Decimal or hexadecimal digits of a character reference; false for an
// empty or invalid run. Six hex or seven decimal digits cover 0x10FFFF, so
// longer runs are refused before they could overflow.
bool parseCodePoint(const char* digits, size_t n, bool hex, unsigned long* cp) {
  if (n == 0 || n > (hex ? 6u : 7u)) return false;
  unsigned long value = 0;
  for (size_t i = 0; i < n; ++i) {
    char c = digits[i];
    unsigned long d;
    if (c >= '0' && c <= '9') {
      d = static_cast<unsigned long>(c - '0');
    } else if (hex && c >= 'a' && c <= 'f') {
      d = static_cast<unsigned long>(c - 'a' + 10);
    } else if (hex && c >= 'A' && c <= 'F') {
      d = static_cast<unsigned long>(c - 'A' + 10);
    } else {
      return false;
    }
    value = value * (hex ? 16 : 10) + d;
  }
  *cp = value;
  return true;
}

}  // namespace

DMSAppDomNode* DMSAppEmXmlParser::parse(const char* text, size_t length) {
  if (tree_ == nullptr || text == nullptr || length == 0 || length > kXmlMaxInputBytes) {
    return nullptr;
  }
  pos_ = text;
  end_ = text + length;
  inTag_ = false;
  nodes_ = 0;
  token_.clear();
  if (startsWith("\xEF\xBB\xBF")) pos_ += 3;
  document_ = tree_->createDocument();
  if (document_ == nullptr) return nullptr;
  bool ok = false;
  try {
    ok = parseDocument();
  } catch (const std::bad_alloc&) {
    NUVPrintf(NUV_LOG_ERROR, "[DMSAppEmXmlParser::parse] Not Enough Momory");
  }
  DMSAppDomNode* document = document_;
  document_ = nullptr;
  if (!ok) {
    NUVPrintf(NUV_LOG_INFO, "[DMSAppEmXmlParser::parse] XML refused near byte %zu",
              static_cast<size_t>(pos_ - text));
    tree_->freeNode(document);
    return nullptr;
  }
  return document;
}

// ---- Tokenizer -------------------------------------------------------------

bool DMSAppEmXmlParser::startsWith(const char* literal) const {
  size_t n = strlen(literal);
  return static_cast<size_t>(end_ - pos_) >= n && memcmp(pos_, literal, n) == 0;
}

int DMSAppEmXmlParser::nextToken() { return inTag_ ? scanInTag() : scanContent(); }

int DMSAppEmXmlParser::nextTokenInTag() {
  int code;
  do {
    code = nextToken();
  } while (code == kXmlTokenWhiteSpace);
  return code;
}

bool DMSAppEmXmlParser::scanName() {
  if (pos_ == end_ || !isNameStart(*pos_)) return false;
  const char* start = pos_;
  while (pos_ != end_ && isNameChar(*pos_)) ++pos_;
  token_.assign(start, static_cast<size_t>(pos_ - start));
  return true;
}

// Skips `skip` bytes of an opening delimiter, then everything up to and
// including `terminator`. With `keep`, the text in between becomes the token.
int DMSAppEmXmlParser::skipTo(const char* terminator, size_t skip, int code, bool keep) {
  const char* from = pos_ + skip;
  size_t n = strlen(terminator);
  for (const char* p = from; static_cast<size_t>(end_ - p) >= n; ++p) {
    if (memcmp(p, terminator, n) == 0) {
      if (keep) token_.assign(from, static_cast<size_t>(p - from));
      pos_ = p + n;
      return code;
    }
  }
  return kXmlTokenError;  // unterminated
}

// At "&": appends the decoded character and moves past the ";".
bool DMSAppEmXmlParser::decodeReference(std::string* out) {
  const char* start = pos_ + 1;
  const char* semi = start;
  while (semi != end_ && *semi != ';' && static_cast<size_t>(semi - start) <= kMaxReferenceLength) {
    ++semi;
  }
  if (semi == end_ || *semi != ';') return false;
  size_t n = static_cast<size_t>(semi - start);
  static const struct {
    const char* name;
    char value;
  } kEntities[] = {{"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"apos", '\''}, {"quot", '"'}};
  bool done = false;
  if (n > 0 && start[0] == '#') {
    bool hex = n > 1 && start[1] == 'x';
    size_t skip = hex ? 2 : 1;
    unsigned long cp = 0;
    if (!parseCodePoint(start + skip, n - skip, hex, &cp) || !isXmlChar(cp)) return false;
    appendUtf8(cp, out);
    done = true;
  } else {
    for (const auto& entity : kEntities) {
      if (strlen(entity.name) == n && memcmp(entity.name, start, n) == 0) {
        out->push_back(entity.value);
        done = true;
        break;
      }
    }
  }
  if (!done) return false;  // undeclared entity
  pos_ = semi + 1;
  return true;
}

int DMSAppEmXmlParser::scanContent() {
  if (pos_ == end_) return kXmlTokenEnd;
  if (*pos_ == '<') return scanMarkup();
  token_.clear();
  bool onlySpace = true;
  while (pos_ != end_ && *pos_ != '<') {
    char c = *pos_;
    if (c == '&') {
      if (!decodeReference(&token_)) return kXmlTokenError;
      onlySpace = false;
      continue;
    }
    if (isForbiddenByte(c) || (c == ']' && startsWith("]]>"))) return kXmlTokenError;
    if (!isSpace(c)) onlySpace = false;
    token_.push_back(c);
    ++pos_;
  }
  return onlySpace ? kXmlTokenWhiteSpace : kXmlTokenText;
}

int DMSAppEmXmlParser::scanMarkup() {
  if (startsWith("<!--")) return skipTo("-->", 4, kXmlTokenComment, false);
  if (startsWith("<![CDATA[")) {
    if (skipTo("]]>", 9, kXmlTokenCData, true) != kXmlTokenCData) return kXmlTokenError;
    for (char c : token_) {
      if (isForbiddenByte(c)) return kXmlTokenError;
    }
    return kXmlTokenCData;
  }
  if (startsWith("<?")) {
    pos_ += 2;
    if (!scanName()) return kXmlTokenError;  // a processing instruction needs a target
    return skipTo("?>", 0, kXmlTokenProcessingInstruction, false);
  }
  // DOCTYPE and other declarations are not read: an internal subset could
  // declare entities, which this reader does not expand.
  if (startsWith("<!")) return kXmlTokenError;
  bool endTag = startsWith("</");
  pos_ += endTag ? 2 : 1;
  if (!scanName()) return kXmlTokenError;
  inTag_ = true;
  return endTag ? kXmlTokenEndTag : kXmlTokenStartTag;
}

int DMSAppEmXmlParser::scanInTag() {
  if (pos_ == end_) return kXmlTokenError;  // truncated inside a tag
  char c = *pos_;
  if (isSpace(c)) {
    while (pos_ != end_ && isSpace(*pos_)) ++pos_;
    return kXmlTokenWhiteSpace;
  }
  if (c == '>') {
    ++pos_;
    inTag_ = false;
    return kXmlTokenTagClose;
  }
  if (startsWith("/>")) {
    pos_ += 2;
    inTag_ = false;
    return kXmlTokenEmptyTagClose;
  }
  if (c == '=') {
    ++pos_;
    return kXmlTokenEquals;
  }
  if (c == '"' || c == '\'') return scanAttributeValue();
  return scanName() ? kXmlTokenName : kXmlTokenError;
}

int DMSAppEmXmlParser::scanAttributeValue() {
  const char quote = *pos_++;
  token_.clear();
  while (pos_ != end_ && *pos_ != quote) {
    char c = *pos_;
    if (c == '<' || isForbiddenByte(c)) return kXmlTokenError;
    if (c == '&') {
      if (!decodeReference(&token_)) return kXmlTokenError;
      continue;
    }
    // Literal tab, CR and LF read as blanks in attribute values.
    token_.push_back(isSpace(c) ? ' ' : c);
    ++pos_;
  }
  if (pos_ == end_) return kXmlTokenError;  // unterminated value
  ++pos_;
  return kXmlTokenValue;
}

// ---- Parser ----------------------------------------------------------------

bool DMSAppEmXmlParser::countNode() { return ++nodes_ <= kXmlMaxNodes; }

bool DMSAppEmXmlParser::parseDocument() {
  int code;
  do {
    code = nextToken();
  } while (code == kXmlTokenWhiteSpace || code == kXmlTokenComment ||
           code == kXmlTokenProcessingInstruction);
  if (code != kXmlTokenStartTag) return false;
  if (!parseElement(document_, std::string(token_), 1)) return false;
  do {
    code = nextToken();
  } while (code == kXmlTokenWhiteSpace || code == kXmlTokenComment ||
           code == kXmlTokenProcessingInstruction);
  return code == kXmlTokenEnd;  // a second element or stray text ends here
}

bool DMSAppEmXmlParser::parseElement(DMSAppDomNode* parent, const std::string& name, int depth) {
  if (depth > kXmlMaxDepth || !countNode()) return false;
  DMSAppDomNode* element = tree_->createElement(document_, name.c_str());
  if (element == nullptr) return false;
  if (tree_->appendChild(parent, element) == nullptr) {
    tree_->freeNode(element);
    return false;
  }
  bool empty = false;
  if (!parseAttributes(element, &empty)) return false;
  return empty || parseContent(element, depth);
}

bool DMSAppEmXmlParser::parseAttributes(DMSAppDomNode* element, bool* empty) {
  bool separated = false;  // XML wants white space before every attribute
  size_t count = 0;
  while (true) {
    int code = nextToken();
    if (code == kXmlTokenWhiteSpace) {
      separated = true;
      continue;
    }
    if (code == kXmlTokenTagClose || code == kXmlTokenEmptyTagClose) {
      *empty = code == kXmlTokenEmptyTagClose;
      return true;
    }
    if (code != kXmlTokenName || !separated) return false;
    std::string name(token_);
    if (nextTokenInTag() != kXmlTokenEquals || nextTokenInTag() != kXmlTokenValue) return false;
    if (++count > kXmlMaxAttributesPerElement || !countNode()) return false;
    if (tree_->getAttribute(element, name.c_str()) != nullptr) return false;  // given twice
    if (tree_->setAttribute(element, name.c_str(), token_.c_str()) != 0) return false;
    separated = false;
  }
}

bool DMSAppEmXmlParser::parseContent(DMSAppDomNode* element, int depth) {
  std::string text;  // adjacent text, white space, CDATA and references
  while (true) {
    int code = nextToken();
    switch (code) {
      case kXmlTokenText:
      case kXmlTokenWhiteSpace:
      case kXmlTokenCData:
        text += token_;
        break;
      case kXmlTokenComment:
      case kXmlTokenProcessingInstruction:
        break;
      case kXmlTokenStartTag:
        if (!flushText(element, &text)) return false;
        if (!parseElement(element, std::string(token_), depth + 1)) return false;
        break;
      case kXmlTokenEndTag:
        if (token_.compare(element->nodeName->ReadString()) != 0) return false;  // mismatched
        if (nextTokenInTag() != kXmlTokenTagClose) return false;
        return flushText(element, &text);
      default:
        return false;  // end of input inside the element, or an error
    }
  }
}

bool DMSAppEmXmlParser::flushText(DMSAppDomNode* parent, std::string* text) {
  if (text->empty()) return true;
  if (!countNode()) return false;
  DMSAppDomNode* node = tree_->createTextNode(document_, text->c_str());
  if (node == nullptr) return false;
  if (tree_->appendChild(parent, node) == nullptr) {
    tree_->freeNode(node);
    return false;
  }
  text->clear();
  return true;
}
