#include "base/TouchSize.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr double kMillimetresPerInch = 25.4;
constexpr int kSmallLongSide = 800;
// A density that makes exactly a whole number of pixels is not rounded up by its last bit.
constexpr double kRoundingSlack = 1e-9;
constexpr int kSmallShortSide = 480;
// A logical DPI beyond these is as broken as the physical one: the fallback stays 36.
constexpr double kMinLogicalDpi = 48.0;
constexpr double kMaxLogicalDpi = 480.0;

// The made-up size comes out as 100 dpi to the last few bits, not merely close to it.
constexpr double kMadeUpTolerance = 0.01;

bool Believable(double dpi)
{
    return std::isfinite(dpi) && dpi >= kMinBelievableDpi && dpi <= kMaxBelievableDpi;
}

bool MadeUp(const CScreenDensity &screen)
{
    const double ratio = screen.devicePixelRatio > 0 ? screen.devicePixelRatio : 1.0;
    return std::abs(screen.physicalDpiX * ratio - kMadeUpDpi) < kMadeUpTolerance
           && std::abs(screen.physicalDpiY * ratio - kMadeUpDpi) < kMadeUpTolerance;
}

} // namespace

int TouchTargetPixels(const CScreenDensity &screen)
{
    const double x = screen.physicalDpiX;
    const double y = screen.physicalDpiY;
    if (Believable(x) && Believable(y) && std::max(x, y) / std::min(x, y) <= kMaxDpiAspect
        && !MadeUp(screen))
        return static_cast<int>(
            std::ceil(kTouchTargetMillimetres / kMillimetresPerInch * y - kRoundingSlack));
    double logical = screen.logicalDpiY;
    if (!std::isfinite(logical) || logical < kMinLogicalDpi || logical > kMaxLogicalDpi)
        logical = kFallbackLogicalDpi;
    return static_cast<int>(
        std::lround(kTouchTargetFallbackPixels * logical / kFallbackLogicalDpi));
}

bool IsSmallScreen(int width, int height)
{
    if (width <= 0 || height <= 0)
        return false;
    return std::max(width, height) <= kSmallLongSide && std::min(width, height) <= kSmallShortSide;
}

bool LargeControlsByDefault(int width, int height, bool touchScreen)
{
    return touchScreen || IsSmallScreen(width, height);
}
