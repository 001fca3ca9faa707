#include "SettingsTestUtils.h"
#include "settings/DisplaySettings.h"
#include "settings/SettingsKey.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <vector>

namespace
{

using DisplaySettingsTest = SettingsFileTest;

} // namespace

// Settings files as earlier versions, other programs and hand edits leave them: each value under
// its own key, anything unusable read as the default.
TEST_F(DisplaySettingsTest, ReadsEveryValueFromItsKey)
{
    struct Case {
        const char *legend, *ini;
        bool night;
        UnitSystem units;
        CoordinateFormat projection;
        bool advanced;
        GnssMode gnss;
        NightColours colours = NightColours::Red;
        NightMap map = NightMap::RedDimmed;
    };
    const Case cases[] = {
        {"no file: the defaults", "", false, UnitSystem::Metric, CoordinateFormat::DD, false,
         GnssMode::AllSystems},
        {"every value set",
         "Veloran\\Dashboard\\NightMode=1\nVeloran\\OperationMode=3\nVeloran\\Projection=4\n"
         "Veloran\\AdvancedFileSelector=1\nVeloran\\AllSystems=0\n",
         true, UnitSystem::Nautic, CoordinateFormat::UTM, true, GnssMode::GpsOnly},
        {"night mode lives with the dashboard, not the program",
         "Veloran\\NightMode=1\nVeloran\\Maps\\OperationMode=2\n", false, UnitSystem::Metric,
         CoordinateFormat::DD, false, GnssMode::AllSystems},
        {"numbers beyond the enumerations",
         "Veloran\\Dashboard\\NightMode=256\nVeloran\\OperationMode=4\nVeloran\\Projection=0\n"
         "Veloran\\AdvancedFileSelector=-1\nVeloran\\AllSystems=2\n",
         true, UnitSystem::Metric, CoordinateFormat::DD, true, GnssMode::AllSystems},
        {"the night's colours inverted, the map only dimmed",
         "Veloran\\NightColours=1\nVeloran\\NightMap=1\n", false, UnitSystem::Metric,
         CoordinateFormat::DD, false, GnssMode::AllSystems, NightColours::Inverted,
         NightMap::Dimmed},
        {"night choices beyond their enumerations read as red",
         "Veloran\\NightColours=2\nVeloran\\NightMap=-1\n", false, UnitSystem::Metric,
         CoordinateFormat::DD, false, GnssMode::AllSystems},
        {"night choices that are no numbers read as red",
         "Veloran\\NightColours=inverted\nVeloran\\NightMap=\n", false, UnitSystem::Metric,
         CoordinateFormat::DD, false, GnssMode::AllSystems},
        {"no numbers",
         "Veloran\\Dashboard\\NightMode=yes\nVeloran\\OperationMode=2x\nVeloran\\Projection=\n"
         "Veloran\\AllSystems=off\n",
         false, UnitSystem::Metric, CoordinateFormat::DD, false, GnssMode::AllSystems},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        Start(c.legend, *c.ini ? QByteArray("[Software]\n") + c.ini : QByteArray());
        CDisplaySettings display;
        display.Load();
        EXPECT_EQ(display.IsNightMode(), c.night);
        EXPECT_EQ(display.GetUnits(), c.units);
        EXPECT_EQ(display.GetProjection(), c.projection);
        EXPECT_EQ(display.IsAdvancedFileSelector(), c.advanced);
        EXPECT_EQ(display.GetGnssMode(), c.gnss);
        EXPECT_EQ(display.GetNightColours(), c.colours);
        EXPECT_EQ(display.GetNightMap(), c.map);
    }
}

// Written back under the keys they were read from; the satellite systems chosen in the menu at
// once, the command line's never.
TEST_F(DisplaySettingsTest, StoresUnderTheSameKeys)
{
    Start("store", {});
    {
        CDisplaySettings display;
        display.Load();
        display.SetNightMode(true);
        display.SetNightColours(NightColours::Inverted);
        display.SetNightMap(NightMap::Dimmed);
        display.SetNightFollowingSun(true);
        display.SetUnits(UnitSystem::Imperial);
        display.SetProjection(CoordinateFormat::DDMM);
        display.SetAdvancedFileSelector(true);
        EXPECT_TRUE(display.ChooseGnssMode(GnssMode::GpsOnly));
        EXPECT_EQ(QSettings(File(), QSettings::IniFormat)
                      .value(QStringLiteral("Software/Veloran/AllSystems"))
                      .toInt(),
                  0)
            << "at once";
        display.OverrideGnssMode(GnssMode::AllSystems);
        EXPECT_EQ(display.GetGnssMode(), GnssMode::AllSystems);
        display.Store();
    }
    const QSettings ini(File(), QSettings::IniFormat);
    const struct {
        const char *key;
        int value;
    } stored[] = {
        {"Software/Veloran/Dashboard/NightMode", 1},
        {"Software/Veloran/OperationMode", 2},
        {"Software/Veloran/Projection", 2},
        {"Software/Veloran/AdvancedFileSelector", 1},
        {"Software/Veloran/AllSystems", 0},
        {"Software/Veloran/NightColours", 1},
        {"Software/Veloran/NightMap", 1},
        {"Software/Veloran/NightFollowsSun", 1},
    };
    for (const auto &s : stored) {
        SCOPED_TRACE(s.key);
        bool ok = false;
        EXPECT_EQ(ini.value(QString::fromLatin1(s.key)).toInt(&ok), s.value);
        EXPECT_TRUE(ok);
    }
    EXPECT_EQ(ini.allKeys().size(), static_cast<qsizetype>(std::size(stored)));

    CDisplaySettings next;
    next.Load();
    EXPECT_TRUE(next.IsNightMode());
    EXPECT_EQ(next.GetNightColours(), NightColours::Inverted);
    EXPECT_EQ(next.GetNightMap(), NightMap::Dimmed);
    EXPECT_FALSE(next.IsNightRed());
    EXPECT_TRUE(next.IsNightFollowingSun());
    EXPECT_EQ(next.GetUnits(), UnitSystem::Imperial);
    EXPECT_EQ(next.GetProjection(), CoordinateFormat::DDMM);
    EXPECT_TRUE(next.IsAdvancedFileSelector());
    EXPECT_EQ(next.GetGnssMode(), GnssMode::GpsOnly);
}

// Every setter tells the pages, the unit system even when it is chosen again (instruments may
// have left it); the satellite systems only when the mode in effect changes.
TEST(DisplaySettingsChanges, WhatIsAnnounced)
{
    CDisplaySettings display;
    std::vector<DisplaySetting> told;
    QObject::connect(&display, &CDisplaySettings::Changed,
                     [&told](DisplaySetting what) { told.push_back(what); });
    display.SetUnits(UnitSystem::Metric);
    display.SetUnits(UnitSystem::Metric);
    display.SetNightMode(true);
    display.SetNightColours(NightColours::Inverted);
    display.SetNightMap(NightMap::Dimmed);
    display.SetProjection(CoordinateFormat::UTM);
    display.SetAdvancedFileSelector(true);
    display.OverrideGnssMode(GnssMode::AllSystems);
    display.OverrideGnssMode(GnssMode::GpsOnly);
    EXPECT_EQ(told, (std::vector{DisplaySetting::Units, DisplaySetting::Units,
                                 DisplaySetting::NightMode, DisplaySetting::NightColours,
                                 DisplaySetting::NightColours, DisplaySetting::Projection,
                                 DisplaySetting::AdvancedFileSelector, DisplaySetting::GnssMode}));
}

// The screen decides until the user chooses; then the stored choice wins on any screen, and a
// choice never made is never written (a later, smaller screen still decides).
TEST_F(DisplaySettingsTest, LargeControlsFollowTheScreenUntilChosen)
{
    struct Case {
        const char *legend, *ini;
        bool screenDefault;
        bool large, chosen;
        const char *storedAfter; // nullptr: no value
    };
    const Case cases[] = {
        {"not chosen, desktop", "", false, false, false, nullptr},
        {"not chosen, small or touch screen", "", true, true, false, nullptr},
        {"chosen off on a small screen", "Veloran\\LargeControls=0\n", true, false, true, "0"},
        {"chosen on on a desktop", "Veloran\\LargeControls=1\n", false, true, true, "1"},
        {"any number but 0 is on", "Veloran\\LargeControls=7\n", false, true, true, "1"},
        {"no number: not chosen, left as it is", "Veloran\\LargeControls=big\n", true, true, false,
         "big"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        Start(c.legend, *c.ini ? QByteArray("[Software]\n") + c.ini : QByteArray());
        CDisplaySettings display;
        display.Load();
        display.SetLargeControlsDefault(c.screenDefault);
        EXPECT_EQ(display.IsLargeControls(), c.large);
        EXPECT_EQ(display.HasLargeControlsChoice(), c.chosen);
        display.Store();
        const QSettings ini(File(), QSettings::IniFormat);
        const QVariant stored = ini.value(QStringLiteral("Software/Veloran/LargeControls"));
        if (c.storedAfter == nullptr)
            EXPECT_FALSE(stored.isValid());
        else
            EXPECT_EQ(stored.toString(), QLatin1String(c.storedAfter));
    }

    Start("choose", {});
    {
        CDisplaySettings display;
        display.Load();
        display.SetLargeControlsDefault(true);
        display.SetLargeControls(false);
        display.Store();
    }
    CDisplaySettings next;
    next.Load();
    next.SetLargeControlsDefault(true);
    EXPECT_FALSE(next.IsLargeControls());
}

// A new default is announced only when it changes what is in effect.
TEST(DisplaySettingsChanges, LargeControlsAnnounced)
{
    CDisplaySettings display;
    int told = 0;
    QObject::connect(&display, &CDisplaySettings::Changed, [&told](DisplaySetting what) {
        told += what == DisplaySetting::LargeControls ? 1 : 100;
    });
    display.SetLargeControlsDefault(false);
    EXPECT_EQ(told, 0);
    display.SetLargeControlsDefault(true);
    EXPECT_EQ(told, 1);
    display.SetLargeControls(true);
    EXPECT_EQ(told, 2) << "a choice is announced even when it is in effect already";
    display.SetLargeControlsDefault(false);
    EXPECT_EQ(told, 2) << "the choice wins over the screen";
}
