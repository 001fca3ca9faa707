#pragma once

#include "base/CoordinateFormat.h"
#include "base/GnssMode.h"
#include "base/NightColours.h"
#include "base/Units.h"

#include <QObject>

#include <optional>

/// What changed in the display settings.
enum class DisplaySetting : int {
    NightMode,
    /// The night colours or the Map page's night look.
    NightColours,
    Units,
    Projection,
    AdvancedFileSelector,
    GnssMode,
    LargeControls
};

/// How every page shows things: night mode, the unit system, the coordinate notation, the file
/// selector, touch-size controls, and the satellite systems the receiver is read with. The window
/// owns it; the pages and the digital dashboard follow Changed.
///
/// Units are those of Tools > Units as the List page shows them ("OperationMode"): the Map page
/// and the instruments keep units of their own in their keys, and take these when they change.
class CDisplaySettings : public QObject
{
    Q_OBJECT
public:
    explicit CDisplaySettings(QObject *parent = nullptr);

    /// Reads every value; a missing or unusable one keeps its default. Announces nothing: the
    /// pages read the values when they are made.
    void Load();
    /// Writes every value back; the command line's satellite systems are not stored.
    void Store() const;

    [[nodiscard]] bool IsNightMode() const { return m_night; }
    void SetNightMode(bool night);
    [[nodiscard]] NightColours GetNightColours() const { return m_nightColours; }
    void SetNightColours(NightColours colours);
    /// Night mode in the red colours: the window's palette, the pages and the instruments.
    [[nodiscard]] bool IsNightRed() const { return m_night && m_nightColours == NightColours::Red; }
    [[nodiscard]] NightMap GetNightMap() const { return m_nightMap; }
    void SetNightMap(NightMap map);
    /// Night mode switched at sunset and sunrise where the receiver is.
    [[nodiscard]] bool IsNightFollowingSun() const { return m_nightFollowsSun; }
    void SetNightFollowingSun(bool follow);
    [[nodiscard]] UnitSystem GetUnits() const { return m_units; }
    /// Announced even when it is the system already chosen: the instruments that left it through
    /// their own menus come back.
    void SetUnits(UnitSystem units);
    [[nodiscard]] CoordinateFormat GetProjection() const { return m_projection; }
    void SetProjection(CoordinateFormat projection);
    [[nodiscard]] bool IsAdvancedFileSelector() const { return m_advancedFileSelector; }
    void SetAdvancedFileSelector(bool advanced);

    /// Touch-size controls: the user's choice once made, else the screen's default.
    [[nodiscard]] bool IsLargeControls() const { return m_largeControls.value_or(m_largeDefault); }
    [[nodiscard]] bool HasLargeControlsChoice() const { return m_largeControls.has_value(); }
    /// What the screen calls for while the user has not chosen; announced when it changes what
    /// is in effect.
    void SetLargeControlsDefault(bool large);
    /// The user's choice, stored with the others from now on.
    void SetLargeControls(bool large);

    /// The satellite systems in effect: the stored choice, or the command line's for this run.
    [[nodiscard]] GnssMode GetGnssMode() const { return m_gnssMode; }
    /// Tools > Satellite Systems: stored at once, and in effect from now. Returns whether the
    /// mode in effect changed (announced then only: a change empties the parser).
    bool ChooseGnssMode(GnssMode mode);
    /// The command line's choice, for this run only.
    void OverrideGnssMode(GnssMode mode);

signals:
    void Changed(DisplaySetting what);

private:
    bool m_night = false;
    NightColours m_nightColours = NightColours::Red;
    NightMap m_nightMap = NightMap::RedDimmed;
    bool m_nightFollowsSun = false;
    UnitSystem m_units = UnitSystem::Metric;
    CoordinateFormat m_projection = CoordinateFormat::DD;
    bool m_advancedFileSelector = false;
    std::optional<bool> m_largeControls;
    bool m_largeDefault = false;
    GnssMode m_storedGnssMode = GnssMode::AllSystems;
    GnssMode m_gnssMode = GnssMode::AllSystems;
};
