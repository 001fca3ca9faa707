#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Where the receiver's lines come from.
enum class SourceKind { Serial, Gpsd, Tcp, TcpListen, Udp };

/// A receiver source written as a URL, as the settings, the command line and the source dialog
/// hold it:
///   serial:/dev/serial/by-id/usb-...?baud=auto   (or baud=4800; a plain /dev/ttyUSB0 or COM3)
///   gpsd://localhost:2947   gpsd://host:port/dev/ttyACM0   (one device of several)
///   tcp://192.168.4.1:10110   tcp-listen://:10110   udp://:10110   udp://127.0.0.1:10110
class CSourceAddress
{
public:
    static constexpr int kGpsdPort = 2947;
    /// The port NMEA over a network is sent to by custom.
    static constexpr int kNmeaPort = 10110;
    /// `baud=auto`.
    static constexpr int kAutoBaud = 0;

    SourceKind kind = SourceKind::Serial;
    /// Serial: the device path (or COMn as typed). gpsd: the one device to watch, empty for all.
    std::string device;
    /// gpsd, tcp: where to connect. tcp-listen, udp: the address to bind, empty for any.
    std::string host;
    int port = 0;
    /// Serial: the line speed, kAutoBaud to find it; empty: the configured one.
    std::optional<int> baudRate;

    /// Reads `text`; an empty result with `error` saying why ("unknown source type 'ftp'").
    static std::optional<CSourceAddress> Parse(std::string_view text, std::string &error);
    /// The URL form, which Parse reads back to the same address.
    [[nodiscard]] std::string ToUrl() const;
    /// For notices: "gpsd at localhost:2947", "tcp://192.168.4.1:10110", "/dev/ttyUSB0".
    [[nodiscard]] std::string Describe() const;
    [[nodiscard]] bool IsNetwork() const { return kind != SourceKind::Serial; }

    bool operator==(const CSourceAddress &) const = default;
};
