#pragma once

/// What a screen says about its density, in the pixels widgets are laid out in (Qt's
/// device-independent pixels): physical is pixels per real inch, logical the font DPI.
struct CScreenDensity {
    double physicalDpiX = 0;
    double physicalDpiY = 0;
    double logicalDpiY = 96;
    double devicePixelRatio = 1; ///< device pixels per layout pixel
};

/// A control a finger hits reliably is this tall.
inline constexpr double kTouchTargetMillimetres = 7.0;
/// The height used when the screen's physical size cannot be believed: about 7 mm on the
/// 7-inch 800x480 panels this was first tried on, at 96 dpi logical (scaled with it).
inline constexpr int kTouchTargetFallbackPixels = 36;
inline constexpr double kFallbackLogicalDpi = 96.0;

/// Densities outside this range are no screen's: panels without size data report 0, and an
/// EDID giving the aspect ratio in place of the size (16 x 9 mm) makes thousands.
inline constexpr double kMinBelievableDpi = 30.0;
inline constexpr double kMaxBelievableDpi = 600.0;
/// Square pixels: horizontal and vertical density further apart than this are a made-up size.
inline constexpr double kMaxDpiAspect = 1.25;
/// Qt's platforms that cannot tell a screen's size make one up at exactly this many device
/// pixels per inch (offscreen always; eglfs and linuxfb when the panel has no size data), which
/// is as good as unknown.
inline constexpr double kMadeUpDpi = 100.0;

/// The height in pixels of 7 mm on the screen, rounded up; the fallback when the physical
/// density is unknown, made up or absurd.
[[nodiscard]] int TouchTargetPixels(const CScreenDensity &screen);

/// 800x480 or smaller, in either orientation (a 480x640 portrait screen counts).
[[nodiscard]] bool IsSmallScreen(int width, int height);

/// Large controls unless the user chose: on a small screen or with a touch screen.
[[nodiscard]] bool LargeControlsByDefault(int width, int height, bool touchScreen);
