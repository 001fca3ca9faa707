#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// A GPS week counted from 1980-01-06 across rollovers, and the seconds into it.
struct CGpsWeekTime {
    std::int64_t week = 0;
    std::int64_t timeOfWeek = 0;
};

/// The week and time of week of `utc`, counted from 1999-08-22 00:00:00 (week 1024, the first
/// rollover). The clock's UTC stands in for GPS time: the receiver only needs it to a few
/// seconds for a warm start, and corrects it once it has a fix.
[[nodiscard]] CGpsWeekTime GpsWeekTime(std::time_t utc);

/// Appends "*HH\r\n", the XOR of every byte after the leading '$'.
[[nodiscard]] std::string WithSirfChecksum(std::string body);

/// An NMEA input message of SiRF chipsets ($PSRF1xx), sent to the receiver.
class CSirfCommand
{
public:
    /// Writes one copy of a command; false when it did not go out.
    using Writer = std::function<bool(std::string_view bytes)>;

    virtual ~CSirfCommand() = default;
    CSirfCommand(const CSirfCommand &) = delete;
    CSirfCommand &operator=(const CSirfCommand &) = delete;
    CSirfCommand(CSirfCommand &&) = delete;
    CSirfCommand &operator=(CSirfCommand &&) = delete;

    /// The whole line: body, checksum, CR LF.
    [[nodiscard]] std::string GetText() const { return WithSirfChecksum(BuildBody()); }
    /// Writes the line `repetitions` times, one write each; true when every copy went out.
    bool Send(const Writer &write, int repetitions = 1) const;

protected:
    CSirfCommand() = default;
    /// From the '$' up to the checksum.
    [[nodiscard]] virtual std::string BuildBody() const = 0;
};

/// $PSRF103: how often the receiver outputs one sentence type.
class CSirfRateCommand final : public CSirfCommand
{
public:
    /// The message numbers of $PSRF103.
    enum class Message { GGA = 0, GSA = 2, GSV = 3, RMC = 4, VTG = 5 };

    CSirfRateCommand(Message message, int rateSeconds)
        : m_message(message)
        , m_rateSeconds(rateSeconds)
    {
    }

private:
    [[nodiscard]] std::string BuildBody() const override;

    Message m_message;
    int m_rateSeconds;
};

/// $PSRF104: restarts navigation from a known position and time, so the receiver finds its
/// satellites without a cold search.
class CSirfNavInitCommand final : public CSirfCommand
{
public:
    CSirfNavInitCommand(double latitude, double longitude, CGpsWeekTime time)
        : m_latitude(latitude)
        , m_longitude(longitude)
        , m_time(time)
    {
    }

    [[nodiscard]] double GetAltitudeMeters() const { return m_altitudeMeters; }

private:
    [[nodiscard]] std::string BuildBody() const override;

    double m_latitude;
    double m_longitude;
    // A guess good enough for the start; the receiver sends whole metres only.
    double m_altitudeMeters = 500.0;
    CGpsWeekTime m_time;
};

/// The lines of "Program CS", in sending order: GGA, RMC and VTG every second, GSA and GSV
/// every four.
[[nodiscard]] std::vector<std::string> ProgramChipsetCommands();

/// SiRF binary message 129, "switch to NMEA protocol", framed: a receiver left in binary mode
/// answers in NMEA at `baudRate`, with GGA, GSA, RMC and VTG every second and GSV every five
/// (GLL, MSS and ZDA off), each with its checksum.
[[nodiscard]] std::string SirfSwitchToNmeaFrame(int baudRate);
/// The NMEA speed a SiRF receiver is switched to: its factory one, which every SiRF chipset
/// speaks; the speed hunt finds it again.
inline constexpr int kSirfNmeaBaudRate = 4800;

/// "Program CS": each rate command once; true when every write succeeded.
bool SendProgramChipset(const CSirfCommand::Writer &write);
/// "Hot Connect": the navigation-initialise command for this position and clock, twice in a row;
/// true when both writes succeeded.
bool SendHotConnect(const CSirfCommand::Writer &write, double latitude, double longitude,
                    std::time_t utcNow);
