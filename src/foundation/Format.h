#pragma once
// printf-style formatting into std::string, as the log and message texts are written.

#include <cstdint>
#include <string>

namespace ferro {

std::string Fmt(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

// Boolean as the log writes it: "True" or "False".
inline const char* BoolStr(bool b) {
    return b ? "True" : "False";
}

// Local time of day of a clock value (ms since 1970) as "hh:mm:ss" + `sep` + milliseconds.
std::string ClockText(int64_t ms, char sep = '.');

std::string ToLower(std::string s);
std::string ToUpper(std::string s);
std::string Trim(const std::string& s);
// The name a file from the instrument gets locally: its last part (after "/", "\\" or ":"), never
// "." or ".." (empty then), so that it cannot leave the folder it is stored in.
std::string LocalFileName(const std::string& instrumentName);
// Case-insensitive substring test, as instrument texts are matched.
bool ContainsNoCase(const std::string& haystack, const std::string& needle);
bool EqualsNoCase(const std::string& a, const std::string& b);
// A firmware's version ("2.3.1") and revision ("12") as the packed word of the identity
// (one byte each, major first); 0 when either does not parse or a part exceeds a byte.
uint32_t PackFirmwareWord(const std::string& version, const std::string& revision);

} // namespace ferro
