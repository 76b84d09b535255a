// The per-kind metadata readers of the scanner. Each fills a ScannedMedia
// whose path, size and modification time are already set and returns false
// (with `why` set to a short reason) when the file cannot be used.
#ifndef DMS_SCANNER_MEDIA_PARSERS_H
#define DMS_SCANNER_MEDIA_PARSERS_H

#include <string>

#include "directory_scanner.h"
#include "dlna_profile.h"

namespace media_parsers {

enum class Guess { kNone, kJpeg, kMp3, kAdts, kContainer };

// What the first bytes of the file say (the extension decides only whether
// a file is looked at: see wantedExtension).
Guess guessByContent(const std::string& path);
// Extensions of files the scanner opens at all.
bool wantedExtension(const std::string& lowerExtension);

bool parseImage(ScannedMedia* media, dlna_profile::StreamFacts* facts, std::string* why);
bool parseMp3(ScannedMedia* media, dlna_profile::StreamFacts* facts, std::string* why);
// Any other container (MP4, MOV, AVI, Matroska, ADTS, Ogg, FLAC, WAV...):
// sets kind 2 or 3 by whether it holds a real video stream.
bool parseContainer(ScannedMedia* media, dlna_profile::StreamFacts* facts, std::string* why);
// Tags and album art of an audio file through TagLib (fills what it finds).
void readAudioTags(ScannedMedia* media);

}  // namespace media_parsers

#endif  // DMS_SCANNER_MEDIA_PARSERS_H
