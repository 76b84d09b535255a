// MultiMediaDbConnector: thumbnail, screennail and movie-thumbnail lookups,
// and the substitute pictures served when the real one cannot be had.
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "content_limits.h"
#include "db_row_reader.h"
#include "dms_media_registration.h"
#include "dms_mem_ptr.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "media_db_schema.h"
#include "multimedia_db_connector.h"
#include "nuv_config.h"
#include "nuv_log.h"
#include "sql_text.h"
#include "sqlite_handles.h"
#include "text_util.h"

namespace {

constexpr const char* kSubstituteDirKey = "SUBSTITUTE-PICTURE-DIR";
constexpr const char* kDefaultSubstituteDir = "/mnt/mmc/config/DMS/xml";
constexpr const char* kNoThumbPicture = "NoThumb.JPG";
constexpr const char* kNoSupportPicture = "NoSupport.JPG";

constexpr const char* kVideoThumbWord = MEDIA_DB_VIDEO_THUMBNAIL_URI;
constexpr const char* kScreennailWord = MEDIA_DB_SCREENNAIL_URI;
constexpr const char* kThumbnailWord = MEDIA_DB_THUMBNAIL_URI;

std::atomic<MultiMediaDbConnector::MovieThumbnailSource> gMovieThumbnailSource{nullptr};
// Renders a thumbnail of a photo that carries none (the camera platform).
std::atomic<DMSThumbnailRenderer> gPhotoThumbnailSource{nullptr};

struct FileCloser {
  void operator()(FILE* f) const { DMSAppCloseFile(f); }
};

bool startsWith(const char* text, const char* word) {
  return strncmp(text, word, strlen(word)) == 0;
}

// The substitute picture `name` in the configured directory.
std::string standInPicturePath(const char* name) {
  DMSAppMemText configured(NUVGetConfigurationMA(kSubstituteDirKey));
  std::string dir = (configured != nullptr && configured.get()[0] != '\0') ? configured.get()
                                                                           : kDefaultSubstituteDir;
  if (dir.back() != '/') dir += '/';
  return dir + name;
}

}  // namespace

void MultiMediaDbConnector::SetMovieThumbnailSource(MovieThumbnailSource source) {
  gMovieThumbnailSource.store(source);
}

extern "C" void DMSSetThumbnailRenderers(DMSThumbnailRenderer movie, DMSThumbnailRenderer photo) {
  MultiMediaDbConnector::SetMovieThumbnailSource(movie);
  gPhotoThumbnailSource.store(photo);
}

bool MultiMediaDbConnector::GetThumbnailInfoFromURI(DMSAppString* uri, DMSAppString** path,
                                                    int* offset, int& length, int* videoThumbnail,
                                                    int* substitutePicture, char*& buffer) {
  if (path == nullptr || offset == nullptr || videoThumbnail == nullptr ||
      substitutePicture == nullptr) {
    return false;
  }
  const char* text = text_util::textOf(uri);
  if (!sql_text::acceptableUri(text)) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector] URI refused: not a path beginning with /");
    return false;
  }
  // "/nuvthumbvideo" before "/nuvthumb", of which it is an extension.
  const char* format = nullptr;
  bool video = false;
  if (startsWith(text, kVideoThumbWord)) {
    format = sql_text::kVideoThumbnail;
    video = true;
  } else if (startsWith(text, kScreennailWord)) {
    format = sql_text::kImageScreennail;
  } else if (startsWith(text, kThumbnailWord)) {
    format = sql_text::kImageThumbnail;
  } else {
    return false;
  }

  std::string quoted;
  if (!sql_text::sqlValue(text, &quoted)) return false;
  SqliteTable table;
  {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (!connected_ || !selectByValue(format, text, quoted, &table) || table.rows() < 1)
      return false;
  }
  return thumbnailFromRow(table, video, path, offset, length, videoThumbnail, substitutePicture,
                          buffer);
}

bool MultiMediaDbConnector::thumbnailFromRow(const SqliteTable& row, bool video,
                                             DMSAppString** path, int* offset, int& length,
                                             int* videoThumbnail, int* substitutePicture,
                                             char*& buffer) {
  const char* fullPath = row.cell(0, 0);
  int spanOffset = cellInt(row.cell(0, 1));
  int spanLength = cellInt(row.cell(0, 2));

  if (video) {
    char* picture = nullptr;
    unsigned int pictureSize = 0;
    int rc = -1;
    MovieThumbnailSource source = gMovieThumbnailSource.load();
    NUVPrintf(NUV_LOG_INFO, "ThumbBuffer Get Start [%s]\n", fullPath != nullptr ? fullPath : "");
    if (source != nullptr && fullPath != nullptr) rc = source(fullPath, &picture, &pictureSize);
    NUVPrintf(NUV_LOG_INFO, "ThumbBuffer Get End [%d, %d, 0x%x, %d]\n", rc,
              static_cast<int>(pictureSize),
              static_cast<unsigned int>(reinterpret_cast<uintptr_t>(picture)), spanOffset);
    if (rc == 0 && picture != nullptr && pictureSize > 0 &&
        pictureSize <= static_cast<unsigned int>(INT32_MAX)) {
      DMSAppString* moviePath = text_util::newText(fullPath);
      if (moviePath == nullptr) {
        DMSAppMemFree(picture);
        return false;
      }
      *path = moviePath;
      *offset = 0;
      length = static_cast<int>(pictureSize);
      *videoThumbnail = 1;
      *substitutePicture = 0;
      buffer = picture;
      return true;
    }
    DMSAppMemFree(picture);
    NUVPrintf(NUV_LOG_ERROR, "[GetThumbnailInfoFromURI] Get Video Thumbnail Fail!!");
    if (!substituteFromFile(standInPicturePath(kNoThumbPicture), path, offset, length,
                            substitutePicture)) {
      return false;
    }
    *videoThumbnail = 0;
    return true;
  }

  if (fullPath != nullptr && spanOffset >= 0 && spanLength > 0) {
    DMSAppString* imagePath = text_util::newText(fullPath);
    if (imagePath == nullptr) return false;
    *path = imagePath;
    *offset = spanOffset;
    length = spanLength;
    *videoThumbnail = 0;
    *substitutePicture = 0;
    return true;
  }

  // No embedded picture: one rendered from the photo, served from memory
  // like a movie thumbnail, else the "not supported" stand-in.
  DMSThumbnailRenderer photoSource = gPhotoThumbnailSource.load();
  if (photoSource != nullptr && fullPath != nullptr) {
    char* rendered = nullptr;
    unsigned int renderedSize = 0;
    if (photoSource(fullPath, &rendered, &renderedSize) == 0 && rendered != nullptr &&
        renderedSize > 0 && renderedSize <= static_cast<unsigned int>(INT32_MAX)) {
      DMSAppString* photoPath = text_util::newText(fullPath);
      if (photoPath != nullptr) {
        *path = photoPath;
        *offset = 0;
        length = static_cast<int>(renderedSize);
        *videoThumbnail = 1;
        *substitutePicture = 0;
        buffer = rendered;
        return true;
      }
    }
    DMSAppMemFree(rendered);
  }
  std::string stand = standInPicturePath(kNoSupportPicture);
  char* picture = nullptr;
  unsigned int pictureSize = 0;
  if (GetNoSupportImgBuffer(stand.c_str(), 0, 0, picture, pictureSize) != 0) return false;
  DMSAppString* standPath = text_util::newText(stand);
  if (standPath == nullptr) {
    DMSAppMemFree(picture);
    return false;
  }
  *path = standPath;
  *offset = 0;
  length = static_cast<int>(pictureSize);
  *videoThumbnail = 1;
  *substitutePicture = 1;
  buffer = picture;
  return true;
}

bool MultiMediaDbConnector::substituteFromFile(const std::string& picture, DMSAppString** path,
                                               int* offset, int& length, int* substitute) {
  int64_t size = DMSAppGetFileSize(picture.c_str());
  if (size <= 0 || size > static_cast<int64_t>(content_limits::kMaxSubstitutePictureBytes)) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector] substitute picture missing: %s",
              picture.c_str());
    return false;
  }
  DMSAppString* standPath = text_util::newText(picture);
  if (standPath == nullptr) return false;
  *path = standPath;
  *offset = 0;
  length = static_cast<int>(size);
  *substitute = 1;
  return true;
}

int MultiMediaDbConnector::GetNoSupportImgBuffer(const char* path, int offset,
                                                 unsigned long maxBytes, char*& buffer,
                                                 unsigned int& size) {
  std::unique_ptr<FILE, FileCloser> file(DMSAppOpenFile(path, DMSAPP_FILE_READ));
  if (file == nullptr) {
    NUVPrintf(NUV_LOG_ERROR,
              "[MultiMediaDbConnector::GetNoSupportImgBuffer] DMSAPP_INVALID_FILE_HANDLE!!!");
    return 1;
  }
  int64_t fileSize = DMSAppGetFileSize(file.get());
  if (offset < 0 || fileSize < 0 || DMSAppSeekFile(file.get(), DMSAPP_SEEK_SET, offset) != 1) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::GetNoSupportImgBuffer] seek error!!!");
    return 1;
  }
  unsigned long limit = maxBytes == 0 ? content_limits::kMaxSubstitutePictureBytes : maxBytes;
  int64_t wanted = fileSize - offset;
  if (wanted <= 0 || static_cast<uint64_t>(wanted) > limit) {
    NUVPrintf(NUV_LOG_ERROR,
              "[MultiMediaDbConnector::GetNoSupportImgBuffer] nReadBytes size error!!!");
    return 1;
  }
  DMSAppMemText data(static_cast<char*>(DMSAppMemAllocMA(static_cast<unsigned long>(wanted))));
  unsigned long got = 0;
  if (data == nullptr ||
      DMSAppReadFile(file.get(), data.get(), static_cast<unsigned long>(wanted), &got) != 1) {
    NUVPrintf(NUV_LOG_ERROR, "[MultiMediaDbConnector::GetNoSupportImgBuffer] read error!!!");
    return 1;
  }
  if (got != static_cast<unsigned long>(wanted)) {
    NUVPrintf(NUV_LOG_ERROR,
              "[MultiMediaDbConnector::GetNoSupportImgBuffer] nReadBytes size error!!!");
    return 1;
  }
  buffer = data.release();
  size = static_cast<unsigned int>(wanted);
  return 0;
}
