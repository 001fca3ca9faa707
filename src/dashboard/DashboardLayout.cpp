#include "dashboard/DashboardLayout.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr std::size_t Index(Instrument instrument)
{
    return static_cast<std::size_t>(instrument);
}

} // namespace

CDashboardLayout::CDashboardLayout()
    // Satellite view large; altimeter, compass and mileage across the top; speedometer and
    // clock down the right.
    : m_positions{0, 1, 2, 4, 3, 5}
{
    Settle();
}

int CDashboardLayout::GetPosition(Instrument instrument) const
{
    return m_positions[Index(instrument)];
}

void CDashboardLayout::SetPosition(Instrument instrument, int slot)
{
    m_positions[Index(instrument)] = slot;
}

void CDashboardLayout::Settle()
{
    m_large = -1;
    for (int i = 0; i < kInstrumentCount; ++i)
        if (m_positions[static_cast<std::size_t>(i)] == kLargeSlot)
            m_large = i;
}

void CDashboardLayout::Tap(Instrument instrument)
{
    const int tapped = static_cast<int>(instrument);
    const int slot = m_positions[Index(instrument)];
    if (slot == kLargeSlot) {
        m_exclusive = !m_exclusive;
        return;
    }
    // In exclusive mode too: the tapped instrument lands in the normal large slot.
    if (m_large >= 0)
        m_positions[static_cast<std::size_t>(m_large)] = slot;
    m_positions[Index(instrument)] = kLargeSlot;
    m_large = tapped;
}

int CDashboardLayout::ShownSlot(Instrument instrument) const
{
    const int slot = m_positions[Index(instrument)];
    if (m_exclusive && static_cast<int>(instrument) == m_large)
        return kExclusiveSlot;
    return slot;
}

const CDashboardPage &DashboardPageFor(int width, int height)
{
    return width > height ? kLandscapePage : kPortraitPage;
}

CPageFit CPageFit::For(int width, int height)
{
    return For(kPortraitPage, width, height);
}

CPageFit CPageFit::For(const CDashboardPage &design, int width, int height)
{
    CPageFit fit;
    fit.scale = std::max(0.01, std::min(static_cast<double>(width) / design.width,
                                        static_cast<double>(height) / design.height));
    fit.left = (width - design.width * fit.scale) / 2;
    fit.top = (height - design.height * fit.scale) / 2;
    return fit;
}

CSlotRect CPageFit::Map(const CSlotRect &design) const
{
    const auto x = [this](int v) { return static_cast<int>(std::lround(left + v * scale)); };
    const auto y = [this](int v) { return static_cast<int>(std::lround(top + v * scale)); };
    return {x(design.left), y(design.top), x(design.right), y(design.bottom)};
}
