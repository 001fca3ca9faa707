#include "SettingsTestUtils.h"
#include "dashboard/TripStore.h"

#include <QFile>

#include <gtest/gtest.h>

namespace
{

CTripFigures SomeTrip()
{
    CTripFigures f;
    f.distanceMetres = 123456.789;
    f.movingSeconds = 5025.0;
    f.stoppedSeconds = 1.0 / 3;
    f.maxSpeedKmh = 131.4;
    f.gainMetres = 412.5;
    f.lossMetres = 398.25;
    return f;
}

} // namespace

TEST_F(SettingsFileTest, TripFiguresSurviveTheNextRun)
{
    Start("first", {});
    EXPECT_EQ(LoadTripFigures(), CTripFigures{}) << "a first start has an empty trip";
    EXPECT_EQ(LoadSpeedAlarm(), CSpeedAlarmSettings{}) << "off by default";
    EXPECT_FALSE(LoadHeadUp()) << "upright by default";
    StoreTripFigures(SomeTrip());
    const CSpeedAlarmSettings alarm{
        .on = true, .limitKmh = 112.654, .toleranceKmh = 3.2, .delaySeconds = 5};
    StoreSpeedAlarm(alarm);
    StoreDigitalPage(1);
    StoreHeadUp(true);
    const QString first = File();
    Start("next", {}); // a new path: read from the disk, not from this process's copy
    ASSERT_TRUE(QFile::copy(first, File()));
    EXPECT_EQ(LoadTripFigures(), SomeTrip());
    EXPECT_EQ(LoadSpeedAlarm(), alarm);
    EXPECT_EQ(LoadDigitalPage(), 1);
    EXPECT_TRUE(LoadHeadUp());
}

TEST_F(SettingsFileTest, DamagedTripValuesReadAsNothing)
{
    Start("damaged", "[Software]\n"
                     "Veloran\\Trip\\Distance=-5\n"
                     "Veloran\\Trip\\MovingTime=nan\n"
                     "Veloran\\Trip\\StoppedTime=text\n"
                     "Veloran\\Trip\\MaxSpeed=1e300\n"
                     "Veloran\\Trip\\Gain=12.5\n"
                     "Veloran\\SpeedAlarm\\On=1\n"
                     "Veloran\\SpeedAlarm\\Limit=0\n"
                     "Veloran\\SpeedAlarm\\Tolerance=-1\n"
                     "Veloran\\SpeedAlarm\\Delay=3600\n"
                     "Veloran\\DigitalDashboard\\Page=7\n"
                     "Veloran\\DigitalDashboard\\HeadUp=on\n");
    CTripFigures expected;
    expected.gainMetres = 12.5;
    EXPECT_EQ(LoadTripFigures(), expected);
    CSpeedAlarmSettings defaults;
    defaults.on = true;
    EXPECT_EQ(LoadSpeedAlarm(), defaults);
    EXPECT_EQ(LoadDigitalPage(), 0);
    EXPECT_FALSE(LoadHeadUp()) << "no number";
}
