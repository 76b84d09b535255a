// MultiMediaDbConnector: the image and video caches. Outside DLNA
// certification mode the shared images and videos are read once, when the
// connector is built, and listings are then answered from memory; files
// registered later show only after the connector is built again.
#include <memory>
#include <new>
#include <string>

#include "content_limits.h"
#include "contents_enumerator_argument.h"
#include "db_row_reader.h"
#include "dms_list.h"
#include "dms_string.h"
#include "multimedia_db_connector.h"
#include "nuv_log.h"
#include "record_list.h"
#include "sql_text.h"
#include "sqlite_handles.h"
#include "text_util.h"

void MultiMediaDbConnector::addToImageObjectVector() {
  NUVPrintf(NUV_LOG_INFO, "addToImageObjectVector() ENTER\n");
  fillCache(sql_text::kCacheImages, sql_text::kImage, &vImageObject_);
  NUVPrintf(NUV_LOG_INFO, "vImageObject.size = %d", static_cast<int>(vImageObject_.size()));
  NUVPrintf(NUV_LOG_INFO, "addToImageObjectVector() EXIT");
}

void MultiMediaDbConnector::addToVideoObjectVector() {
  NUVPrintf(NUV_LOG_INFO, "addToVideoObjectVector() ENTER\n");
  fillCache(sql_text::kCacheVideos, sql_text::kVideo, &vVideoObject_);
  NUVPrintf(NUV_LOG_INFO, "vVideoObject.size = %d", static_cast<int>(vVideoObject_.size()));
  NUVPrintf(NUV_LOG_INFO, "addToVideoObjectVector() EXIT");
}

void MultiMediaDbConnector::fillCache(const char* sql, unsigned int mode, Records* cache) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  SqliteTable table;
  if (!selectRows(sql, &table)) return;
  NUVPrintf(NUV_LOG_INFO, "nRow = %d\n", table.rows());
  if (table.rows() > 0 && table.columns() != columnsOfKind(mode)) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::fillCache] unexpected layout: %d columns",
              table.columns());
    return;
  }
  int rows = table.rows() < content_limits::kMaxCachedRecords ? table.rows()
                                                              : content_limits::kMaxCachedRecords;
  for (int row = 0; row < rows; ++row) {
    std::unique_ptr<ContentsEnumeratorArgument> record(recordFromRow(mode, table, row));
    if (record == nullptr) return;  // out of memory: keep what was read
    cache->push_back(std::move(record));
  }
}

int MultiMediaDbConnector::GetTotalImageItem2() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return static_cast<int>(vImageObject_.size());
}

int MultiMediaDbConnector::GetTotalVideoItem2() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return static_cast<int>(vVideoObject_.size());
}

DMSCDSList* MultiMediaDbConnector::GetImageItems2(int start, int count) {
  NUVPrintf(NUV_LOG_INFO, "imageItem: index = %d, count = %d\n", start, count);
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (start < 0 || !connected_) return nullptr;
  if (vImageObject_.empty()) {
    NUVPrintf(NUV_LOG_ERROR, "Error : vImageObject.size() = %d\n", 0);
    return nullptr;
  }
  return pageFromCache(vImageObject_, sql_text::kImage, start, count);
}

DMSCDSList* MultiMediaDbConnector::GetVideoItems2(int start, int count) {
  NUVPrintf(NUV_LOG_INFO, "videoItem: index = %d, count = %d\n", start, count);
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (start < 0 || !connected_) return nullptr;
  if (vVideoObject_.empty()) {
    NUVPrintf(NUV_LOG_ERROR, "Error : vVideoObject.size() = %d\n", 0);
    return nullptr;
  }
  return pageFromCache(vVideoObject_, sql_text::kVideo, start, count);
}

DMSCDSList* MultiMediaDbConnector::pageFromCache(const Records& cache, int kind, int start,
                                                 int count) {
  if (count < 0) return nullptr;
  long long maxIndex = static_cast<long long>(start) + count;
  if (maxIndex > static_cast<long long>(cache.size())) {
    NUVPrintf(NUV_LOG_ERROR, "Error : maxIndex = %d\n", static_cast<int>(maxIndex));
    return nullptr;
  }
  RecordListPtr list(newRecordList(kind, count));
  if (list == nullptr) return nullptr;
  for (int i = start; i < start + count; ++i) {
    std::unique_ptr<ContentsEnumeratorArgument> copy(new (std::nothrow)
                                                         ContentsEnumeratorArgument(*cache[i]));
    if (copy == nullptr || !appendRecord(list.get(), copy.get())) return nullptr;
    copy.release();  // the list's now
  }
  return list.release();
}

DMSAppString* MultiMediaDbConnector::GetMimeTypeFromURI2(DMSAppString* uri) {
  if (!sql_text::acceptableUri(text_util::textOf(uri))) return GetMimeTypeFromURI(uri);
  {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    for (const Records* cache : {&vImageObject_, &vVideoObject_}) {
      for (const auto& record : *cache) {
        if (text_util::sameText(record->GetUri(), uri) && record->GetMimeTypeString() != nullptr) {
          return text_util::copyOf(record->GetMimeTypeString());
        }
      }
    }
  }
  return GetMimeTypeFromURI(uri);
}
