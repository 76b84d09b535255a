// UPnPCDSUtils: the Filter test, the property element, the output arguments
// and the URL split. The container and item writers are in didl_writer.cpp.
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "action_info.h"
#include "cds_helper.h"
#include "dms_conversions.h"
#include "dms_list.h"
#include "dms_string.h"
#include "nuv_log.h"
#include "upnp_cds_utils.h"

namespace {

std::string_view viewOf(const DMSAppString* s) {
  if (s == nullptr || s->ReadString() == nullptr) return {};
  return std::string_view(s->ReadString(), strnlen(s->ReadString(), s->GetStringLength()));
}

// Entities are at most 9 characters once escaped twice ("&amp;amp;"): an
// "&" that close to the cut may belong to an entity cut in half.
constexpr int kLongestEntity = 9;

}  // namespace

namespace dms_cds {

bool appendEscapedTwice(std::string_view value, std::string* out) {
  if (value.empty()) return true;
  thread_local std::string once;
  once.clear();
  return DMSAppConversions::AppendEscapedXml(value, &once) &&
         DMSAppConversions::AppendEscapedXml(once, out);
}

DMSAppString* escapeTwice(const DMSAppString* value) {
  if (value == nullptr || value->ReadString() == nullptr) return nullptr;
  // A text cut to length 0 over a non-empty buffer is refused by the escape.
  if (value->ReadString()[0] != '\0' && value->GetStringLength() == 0) return nullptr;
  std::string escaped;
  if (!appendEscapedTwice(viewOf(value), &escaped)) return nullptr;
  auto* result = new (std::nothrow) DMSAppString(escaped.c_str());
  if (result != nullptr && result->ReadString() == nullptr) {
    delete result;
    return nullptr;
  }
  return result;
}

bool appendProperty(std::string* out, std::string_view tag, std::string_view attributes,
                    const char* value, int limit) {
  if (value == nullptr) return false;
  std::string_view text(value);
  // A single character, even a blank, is kept: it stands for "no URI" in
  // the res of an object awaiting its upload.
  if (text.size() > 1) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return false;
    text = text.substr(first, text.find_last_not_of(' ') - first + 1);
  }
  // The plain properties carry a single blank as attribute text: that counts
  // as none, so empty metadata (a blank genre stored trimmed) writes nothing.
  const bool noAttributes = attributes.find_first_not_of(' ') == std::string_view::npos;
  if (noAttributes && text.empty()) return false;
  thread_local std::string escaped;
  escaped.clear();
  if (!appendEscapedTwice(text, &escaped)) return false;
  if (escaped.empty() && noAttributes) return false;
  if (limit >= 0 && escaped.size() > static_cast<size_t>(limit)) {
    escaped.resize(static_cast<size_t>(limit));
    const size_t amp = escaped.rfind('&');
    if (amp != std::string::npos && limit - static_cast<int>(amp) <= kLongestEntity)
      escaped.resize(amp);
  }
  out->append("&lt;").append(tag).append(attributes).append("&gt;");
  out->append(escaped).append("&lt;/").append(tag).append("&gt;\r\n");
  return true;
}

int appendPiece(DMSCDSList* pieces, const char* text) {
  auto* piece = new (std::nothrow) DMSAppString(text);
  if (pieces == nullptr || piece == nullptr || piece->ReadString() == nullptr ||
      pieces->AddItem(piece) != 0) {
    delete piece;
    return 1;
  }
  return 0;
}

void freePieces(DMSCDSList* pieces) {
  if (pieces == nullptr) return;
  pieces->RemoveAllListItem([](void* data) {
    delete static_cast<DMSAppString*>(data);
    return 0;
  });
}

}  // namespace dms_cds

int UPnPCDSUtils::Initialize() { return CDSHelper::GetInstance() != nullptr ? 0 : 1; }

int UPnPCDSUtils::Terminate() { return 0; }

int UPnPCDSUtils::__CheckFilter(const DMSAppString* filter, DMSAppString* property) {
  if (property == nullptr || property->ReadString() == nullptr) return 0;
  return checkFilter(filter, viewOf(property));
}

int UPnPCDSUtils::checkFilter(const DMSAppString* filter, std::string_view property) {
  if (filter == nullptr || filter->ReadString() == nullptr) return 0;
  const std::string_view text = viewOf(filter);
  if (!text.empty() && text[0] == '*') return property == "ALLIP" ? 0 : 1;
  if (text == "ALLIP") return 1;
  // Kept: any filter, even one naming other properties only, yields dc:title.
  if (property == "dc:title") return 1;
  if (property.empty()) return 0;
  // Control points that name DLNA attributes are answered generously.
  if (text.find("dlna:") != std::string_view::npos)
    return text.find(property) != std::string_view::npos ? 1 : 0;
  if (text == property) return 1;
  for (size_t at = text.find(property); at != std::string_view::npos;
       at = text.find(property, at + property.size())) {
    const size_t after = at + property.size();
    if (after >= text.size()) return 1;
    const char next = text[after];
    if (next == ',' || next == '@') return 1;
    // One control character or blank may end the filter; a blank before a
    // comma does not count as a match (kept as control points have seen it).
    if (static_cast<unsigned char>(next) < 33 && after + 1 == text.size()) return 1;
  }
  return 0;
}

int UPnPCDSUtils::__CheckSortCriteria(BrowseSearchArgument* /*argument*/) { return 1; }

int UPnPCDSUtils::__AddWithXMLTag(DMSAppString** out, int capacity, const DMSAppString* tag,
                                  const DMSAppString* attributes, const DMSAppString* value,
                                  bool /*flag*/, int limit) {
  if (out == nullptr) return 1;
  if (*out == nullptr) {
    *out = new (std::nothrow) DMSAppString(capacity > 0 ? static_cast<unsigned int>(capacity) : 1u);
    if (*out == nullptr) return 1;
  }
  DMSAppString* element = *out;
  auto refuse = [element] {
    element->Copy("");
    return 1;
  };
  if (tag == nullptr || attributes == nullptr || value == nullptr || value->ReadString() == nullptr)
    return refuse();
  std::string text;
  if (!dms_cds::appendProperty(&text, viewOf(tag), viewOf(attributes), value->ReadString(), limit))
    return refuse();
  element->Copy(text.c_str());
  return element->GetStringLength() == text.size() ? 0 : refuse();
}

int UPnPCDSUtils::__AddOutArgs(DMSCDSList** outArguments, DMSCDSList* pieces, int numberReturned,
                               int totalMatches, int updateID) {
  if (outArguments == nullptr || pieces == nullptr) return 1;
  unsigned int total = 10;
  for (const stDMSCDSListItem* item = pieces->ReadFirstItem(); item != nullptr; item = item->next)
    total += static_cast<const DMSAppString*>(item->data)->GetStringLength();
  auto* result = new (std::nothrow) DMSAppString(total);
  if (result == nullptr || result->ReadString() == nullptr) {
    delete result;
    NUVPrintf(NUV_LOG_ERROR, "[CM] Memory error.");
    return 1;
  }
  // Copied straight into the reserved buffer: Add would re-measure the
  // growing text for every piece, and a joined copy first costs one more
  // pass over the whole Result.
  char* end = result->ReadString();
  for (const stDMSCDSListItem* item = pieces->ReadFirstItem(); item != nullptr; item = item->next) {
    const auto* piece = static_cast<const DMSAppString*>(item->data);
    if (piece->GetStringLength() == 0 || piece->ReadString() == nullptr) continue;
    const size_t length = strnlen(piece->ReadString(), piece->GetStringLength());
    memcpy(end, piece->ReadString(), length);
    end += length;
  }
  result->SetStringLength(static_cast<unsigned int>(end - result->ReadString()));
  if (*outArguments == nullptr) *outArguments = new (std::nothrow) DMSCDSList();
  DMSCDSList* list = *outArguments;
  const int numbers[3] = {numberReturned, totalMatches, updateID};
  const char* names[3] = {"NumberReturned", "TotalMatches", "UpdateID"};
  bool failed = list == nullptr || dms_cds::appendArgument(list, "Result", result) != 0;
  if (list == nullptr) delete result;
  for (int i = 0; i < 3 && !failed; ++i) {
    auto* number = new (std::nothrow) DMSAppString(10u);
    failed = number == nullptr || number->ReadString() == nullptr;
    if (!failed) {
      number->Add(numbers[i]);
      failed = dms_cds::appendArgument(list, names[i], number) != 0;
    } else {
      delete number;
    }
  }
  if (failed) NUVPrintf(NUV_LOG_ERROR, "[UPnPCDSUtil] Memory error.");
  return failed ? 1 : 0;
}

int UPnPCDSUtils::__GetUrlInfo(const DMSAppString* url, DMSAppString* host, int* port) {
  if (url == nullptr || host == nullptr || port == nullptr) return 1;
  std::string_view text = viewOf(url);
  if (text.compare(0, 7, "http://") == 0) {
    text.remove_prefix(7);
  } else if (text.compare(0, 8, "https://") == 0) {
    text.remove_prefix(8);
  }
  const size_t colon = text.find(':');
  const size_t slash = text.find('/');
  *port = 0;
  if (colon != std::string_view::npos) {
    int value = 0;
    for (size_t i = colon + 1; i < text.size() && text[i] != '/'; ++i) {
      if (text[i] < '0' || text[i] > '9' || value > 65535) break;
      value = value * 10 + (text[i] - '0');
    }
    *port = value;
  }
  const size_t end = colon != std::string_view::npos ? colon : slash;
  host->Copy(std::string(text.substr(0, end)).c_str());
  return 0;
}

int UPnPCDSUtils::__GetPortNumber(const DMSAppString* url) {
  DMSAppString host("");
  int port = 0;
  return __GetUrlInfo(url, &host, &port) == 0 ? port : 0;
}
