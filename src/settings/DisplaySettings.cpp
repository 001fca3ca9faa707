#include "settings/DisplaySettings.h"

#include "settings/SettingsKey.h"
#include "settings/SettingsTable.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace
{

// The values lie under two keys; each is opened once for all of them.
class CKeys
{
public:
    CKeys()
    {
        m_app.Open(kAppKey, true);
        m_dashboard.Open(kDashboardKey, true);
    }
    [[nodiscard]] std::optional<std::int32_t> ReadIfStored(const CStoredNumber &value)
    {
        std::int32_t number = value.fallback;
        if (!For(value).ReadNumber(value.name, number))
            return std::nullopt;
        return number;
    }
    [[nodiscard]] std::int32_t Read(const CStoredNumber &value)
    {
        std::int32_t number = value.fallback;
        For(value).ReadNumber(value.name, number);
        return number;
    }
    void Write(const CStoredNumber &value, std::int32_t number)
    {
        For(value).WriteNumber(value.name, number);
    }

private:
    CSettingsKey &For(const CStoredNumber &value)
    {
        return std::string_view(value.key) == kDashboardKey ? m_dashboard : m_app;
    }

    CSettingsKey m_app;
    CSettingsKey m_dashboard;
};

} // namespace

CDisplaySettings::CDisplaySettings(QObject *parent)
    : QObject(parent)
{
}

void CDisplaySettings::Load()
{
    CKeys keys;
    m_night = keys.Read(kNightModeSetting) != 0;
    m_nightColours = NightColoursFromNumber(keys.Read(kNightColoursSetting))
                         .value_or(*NightColoursFromNumber(kNightColoursSetting.fallback));
    m_nightMap = NightMapFromNumber(keys.Read(kNightMapSetting))
                     .value_or(*NightMapFromNumber(kNightMapSetting.fallback));
    m_nightFollowsSun = keys.Read(kNightFollowsSunSetting) != 0;
    m_units = UnitSystemFromNumber(keys.Read(kUnitsSetting))
                  .value_or(*UnitSystemFromNumber(kUnitsSetting.fallback));
    m_projection = CoordinateFormatFromNumber(keys.Read(kProjectionSetting))
                       .value_or(*CoordinateFormatFromNumber(kProjectionSetting.fallback));
    m_advancedFileSelector = keys.Read(kAdvancedFileSelectorSetting) != 0;
    m_largeControls.reset();
    if (const std::optional<std::int32_t> large = keys.ReadIfStored(kLargeControlsSetting))
        m_largeControls = *large != 0;
    m_storedGnssMode = GnssModeOfAllSystemsValue(keys.Read(kAllSystemsSetting));
    m_gnssMode = m_storedGnssMode;
}

void CDisplaySettings::Store() const
{
    CKeys keys;
    keys.Write(kNightModeSetting, m_night ? 1 : 0);
    keys.Write(kNightColoursSetting, ToNumber(m_nightColours));
    keys.Write(kNightMapSetting, ToNumber(m_nightMap));
    keys.Write(kNightFollowsSunSetting, m_nightFollowsSun ? 1 : 0);
    keys.Write(kUnitsSetting, ToNumber(m_units));
    keys.Write(kProjectionSetting, ToNumber(m_projection));
    keys.Write(kAdvancedFileSelectorSetting, m_advancedFileSelector ? 1 : 0);
    keys.Write(kAllSystemsSetting, AllSystemsValue(m_storedGnssMode));
    // Left out until chosen, so that a later screen still decides.
    if (m_largeControls)
        keys.Write(kLargeControlsSetting, *m_largeControls ? 1 : 0);
}

void CDisplaySettings::SetNightMode(bool night)
{
    m_night = night;
    emit Changed(DisplaySetting::NightMode);
}

void CDisplaySettings::SetNightColours(NightColours colours)
{
    m_nightColours = colours;
    emit Changed(DisplaySetting::NightColours);
}

void CDisplaySettings::SetNightMap(NightMap map)
{
    m_nightMap = map;
    emit Changed(DisplaySetting::NightColours);
}

void CDisplaySettings::SetNightFollowingSun(bool follow)
{
    m_nightFollowsSun = follow;
    emit Changed(DisplaySetting::NightColours);
}

void CDisplaySettings::SetUnits(UnitSystem units)
{
    m_units = units;
    emit Changed(DisplaySetting::Units);
}

void CDisplaySettings::SetProjection(CoordinateFormat projection)
{
    m_projection = projection;
    emit Changed(DisplaySetting::Projection);
}

void CDisplaySettings::SetAdvancedFileSelector(bool advanced)
{
    m_advancedFileSelector = advanced;
    emit Changed(DisplaySetting::AdvancedFileSelector);
}

void CDisplaySettings::SetLargeControlsDefault(bool large)
{
    const bool before = IsLargeControls();
    m_largeDefault = large;
    if (IsLargeControls() != before)
        emit Changed(DisplaySetting::LargeControls);
}

void CDisplaySettings::SetLargeControls(bool large)
{
    m_largeControls = large;
    emit Changed(DisplaySetting::LargeControls);
}

bool CDisplaySettings::ChooseGnssMode(GnssMode mode)
{
    m_storedGnssMode = mode;
    CSettingsKey key;
    if (key.Open(kAllSystemsSetting.key, true))
        key.WriteNumber(kAllSystemsSetting.name, AllSystemsValue(mode));
    if (mode == m_gnssMode)
        return false;
    m_gnssMode = mode;
    emit Changed(DisplaySetting::GnssMode);
    return true;
}

void CDisplaySettings::OverrideGnssMode(GnssMode mode)
{
    if (mode == m_gnssMode)
        return;
    m_gnssMode = mode;
    emit Changed(DisplaySetting::GnssMode);
}
