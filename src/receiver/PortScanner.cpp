#include "receiver/PortScanner.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <map>
#include <memory>
#include <sys/stat.h>

namespace
{

constexpr std::string_view kDevPrefix = "/dev/";

struct CDeviceFamily {
    std::string_view prefix;
    PortKind kind;
};
constexpr std::array<CDeviceFamily, 4> kFamilies{{{"ttyUSB", PortKind::UsbSerial},
                                                  {"ttyACM", PortKind::UsbModem},
                                                  {"ttyS", PortKind::Uart},
                                                  {"rfcomm", PortKind::Bluetooth}}};

constexpr int kRankUbloxModem = 0;
constexpr int kRankReceiver = 1;
constexpr int kRankBridge = 2;
constexpr int kRankOtherUsb = 10;
constexpr int kRankBluetooth = 20;
constexpr int kRankUart = 30;

struct CKnownDevice {
    std::uint16_t vendorId;
    std::uint16_t firstProductId;
    std::uint16_t lastProductId;
    int rank;
    const char *what;
};

// Receivers, and the USB-serial bridges most GPS mice are built on: the ids Debian's gpsd takes
// for itself on plug-in, so a port "in use" on such a device is most likely held by gpsd. Plain
// FTDI and CH340 bridges are left out: they sit on every other hobby board.
constexpr std::array<CKnownDevice, 6> kKnownDevices{{
    {0x1546, 0x01a5, 0x01a9, kRankReceiver, "u-blox GNSS receiver"}, // u-blox 5 to 9
    {0x091e, 0x0003, 0x0003, kRankReceiver, "Garmin GPS"},
    {0x1163, 0x0200, 0x0200, kRankReceiver, "DeLorme Earthmate GPS"},
    {0x0e8d, 0x3329, 0x3329, kRankReceiver, "MediaTek GPS"}, // Qstarz, Holux loggers
    {0x067b, 0x2303, 0x2303, kRankBridge, "PL2303 USB-serial bridge, as in many GPS mice"},
    {0x10c4, 0xea60, 0xea60, kRankBridge, "CP210x USB-serial bridge, as in many GPS receivers"},
}};
constexpr std::uint16_t kUbloxVendorId = 0x1546;

// The 8250 driver makes ttyS0..ttyS(nr_uarts-1) whether or not a UART answers at the
// addresses; those no chip answered hang off the driver's own platform device.
constexpr std::string_view kPlaceholderDriver = "serial8250";
// Since Linux 6.5 a port's `device` is a serial-base port below a serial-base controller, and
// the hardware (PnP, PCI, platform) is their parent.
constexpr std::string_view kSerialBaseBus = "serial-base";
constexpr int kPortUnknown = 0; // PORT_UNKNOWN of <linux/serial.h>
// From a tty's device to the USB device: interface, then device (ttyACM); port, interface,
// device (ttyUSB). A few more for hubs that add a level.
constexpr int kMaxUsbLevels = 6;

std::string_view BaseName(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string Parent(const std::string &path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos || slash == 0 ? std::string("/") : path.substr(0, slash);
}

template <class Number>
std::optional<Number> ReadNumberAttribute(const std::string &path, int base = 10)
{
    const std::optional<std::string> text = ReadFirstLine(path);
    if (!text)
        return std::nullopt;
    Number value{};
    const char *end = text->data() + text->size();
    const auto [ptr, ec] = std::from_chars(text->data(), end, value, base);
    if (text->empty() || ec != std::errc() || ptr != end)
        return std::nullopt;
    return value;
}

std::string LinkedName(const std::string &link)
{
    const std::optional<std::string> target = ResolvePath(link);
    return target ? std::string(BaseName(*target)) : std::string();
}

bool HasUart(const std::string &ttyDir)
{
    const std::optional<std::string> device = ResolvePath(ttyDir + "/device");
    if (!device)
        return false;
    if (const std::optional<int> type = ReadNumberAttribute<int>(ttyDir + "/type"))
        return *type != kPortUnknown;
    std::string hardware = *device;
    while (LinkedName(hardware + "/subsystem") == kSerialBaseBus)
        hardware = Parent(hardware);
    return LinkedName(hardware + "/driver") != kPlaceholderDriver;
}

std::optional<CUsbIdentity> FindUsbIdentity(const std::string &ttyDir, const std::string &sysRoot)
{
    const std::optional<std::string> device = ResolvePath(ttyDir + "/device");
    if (!device)
        return std::nullopt;
    std::string level = *device;
    for (int i = 0; i < kMaxUsbLevels && level.size() > sysRoot.size()
                    && level.compare(0, sysRoot.size(), sysRoot) == 0;
         ++i, level = Parent(level)) {
        const auto vendor = ReadNumberAttribute<std::uint16_t>(level + "/idVendor", 16);
        const auto product = ReadNumberAttribute<std::uint16_t>(level + "/idProduct", 16);
        if (!vendor || !product)
            continue;
        CUsbIdentity usb;
        usb.vendorId = *vendor;
        usb.productId = *product;
        usb.manufacturer = ReadFirstLine(level + "/manufacturer").value_or("");
        usb.product = ReadFirstLine(level + "/product").value_or("");
        return usb;
    }
    return std::nullopt;
}

const CKnownDevice *FindKnown(const CUsbIdentity &usb)
{
    const auto known =
        std::find_if(kKnownDevices.begin(), kKnownDevices.end(), [&](const CKnownDevice &k) {
            return k.vendorId == usb.vendorId && usb.productId >= k.firstProductId
                   && usb.productId <= k.lastProductId;
        });
    return known == kKnownDevices.end() ? nullptr : &*known;
}

std::string HexId(std::uint16_t id)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text(4, '0');
    for (int i = 3; i >= 0; --i, id = static_cast<std::uint16_t>(id >> 4))
        text[static_cast<std::size_t>(i)] = kDigits[id & 0xf];
    return text;
}

std::string UsbFriendlyName(const CUsbIdentity &usb, const CKnownDevice *known)
{
    if (usb.product.empty() && usb.manufacturer.empty())
        return known != nullptr ? known->what
                                : "USB device " + HexId(usb.vendorId) + ":" + HexId(usb.productId);
    if (usb.manufacturer.empty() || usb.product.starts_with(usb.manufacturer))
        return usb.product;
    if (usb.product.empty())
        return usb.manufacturer;
    return usb.manufacturer + " " + usb.product;
}

// rfcomm ttys carry the remote address and channel themselves; they have no `device`.
std::string BluetoothFriendlyName(const std::string &ttyDir)
{
    const std::optional<std::string> address = ReadFirstLine(ttyDir + "/address");
    if (!address || address->empty())
        return "Bluetooth link";
    std::string name = "Bluetooth link to " + *address;
    if (const std::optional<std::string> channel = ReadFirstLine(ttyDir + "/channel"))
        name += ", channel " + *channel;
    return name;
}

// Stable names udev made, by the device each leads to.
std::map<std::string, std::string> StableNames(const CPortRoots &roots)
{
    std::map<std::string, std::string> names;
    const std::string folder = roots.dev + "/serial/by-id";
    DIR *dir = ::opendir(folder.c_str());
    if (dir == nullptr)
        return names;
    std::vector<std::string> entries;
    while (const dirent *entry = ::readdir(dir)) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            entries.emplace_back(name);
    }
    ::closedir(dir);
    std::sort(entries.begin(), entries.end());
    for (const std::string &name : entries) {
        if (const std::optional<std::string> target = ResolvePath(folder + "/" + name))
            names.emplace(*target, std::string(kDevPrefix) + "serial/by-id/" + name);
    }
    return names;
}

bool IsCharacterDevice(const std::string &path)
{
    struct stat st {
    };
    return ::stat(path.c_str(), &st) == 0 && S_ISCHR(st.st_mode);
}

void Describe(CPortCandidate &port, const std::string &ttyDir, const std::string &sysRoot)
{
    switch (port.kind) {
    case PortKind::UsbSerial:
    case PortKind::UsbModem: {
        port.rank = kRankOtherUsb;
        port.usb = FindUsbIdentity(ttyDir, sysRoot);
        if (!port.usb) {
            port.friendlyName = port.kind == PortKind::UsbModem ? "USB modem" : "USB serial port";
            return;
        }
        const CKnownDevice *known = FindKnown(*port.usb);
        port.friendlyName = UsbFriendlyName(*port.usb, known);
        if (known != nullptr) {
            port.likelyBecause = known->what;
            port.rank = known->vendorId == kUbloxVendorId && port.kind == PortKind::UsbModem
                            ? kRankUbloxModem
                            : known->rank;
        }
        return;
    }
    case PortKind::Uart:
        port.rank = kRankUart;
        port.friendlyName = "Serial port";
        return;
    case PortKind::Bluetooth:
        port.rank = kRankBluetooth;
        port.friendlyName = BluetoothFriendlyName(ttyDir);
        return;
    }
}

} // namespace

CPortRoots CPortRoots::Below(const std::string &root)
{
    return {root + "/sys", root + "/dev", root + "/proc", root + "/run/lock"};
}

std::string CPortRoots::DevicePath(std::string_view device) const
{
    if (!device.starts_with(kDevPrefix))
        return std::string(device);
    return dev + "/" + std::string(device.substr(kDevPrefix.size()));
}

std::optional<PortKind> PortKindOfDevice(std::string_view device)
{
    const std::string_view name = BaseName(device);
    for (const CDeviceFamily &family : kFamilies) {
        if (!name.starts_with(family.prefix))
            continue;
        const std::string_view number = name.substr(family.prefix.size());
        if (!number.empty() && std::all_of(number.begin(), number.end(), [](char c) {
                return std::isdigit(static_cast<unsigned char>(c)) != 0;
            }))
            return family.kind;
    }
    return std::nullopt;
}

std::vector<CPortCandidate> ScanPorts(const CPortRoots &roots)
{
    std::vector<CPortCandidate> ports;
    DIR *dir = ::opendir(roots.dev.c_str());
    if (dir == nullptr)
        return ports;
    std::vector<std::string> names;
    while (const dirent *entry = ::readdir(dir))
        names.emplace_back(entry->d_name);
    ::closedir(dir);

    const std::string sysRoot = ResolvePath(roots.sys).value_or(roots.sys);
    const std::map<std::string, std::string> stableNames = StableNames(roots);
    for (const std::string &name : names) {
        const std::optional<PortKind> kind = PortKindOfDevice(name);
        if (!kind)
            continue;
        CPortCandidate port;
        port.kind = *kind;
        port.device = std::string(kDevPrefix) + name;
        port.path = roots.dev + "/" + name;
        if (!IsCharacterDevice(port.path))
            continue;
        const std::string ttyDir = roots.sys + "/class/tty/" + name;
        if (port.kind == PortKind::Uart && !HasUart(ttyDir))
            continue;
        Describe(port, ttyDir, sysRoot);
        if (const std::optional<std::string> target = ResolvePath(port.path)) {
            if (const auto stable = stableNames.find(*target); stable != stableNames.end())
                port.stableName = stable->second;
        }
        ports.push_back(std::move(port));
    }
    std::sort(ports.begin(), ports.end(), [](const CPortCandidate &a, const CPortCandidate &b) {
        if (a.rank != b.rank)
            return a.rank < b.rank;
        return NaturalLess(a.device, b.device);
    });
    return ports;
}

std::string FirstLikelyReceiver(const std::vector<CPortCandidate> &ports)
{
    const auto likely = std::find_if(ports.begin(), ports.end(),
                                     [](const CPortCandidate &p) { return p.IsLikelyReceiver(); });
    return likely == ports.end() ? std::string() : likely->GetPreferredName();
}

std::optional<std::string> ResolvePath(const std::string &path)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr),
                                                               &std::free);
    if (!resolved)
        return std::nullopt;
    return std::string(resolved.get());
}

std::optional<std::string> ReadFirstLine(const std::string &path)
{
    std::ifstream in(path);
    std::string line;
    if (!in || !std::getline(in, line))
        return std::nullopt;
    const auto blank = [](unsigned char c) { return std::isspace(c) != 0; };
    while (!line.empty() && blank(static_cast<unsigned char>(line.back())))
        line.pop_back();
    const auto first = std::find_if_not(line.begin(), line.end(), blank);
    return std::string(first, line.end());
}

bool NaturalLess(std::string_view a, std::string_view b)
{
    const auto isDigit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            const std::size_t startA = i;
            const std::size_t startB = j;
            while (i < a.size() && isDigit(a[i]))
                ++i;
            while (j < b.size() && isDigit(b[j]))
                ++j;
            std::string_view runA = a.substr(startA, i - startA);
            std::string_view runB = b.substr(startB, j - startB);
            runA.remove_prefix(std::min(runA.find_first_not_of('0'), runA.size()));
            runB.remove_prefix(std::min(runB.find_first_not_of('0'), runB.size()));
            if (runA.size() != runB.size())
                return runA.size() < runB.size();
            if (runA != runB)
                return runA < runB;
            continue;
        }
        if (a[i] != b[j])
            return a[i] < b[j];
        ++i;
        ++j;
    }
    return a.size() - i < b.size() - j;
}
