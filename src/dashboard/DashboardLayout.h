#pragma once

#include <array>

/// A rectangle of the Dashboard's 240 x 247 design page, in its pixels.
struct CSlotRect {
    int left = 0, top = 0, right = 0, bottom = 0;
    [[nodiscard]] constexpr int Width() const { return right - left; }
    [[nodiscard]] constexpr int Height() const { return bottom - top; }
};

inline constexpr int kDashboardDesignWidth = 240;
inline constexpr int kDashboardDesignHeight = 247;

/// Slot 0 is the large one, 1-5 the small ones, 6 the whole page of exclusive mode.
inline constexpr std::array<CSlotRect, 7> kDashboardSlots = {{
    {0, 84, 160, 244},
    {0, 4, 80, 84},
    {80, 4, 160, 84},
    {160, 4, 240, 84},
    {160, 84, 240, 164},
    {160, 164, 240, 244},
    {0, 4, 240, 244},
}};
inline constexpr int kLargeSlot = 0;
inline constexpr int kExclusiveSlot = 6;

/// The instruments, in the order the page creates them.
enum class Instrument { SatelliteView, Altimeter, Compass, Speedometer, Mileage, Clock };
inline constexpr int kInstrumentCount = 6;

/// Where the six instruments sit and what a tap does, without a window. Saved positions are
/// taken as they are, unchecked.
class CDashboardLayout
{
public:
    CDashboardLayout();

    [[nodiscard]] int GetPosition(Instrument instrument) const;
    /// As loaded from the settings; Settle() afterwards picks the large instrument.
    void SetPosition(Instrument instrument, int slot);
    /// The large one is the last in creation order whose position is 0.
    void Settle();
    /// The instrument in the large slot; none only when no position is 0.
    [[nodiscard]] int GetLarge() const { return m_large; }

    [[nodiscard]] bool IsExclusive() const { return m_exclusive; }
    void SetExclusive(bool exclusive) { m_exclusive = exclusive; }

    /// A tap: the large instrument toggles exclusive mode; a small one swaps with it.
    void Tap(Instrument instrument);

    /// The slot whose rectangle the instrument fills now (6 for the large one in exclusive
    /// mode).
    [[nodiscard]] int ShownSlot(Instrument instrument) const;

private:
    std::array<int, kInstrumentCount> m_positions;
    int m_large = -1;
    bool m_exclusive = false;
};

/// How the design page fits a page of `width` x `height` pixels: scaled uniformly, centred.
struct CPageFit {
    double scale = 1.0;
    double left = 0.0, top = 0.0;
    [[nodiscard]] static CPageFit For(int width, int height);
    /// A design rectangle in page pixels; neighbouring slots share their edges exactly.
    [[nodiscard]] CSlotRect Map(const CSlotRect &design) const;
};
