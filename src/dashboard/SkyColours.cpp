#include "dashboard/SkyColours.h"

#include "dashboard/GaugeMath.h"
#include "dashboard/SkyMarkers.h"
#include "widgets/NightPalette.h"

#include <algorithm>

namespace
{

const QColor kGrid(153, 153, 153);
const QColor kLabel(0, 0, 0);
const QColor kStale(150, 150, 150);

// At night the weakest signal is still a lit disc the black label reads on.
const QColor kNightWeak(120, 20, 6);
const QColor kNightRim(110, 20, 6);

QColor Mix(const QColor &from, const QColor &to, double t)
{
    return QColor::fromRgbF(static_cast<float>(from.redF() + (to.redF() - from.redF()) * t),
                            static_cast<float>(from.greenF() + (to.greenF() - from.greenF()) * t),
                            static_cast<float>(from.blueF() + (to.blueF() - from.blueF()) * t));
}

} // namespace

CSkyColours::CSkyColours(bool nightRed, bool stale)
    : m_red(nightRed)
    , m_stale(stale)
{
}

QColor CSkyColours::Grid() const
{
    return m_red ? CNightPalette::Grid() : kGrid;
}

QColor CSkyColours::Label() const
{
    return m_red ? CNightPalette::DimText() : kLabel;
}

QColor CSkyColours::LabelGround() const
{
    return m_red ? CNightPalette::Background() : QColor(Qt::white);
}

QColor CSkyColours::SignalFill(int snr) const
{
    if (m_stale)
        return m_red ? CNightPalette::FromDay(kStale) : kStale;
    if (m_red)
        return Mix(kNightWeak, CNightPalette::Amber(), std::clamp(snr / 50.0, 0.0, 1.0));
    const CRgb colour = SignalColour(snr * 0.02);
    return {colour.r, colour.g, colour.b};
}

QColor CSkyColours::SystemRim(GnssSystem system) const
{
    if (m_red)
        return kNightRim;
    const CRgb colour = SkyMarkerStyleOf(system).colour;
    return {colour.r, colour.g, colour.b};
}

QColor CSkyColours::UsedOutline() const
{
    return m_red ? CNightPalette::Text() : QColor(Qt::black);
}

QColor CSkyColours::MarkerLabel() const
{
    return QColor(Qt::black);
}

QColor CSkyColours::LegendFill() const
{
    return m_red ? CNightPalette::Background() : QColor(Qt::white);
}

QColor CSkyColours::Leader() const
{
    return m_red ? CNightPalette::DimText() : QColor(90, 90, 90);
}

QColor CSkyColours::Hidden() const
{
    return m_red ? CNightPalette::Grid() : QColor(170, 170, 170);
}
