#include "receiver/SourceAddress.h"

#include <charconv>

namespace
{

struct CScheme {
    std::string_view name;
    SourceKind kind;
    int defaultPort;
    bool needsHost;
};

constexpr CScheme kSchemes[] = {
    {"gpsd", SourceKind::Gpsd, CSourceAddress::kGpsdPort, false},
    {"tcp", SourceKind::Tcp, CSourceAddress::kNmeaPort, true},
    {"tcp-listen", SourceKind::TcpListen, CSourceAddress::kNmeaPort, false},
    {"udp", SourceKind::Udp, CSourceAddress::kNmeaPort, false},
};

constexpr std::string_view kSerialScheme = "serial:";

bool ReadNumber(std::string_view text, int low, int high, int &value)
{
    const char *end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return !text.empty() && ec == std::errc() && ptr == end && value >= low && value <= high;
}

// "host:port", "[v6]:port", "host", ":port" or nothing.
bool ReadAuthority(std::string_view text, std::string &host, int &port, std::string &error)
{
    std::string_view portText;
    if (!text.empty() && text.front() == '[') {
        const std::size_t close = text.find(']');
        if (close == std::string_view::npos) {
            error = "a '[' without its ']' in '" + std::string(text) + "'";
            return false;
        }
        host = std::string(text.substr(1, close - 1));
        const std::string_view rest = text.substr(close + 1);
        if (!rest.empty() && rest.front() != ':') {
            error = "'" + std::string(rest) + "' after the address";
            return false;
        }
        portText = rest.empty() ? rest : rest.substr(1);
    } else {
        const std::size_t colon = text.rfind(':');
        host = std::string(text.substr(0, colon));
        portText = colon == std::string_view::npos ? std::string_view() : text.substr(colon + 1);
        if (host.find(':') != std::string::npos) {
            error = "an IPv6 address goes in brackets: [" + host + "]";
            return false;
        }
        if (colon != std::string_view::npos && portText.empty()) {
            error = "a ':' without a port number";
            return false;
        }
    }
    if (!portText.empty() && !ReadNumber(portText, 1, 65535, port)) {
        error = "the port must be a number from 1 to 65535, not '" + std::string(portText) + "'";
        return false;
    }
    return true;
}

std::optional<CSourceAddress> ParseSerial(std::string_view text, std::string &error)
{
    CSourceAddress a;
    const std::size_t query = text.find('?');
    a.device = std::string(text.substr(0, query));
    if (a.device.empty()) {
        error = "a serial source needs a device";
        return std::nullopt;
    }
    if (query == std::string_view::npos)
        return a;
    const std::string_view option = text.substr(query + 1);
    constexpr std::string_view kBaud = "baud=";
    if (option.substr(0, kBaud.size()) != kBaud) {
        error = "unknown option '" + std::string(option) + "' (baud=auto or baud=SPEED)";
        return std::nullopt;
    }
    const std::string_view speed = option.substr(kBaud.size());
    int baud = 0;
    if (speed == "auto") {
        a.baudRate = CSourceAddress::kAutoBaud;
    } else if (ReadNumber(speed, 50, 4000000, baud)) {
        a.baudRate = baud;
    } else {
        error = "baud must be auto or a speed, not '" + std::string(speed) + "'";
        return std::nullopt;
    }
    return a;
}

std::string HostAndPort(const std::string &host, int port)
{
    const std::string shown = host.find(':') != std::string::npos ? "[" + host + "]" : host;
    return shown + ":" + std::to_string(port);
}

} // namespace

std::optional<CSourceAddress> CSourceAddress::Parse(std::string_view text, std::string &error)
{
    if (text.empty()) {
        error = "an empty source";
        return std::nullopt;
    }
    if (text.substr(0, kSerialScheme.size()) == kSerialScheme) {
        std::string_view rest = text.substr(kSerialScheme.size());
        if (rest.substr(0, 2) == "//")
            rest.remove_prefix(2);
        return ParseSerial(rest, error);
    }
    const std::size_t separator = text.find("://");
    if (separator == std::string_view::npos)
        return ParseSerial(text, error); // a plain device path or COMn
    const std::string_view name = text.substr(0, separator);
    const CScheme *scheme = nullptr;
    for (const CScheme &s : kSchemes)
        if (s.name == name)
            scheme = &s;
    if (scheme == nullptr) {
        error = "unknown source type '" + std::string(name)
                + "' (serial:, gpsd://, tcp://, tcp-listen:// or udp://)";
        return std::nullopt;
    }
    CSourceAddress a;
    a.kind = scheme->kind;
    a.port = scheme->defaultPort;
    std::string_view rest = text.substr(separator + 3);
    // gpsd names one of its devices by the path after the authority.
    const std::size_t slash = rest.find('/');
    if (slash != std::string_view::npos) {
        if (a.kind != SourceKind::Gpsd) {
            error = "a " + std::string(name) + ":// source has no path ('"
                    + std::string(rest.substr(slash)) + "')";
            return std::nullopt;
        }
        a.device = std::string(rest.substr(slash));
        rest = rest.substr(0, slash);
    }
    if (!ReadAuthority(rest, a.host, a.port, error))
        return std::nullopt;
    if (a.host.empty() && scheme->needsHost) {
        error = "a " + std::string(name) + ":// source needs a host to connect to";
        return std::nullopt;
    }
    if (a.host.empty() && a.kind == SourceKind::Gpsd)
        a.host = "localhost";
    return a;
}

std::string CSourceAddress::ToUrl() const
{
    switch (kind) {
    case SourceKind::Serial: {
        std::string url = std::string(kSerialScheme) + device;
        if (baudRate)
            url += "?baud="
                   + (*baudRate == kAutoBaud ? std::string("auto") : std::to_string(*baudRate));
        return url;
    }
    case SourceKind::Gpsd:
        return "gpsd://" + HostAndPort(host, port) + device;
    case SourceKind::Tcp:
        return "tcp://" + HostAndPort(host, port);
    case SourceKind::TcpListen:
        return "tcp-listen://" + HostAndPort(host, port);
    case SourceKind::Udp:
        return "udp://" + HostAndPort(host, port);
    }
    return {};
}

std::string CSourceAddress::Describe() const
{
    switch (kind) {
    case SourceKind::Serial:
        return device;
    case SourceKind::Gpsd:
        return "gpsd at " + HostAndPort(host, port) + (device.empty() ? "" : " (" + device + ")");
    default:
        return ToUrl();
    }
}
