// The stack's HTTP records: request header lists (building, validation,
// release), additional headers, response headers and the connection-profile
// record with its count, merge, read and removal.
#include <gtest/gtest.h>

#include "allocated_bytes.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "http_records.h"
#include "nuv_http.h"
#include "nuv_list.h"

namespace {

stNUVAppList* headers(std::initializer_list<std::pair<const char*, const char*>> pairs) {
  stNUVAppList* list = NUVListCreate();
  for (const auto& p : pairs) NUVListAddHeader(list, p.first, p.second);
  return list;
}

}  // namespace

TEST(StackHttpRecords, RequestRecordCarriesMethodTargetHostAndVersion) {
  stNUVAppList* extra = headers({{"Range", "bytes=0-"}, {"User-Agent", "curl"}});
  stNUVAppList* request = NUVHTTPCreateRequestHeaderList(
      NUV_HTTP_GET, "GET", "/a%20b", NUV_HTTP_VERSION_1_0, 1, "10.0.0.2", 12, extra);
  FreeAdditionalHeaders(extra);
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(NUVHTTPValidateHeaderInfo(request), 0);
  NUVHTTPRequestHeaderInfo* info = nullptr;
  ASSERT_EQ(NUVHTTPGetRequestHeaderInfo(request, &info), 0);
  EXPECT_EQ(info->method, NUV_HTTP_GET);
  EXPECT_STREQ(info->target, "/a%20b");
  EXPECT_STREQ(info->methodName, "GET");
  EXPECT_EQ(info->hostPresent, 1);
  EXPECT_EQ(info->notHttp10, 0);
  EXPECT_EQ(info->version, NUV_HTTP_VERSION_1_0);
  EXPECT_STREQ(info->clientAddress, "10.0.0.2");
  EXPECT_EQ(info->contentLength, 12);
  EXPECT_EQ(info->expectContinue, 0);
  EXPECT_EQ(NUVListGetCount(info->additionalHeaders), 2);
  EXPECT_EQ(NUVHTTPReleaseHeaderInfo(request), 0);
}

TEST(StackHttpRecords, ExpectContinueIsNoted) {
  stNUVAppList* extra = headers({{"expect", "100-Continue"}});
  stNUVAppList* request = NUVHTTPCreateRequestHeaderList(NUV_HTTP_POST, "POST", "/x",
                                                         NUV_HTTP_VERSION_1_1, 1, "", 5, extra);
  FreeAdditionalHeaders(extra);
  NUVHTTPRequestHeaderInfo* info = nullptr;
  ASSERT_EQ(NUVHTTPGetRequestHeaderInfo(request, &info), 0);
  EXPECT_EQ(info->expectContinue, 1);
  EXPECT_EQ(info->notHttp10, 1);
  NUVHTTPReleaseHeaderInfo(request);
}

TEST(StackHttpRecords, OtherListsAreNotRequests) {
  stNUVAppList* list = headers({{"Host", "x"}});
  EXPECT_NE(NUVHTTPValidateHeaderInfo(list), 0);
  NUVHTTPRequestHeaderInfo* info = nullptr;
  EXPECT_NE(NUVHTTPGetRequestHeaderInfo(list, &info), 0);
  EXPECT_EQ(info, nullptr);
  EXPECT_NE(NUVHTTPReleaseHeaderInfo(list), 0) << "not ours to free";
  FreeAdditionalHeaders(list);
  EXPECT_NE(NUVHTTPValidateHeaderInfo(nullptr), 0);
  EXPECT_EQ(NUVHTTPReleaseHeaderInfo(nullptr), 0);
}

TEST(StackHttpRecords, ReleaseIsReportedToTheWatcher) {
  stNUVAppList* request = NUVHTTPCreateRequestHeaderList(NUV_HTTP_HEAD, "HEAD", "/",
                                                         NUV_HTTP_VERSION_1_1, 1, "", -1, nullptr);
  auto flag = std::make_shared<std::atomic<bool>>(false);
  ASSERT_TRUE(dmsstack::watchRelease(request, flag));
  EXPECT_FALSE(flag->load());
  NUVHTTPReleaseHeaderInfo(request);
  EXPECT_TRUE(flag->load());
}

TEST(StackHttpRecords, AdditionalHeaderLookupIgnoresCaseAndCopies) {
  stNUVAppList* list =
      headers({{"transferMode.DLNA.org", "Streaming"}, {"TransferMode.dlna.org", "x"}});
  char* value = NUVHTTPGetAdditionalHeaderValue(list, "transfermode.dlna.org");
  ASSERT_NE(value, nullptr);
  EXPECT_STREQ(value, "Streaming") << "the first match";
  free(value);
  EXPECT_EQ(NUVHTTPGetAdditionalHeaderValue(list, "Range"), nullptr);
  EXPECT_EQ(NUVHTTPGetAdditionalHeaderValue(nullptr, "Range"), nullptr);
  EXPECT_EQ(NUVHTTPAddAdditionalHeaderValue(list, "Range", "bytes=1-2"), 0);
  value = NUVHTTPGetAdditionalHeaderValue(list, "range");
  EXPECT_STREQ(value, "bytes=1-2");
  free(value);
  EXPECT_NE(NUVHTTPAddAdditionalHeaderValue(list, "Range", nullptr), 0);
  EXPECT_NE(NUVHTTPAddAdditionalHeaderValue(nullptr, "Range", "x"), 0);
  FreeAdditionalHeaders(list);
}

// Bytes still allocated after a response header with a 2,000-byte extra
// header is made, and after it is freed; relative to before.
std::pair<long, long> responseHeaderFootprint() {
  const std::string mode(2000, 'S');
  const size_t before = allocatedBytes();
  auto* response =
      static_cast<NUVHTTPResponseHeaderInfo*>(calloc(1, sizeof(NUVHTTPResponseHeaderInfo)));
  response->connection = strdup("close");
  response->contentType = strdup("video/mp4");
  response->contentLength = strdup("10");
  response->additionalHeaders = headers({{"transferMode.dlna.org", mode.c_str()}});
  const size_t made = allocatedBytes();
  FreeResponseHeader(response);
  FreeResponseHeader(nullptr);
  const size_t after = allocatedBytes();
  return {static_cast<long>(made - before), static_cast<long>(after - before)};
}

TEST(StackHttpRecords, ResponseHeaderIsFreedWhole) {
  responseHeaderFootprint();  // first use sets up what stays for the process
  const auto [made, left] = responseHeaderFootprint();
  EXPECT_GT(made, 2000);
  EXPECT_EQ(left, 0);
}

TEST(StackHttpRecords, ConnectionProfilesCountMergeReadAndRemove) {
  stNUVHTTPConnInfo* stored = dmsstack::newConnInfo({{1, "10.0.0.1"}});
  stNUVHTTPConnInfo* added = dmsstack::newConnInfo({{2, "10.0.0.2"}, {3, "127.0.0.1"}});
  EXPECT_EQ(NUVHTTPGetConnProfilesCount(stored), 1);
  EXPECT_EQ(NUVHTTPAddConnInfo(stored, added), 0);
  NUVHTTPFreeConnectionInfo(added);
  EXPECT_EQ(NUVHTTPGetConnProfilesCount(stored), 3);
  int profile = 0;
  char* address = nullptr;
  ASSERT_EQ(NUVHTTPGetConnectionInfo(stored, 2, &profile, &address), 0);
  EXPECT_EQ(profile, 2);
  EXPECT_STREQ(address, "10.0.0.2");
  EXPECT_NE(NUVHTTPGetConnectionInfo(stored, 0, &profile, &address), 0) << "indexes start at 1";
  EXPECT_NE(NUVHTTPGetConnectionInfo(stored, 4, &profile, &address), 0);
  EXPECT_EQ(NUVHTTPRemoveConnectionInfo(stored, 1), 0);
  ASSERT_EQ(NUVHTTPGetConnectionInfo(stored, 1, &profile, &address), 0);
  EXPECT_EQ(profile, 2);
  EXPECT_NE(NUVHTTPRemoveConnectionInfo(stored, 3), 0);
  EXPECT_EQ(NUVHTTPGetConnProfilesCount(stored), 2);
  EXPECT_EQ(NUVHTTPGetConnProfilesCount(nullptr), 0);
  EXPECT_NE(NUVHTTPAddConnInfo(stored, stored), 0);
  NUVHTTPFreeConnectionInfo(stored);
  NUVHTTPFreeConnectionInfo(nullptr);
}
