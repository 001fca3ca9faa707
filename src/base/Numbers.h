#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Number conversions with the exact semantics of the C scan and print formats the NMEA and
/// coordinate code is defined by, but independent of the process locale: a GUI toolkit switches
/// LC_NUMERIC to the user's, and a decimal comma would silently truncate "4807.038" to 4807.

/// Result of a scan when the text holds nothing but blanks (the scanf end-of-input value).
inline constexpr int kScanEnd = -1;

/// "%lf": skips leading blanks; reads sign, decimal or hexadecimal number, "inf"/"infinity" or
/// "nan" the way glibc's scanf does ("12abc" reads 12, "1e" reads 1). Writes `value` only on a
/// conversion. Returns 1 when converted, 0 for text that is no number, kScanEnd when blank.
int ScanDouble(std::string_view text, double &value);

/// "%d": decimal with sign; the result wraps like scanf's (a long, cut to 32 bits).
int ScanInt(std::string_view text, std::int32_t &value);

/// "%u": decimal with sign, as an unsigned long cut to 32 bits ("-1" reads 4294967295).
/// `end`, when given, receives the index after the last character read (for a following "%c").
int ScanUnsigned(std::string_view text, std::uint32_t &value, std::size_t *end = nullptr);

/// "%X": hexadecimal with optional sign and "0x"; wraps like scanf's (an unsigned long, cut to 32).
int ScanHex(std::string_view text, std::uint32_t &value);
/// The value of one hex digit (either case), or -1.
inline int HexDigit(unsigned char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

/// atoi/atof: like the scans, but 0 when nothing converts.
std::int32_t ToInt(std::string_view text);
double ToDouble(std::string_view text);

/// UTC seconds of the day of an NMEA "hhmmss.ss" time: whole hours and minutes, the seconds
/// with their fraction. Nothing for a text shorter than six characters.
std::optional<double> SecondsOfDay(std::string_view hhmmss);

/// snprintf in the "C" locale, whatever the process locale is.
std::string FormatC(const char *format, ...) __attribute__((format(printf, 1, 2)));
