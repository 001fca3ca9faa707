#include "receiver/SerialSettings.h"

#include "receiver/PortInspector.h"
#include "receiver/PortScanner.h"
#include "settings/SettingsKey.h"

#include <cctype>
#include <charconv>
#include <optional>

namespace
{

constexpr std::string_view kComPrefix = "COM";
constexpr std::string_view kDeviceDirectory = "/dev/";
constexpr std::string_view kLegacyUartPrefix = "ttyS";

template <std::size_t N> bool IsTableIndex(std::int32_t index, const std::array<int, N> &)
{
    return index >= 0 && static_cast<std::size_t>(index) < N;
}

} // namespace

void CSerialSettings::Load()
{
    CSettingsKey key;
    key.Open(kKey, false);
    // A fresh install has none: it gets the receiver plugged in. A stored name stays as it is.
    std::optional<std::string> port = key.ReadText(kPortValue);
    m_portName = port ? std::move(*port) : DefaultPortName();
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

std::string DefaultPortName()
{
    std::string port = FirstLikelyReceiver(ScanPorts(PortRootsFromEnvironment()));
    return port.empty() ? std::string(CSerialSettings::kDefaultPortName) : port;
}
