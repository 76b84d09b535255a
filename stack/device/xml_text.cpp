// Escaping and leaf-element lookup on XML kept as text.
#include "xml_text.h"

#include <cstdint>
#include <cstdlib>

namespace dmsstack {

namespace {

void appendUtf8(uint32_t cp, std::string* out) {
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

// Decodes the reference between '&' and ';' (exclusive); false if unknown.
bool decodeReference(std::string_view ref, std::string* out) {
  if (ref == "lt") return out->push_back('<'), true;
  if (ref == "gt") return out->push_back('>'), true;
  if (ref == "amp") return out->push_back('&'), true;
  if (ref == "quot") return out->push_back('"'), true;
  if (ref == "apos") return out->push_back('\''), true;
  if (ref.size() < 2 || ref[0] != '#') return false;
  const bool hex = ref[1] == 'x' || ref[1] == 'X';
  std::string_view digits = ref.substr(hex ? 2 : 1);
  if (digits.empty() || digits.size() > 8) return false;
  uint32_t cp = 0;
  for (char c : digits) {
    int d;
    if (c >= '0' && c <= '9') {
      d = c - '0';
    } else if (hex && c >= 'a' && c <= 'f') {
      d = c - 'a' + 10;
    } else if (hex && c >= 'A' && c <= 'F') {
      d = c - 'A' + 10;
    } else {
      return false;
    }
    cp = cp * (hex ? 16 : 10) + static_cast<uint32_t>(d);
  }
  if (cp == 0 || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
  appendUtf8(cp, out);
  return true;
}

bool isNameEnd(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '>' || c == '/';
}

std::string_view localPart(std::string_view qname) {
  size_t colon = qname.find(':');
  return colon == std::string_view::npos ? qname : qname.substr(colon + 1);
}

// One past the '>' closing the tag that starts at `pos`, honouring quoted
// attribute values; npos when unterminated.
size_t tagEnd(std::string_view doc, size_t pos) {
  char quote = 0;
  for (size_t i = pos; i < doc.size(); ++i) {
    char c = doc[i];
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '>') {
      return i + 1;
    }
  }
  return std::string_view::npos;
}

// Skips a comment, processing instruction or declaration starting at `pos`
// ('<' followed by '!' or '?'); returns one past its end or npos.
size_t skipMarkup(std::string_view doc, size_t pos) {
  if (doc.compare(pos, 4, "<!--") == 0) {
    size_t end = doc.find("-->", pos + 4);
    return end == std::string_view::npos ? end : end + 3;
  }
  if (doc.compare(pos, 2, "<?") == 0) {
    size_t end = doc.find("?>", pos + 2);
    return end == std::string_view::npos ? end : end + 2;
  }
  if (doc.compare(pos, 9, "<![CDATA[") == 0) {
    size_t end = doc.find("]]>", pos + 9);
    return end == std::string_view::npos ? end : end + 3;
  }
  return tagEnd(doc, pos);
}

}  // namespace

std::string escapeXml(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 16);
  for (char c : text) {
    switch (c) {
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        out.push_back(c);
    }
  }
  return out;
}

std::string unescapeXml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    char c = text[i];
    if (c == '&') {
      size_t semi = text.find(';', i + 1);
      if (semi != std::string_view::npos && semi - i <= 12 &&
          decodeReference(text.substr(i + 1, semi - i - 1), &out)) {
        i = semi + 1;
        continue;
      }
    }
    out.push_back(c);
    ++i;
  }
  return out;
}

ElementSpan findElement(std::string_view doc, std::string_view localName) {
  ElementSpan span;
  size_t pos = doc.find('<');
  while (pos != std::string_view::npos && pos + 1 < doc.size()) {
    char next = doc[pos + 1];
    if (next == '!' || next == '?' || next == '/') {
      size_t end = skipMarkup(doc, pos);
      if (end == std::string_view::npos) return span;
      pos = doc.find('<', end);
      continue;
    }
    size_t nameEnd = pos + 1;
    while (nameEnd < doc.size() && !isNameEnd(doc[nameEnd])) ++nameEnd;
    std::string_view qname = doc.substr(pos + 1, nameEnd - pos - 1);
    size_t end = tagEnd(doc, pos);
    if (end == std::string_view::npos) return span;
    if (!qname.empty() && localPart(qname) == localName) {
      span.tagBegin = pos;
      span.qualifiedName = std::string(qname);
      span.contentBegin = end;
      if (doc[end - 2] == '/') {
        span.selfClosing = true;
        span.contentEnd = end;
        span.elementEnd = end;
        span.found = true;
        return span;
      }
      std::string closing = "</" + span.qualifiedName;
      size_t close = doc.find(closing, end);
      while (close != std::string_view::npos) {
        size_t after = close + closing.size();
        while (after < doc.size() && (doc[after] == ' ' || doc[after] == '\t' ||
                                      doc[after] == '\r' || doc[after] == '\n'))
          ++after;
        if (after < doc.size() && doc[after] == '>') {
          span.contentEnd = close;
          span.elementEnd = after + 1;
          span.found = true;
          return span;
        }
        close = doc.find(closing, close + 1);
      }
      return span;
    }
    pos = doc.find('<', end);
  }
  return span;
}

std::string elementText(std::string_view document, std::string_view localName) {
  ElementSpan span = findElement(document, localName);
  if (!span.found) return std::string();
  return std::string(document.substr(span.contentBegin, span.contentEnd - span.contentBegin));
}

bool replaceElementText(std::string_view document, std::string_view localName,
                        std::string_view escapedContent, std::string* result) {
  ElementSpan span = findElement(document, localName);
  if (!span.found) return false;
  std::string out;
  out.reserve(document.size() + escapedContent.size() + span.qualifiedName.size() + 8);
  if (span.selfClosing) {
    out.append(document.substr(0, span.tagBegin));
    out += "<" + span.qualifiedName + ">";
    out.append(escapedContent);
    out += "</" + span.qualifiedName + ">";
    out.append(document.substr(span.elementEnd));
  } else {
    out.append(document.substr(0, span.contentBegin));
    out.append(escapedContent);
    out.append(document.substr(span.contentEnd));
  }
  *result = std::move(out);
  return true;
}

}  // namespace dmsstack
