#include "receiver/SirfCommands.h"

#include "base/Numbers.h"
#include "receiver/ReceiverBytes.h"

#include <array>
#include <utility>

namespace
{

// 1999-08-22 00:00:00 UTC, the start of GPS week 1024.
constexpr std::time_t kWeek1024StartUtc = 935280000;
constexpr std::int64_t kFirstRolloverWeek = 1024;
constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kSecondsPerWeek = 7 * kSecondsPerDay;

// $PSRF103 fields after message and rate: mode 0 sets the rate (1 would query once), checksum
// 1 keeps the checksum on every output sentence.
constexpr int kRateModeSet = 0;
constexpr int kRateChecksumOn = 1;

constexpr std::array<std::pair<CSirfRateCommand::Message, int>, 5> kProgramChipsetRates{{
    {CSirfRateCommand::Message::GGA, 1},
    {CSirfRateCommand::Message::RMC, 1},
    {CSirfRateCommand::Message::VTG, 1},
    {CSirfRateCommand::Message::GSA, 4},
    {CSirfRateCommand::Message::GSV, 4},
}};

// Hot Connect sends its command twice in a row: a receiver that misses one still gets the other.
constexpr int kHotConnectCopies = 2;

} // namespace

CGpsWeekTime GpsWeekTime(std::time_t utc)
{
    const std::int64_t seconds = static_cast<std::int64_t>(utc) - kWeek1024StartUtc;
    CGpsWeekTime t;
    t.week = seconds / kSecondsPerDay / 7 + kFirstRolloverWeek;
    t.timeOfWeek = seconds - (t.week - kFirstRolloverWeek) * kSecondsPerWeek;
    return t;
}

std::string WithSirfChecksum(std::string body)
{
    unsigned sum = 0;
    for (std::size_t i = body.starts_with('$') ? 1 : 0; i < body.size(); ++i)
        sum ^= static_cast<unsigned char>(body[i]);
    return body + FormatC("*%02X\r\n", sum);
}

bool CSirfCommand::Send(const Writer &write, int repetitions) const
{
    const std::string text = GetText();
    bool written = true;
    for (int i = 0; i < repetitions; ++i)
        written = write(text) && written;
    return written;
}

std::string CSirfRateCommand::BuildBody() const
{
    return FormatC("$PSRF103,%02d,%02d,%02d,%02d", static_cast<int>(m_message), kRateModeSet,
                   m_rateSeconds, kRateChecksumOn);
}

std::string CSirfNavInitCommand::BuildBody() const
{
    // Trailing fields: clock drift 0 (keep the receiver's own), 12 channels, reset
    // configuration 3 (warm start: the data given are valid, the ephemeris is cleared).
    return FormatC("$PSRF104,%.6lf,%.6lf,%d,0,%d,%d,12,3", m_latitude, m_longitude,
                   static_cast<int>(m_altitudeMeters), static_cast<int>(m_time.timeOfWeek),
                   static_cast<int>(m_time.week));
}

std::vector<std::string> ProgramChipsetCommands()
{
    std::vector<std::string> lines;
    for (const auto &[message, rate] : kProgramChipsetRates)
        lines.push_back(CSirfRateCommand(message, rate).GetText());
    return lines;
}

bool SendProgramChipset(const CSirfCommand::Writer &write)
{
    bool written = true;
    for (const auto &[message, rate] : kProgramChipsetRates)
        written = CSirfRateCommand(message, rate).Send(write) && written;
    return written;
}

bool SendHotConnect(const CSirfCommand::Writer &write, double latitude, double longitude,
                    std::time_t utcNow)
{
    return CSirfNavInitCommand(latitude, longitude, GpsWeekTime(utcNow))
        .Send(write, kHotConnectCopies);
}

std::string SirfSwitchToNmeaFrame(int baudRate)
{
    // Message ID, mode 2 (leave the debug messages as they are), then rate and checksum flag for
    // GGA, GLL, GSA, GSV, RMC, VTG, MSS, (unused), ZDA, (unused), then the speed, big-endian.
    constexpr unsigned char kRates[] = {1, 0, 1, 5, 1, 1, 0, 0, 0, 0};
    std::string payload = {'\x81', '\x02'};
    for (const unsigned char rate : kRates) {
        payload += static_cast<char>(rate);
        payload += '\x01';
    }
    payload += static_cast<char>((baudRate >> 8) & 0xFF);
    payload += static_cast<char>(baudRate & 0xFF);
    return SirfBinaryFrame(payload);
}
