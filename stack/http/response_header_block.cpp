// A response's header block read line by line (see response_header_block.h).
#include "response_header_block.h"

#include <strings.h>

#include <cstring>

#include "nuv_http.h"

namespace dmsstack {
namespace {

// The characters of an HTTP token: what a header name is made of.
bool isTokenChar(unsigned char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c != '\0' && strchr("!#$%&'*+-.^_`|~", c) != nullptr);
}

bool isToken(std::string_view text) {
  if (text.empty()) return false;
  for (unsigned char c : text)
    if (!isTokenChar(c)) return false;
  return true;
}

// A NUL would cut the text short in the list handed to the media server, and
// a CR or LF would let it pass for more than one header line.
bool isValueText(std::string_view text) {
  return text.find_first_of(std::string_view("\0\r\n", 3)) == std::string_view::npos;
}

}  // namespace

std::string_view trimmedHeaderText(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r' ||
                           text.back() == '\n')) {
    text.remove_suffix(1);
  }
  return text;
}

bool sameHeaderName(std::string_view a, const char* b) {
  return a.size() == strlen(b) && strncasecmp(a.data(), b, a.size()) == 0;
}

const std::string* findHeader(const HttpHeaders& headers, const char* name) {
  for (const auto& h : headers) {
    if (sameHeaderName(h.first, name)) return &h.second;
  }
  return nullptr;
}

ResponseHeaderBlock::Line ResponseHeaderBlock::take(std::string_view data) {
  const std::string_view line = trimmedHeaderText(data);
  if (data.substr(0, 5) == "HTTP/") {
    *this = ResponseHeaderBlock{};
    open_ = parseStatusLine(line);
    return Line::Status;
  }
  // Trailers after a chunked body, or lines of no response.
  if (!open_) return Line::Ignored;
  if (line.empty()) {
    open_ = false;
    return Line::End;
  }
  if (data[0] == ' ' || data[0] == '\t') {
    if (headers_.empty() || !isValueText(line)) return Line::Ignored;
    std::string& value = headers_.back().second;
    if (!value.empty()) value.append(" ");
    value.append(line);
    return Line::Header;
  }
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos) return Line::Ignored;
  const std::string_view name = trimmedHeaderText(line.substr(0, colon));
  const std::string_view value = trimmedHeaderText(line.substr(colon + 1));
  if (!isToken(name) || !isValueText(value)) return Line::Ignored;
  headers_.emplace_back(name, value);
  return Line::Header;
}

// "HTTP/1.1 200 OK"; false for a line that is not a status line. Statuses
// below 100 are none: no block of theirs is ever delivered.
bool ResponseHeaderBlock::parseStatusLine(std::string_view line) {
  const size_t space = line.find(' ');
  if (space == std::string_view::npos) return false;
  const std::string_view version = line.substr(0, space);
  const std::string_view rest = trimmedHeaderText(line.substr(space + 1));
  if (rest.size() < 3) return false;
  int status = 0;
  for (size_t i = 0; i < 3; ++i) {
    if (rest[i] < '0' || rest[i] > '9') return false;
    status = status * 10 + (rest[i] - '0');
  }
  if (status < 100) return false;
  status_ = status;
  http11_ = version != "HTTP/1.0" && version != "HTTP/0.9";
  return true;
}

stNUVAppList* ResponseHeaderBlock::makeList() const {
  stNUVAppList* headers = NUVListCreate();
  bool ok = headers != nullptr;
  for (size_t i = 0; ok && i < headers_.size(); ++i) {
    ok = NUVListAddHeader(headers, headers_[i].first.c_str(), headers_[i].second.c_str()) == 0;
  }
  stNUVAppList* list =
      ok ? NUVHTTPCreateResponseHeaderList(status_, http11_ ? 1 : 0, headers) : nullptr;
  FreeAdditionalHeaders(headers);
  return list;
}

}  // namespace dmsstack
