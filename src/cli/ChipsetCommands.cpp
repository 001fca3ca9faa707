#include "Cli.h"
#include "CliArguments.h"
#include "receiver/PortWrite.h"
#include "receiver/SerialPort.h"
#include "receiver/SerialSettings.h"
#include "receiver/SirfCommands.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace
{

constexpr const char *kSirfHelp =
    "usage: veloran-cli sirf rates --port DEVICE [--baud N]\n"
    "       veloran-cli sirf hotstart LAT LON --port DEVICE [--baud N]\n"
    "\n"
    "Sends commands to a receiver with a SiRF chipset, as the window's \"Program CS\" and\n"
    "\"Hot Connect\" do, and prints each line written.\n"
    "\n"
    "  rates      GGA, RMC and VTG every second, GSA and GSV every four seconds\n"
    "  hotstart   restart navigation from LAT LON (signed decimal degrees) and the system\n"
    "             clock, for a quick fix\n"
    "\n"
    "  --port DEVICE  the receiver's serial device (/dev/ttyUSB0; COM1 is /dev/ttyS0)\n"
    "  --baud N       line speed, default 4800\n";

struct COptions {
    std::string command;
    std::vector<std::string_view> positional;
    std::string device;
    int baudRate = kBaudRates[0];
    std::optional<std::time_t> time; // a fixed clock, for tests
};

// 0 when parsed; else the exit status of the usage error already reported.
int ParseOptions(const std::vector<std::string_view> &args, COptions &options)
{
    if (args.empty())
        return UsageError("sirf: missing rates or hotstart (try --help)");
    options.command = std::string(args.front());
    if (options.command != "rates" && options.command != "hotstart")
        return UsageError("sirf: unknown command '" + options.command + "' (rates or hotstart)");
    const CCliSyntax syntax{
        .command = "sirf",
        .options = {{"--port", "a value",
                     [&](std::string_view value, std::string &) {
                         options.device = DevicePathForPort(value);
                         return true;
                     }},
                    IntegerOption<int>("--baud", "a value", options.baudRate, "sirf: bad baud rate",
                                       1),
                    IntegerOption<long long>("--time", "a value", options.time, "sirf: bad time")},
        // A negative number is a latitude or longitude.
        .isOption =
            [](std::string_view a) { return LooksLikeOption(a) && !(a[1] >= '0' && a[1] <= '9'); },
        .operand =
            [&](std::string_view a) {
                options.positional.push_back(a);
                return kExitOk;
            }};
    if (const std::optional<int> status = ReadArguments(args, 1, syntax))
        return *status;
    if (options.device.empty())
        return UsageError("sirf " + options.command + ": missing --port DEVICE");
    const std::size_t wanted = options.command == "hotstart" ? 2 : 0;
    if (options.positional.size() != wanted)
        return UsageError(wanted == 0 ? "sirf rates: unexpected argument"
                                      : "sirf hotstart: expected LAT LON");
    return kExitOk;
}

} // namespace

int RunSirf(const std::vector<std::string_view> &args)
{
    if (PrintHelpIfAsked(args, kSirfHelp))
        return kExitOk;
    COptions options;
    if (const int status = ParseOptions(args, options); status != kExitOk)
        return status;
    double latitude = 0.0;
    double longitude = 0.0;
    if (options.command == "hotstart") {
        if (!ParseNumberArgument(options.positional[0], latitude) || std::fabs(latitude) > 90.0)
            return UsageError("sirf hotstart: bad latitude '" + std::string(options.positional[0])
                              + "' (decimal degrees, -90 to 90)");
        if (!ParseNumberArgument(options.positional[1], longitude) || std::fabs(longitude) > 180.0)
            return UsageError("sirf hotstart: bad longitude '" + std::string(options.positional[1])
                              + "' (decimal degrees, -180 to 180)");
    }

    CSerialPort port;
    if (!port.Open(options.device, options.baudRate)) {
        std::fprintf(stderr, "veloran-cli: %s\n", port.GetErrorText().c_str());
        return kExitFile;
    }
    const auto write = [&port](std::string_view bytes) {
        if (!WritePort(port, bytes))
            return false;
        std::fwrite(bytes.data(), 1, bytes.size() - 2, stdout); // CR LF as a plain line feed
        std::fputc('\n', stdout);
        return true;
    };
    const bool written =
        options.command == "rates"
            ? SendProgramChipset(write)
            : SendHotConnect(write, latitude, longitude, options.time.value_or(std::time(nullptr)));
    port.Close();
    if (!written) {
        std::fprintf(stderr, "veloran-cli: cannot write to %s\n", options.device.c_str());
        return kExitFile;
    }
    return kExitOk;
}
