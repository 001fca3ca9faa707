#include "ZoneGuard.h"
#include "dashboard/Clock.h"
#include "dashboard/Compass.h"
#include "dashboard/Dashboard.h"
#include "dashboard/DigiDash.h"
#include "dashboard/MileageCounter.h"
#include "dashboard/Speedometer.h"
#include "ui/UiTestUtils.h"

#include <QImage>
#include <QKeyEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <optional>
#include <string>

namespace
{

QImage Draw(CGauge &gauge, int size, int ratio = 1)
{
    gauge.resize(size, size);
    QImage image(QSize(size, size) * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::magenta);
    QPainter painter(&image);
    gauge.Render(painter);
    return image;
}

// The pixel `fraction` of the radius from the centre towards `degrees` clockwise from the top.
QColor Along(const QImage &image, double degrees, double fraction)
{
    const double ratio = image.devicePixelRatio();
    const double r = GaugeRadius(static_cast<int>(image.width() / ratio));
    const double a = degrees * std::numbers::pi / 180;
    const int x = static_cast<int>(std::lround((r + fraction * r * std::sin(a)) * ratio));
    const int y = static_cast<int>(std::lround((r - fraction * r * std::cos(a)) * ratio));
    return image.pixelColor(x, y);
}

// Colours of the parts, loosely: antialiased edges mix with the face.
const auto Red = [](const QColor &c) { return c.red() > 170 && c.green() < 100 && c.blue() < 100; };
const auto Blue = [](const QColor &c) { return c.blue() > 150 && c.red() < 100; };
const auto Dark = [](const QColor &c) { return std::max({c.red(), c.green(), c.blue()}) < 90; };
const auto White = [](const QColor &c) { return std::min({c.red(), c.green(), c.blue()}) > 235; };

} // namespace

TEST(CompassGauge, CardTurnsTheShortWayAcrossNorth)
{
    CCompass compass;
    compass.SetCourse(359, -1, -1);
    EXPECT_EQ(compass.GetShownCourse(), 359) << "the first course is shown at once";
    compass.SetCourse(1, -1, -1);
    EXPECT_EQ(compass.GetCourse(), 1) << "the course stays as fed";
    ASSERT_TRUE(compass.IsTurning());
    compass.Advance(150);
    const double shown = compass.GetShownCourse();
    EXPECT_TRUE(shown < 0.5 || shown > 359.5) << shown;
    // Mid-turn north is still at the top, under the lubber mark; not at the bottom.
    const QImage mid = Draw(compass, 200);
    EXPECT_TRUE(Red(Along(mid, 0, 0.78)));
    EXPECT_FALSE(Red(Along(mid, 180, 0.78)));
    compass.Advance(200);
    EXPECT_FALSE(compass.IsTurning());
    EXPECT_EQ(compass.GetShownCourse(), 1);

    compass.Reset();
    compass.SetCourse(200, -1, -1);
    EXPECT_EQ(compass.GetShownCourse(), 200) << "after a reset the card starts afresh";
}

TEST(CompassGauge, NorthAndTargetMarkersWhereComputed)
{
    struct Case {
        double course, bearing;
        int ratio;
        double north, target; // screen angles clockwise from the top
        const char *legend;
    };
    const Case cases[] = {
        {0, 90, 1, 0, 90, "heading north: north up, an eastern target right"},
        {90, 180, 1, 270, 90, "heading east: north on the left"},
        {270, 45, 2, 90, 135, "heading west, pixel ratio 2"},
        {200, 20, 1, 160, 180, "target astern"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CCompass compass;
        compass.SetCourse(c.course, c.bearing, 500);
        const QImage image = Draw(compass, 200, c.ratio);
        EXPECT_TRUE(Red(Along(image, c.north, 0.78)))
            << Along(image, c.north, 0.78).name().toStdString();
        EXPECT_FALSE(Red(Along(image, c.north + 180, 0.78)));
        EXPECT_TRUE(Blue(Along(image, c.target, 0.9)));
        EXPECT_FALSE(Blue(Along(image, c.target + 180, 0.9)));
    }
    CCompass compass;
    compass.SetCourse(84.4, 135, 1234.5);
    compass.SetUnits(UnitSystem::Imperial);
    EXPECT_EQ(compass.InfoItems().last(), QStringLiteral("Waypoint 135° 4050.2 feet"));
    // Without a target no marker and no distance: nothing blue at all.
    compass.SetCourse(45, -1, -1);
    EXPECT_EQ(compass.GetValueText(), QStringLiteral("45° NE"));
    const QImage image = Draw(compass, 200);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            ASSERT_FALSE(Blue(image.pixelColor(x, y))) << x << "," << y;
}

TEST(ClockGauge, HandsAtKnownTimes)
{
    struct Case {
        double seconds;
        double hour, minute, second, empty; // degrees clockwise from twelve
        const char *legend;
    };
    const Case cases[] = {
        {9 * 3600 + 30, 270.25, 3, 180, 90, "09:00:30"},
        {3 * 3600 + 40 * 60 + 15, 110, 241.5, 90, 315, "03:40:15"},
        {18 * 3600 + 45 * 60 + 50, 202.9, 275.8, 300, 45, "18:45:50"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CClock clock;
        clock.SetTimeOfDay(c.seconds);
        const QImage image = Draw(clock, 320);
        EXPECT_TRUE(Dark(Along(image, c.hour, 0.3)));
        EXPECT_FALSE(Dark(Along(image, c.hour, 0.62))) << "the hour hand is the short one";
        EXPECT_TRUE(Dark(Along(image, c.minute, 0.7)));
        EXPECT_TRUE(Red(Along(image, c.second, 0.6)));
        EXPECT_TRUE(White(Along(image, c.empty, 0.25)));
    }
}

TEST(ClockGauge, UtcAndLocalInAFixedZone)
{
    struct Case {
        const char *tz;
        int mode;
        double fed;
        const char *shown;
        double hour; // the hour hand, degrees
        const char *legend;
    };
    const Case cases[] = {
        {"<+0530>-5:30", CClock::kModeUTC, 45319, "12:35:19", 17.7, "UTC ignores the zone"},
        {"<+0530>-5:30", CClock::kModeLocal, 45319, "18:05:19", 182.7, "half an hour east"},
        {"<-08>8", CClock::kModeLocal, 3 * 3600, "19:00:00", 210, "the evening before"},
        {"<+14>-14", CClock::kModeLocal, 23.5 * 3600, "13:30:00", 45, "the next afternoon"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CZoneGuard zone(c.tz);
        CClock clock;
        clock.SetMode(c.mode);
        clock.SetTimeOfDay(c.fed);
        EXPECT_EQ(clock.GetValue(), c.fed) << "the UTC time as fed";
        EXPECT_EQ(clock.FormatDigital().toStdString(), c.shown);
        EXPECT_TRUE(Dark(Along(Draw(clock, 320), c.hour, 0.3)));
    }
    // The face carries the mode's name: a quiet mode change still draws a new face.
    CClock clock;
    const QImage utc = Draw(clock, 160);
    clock.SetModeQuiet(CClock::kModeLocal);
    EXPECT_EQ(clock.GetValueText(), QStringLiteral("00:00:00 Local"));
    EXPECT_NE(Draw(clock, 160), utc);
}

TEST(ClockGauge, DigitalTimeFitsTheDial)
{
    for (const int size : {80, 160, 320}) {
        SCOPED_TRACE(size);
        CClock clock;
        clock.SetDigital(true);
        clock.SetTimeOfDay(23 * 3600 + 58 * 60 + 8.9);
        EXPECT_EQ(clock.FormatDigital(), QStringLiteral("23:58:08"));
        const QImage image = Draw(clock, size);
        // The digits span most of the middle row and stay clear of the rim.
        int left = size, right = -1;
        for (int y = size * 2 / 5; y < size * 3 / 5; ++y)
            for (int x = 0; x < size; ++x)
                if (Dark(image.pixelColor(x, y))) {
                    left = std::min(left, x);
                    right = std::max(right, x);
                }
        EXPECT_GT(left, size / 12);
        EXPECT_LT(right, size - size / 12);
        EXPECT_GT(right - left, size / 2);
    }
}

class DigitalDashboard : public CUiTest
{
protected:
    CDisplaySettings m_display;

    // Pixels of the read-outs' day digits (near white), inside `area`.
    static int Bright(const QImage &image, const QRectF &area)
    {
        int count = 0;
        for (int y = static_cast<int>(area.top()); y < static_cast<int>(area.bottom()); ++y)
            for (int x = static_cast<int>(area.left()); x < static_cast<int>(area.right()); ++x)
                count += White(image.pixelColor(x, y)) ? 1 : 0;
        return count;
    }
    QImage Draw(CDigiDash &dd, QSize size) const
    {
        dd.resize(size);
        QImage image(size, QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&image);
        dd.Render(painter);
        return image;
    }
};

TEST_F(DigitalDashboard, ReadOutsGoneStaleAndLive)
{
    CDashboard dash(m_display);
    CDigiDash dd(dash, m_display);
    const QRectF speedCell = dd.Layout(QSize(800, 480))[CDigiDash::kSpeed].box;
    for (const CDigiDash::Field f : {CDigiDash::kSpeed, CDigiDash::kHeading, CDigiDash::kTime})
        EXPECT_EQ(dd.GetReadOut(f).value, QStringLiteral("---")) << "never fed";
    EXPECT_EQ(Bright(Draw(dd, {800, 480}), speedCell), 0) << "dashes are not drawn bright";

    // Replayed, the feeds age by the log's own clock: five seconds later the speed is stale.
    dash.SetReplaying(true);
    dash.SetTimeOfDay(45319);
    dash.SetSpeed(87.3);
    dash.SetCompass(84.4, -1, -1);
    CDigiDash::CReadOut speed = dd.GetReadOut(CDigiDash::kSpeed);
    EXPECT_EQ(speed.value, QStringLiteral("87.3"));
    EXPECT_GT(Bright(Draw(dd, {800, 480}), speedCell), 500);
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kHeading).value, QStringLiteral("84°"));
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kHeading).unit, QStringLiteral("E"));
    dash.SetTimeOfDay(45324);
    speed = dd.GetReadOut(CDigiDash::kSpeed);
    EXPECT_EQ(speed.freshness, GaugeFreshness::Stale);
    EXPECT_EQ(speed.value, QStringLiteral("87.3"));
    EXPECT_EQ(Bright(Draw(dd, {800, 480}), speedCell), 0) << "stale is dimmed";
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kTime).value, QStringLiteral("12:35:24"));

    // The trip in the mileage counter's unit: miles of 1609.3 m.
    m_display.SetUnits(UnitSystem::Imperial);
    dash.AddMileageSample(CGeoPosition(48.1, 11.5, 0), 1000, 50, false);
    dash.AddMileageSample(CGeoPosition(48.2, 11.5, 0), 1720, 50, false);
    const double trip = dash.GetMileageCounter()->GetMileage().GetTripMetres();
    ASSERT_GT(trip, 1000);
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kTrip).value, QString::number(trip / 1609.3, 'f', 1));
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kTrip).unit, QStringLiteral("miles"));
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kSpeed).unit, QStringLiteral("mph"));
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kAltitude).unit, QStringLiteral("ft"));
    // An instrument's own menu changes its unit alone; at sea the altimeter keeps its unit.
    dash.GetSpeedometer()->ApplyMenuChoice(3);
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kSpeed).unit, QStringLiteral("knots"));
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kTrip).unit, QStringLiteral("miles"));
    m_display.SetUnits(UnitSystem::Nautic);
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kAltitude).unit, QStringLiteral("ft"));
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kTrip).value, QString::number(trip / 1852, 'f', 1));
    EXPECT_EQ(dd.GetReadOut(CDigiDash::kTrip).unit, QStringLiteral("nm"));

    // At night nothing but the palette's reds.
    m_display.SetNightMode(true);
    const QImage night = Draw(dd, {800, 480});
    for (int y = 0; y < night.height(); y += 2)
        for (int x = 0; x < night.width(); x += 2) {
            const QColor c = night.pixelColor(x, y);
            ASSERT_LE(std::max(c.green(), c.blue()), 70) << x << "," << y;
        }
}

TEST_F(DigitalDashboard, LayoutAtEverySize)
{
    CDashboard dash(m_display);
    dash.SetSpeed(188.8);
    dash.SetTimeOfDay(86399);
    dash.SetAltitude(8888);
    CDigiDash dd(dash, m_display);
    for (const QSize size :
         {QSize(800, 480), QSize(1280, 800), QSize(480, 800), QSize(1280, 400), QSize(320, 240)}) {
        SCOPED_TRACE(QStringLiteral("%1x%2").arg(size.width()).arg(size.height()).toStdString());
        const CDigiDash::CLayout cells = dd.Layout(size);
        const QImage image = Draw(dd, size);
        int inCells = 0;
        for (int i = 0; i < CDigiDash::kFieldCount; ++i) {
            EXPECT_TRUE(QRectF(QPointF(), size).contains(cells[i].box));
            if (i != CDigiDash::kSpeed) {
                EXPECT_LT(cells[i].valuePixels, cells[CDigiDash::kSpeed].valuePixels);
            }
            for (int j = i + 1; j < CDigiDash::kFieldCount; ++j)
                EXPECT_FALSE(cells[i].box.intersects(cells[j].box)) << i << " " << j;
            inCells += Bright(image, cells[i].box);
        }
        // Read across a car: even the widest read-out a tenth of the shorter side at least.
        EXPECT_GE(cells[CDigiDash::kTime].valuePixels,
                  std::min(size.width(), size.height()) / 10.0);
        EXPECT_EQ(Bright(image, image.rect()), inCells) << "every digit inside its cell";
    }
}

TEST_F(DigitalDashboard, ClosesOnEscapeAndTap)
{
    CDashboard dash(m_display);
    CDigiDash dd(dash, m_display);
    int closed = 0;
    QObject::connect(&dd, &CDigiDash::Closed, [&closed] { ++closed; });
    dd.show();
    QKeyEvent other(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier);
    QCoreApplication::sendEvent(&dd, &other);
    EXPECT_EQ(closed, 0);
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QCoreApplication::sendEvent(&dd, &escape);
    EXPECT_EQ(closed, 1);
    EXPECT_FALSE(dd.isVisible());

    dd.show();
    const QPointF at(dd.width() / 2.0, dd.height() / 2.0);
    QMouseEvent press(QEvent::MouseButtonPress, at, dd.mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, at, dd.mapToGlobal(at), Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&dd, &press);
    QCoreApplication::sendEvent(&dd, &release);
    EXPECT_EQ(closed, 2);
    EXPECT_FALSE(dd.isVisible());
}
