// The header block of a response as the HTTP client profiles receive it from
// libcurl, one line per call: the status line, header lines, folded
// continuation lines and the empty line that ends the block. A transfer sees
// several blocks in a row ("100 Continue", redirects, then the final one).
//
// Knows nothing of libcurl nor of the client profiles, so that it can be
// tested and fuzzed on its own.
//
// Thread safety: none; a block belongs to one transfer's thread.
#ifndef DMS_STACK_HTTP_RESPONSE_HEADER_BLOCK_H
#define DMS_STACK_HTTP_RESPONSE_HEADER_BLOCK_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nuv_list.h"

namespace dmsstack {

// Header lines in the order received: (name, value).
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

// `text` without leading blanks (SP, HT) and without trailing blanks, CR and LF.
std::string_view trimmedHeaderText(std::string_view text);

// Header names compare ignoring ASCII case.
bool sameHeaderName(std::string_view a, const char* b);

// The value of the first header named `name`, or null. Valid until
// `headers` changes.
const std::string* findHeader(const HttpHeaders& headers, const char* name);

class ResponseHeaderBlock {
 public:
  // What one line did to the block.
  enum class Line {
    // No block open (lines of no response, trailers); a line without colon,
    // whose name is not a token, or whose value holds a NUL, CR or LF.
    Ignored,
    Status,  // a status line: a new block begins (or none, when it is not a valid one)
    Header,  // a header line or a continuation line
    End      // the empty line: the open block is complete
  };

  // Takes one line as libcurl hands it over, its line break included. After
  // End the block holds the complete response header until the next status
  // line; open() is false from then on. Names and values are kept without
  // surrounding blanks; a folded line joins its header's value with one space.
  Line take(std::string_view line);

  // A status line was read and the block's empty line has not come yet.
  bool open() const { return open_; }
  // The status (100 to 999) of the latest status line; 0 before any, or
  // after one that was not valid.
  int status() const { return status_; }
  // False for an HTTP/1.0 (or 0.9) status line.
  bool http11() const { return http11_; }
  const HttpHeaders& headers() const { return headers_; }

  // The block as a response header list (NUVHTTPCreateResponseHeaderList),
  // or null when memory runs out. The caller owns the list and releases it
  // with NUVHTTPReleaseHeaderInfo.
  stNUVAppList* makeList() const;

 private:
  bool parseStatusLine(std::string_view line);

  bool open_ = false;
  int status_ = 0;
  bool http11_ = true;
  HttpHeaders headers_;
};

}  // namespace dmsstack

#endif  // DMS_STACK_HTTP_RESPONSE_HEADER_BLOCK_H
