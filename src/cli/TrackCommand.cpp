#include "Cli.h"
#include "CliArguments.h"
#include "receiver/TrackExport.h"

#include <cstdio>
#include <ctime>
#include <optional>
#include <string>

namespace
{

constexpr const char *kTrackHelp =
    "usage: veloran-cli track FILE --gpx OUT [--gnss all|gps] [--every SECONDS]\n"
    "\n"
    "Converts a recorded NMEA log into a GPX 1.1 track, as the window's track log writes it:\n"
    "a point per receiver epoch (GGA and RMC of one time) with a fix, a segment per stretch of\n"
    "fix (a new one after a fix lost or a gap over 10 s). Each point holds the altitude less the\n"
    "geoid separation, the UTC time, fix type, satellites, HDOP, speed and course. Prints the\n"
    "number of points and segments.\n"
    "\n"
    "  --gpx OUT        the GPX file to write (replaced when it exists)\n"
    "  --gnss all       every satellite system (the default): any talker\n"
    "  --gnss gps       GPS only: the $GP sentences\n"
    "  --every SECONDS  at most one point per SECONDS (the default 1; 0: every fix); the\n"
    "                   first point of a segment is always written\n";

} // namespace

int RunTrack(const std::vector<std::string_view> &args)
{
    std::optional<std::string> file;
    std::optional<std::string> out;
    GnssMode mode = GnssMode::AllSystems;
    double every = 1.0;
    const CCliSyntax syntax{.command = "track",
                            .help = kTrackHelp,
                            .options = {TextOption("--gpx", "OUT", out),
                                        GnssOption(mode),
                                        {"--every", "SECONDS",
                                         [&every](std::string_view value, std::string &error) {
                                             double seconds = 0.0;
                                             if (ParseNumberArgument(value, seconds)
                                                 && seconds >= 0.0) {
                                                 every = seconds;
                                                 return true;
                                             }
                                             error = "track: bad --every '" + std::string(value)
                                                     + "' (seconds, 0 or more)";
                                             return false;
                                         }}},
                            .operand = OneFile("track", file)};
    if (const std::optional<int> status = ReadArguments(args, 0, syntax))
        return *status;
    if (!file)
        return UsageError("track: missing FILE");
    if (!out || out->empty())
        return UsageError("track: missing --gpx OUT");

    const CTrackRate rate = every == 0.0 ? CTrackRate{CTrackRate::Kind::EveryFix, 0.0}
                                         : CTrackRate{CTrackRate::Kind::Seconds, every};
    const CTrackExport result = ExportTrack(*file, *out, mode, rate, 0.0, std::time(nullptr));
    if (result.errorCode != 0) {
        std::fprintf(stderr, "veloran-cli: cannot %s %s\n", result.readFailed ? "read" : "write",
                     result.errorText.c_str());
        if (result.points == 0 && result.segments == 0)
            return kExitFile;
    }
    std::printf("%lld points in %lld segments\n", static_cast<long long>(result.points),
                static_cast<long long>(result.segments));
    return result.errorCode != 0 ? kExitFile : kExitOk;
}
