#pragma once

#include "dashboard/SkyView.h"

#include <cstddef>
#include <string>
#include <vector>

/// Where one satellite's marker goes, in pixels from the dial's centre, y down.
struct CSkyMarkerPlace {
    int x = 0, y = 0;         ///< the marker's centre
    int trueX = 0, trueY = 0; ///< the satellite's own spot (SkyOffset)
    /// Nudged more than its half size off its spot: a leader line joins the two.
    bool leader = false;
};

/// The markers of one sky on one dial.
struct CSkyLayout {
    int half = 0;                         ///< the markers' half size, the disc's radius
    std::vector<CSkyMarkerPlace> markers; ///< in the order of the satellites
};

/// The design's half size (radius / 11) up to 12 satellites; beyond, the dial's area shared out
/// among them, but never below `minimum` (what the labels need to read) nor 2 pixels.
[[nodiscard]] int SkyMarkerHalf(std::size_t count, int radius, int minimum);

/// Markers without labels are no smaller than this: the shapes still tell the systems apart.
inline constexpr int kSkySmallestMarker = 4;

/// Whether `count` markers of half size `labelled` (the least a label reads on) leave the
/// dial open enough to read: they cover at most a third of the area their centres may take.
[[nodiscard]] bool SkyLabelsFit(std::size_t count, int radius, int labelled);

/// How far a marker of half size `half` reaches from its centre: the disc's radius, or the
/// furthest corner of its system's shape when `shapes`.
[[nodiscard]] double SkyMarkerReach(GnssSystem system, int half, bool shapes);

/// A disc the markers keep off, such as a grid label: centre from the dial's centre, radius.
struct CSkyKeepOut {
    double x = 0.0, y = 0.0, radius = 0.0;
};

/// Lays out the sky: each marker at its satellite's spot, pulled in so that the whole marker
/// lies inside the rim, then nudged apart from the others and off `keepOut` until no two
/// overlap. `shapes`: the systems' shapes are drawn (a multi-system sky), else discs.
/// Deterministic.
[[nodiscard]] CSkyLayout LayoutSky(const std::vector<CSkySatellite> &satellites, int radius,
                                   int minimum, bool shapes,
                                   const std::vector<CSkyKeepOut> &keepOut = {});

/// A label of the sky's grid, centred on (x, y) from the dial's centre.
struct CSkyGridLabel {
    std::string text;
    double x = 0.0, y = 0.0;
    bool elevation = false; ///< a ring's elevation, else an azimuth
};

/// Spoke every 30 degrees of azimuth; only these carry a label.
inline constexpr int kSkyAzimuthLabelStep = 90;
/// The spoke the rings' elevations sit on: one with no azimuth label, off the legend's corners.
inline constexpr int kSkyRingLabelAzimuth = 240;

/// N, E, S and W at 5/6 of the radius; the elevations of the rings, "60" and "30", where
/// their rings cross the spoke at kSkyRingLabelAzimuth.
[[nodiscard]] std::vector<CSkyGridLabel> SkyGridLabels(int radius);

/// What the markers say: the satellite number (true) or the signal. `mode` is the stored label
/// mode: 1 signal, 2 number, anything else automatic, which is the number in a multi-system
/// sky (the number on a disc reads as the satellite's) and the signal in a GPS one, as it
/// always was.
[[nodiscard]] bool SkyLabelsShowNumbers(int mode, bool multiSystem);

/// A rectangle in the gauge's pixels.
struct CSkyBox {
    double left = 0.0, top = 0.0, width = 0.0, height = 0.0;
    [[nodiscard]] bool Contains(double x, double y) const
    {
        return x >= left && x < left + width && y >= top && y < top + height;
    }
};

/// The legend's entries of `entry` x `row` pixels on a `side`-pixel gauge, `margin` from its
/// edges: a corner each (top left, top right, bottom left, bottom right) where the page lies
/// outside the sky, shared out in reading order when there are more than four.
[[nodiscard]] std::vector<CSkyBox> SkyLegendBoxes(std::size_t count, double entry, double row,
                                                  double side, double margin);

/// No box reaches into the dial of `radius` about (radius, radius).
[[nodiscard]] bool SkyLegendClearOfDial(const std::vector<CSkyBox> &boxes, double radius);

/// The entry under (x, y); -1 for none.
[[nodiscard]] int SkyLegendEntryAt(const std::vector<CSkyBox> &boxes, double x, double y);
