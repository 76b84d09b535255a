// The HTTP records shared by the real stack and the test fakes: request
// header lists, additional-header lists, response headers and the
// connection-profile record (see nuv_http.h).
#include <strings.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "export_guard.h"
#include "http_records.h"
#include "nuv_http.h"
#include "nuv_list.h"

struct stNUVHTTPConnInfo {
  struct Entry {
    int profile;
    std::string address;
  };
  std::vector<Entry> entries;
};

namespace {

// Marks the one item of a request header list, so that any other list is
// refused by NUVHTTPValidateHeaderInfo.
constexpr uint32_t kRequestMagic = 0x48545251;  // "HTRQ"

struct RequestRecord {
  uint32_t magic = kRequestMagic;
  NUVHTTPRequestHeaderInfo info{};
  // Set when the list is released, for the server that made it.
  std::shared_ptr<std::atomic<bool>> released;
};

char* copyText(const char* text) { return strdup(text != nullptr ? text : ""); }

// The one item of a response header list (client profiles).
constexpr uint32_t kResponseMagic = 0x48545250;  // "HTRP"

struct ResponseRecord {
  uint32_t magic = kResponseMagic;
  NUVHTTPResponseHeaderInfo info{};
};

ResponseRecord* responseOf(stNUVAppList* headerList) {
  if (NUVListGetCount(headerList) != 1) return nullptr;
  auto* record = static_cast<ResponseRecord*>(NUVListGetItemData(headerList, 0));
  if (record == nullptr || record->magic != kResponseMagic) return nullptr;
  return record;
}

void freeResponse(void* data) {
  auto* record = static_cast<ResponseRecord*>(data);
  if (record == nullptr) return;
  record->magic = 0;
  free(record->info.connection);
  free(record->info.contentType);
  free(record->info.contentLength);
  FreeAdditionalHeaders(record->info.additionalHeaders);
  delete record;
}

RequestRecord* recordOf(stNUVAppList* headerList) {
  if (NUVListGetCount(headerList) != 1) return nullptr;
  auto* record = static_cast<RequestRecord*>(NUVListGetItemData(headerList, 0));
  if (record == nullptr || record->magic != kRequestMagic) return nullptr;
  return record;
}

void freeRecord(void* data) {
  auto* record = static_cast<RequestRecord*>(data);
  if (record == nullptr) return;
  record->magic = 0;
  if (record->released) record->released->store(true);
  free(record->info.target);
  free(record->info.methodName);
  free(record->info.clientAddress);
  FreeAdditionalHeaders(record->info.additionalHeaders);
  delete record;
}

}  // namespace

extern "C" {

stNUVAppList* NUVHTTPCreateRequestHeaderList(eHTTPMessageType method, const char* methodName,
                                             const char* target, eHTTPVersion version,
                                             int hostPresent, const char* clientAddress,
                                             long long contentLength, stNUVAppList* headers) {
  auto* record = new (std::nothrow) RequestRecord;
  if (record == nullptr) return nullptr;
  NUVHTTPRequestHeaderInfo& info = record->info;
  info.method = method;
  info.version = version;
  info.hostPresent = hostPresent != 0 ? 1 : 0;
  info.notHttp10 = version == NUV_HTTP_VERSION_1_0 ? 0 : 1;
  info.contentLength = contentLength;
  info.target = copyText(target);
  info.methodName = copyText(methodName);
  info.clientAddress = copyText(clientAddress);
  info.additionalHeaders = NUVListCreate();
  bool ok = info.target != nullptr && info.methodName != nullptr && info.clientAddress != nullptr &&
            info.additionalHeaders != nullptr;
  const int count = NUVListGetCount(headers);
  for (int i = 0; ok && i < count; ++i) {
    auto* header = static_cast<stNUVHeader*>(NUVListGetItemData(headers, i));
    if (header == nullptr || header->name == nullptr) continue;
    ok = NUVListAddHeader(info.additionalHeaders, header->name,
                          header->value != nullptr ? header->value : "") == 0;
    if (strcasecmp(header->name, "Expect") == 0 && header->value != nullptr &&
        strcasecmp(header->value, "100-continue") == 0) {
      info.expectContinue = 1;
    }
  }
  stNUVAppList* list = ok ? NUVListCreate() : nullptr;
  if (list == nullptr || NUVListAddItem(list, record) != 0) {
    NUVListDestroy(list, nullptr);
    freeRecord(record);
    return nullptr;
  }
  return list;
}

stNUVAppList* NUVHTTPCreateResponseHeaderList(int status, int http11, stNUVAppList* headers) {
  auto* record = new (std::nothrow) ResponseRecord;
  if (record == nullptr) return nullptr;
  NUVHTTPResponseHeaderInfo& info = record->info;
  info.statusCode = status;
  info.http11 = http11 != 0 ? 1 : 0;
  info.additionalHeaders = NUVListCreate();
  bool ok = info.additionalHeaders != nullptr;
  const int count = NUVListGetCount(headers);
  for (int i = 0; ok && i < count; ++i) {
    auto* header = static_cast<stNUVHeader*>(NUVListGetItemData(headers, i));
    if (header == nullptr || header->name == nullptr) continue;
    const char* value = header->value != nullptr ? header->value : "";
    ok = NUVListAddHeader(info.additionalHeaders, header->name, value) == 0;
    char** known = strcasecmp(header->name, "Content-Type") == 0     ? &info.contentType
                   : strcasecmp(header->name, "Content-Length") == 0 ? &info.contentLength
                   : strcasecmp(header->name, "Connection") == 0     ? &info.connection
                                                                     : nullptr;
    if (ok && known != nullptr && *known == nullptr) {
      *known = copyText(value);
      ok = *known != nullptr;
    }
  }
  stNUVAppList* list = ok ? NUVListCreate() : nullptr;
  if (list == nullptr || NUVListAddItem(list, record) != 0) {
    NUVListDestroy(list, nullptr);
    freeResponse(record);
    return nullptr;
  }
  return list;
}

int NUVHTTPGetResponseHeaderInfo(stNUVAppList* headerList, NUVHTTPResponseHeaderInfo** info) {
  ResponseRecord* record = responseOf(headerList);
  if (record == nullptr || info == nullptr) return 1;
  *info = &record->info;
  return 0;
}

void NUVHTTPFreeClientRequest(NUVHTTPClientRequest* request) {
  if (request == nullptr) return;
  free(request->url);
  free(request->host);
  FreeAdditionalHeaders(request->additionalHeaders);
  free(request);
}

int NUVHTTPValidateHeaderInfo(stNUVAppList* headerList) {
  return recordOf(headerList) != nullptr || responseOf(headerList) != nullptr ? 0 : 1;
}

int NUVHTTPGetRequestHeaderInfo(stNUVAppList* headerList, NUVHTTPRequestHeaderInfo** info) {
  RequestRecord* record = recordOf(headerList);
  if (record == nullptr || info == nullptr) return 1;
  *info = &record->info;
  return 0;
}

int NUVHTTPReleaseHeaderInfo(stNUVAppList* headerList) {
  if (headerList == nullptr) return 0;
  if (responseOf(headerList) != nullptr) {
    NUVListDestroy(headerList, &freeResponse);
    return 0;
  }
  if (recordOf(headerList) == nullptr) return 1;
  NUVListDestroy(headerList, &freeRecord);
  return 0;
}

char* NUVHTTPGetAdditionalHeaderValue(stNUVAppList* headers, const char* name) {
  if (name == nullptr) return nullptr;
  const int count = NUVListGetCount(headers);
  for (int i = 0; i < count; ++i) {
    auto* header = static_cast<stNUVHeader*>(NUVListGetItemData(headers, i));
    if (header != nullptr && header->name != nullptr && strcasecmp(header->name, name) == 0) {
      return copyText(header->value);
    }
  }
  return nullptr;
}

int NUVHTTPAddAdditionalHeaderValue(stNUVAppList* headers, const char* name, const char* value) {
  if (headers == nullptr || name == nullptr || value == nullptr) return 1;
  return NUVListAddHeader(headers, name, value);
}

void FreeAdditionalHeaders(stNUVAppList* headers) { NUVListDestroy(headers, &NUVListFreePair); }

void FreeResponseHeader(NUVHTTPResponseHeaderInfo* header) {
  if (header == nullptr) return;
  free(header->connection);
  free(header->contentType);
  free(header->contentLength);
  FreeAdditionalHeaders(header->additionalHeaders);
  free(header);
}

int NUVHTTPGetConnProfilesCount(const stNUVHTTPConnInfo* connInfo) {
  return connInfo == nullptr ? 0 : static_cast<int>(connInfo->entries.size());
}

int NUVHTTPAddConnInfo(stNUVHTTPConnInfo* stored, const stNUVHTTPConnInfo* added) {
  return dms_export::guarded("NUVHTTPAddConnInfo", 1, [&]() -> int {
    if (stored == nullptr || added == nullptr || stored == added) return 1;
    stored->entries.insert(stored->entries.end(), added->entries.begin(), added->entries.end());
    return 0;
  });
}

int NUVHTTPGetConnectionInfo(const stNUVHTTPConnInfo* connInfo, int index, int* profile,
                             char** address) {
  if (connInfo == nullptr || index < 1 || index > NUVHTTPGetConnProfilesCount(connInfo)) return 1;
  const auto& entry = connInfo->entries[static_cast<size_t>(index - 1)];
  if (profile != nullptr) *profile = entry.profile;
  if (address != nullptr) *address = const_cast<char*>(entry.address.c_str());
  return 0;
}

int NUVHTTPRemoveConnectionInfo(stNUVHTTPConnInfo* connInfo, int index) {
  if (connInfo == nullptr || index < 1 || index > NUVHTTPGetConnProfilesCount(connInfo)) return 1;
  connInfo->entries.erase(connInfo->entries.begin() + (index - 1));
  return 0;
}

void NUVHTTPFreeConnectionInfo(stNUVHTTPConnInfo* connInfo) { delete connInfo; }

}  // extern "C"

namespace dmsstack {

stNUVHTTPConnInfo* newConnInfo(const std::vector<std::pair<int, std::string>>& profiles) {
  auto* info = new (std::nothrow) stNUVHTTPConnInfo;
  if (info == nullptr) return nullptr;
  for (const auto& p : profiles) info->entries.push_back({p.first, p.second});
  return info;
}

eHTTPMessageType methodFromName(const char* method) {
  static const struct {
    const char* name;
    eHTTPMessageType type;
  } kMethods[] = {{"GET", NUV_HTTP_GET},       {"HEAD", NUV_HTTP_HEAD},
                  {"PUT", NUV_HTTP_PUT},       {"POST", NUV_HTTP_POST},
                  {"DELETE", NUV_HTTP_DELETE}, {"OPTIONS", NUV_HTTP_OPTIONS}};
  if (method == nullptr) return NUV_HTTP_METHOD_OTHER;
  for (const auto& m : kMethods) {
    if (strcmp(method, m.name) == 0) return m.type;
  }
  return NUV_HTTP_METHOD_OTHER;
}

long long contentLengthFromText(const char* text) {
  if (text == nullptr || *text < '0' || *text > '9') return -1;
  errno = 0;
  char* end = nullptr;
  const long long value = strtoll(text, &end, 10);
  if (errno != 0 || *end != '\0') return -1;
  return value;
}

bool watchRelease(stNUVAppList* headerList, std::shared_ptr<std::atomic<bool>> flag) {
  RequestRecord* record = recordOf(headerList);
  if (record == nullptr) return false;
  record->released = std::move(flag);
  return true;
}

}  // namespace dmsstack
