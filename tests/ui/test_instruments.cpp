#include "SkyTestUtils.h"
#include "dashboard/Altimeter.h"
#include "dashboard/MileageCounter.h"
#include "dashboard/SatelliteView.h"
#include "dashboard/SkyMarkers.h"
#include "dashboard/Speedometer.h"
#include "geo/Distance.h"
#include "nmea/NMEAParser.h"
#include "ui/UiTestUtils.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QImage>
#include <QPainter>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <cmath>
#include <fstream>
#include <memory>
#include <numbers>
#include <string>

namespace
{

QImage Render(CGauge &gauge, int width, double ratio = 1.0)
{
    gauge.resize(width, width);
    QImage image(gauge.size() * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    QPainter painter(&image);
    gauge.Render(painter);
    return image;
}

// The pixel under a point of the gauge, whatever the image's pixel ratio.
QColor At(const QImage &image, double x, double y)
{
    const double ratio = image.devicePixelRatio();
    return image.pixelColor(static_cast<int>(x * ratio), static_cast<int>(y * ratio));
}

bool Dark(const QColor &c)
{
    return c.red() < 110 && c.green() < 110 && c.blue() < 110;
}

bool Near(const QColor &a, const QColor &b, int tolerance)
{
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance
           && std::abs(a.blue() - b.blue()) <= tolerance;
}

CSkySatellite Satellite(int prn, int elevation, int azimuth, int snr, bool used,
                        GnssSystem system = GnssSystem::GPS)
{
    return {prn, elevation, azimuth, snr, used, system};
}

CSkyView Sky(int inUse, int inView, std::vector<CSkySatellite> satellites)
{
    return {inUse, inView, std::move(satellites), {}};
}

QString Menu(const CGauge &gauge)
{
    QStringList texts;
    for (const CGaugeMenuEntry &e : gauge.MenuEntries())
        texts << e.text;
    return texts.join(QStringLiteral(" | "));
}

class InstrumentsTest : public CUiTest
{
};

} // namespace

// Each row acts on the same speedometer, in order: a mode, or else a speed in km/h.
TEST_F(InstrumentsTest, SpeedometerModesConvertBackWithTheExactFactors)
{
    struct Step {
        int mode;
        double kmh, shown;
        const char *digital, *text, *unit, *legend;
    };
    const Step steps[] = {
        {0, 100, 100, "100.0", "100.0 km/h", "km/h", "km/h as received"},
        {2, 0, 62.138818119679364, "62.1", "62.1 mph", "mph", "to miles"},
        {1, 0, 100.00273410799727, "100.0", "100.0 km/h", "km/h", "back with 1.609344"},
        {3, 0, 53.99715664578686, "54.0", "54.0 knots", "knots", "to knots"},
        {1, 0, 100.00273410799727, "100.0", "100.0 km/h", "km/h", "back with 1.852"},
        {1, 0, 100.00273410799727, "100.0", "100.0 km/h", "km/h", "the same mode: no change"},
        {3, 0, 53.99715664578686, "54.0", "54.0 knots", "knots", "to knots again"},
        {2, 0, 62.140517062074984, "62.1", "62.1 mph", "mph", "knots to miles"},
        {0, 0, 0, "0.0", "0.0 mph", "mph", "stopped"},
        {7, 0, 0, "0.0", "0.0 knots", "mph", "a mode beyond the three: stored, label kept"},
    };
    CSpeedometer speed;
    EXPECT_TRUE(speed.IsDigital());
    for (const Step &s : steps) {
        SCOPED_TRACE(s.legend);
        if (s.mode != 0)
            speed.SetMode(s.mode);
        else
            speed.SetValue(s.kmh);
        EXPECT_NEAR(speed.GetValue(), s.shown, 1e-12);
        EXPECT_EQ(speed.FormatDigital(), s.digital);
        EXPECT_EQ(speed.GetValueText(), s.text);
        EXPECT_EQ(speed.GetUnitLabel(), s.unit);
    }
    speed.SetMode(0);
    EXPECT_EQ(speed.GetMode(), 7);
    speed.SetModeQuiet(2);
    EXPECT_EQ(speed.GetUnitLabel(), "mph");
}

// Looked at 0.4 of the radius out (clear of hub, numbers and unit), the needle lies along the
// direction NeedleAt gives, and not a quarter or half turn from it.
TEST_F(InstrumentsTest, NeedlePointsAtTheValueOnEveryRange)
{
    struct Case {
        bool altimeter;
        int mode;
        double input; // km/h or metres
        int range;
        const char *legend;
    };
    const Case cases[] = {
        {false, 1, 25, 10, "a quarter turn: left"}, {false, 1, 50, 10, "half a turn: up"},
        {false, 1, 130, 10, "past one turn"},       {false, 2, 100, 10, "62 mph"},
        {false, 1, 2500, 100, "turns of 1000"},     {true, 1, 520, 10, "5 turns of 100 m and 20"},
        {true, 1, 1250, 100, "turns of 1000 m"},    {true, 2, 762, 100, "2500 ft"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        std::unique_ptr<CScaleGauge> gauge;
        if (c.altimeter)
            gauge = std::make_unique<CAltimeter>();
        else
            gauge = std::make_unique<CSpeedometer>();
        gauge->SetDigital(false);
        gauge->SetMode(c.mode);
        gauge->SetValue(c.input);
        EXPECT_EQ(gauge->GetScale().range, c.range);
        const QImage image = Render(*gauge, 160);
        const int r = gauge->GetRadius();
        const CNeedle n = NeedleAt(gauge->GetValue(), gauge->GetScale(), 10, r);
        const double along = std::atan2(n.tip.x - r, n.tip.y - r);
        for (int quarter = 0; quarter < 4; ++quarter) {
            const double a = along + quarter * std::numbers::pi / 2;
            EXPECT_EQ(Dark(At(image, r + 0.4 * r * std::sin(a), r + 0.4 * r * std::cos(a))),
                      quarter == 0)
                << quarter << " quarter turns from the needle";
        }
    }
}

// Off the horizon a lone satellite sits on its spot; on it, its whole disc comes inside the rim
// along its azimuth.
TEST_F(InstrumentsTest, SatellitesSitWhereTheSkyPutsThem)
{
    struct Case {
        int elevation, azimuth;
        double ratio;
        const char *legend;
    };
    const Case cases[] = {
        {90, 217, 1, "zenith at the centre, whatever the azimuth"},
        {0, 60, 1, "east-north-east on the horizon: inside the rim"},
        {0, 300, 1, "west-north-west on the horizon"},
        {0, 60, 2, "at a pixel ratio of 2"},
        {20, 135, 1, "above the horizon: on its spot"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CSatelliteView view;
        view.SetSatellites(Sky(1, 1, {Satellite(7, c.elevation, c.azimuth, 50, false)}));
        const QImage image = Render(view, 160, c.ratio);
        const int r = view.GetRadius();
        const int h = view.GetLayout().half;
        const CPoint p = SkyOffset(c.elevation, c.azimuth, r);
        const CSkyMarkerPlace &m = view.GetLayout().markers.at(0);
        if (c.elevation > 0) {
            EXPECT_EQ(std::make_pair(m.x, m.y), std::make_pair(p.x, p.y));
        } else {
            const double out = std::hypot(m.x, m.y);
            EXPECT_LE(out + h + 0.5, r) << "whole inside the rim";
            EXPECT_GE(out + h + 0.5, r - 2.5) << "against it";
            EXPECT_NEAR(std::atan2(m.x, -m.y) * 180 / std::numbers::pi,
                        c.azimuth > 180 ? c.azimuth - 360 : c.azimuth, 1.0);
        }
        // Inside the disc, off its label, towards the image's inside.
        const double inward = m.y < 0 ? h - 1 : 1 - h;
        EXPECT_EQ(At(image, r + m.x + 0.5, r + m.y + inward + 0.5), QColor(0, 255, 0));
        if (m.x != 0 || m.y != 0) {
            EXPECT_NE(At(image, r - m.x + 0.5, r - m.y - inward + 0.5), QColor(0, 255, 0));
        }
    }
}

// N, E, S and W stay readable: a satellite on a letter is nudged off it (its leader may
// cross it, the marker not).
TEST_F(InstrumentsTest, SatellitesKeepOffTheCompassLetters)
{
    for (const int azimuth : {0, 90, 180, 270}) {
        SCOPED_TRACE(azimuth);
        CSatelliteView view;
        view.SetSatellites(Sky(1, 1, {Satellite(7, 15, azimuth, 50, false)}));
        const QImage image = Render(view, 320);
        const int r = view.GetRadius();
        const double a = azimuth * std::numbers::pi / 180;
        const QRect letter(r + RoundHalfUp(5.0 * r / 6 * std::sin(a)) - 4,
                           r - RoundHalfUp(5.0 * r / 6 * std::cos(a)) - 4, 9, 9);
        int marker = 0;
        for (int y = letter.top(); y <= letter.bottom(); ++y)
            for (int x = letter.left(); x <= letter.right(); ++x)
                marker += Near(image.pixelColor(x, y), QColor(0, 255, 0), 60) ? 1 : 0;
        EXPECT_EQ(marker, 0);
        EXPECT_TRUE(view.GetLayout().markers.at(0).leader);
    }
}

TEST_F(InstrumentsTest, SignalColoursAndOutlines)
{
    struct Case {
        int snr;
        bool used, stale;
        QColor fill;
        const char *legend;
    };
    const Case cases[] = {
        {0, false, false, {255, 0, 0}, "no signal: red"},
        {20, true, false, {255, 193, 0}, "20 dB: between orange and yellow"},
        {45, false, false, {40, 255, 0}, "45 dB: nearly green"},
        {60, true, false, {0, 255, 0}, "60 dB: green, not beyond the ramp"},
        {45, true, true, {150, 150, 150}, "an old report: grey, still outlined"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CSatelliteView view;
        view.SetSatellites(Sky(1, 1, {Satellite(7, 45, 45, c.snr, c.used)}));
        if (c.stale)
            view.SetFreshness(GaugeFreshness::Stale, 5, false);
        for (const int width : {80, 160}) {
            SCOPED_TRACE(width);
            const QImage image = Render(view, width);
            const int r = view.GetRadius();
            const int h = r / 11;
            const int x = r + SkyOffset(45, 45, r).x;
            const int y = r + SkyOffset(45, 45, r).y;
            EXPECT_EQ(image.pixelColor(x, y - h + 1), c.fill);
            // The disc's outermost pixels: the outline, or the (smoothed) fill without one.
            for (const QPoint edge : {QPoint(x - h, y), QPoint(x + h, y), QPoint(x, y - h)}) {
                const QColor e = image.pixelColor(edge);
                EXPECT_TRUE(c.used ? Dark(e) : Near(e, c.fill, 40)) << e.name().toStdString();
            }
        }
    }
}

// Labels of 7 points and more only; the sizes follow the radius on the design page.
TEST_F(InstrumentsTest, LabelsOnlyWhereTheyRead)
{
    struct Case {
        int width, designWidth;
        bool gridLabels, satelliteLabels;
        const char *legend;
    };
    const Case cases[] = {
        {80, 0, false, false, "radius 39: none"},
        {160, 80, true, true, "a small dial drawn large reads at its size"},
        {120, 80, true, false, "drawn half as large again: the grid's only"},
        {100, 0, true, false, "radius 49: the grid's only"},
        {160, 0, true, true, "radius 79: both"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CSatelliteView view;
        view.SetDesignWidth(c.designWidth);
        const auto anyDark = [](const QImage &image, const QRect &area) {
            for (int y = area.top(); y <= area.bottom(); ++y)
                for (int x = area.left(); x <= area.right(); ++x)
                    if (Dark(image.pixelColor(x, y)))
                        return true;
            return false;
        };
        const QImage grid = Render(view, c.width); // grey: anything dark is a label
        EXPECT_EQ(anyDark(grid, grid.rect()), c.gridLabels);
        view.SetSatellites(Sky(0, 1, {Satellite(7, 90, 0, 50, false)}));
        const QImage sky = Render(view, c.width);
        const int r = view.GetRadius();
        const int h = r / 11;
        EXPECT_EQ(anyDark(sky, QRect(r - h + 1, r - h + 1, 2 * h - 1, 2 * h - 1)),
                  c.satelliteLabels);
    }
}

// Each system's shape, told from the disc by a probe inside it where a disc is not, and one
// outside where a disc is inside; offsets in disc radii from the marker's centre. No labels.
TEST_F(InstrumentsTest, EachSystemHasItsShape)
{
    struct Case {
        GnssSystem system;
        double inX, inY, outX, outY;
        const char *legend;
    };
    const Case cases[] = {
        {GnssSystem::GPS, 0, -1.0, 0.8, 0.8, "GPS: the disc, no corners"},
        {GnssSystem::GLONASS, 0.8, 0.8, 0, -1.0, "GLONASS: a square's corner"},
        {GnssSystem::Galileo, 1.15, 0, 0.7, 0.7, "Galileo: a diamond, sides cut"},
        {GnssSystem::BeiDou, 0, -1.3, 0, 0.95, "BeiDou: apex up, flat base"},
        {GnssSystem::QZSS, 0, 1.3, 0, -0.95, "QZSS: apex down"},
        {GnssSystem::SBAS, 0.95, 0, 0, -0.97, "SBAS: a hexagon, flat on top"},
        {GnssSystem::NavIC, 0, -1.3, 0.56, -0.77, "NavIC: a star's point and notch"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CSatelliteView view;
        view.SetDesignWidth(80);
        view.SetSatellites(Sky(1, 2,
                               {Satellite(7, 45, 15, 50, false, c.system),
                                Satellite(9, 20, 200, 50, false, GnssSystem::Unknown)}));
        const QImage image = Render(view, 320);
        const int r = view.GetRadius();
        const double h = r / 11;
        const CPoint at = SkyOffset(45, 15, r);
        const auto probe = [&](double dx, double dy) {
            return image.pixelColor(r + at.x + RoundHalfUp(dx * h), r + at.y + RoundHalfUp(dy * h));
        };
        EXPECT_FALSE(Near(probe(c.inX, c.inY), Qt::white, 30));
        EXPECT_EQ(probe(c.outX, c.outY), QColor(Qt::white));
    }
}

// The square's edge, from the outside in: the used outline or the system's rim, then the rim.
TEST_F(InstrumentsTest, SystemRimInsideTheUsedOutline)
{
    const CRgb rgb = SkyMarkerStyleOf(GnssSystem::GLONASS).colour;
    const QColor rim(rgb.r, rgb.g, rgb.b);
    struct Case {
        bool used;
        int rimAt; // pixels above the centre
        const char *legend;
    };
    const Case cases[] = {
        {false, 12, "unused: the rim on the outermost pixels"},
        {true, 10, "used: two pixels of outline, the rim within"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CSatelliteView view;
        view.SetDesignWidth(80);
        // Number 1: its narrow label leaves the fill beside it.
        view.SetSatellites(Sky(1, 1, {Satellite(1, 90, 0, 50, c.used, GnssSystem::GLONASS)}));
        const QImage image = Render(view, 320);
        const int r = view.GetRadius(); // 159: a half side of 13.5 pixels
        const int x = r + 3;            // off the north spoke
        EXPECT_EQ(image.pixelColor(x, r - 14), QColor(Qt::white));
        const QColor edge = image.pixelColor(x, r - 13);
        EXPECT_TRUE(c.used ? Dark(edge) : Near(edge, rim, 10)) << edge.name().toStdString();
        EXPECT_TRUE(Near(image.pixelColor(x, r - c.rimAt), rim, 10));
        EXPECT_EQ(image.pixelColor(x + 4, r - 7), QColor(0, 255, 0));
    }
}

// A legend entry per system, one to a corner in reading order, where the labels read; a GPS
// sky, read with all systems or not, draws as it always has.
TEST_F(InstrumentsTest, LegendNamesTheSystemsInTheCorners)
{
    struct Case {
        std::vector<GnssSystem> systems;
        int width;
        bool legend;
        const char *text;
    };
    const Case cases[] = {
        {{GnssSystem::GPS}, 160, false, "GPS alone: none"},
        {{GnssSystem::GLONASS}, 160, true, "GLONASS alone"},
        {{GnssSystem::GPS, GnssSystem::Galileo}, 160, true, "two systems"},
        {{GnssSystem::GPS, GnssSystem::Galileo}, 100, false, "too small to read"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        CSkyView sky = Sky(0, 0, {});
        for (const GnssSystem system : c.systems) {
            sky.satellites.push_back(Satellite(7, 90, 0, 50, false, system));
            sky.systems.push_back({system, 0, 1});
        }
        CSatelliteView view;
        view.SetSatellites(sky);
        const QImage image = Render(view, c.width);
        const int r = view.GetRadius();
        // The top corners, outside the sky.
        const QRect corners[] = {QRect(0, 0, r / 2, r / 6), QRect(2 * r - r / 2, 0, r / 2, r / 6)};
        for (std::size_t i = 0; i < std::size(corners); ++i) {
            bool text = false, glyph = false;
            const CRgb rgb = SkyMarkerStyleOf(c.systems[std::min(i, c.systems.size() - 1)]).colour;
            for (int y = corners[i].top(); y <= corners[i].bottom(); ++y)
                for (int x = corners[i].left(); x <= corners[i].right(); ++x) {
                    text = text || Dark(image.pixelColor(x, y));
                    glyph = glyph || Near(image.pixelColor(x, y), QColor(rgb.r, rgb.g, rgb.b), 10);
                }
            const bool entry = c.legend && i < c.systems.size();
            EXPECT_EQ(text, entry) << "corner " << i;
            EXPECT_EQ(glyph, entry) << "corner " << i;
        }
        if (c.systems.size() == 1 && c.systems.front() == GnssSystem::GPS) {
            CSatelliteView gpsOnly;
            gpsOnly.SetSatellites(Sky(0, 1, {Satellite(7, 90, 0, 50, false)}));
            EXPECT_EQ(image, Render(gpsOnly, c.width)) << "a GPS sky draws as GPS only";
        }
    }
}

TEST_F(InstrumentsTest, SatelliteCountAndLabelModes)
{
    CSatelliteView view;
    EXPECT_EQ(Menu(view), "Signal To Noise Ratio | Pseudo Random Noise ID | No Satellites in view");
    view.SetSatellites(Sky(7, 11, {}));
    EXPECT_EQ(view.GetValueText(), "7 of 11 sats in use");
    view.Reset();
    EXPECT_EQ(view.GetValueText(), "No Satellites in view");
}

// The label mode is automatic until the menu chooses: the satellite number in a multi-system
// sky, the signal in a GPS one; the menu checks the one shown.
TEST_F(InstrumentsTest, SkyLabelsNumberAMultiSystemSky)
{
    struct Case {
        int chosen; // 0: none
        bool multiSystem, numbers;
        const char *legend;
    };
    const Case cases[] = {
        {0, false, false, "GPS: the signal, as always"},
        {0, true, true, "several systems: the number"},
        {1, true, false, "the signal chosen"},
        {2, false, true, "the number chosen"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CSatelliteView view;
        EXPECT_EQ(view.GetMode(), CSatelliteView::kModeAutomatic);
        view.SetSatellites(Sky(1, 2,
                               {Satellite(7, 45, 15, 50, false),
                                Satellite(9, 20, 200, 50, false,
                                          c.multiSystem ? GnssSystem::Galileo : GnssSystem::GPS)}));
        if (c.chosen != 0)
            view.ApplyMenuChoice(c.chosen);
        EXPECT_EQ(view.ShowsNumbers(), c.numbers);
        const std::vector<CGaugeMenuEntry> menu = view.MenuEntries();
        EXPECT_EQ(menu.at(0).checked, !c.numbers);
        EXPECT_EQ(menu.at(1).checked, c.numbers);
        EXPECT_EQ(view.GetMode(), c.chosen);
    }
}

// Forty satellites on the sky view at its sizes on the three screens: nothing drawn outside the
// dial but the legend, and every marker drawn where the layout put it.
TEST_F(InstrumentsTest, FortySatellitesDrawnInsideTheDial)
{
    struct Case {
        int width, designWidth;
        double ratio;
        const char *legend;
    };
    const Case cases[] = {
        {160, 80, 1, "480x640 small, 800x480"},
        {320, 160, 1, "480x640 large"},
        {454, 80, 1, "1920x1080"},
        {160, 80, 2, "at a pixel ratio of 2"},
    };
    CSkyView sky = Sky(20, 40, FortySatellites());
    for (std::size_t i = 0; i < sky.satellites.size(); i += 3)
        sky.satellites[i].used = true;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CSatelliteView empty;
        empty.SetDesignWidth(c.designWidth);
        const QImage reference = Render(empty, c.width, c.ratio);
        CSatelliteView view;
        view.SetDesignWidth(c.designWidth);
        view.SetSatellites(sky);
        const QImage image = Render(view, c.width, c.ratio);
        std::vector<CSkyBox> legend = view.LegendBoxes();
        EXPECT_EQ(legend.size(), 6U) << "GPS, SBAS, GLONASS, Galileo, BeiDou, QZSS";
        // A glyph's point and the text's smoothing may reach a pixel or two past the entry.
        for (CSkyBox &b : legend)
            b = {b.left - 2, b.top - 2, b.width + 4, b.height + 4};
        const int r = view.GetRadius();
        int outside = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const double gx = (x + 0.5) / c.ratio, gy = (y + 0.5) / c.ratio;
                if (std::hypot(gx - r - 0.5, gy - r - 0.5) <= r + 0.5
                    || SkyLegendEntryAt(legend, gx, gy) >= 0)
                    continue;
                outside += image.pixel(x, y) != reference.pixel(x, y) ? 1 : 0;
            }
        EXPECT_EQ(outside, 0) << "pixels drawn outside the dial";
        const CSkyLayout &layout = view.GetLayout();
        ASSERT_EQ(layout.markers.size(), 40U);
        for (std::size_t i = 0; i < layout.markers.size(); ++i) {
            const CSkyMarkerPlace &m = layout.markers[i];
            // Beside the centre, clear of a narrow label.
            const double x = r + m.x + 0.5, y = r + m.y + layout.half * 0.6;
            EXPECT_NE(At(image, x, y), At(reference, x, y)) << "marker " << i;
        }
    }
}

// A tap on a legend entry switches its system off and on; anywhere else it is the page's.
TEST_F(InstrumentsTest, LegendTapsSwitchSystems)
{
    CSatelliteView view;
    view.SetSatellites(
        Sky(0, 3,
            {Satellite(7, 45, 15, 50, false), Satellite(3, 45, 200, 50, false, GnssSystem::GLONASS),
             Satellite(9, 60, 100, 50, false)}));
    view.resize(320, 320);
    view.show();
    const QImage before = Render(view, 320);
    const std::vector<CSkyBox> boxes = view.LegendBoxes();
    ASSERT_EQ(view.LegendSystems(),
              (std::vector<GnssSystem>{GnssSystem::GPS, GnssSystem::GLONASS}));
    ASSERT_EQ(boxes.size(), 2U);
    QSignalSpy tapped(&view, &CGauge::Tapped);
    const QPoint glonass(static_cast<int>(boxes[1].left + boxes[1].width / 2),
                         static_cast<int>(boxes[1].top + boxes[1].height / 2));
    QTest::mouseClick(&view, Qt::LeftButton, {}, glonass);
    EXPECT_FALSE(view.IsSystemShown(GnssSystem::GLONASS));
    EXPECT_TRUE(view.IsSystemShown(GnssSystem::GPS));
    EXPECT_EQ(view.ShownSatellites().size(), 2U);
    const int r = view.GetRadius();
    const CPoint at = SkyOffset(45, 200, r);
    const QImage hidden = Render(view, 320);
    EXPECT_NE(hidden.pixelColor(r + at.x, r + at.y - 4), before.pixelColor(r + at.x, r + at.y - 4))
        << "its marker gone";
    EXPECT_EQ(view.LegendSystems().size(), 2U) << "its entry stays, to bring it back";
    EXPECT_EQ(view.GetValueText(), "0 of 3 sats in use");
    QTest::mouseClick(&view, Qt::LeftButton, {}, glonass);
    EXPECT_TRUE(view.IsSystemShown(GnssSystem::GLONASS));
    EXPECT_EQ(Render(view, 320), before);
    EXPECT_EQ(tapped.count(), 0);
    QTest::mouseClick(&view, Qt::LeftButton, {}, QPoint(r, r));
    EXPECT_EQ(tapped.count(), 1) << "the sky itself: the page's tap";
}

// Each row acts on the same altimeter, in order; NaN leaves a value alone.
TEST_F(InstrumentsTest, AltimeterShowsHeightAndOffsetInItsUnit)
{
    const double none = std::nan("");
    struct Step {
        int mode;
        double height, offset, shown;
        const char *text, *digital, *legend;
    };
    const Step steps[] = {
        {0, 520.2, none, 520.2, "520.2 m", "520.2", "metres as received"},
        {2, none, none, 1706.69, "1706.7 ft", "1707", "feet: whole ones from 1000"},
        {0, none, 9.8, 1738.85, "1738.8 ft", "1739", "the offset in metres"},
        {3, none, none, 1738.85, "1738.8 ft", "1739", "no nautical heights"},
        {1, -20, none, -10.2, "-10.2 m", "-10.2", "below the sea"},
    };
    CAltimeter altitude;
    for (const Step &s : steps) {
        SCOPED_TRACE(s.legend);
        if (s.mode != 0)
            altitude.SetMode(s.mode);
        if (!std::isnan(s.offset))
            altitude.SetOffset(s.offset);
        if (!std::isnan(s.height))
            altitude.SetValue(s.height);
        EXPECT_NEAR(altitude.GetValue(), s.shown, 0.01);
        EXPECT_EQ(altitude.GetValueText(), s.text);
        EXPECT_EQ(altitude.FormatDigital(), s.digital);
    }
    EXPECT_EQ(Menu(altitude), "Metric | Imperial | Analog | Digital | Correction Offset | -10.2 m "
                              "| Offset +9.8 m");
}

TEST_F(InstrumentsTest, OffsetDialogWorksInTheShownUnit)
{
    struct Case {
        int mode;
        double before, typed; // metres; the unit's, NaN: left as shown
        bool accept;
        double after;
        const char *legend;
    };
    const Case cases[] = {
        {2, 0, 100, true, 30.48, "feet"},
        {2, 10, std::nan(""), true, 10, "confirmed unchanged: not rounded to tenths of a foot"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CAltimeter altitude;
        altitude.SetMode(c.mode);
        altitude.SetOffset(c.before);
        const std::unique_ptr<QDialog> dialog = altitude.CreateOffsetDialog(nullptr);
        auto *box = dialog->findChild<QDoubleSpinBox *>();
        ASSERT_NE(box, nullptr);
        EXPECT_NEAR(box->value(), c.mode == 2 ? c.before / 0.3048 : c.before, 0.05);
        if (!std::isnan(c.typed))
            box->setValue(c.typed);
        dialog->findChild<QDialogButtonBox *>()
            ->button(c.accept ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel)
            ->click();
        if (dialog->result() == QDialog::Accepted)
            altitude.AcceptOffsetDialog(*dialog);
        EXPECT_NEAR(altitude.GetOffset(), c.after, 1e-9);
    }

    // From the menu (modes 1-2, Analog 3, Digital 4, the action 5), answered once it shows.
    CAltimeter altitude;
    altitude.SetValue(100);
    QTimer answer;
    QObject::connect(&answer, &QTimer::timeout, [&answer] {
        if (auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget())) {
            dialog->findChild<QDoubleSpinBox *>()->setValue(-3.5);
            dialog->accept();
            answer.stop();
        }
    });
    answer.start(10);
    altitude.ApplyMenuChoice(5);
    EXPECT_EQ(altitude.GetValue(), 96.5);
}

// The demo drive replayed: every RMC with a fix is a sample with its speed. The trip is the sum
// of the legs that end in a moving fix, whatever the speed at their start.
TEST_F(InstrumentsTest, MileageOfTheDemoDrive)
{
    struct Fix {
        CGeoPosition position;
        std::time_t time;
        double speedKmh;
    };
    std::vector<Fix> fixes;
    std::ifstream log(VELORAN_DEMO_LOG);
    CNMEAParser parser;
    for (std::string line; std::getline(log, line);)
        if (parser.Parse(line + "\r\n") == kSentenceRMC && parser.m_gga.m_quality >= 1)
            fixes.push_back(
                {parser.m_rmc.m_position, parser.m_rmc.m_dateTime, parser.m_rmc.m_speedKmh});
    ASSERT_GT(fixes.size(), 200U);
    double legs = 0;
    int standing = 0;
    for (std::size_t i = 1; i < fixes.size(); ++i) {
        if (fixes[i].speedKmh >= 1.0)
            legs += Distance(fixes[i - 1].position, fixes[i].position);
        else
            ++standing;
    }
    ASSERT_GT(standing, 0) << "the drive has stops";
    ASSERT_GT(legs, 1000.0);

    for (const bool replay : {true, false}) {
        SCOPED_TRACE(replay ? "replayed" : "live");
        CMileageCounter mileage;
        mileage.SetTotal(5000.0);
        for (const Fix &f : fixes)
            mileage.AddSample(f.position, f.time, f.speedKmh, replay);
        EXPECT_NEAR(mileage.GetMileage().GetTripMetres(), legs, 1e-6);
        EXPECT_NEAR(mileage.GetMileage().GetTotalMetres(), 5000.0 + (replay ? 0 : legs), 1e-6);
        EXPECT_NEAR(mileage.GetValue(), legs / 1000.0, 1e-9) << "the needle shows the trip";
    }
}

// Menu identifiers: modes 1-3, Analog 4, Digital 5, Reset Trip 6, Reset Total 7, info 8-9.
TEST_F(InstrumentsTest, MileageUnitsAndResets)
{
    struct Case {
        int mode, menuId; // menuId 0: Reset Gauges
        double shownPerKm;
        const char *menu, *legend;
    };
    const Case cases[] = {
        {1, 0, 1, "Trip 11.13 km | Total 111.13 km", "Reset Gauges leaves both"},
        {2, 6, 0.6213881811967936, "Trip 0.00 miles | Total 69.06 miles", "Reset Trip"},
        {3, 7, 0.5399568034557236, "Trip 6.01 nm | Total 0.00 nm", "Reset Total"},
        {4, 8, 1, "Trip 11.13 km | Total 111.13 km", "no fourth unit; an info item"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CMileageCounter mileage;
        mileage.SetTotal(100000.0);
        mileage.AddSample({48.0, 11.0, 0.0}, 100, 50, false);
        mileage.AddSample({48.1, 11.0, 0.0}, 200, 50, false);
        const double km = mileage.GetMileage().GetTripMetres() / 1000;
        mileage.SetMode(c.mode);
        if (c.menuId == 0)
            mileage.Reset();
        else
            mileage.ApplyMenuChoice(c.menuId);
        const double trip = c.menuId == 6 ? 0 : km * c.shownPerKm;
        EXPECT_NEAR(mileage.GetValue(), trip, 1e-9);
        EXPECT_EQ(Menu(mileage), "Metric | Imperial | Nautic | Analog | Digital | Reset Trip | "
                                 "Reset Total | "
                                     + QString::fromLatin1(c.menu));
    }
}
