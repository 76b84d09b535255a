// Feeds arbitrary bytes to the stack's HTTP request records as a request head
// would reach them: the first line "METHOD TARGET VERSION" (anything after a
// third space is taken as the client's address), then "Name: value" lines up
// to an empty line. The header list and the record are built as the HTTP
// server builds them for callback 5, read back as a handler reads them, and
// released; what was stored must equal what went in.
#include <strings.h>

#include <atomic>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "http_records.h"
#include "nuv_http.h"
#include "nuv_list.h"

namespace {

void check(bool condition) {
  if (!condition) abort();
}

// libmicrohttpd hands every text over as a C string: it ends at its first NUL.
std::string cText(std::string_view text) { return std::string(text.substr(0, text.find('\0'))); }

std::string_view withoutCr(std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// The next line of `input` without its line break; `input` moves past it.
std::string_view nextLine(std::string_view* input) {
  const size_t newline = input->find('\n');
  std::string_view line = input->substr(0, newline);
  input->remove_prefix(newline == std::string_view::npos ? input->size() : newline + 1);
  return withoutCr(line);
}

// The first field of `*line` up to a space; `*line` moves past the space.
std::string_view nextField(std::string_view* line) {
  const size_t space = line->find(' ');
  std::string_view field = line->substr(0, space);
  line->remove_prefix(space == std::string_view::npos ? line->size() : space + 1);
  return field;
}

struct RequestHead {
  std::string method;
  std::string target;
  std::string version;
  std::string address;
  std::vector<std::pair<std::string, std::string>> headers;  // Host included
};

RequestHead readHead(std::string_view input) {
  RequestHead head;
  std::string_view requestLine = nextLine(&input);
  head.method = cText(nextField(&requestLine));
  head.target = cText(nextField(&requestLine));
  head.version = cText(nextField(&requestLine));
  head.address = cText(requestLine);
  while (!input.empty()) {
    const std::string_view line = nextLine(&input);
    if (line.empty()) break;
    const size_t colon = line.find(':');
    // A line without colon is taken as a name alone.
    const std::string_view name = line.substr(0, colon);
    const std::string_view value =
        colon == std::string_view::npos ? std::string_view() : trimmed(line.substr(colon + 1));
    head.headers.emplace_back(cText(name), cText(value));
  }
  return head;
}

// The value of the first header named `name` (ignoring case), or null.
const std::string* firstValue(const std::vector<std::pair<std::string, std::string>>& headers,
                              const std::string& name) {
  for (const auto& h : headers)
    if (strcasecmp(h.first.c_str(), name.c_str()) == 0) return &h.second;
  return nullptr;
}

std::string upperCase(std::string text) {
  for (char& c : text) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  return text;
}

// NUVHTTPGetAdditionalHeaderValue finds what `expected` says it should.
void checkLookup(stNUVAppList* list,
                 const std::vector<std::pair<std::string, std::string>>& expected,
                 const std::string& name) {
  const std::string* want = firstValue(expected, name);
  char* got = NUVHTTPGetAdditionalHeaderValue(list, name.c_str());
  if (want == nullptr) {
    check(got == nullptr);
  } else {
    check(got != nullptr && *want == got);
  }
  free(got);
}

void checkHeaders(stNUVAppList* list,
                  const std::vector<std::pair<std::string, std::string>>& expected) {
  check(NUVListGetCount(list) == static_cast<int>(expected.size()));
  for (size_t i = 0; i < expected.size(); ++i) {
    auto* header = static_cast<stNUVHeader*>(NUVListGetItemData(list, static_cast<int>(i)));
    check(header != nullptr && header->name != nullptr && header->value != nullptr);
    check(expected[i].first == header->name && expected[i].second == header->value);
  }
  for (const auto& h : expected) {
    checkLookup(list, expected, h.first);
    checkLookup(list, expected, upperCase(h.first));
  }
  for (const char* name : {"Host", "Expect", "Range", "Content-Length", "X-Not-Sent"})
    checkLookup(list, expected, name);
  check(NUVHTTPGetAdditionalHeaderValue(list, nullptr) == nullptr);
}

void checkRecord(const NUVHTTPRequestHeaderInfo& info, const RequestHead& head,
                 const std::vector<std::pair<std::string, std::string>>& passed) {
  const eHTTPVersion version =
      head.version == "HTTP/1.0" ? NUV_HTTP_VERSION_1_0 : NUV_HTTP_VERSION_1_1;
  const std::string* length = firstValue(head.headers, "Content-Length");
  bool expectContinue = false;
  for (const auto& h : passed) {
    expectContinue = expectContinue || (strcasecmp(h.first.c_str(), "Expect") == 0 &&
                                        strcasecmp(h.second.c_str(), "100-continue") == 0);
  }
  check(info.method == dmsstack::methodFromName(head.method.c_str()));
  check(info.methodName != nullptr && head.method == info.methodName);
  check(info.target != nullptr && head.target == info.target);
  check(info.clientAddress != nullptr && head.address == info.clientAddress);
  check(info.version == version);
  check(info.notHttp10 == (version == NUV_HTTP_VERSION_1_0 ? 0 : 1));
  check(info.hostPresent == (firstValue(head.headers, "Host") != nullptr ? 1 : 0));
  check(info.contentLength ==
        dmsstack::contentLengthFromText(length != nullptr ? length->c_str() : nullptr));
  check(info.expectContinue == (expectContinue ? 1 : 0));
  checkHeaders(info.additionalHeaders, passed);
}

// The same headers appended one by one to a list of the handler's own.
void checkAppended(const std::vector<std::pair<std::string, std::string>>& passed) {
  stNUVAppList* list = NUVListCreate();
  check(list != nullptr);
  for (const auto& h : passed)
    check(NUVHTTPAddAdditionalHeaderValue(list, h.first.c_str(), h.second.c_str()) == 0);
  check(NUVHTTPAddAdditionalHeaderValue(nullptr, "A", "b") != 0);
  check(NUVHTTPAddAdditionalHeaderValue(list, nullptr, "b") != 0);
  check(NUVHTTPAddAdditionalHeaderValue(list, "A", nullptr) != 0);
  checkHeaders(list, passed);
  FreeAdditionalHeaders(list);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const RequestHead head = readHead(std::string_view(reinterpret_cast<const char*>(data), size));

  // As the HTTP server builds them: every header but Host, in order.
  std::vector<std::pair<std::string, std::string>> passed;
  stNUVAppList* headers = NUVListCreate();
  check(headers != nullptr);
  for (const auto& h : head.headers) {
    if (strcasecmp(h.first.c_str(), "Host") == 0) continue;
    check(NUVListAddHeader(headers, h.first.c_str(), h.second.c_str()) == 0);
    passed.push_back(h);
  }
  const std::string* length = firstValue(head.headers, "Content-Length");
  stNUVAppList* request = NUVHTTPCreateRequestHeaderList(
      dmsstack::methodFromName(head.method.c_str()), head.method.c_str(), head.target.c_str(),
      head.version == "HTTP/1.0" ? NUV_HTTP_VERSION_1_0 : NUV_HTTP_VERSION_1_1,
      firstValue(head.headers, "Host") != nullptr, head.address.c_str(),
      dmsstack::contentLengthFromText(length != nullptr ? length->c_str() : nullptr), headers);
  check(request != nullptr);
  // The list given is copied, not taken; a plain header list is no record.
  check(NUVHTTPValidateHeaderInfo(headers) != 0 && NUVHTTPValidateHeaderInfo(nullptr) != 0);
  FreeAdditionalHeaders(headers);
  auto released = std::make_shared<std::atomic<bool>>(false);
  check(dmsstack::watchRelease(request, released));

  // As a handler reads it.
  check(NUVHTTPValidateHeaderInfo(request) == 0);
  NUVHTTPResponseHeaderInfo* response = nullptr;
  check(NUVHTTPGetResponseHeaderInfo(request, &response) != 0);
  NUVHTTPRequestHeaderInfo* info = nullptr;
  check(NUVHTTPGetRequestHeaderInfo(request, &info) == 0 && info != nullptr);
  check(NUVHTTPGetRequestHeaderInfo(request, nullptr) != 0);
  checkRecord(*info, head, passed);
  checkAppended(passed);

  // A header the handler adds is released with the record.
  check(NUVHTTPAddAdditionalHeaderValue(info->additionalHeaders, "X-Added", head.target.c_str()) ==
        0);
  check(NUVListGetCount(info->additionalHeaders) == static_cast<int>(passed.size()) + 1);

  check(!released->load());
  check(NUVHTTPReleaseHeaderInfo(request) == 0);
  check(released->load());
  check(NUVHTTPReleaseHeaderInfo(nullptr) == 0);
  return 0;
}
