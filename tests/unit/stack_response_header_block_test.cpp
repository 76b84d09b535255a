// The response header blocks of the HTTP client profiles, fed line by line as
// libcurl hands them over: an interim "100 Continue" then the final block,
// folded header lines, lines without colon, lines before any status line,
// HTTP/1.0 status lines, invalid statuses, names and values, and the response
// header list made of a block.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "nuv_http.h"
#include "nuv_list.h"
#include "response_header_block.h"

namespace {

using dmsstack::HttpHeaders;
using dmsstack::ResponseHeaderBlock;
using Line = ResponseHeaderBlock::Line;

// What each line did, in order.
std::vector<Line> feed(ResponseHeaderBlock* block, std::initializer_list<const char*> lines) {
  std::vector<Line> results;
  for (const char* line : lines) results.push_back(block->take(line));
  return results;
}

}  // namespace

TEST(ResponseHeaderBlock, ContinueBlockThenFinalBlock) {
  ResponseHeaderBlock block;
  EXPECT_EQ(feed(&block, {"HTTP/1.1 100 Continue\r\n", "\r\n"}),
            (std::vector<Line>{Line::Status, Line::End}));
  EXPECT_EQ(block.status(), 100);
  EXPECT_TRUE(block.headers().empty());
  EXPECT_FALSE(block.open());

  EXPECT_EQ(feed(&block, {"HTTP/1.1 200 OK\r\n", "Content-Type: text/xml\r\n",
                          "Content-Length:  12 \r\n", "\r\n"}),
            (std::vector<Line>{Line::Status, Line::Header, Line::Header, Line::End}));
  EXPECT_EQ(block.status(), 200);
  EXPECT_TRUE(block.http11());
  EXPECT_EQ(block.headers(), (HttpHeaders{{"Content-Type", "text/xml"}, {"Content-Length", "12"}}));
  // Lines after the block (trailers of a chunked body) change nothing.
  EXPECT_EQ(block.take("X-Trailer: 1\r\n"), Line::Ignored);
  EXPECT_EQ(block.headers().size(), 2u);
}

TEST(ResponseHeaderBlock, FoldedLineContinuesThePreviousHeader) {
  ResponseHeaderBlock block;
  EXPECT_EQ(feed(&block, {"HTTP/1.1 200 OK\r\n", "X-Long: first\r\n", " \tsecond \r\n",
                          "\tthird\r\n", "\r\n"}),
            (std::vector<Line>{Line::Status, Line::Header, Line::Header, Line::Header, Line::End}));
  EXPECT_EQ(block.headers(), (HttpHeaders{{"X-Long", "first second third"}}));
}

TEST(ResponseHeaderBlock, FoldedLineWithoutHeaderIsIgnored) {
  ResponseHeaderBlock block;
  EXPECT_EQ(feed(&block, {"HTTP/1.1 200 OK\r\n", " orphan\r\n"}),
            (std::vector<Line>{Line::Status, Line::Ignored}));
  EXPECT_TRUE(block.headers().empty());
}

TEST(ResponseHeaderBlock, LineWithoutColonIsIgnored) {
  ResponseHeaderBlock block;
  EXPECT_EQ(feed(&block, {"HTTP/1.1 204 No Content\r\n", "NoColonHere\r\n", "A: 1\r\n", "\r\n"}),
            (std::vector<Line>{Line::Status, Line::Ignored, Line::Header, Line::End}));
  EXPECT_EQ(block.status(), 204);
  EXPECT_EQ(block.headers(), (HttpHeaders{{"A", "1"}}));
}

TEST(ResponseHeaderBlock, LinesBeforeAnyStatusLineAreIgnored) {
  ResponseHeaderBlock block;
  EXPECT_EQ(feed(&block, {"Content-Type: text/plain\r\n", "\r\n", "garbage\r\n"}),
            (std::vector<Line>{Line::Ignored, Line::Ignored, Line::Ignored}));
  EXPECT_FALSE(block.open());
  EXPECT_EQ(block.status(), 0);
  EXPECT_EQ(feed(&block, {"HTTP/1.1 404 Not Found\r\n", "\r\n"}),
            (std::vector<Line>{Line::Status, Line::End}));
  EXPECT_EQ(block.status(), 404);
  EXPECT_TRUE(block.headers().empty());
}

TEST(ResponseHeaderBlock, Http10StatusLine) {
  ResponseHeaderBlock block;
  EXPECT_EQ(block.take("HTTP/1.0 200 OK\r\n"), Line::Status);
  EXPECT_TRUE(block.open());
  EXPECT_EQ(block.status(), 200);
  EXPECT_FALSE(block.http11());
  // A later HTTP/1.1 block starts afresh.
  EXPECT_EQ(block.take("HTTP/1.1 301 Moved\r\n"), Line::Status);
  EXPECT_TRUE(block.http11());
  EXPECT_EQ(block.status(), 301);
}

TEST(ResponseHeaderBlock, BadStatusLineOpensNoBlock) {
  ResponseHeaderBlock block;
  EXPECT_EQ(block.take("HTTP/1.1 2x0 OK\r\n"), Line::Status);
  EXPECT_FALSE(block.open());
  EXPECT_EQ(block.take("A: 1\r\n"), Line::Ignored);
  EXPECT_EQ(block.take("\r\n"), Line::Ignored);
}

TEST(ResponseHeaderBlock, StatusBelow100OpensNoBlock) {
  ResponseHeaderBlock block;
  EXPECT_EQ(block.take("HTTP/1.1 099 Odd\r\n"), Line::Status);
  EXPECT_FALSE(block.open());
  EXPECT_EQ(block.status(), 0);
  EXPECT_EQ(block.take("\r\n"), Line::Ignored);
}

TEST(ResponseHeaderBlock, NameNotATokenOrValueWithNulOrCrIsIgnored) {
  ResponseHeaderBlock block;
  const std::string nul("X-Nul: a\0b\r\n", 12);
  EXPECT_EQ(
      feed(&block, {"HTTP/1.1 200 OK\r\n", ": no name\r\n", "Bad Name: 1\r\n", "X-Cr: a\rb\r\n",
                    "Good: 1\r\n"}),
      (std::vector<Line>{Line::Status, Line::Ignored, Line::Ignored, Line::Ignored, Line::Header}));
  EXPECT_EQ(block.take(nul), Line::Ignored);
  EXPECT_EQ(block.take(std::string(" more\0\r\n", 8)), Line::Ignored);
  EXPECT_EQ(block.headers(), (HttpHeaders{{"Good", "1"}}));
}

TEST(ResponseHeaderBlock, FoldedLineOntoEmptyValueAddsNoBlank) {
  ResponseHeaderBlock block;
  feed(&block, {"HTTP/1.1 200 OK\r\n", "X-Empty:\r\n", "  later\r\n"});
  EXPECT_EQ(block.headers(), (HttpHeaders{{"X-Empty", "later"}}));
}

TEST(ResponseHeaderBlock, ListReadsBackStatusAndHeaders) {
  ResponseHeaderBlock block;
  feed(&block, {"HTTP/1.0 206 Partial Content\r\n", "content-length: 5\r\n",
                "Content-Type: image/jpeg\r\n", "Content-Length: 6\r\n", "\r\n"});
  stNUVAppList* list = block.makeList();
  ASSERT_NE(list, nullptr);
  NUVHTTPResponseHeaderInfo* info = nullptr;
  ASSERT_EQ(NUVHTTPGetResponseHeaderInfo(list, &info), 0);
  EXPECT_EQ(info->statusCode, 206);
  EXPECT_EQ(info->http11, 0);
  EXPECT_STREQ(info->contentLength, "5");  // the first of its name
  EXPECT_STREQ(info->contentType, "image/jpeg");
  EXPECT_EQ(info->connection, nullptr);
  ASSERT_EQ(NUVListGetCount(info->additionalHeaders), 3);
  auto* last = static_cast<stNUVHeader*>(NUVListGetItemData(info->additionalHeaders, 2));
  EXPECT_STREQ(last->name, "Content-Length");
  EXPECT_STREQ(last->value, "6");
  EXPECT_EQ(NUVHTTPReleaseHeaderInfo(list), 0);
}
