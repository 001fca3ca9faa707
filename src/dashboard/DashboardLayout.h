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

/// A design page: its size and the rectangles of its seven slots, numbered as above.
struct CDashboardPage {
    int width = 0, height = 0;
    std::array<CSlotRect, 7> rects{};
    [[nodiscard]] constexpr bool IsLandscape() const { return width > height; }
};

/// The design's page: the large instrument at the bottom left under three small ones, two more
/// down the right.
inline constexpr CDashboardPage kPortraitPage{kDashboardDesignWidth, kDashboardDesignHeight,
                                              kDashboardSlots};

/// Ours, for a page wider than tall (a 7-inch panel, a desktop window): the same six positions,
/// three a row in two rows, all of one size. The top row and slot 4 stay where they are on the
/// portrait page; the large slot takes the bottom left, slot 5 the middle. Exclusive mode fills
/// the page's height.
inline constexpr CDashboardPage kLandscapePage{240,
                                               167,
                                               {{
                                                   {0, 84, 80, 164},
                                                   {0, 4, 80, 84},
                                                   {80, 4, 160, 84},
                                                   {160, 4, 240, 84},
                                                   {160, 84, 240, 164},
                                                   {80, 84, 160, 164},
                                                   {40, 4, 200, 164},
                                               }}};

/// The landscape page for a page of `width` x `height` pixels wider than tall, else the
/// portrait one.
[[nodiscard]] const CDashboardPage &DashboardPageFor(int width, int height);

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

/// How a design page fits a page of `width` x `height` pixels: scaled uniformly, centred.
struct CPageFit {
    double scale = 1.0;
    double left = 0.0, top = 0.0;
    /// The portrait page.
    [[nodiscard]] static CPageFit For(int width, int height);
    [[nodiscard]] static CPageFit For(const CDashboardPage &design, int width, int height);
    /// A design rectangle in page pixels; neighbouring slots share their edges exactly.
    [[nodiscard]] CSlotRect Map(const CSlotRect &design) const;
};
