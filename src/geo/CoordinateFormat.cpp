#include "geo/CoordinateFormat.h"

#include "base/Numbers.h"
#include "geo/CoordinateRange.h"
#include "geo/UTM.h"

#include <cmath>
#include <optional>

namespace
{

constexpr double kLargestDisplayedDegrees = 1e9;

// The exact double of 1/60, so typed positions convert the same everywhere.
constexpr double kOneSixtieth = 0.016666666666666666;

std::string_view SkipBlanks(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    return text;
}

// The readable form the window shows ("48° 08.4140′", "48° 08′ 20.75″", "48.5°"), or ' and "
// for the primes: each sign says what its number is, whatever the notation chosen. Empty when
// the text has another shape (a stray letter, minutes before degrees).
std::optional<double> ReadSignedAngle(std::string_view text)
{
    const std::string_view signs[3][2] = {
        {kDegreeSign, kDegreeSign}, {kMinuteSign, "'"}, {kSecondSign, "\""}};
    double parts[3] = {0.0, 0.0, 0.0};
    bool negative = false;
    std::size_t next = 0;
    for (text = SkipBlanks(text); !text.empty(); text = SkipBlanks(text)) {
        const std::size_t length = text.find_first_not_of("+-.0123456789");
        double number = 0.0;
        const std::string_view token = text.substr(0, length);
        if (token.empty() || token.find_first_of("+-", 1) != std::string_view::npos
            || ScanDouble(token, number) != 1 || !std::isfinite(number))
            return std::nullopt;
        text = SkipBlanks(text.substr(length == std::string_view::npos ? text.size() : length));
        std::size_t unit = next;
        while (unit < 3 && !text.starts_with(signs[unit][0]) && !text.starts_with(signs[unit][1]))
            ++unit;
        if (unit == 3 || (unit > 0 && number < 0.0))
            return std::nullopt;
        text.remove_prefix(text.starts_with(signs[unit][0]) ? signs[unit][0].size()
                                                            : signs[unit][1].size());
        negative = negative || std::signbit(number);
        parts[unit] = std::fabs(number);
        next = unit + 1;
    }
    if (next == 0)
        return std::nullopt;
    const double value = (parts[2] * kOneSixtieth + parts[1]) * kOneSixtieth + parts[0];
    return negative ? -value : value;
}

// Values are typed as text; a failed scan keeps the coordinate, the hemisphere only flips a
// value that was read (the sign the user typed is kept as well).
void ParseCoordinate(double &coordinate, std::string_view text, int hemisphere,
                     CoordinateFormat format)
{
    if (text.find(kDegreeSign) != std::string_view::npos) {
        if (const std::optional<double> value = ReadSignedAngle(text))
            coordinate = *value * (hemisphere == 1 ? -1.0 : 1.0);
        return;
    }
    double v = 0.0;
    if (ScanDouble(text, v) != 1)
        return;
    double value = v;
    if (format == CoordinateFormat::DDMM) {
        const double d = TruncToInt(v * 0.01);
        value = (v - d * 100.0) * kOneSixtieth + d;
    } else if (format == CoordinateFormat::DDMMSS) {
        const double d = TruncToInt(v * 0.0001);
        const double r = v - d * 10000.0;
        const double m = TruncToInt(r * 0.01);
        value = ((r - m * 100.0) * kOneSixtieth + m) * kOneSixtieth + d;
    }
    coordinate = value * (hemisphere == 1 ? -1.0 : 1.0);
}

} // namespace

void FormatAngle(std::string &out, double value, CoordinateFormat format)
{
    if (!std::isfinite(value) && format >= CoordinateFormat::DD
        && format <= CoordinateFormat::DDMMSS) {
        out = kNoCoordinate;
        return;
    }
    // The sign is shown by the hemisphere suffix only.
    const double a = std::fabs(value);
    switch (format) {
    case CoordinateFormat::DD:
        out = FormatC("%09.6lf", a);
        break;
    case CoordinateFormat::DDMM: {
        // No carry: minutes that round up print as "60.0000" rather than bumping the degrees.
        const int degrees = TruncToInt(a);
        const double minutes = (a - degrees) * 60.0;
        out = FormatC("%02d%07.4lf", degrees, minutes);
        break;
    }
    case CoordinateFormat::DDMMSS: {
        const int degrees = TruncToInt(a);
        const double minutes = (a - degrees) * 60.0;
        const int wholeMinutes = TruncToInt(minutes);
        const double seconds = (minutes - wholeMinutes) * 60.0;
        out = FormatC("%02d%02d%05.2lf", degrees, wholeMinutes, seconds);
        break;
    }
    default:
        break;
    }
}

std::string FormatLatitude(const CGeoPosition &position, CoordinateFormat format, bool withSuffix)
{
    std::string text;
    FormatAngle(text, position.m_latitude, format);
    // Only values above 0.0 are north: 0.0 itself shows " S", as it always has.
    if (withSuffix && std::isfinite(position.m_latitude))
        text += position.m_latitude > 0.0 ? " N" : " S";
    return text;
}

std::string FormatLongitude(const CGeoPosition &position, CoordinateFormat format, bool withSuffix)
{
    std::string text;
    FormatAngle(text, position.m_longitude, format);
    if (withSuffix && std::isfinite(position.m_longitude))
        text += position.m_longitude > 0.0 ? " E" : " W";
    return text;
}

std::string FormatPosition(const CGeoPosition &position, std::string_view separator,
                           CoordinateFormat format)
{
    // Callers hand over C strings; cut at a NUL so every format treats the separator alike.
    const std::string sep(separator.substr(0, separator.find('\0')));
    if (format == CoordinateFormat::UTM) {
        // No zone holds a position off the earth; its number would be garbage.
        if (!IsValidPosition(position))
            return kNoCoordinate;
        double northing = 0.0;
        double easting = 0.0;
        std::string zone;
        LatLonToUTM(position, northing, easting, zone);
        return FormatC("%.2f%s%.2f%s%s", easting, sep.c_str(), northing, sep.c_str(), zone.c_str());
    }
    if (format < CoordinateFormat::DD || format > CoordinateFormat::DDMMSS)
        return sep;
    return FormatLatitude(position, format, true) + sep + FormatLongitude(position, format, true);
}

std::string DisplayAngle(double value, CoordinateFormat format)
{
    if (format < CoordinateFormat::DD || format > CoordinateFormat::DDMMSS)
        return {};
    if (!std::isfinite(value))
        return kNoCoordinate;
    const double a = std::fabs(value);
    // Far off the earth the units below would overflow; such a number is garbage anyway.
    if (format == CoordinateFormat::DD || a > kLargestDisplayedDegrees)
        return FormatC("%.6f%s", a, kDegreeSign);
    // Rounded once in units of the last digit shown, so a carry reaches the degrees.
    if (format == CoordinateFormat::DDMM) {
        constexpr long long kPerMinute = 10000;
        const long long units = std::llround(a * 60.0 * kPerMinute);
        const long long degrees = units / (60 * kPerMinute);
        const long long rest = units % (60 * kPerMinute);
        return FormatC("%lld%s %02lld.%04lld%s", degrees, kDegreeSign, rest / kPerMinute,
                       rest % kPerMinute, kMinuteSign);
    }
    constexpr long long kPerSecond = 100;
    const long long units = std::llround(a * 3600.0 * kPerSecond);
    const long long degrees = units / (3600 * kPerSecond);
    const long long minutes = units / (60 * kPerSecond) % 60;
    const long long rest = units % (60 * kPerSecond);
    return FormatC("%lld%s %02lld%s %02lld.%02lld%s", degrees, kDegreeSign, minutes, kMinuteSign,
                   rest / kPerSecond, rest % kPerSecond, kSecondSign);
}

std::string DisplayLatitude(const CGeoPosition &position, CoordinateFormat format)
{
    std::string text = DisplayAngle(position.m_latitude, format);
    if (std::isfinite(position.m_latitude) && !text.empty())
        text += position.m_latitude > 0.0 ? " N" : " S";
    return text;
}

std::string DisplayLongitude(const CGeoPosition &position, CoordinateFormat format)
{
    std::string text = DisplayAngle(position.m_longitude, format);
    if (std::isfinite(position.m_longitude) && !text.empty())
        text += position.m_longitude > 0.0 ? " E" : " W";
    return text;
}

std::string DisplayPosition(const CGeoPosition &position, std::string_view separator,
                            CoordinateFormat format)
{
    if (format < CoordinateFormat::DD || format > CoordinateFormat::DDMMSS)
        return FormatPosition(position, separator, format);
    const std::string sep(separator.substr(0, separator.find('\0')));
    return DisplayLatitude(position, format) + sep + DisplayLongitude(position, format);
}

int ParsePosition(CGeoPosition &position, std::string_view longitudeText, int longitudeHemisphere,
                  std::string_view latitudeText, int latitudeHemisphere, CoordinateFormat format)
{
    if (format < CoordinateFormat::DD || format > CoordinateFormat::DDMMSS)
        return 0;
    ParseCoordinate(position.m_longitude, longitudeText, longitudeHemisphere, format);
    ParseCoordinate(position.m_latitude, latitudeText, latitudeHemisphere, format);
    return 1;
}
