#include "dashboard/SignalHistory.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{

CSkyView Sky(std::vector<std::pair<GnssSystem, int>> snrs)
{
    CSkyView view;
    int prn = 1;
    for (const auto &[system, snr] : snrs)
        view.satellites.push_back({prn++, 45, 90, snr, false, system});
    return view;
}

const CSystemSignal &Of(const CSignalSample &sample, GnssSystem system)
{
    return sample.systems[static_cast<std::size_t>(system)];
}

} // namespace

TEST(SignalHistory, AverageAndBestPerSystemAndSecond)
{
    using S = GnssSystem;
    const struct {
        std::vector<std::pair<double, CSkyView>> epochs;
        S system;
        bool present;
        double average;
        int best;
        const char *legend;
    } cases[] = {
        {{{10.0, Sky({{S::GPS, 40}, {S::GPS, 30}, {S::Galileo, 45}})}},
         S::GPS,
         true,
         35.0,
         40,
         "one epoch"},
        {{{10.0, Sky({{S::GPS, 40}, {S::GPS, 30}, {S::Galileo, 45}})}},
         S::Galileo,
         true,
         45.0,
         45,
         "systems apart"},
        {{{10.0, Sky({{S::GPS, 40}, {S::GPS, 0}, {S::GPS, -1}})}},
         S::GPS,
         true,
         40.0,
         40,
         "the untracked and unreadable are not averaged"},
        {{{10.0, Sky({{S::GPS, 0}, {S::GPS, 0}})}},
         S::GPS,
         true,
         0.0,
         0,
         "in view, none tracked: zero (a tunnel)"},
        {{{10.0, Sky({{S::GPS, 40}})}}, S::GLONASS, false, 0.0, 0, "not in view"},
        {{{10.0, Sky({{S::GPS, 40}, {S::GPS, 20}})},
          {10.1, Sky({{S::GPS, 44}})},
          {10.9, Sky({{S::GPS, 36}, {S::GPS, 40}})}},
         S::GPS,
         true,
         36.0,
         44,
         "a 10 Hz receiver: one sample a second, every satellite of it averaged"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CSignalHistory history;
        for (const auto &[t, sky] : c.epochs)
            history.Add(t, sky);
        const std::vector<CSignalSample> samples = history.GetSamples();
        ASSERT_EQ(samples.size(), 1u);
        EXPECT_EQ(samples[0].second, 10);
        const CSystemSignal &s = Of(samples[0], c.system);
        EXPECT_EQ(s.present, c.present);
        EXPECT_DOUBLE_EQ(s.average, c.average);
        EXPECT_EQ(s.best, c.best);
    }
}

TEST(SignalHistory, KeepsTheLastTenMinutes)
{
    CSignalHistory history;
    // Twenty minutes at 5 Hz, the SNR counting the minutes.
    for (int tenth = 0; tenth < 20 * 60 * 10; tenth += 2) {
        const double t = 3600.0 + tenth / 10.0;
        history.Add(t, Sky({{GnssSystem::GPS, 20 + tenth / 600}}));
    }
    const std::vector<CSignalSample> samples = history.GetSamples();
    ASSERT_EQ(samples.size(), 600u) << "one a second, ten minutes";
    EXPECT_EQ(samples.back().second, 3600 + 1199);
    EXPECT_EQ(samples.front().second, 3600 + 600);
    EXPECT_EQ(Of(samples.front(), GnssSystem::GPS).best, 30);
    EXPECT_EQ(Of(samples.back(), GnssSystem::GPS).best, 39);
    for (std::size_t i = 1; i < samples.size(); ++i)
        ASSERT_EQ(samples[i].second, samples[i - 1].second + 1) << "oldest first, no holes";
}

TEST(SignalHistory, TimeGapsRestartsAndMidnight)
{
    const CSkyView gps = Sky({{GnssSystem::GPS, 40}});
    struct Step {
        double t;
        std::size_t samples;
        std::int64_t oldest;
        std::int64_t newest;
    };
    const struct {
        std::vector<Step> steps;
        const char *legend;
    } cases[] = {
        {{{100, 1, 100, 100}, {101, 2, 100, 101}, {400, 3, 100, 400}, {705, 2, 400, 705}},
         "a gap stays empty; the window is in time, not samples"},
        {{{100, 1, 100, 100}, {130, 2, 100, 130}, {125, 2, 100, 130}},
         "a late sentence counts with the newest second"},
        {{{1000, 1, 1000, 1000}, {900, 1, 900, 900}}, "more than a minute back: a new source"},
        {{{86399.5, 1, 86399, 86399}, {0.2, 2, 86399, 86400}, {1.0, 3, 86399, 86401}},
         "midnight goes on counting"},
        {{{100, 1, 100, 100}, {2000, 1, 2000, 2000}}, "everything too old leaves"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CSignalHistory history;
        for (const Step &step : c.steps) {
            SCOPED_TRACE(step.t);
            history.Add(step.t, gps);
            const std::vector<CSignalSample> samples = history.GetSamples();
            ASSERT_EQ(samples.size(), step.samples);
            EXPECT_EQ(samples.front().second, step.oldest);
            EXPECT_EQ(samples.back().second, step.newest);
            EXPECT_EQ(history.GetNewestSecond(), step.newest);
        }
    }
}

TEST(SignalHistory, SystemsOfTheWindow)
{
    CSignalHistory history;
    EXPECT_TRUE(history.IsEmpty());
    history.Add(0, Sky({{GnssSystem::Galileo, 30}, {GnssSystem::GPS, 40}}));
    history.Add(1, Sky({{GnssSystem::BeiDou, 30}}));
    EXPECT_EQ(history.GetSystems(),
              (std::vector<GnssSystem>{GnssSystem::GPS, GnssSystem::Galileo, GnssSystem::BeiDou}));
    history.Add(700, Sky({{GnssSystem::BeiDou, 30}}));
    EXPECT_EQ(history.GetSystems(), std::vector<GnssSystem>{GnssSystem::BeiDou});
    history.Clear();
    EXPECT_TRUE(history.IsEmpty());
    EXPECT_TRUE(history.GetSamples().empty());
}
