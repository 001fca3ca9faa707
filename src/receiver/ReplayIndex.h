#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Cuts a log into epochs: a GGA or RMC (any talker) whose UTC time differs from the last one
/// starts the next epoch. The index and the window's replay position use the same cut, so an
/// epoch counted while lines arrive is the epoch of the index.
class CEpochCutter
{
public:
    /// The seconds of the log when `line` starts an epoch: the time of day, plus a day for every
    /// midnight passed since the first epoch.
    std::optional<double> Take(std::string_view line);
    void Reset() { *this = CEpochCutter(); }

private:
    std::string m_lastTime;
    double m_lastSeconds = -1.0;
    double m_dayOffset = 0.0;
};

/// Where each epoch of a replay file starts, for seeking by time.
class CReplayIndex
{
public:
    struct CEpoch {
        double seconds;       ///< see CEpochCutter::Take
        std::uint64_t offset; ///< of the line that starts it
    };

    /// Indexes the log held in `bytes`.
    static CReplayIndex Build(std::string_view bytes);
    /// Indexes the regular file at `path`; empty when it cannot be read.
    static CReplayIndex BuildFromFile(const std::string &path);

    [[nodiscard]] bool IsEmpty() const { return m_epochs.empty(); }
    [[nodiscard]] std::size_t GetSize() const { return m_epochs.size(); }
    [[nodiscard]] const CEpoch &GetEpoch(std::size_t i) const { return m_epochs[i]; }
    [[nodiscard]] std::uint64_t GetFileSize() const { return m_fileSize; }
    /// Where epoch `i` ends: the next one's start, or the end of the file.
    [[nodiscard]] std::uint64_t EndOf(std::size_t i) const;
    /// The last epoch at or before `seconds`; the first when `seconds` lies before it.
    [[nodiscard]] std::size_t EpochAt(double seconds) const;
    /// The first epoch whose time of day is `secondsOfDay` or later, on the first epoch's day, or
    /// on the next when the time lies before the log's start and the log runs past midnight;
    /// none past the end.
    [[nodiscard]] std::optional<std::size_t> FirstEpochFrom(double secondsOfDay) const;

private:
    std::vector<CEpoch> m_epochs;
    std::uint64_t m_fileSize = 0;
};

/// "hh:mm:ss" of the log's seconds (the day dropped).
[[nodiscard]] std::string LogTimeText(double seconds);
/// Reads "HH:MM:SS" into seconds of the day.
[[nodiscard]] std::optional<double> ParseLogTime(std::string_view text);
