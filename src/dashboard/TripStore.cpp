#include "dashboard/TripStore.h"

#include "settings/SettingsKey.h"

#include <cmath>

namespace
{

// A trip of a lifetime is far below these; anything larger is a damaged file.
constexpr double kMaxMetres = 1e10;
constexpr double kMaxSeconds = 1e10;
constexpr double kMaxKmh = 10000.0;
constexpr std::int32_t kMaxDelaySeconds = 60;

double ReadFigure(const CSettingsKey &key, const char *name, double most)
{
    double value = 0.0;
    if (!key.ReadDouble(name, value) || !std::isfinite(value) || value < 0.0 || value > most)
        return 0.0;
    return value;
}

} // namespace

CTripFigures LoadTripFigures()
{
    CTripFigures f;
    CSettingsKey key;
    if (!key.Open(kTripKey, false))
        return f;
    f.distanceMetres = ReadFigure(key, "Distance", kMaxMetres);
    f.movingSeconds = ReadFigure(key, "MovingTime", kMaxSeconds);
    f.stoppedSeconds = ReadFigure(key, "StoppedTime", kMaxSeconds);
    f.maxSpeedKmh = ReadFigure(key, "MaxSpeed", kMaxKmh);
    f.gainMetres = ReadFigure(key, "Gain", kMaxMetres);
    f.lossMetres = ReadFigure(key, "Loss", kMaxMetres);
    return f;
}

void StoreTripFigures(const CTripFigures &f)
{
    CSettingsKey key;
    if (!key.Open(kTripKey, true))
        return;
    key.WriteDouble("Distance", f.distanceMetres);
    key.WriteDouble("MovingTime", f.movingSeconds);
    key.WriteDouble("StoppedTime", f.stoppedSeconds);
    key.WriteDouble("MaxSpeed", f.maxSpeedKmh);
    key.WriteDouble("Gain", f.gainMetres);
    key.WriteDouble("Loss", f.lossMetres);
}

CSpeedAlarmSettings LoadSpeedAlarm()
{
    CSpeedAlarmSettings s;
    CSettingsKey key;
    if (!key.Open(kSpeedAlarmKey, false))
        return s;
    std::int32_t on = 0;
    if (key.ReadNumber("On", on))
        s.on = on != 0;
    double limit = 0.0;
    if (key.ReadDouble("Limit", limit) && std::isfinite(limit) && limit > 0.0 && limit < kMaxKmh)
        s.limitKmh = limit;
    double tolerance = 0.0;
    if (key.ReadDouble("Tolerance", tolerance) && std::isfinite(tolerance) && tolerance >= 0.0
        && tolerance < kMaxKmh)
        s.toleranceKmh = tolerance;
    std::int32_t delay = 0;
    if (key.ReadNumber("Delay", delay) && delay >= 0 && delay <= kMaxDelaySeconds)
        s.delaySeconds = delay;
    return s;
}

void StoreSpeedAlarm(const CSpeedAlarmSettings &s)
{
    CSettingsKey key;
    if (!key.Open(kSpeedAlarmKey, true))
        return;
    key.WriteNumber("On", s.on ? 1 : 0);
    key.WriteDouble("Limit", s.limitKmh);
    key.WriteDouble("Tolerance", s.toleranceKmh);
    key.WriteNumber("Delay", static_cast<std::int32_t>(std::lround(s.delaySeconds)));
}

int LoadDigitalPage()
{
    CSettingsKey key;
    std::int32_t page = 0;
    if (key.Open(kDigitalDashboardKey, false))
        key.ReadNumber("Page", page);
    return page == 1 ? 1 : 0;
}

void StoreDigitalPage(int page)
{
    CSettingsKey key;
    if (key.Open(kDigitalDashboardKey, true))
        key.WriteNumber("Page", page);
}

bool LoadHeadUp()
{
    CSettingsKey key;
    std::int32_t on = kHeadUpSetting.fallback;
    if (key.Open(kHeadUpSetting.key, false))
        key.ReadNumber(kHeadUpSetting.name, on);
    return on != 0;
}

void StoreHeadUp(bool on)
{
    CSettingsKey key;
    if (key.Open(kHeadUpSetting.key, true))
        key.WriteNumber(kHeadUpSetting.name, on ? 1 : 0);
}
