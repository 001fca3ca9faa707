#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The few gpsd reports a client of its NMEA stream needs to understand.
struct CGpsdReport {
    enum class Kind { None, Version, Devices, Device, Watch, Error, Other };
    Kind kind = Kind::None; ///< None: not a JSON report at all (an NMEA line)
    /// DEVICES: every device gpsd has; DEVICE: the one it speaks of.
    std::vector<std::string> paths;
    /// DEVICE: gpsd opened the device ("activated" is a time), or closed it ("activated": 0).
    bool activated = false;
    /// VERSION: the release; ERROR: the message.
    std::string text;
};

/// gpsd's answers are JSON objects on lines of their own, starting with '{': never NMEA.
[[nodiscard]] inline bool IsGpsdReport(std::string_view line)
{
    return !line.empty() && line.front() == '{';
}

/// Reads a report's class and the fields above; anything else in it is skipped.
[[nodiscard]] CGpsdReport ParseGpsdReport(std::string_view line);

/// The command that asks for the NMEA stream of every device, or of `device` alone.
[[nodiscard]] std::string GpsdWatchCommand(std::string_view device);
