#include "dashboard/Altimeter.h"
#include "dashboard/Clock.h"
#include "dashboard/Compass.h"
#include "dashboard/Dashboard.h"
#include "dashboard/MileageCounter.h"
#include "dashboard/SatelliteView.h"
#include "dashboard/Speedometer.h"
#include "ui/UiTestUtils.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QSettings>

#include <memory>
#include <string>

namespace
{

class DashboardTest : public CUiTest
{
protected:
    CDisplaySettings m_display;
};

QRect Slot(int slot)
{
    const CSlotRect &s = kDashboardSlots[static_cast<std::size_t>(slot)];
    return {s.left, s.top, s.Width(), s.Height()};
}

void Tap(QWidget *widget)
{
    const QPointF at(widget->width() / 2.0, widget->height() / 2.0);
    QMouseEvent press(QEvent::MouseButtonPress, at, widget->mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, at, widget->mapToGlobal(at), Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(widget, &press);
    QApplication::sendEvent(widget, &release);
}

QVariant Stored(const char *name)
{
    const QSettings ini(QString::fromStdString(CSettingsKey::GetSettingsFile()),
                        QSettings::IniFormat);
    return ini.value(QStringLiteral("Software/Veloran/Dashboard/") + QLatin1String(name));
}

} // namespace

// With no settings: the satellite view large, altimeter, compass and mileage across the top,
// speedometer and clock on the right; taps swap and toggle exclusive mode, twice returns.
TEST_F(DashboardTest, LayoutTapsAndExclusiveMode)
{
    CDashboard page(m_display);
    page.resize(kDashboardDesignWidth, kDashboardDesignHeight);
    page.show();
    const struct {
        CGauge *gauge;
        int slot;
    } defaults[] = {{page.GetSatelliteView(), 0}, {page.GetAltimeter(), 1},
                    {page.GetCompass(), 2},       {page.GetMileageCounter(), 3},
                    {page.GetSpeedometer(), 4},   {page.GetClock(), 5}};
    for (const auto &d : defaults) {
        SCOPED_TRACE(d.gauge->GetCaption().toStdString());
        EXPECT_EQ(d.gauge->geometry(), Slot(d.slot));
        EXPECT_EQ(d.gauge->GetPosition(), d.slot);
    }

    Tap(page.GetSpeedometer());
    EXPECT_EQ(page.GetSpeedometer()->geometry(), Slot(0));
    EXPECT_EQ(page.GetSatelliteView()->geometry(), Slot(4));
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        Tap(page.GetSpeedometer());
        EXPECT_TRUE(page.IsExclusive());
        EXPECT_EQ(page.GetSpeedometer()->geometry(), Slot(kExclusiveSlot));
        EXPECT_EQ(page.GetSpeedometer()->GetPicture(), kPictureExclusive);
        EXPECT_FALSE(page.GetClock()->isVisible());
        Tap(page.GetSpeedometer());
        EXPECT_FALSE(page.IsExclusive());
        EXPECT_EQ(page.GetSpeedometer()->geometry(), Slot(0));
        EXPECT_EQ(page.GetSpeedometer()->GetPicture(), kPictureDashboard);
        EXPECT_TRUE(page.GetClock()->isVisible());
    }

    // Scaled uniformly and centred: twice the size, in a page a little wider than that (and
    // still taller than wide).
    page.resize(2 * kDashboardDesignWidth + 10, 2 * kDashboardDesignHeight);
    EXPECT_EQ(page.GetSpeedometer()->geometry(), QRect(5, 168, 320, 320));
}

// Wider than tall: the landscape page, the same positions, taps swap and toggle as upright.
TEST_F(DashboardTest, LandscapeLayout)
{
    CDashboard page(m_display);
    const int scale = 3;
    page.resize(kLandscapePage.width * scale, kLandscapePage.height * scale);
    page.show();
    const auto slot = [scale](int n) {
        const CSlotRect &s = kLandscapePage.rects[static_cast<std::size_t>(n)];
        return QRect(s.left * scale, s.top * scale, s.Width() * scale, s.Height() * scale);
    };
    for (int i = 0; i < kInstrumentCount; ++i) {
        CGauge *gauge = page.GetInstrument(static_cast<Instrument>(i));
        SCOPED_TRACE(gauge->GetCaption().toStdString());
        EXPECT_EQ(gauge->geometry(), slot(gauge->GetPosition()));
        EXPECT_EQ(gauge->GetPicture(), kPictureDashboardWide);
        EXPECT_TRUE(page.rect().contains(gauge->geometry()));
    }
    Tap(page.GetClock());
    EXPECT_EQ(page.GetClock()->geometry(), slot(kLargeSlot));
    EXPECT_EQ(page.GetSatelliteView()->geometry(), slot(5));
    Tap(page.GetClock());
    EXPECT_TRUE(page.IsExclusive());
    EXPECT_EQ(page.GetClock()->geometry(), slot(kExclusiveSlot));
    EXPECT_EQ(page.GetClock()->GetPicture(), kPictureExclusiveWide);
    EXPECT_FALSE(page.GetSpeedometer()->isVisible());

    // Turned upright, the same positions on the design's page.
    page.SetExclusive(false);
    page.resize(kDashboardDesignWidth, kDashboardDesignHeight);
    EXPECT_EQ(page.GetClock()->geometry(), Slot(kLargeSlot));
    EXPECT_EQ(page.GetSatelliteView()->geometry(), Slot(5));
    EXPECT_EQ(page.GetClock()->GetPicture(), kPictureDashboard);
}

TEST_F(DashboardTest, SettingsWrittenAndReadBack)
{
    {
        CDashboard page(m_display);
        page.GetSpeedometer()->SetMode(2);
        page.GetSpeedometer()->SetDigital(false);
        page.GetAltimeter()->SetDigital(true);
        page.GetAltimeter()->SetOffset(12.5);
        page.GetMileageCounter()->SetTotal(1234.5);
        page.GetClock()->SetModeQuiet(2);
        page.GetSatelliteView()->SetModeQuiet(2);
        page.GetCompass()->SetDigital(true);
        Tap(page.GetClock()); // clock large, satellite view to slot 5
        page.SetExclusive(true);
    }
    const struct {
        const char *name;
        double value;
    } stored[] = {
        {"SpeedoMode", 2},      {"SpeedoDigital", 0},     {"SpeedoPosition", 4},
        {"AltimeterMode", 1},   {"AltimeterDigital", 1},  {"AltimeterPosition", 1},
        {"MileageMode", 1},     {"MileageDigital", 0},    {"MileagePosition", 3},
        {"ClockMode", 2},       {"ClockDigital", 0},      {"ClockPosition", 0},
        {"CompassDigital", 1},  {"CompassPosition", 2},   {"SatViewMode", 2},
        {"SatViewPosition", 5}, {"MileageTotal", 1234.5}, {"AltimeterOffset", 12.5},
        {"ExclusiveMode", 1},
    };
    for (const auto &s : stored) {
        SCOPED_TRACE(s.name);
        bool ok = false;
        EXPECT_EQ(Stored(s.name).toDouble(&ok), s.value);
        EXPECT_TRUE(ok);
    }
    EXPECT_FALSE(Stored("NightMode").isValid()) << "the display settings keep night mode";

    m_display.SetNightMode(true);
    CDashboard again(m_display);
    EXPECT_EQ(again.GetSpeedometer()->GetMode(), 2);
    EXPECT_FALSE(again.GetSpeedometer()->IsDigital());
    EXPECT_TRUE(again.GetAltimeter()->IsDigital());
    EXPECT_EQ(again.GetAltimeter()->GetOffset(), 12.5);
    EXPECT_EQ(again.GetMileageCounter()->GetMileage().GetTotalMetres(), 1234.5);
    EXPECT_EQ(again.GetClock()->GetMode(), 2);
    EXPECT_EQ(again.GetSatelliteView()->GetMode(), 2);
    EXPECT_EQ(again.GetLayout().GetLarge(), static_cast<int>(Instrument::Clock));
    EXPECT_TRUE(again.IsExclusive());
    EXPECT_TRUE(again.GetClock()->IsNight()) << "night mode as the display settings have it";
    EXPECT_EQ(again.GetInstrumentUnits().speed, UnitSystem::Imperial) << "units as read";
    EXPECT_EQ(again.GetUnits(), std::nullopt);
}

// The Units menu's check mark: all three agree, or speed and mileage at sea (the altimeter has
// no nautical mode and keeps its unit). The instruments' own menus count, and Tools > Units
// brings back one that left the system chosen already.
TEST_F(DashboardTest, UnitQueries)
{
    CDashboard page(m_display);
    EXPECT_EQ(page.GetUnits(), UnitSystem::Metric);
    m_display.SetUnits(UnitSystem::Nautic);
    EXPECT_EQ(page.GetUnits(), UnitSystem::Nautic);
    EXPECT_EQ(page.GetAltimeter()->GetMode(), 1);
    m_display.SetUnits(UnitSystem::Imperial);
    EXPECT_EQ(page.GetUnits(), UnitSystem::Imperial);
    page.GetSpeedometer()->SetMode(1);
    EXPECT_EQ(page.GetUnits(), std::nullopt);
    page.GetSpeedometer()->ApplyMenuChoice(2);
    EXPECT_EQ(page.GetUnits(), UnitSystem::Imperial) << "back through its own menu";
    page.GetMileageCounter()->ApplyMenuChoice(1);
    EXPECT_EQ(page.GetUnits(), std::nullopt);
    m_display.SetUnits(UnitSystem::Imperial);
    EXPECT_EQ(page.GetUnits(), UnitSystem::Imperial);
    EXPECT_EQ(page.GetMileageCounter()->GetMode(), 2);
}

// While replaying, a feed ages by the log's own clock only: silence in the log makes a gauge
// stale and then gone; a paused replay (no new time) ages nothing.
TEST_F(DashboardTest, FeedsAgeByTheLogWhileReplaying)
{
    CDashboard page(m_display);
    page.SetReplaying(true);
    EXPECT_EQ(page.GetAltimeter()->GetFreshness(), GaugeFreshness::Gone) << "nothing yet";
    page.SetTimeOfDay(1000);
    page.SetAltitude(500);
    EXPECT_EQ(page.GetAltimeter()->GetFreshness(), GaugeFreshness::Live);
    ProcessUntil([] { return false; }, 1200); // the wall clock runs; the log's does not
    EXPECT_EQ(page.GetAltimeter()->GetFreshness(), GaugeFreshness::Live);
    page.SetTimeOfDay(1005);
    EXPECT_EQ(page.GetAltimeter()->GetFreshness(), GaugeFreshness::Stale);
    EXPECT_EQ(page.GetClock()->GetFreshness(), GaugeFreshness::Live);
    page.SetTimeOfDay(1011);
    EXPECT_EQ(page.GetAltimeter()->GetFreshness(), GaugeFreshness::Gone);
    page.SetAltitude(510);
    EXPECT_EQ(page.GetAltimeter()->GetFreshness(), GaugeFreshness::Live);
    EXPECT_EQ(page.GetMileageCounter()->GetFreshness(), GaugeFreshness::Live)
        << "a trip never goes stale";
}

TEST_F(DashboardTest, NightInvertsThePageToo)
{
    CDashboard page(m_display);
    page.resize(kDashboardDesignWidth, kDashboardDesignHeight);
    const auto strip = [&] {
        QImage image(page.size(), QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&image);
        page.Render(painter);
        return QColor(image.pixel(120, 1));
    };
    const QColor day = strip();
    m_display.SetNightColours(NightColours::Inverted);
    m_display.SetNightMode(true);
    const QColor night = strip();
    EXPECT_EQ(night.red(), 255 - day.red());
    EXPECT_EQ(night.blue(), 255 - day.blue());
    for (const Instrument i : {Instrument::SatelliteView, Instrument::Clock}) {
        EXPECT_TRUE(page.GetInstrument(i)->IsNight());
        EXPECT_FALSE(page.GetInstrument(i)->IsNightRed());
    }

    // Red: the light page turns dark, and red.
    m_display.SetNightColours(NightColours::Red);
    const QColor red = strip();
    EXPECT_LT(red.red(), 255 - day.red() + 10);
    EXPECT_LE(red.blue(), red.green());
    EXPECT_LE(red.green(), red.red());
    for (const Instrument i : {Instrument::SatelliteView, Instrument::Clock})
        EXPECT_TRUE(page.GetInstrument(i)->IsNightRed());
}

TEST_F(DashboardTest, ResetGaugesLeavesTheMileage)
{
    CDashboard page(m_display);
    page.AddMileageSample(CGeoPosition(48.00, 11.0, 0.0), 1000, 50.0, false);
    page.AddMileageSample(CGeoPosition(48.01, 11.0, 0.0), 1072, 50.0, false);
    page.SetSpeed(50.0);
    page.SetAltitude(500.0);
    page.SetTimeOfDay(3600.0);
    page.SetCompass(90.0, -1.0, -1.0);
    page.UpdateSatellites({4, 9, {{7, 45, 90, 40, true, GnssSystem::GPS}}, {}});
    const CMileage &mileage = page.GetMileageCounter()->GetMileage();
    const double trip = mileage.GetTripMetres();
    const double total = mileage.GetTotalMetres();
    ASSERT_GT(trip, 1000.0);

    page.ResetGauges();
    EXPECT_EQ(page.GetSpeedometer()->GetValue(), 0.0);
    EXPECT_EQ(page.GetAltimeter()->GetValue(), 0.0);
    EXPECT_EQ(page.GetClock()->GetValue(), 0.0);
    EXPECT_EQ(page.GetCompass()->GetCourse(), 0.0);
    EXPECT_FALSE(page.GetSatelliteView()->GetSatellites().has_value());
    EXPECT_EQ(mileage.GetTripMetres(), trip);
    EXPECT_EQ(mileage.GetTotalMetres(), total);
    EXPECT_EQ(page.GetSpeedometer()->GetFreshness(), GaugeFreshness::Gone) << "nothing fed since";
}

// The sky's label mode: automatic (0) until its menu chooses, and a choice stays chosen.
TEST_F(DashboardTest, SkyLabelModeAutomaticUntilChosen)
{
    {
        CDashboard page(m_display);
        EXPECT_EQ(page.GetSatelliteView()->GetMode(), CSatelliteView::kModeAutomatic);
    }
    EXPECT_EQ(Stored("SatViewMode").toInt(), 0);
    {
        CDashboard page(m_display);
        EXPECT_EQ(page.GetSatelliteView()->GetMode(), CSatelliteView::kModeAutomatic);
        page.GetSatelliteView()->ApplyMenuChoice(CSatelliteView::kModeSignal);
    }
    EXPECT_EQ(Stored("SatViewMode").toInt(), 1);
    CDashboard again(m_display);
    EXPECT_EQ(again.GetSatelliteView()->GetMode(), CSatelliteView::kModeSignal);
}
