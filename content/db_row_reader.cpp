#include "db_row_reader.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "contents_enumerator_argument.h"
#include "dms_conversions.h"
#include "dms_string.h"
#include "media_schema.h"
#include "sql_text.h"
#include "sqlite_handles.h"

namespace {

using Conv = DMSAppConversions;

DMSAppString* ansi(const char* cell) { return Conv::DMSAppConvertANSIToDMSAppStringMA(cell); }
DMSAppString* utf8(const char* cell) { return Conv::DMSAppConvertUTF8ToDMSAppStringMA(cell); }

DMSAppString* decimal(int value) {
  char text[16];
  snprintf(text, sizeof text, "%d", value);
  return new (std::nothrow) DMSAppString(text);
}

DMSAppString* resolution(int width, int height) {
  char text[32];
  snprintf(text, sizeof text, "%dx%d", width, height);
  return new (std::nothrow) DMSAppString(text);
}

// Sizes above 4 GiB keep their value: movies outgrow 32 bits.
DMSAppString* sizeText(const char* cell) {
  unsigned long long size = 0;
  if (cell != nullptr && cell[0] != '-') size = strtoull(cell, nullptr, 10);
  char text[32];
  snprintf(text, sizeof text, "%llu", size);
  return new (std::nothrow) DMSAppString(text);
}

// FullPath split at its last "/": directory to FilePath, name to FileName;
// without "/" the whole path is the FilePath and the name is empty.
void setPath(ContentsEnumeratorArgument* record, const char* fullPath) {
  if (fullPath == nullptr) return;
  const char* slash = strrchr(fullPath, '/');
  if (slash == nullptr) {
    record->SetFilePath(utf8(fullPath));
    record->SetFileName(new (std::nothrow) DMSAppString(""));
    return;
  }
  std::string directory(fullPath, static_cast<size_t>(slash - fullPath));
  record->SetFilePath(utf8(directory.c_str()));
  record->SetFileName(utf8(slash + 1));
}

// The columns every media table starts with: id, Title, class, date, size,
// FullPath, MimeType, DLNAProfile.
void setCommon(ContentsEnumeratorArgument* r, const SqliteTable& t, int row, bool utf8Title) {
  r->SetContentID(ansi(t.cell(row, 0)));
  r->SetTitle(utf8Title ? utf8(t.cell(row, 1)) : ansi(t.cell(row, 1)));
  r->SetContentType(cellInt(t.cell(row, 2)));
  r->SetDate(ansi(t.cell(row, 3)));
  r->SetSize(sizeText(t.cell(row, 4)));
  setPath(r, t.cell(row, 5));
  r->SetMimetypeString(ansi(t.cell(row, 6)));
  r->SetDLNAPN(ansi(t.cell(row, 7)));
}

void readImage(ContentsEnumeratorArgument* r, const SqliteTable& t, int row) {
  setCommon(r, t, row, true);
  r->SetHeight(cellInt(t.cell(row, 8)));
  r->SetWidth(cellInt(t.cell(row, 9)));
  r->SetThumbnailOffset(cellInt(t.cell(row, 10)));
  r->SetThumbnailSize(cellInt(t.cell(row, 11)));
  r->SetThumbnailHeight(cellInt(t.cell(row, 12)));
  r->SetThumbnailWidth(cellInt(t.cell(row, 13)));
  r->SetDescription(ansi(t.cell(row, 14)));
  r->SetUri(ansi(t.cell(row, 15)));
  r->SetThumbUri(ansi(t.cell(row, 16)));
  r->SetResolution(resolution(r->GetWidth(), r->GetHeight()));
  r->SetScreennailOffset(cellInt(t.cell(row, 17)));
  r->SetScreennailSize(cellInt(t.cell(row, 18)));
  r->SetScreennailHeight(cellInt(t.cell(row, 19)));
  r->SetScreennailWidth(cellInt(t.cell(row, 20)));
  r->SetScreenUri(ansi(t.cell(row, 21)));
}

void readAudio(ContentsEnumeratorArgument* r, const SqliteTable& t, int row) {
  setCommon(r, t, row, false);
  r->SetDuration(ansi(t.cell(row, 8)));
  r->SetAlbum(ansi(t.cell(row, 9)));
  r->SetArtist(ansi(t.cell(row, 11)));
  r->SetAudioChannelsNumber(cellInt(t.cell(row, 12)));
  r->SetAudioBitrate(decimal(cellInt(t.cell(row, 13))));
  r->SetAudioSampleFrequency(decimal(cellInt(t.cell(row, 14))));
  r->SetUri(ansi(t.cell(row, 17)));
}

void readVideo(ContentsEnumeratorArgument* r, const SqliteTable& t, int row) {
  setCommon(r, t, row, true);
  r->SetDuration(ansi(t.cell(row, 8)));
  r->SetHeight(cellInt(t.cell(row, 9)));
  r->SetWidth(cellInt(t.cell(row, 10)));
  r->SetVideoFrameRate(cellInt(t.cell(row, 11)));
  r->SetVideoBitrate(cellFloat(t.cell(row, 12)));
  r->SetVideoLevel(cellFloat(t.cell(row, 13)));
  r->SetAlbum(ansi(t.cell(row, 17)));
  r->SetArtist(ansi(t.cell(row, 19)));
  r->SetAudioChannelsNumber(cellInt(t.cell(row, 20)));
  r->SetAudioBitrate(decimal(cellInt(t.cell(row, 21))));
  r->SetAudioSampleFrequency(decimal(cellInt(t.cell(row, 22))));
  r->SetUri(ansi(t.cell(row, 23)));
  r->SetThumbUri(ansi(t.cell(row, 28)));
  r->SetResolution(resolution(r->GetWidth(), r->GetHeight()));
  r->SetThumbnailOffset(cellInt(t.cell(row, 24)));
  r->SetThumbnailSize(cellInt(t.cell(row, 25)));
  r->SetThumbnailHeight(cellInt(t.cell(row, 26)));
  r->SetThumbnailWidth(cellInt(t.cell(row, 27)));
}

}  // namespace

int cellInt(const char* cell) {
  if (cell == nullptr) return 0;
  long long value = strtoll(cell, nullptr, 10);
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return static_cast<int>(value);
}

float cellFloat(const char* cell) {
  if (cell == nullptr) return 0;
  float value = strtof(cell, nullptr);
  return std::isfinite(value) ? value : 0;
}

int columnsOfKind(unsigned int kind) {
  switch (kind) {
    case sql_text::kImage:
      return kImageTableColumns;
    case sql_text::kAudio:
      return kAudioTableColumns;
    case sql_text::kVideo:
      return kVideoTableColumns;
    default:
      return -1;
  }
}

ContentsEnumeratorArgument* recordFromRow(unsigned int kind, const SqliteTable& table, int row) {
  if (columnsOfKind(kind) != table.columns() || row < 0 || row >= table.rows()) return nullptr;
  ContentsEnumeratorArgument* record = new (std::nothrow) ContentsEnumeratorArgument();
  if (record == nullptr) return nullptr;
  if (kind == sql_text::kImage) {
    readImage(record, table, row);
  } else if (kind == sql_text::kAudio) {
    readAudio(record, table, row);
  } else {
    readVideo(record, table, row);
  }
  return record;
}
