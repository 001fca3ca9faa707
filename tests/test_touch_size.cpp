#include "base/TouchSize.h"

#include <gtest/gtest.h>
#include <limits>

// Densities as Qt reports them, in layout pixels per real inch.
TEST(TouchSize, SevenMillimetresOnTheScreen)
{
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInf = std::numeric_limits<double>::infinity();
    struct Case {
        const char *legend;
        CScreenDensity screen;
        int pixels;
    };
    const Case cases[] = {
        {"7-inch 800x480 panel, 154 x 86 mm", {132.0, 141.8, 96, 1}, 40},
        {"same panel at scale 2: half the layout pixels", {66.0, 70.9, 96, 2}, 20},
        {"24-inch 1920x1080", {91.8, 91.8, 96}, 26},
        {"exactly 7 mm is not rounded down", {25.4 * 36 / 7, 25.4 * 36 / 7, 96}, 36},
        {"a hair over 36 px rounds up", {25.4 * 36.01 / 7, 25.4 * 36.01 / 7, 96}, 37},
        {"size unknown: zero", {0, 0, 96}, 36},
        {"size unknown: not a number", {kNan, kNan, 96}, 36},
        {"size unknown: infinite (0 mm divided into pixels)", {kInf, kInf, 96}, 36},
        {"negative", {-100, -100, 96}, 36},
        {"aspect ratio given as the size: 16 x 9 mm for 1920x1080", {3048, 3048, 96}, 36},
        {"far too coarse", {10, 10, 96}, 36},
        {"lowest believable", {30, 30, 96}, 9},
        {"highest believable", {600, 600, 96}, 166},
        {"just beyond the highest", {601, 601, 96}, 36},
        {"pixels far from square: a made-up size", {96, 150, 96}, 36},
        {"pixels slightly off square are real", {100, 120, 96}, 34},
        {"Qt's made-up size: 100 dpi", {100, 100, 96, 1}, 36},
        {"Qt's made-up size at scale 2", {50, 50, 96, 2}, 36},
        {"Qt's made-up size at scale 1.25", {80, 80, 96, 1.25}, 36},
        {"close to 100 dpi but measured", {100.2, 100.2, 96, 1}, 28},
        {"100 layout dpi at scale 2 is a real 200", {100, 100, 96, 2}, 28},
        {"fallback follows the logical DPI", {0, 0, 144}, 54},
        {"fallback with an absurd logical DPI too", {0, 0, 0}, 36},
        {"fallback with a logical DPI not a number", {0, 0, kNan}, 36},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(TouchTargetPixels(c.screen), c.pixels);
    }
}

TEST(TouchSize, LargeControlsByDefault)
{
    struct Case {
        const char *legend;
        int width, height;
        bool touch, large;
    };
    const Case cases[] = {
        {"7-inch panel", 800, 480, false, true},
        {"7-inch panel turned", 480, 800, false, true},
        {"portrait handheld", 480, 640, false, true},
        {"smaller still", 320, 240, false, true},
        {"one pixel wider", 801, 480, false, false},
        {"one pixel taller", 800, 481, false, false},
        {"1024x600", 1024, 600, false, false},
        {"800x600", 800, 600, false, false},
        {"desktop", 1920, 1080, false, false},
        {"desktop with a touch screen", 1920, 1080, true, true},
        {"no screen", 0, 0, false, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(LargeControlsByDefault(c.width, c.height, c.touch), c.large);
    }
}
