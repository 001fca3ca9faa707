#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Where the system shows its devices. The scanner and the port doctor read only below these,
/// so a test hands them a tree of its own.
struct CPortRoots {
    std::string sys = "/sys";
    std::string dev = "/dev";
    std::string proc = "/proc";
    std::string lock = "/run/lock";

    /// The four as they sit below `root`: ROOT/sys, ROOT/dev, ROOT/proc and ROOT/run/lock.
    [[nodiscard]] static CPortRoots Below(const std::string &root);
    /// `device` ("/dev/ttyUSB0") as it is reached below `dev`; a path elsewhere as it is.
    [[nodiscard]] std::string DevicePath(std::string_view device) const;
};

enum class PortKind {
    UsbSerial, ///< ttyUSB: a USB-serial bridge (PL2303, CP210x, FTDI) or a Garmin
    UsbModem,  ///< ttyACM: a USB CDC ACM device, as u-blox receivers are
    Uart,      ///< ttyS: a serial port on the board or a card
    Bluetooth, ///< rfcomm: a Bluetooth link; no line speed, never probed with commands
};

/// The kind of a device by its name ("ttyACM0", "/dev/rfcomm1"); nothing for a name that is no
/// serial device we look for.
[[nodiscard]] std::optional<PortKind> PortKindOfDevice(std::string_view device);

struct CUsbIdentity {
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
    std::string manufacturer; ///< sysfs `manufacturer`; empty when the device has none
    std::string product;      ///< sysfs `product`
};

/// One serial device that may have a receiver behind it.
struct CPortCandidate {
    std::string device;     ///< "/dev/ttyACM0", as the system names it
    std::string stableName; ///< "/dev/serial/by-id/usb-u-blox_AG…-if00"; empty when there is none
    std::string path;       ///< the device below the scanned dev root: where to open it
    PortKind kind = PortKind::UsbSerial;
    std::optional<CUsbIdentity> usb;
    std::string friendlyName; ///< "u-blox AG u-blox 7 - GPS/GNSS Receiver", "Serial port"
    /// Why it is probably a receiver ("u-blox GNSS receiver"); empty when nothing says so.
    std::string likelyBecause;
    int rank = 0; ///< lower first: likely receivers, other USB, Bluetooth, ports on the board

    [[nodiscard]] bool IsLikelyReceiver() const { return !likelyBecause.empty(); }
    /// The name to show and store: the stable one where udev made one.
    [[nodiscard]] const std::string &GetPreferredName() const
    {
        return stableName.empty() ? device : stableName;
    }
};

/// Every serial device below `roots.dev`: ttyUSB*, ttyACM*, rfcomm*, and the ttyS* that have a
/// UART behind them. Likely receivers first (u-blox on ACM before all), then by name in natural
/// order (ttyUSB2 before ttyUSB10). Reads files only; no device is opened.
[[nodiscard]] std::vector<CPortCandidate> ScanPorts(const CPortRoots &roots);

/// The preferred name of the first likely receiver; empty when there is none.
[[nodiscard]] std::string FirstLikelyReceiver(const std::vector<CPortCandidate> &ports);

/// `path` with every link, "." and ".." resolved; nothing when it does not exist.
[[nodiscard]] std::optional<std::string> ResolvePath(const std::string &path);
/// The first line of a small file (a sysfs attribute, /proc/PID/comm) without surrounding
/// blanks; nothing when it cannot be read.
[[nodiscard]] std::optional<std::string> ReadFirstLine(const std::string &path);

/// Digit runs compare by value, everything else byte by byte.
[[nodiscard]] bool NaturalLess(std::string_view a, std::string_view b);
