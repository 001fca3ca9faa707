#include "Cli.h"
#include "CliArguments.h"
#include "base/GeoPosition.h"
#include "geo/CoordinateFormat.h"
#include "geo/CoordinateRange.h"
#include "geo/Distance.h"

#include <cstdio>
#include <string>

namespace
{

constexpr const char *kPositionHelp =
    "usage: veloran-cli position LAT LON\n"
    "\n"
    "Prints the position (signed decimal degrees, north and east positive) in the degree\n"
    "formats DD.DDDDDD, DDMM.MMMM and DDMMSS.SS with hemisphere suffixes, and in UTM\n"
    "(easting, northing, zone).\n";

constexpr const char *kDistanceHelp =
    "usage: veloran-cli distance LAT1 LON1 LAT2 LON2 [--units metric|imperial|nautic]\n"
    "\n"
    "Prints the great-circle distance between two positions (signed decimal degrees) in the\n"
    "chosen unit system (default metric).\n";

bool ReadPosition(std::string_view latText, std::string_view lonText, CGeoPosition &p,
                  std::string &error)
{
    double lat = 0.0;
    double lon = 0.0;
    if (!ParseNumberArgument(latText, lat) || !IsValidLatitude(lat)) {
        error = "bad latitude '" + std::string(latText) + "' (decimal degrees, -90 to 90)";
        return false;
    }
    if (!ParseNumberArgument(lonText, lon) || !IsValidLongitude(lon)) {
        error = "bad longitude '" + std::string(lonText) + "' (decimal degrees, -180 to 180)";
        return false;
    }
    p = CGeoPosition(lat, lon, 0.0);
    return true;
}

} // namespace

int RunPosition(const std::vector<std::string_view> &args)
{
    if (PrintHelpIfAsked(args, kPositionHelp))
        return kExitOk;
    if (args.size() != 2)
        return UsageError("position: expected LAT LON (try 'veloran-cli position --help')");
    CGeoPosition p;
    std::string error;
    if (!ReadPosition(args[0], args[1], p, error))
        return UsageError("position: " + error);

    static constexpr struct {
        CoordinateFormat format;
        const char *label;
    } kRows[] = {{CoordinateFormat::DD, "DD.DDDDDD"},
                 {CoordinateFormat::DDMM, "DDMM.MMMM"},
                 {CoordinateFormat::DDMMSS, "DDMMSS.SS"},
                 {CoordinateFormat::UTM, "UTM"}};
    for (const auto &row : kRows)
        std::printf("%-10s %s\n", row.label, FormatPosition(p, " ", row.format).c_str());
    return kExitOk;
}

int RunDistance(const std::vector<std::string_view> &args)
{
    std::vector<std::string_view> positional;
    UnitSystem units = UnitSystem::Metric;
    CCliOption unitsOption =
        ChoiceOption<UnitSystem>("--units", "metric, imperial or nautic", units,
                                 {{"metric", UnitSystem::Metric},
                                  {"imperial", UnitSystem::Imperial},
                                  {"nautic", UnitSystem::Nautic}},
                                 "distance: unknown units");
    unitsOption.takesEmpty = true;
    const CCliSyntax syntax{
        .command = "distance",
        .help = kDistanceHelp,
        .options = {unitsOption},
        // Negative numbers are no options.
        .isOption = [](std::string_view a) { return a.size() > 2 && a.starts_with("--"); },
        .operand =
            [&](std::string_view a) {
                positional.push_back(a);
                return kExitOk;
            }};
    if (const std::optional<int> status = ReadArguments(args, 0, syntax))
        return *status;
    if (positional.size() != 4)
        return UsageError(
            "distance: expected LAT1 LON1 LAT2 LON2 (try 'veloran-cli distance --help')");
    CGeoPosition from;
    CGeoPosition to;
    std::string error;
    if (!ReadPosition(positional[0], positional[1], from, error)
        || !ReadPosition(positional[2], positional[3], to, error))
        return UsageError("distance: " + error);
    std::string text;
    CDistance(Distance(from, to)).Format(text, units);
    std::printf("%s\n", text.c_str());
    return kExitOk;
}
