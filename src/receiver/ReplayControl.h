#pragma once

#include "receiver/ReplayIndex.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Where a replay's lines stand, said between them: the file starts again from its first line,
/// or a seek's catching up begins or ends.
enum class ReplayMark { Rewound, CatchUpBegin, CatchUpEnd };

/// What the reader is asked to do to seek: read on without a pause, its lines only rebuilding
/// what is shown, until `until` (the end of the target epoch); from the file's start when
/// `rewind`, else from where it is.
struct CReplaySeek {
    std::uint64_t until = 0;
    bool rewind = false;
    std::size_t epoch = 0;
    bool operator==(const CReplaySeek &) const = default;
};

/// The window's replay controls without the window: where the lines handled so far stand in the
/// log's epochs, where a seek goes, pause and loop, and the texts of the replay bar.
class CReplayControl
{
public:
    /// How far Page Up and Page Down seek.
    static constexpr double kSeekStepSeconds = 60.0;

    /// A replay opened; `index` is empty for a FIFO or device, which cannot seek.
    void Start(CReplayIndex index);
    void Stop();
    [[nodiscard]] bool IsActive() const { return m_active; }
    [[nodiscard]] bool CanSeek() const { return m_active && !m_index.IsEmpty(); }
    [[nodiscard]] const CReplayIndex &GetIndex() const { return m_index; }

    /// Every line the window handles, in order.
    void TakeLine(std::string_view line);
    /// The lines start again from the file's first.
    void Rewound();
    /// The epoch of the last line handled; none before the first.
    [[nodiscard]] std::optional<std::size_t> GetEpoch() const { return m_epoch; }

    [[nodiscard]] bool IsPaused() const { return m_paused; }
    void SetPaused(bool paused) { m_paused = paused; }
    [[nodiscard]] bool IsLooping() const { return m_loop; }
    void SetLooping(bool loop) { m_loop = loop; }

    /// To the end of epoch `epoch`; none when it is where the lines stand or cannot be reached.
    [[nodiscard]] std::optional<CReplaySeek> SeekToEpoch(std::size_t epoch) const;
    /// `seconds` of the log from the current epoch (negative: back), held to the log's ends; a
    /// gap longer than the step is crossed to the next or previous epoch.
    [[nodiscard]] std::optional<CReplaySeek> SeekBy(double seconds) const;

    /// "09:32:16 UTC", or "--:--:-- UTC" before the first epoch.
    [[nodiscard]] std::string TimeText() const;
    /// "2:16 / 4:59", time into the log and its length; empty without an index.
    [[nodiscard]] std::string ProgressText() const;

private:
    CReplayIndex m_index;
    CEpochCutter m_cutter;
    std::optional<std::size_t> m_epoch;
    std::optional<double> m_seconds;
    bool m_active = false;
    bool m_paused = false;
    bool m_loop = false;
};
