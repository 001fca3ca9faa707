#include "dashboard/Dashboard.h"

#include "dashboard/Altimeter.h"
#include "dashboard/Clock.h"
#include "dashboard/Compass.h"
#include "dashboard/MileageCounter.h"
#include "dashboard/PageArtwork.h"
#include "dashboard/SatelliteView.h"
#include "dashboard/Speedometer.h"
#include "settings/SettingsKey.h"
#include "widgets/NightPalette.h"

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>

#include <cmath>
#include <cstdint>

namespace
{

// While live, ages grow with the wall clock: look at them this often.
constexpr int kAgeTickMs = 500;

// The page stores its values as single bytes: sign-extended on reading.
int Byte(std::int32_t stored)
{
    return static_cast<std::int8_t>(stored & 0xFF);
}

struct CInstrumentKeys {
    Instrument instrument;
    const char *mode;    // empty: none stored
    const char *digital; // empty: none stored
    const char *position;
    bool modeQuietly; // through SetModeQuiet, not the mode setter
};

// In the order they are read.
constexpr CInstrumentKeys kKeys[] = {
    {Instrument::Speedometer, "SpeedoMode", "SpeedoDigital", "SpeedoPosition", false},
    {Instrument::Altimeter, "AltimeterMode", "AltimeterDigital", "AltimeterPosition", false},
    {Instrument::Mileage, "MileageMode", "MileageDigital", "MileagePosition", false},
    {Instrument::Clock, "ClockMode", "ClockDigital", "ClockPosition", true},
    {Instrument::Compass, "", "CompassDigital", "CompassPosition", false},
    {Instrument::SatelliteView, "SatViewMode", "", "SatViewPosition", true},
};

GaugeFeed FeedOf(Instrument instrument)
{
    switch (instrument) {
    case Instrument::SatelliteView:
        return GaugeFeed::Satellites;
    case Instrument::Altimeter:
        return GaugeFeed::Altitude;
    case Instrument::Compass:
        return GaugeFeed::Heading;
    case Instrument::Speedometer:
        return GaugeFeed::Speed;
    case Instrument::Mileage:
        return GaugeFeed::Mileage;
    case Instrument::Clock:
        return GaugeFeed::Time;
    }
    return GaugeFeed::Speed;
}

} // namespace

CDashboard::CDashboard(const CDisplaySettings &display, QWidget *parent)
    : QWidget(parent)
    , m_display(display)
{
    setObjectName(QStringLiteral("dashboardPage"));
    setAccessibleName(tr("Dashboard"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    // In the order the page creates them; the altimeter and the mileage counter have scales of
    // their own.
    m_satelliteView = new CSatelliteView(this);
    m_altimeter = new CAltimeter(this);
    m_altimeter->SetScale(10, 10, 10);
    m_compass = new CCompass(this);
    m_speedometer = new CSpeedometer(this);
    m_mileage = new CMileageCounter(this);
    m_mileage->SetScale(100, 10, 10);
    m_clock = new CClock(this);
    m_instruments = {m_satelliteView, m_altimeter, m_compass, m_speedometer, m_mileage, m_clock};
    for (CGauge *gauge : m_instruments) {
        gauge->SetPage(this);
        connect(gauge, &CGauge::Tapped, this, &CDashboard::OnTapped);
    }
    // The three instruments' modes are unit systems; kept as they report them, from their menus,
    // the settings or Tools > Units.
    connect(m_speedometer, &CGauge::ModeChanged, this,
            [this](int mode) { m_units.speed = UnitSystemFromNumber(mode); });
    connect(m_altimeter, &CGauge::ModeChanged, this, [this](int mode) {
        m_units.altitude = UnitSystemFromNumber(mode).value_or(m_units.altitude);
    });
    connect(m_mileage, &CGauge::ModeChanged, this,
            [this](int mode) { m_units.trip = UnitSystemFromNumber(mode).value_or(m_units.trip); });

    ReadSettings();
    SetNightMode(m_display.IsNightMode(), false);
    connect(&m_display, &CDisplaySettings::Changed, this, &CDashboard::Follow);
    m_wallClock.start();
    m_ageTimer = new QTimer(this);
    m_ageTimer->start(kAgeTickMs);
    connect(m_ageTimer, &QTimer::timeout, this, &CDashboard::UpdateFreshness);
    UpdateFreshness();
    for (CGauge *gauge : m_instruments)
        gauge->Describe();
}

CDashboard::~CDashboard()
{
    WriteSettings();
}

CGauge *CDashboard::GetInstrument(Instrument instrument) const
{
    return m_instruments[static_cast<std::size_t>(instrument)];
}

void CDashboard::ReadSettings()
{
    CSettingsKey key;
    key.Open(kSettingsKey, true);
    std::int32_t value = 0;
    for (const CInstrumentKeys &k : kKeys) {
        CGauge *gauge = GetInstrument(k.instrument);
        if (*k.mode != '\0' && key.ReadNumber(k.mode, value)) {
            if (k.modeQuietly)
                gauge->SetModeQuiet(Byte(value));
            else
                gauge->SetMode(Byte(value));
        }
        if (*k.digital != '\0' && key.ReadNumber(k.digital, value))
            gauge->SetDigital(Byte(value) != 0);
        if (key.ReadNumber(k.position, value))
            m_layout.SetPosition(k.instrument, Byte(value));
    }
    double metres = 0.0;
    if (key.ReadDouble("MileageTotal", metres))
        m_mileage->SetTotal(metres);
    if (key.ReadDouble("AltimeterOffset", metres))
        m_altimeter->SetOffset(metres);
    m_layout.Settle();
    std::int32_t exclusive = 0;
    key.ReadNumber("ExclusiveMode", exclusive);
    m_layout.SetExclusive(exclusive != 0);
    Place();
}

void CDashboard::WriteSettings() const
{
    CSettingsKey key;
    if (!key.Open(kSettingsKey, true))
        return;
    for (const CInstrumentKeys &k : kKeys) {
        const CGauge *gauge = GetInstrument(k.instrument);
        if (*k.mode != '\0')
            key.WriteNumber(k.mode, Byte(gauge->GetMode()));
        if (*k.digital != '\0')
            key.WriteNumber(k.digital, gauge->IsDigital() ? 1 : 0);
        key.WriteNumber(k.position, Byte(m_layout.GetPosition(k.instrument)));
    }
    key.WriteDouble("MileageTotal", m_mileage->GetMileage().GetTotalMetres());
    key.WriteDouble("AltimeterOffset", m_altimeter->GetOffset());
    key.WriteNumber("ExclusiveMode", m_layout.IsExclusive() ? 1 : 0);
}

void CDashboard::SetSpeed(double speedKmh)
{
    m_speedometer->SetValue(speedKmh);
    Fed(GaugeFeed::Speed);
    // The compass keeps its reading at walking pace; every RMC still says it is current.
    Fed(GaugeFeed::Heading);
}

void CDashboard::SetCompass(double course, double bearing, double distance)
{
    m_compass->SetCourse(course, bearing, distance);
    Fed(GaugeFeed::Heading);
}

void CDashboard::SetAltitude(double metres)
{
    m_altimeter->SetValue(metres);
    Fed(GaugeFeed::Altitude);
}

void CDashboard::SetTimeOfDay(double seconds)
{
    m_ages.OnLogTimeOfDay(seconds);
    m_clock->SetTimeOfDay(seconds);
    Fed(GaugeFeed::Time);
}

void CDashboard::UpdateSatellites(const CSkyView &view)
{
    m_satelliteView->SetSatellites(view);
    Fed(GaugeFeed::Satellites);
}

void CDashboard::AddMileageSample(const CGeoPosition &position, std::time_t time, double speedKmh,
                                  bool replay)
{
    m_mileage->AddSample(position, time, speedKmh, replay);
    Fed(GaugeFeed::Mileage);
}

void CDashboard::SetFixLost(bool lost)
{
    if (lost == m_fixLost)
        return;
    m_fixLost = lost;
    UpdateFreshness();
}

void CDashboard::SetReplaying(bool replaying)
{
    m_ages.SetReplaying(replaying);
    UpdateFreshness();
}

void CDashboard::ReplayEnded()
{
    m_ages.SetWallTime(m_wallClock.elapsed() / 1000.0);
    m_ages.EndReplay();
    UpdateFreshness();
}

void CDashboard::Fed(GaugeFeed feed)
{
    m_ages.SetWallTime(m_wallClock.elapsed() / 1000.0);
    m_ages.Fed(feed);
    UpdateFreshness();
    for (int i = 0; i < kInstrumentCount; ++i)
        if (FeedOf(static_cast<Instrument>(i)) == feed)
            m_instruments[static_cast<std::size_t>(i)]->Describe();
    emit InstrumentsChanged();
}

void CDashboard::UpdateFreshness()
{
    m_ages.SetWallTime(m_wallClock.elapsed() / 1000.0);
    for (int i = 0; i < kInstrumentCount; ++i) {
        const auto instrument = static_cast<Instrument>(i);
        CGauge *gauge = GetInstrument(instrument);
        // A trip and a total are sums, not readings: they never go stale.
        if (instrument == Instrument::Mileage) {
            gauge->SetFreshness(GaugeFreshness::Live, 0, m_fixLost);
            continue;
        }
        const double age = m_ages.Age(FeedOf(instrument));
        gauge->SetFreshness(FreshnessOf(age), std::isfinite(age) ? static_cast<int>(age) : 0,
                            m_fixLost);
    }
}

void CDashboard::Follow(DisplaySetting what)
{
    if (what == DisplaySetting::NightMode || what == DisplaySetting::NightColours)
        SetNightMode(m_display.IsNightMode(), true);
    else if (what == DisplaySetting::Units)
        SetUnits(m_display.GetUnits());
}

void CDashboard::SetUnits(UnitSystem units)
{
    // A mode change converts the shown value: only a real change may.
    const int mode = ToNumber(units);
    if (m_units.speed != units)
        m_speedometer->SetMode(mode);
    if (m_units.trip != units)
        m_mileage->SetMode(mode);
    if (units != UnitSystem::Nautic && m_units.altitude != units)
        m_altimeter->SetMode(mode);
    m_compass->SetUnits(units);
    for (CGauge *gauge : m_instruments)
        gauge->Describe();
}

void CDashboard::SetNightMode(bool night, bool redraw)
{
    for (CGauge *gauge : m_instruments) {
        gauge->SetNightColours(m_display.GetNightColours(), false);
        gauge->SetNight(night, false);
    }
    if (redraw) {
        update();
        for (CGauge *gauge : m_instruments)
            gauge->update();
    }
}

void CDashboard::SetExclusive(bool exclusive)
{
    m_layout.SetExclusive(exclusive);
    Place();
}

void CDashboard::ResetGauges()
{
    // Not the mileage: it has resets of its own.
    m_speedometer->Reset();
    m_satelliteView->Reset();
    m_compass->Reset();
    m_altimeter->Reset();
    m_clock->Reset();
    m_ages.Forget();
    UpdateFreshness();
    for (CGauge *gauge : m_instruments)
        gauge->Describe();
    emit InstrumentsChanged();
}

void CDashboard::OnTapped(CGauge *gauge)
{
    for (int i = 0; i < kInstrumentCount; ++i)
        if (m_instruments[static_cast<std::size_t>(i)] == gauge)
            m_layout.Tap(static_cast<Instrument>(i));
    Place();
}

void CDashboard::Place()
{
    m_page = &DashboardPageFor(width(), height());
    m_fit = CPageFit::For(*m_page, width(), height());
    const int large = m_layout.GetLarge();
    for (int i = 0; i < kInstrumentCount; ++i) {
        const auto instrument = static_cast<Instrument>(i);
        CGauge *gauge = GetInstrument(instrument);
        const int slot = m_layout.ShownSlot(instrument);
        gauge->SetPosition(m_layout.GetPosition(instrument));
        // Alone on the page, the large one hides the others.
        const bool shown = !m_layout.IsExclusive() || i == large;
        gauge->setVisible(shown && slot >= 0 && slot < static_cast<int>(m_page->rects.size()));
        if (!gauge->isVisibleTo(this))
            continue;
        const CSlotRect design = m_page->rects[static_cast<std::size_t>(slot)];
        const CSlotRect r = m_fit.Map(design);
        gauge->setGeometry(r.left, r.top, r.Width(), r.Height());
        gauge->SetDesignWidth(design.Width());
        gauge->SetPicture(Picture(slot == kExclusiveSlot));
    }
    update();
}

int CDashboard::Picture(bool exclusive) const
{
    if (m_page->IsLandscape())
        return exclusive ? kPictureExclusiveWide : kPictureDashboardWide;
    return exclusive ? kPictureExclusive : kPictureDashboard;
}

void CDashboard::PaintBackground(QPainter &painter, const QRect &area, int picture) const
{
    painter.translate(-area.topLeft());
    painter.translate(m_fit.left, m_fit.top);
    painter.scale(m_fit.scale, m_fit.scale);
    PaintPagePicture(painter, picture);
}

void CDashboard::Render(QPainter &painter)
{
    if (m_display.IsNightRed()) {
        const qreal ratio = painter.device()->devicePixelRatioF();
        QImage page(size() * ratio, QImage::Format_RGB32);
        page.setDevicePixelRatio(ratio);
        QPainter day(&page);
        day.setRenderHints(painter.renderHints());
        day.fillRect(rect(), QColor(222, 226, 231));
        PaintBackground(day, QRect(0, 0, width(), height()), Picture(m_layout.IsExclusive()));
        day.end();
        CNightPalette::Redden(page);
        painter.drawImage(0, 0, page);
        return;
    }
    painter.save();
    painter.fillRect(rect(), QColor(222, 226, 231));
    painter.save();
    PaintBackground(painter, QRect(0, 0, width(), height()), Picture(m_layout.IsExclusive()));
    painter.restore();
    if (m_display.IsNightMode()) {
        painter.setCompositionMode(QPainter::CompositionMode_Difference);
        painter.fillRect(rect(), Qt::white);
    }
    painter.restore();
}

void CDashboard::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    Render(painter);
}

void CDashboard::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    Place();
}

void CDashboard::mousePressEvent(QMouseEvent *event)
{
    // The page between the instruments answers a tap with a warning beep.
    QApplication::beep();
    QWidget::mousePressEvent(event);
}
