// Feeds arbitrary bytes to the response header blocks of the HTTP client
// profiles, split into lines as libcurl hands them over (each with its line
// break; the last one may lack it), so that several blocks may follow one
// another (interim 1xx ones, then the final one). Checks what each line did
// to the block, that a complete block is a valid response header, and that
// the response header list made of it reads back the same.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "nuv_http.h"
#include "nuv_list.h"
#include "response_header_block.h"

namespace {

using dmsstack::ResponseHeaderBlock;
using Line = ResponseHeaderBlock::Line;

void check(bool condition) {
  if (!condition) abort();
}

bool isTokenChar(unsigned char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         strchr("!#$%&'*+-.^_`|~", c) != nullptr;
}

bool isToken(const std::string& name) {
  if (name.empty()) return false;
  for (unsigned char c : name)
    if (c == '\0' || !isTokenChar(c)) return false;
  return true;
}

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// A value as it reaches the media server: one line, no surrounding blanks,
// nothing a C string would cut.
bool isCleanValue(const std::string& value) {
  if (value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) return false;
  return value.empty() || (!isBlank(value.front()) && !isBlank(value.back()));
}

// The record's field `known` holds the first header of its name, or is null.
void checkKnownField(const ResponseHeaderBlock& block, const char* name, const char* known) {
  const std::string* value = dmsstack::findHeader(block.headers(), name);
  if (value == nullptr) {
    check(known == nullptr);
  } else {
    check(known != nullptr && *value == known);
  }
}

// A complete block: a valid header, and the list made of it says the same.
void checkDelivered(const ResponseHeaderBlock& block) {
  check(block.status() >= 100 && block.status() <= 999);
  for (const auto& header : block.headers()) {
    check(isToken(header.first));
    check(isCleanValue(header.second));
  }

  stNUVAppList* list = block.makeList();
  check(list != nullptr);
  check(NUVHTTPValidateHeaderInfo(list) == 0);
  NUVHTTPRequestHeaderInfo* request = nullptr;
  check(NUVHTTPGetRequestHeaderInfo(list, &request) != 0);
  NUVHTTPResponseHeaderInfo* info = nullptr;
  check(NUVHTTPGetResponseHeaderInfo(list, &info) == 0 && info != nullptr);
  check(info->statusCode == block.status());
  check(info->http11 == (block.http11() ? 1 : 0));
  const int count = NUVListGetCount(info->additionalHeaders);
  check(count >= 0 && static_cast<size_t>(count) == block.headers().size());
  for (int i = 0; i < count; ++i) {
    auto* header = static_cast<stNUVHeader*>(NUVListGetItemData(info->additionalHeaders, i));
    check(header != nullptr && header->name != nullptr && header->value != nullptr);
    check(block.headers()[static_cast<size_t>(i)].first == header->name);
    check(block.headers()[static_cast<size_t>(i)].second == header->value);
  }
  checkKnownField(block, "Content-Type", info->contentType);
  checkKnownField(block, "Content-Length", info->contentLength);
  checkKnownField(block, "Connection", info->connection);
  check(NUVHTTPReleaseHeaderInfo(list) == 0);
}

// What a line may do to the block, given how the block stood before it.
void checkLine(std::string_view line, Line result, bool wasOpen, size_t headersBefore,
               size_t lastValueBefore, const ResponseHeaderBlock& block) {
  const bool statusLine = line.substr(0, 5) == "HTTP/";
  check((result == Line::Status) == statusLine);
  switch (result) {
    case Line::Status:
      check(block.headers().empty());
      if (block.open()) check(block.status() >= 100 && block.status() <= 999);
      break;
    case Line::Ignored:
      check(block.open() == wasOpen && block.headers().size() == headersBefore);
      if (headersBefore > 0) check(block.headers().back().second.size() == lastValueBefore);
      break;
    case Line::Header:
      check(wasOpen && block.open());
      check(block.headers().size() == headersBefore + 1 ||
            (block.headers().size() == headersBefore && headersBefore > 0 &&
             block.headers().back().second.size() > lastValueBefore));
      break;
    case Line::End:
      check(wasOpen && !block.open() && block.headers().size() == headersBefore);
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  ResponseHeaderBlock block;
  while (!input.empty()) {
    const size_t newline = input.find('\n');
    const size_t length = newline == std::string_view::npos ? input.size() : newline + 1;
    const std::string_view line = input.substr(0, length);
    input.remove_prefix(length);

    const bool wasOpen = block.open();
    const size_t headersBefore = block.headers().size();
    const size_t lastValueBefore = headersBefore > 0 ? block.headers().back().second.size() : 0;
    const Line result = block.take(line);
    checkLine(line, result, wasOpen, headersBefore, lastValueBefore, block);
    if (result == Line::End) checkDelivered(block);
  }
  return 0;
}
