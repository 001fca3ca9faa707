#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

/// Entries of the "Open Serial Port" dialog's drop-downs, index 0 first.
inline constexpr std::array kPortEntries{
    "COM1:", "COM2:", "COM3:", "COM4:", "COM5:", "COM6:", "COM7:", "COM8:"};
inline constexpr std::array kBaudRateEntries{"4800",  "9600",  "14400",  "19200",  "38400",
                                             "56000", "57600", "115200", "128000", "256000"};
inline constexpr std::array kProtocolEntries{"NMEA"};
inline constexpr std::array kParityEntries{"NoParity", "EvenParity", "OddParity", "MarkParity",
                                           "SpaceParity"};
inline constexpr std::array kStopBitEntries{"OneBit", "One5Bit", "TwoBits"};
inline constexpr std::array kByteSizeEntries{"8", "7"};
inline constexpr std::array kChipsetEntries{"unspecified", "SIRF", "EVERMORE", "CMC"};

/// Line speed for each baud-rate index, in the order of kBaudRateEntries.
inline constexpr std::array kBaudRates{4800,  9600,  14400,  19200,  38400,
                                       56000, 57600, 115200, 128000, 256000};
static_assert(kBaudRates.size() == kBaudRateEntries.size());

/// The receiver's port settings: the data of the "Open Serial Port" dialog, kept under
/// "Software/Veloran/SerialPort". The line itself is always 8N1; the parity, byte-size and
/// stop-bit indices are shown by the dialog but neither stored nor used.
class CSerialSettings
{
public:
    static constexpr std::string_view kKey = "Software/Veloran/SerialPort";
    static constexpr std::string_view kPortValue = "ComPort";
    static constexpr std::string_view kBaudRateValue = "BaudRate";
    static constexpr std::string_view kChipsetValue = "Chipset";
    /// Port name when `ComPort` is missing and no likely receiver is plugged in; unlike the
    /// drop-down entries it has no colon.
    static constexpr std::string_view kDefaultPortName = "COM1";
    /// Chipset index that enables the SiRF commands.
    static constexpr std::int32_t kChipsetSirf = 1;

    /// Reads the stored values; a missing one gets its default (the port: DefaultPortName()).
    /// Configured when `BaudRate` was found. A stored baud-rate or chipset index outside its
    /// table is read as 0.
    void Load();
    /// Writes port name, baud-rate and chipset index, and marks the settings configured.
    void Save();

    /// Line speed of the baud-rate index; an index outside the table gives kBaudRates[0].
    [[nodiscard]] int GetBaudRate() const;

    [[nodiscard]] const std::string &GetPortName() const { return m_portName; }
    void SetPortName(std::string name) { m_portName = std::move(name); }
    [[nodiscard]] std::int32_t GetBaudRateIndex() const { return m_baudRateIndex; }
    void SetBaudRateIndex(std::int32_t index) { m_baudRateIndex = index; }
    [[nodiscard]] std::int32_t GetProtocolIndex() const { return m_protocolIndex; }
    void SetProtocolIndex(std::int32_t index) { m_protocolIndex = index; }
    [[nodiscard]] std::int32_t GetParityIndex() const { return m_parityIndex; }
    void SetParityIndex(std::int32_t index) { m_parityIndex = index; }
    [[nodiscard]] std::int32_t GetByteSizeIndex() const { return m_byteSizeIndex; }
    void SetByteSizeIndex(std::int32_t index) { m_byteSizeIndex = index; }
    [[nodiscard]] std::int32_t GetStopBitIndex() const { return m_stopBitIndex; }
    void SetStopBitIndex(std::int32_t index) { m_stopBitIndex = index; }
    [[nodiscard]] std::int32_t GetChipsetIndex() const { return m_chipsetIndex; }
    void SetChipsetIndex(std::int32_t index) { m_chipsetIndex = index; }
    [[nodiscard]] bool IsConfigured() const { return m_configured; }

private:
    std::string m_portName = "COM1:";
    std::int32_t m_baudRateIndex = 0;
    std::int32_t m_protocolIndex = 0;
    std::int32_t m_parityIndex = 0;
    std::int32_t m_byteSizeIndex = 0;
    std::int32_t m_stopBitIndex = 0;
    std::int32_t m_chipsetIndex = 0;
    bool m_configured = false;
};

/// The device behind a port name: "COM3", "COM3:" and "com3" name /dev/ttyS2 (COMn is
/// /dev/ttyS(n-1), n from 1, no leading zero); any other name is a device path already and comes
/// back unchanged.
[[nodiscard]] std::string DevicePathForPort(std::string_view name);

/// The port of a fresh install: the first likely receiver plugged in (its stable name), else
/// kDefaultPortName.
[[nodiscard]] std::string DefaultPortName();
