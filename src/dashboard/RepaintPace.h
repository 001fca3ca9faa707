#pragma once

#include <cstdint>

/// Paces the repaints of a view fed faster than it needs to be drawn: the first change is shown
/// at once, later ones no sooner than the interval after the last shown, the latest of them at
/// the end of it, so the last change always reaches the screen. Times in milliseconds of any
/// steady clock.
class CRepaintPace
{
public:
    explicit CRepaintPace(std::int64_t intervalMs)
        : m_interval(intervalMs)
    {
    }

    /// A change at `now`: 0 to draw it now (counted as shown), else the wait until it is due.
    [[nodiscard]] std::int64_t Offer(std::int64_t now);
    /// A paint at `now` for any reason showed every change so far.
    void Shown(std::int64_t now);
    /// The next change is drawn at once, as after a start or a reset.
    void Forget() { m_shown = -1; }

private:
    std::int64_t m_interval;
    std::int64_t m_shown = -1;
};
