#include "widgets/WindowPlacement.h"

#include <algorithm>

namespace
{

constexpr int kSmallLongSide = 800;
constexpr int kSmallShortSide = 480;

// Along one axis: the start and length of a span that, with its frame, fits [free, free+room).
void FitSpan(int &start, int &length, int free, int room, int before, int after)
{
    length = std::max(1, std::min(length, room - before - after));
    start = std::clamp(start, free + before, std::max(free + before, free + room - after - length));
}

} // namespace

bool IsSmallScreen(const CScreenRect &screen)
{
    const int longSide = std::max(screen.width, screen.height);
    const int shortSide = std::min(screen.width, screen.height);
    return longSide <= kSmallLongSide && shortSide <= kSmallShortSide;
}

CScreenRect FitWithin(const CScreenRect &wanted, const CScreenRect &available,
                      const CFrameMargins &frame)
{
    CScreenRect r = wanted;
    FitSpan(r.x, r.width, available.x, available.width, frame.left, frame.right);
    FitSpan(r.y, r.height, available.y, available.height, frame.top, frame.bottom);
    return r;
}

CWindowPlacement PlaceMainWindow(const CScreenRect &screen, const CScreenRect &available,
                                 const std::optional<CStoredWindow> &stored, bool fullScreenOption,
                                 const CFrameMargins &frame)
{
    CWindowPlacement placement;
    // A stored window of no size is a damaged setting, not a wish.
    const bool useStored = stored && stored->geometry.width > 0 && stored->geometry.height > 0;
    if (useStored) {
        placement.geometry = FitWithin(stored->geometry, available, frame);
        placement.show = stored->show;
    } else {
        const int width = std::min(kDefaultWindowWidth, available.width - frame.left - frame.right);
        const int height =
            std::min(kDefaultWindowHeight, available.height - frame.top - frame.bottom);
        const CScreenRect centred{available.x + (available.width - width) / 2,
                                  available.y + (available.height - height) / 2, width, height};
        placement.geometry = FitWithin(centred, available, frame);
        placement.show = IsSmallScreen(screen) ? WindowShow::FullScreen : WindowShow::Normal;
    }
    if (fullScreenOption)
        placement.show = WindowShow::FullScreen;
    return placement;
}
