#include "Cli.h"

#include <charconv>
#include <cstdio>
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
#ifdef VELORAN_HAVE_IO
    "  replay FILE [--delay MS] [--record OUT] [--profile P] [--summary]\n"
    "                    replay a log through the receiver engine, optionally recording\n"
#endif
    "\n"
    "'veloran-cli COMMAND --help' describes a command.\n";
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
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return !text.empty() && ec == std::errc() && ptr == end;
}

int main(int argc, char **argv)
{
    std::vector<std::string_view> args(argv + 1, argv + argc);
    if (args.empty())
        return UsageError("missing command (try --help)");
    const std::string_view command = args.front();
    args.erase(args.begin());
    if (IsHelp(command)) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    if (command == "parse")
        return RunParse(args);
    if (command == "position")
        return RunPosition(args);
    if (command == "distance")
        return RunDistance(args);
#ifdef VELORAN_HAVE_IO
    if (command == "replay")
        return RunReplay(args);
#endif
    return UsageError("unknown command '" + std::string(command) + "' (try --help)");
}
