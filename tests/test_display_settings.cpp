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
        {"Software/Veloran/Dashboard/NightMode", 1}, {"Software/Veloran/OperationMode", 2},
        {"Software/Veloran/Projection", 2},          {"Software/Veloran/AdvancedFileSelector", 1},
        {"Software/Veloran/AllSystems", 0},
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
    display.SetProjection(CoordinateFormat::UTM);
    display.SetAdvancedFileSelector(true);
    display.OverrideGnssMode(GnssMode::AllSystems);
    display.OverrideGnssMode(GnssMode::GpsOnly);
    EXPECT_EQ(told, (std::vector{DisplaySetting::Units, DisplaySetting::Units,
                                 DisplaySetting::NightMode, DisplaySetting::Projection,
                                 DisplaySetting::AdvancedFileSelector, DisplaySetting::GnssMode}));
}
