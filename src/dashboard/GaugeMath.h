#pragma once

#include "base/Rgb.h"

#include <cstdint>
#include <optional>
#include <string>

/// The arithmetic of the dashboard's dials, without a window: radius, ticks, needle, ranges,
/// signal colours, value texts and the pop-up menu's outcome. Coordinates are pixels of the
/// gauge with (0, 0) its top left; "round" is floor(x + 0.5) throughout.

/// Radius of a gauge `width` pixels wide; its centre is at (radius, radius).
[[nodiscard]] constexpr int GaugeRadius(int width)
{
    return width % 2 == 0 ? width / 2 - 1 : width / 2;
}

[[nodiscard]] int RoundHalfUp(double x);

struct CPoint {
    int x = 0;
    int y = 0;
    friend bool operator==(const CPoint &, const CPoint &) = default;
};

enum class TickKind { Major, Middle, Minor };

/// Every `group`-th tick is major; between them every (group/2)-th, or (group/3)-th when the
/// group is a multiple of 3, is a middle one.
[[nodiscard]] TickKind TickKindAt(int index, int group);

/// Tick `index` of `count` on the half circle that starts at the bottom and turns clockwise on
/// screen; each is drawn with its mirror through the centre, so the circle carries 2 x count.
struct CTick {
    CPoint outer, inner;
    TickKind kind = TickKind::Minor;
};
[[nodiscard]] CTick TickAt(int index, int count, int radius, int group);

/// The signal-strength ramp red, orange, yellow, yellow-green, green for x = SNR x 0.02: 0 dB
/// red, 50 dB green, stronger signals green too.
[[nodiscard]] CRgb SignalColour(double x);

/// A gauge's value as its menu lists it: "%.2f" below 1, "%.4g" below 10000, else "%.0f".
[[nodiscard]] std::string GaugeValueText(double value);
/// The digital read-out: "%.3f" below 10, "%.2f" below 100, "%.1f" below 1000, else "%.0f".
[[nodiscard]] std::string GaugeDigitalText(double value);

/// The self-ranging scale of a scale gauge: one turn of the needle is `group` x `range` units.
struct CScaleRange {
    int range = 10;
    int second = 10;
    double anglePerUnit = 0.0; ///< radians; negative turns clockwise on screen
    friend bool operator==(const CScaleRange &, const CScaleRange &) = default;

    [[nodiscard]] static CScaleRange Make(int range, int second, int group);
    /// Ranges the scale for `value` in base `group`; true when the dial must be drawn anew.
    /// A value that fits no range (below the group, zero, negative) sets range 10 and asks for
    /// a new dial on every call: the dial's numbers follow the last value exactly.
    bool Adapt(double value, int group);
};

/// The needle of a scale gauge: tip at 0.85 of the radius, a short tail through the centre, and
/// the count of completed turns with the point its red number is centred on.
struct CNeedle {
    CPoint tip, tail;
    int turns = 0;
    CPoint turnLabel;
    friend bool operator==(const CNeedle &, const CNeedle &) = default;
};
[[nodiscard]] CNeedle NeedleAt(double value, const CScaleRange &scale, int group, int radius);
/// Whether the needle drawn for `to` differs from the one drawn for `from`: a 10 Hz feed moves
/// it by less than a pixel most of the time, and only a moved needle is worth a repaint.
[[nodiscard]] bool NeedleMoves(double from, double to, const CScaleRange &scale, int group,
                               int radius);

/// Where a satellite sits on the sky plot, from the centre: zenith at (0, 0), the horizon on
/// the rim, north up and east to the right.
[[nodiscard]] CPoint SkyOffset(int elevation, int azimuth, int radius);

/// A font size of the dials, in points of the 240-pixel page, as pixels at 96 dpi.
[[nodiscard]] constexpr int PointsToPixels(int points)
{
    return points * 96 / 72;
}

/// What a gauge does with the identifier chosen in its pop-up menu (0: dismissed). Modes are
/// 1..modeCount; a digital-capable gauge has "Analog" and "Digital" after them; the actions
/// follow. The action index is reported for every outcome, as a signed 8-bit value.
struct CMenuOutcome {
    std::optional<int> mode;
    std::optional<bool> digital;
    int action = 0;
};
[[nodiscard]] CMenuOutcome ResolveMenuChoice(int id, int currentMode, int modeCount,
                                             bool digitalCapable);
