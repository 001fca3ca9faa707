#include "dashboard/RepaintPace.h"

#include <cstdint>
#include <gtest/gtest.h>

TEST(RepaintPace, FirstAtOnceThenOncePerInterval)
{
    // A 10 Hz feed into a view drawn once a second: (time of the change, wait answered).
    struct Step {
        std::int64_t now;
        std::int64_t wait;
        const char *legend;
    };
    const Step steps[] = {
        {5000, 0, "the first change is drawn at once"},
        {5100, 900, "the next waits for the end of the interval"},
        {5999, 1, "a millisecond before it"},
        {6000, 0, "drawn once the interval has passed"},
        {6400, 600, "the interval counts from that draw"},
        {9000, 0, "after a quiet spell, at once again"},
        {8000, 0, "a clock that went back draws at once, not after an hour's wait"},
        {8050, 950, "and paces from there"},
    };
    CRepaintPace pace(1000);
    for (const Step &s : steps) {
        SCOPED_TRACE(s.legend);
        EXPECT_EQ(pace.Offer(s.now), s.wait);
    }
}

TEST(RepaintPace, ShownAndForgotten)
{
    CRepaintPace pace(1000);
    ASSERT_EQ(pace.Offer(0), 0);
    // The deferred draw at the end of the interval counts as shown: the next change waits a
    // whole interval from it, so a steady feed is drawn exactly once per interval.
    pace.Shown(1000);
    EXPECT_EQ(pace.Offer(1100), 900);
    // A reset draws the next change at once.
    pace.Forget();
    EXPECT_EQ(pace.Offer(1200), 0);
}
