#include "widgets/WindowKeeper.h"

#include "settings/SettingsKey.h"
#include "settings/SettingsTable.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <QWidget>
#include <QWindow>

namespace
{

std::int32_t Read(const CSettingsKey &key, const CStoredNumber &value)
{
    std::int32_t number = value.fallback;
    key.ReadNumber(value.name, number);
    return number;
}

CScreenRect ScreenRect(const QRect &r)
{
    return {r.x(), r.y(), r.width(), r.height()};
}

QRect ToQRect(const CScreenRect &r)
{
    return {r.x, r.y, r.width, r.height};
}

std::optional<CStoredWindow> ReadStoredWindow()
{
    CSettingsKey key;
    if (!key.Open(kAppKey, false))
        return std::nullopt;
    const CStoredWindow stored{{Read(key, kWindowLeftSetting), Read(key, kWindowTopSetting),
                                Read(key, kWindowWidthSetting), Read(key, kWindowHeightSetting)},
                               WindowShowOfValue(Read(key, kWindowShowSetting))};
    if (stored.geometry.width <= 0 || stored.geometry.height <= 0)
        return std::nullopt;
    return stored;
}

Qt::WindowStates StatesOf(WindowShow show)
{
    switch (show) {
    case WindowShow::FullScreen:
        return Qt::WindowFullScreen;
    case WindowShow::Maximised:
        return Qt::WindowMaximized;
    default:
        return Qt::WindowNoState;
    }
}

} // namespace

void CWindowKeeper::Place(bool fullScreenOption)
{
    const std::optional<CStoredWindow> stored = ReadStoredWindow();
    // The screen it was on, when that is still there.
    const QScreen *shown =
        stored ? QGuiApplication::screenAt(ToQRect(stored->geometry).center()) : nullptr;
    if (shown == nullptr)
        shown = m_window.screen();
    if (shown == nullptr)
        return;
    const CScreenRect whole = ScreenRect(shown->geometry());
    const CScreenRect available = ScreenRect(shown->availableGeometry());
    const CWindowPlacement placement = PlaceMainWindow(whole, available, stored, fullScreenOption);
    m_showBeforeOption.reset();
    if (fullScreenOption)
        m_showBeforeOption = PlaceMainWindow(whole, available, stored, false).show;
    m_window.setGeometry(ToQRect(placement.geometry));
    m_window.setWindowState(StatesOf(placement.show));
}

void CWindowKeeper::ToggleFullScreen()
{
    m_showBeforeOption.reset();
    const QRect normal = m_window.normalGeometry();
    // Leaving full screen returns to maximised when the window was.
    m_window.setWindowState(m_window.windowState() ^ Qt::WindowFullScreen);
    // Not every window system gives the size back by itself.
    if (m_window.windowState() == Qt::WindowNoState && normal.isValid()) {
        m_window.setGeometry(normal);
        // It may have been placed before its frame was known.
        QTimer::singleShot(0, &m_window, [this] { FitFrame(); });
    }
}

void CWindowKeeper::FitFrame()
{
    const QWindow *window = m_window.windowHandle();
    const QScreen *screen = m_window.screen();
    if (window == nullptr || screen == nullptr || m_window.windowState() != Qt::WindowNoState)
        return;
    const QMargins m = window->frameMargins();
    const CScreenRect fitted =
        FitWithin(ScreenRect(m_window.geometry()), ScreenRect(screen->availableGeometry()),
                  {m.left(), m.top(), m.right(), m.bottom()});
    if (ToQRect(fitted) != m_window.geometry())
        m_window.setGeometry(ToQRect(fitted));
}

void CWindowKeeper::Store() const
{
    CSettingsKey key;
    if (!key.Open(kAppKey, true))
        return;
    const QRect normal = m_window.normalGeometry();
    key.WriteNumber(kWindowLeftSetting.name, normal.x());
    key.WriteNumber(kWindowTopSetting.name, normal.y());
    key.WriteNumber(kWindowWidthSetting.name, normal.width());
    key.WriteNumber(kWindowHeightSetting.name, normal.height());
    WindowShow show = m_window.isFullScreen()  ? WindowShow::FullScreen
                      : m_window.isMaximized() ? WindowShow::Maximised
                                               : WindowShow::Normal;
    if (m_showBeforeOption)
        show = *m_showBeforeOption; // --fullscreen is for one run
    key.WriteNumber(kWindowShowSetting.name, static_cast<std::int32_t>(show));
}
