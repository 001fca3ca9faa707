#include "Cli.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

namespace
{

// clang-format off
constexpr const char *kUsage =
    "usage: veloran-cli COMMAND [ARGS]\n"
    "\n"
    "Commands:\n"
    "  parse FILE|- [--json] [--all] [--summary]\n"
    "                    decode an NMEA log line by line\n"
    "  position LAT LON  a position in the four coordinate formats\n"
    "  distance LAT1 LON1 LAT2 LON2 [--units metric|imperial|nautic]\n"
    "                    the distance between two positions\n"
    "  track FILE --gpx OUT [--gnss all|gps] [--every SECONDS]\n"
    "                    convert an NMEA log into a GPX track\n"
#ifdef VELORAN_HAVE_IO
    "  replay FILE [--delay MS] [--record OUT] [--profile P] [--summary]\n"
    "                    replay a log through the receiver engine, optionally recording\n"
    "  listen SOURCE [--record OUT] [--seconds N] [--json]\n"
    "                    receive from a port, gpsd, TCP or UDP, optionally recording\n"
    "  waypoints list|import|export [ARGS]\n"
    "                    list the waypoint database, import GPX/LOC files, export GPX\n"
    "  maps list|add|locate|track [ARGS]\n"
    "                    list the map database, add a map, locate a position, load a track\n"
    "  sirf rates|hotstart [LAT LON] --port DEVICE [--baud N]\n"
    "                    send output rates or a hot start to a SiRF receiver\n"
    "  ports [--json]    the serial ports, whether you may open each and, if not, why\n"
#endif
    "\n"
    "'veloran-cli COMMAND --help' describes a command; 'veloran-cli --version' prints the\n"
    "version.\n";
// clang-format on

} // namespace

int UsageError(const std::string &message)
{
    std::fprintf(stderr, "veloran-cli: %s\n", message.c_str());
    return kExitUsage;
}

bool IsHelp(std::string_view arg)
{
    return arg == "--help" || arg == "-h";
}

bool ParseNumberArgument(std::string_view text, double &value)
{
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    const char *end = text.data() + text.size();
    double parsed = 0.0;
    const auto [ptr, ec] = std::from_chars(text.data(), end, parsed);
    // from_chars also takes "nan" and "inf"; no position or distance is made of those.
    if (text.empty() || ec != std::errc() || ptr != end || !std::isfinite(parsed))
        return false;
    value = parsed;
    return true;
}

int OutputError(int errorCode)
{
    std::fprintf(stderr, "veloran-cli: cannot write output: %s\n", std::strerror(errorCode));
    return kExitFile;
}

namespace
{

int RunCommand(std::string_view command, const std::vector<std::string_view> &args)
{
    if (IsHelp(command)) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    if (command == "--version") {
        std::printf("veloran-cli %s\n", VELORAN_VERSION);
        return kExitOk;
    }
    if (command == "parse")
        return RunParse(args);
    if (command == "position")
        return RunPosition(args);
    if (command == "distance")
        return RunDistance(args);
    if (command == "track")
        return RunTrack(args);
#ifdef VELORAN_HAVE_IO
    if (command == "replay")
        return RunReplay(args);
    if (command == "listen")
        return RunListen(args);
    if (command == "waypoints")
        return RunWaypoints(args);
    if (command == "maps")
        return RunMaps(args);
    if (command == "sirf")
        return RunSirf(args);
    if (command == "ports")
        return RunPorts(args);
#endif
    return UsageError("unknown command '" + std::string(command) + "' (try --help)");
}

} // namespace

int main(int argc, char **argv)
{
    std::vector<std::string_view> args(argv + 1, argv + argc);
    if (args.empty())
        return UsageError("missing command (try --help)");
    // Past a file size limit a write fails with EFBIG like any other, instead of killing us.
    std::signal(SIGXFSZ, SIG_IGN);
    const std::string_view command = args.front();
    args.erase(args.begin());
    const int status = RunCommand(command, args);
    // Output that did not get out (a full disk, /dev/full) is a failure, never a silent 0.
    if (std::fflush(stdout) != 0)
        return status == kExitOk ? OutputError(errno) : status;
    if (std::ferror(stdout))
        return status == kExitOk ? OutputError(EIO) : status;
    return status;
}
