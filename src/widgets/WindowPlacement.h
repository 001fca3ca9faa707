#pragma once

#include <optional>

/// A rectangle in screen pixels: its top left corner and its size.
struct CScreenRect {
    int x = 0, y = 0, width = 0, height = 0;
    [[nodiscard]] constexpr int Right() const { return x + width; }
    [[nodiscard]] constexpr int Bottom() const { return y + height; }
    [[nodiscard]] constexpr bool Contains(const CScreenRect &r) const
    {
        return r.x >= x && r.y >= y && r.Right() <= Right() && r.Bottom() <= Bottom();
    }
    friend constexpr bool operator==(const CScreenRect &, const CScreenRect &) = default;
};

/// What the window manager adds around a window's client area.
struct CFrameMargins {
    int left = 0, top = 0, right = 0, bottom = 0;
};

/// The main window's state as stored; the numbers are the stored ones.
enum class WindowShow : int { Normal = 0, Maximised = 1, FullScreen = 2 };

/// A stored number as a state; an unknown one reads as Normal.
[[nodiscard]] constexpr WindowShow WindowShowOfValue(int value)
{
    return value == 1   ? WindowShow::Maximised
           : value == 2 ? WindowShow::FullScreen
                        : WindowShow::Normal;
}

/// The window as stored the last time it closed.
struct CStoredWindow {
    CScreenRect geometry; ///< the client area while neither maximised nor full screen
    WindowShow show = WindowShow::Normal;
};

/// The window as it opens.
struct CWindowPlacement {
    CScreenRect geometry; ///< the client area it has, and returns to from the other states
    WindowShow show = WindowShow::Normal;
    friend constexpr bool operator==(const CWindowPlacement &, const CWindowPlacement &) = default;
};

/// The design's page size: the window opens at it when nothing was stored and it fits.
inline constexpr int kDefaultWindowWidth = 480;
inline constexpr int kDefaultWindowHeight = 640;

/// A 7-inch panel of 800 x 480 pixels or less, either way round: the window takes all of it.
[[nodiscard]] bool IsSmallScreen(const CScreenRect &screen);

/// `wanted` moved and then shrunk so that it and its frame lie within `available`; a rectangle
/// that already does is left alone. Sizes below one pixel become one.
[[nodiscard]] CScreenRect FitWithin(const CScreenRect &wanted, const CScreenRect &available,
                                    const CFrameMargins &frame = {});

/// Where the main window opens on a screen of `screen` pixels whose free part (without panels
/// and docks) is `available`: the stored geometry when there is one, fitted to the screen, else
/// the default size centred; the stored state, else full screen on a small screen. The command
/// line's full screen wins over both.
[[nodiscard]] CWindowPlacement PlaceMainWindow(const CScreenRect &screen,
                                               const CScreenRect &available,
                                               const std::optional<CStoredWindow> &stored,
                                               bool fullScreenOption,
                                               const CFrameMargins &frame = {});
