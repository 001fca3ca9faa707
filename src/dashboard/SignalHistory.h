#pragma once

#include "dashboard/SkyView.h"

#include <array>
#include <cstdint>
#include <vector>

/// One system's signal in one second: the average over its tracked satellites (0 when it saw
/// satellites but tracked none) and the best of them.
struct CSystemSignal {
    bool present = false; ///< the system had satellites in view in that second
    double average = 0.0; ///< dB
    int best = 0;         ///< dB
};

/// One second of the history.
struct CSignalSample {
    std::int64_t second = 0; ///< receiver seconds, counting on across midnight
    std::array<CSystemSignal, kGnssSystemCount> systems{};
};

/// The average and best SNR of each satellite system over the last ten minutes, one sample a
/// second however often the receiver reports: a 10 Hz receiver fills the same 600 slots as a
/// 1 Hz one. An antenna that lost its cable shows as a fall of every system's average, a
/// tunnel as a gap or a drop to zero.
class CSignalHistory
{
public:
    static constexpr int kWindowSeconds = 600;
    /// A time this far before the newest sample is a new source, not a late sentence.
    static constexpr double kRestartSeconds = 60.0;

    CSignalHistory();

    void Clear();
    /// One complete sky at `secondsOfDay` (UTC seconds since midnight, as the receiver says).
    void Add(double secondsOfDay, const CSkyView &view);

    /// The samples of the last kWindowSeconds, oldest first.
    [[nodiscard]] std::vector<CSignalSample> GetSamples() const;
    /// The newest sample's second; 0 while empty.
    [[nodiscard]] std::int64_t GetNewestSecond() const;
    [[nodiscard]] bool IsEmpty() const { return m_count == 0; }
    /// The systems of any sample in the window, in GnssSystem order.
    [[nodiscard]] std::vector<GnssSystem> GetSystems() const;

private:
    struct Slot {
        std::int64_t second = 0;
        std::array<std::int32_t, kGnssSystemCount> sum{};
        std::array<std::int16_t, kGnssSystemCount> tracked{};
        std::array<std::int16_t, kGnssSystemCount> best{};
        std::array<bool, kGnssSystemCount> present{};
    };
    static constexpr std::size_t kSlots = kWindowSeconds;

    [[nodiscard]] const Slot &At(std::size_t age) const; // 0 the newest

    std::array<Slot, kSlots> m_slots{};
    std::size_t m_newest = 0; // index of the newest slot
    std::size_t m_count = 0;
    double m_dayOffset = 0.0; // seconds added for each midnight passed
};
