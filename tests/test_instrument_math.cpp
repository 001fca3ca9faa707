// Core tests of the speedometer, sky view, altimeter and mileage arithmetic.
#include "NMEATestUtils.h"
#include "dashboard/InstrumentUnits.h"
#include "dashboard/Mileage.h"
#include "dashboard/SkyView.h"
#include "nmea/NMEAParser.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

// Trip and total after a run of samples, in hundredths of a degree of latitude driven.
TEST(Mileage, OnlyMovingLegsOfOneSourceCount)
{
    const double hundredth = 6378388.0 * 0.01 * std::numbers::pi / 180.0;
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    struct Sample {
        double north; // hundredths of a degree
        std::time_t time;
        double speedKmh;
        bool replay;
    };
    struct Case {
        std::vector<Sample> samples;
        double trip, total;
        const char *legend;
    };
    const Case cases[] = {
        {{{0, 100, 50, false}}, 0, 0, "a first sample has no leg"},
        {{{0, 100, 50, false}, {1, 101, 50, false}, {3, 102, 50, false}}, 3, 3, "moving legs"},
        {{{0, 100, 0.5, false}, {0.1, 101, 0.9, false}, {0.3, 102, 0, false}}, 0, 0, "jitter"},
        {{{0, 100, 50, false}, {2, 101, 0.5, false}, {3, 102, 50, false}},
         1,
         1,
         "a slow sample adds nothing but anchors the next leg"},
        {{{0, 100, 50, false}, {1, 101, 1.0, false}}, 1, 1, "walking pace moves"},
        {{{0, 100, 50, false}, {1, 101, kNaN, false}}, 0, 0, "no speed is no movement"},
        {{{0, 100, 50, true}, {1, 101, 50, true}, {3, 102, 50, true}}, 3, 0, "replayed: trip only"},
        {{{0, 100, 50, true}, {5, 101, 50, true}, {20, 102, 50, false}, {21, 103, 50, false}},
         6,
         1,
         "no leg from the log's last position to the receiver's"},
        {{{20, 100, 50, false}, {0, 50, 50, true}, {1, 51, 50, true}}, 1, 0, "nor back"},
        {{{0, 500, 50, true}, {1, 501, 50, true}, {10, 100, 50, true}, {12, 101, 50, true}},
         3,
         0,
         "a second log starts earlier: no leg between the logs"},
        {{{0, 100, 50, false}, {1, 0, 50, false}, {2, 101, 50, false}},
         2,
         2,
         "a sample without a readable time still counts"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CMileage m;
        m.SetTotal(1000.0);
        for (const Sample &s : c.samples)
            m.AddSample({48.0 + s.north * 0.01, 11.0, 0.0}, s.time, s.speedKmh, s.replay);
        // The cosine formula keeps about a micrometre in a kilometre.
        EXPECT_NEAR(m.GetTripMetres(), c.trip * hundredth, 0.001);
        EXPECT_NEAR(m.GetTotalMetres(), 1000.0 + c.total * hundredth, 0.001);
        m.ResetTrip();
        EXPECT_EQ(m.GetTripMetres(), 0.0);
        EXPECT_NEAR(m.GetTotalMetres(), 1000.0 + c.total * hundredth, 0.001);
    }
}

TEST(SkyView, SatellitesOfTheLastGroupMarkedByTheFix)
{
    const auto gsv = [](int count, int number, int inView, const std::string &entries) {
        return Sentence("GPGSV," + std::to_string(count) + "," + std::to_string(number) + ","
                        + std::to_string(inView) + "," + entries);
    };
    CNMEAParser p;
    p.Parse(Sentence("GPGGA,093000.00,4808.2200,N,01134.5000,E,1,03,1.9,520.2,M,47.0,M,,"));
    p.Parse(Sentence("GPGSA,A,3,04,13,22,,,,,,,,,,3.5,1.9,2.9"));
    p.Parse(gsv(2, 1, 5, "04,36,326,33,12,03,126,,13,56,068,34,14,08,358,19"));
    ASSERT_EQ(p.Parse(gsv(2, 2, 5, "22,90,000,51")), kSentenceGSV);
    CSkyView v = SkyViewOf(p);
    EXPECT_EQ(v.inUse, 3);
    EXPECT_EQ(v.inView, 5);
    const int expected[][5] = {{4, 36, 326, 33, 1},
                               {12, 3, 126, 0, 0},
                               {13, 56, 68, 34, 1},
                               {14, 8, 358, 19, 0},
                               {22, 90, 0, 51, 1}};
    ASSERT_EQ(v.satellites.size(), std::size(expected));
    for (std::size_t i = 0; i < v.satellites.size(); ++i) {
        const CSkySatellite &s = v.satellites[i];
        EXPECT_EQ((std::vector{s.prn, s.elevation, s.azimuth, s.snr, s.used ? 1 : 0}),
                  (std::vector<int>(expected[i], expected[i] + 5)));
    }

    struct Case {
        std::string line;
        std::size_t listed;
        int inView;
        const char *legend;
    };
    const Case cases[] = {
        {gsv(1, 1, 2, "30,10,100,20,31,20,200,30"), 2, 2,
         "a shorter group: the longer one's entries left in the table are not in view"},
        {gsv(1, 1, 14, "01,10,010,10"), 12, 14, "more in view than the table holds"},
        {gsv(1, 1, -3, "01,10,010,10"), 0, -3, "a negative count lists none"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        ASSERT_EQ(p.Parse(c.line), kSentenceGSV);
        v = SkyViewOf(p);
        EXPECT_EQ(v.satellites.size(), c.listed);
        EXPECT_EQ(v.inView, c.inView);
    }
}

// The Units menu's check mark from the instruments' units.
TEST(InstrumentUnits, AgreedSystem)
{
    constexpr auto M = UnitSystem::Metric;
    constexpr auto I = UnitSystem::Imperial;
    constexpr auto N = UnitSystem::Nautic;
    struct Case {
        std::optional<UnitSystem> speed;
        UnitSystem altitude, trip;
        std::optional<UnitSystem> agreed;
        const char *legend;
    };
    const Case cases[] = {
        {M, M, M, M, "all metric"},
        {I, I, I, I, "all imperial"},
        {N, M, N, N, "at sea the altimeter keeps metres"},
        {N, I, N, N, "or feet"},
        {N, M, M, std::nullopt, "speed alone at sea"},
        {I, M, I, std::nullopt, "the altimeter left"},
        {M, M, I, std::nullopt, "the trip left"},
        {std::nullopt, M, M, std::nullopt, "a speedometer mode outside the systems"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ((CInstrumentUnits{c.speed, c.altitude, c.trip}.Agreed()), c.agreed);
    }
}
