// NUVUtilGetFileMetaData: a file's metadata as a content record, without
// registering it.
#include <cstdio>
#include <new>
#include <string>

#include "contents_enumerator_argument.h"
#include "directory_scanner.h"
#include "dms_media_registration.h"
#include "media_db_schema.h"
#include "text_util.h"

namespace {

DMSAppString* textOrNull(const std::string& text) {
  return text.empty() ? nullptr : text_util::newText(text);
}

DMSAppString* number(long long value) {
  char text[32];
  snprintf(text, sizeof text, "%lld", value);
  return text_util::newText(text);
}

int clampInt(long long value) {
  return value > 0x7FFFFFFF ? 0x7FFFFFFF : value < -1 ? -1 : static_cast<int>(value);
}

void fill(const ScannedMedia& m, ContentsEnumeratorArgument* r) {
  r->SetContentType(m.kind);
  r->SetContentParentID(number(m.kind));
  r->SetTitle(textOrNull(m.title));
  r->SetDate(textOrNull(m.date));
  r->SetMimetypeString(textOrNull(m.mimeType));
  r->SetDLNAPN(textOrNull(m.profile));
  r->SetDescription(textOrNull(m.description));
  r->SetDuration(textOrNull(m.duration));
  r->SetAlbum(textOrNull(m.album));
  r->SetArtist(textOrNull(m.artist));
  r->SetSize(number(m.size));
  size_t slash = m.path.rfind('/');
  r->SetFilePath(text_util::newText(slash == std::string::npos ? m.path : m.path.substr(0, slash)));
  r->SetFileName(text_util::newText(slash == std::string::npos ? "" : m.path.substr(slash + 1)));
  r->SetFileExtension(textOrNull(m.extension));
  if (m.kind != media_db::kAudioKind) {
    r->SetWidth(m.width);
    r->SetHeight(m.height);
    char resolution[32];
    snprintf(resolution, sizeof resolution, "%dx%d", m.width, m.height);
    r->SetResolution(text_util::newText(resolution));
    r->SetThumbnailOffset(clampInt(m.thumbnailOffset));
    r->SetThumbnailSize(clampInt(m.thumbnailLength));
    r->SetThumbnailWidth(m.thumbnailWidth);
    r->SetThumbnailHeight(m.thumbnailHeight);
  }
  if (m.screennailLength > 0) {
    r->SetScreennailOffset(clampInt(m.screennailOffset));
    r->SetScreennailSize(clampInt(m.screennailLength));
    r->SetScreennailWidth(m.screennailWidth);
    r->SetScreennailHeight(m.screennailHeight);
  }
  if (m.kind != media_db::kImageKind) {
    r->SetAudioChannelsNumber(m.channels);
    if (m.bitrate > 0) r->SetAudioBitrate(number(m.bitrate));
    if (m.sampleRate > 0) r->SetAudioSampleFrequency(number(m.sampleRate));
    r->SetAlbumArtIncludeFlag(m.albumArtLength > 0);
  }
  if (m.kind == media_db::kVideoKind) {
    r->SetVideoFrameRate(m.frameRate);
    r->SetVideoBitrate(static_cast<float>(m.videoBitrate));
    r->SetVideoLevel(static_cast<float>(m.videoLevel));
  }
}

}  // namespace

ContentsEnumeratorArgument* NUVUtilGetFileMetaData(const char* filePath) {
  DirectoryScanner* scanner = DirectoryScanner::GetInstance();
  if (scanner == nullptr) return nullptr;
  ScannedMedia media;
  bool ok = scanner->ParseAndGetFileInfo(filePath, &media);
  DirectoryScanner::DestroyInstance();
  if (!ok) return nullptr;
  auto* record = new (std::nothrow) ContentsEnumeratorArgument();
  if (record != nullptr) fill(media, record);
  return record;
}
