#include "geo/SunPosition.h"

#include <cstdint>
#include <ctime>
#include <gtest/gtest.h>
#include <optional>

namespace
{

std::int64_t Utc(int year, int month, int day, int hour, int minute)
{
    std::tm t{};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    return static_cast<std::int64_t>(timegm(&t));
}

} // namespace

// Published sunrises and sunsets (UTC): dark a quarter of an hour before sunrise and after
// sunset, light a quarter of an hour after sunrise and before sunset.
TEST(SunPosition, SunriseAndSunsetAsPublished)
{
    struct Case {
        const char *legend;
        double latitude, longitude;
        std::int64_t event;
        bool sunrise;
    };
    const Case cases[] = {
        {"Munich, midsummer sunrise", 48.137, 11.575, Utc(2024, 6, 21, 3, 12), true},
        {"Munich, midsummer sunset", 48.137, 11.575, Utc(2024, 6, 21, 19, 17), false},
        {"London, midwinter sunrise", 51.507, -0.128, Utc(2024, 12, 21, 8, 4), true},
        {"London, midwinter sunset", 51.507, -0.128, Utc(2024, 12, 21, 15, 53), false},
        {"Quito, equinox sunrise, west of Greenwich", -0.180, -78.467, Utc(2024, 3, 20, 11, 18),
         true},
        {"Quito, equinox sunset, past midnight UTC's day", -0.180, -78.467,
         Utc(2024, 3, 20, 23, 25), false},
        {"Sydney, new year's sunrise, the day before in UTC", -33.868, 151.209,
         Utc(2023, 12, 31, 18, 47), true},
        {"Sydney, new year's sunset", -33.868, 151.209, Utc(2024, 1, 1, 9, 9), false},
    };
    constexpr std::int64_t kMargin = 15 * 60;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(IsDarkAt(c.latitude, c.longitude, c.event - kMargin), c.sunrise);
        EXPECT_EQ(IsDarkAt(c.latitude, c.longitude, c.event + kMargin), !c.sunrise);
    }
}

// Beyond the polar circle the sun neither sets in summer nor rises in winter.
TEST(SunPosition, PolarDayAndNight)
{
    struct Case {
        const char *legend;
        std::int64_t when;
        bool dark;
    };
    const Case cases[] = {
        {"Tromsø, midsummer midnight", Utc(2024, 6, 21, 23, 0), false},
        {"Tromsø, midsummer noon", Utc(2024, 6, 21, 11, 0), false},
        {"Tromsø, midwinter noon", Utc(2024, 12, 21, 11, 0), true},
        {"Tromsø, midwinter midnight", Utc(2024, 12, 21, 23, 0), true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(IsDarkAt(69.649, 18.956, c.when), c.dark);
    }
    EXPECT_NEAR(SunElevationDegrees(69.649, 18.956, Utc(2024, 6, 21, 10, 45)), 43.8, 0.5)
        << "the midsummer sun's noon height: 90 - 69.65 + 23.44";
}

// Each sunset and sunrise is told once; in between the user's own choice stands.
TEST(SunPosition, WatchTellsEachChangeOnce)
{
    CSunWatch watch;
    const double lat = 48.137, lon = 11.575;
    EXPECT_EQ(watch.Update(lat, lon, Utc(2024, 6, 21, 12, 0)), false) << "the first look tells";
    EXPECT_EQ(watch.Update(lat, lon, Utc(2024, 6, 21, 18, 0)), std::nullopt);
    EXPECT_EQ(watch.Update(lat, lon, Utc(2024, 6, 21, 19, 40)), true) << "sunset";
    EXPECT_EQ(watch.Update(lat, lon, Utc(2024, 6, 22, 1, 0)), std::nullopt);
    EXPECT_EQ(watch.Update(lat, lon, Utc(2024, 6, 22, 3, 40)), false) << "sunrise";
    watch.Restart();
    EXPECT_EQ(watch.Update(lat, lon, Utc(2024, 6, 22, 4, 0)), false) << "told again";
}
