#include "widgets/WindowPlacement.h"

#include <gtest/gtest.h>
#include <optional>
#include <ostream>

void PrintTo(const CScreenRect &r, std::ostream *os)
{
    *os << r.width << "x" << r.height << "+" << r.x << "+" << r.y;
}

namespace
{

constexpr CScreenRect kPanel{0, 0, 800, 480};
constexpr CScreenRect kPortrait{0, 0, 480, 640};
constexpr CScreenRect kNetbook{0, 0, 1024, 600};
constexpr CScreenRect kDesktop{0, 0, 1920, 1080};
// 1920 x 1080 at scale 2, a panel of 32 px along its top.
constexpr CScreenRect kScaled{0, 0, 960, 540};
constexpr CScreenRect kScaledFree{0, 32, 960, 508};

// The second screen to the right of a desktop.
constexpr CScreenRect kRight{1920, 0, 1280, 1024};

constexpr CFrameMargins kNoFrame{};
constexpr CFrameMargins kTitleBar{4, 30, 4, 4};

} // namespace

TEST(WindowPlacement, SmallScreens)
{
    struct Case {
        const char *legend;
        CScreenRect screen;
        bool small;
    };
    const Case cases[] = {
        {"the 7-inch panel", kPanel, true},
        {"the panel upright", {0, 0, 480, 800}, true},
        {"the design's own size", kPortrait, true},
        {"a 320 x 240 handheld", {0, 0, 320, 240}, true},
        {"one pixel wider", {0, 0, 801, 480}, false},
        {"one pixel taller", {0, 0, 800, 481}, false},
        {"1024 x 600", kNetbook, false},
        {"a desktop", kDesktop, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(IsSmallScreen(c.screen), c.small);
    }
}

TEST(WindowPlacement, FitWithin)
{
    struct Case {
        const char *legend;
        CScreenRect wanted;
        CScreenRect available;
        CFrameMargins frame;
        CScreenRect fitted;
    };
    // clang-format off
    const Case cases[] = {
        {"inside already: untouched", {100, 100, 480, 640}, kDesktop, kNoFrame, {100, 100, 480, 640}},
        {"too tall: as tall as the screen", {0, 0, 480, 640}, kPanel, kNoFrame, {0, 0, 480, 480}},
        {"too tall with a title bar", {0, 0, 480, 640}, kPanel, kTitleBar, {4, 30, 480, 446}},
        {"off the right edge: moved back", {1700, 100, 480, 640}, kDesktop, kNoFrame, {1440, 100, 480, 640}},
        {"off the top left: moved in", {-50, -20, 300, 200}, kDesktop, kNoFrame, {0, 0, 300, 200}},
        {"the frame's top on the screen", {10, 0, 300, 200}, kDesktop, kTitleBar, {10, 30, 300, 200}},
        {"larger both ways", {0, 0, 1920, 1080}, kNetbook, kNoFrame, {0, 0, 1024, 600}},
        {"under a panel", {0, 0, 480, 640}, kScaledFree, kNoFrame, {0, 32, 480, 508}},
        {"on the second screen", {2000, 900, 800, 600}, kRight, kNoFrame, {2000, 424, 800, 600}},
        {"left of the second screen", {100, 100, 800, 600}, kRight, kNoFrame, {1920, 100, 800, 600}},
        {"no size: one pixel", {10, 10, 0, -5}, kDesktop, kNoFrame, {10, 10, 1, 1}},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CScreenRect got = FitWithin(c.wanted, c.available, c.frame);
        EXPECT_EQ(got, c.fitted);
        if (c.wanted.width > 0 && c.wanted.height > 0) {
            const CScreenRect outer{got.x - c.frame.left, got.y - c.frame.top,
                                    got.width + c.frame.left + c.frame.right,
                                    got.height + c.frame.top + c.frame.bottom};
            EXPECT_TRUE(c.available.Contains(outer));
        }
    }
}

TEST(WindowPlacement, MainWindow)
{
    using enum WindowShow;
    struct Case {
        const char *legend;
        CScreenRect screen;
        CScreenRect available;
        std::optional<CStoredWindow> stored;
        bool fullScreenOption;
        CFrameMargins frame;
        CWindowPlacement expected;
    };
    // clang-format off
    const Case cases[] = {
        {"first start on a desktop: the design's size, centred", kDesktop, kDesktop, std::nullopt, false, kNoFrame,
         {{720, 220, 480, 640}, Normal}},
        {"first start at 1024 x 600: no taller than the screen", kNetbook, kNetbook, std::nullopt, false, kNoFrame,
         {{272, 0, 480, 600}, Normal}},
        {"first start at 1024 x 600 with a title bar", kNetbook, kNetbook, std::nullopt, false, kTitleBar,
         {{272, 30, 480, 566}, Normal}},
        {"first start on the panel: full screen", kPanel, kPanel, std::nullopt, false, kNoFrame,
         {{160, 0, 480, 480}, FullScreen}},
        {"first start on a 480 x 640 screen: full screen", kPortrait, kPortrait, std::nullopt, false, kNoFrame,
         {{0, 0, 480, 640}, FullScreen}},
        {"first start at scale 2 under a panel", kScaled, kScaledFree, std::nullopt, false, kNoFrame,
         {{240, 32, 480, 508}, Normal}},
        {"stored and fitting: as stored", kDesktop, kDesktop, CStoredWindow{{100, 50, 900, 700}, Normal}, false, kNoFrame,
         {{100, 50, 900, 700}, Normal}},
        {"stored maximised", kDesktop, kDesktop, CStoredWindow{{100, 50, 900, 700}, Maximised}, false, kNoFrame,
         {{100, 50, 900, 700}, Maximised}},
        {"stored on a larger screen: clamped", kNetbook, kNetbook, CStoredWindow{{1200, 300, 900, 700}, Normal}, false, kNoFrame,
         {{124, 0, 900, 600}, Normal}},
        {"stored normal on the panel: stays normal", kPanel, kPanel, CStoredWindow{{0, 0, 480, 640}, Normal}, false, kNoFrame,
         {{0, 0, 480, 480}, Normal}},
        {"stored without a size: the default", kDesktop, kDesktop, CStoredWindow{{100, 100, 0, 0}, Maximised}, false, kNoFrame,
         {{720, 220, 480, 640}, Normal}},
        {"--fullscreen on a desktop", kDesktop, kDesktop, std::nullopt, true, kNoFrame,
         {{720, 220, 480, 640}, FullScreen}},
        {"--fullscreen over a stored maximised window", kDesktop, kDesktop, CStoredWindow{{10, 10, 900, 700}, Maximised}, true, kNoFrame,
         {{10, 10, 900, 700}, FullScreen}},
        {"on the second screen", kRight, kRight, CStoredWindow{{100, 100, 480, 640}, Normal}, false, kNoFrame,
         {{1920, 100, 480, 640}, Normal}},
    };
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CWindowPlacement got =
            PlaceMainWindow(c.screen, c.available, c.stored, c.fullScreenOption, c.frame);
        EXPECT_EQ(got.geometry, c.expected.geometry);
        EXPECT_EQ(got.show, c.expected.show);
    }
}

TEST(WindowPlacement, StoredStateNumbers)
{
    EXPECT_EQ(WindowShowOfValue(0), WindowShow::Normal);
    EXPECT_EQ(WindowShowOfValue(1), WindowShow::Maximised);
    EXPECT_EQ(WindowShowOfValue(2), WindowShow::FullScreen);
    EXPECT_EQ(WindowShowOfValue(3), WindowShow::Normal);
    EXPECT_EQ(WindowShowOfValue(-1), WindowShow::Normal);
}
