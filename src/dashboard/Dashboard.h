#pragma once

#include "base/GeoPosition.h"
#include "base/Units.h"
#include "dashboard/DashboardLayout.h"
#include "dashboard/Freshness.h"
#include "dashboard/Gauge.h"
#include "dashboard/GaugePage.h"
#include "dashboard/InstrumentUnits.h"
#include "dashboard/SkyView.h"
#include "settings/DisplaySettings.h"
#include "settings/SettingsTable.h"

#include <QElapsedTimer>
#include <QWidget>

#include <array>
#include <ctime>
#include <optional>

class CAltimeter;
class CClock;
class CCompass;
class CMileageCounter;
class CSatelliteView;
class CSpeedometer;
class QTimer;

/// The "Dashboard" page: six round instruments on the 240 x 247 design page, scaled uniformly
/// to the page and centred; on a page wider than tall, on the landscape page (three a row). Tapping
/// a small instrument swaps it into the large slot; tapping the large one toggles exclusive mode,
/// in which it fills the page. The page keeps modes, positions, units, the altimeter correction,
/// the mileage total and exclusive mode
/// ("Software/Veloran/Dashboard"), and ages the instruments' feeds. Night mode and Tools >
/// Units come from the display settings.
class CDashboard : public QWidget, public CGaugePage
{
    Q_OBJECT
public:
    static constexpr const char *kSettingsKey = kDashboardKey;

    /// Reads the settings and creates the instruments; follows `display`, which outlives the
    /// page.
    explicit CDashboard(const CDisplaySettings &display, QWidget *parent = nullptr);
    /// Writes the settings back.
    ~CDashboard() override;

    // What the window feeds the instruments.
    void SetSpeed(double speedKmh);
    /// Course, and bearing and distance (metres) to the goto waypoint (-1 without one).
    void SetCompass(double course, double bearing, double distance);
    void SetAltitude(double metres);
    /// Seconds since midnight UTC; while replaying also the clock the feeds age by.
    void SetTimeOfDay(double seconds);
    /// A complete set of satellites.
    void UpdateSatellites(const CSkyView &view);
    /// A position sample with a fix, the receiver's speed and whether it is replayed.
    void AddMileageSample(const CGeoPosition &position, std::time_t time, double speedKmh,
                          bool replay);
    /// The fix is lost (quality 0 or RMC status V), shown apart from silence on the line.
    void SetFixLost(bool lost);
    /// The source is a replay: its feeds age by the log's own time.
    void SetReplaying(bool replaying);
    /// The replay ended: the values go stale on the wall clock instead of staying live.
    void ReplayEnded();

    /// The units the instruments show, as they reported them.
    [[nodiscard]] const CInstrumentUnits &GetInstrumentUnits() const { return m_units; }
    /// The unit system the instruments agree on; empty when they do not.
    [[nodiscard]] std::optional<UnitSystem> GetUnits() const { return m_units.Agreed(); }
    /// The large instrument fills the page.
    void SetExclusive(bool exclusive);
    [[nodiscard]] bool IsExclusive() const { return m_layout.IsExclusive(); }
    /// Reset Gauges: every instrument but the mileage counter.
    void ResetGauges();

    [[nodiscard]] CSpeedometer *GetSpeedometer() const { return m_speedometer; }
    [[nodiscard]] CAltimeter *GetAltimeter() const { return m_altimeter; }
    [[nodiscard]] CCompass *GetCompass() const { return m_compass; }
    [[nodiscard]] CClock *GetClock() const { return m_clock; }
    [[nodiscard]] CSatelliteView *GetSatelliteView() const { return m_satelliteView; }
    [[nodiscard]] CMileageCounter *GetMileageCounter() const { return m_mileage; }
    [[nodiscard]] CGauge *GetInstrument(Instrument instrument) const;
    [[nodiscard]] const CDashboardLayout &GetLayout() const { return m_layout; }
    [[nodiscard]] const CFeedAges &GetFeedAges() const { return m_ages; }

    void PaintBackground(QPainter &painter, const QRect &area, int picture) const override;
    /// Draws the page around the instruments: its picture, inverted at night.
    void Render(QPainter &painter);

signals:
    /// An instrument's value changed (the digital dashboard follows).
    void InstrumentsChanged();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    void ReadSettings();
    void WriteSettings() const;
    void Follow(DisplaySetting what);
    void SetNightMode(bool night, bool redraw);
    /// Tools > Units: the speedometer, the mileage counter, the altimeter (which has no
    /// nautical mode and keeps its unit then) and the compass's distance.
    void SetUnits(UnitSystem units);
    void Place();
    /// The page picture of the page in use.
    [[nodiscard]] int Picture(bool exclusive) const;
    void Fed(GaugeFeed feed);
    void UpdateFreshness();
    void OnTapped(CGauge *gauge);

    CSatelliteView *m_satelliteView = nullptr;
    CAltimeter *m_altimeter = nullptr;
    CCompass *m_compass = nullptr;
    CSpeedometer *m_speedometer = nullptr;
    CMileageCounter *m_mileage = nullptr;
    CClock *m_clock = nullptr;
    std::array<CGauge *, kInstrumentCount> m_instruments{};

    const CDisplaySettings &m_display;
    CInstrumentUnits m_units;
    CDashboardLayout m_layout;
    const CDashboardPage *m_page = &kPortraitPage;
    CPageFit m_fit;
    bool m_fixLost = false;
    CFeedAges m_ages;
    QElapsedTimer m_wallClock;
    QTimer *m_ageTimer = nullptr;
};
