// Text forms of the scanner's column values.
#ifndef DMS_SCANNER_SCAN_TEXT_H
#define DMS_SCANNER_SCAN_TEXT_H

#include <ctime>
#include <string>

namespace scan_text {

// "%ld:%02ld:%02ld.%03ld", without the fraction when it is zero.
std::string duration(long long milliseconds);
// "YYYY-MM-DDTHH:MM:SS" of `t` in local time.
std::string localDate(time_t t);
// Seconds of a "YYYY-MM-DDTHH:MM:SS" text read as UTC (0 when malformed,
// before 1970 or after 9999999999); only its order matters.
long long dateSeconds(const std::string& date);
// 16 digits: ten of the date's seconds, six of the id (mod 10^6).
std::string sortIndex(const std::string& date, long long id);
// `text` with invalid UTF-8 sequences and control bytes replaced by blanks
// and outer blanks removed.
std::string cleanUtf8(const std::string& text);
// The file name of `path` without folder and without extension.
std::string stem(const std::string& path);
// The lower-case extension of `path` without the dot ("" when none).
std::string extension(const std::string& path);

}  // namespace scan_text

#endif  // DMS_SCANNER_SCAN_TEXT_H
