#pragma once

#include "widgets/WindowPlacement.h"

#include <optional>

class QWidget;

/// Places a top-level window where it was last time (fitted to the screen now), keeps its frame
/// on the screen, toggles full screen, and stores its geometry and state when it closes.
class CWindowKeeper
{
public:
    explicit CWindowKeeper(QWidget &window)
        : m_window(window)
    {
    }

    /// As stored, else the default size, full screen on a small screen; with `fullScreenOption`
    /// full screen for this run (not stored).
    void Place(bool fullScreenOption = false);
    /// Full screen, or back as it was.
    void ToggleFullScreen();
    /// Shrinks and moves the window so that its frame, too, lies on the screen; the frame is
    /// known only once the window manager has framed it.
    void FitFrame();
    /// Writes the geometry and state under the program's settings key.
    void Store() const;

private:
    QWidget &m_window;
    // While the command line's full screen is in effect: the state to store instead.
    std::optional<WindowShow> m_showBeforeOption;
};
