#include "Cli.h"
#include "CliArguments.h"
#include "nmea/LineAssembler.h"
#include "nmea/NMEAParser.h"
#include "receiver/GpxTrackFile.h"
#include "receiver/TrackRules.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>

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

    const int fd = ::open(file->c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        std::fprintf(stderr, "veloran-cli: cannot open '%s': %s\n", file->c_str(),
                     std::strerror(errno));
        return kExitFile;
    }
    CGpxTrackFile gpx;
    std::string name = *file;
    if (const std::size_t slash = name.rfind('/'); slash != std::string::npos)
        name.erase(0, slash + 1);
    if (!gpx.Create(*out, name, std::time(nullptr), false)) {
        ::close(fd);
        std::fprintf(stderr, "veloran-cli: cannot write %s\n", gpx.GetErrorText().c_str());
        return kExitFile;
    }

    CNMEAParser parser(mode);
    CLineAssembler assembler(mode);
    CTrackRules rules;
    rules.SetRate(every == 0.0 ? CTrackRate{CTrackRate::Kind::EveryFix, 0.0}
                               : CTrackRate{CTrackRate::Kind::Seconds, every});
    const auto onLine = [&](std::string_view line) {
        rules.OnSentence(parser.Parse(line), parser, gpx);
    };
    constexpr std::size_t kChunk = 1 << 20;
    const auto chunk = std::make_unique<char[]>(kChunk);
    int status = kExitOk;
    while (gpx.IsOpen()) {
        const ssize_t got = ::read(fd, chunk.get(), kChunk);
        if (got == 0)
            break;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            std::fprintf(stderr, "veloran-cli: cannot read '%s': %s\n", file->c_str(),
                         std::strerror(errno));
            status = kExitFile;
            break;
        }
        assembler.Feed(std::string_view(chunk.get(), static_cast<std::size_t>(got)), onLine);
    }
    ::close(fd);
    rules.Finish(gpx);
    gpx.Close();
    if (!gpx.GetErrorText().empty()) {
        std::fprintf(stderr, "veloran-cli: cannot write %s\n", gpx.GetErrorText().c_str());
        status = kExitFile;
    }
    std::printf("%lld points in %lld segments\n", static_cast<long long>(gpx.GetWrittenPoints()),
                static_cast<long long>(gpx.GetWrittenSegments()));
    return status;
}
