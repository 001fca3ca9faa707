#include "dashboard/Dashboard.h"

#include "app/SettingsKey.h"
#include "nmea/NMEAParser.h"

#include <QPainter>

namespace
{

constexpr const char *kDashboardKey = "Software/Veloran/Dashboard";

} // namespace

CDashboard::CDashboard(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("dashboardPage"));
    CSettingsKey key;
    std::int32_t night = 0;
    if (key.Open(kDashboardKey, true) && key.ReadNumber("NightMode", night))
        m_night = night != 0;
}

CDashboard::~CDashboard()
{
    CSettingsKey key;
    if (key.Open(kDashboardKey, true))
        key.WriteNumber("NightMode", m_night ? 1 : 0);
}

void CDashboard::SetSpeed(double speedKmh)
{
    m_feed.speedKmh = speedKmh;
    ++m_feed.speedUpdates;
}

void CDashboard::SetCompass(double course, double bearing, double distance)
{
    m_feed.course = course;
    m_feed.bearing = bearing;
    m_feed.distance = distance;
    ++m_feed.compassUpdates;
}

void CDashboard::SetAltitude(double metres)
{
    m_feed.altitude = metres;
    ++m_feed.altitudeUpdates;
}

void CDashboard::SetTimeOfDay(double seconds)
{
    m_feed.timeOfDay = seconds;
    ++m_feed.clockUpdates;
}

void CDashboard::UpdateSatellites(const CNMEAParser &parser)
{
    m_feed.satellitesInView = parser.m_gsv.m_inView;
    m_feed.satellitesUsed = parser.m_gga.m_satellites;
    ++m_feed.satelliteUpdates;
}

void CDashboard::AddMileageSample(const CGeoPosition &position, std::time_t time, bool replay)
{
    m_feed.mileagePosition = position;
    m_feed.mileageTime = time;
    m_feed.mileageReplay = replay;
    ++m_feed.mileageSamples;
}

void CDashboard::SetUnits(UnitSystem units, bool altimeterToo)
{
    m_speedUnits = units;
    m_mileageUnits = units;
    if (altimeterToo)
        m_altimeterUnits = units;
}

std::optional<UnitSystem> CDashboard::GetUnits() const
{
    // The altimeter has no nautical mode: at sea it keeps what it had.
    if (m_speedUnits == UnitSystem::Nautic && m_mileageUnits == UnitSystem::Nautic)
        return UnitSystem::Nautic;
    if (m_speedUnits == m_altimeterUnits && m_speedUnits == m_mileageUnits)
        return m_speedUnits;
    return std::nullopt;
}

void CDashboard::SetNightMode(bool night, bool redraw)
{
    m_night = night;
    if (redraw)
        update();
}

void CDashboard::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), m_night ? Qt::black : palette().window().color());
    painter.setPen(m_night ? QColor(200, 40, 40) : palette().windowText().color());
    painter.drawText(rect(), Qt::AlignCenter, tr("Dashboard"));
}
