// Rendered thumbnails kept in the thumbnail folder, so that a picture is
// decoded once per file version. Entries are keyed by path, size and
// modification time; a changed file gets a new entry. Written through a
// temporary file and a rename, so readers never see half a picture.
//
// Thread safety: any thread; concurrent renders of one file both write and
// the last rename wins, with identical content.
#ifndef DMS_CAMERA_THUMBNAIL_CACHE_H
#define DMS_CAMERA_THUMBNAIL_CACHE_H

#include <string>
#include <vector>

namespace camera_thumb {

// The cache file for `path` (which must exist), or "" when no cache folder
// is configured ("THUMBNAIL-CACHE-DIR") or the file cannot be examined.
std::string cacheFileFor(const char* path, const char* kind);

bool loadCached(const std::string& cacheFile, std::vector<unsigned char>* picture);
void storeCached(const std::string& cacheFile, const std::vector<unsigned char>& picture);

// Hands `picture` out as a new malloc'd buffer; false when memory is short.
bool handOut(const std::vector<unsigned char>& picture, char** buffer, unsigned int* size);

}  // namespace camera_thumb

#endif  // DMS_CAMERA_THUMBNAIL_CACHE_H
