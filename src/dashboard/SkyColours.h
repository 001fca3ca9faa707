#pragma once

#include "nmea/GnssSystem.h"

#include <QColor>

/// The sky plot's colours by role, as the gauge draws now: the day's (which the inverted night
/// turns over afterwards), or the red night's, where the signal runs from a dim red to amber and
/// the systems are told apart by shape alone.
class CSkyColours
{
public:
    /// `stale`: the report is old, the signal greys.
    CSkyColours(bool nightRed, bool stale);

    [[nodiscard]] QColor Grid() const;
    /// The azimuth and elevation labels, and the legend's names.
    [[nodiscard]] QColor Label() const;
    /// Behind a label, where the grid lines stop.
    [[nodiscard]] QColor LabelGround() const;
    /// A marker's fill for its SNR in dB-Hz.
    [[nodiscard]] QColor SignalFill(int snr) const;
    /// The ring of a system's colour inside a marker.
    [[nodiscard]] QColor SystemRim(GnssSystem system) const;
    /// The outline of a satellite used in the fix.
    [[nodiscard]] QColor UsedOutline() const;
    /// The satellite's number or SNR over its fill.
    [[nodiscard]] QColor MarkerLabel() const;
    /// The fill of the legend's markers.
    [[nodiscard]] QColor LegendFill() const;
    /// A leader from a nudged marker to its satellite's spot.
    [[nodiscard]] QColor Leader() const;
    /// A system the legend has switched off: its entry greyed, its glyph hollow.
    [[nodiscard]] QColor Hidden() const;

private:
    bool m_red;
    bool m_stale;
};
