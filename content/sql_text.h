// Building SQL texts: the statement formats of the media database and the
// only way values get into them.
//
// Every statement is a format with its values inlined between double quotes,
// run through sqlite3_exec or sqlite3_get_table (no prepared statements, so
// that the texts logged are the texts run). A value is inlined only after
// sqlValue() has doubled its embedded double quotes; a value that would make
// the statement longer than content_limits::kMaxSqlValueBytes is refused.
#ifndef DMS_CONTENT_SQL_TEXT_H
#define DMS_CONTENT_SQL_TEXT_H

#include <string>

namespace sql_text {

// Media kinds as the connector's "mode": 1 image, 2 audio, 3 video.
constexpr unsigned int kImage = 1;
constexpr unsigned int kAudio = 2;
constexpr unsigned int kVideo = 3;
inline bool validMode(unsigned int mode) { return mode >= kImage && mode <= kVideo; }

// The value with every '"' doubled, in *out. False (and *out untouched) for
// null or a result longer than the limit. The text ends at its first NUL, as
// every C string does.
bool sqlValue(const char* value, std::string* out);

// printf into *out; the "%c%c" ending of the formats adds the two NULs that
// every statement text carries, so the text ends where the format ends.
// False when formatting fails.
bool formatStatement(std::string* out, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// Resource URIs are looked up only when they are paths ("/..."): anything
// else cannot name one of our resources and is refused before any SQL runs.
bool acceptableUri(const char* uri);

// ---- Statement formats (each %s takes an sqlValue()) ----

extern const char kPageImages[];
extern const char kPageAudio[];
extern const char kPageVideos[];
extern const char kCountImages[];
extern const char kCountVideos[];
extern const char kCountAudio[];
extern const char kCacheImages[];
extern const char kCacheVideos[];
extern const char kIdOfObjectByPath[];
extern const char kReserveObjectRow[];
extern const char kReserveImageRow[];
extern const char kReserveAudioRow[];
extern const char kReserveVideoRow[];
extern const char kPathOfObject[];
extern const char kClassOfObject[];
extern const char kDeleteObjectRow[];
extern const char kImageThumbnail[];
extern const char kImageScreennail[];
extern const char kVideoThumbnail[];

// Per-kind formats, indexed by mode (1..3); null for other modes.
const char* mimeByPath(unsigned int mode);
const char* idByPath(unsigned int mode);
const char* objectById(unsigned int mode);
// The whole row of an item as listings offer it (shared images and videos),
// by ID: "%d" the share flag (1; always true for audio), "%s" the ID.
const char* listedObjectById(unsigned int mode);
const char* deleteMediaRow(unsigned int mode);
const char* pathByUri(unsigned int mode);
const char* mimeByUri(unsigned int mode);
const char* profileByUri(unsigned int mode);

}  // namespace sql_text

#endif  // DMS_CONTENT_SQL_TEXT_H
