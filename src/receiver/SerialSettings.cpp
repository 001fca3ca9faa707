#include "receiver/SerialSettings.h"

#include "settings/SettingsKey.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr std::string_view kComPrefix = "COM";
constexpr std::string_view kDeviceDirectory = "/dev/";
constexpr std::string_view kLegacyUartPrefix = "ttyS";
constexpr std::array<std::string_view, 4> kSerialPrefixes{"ttyUSB", "ttyACM", "rfcomm",
                                                          kLegacyUartPrefix};

template <std::size_t N> bool IsTableIndex(std::int32_t index, const std::array<int, N> &)
{
    return index >= 0 && static_cast<std::size_t>(index) < N;
}

bool IsCharacterDevice(const std::string &path)
{
    struct stat st {
    };
    return ::stat(path.c_str(), &st) == 0 && S_ISCHR(st.st_mode);
}

// The 8250 driver registers ttyS0..ttyS(nr_uarts-1) whether or not a UART answers at the
// addresses; the ones without a chip report PORT_UNKNOWN.
bool HasUart(const std::string &name)
{
    std::ifstream type("/sys/class/tty/" + name + "/type");
    int uartType = PORT_UNKNOWN;
    if (type >> uartType)
        return uartType != PORT_UNKNOWN;

    // No sysfs (some containers): ask the driver. O_NONBLOCK so a port without carrier does
    // not block the open.
    const int fd = ::open(("/dev/" + name).c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    serial_struct info{};
    const bool known = ::ioctl(fd, TIOCGSERIAL, &info) == 0 && info.type != PORT_UNKNOWN;
    ::close(fd);
    return known;
}

// Digit runs compare by value, everything else byte by byte.
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

} // namespace

void CSerialSettings::Load()
{
    CSettingsKey key;
    key.Open(kKey, false);
    m_portName = key.ReadText(kPortValue, kDefaultPortName);
    m_configured = key.ReadNumber(kBaudRateValue, m_baudRateIndex);
    // Out of range would leave the dialog's drop-down without a selection while the port opens
    // at the first rate; show what will be used.
    if (!m_configured || !IsTableIndex(m_baudRateIndex, kBaudRates))
        m_baudRateIndex = 0;
    if (!key.ReadNumber(kChipsetValue, m_chipsetIndex) || m_chipsetIndex < 0
        || static_cast<std::size_t>(m_chipsetIndex) >= kChipsetEntries.size())
        m_chipsetIndex = 0;
}

void CSerialSettings::Save()
{
    CSettingsKey key;
    key.Open(kKey, true);
    key.WriteText(kPortValue, m_portName);
    key.WriteNumber(kBaudRateValue, m_baudRateIndex);
    key.WriteNumber(kChipsetValue, m_chipsetIndex);
    m_configured = true;
}

int CSerialSettings::GetBaudRate() const
{
    if (!IsTableIndex(m_baudRateIndex, kBaudRates))
        return kBaudRates[0];
    return kBaudRates[static_cast<std::size_t>(m_baudRateIndex)];
}

std::string DevicePathForPort(std::string_view name)
{
    std::string_view rest = name;
    if (rest.size() <= kComPrefix.size())
        return std::string(name);
    for (std::size_t i = 0; i < kComPrefix.size(); ++i) {
        if (std::toupper(static_cast<unsigned char>(rest[i])) != kComPrefix[i])
            return std::string(name);
    }
    rest.remove_prefix(kComPrefix.size());
    if (rest.ends_with(':'))
        rest.remove_suffix(1);
    if (rest.empty() || rest.front() == '0')
        return std::string(name);
    unsigned number = 0;
    const auto [end, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (ec != std::errc() || end != rest.data() + rest.size())
        return std::string(name);
    return std::string(kDeviceDirectory) + std::string(kLegacyUartPrefix)
           + std::to_string(number - 1);
}

std::vector<std::string> ListSerialPorts()
{
    std::vector<std::string> ports;
    DIR *dir = ::opendir(std::string(kDeviceDirectory).c_str());
    if (dir == nullptr)
        return ports;
    while (const dirent *entry = ::readdir(dir)) {
        const std::string_view name = entry->d_name;
        const auto prefix = std::find_if(kSerialPrefixes.begin(), kSerialPrefixes.end(),
                                         [&](std::string_view p) { return name.starts_with(p); });
        if (prefix == kSerialPrefixes.end())
            continue;
        const std::string_view number = name.substr(prefix->size());
        if (number.empty() || !std::all_of(number.begin(), number.end(), [](char c) {
                return std::isdigit(static_cast<unsigned char>(c)) != 0;
            }))
            continue;
        const std::string path = std::string(kDeviceDirectory) + std::string(name);
        if (!IsCharacterDevice(path))
            continue;
        if (*prefix == kLegacyUartPrefix && !HasUart(std::string(name)))
            continue;
        ports.push_back(path);
    }
    ::closedir(dir);
    std::sort(ports.begin(), ports.end(), NaturalLess);
    return ports;
}
