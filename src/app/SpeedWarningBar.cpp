#include "app/SpeedWarningBar.h"

#include "settings/DisplaySettings.h"
#include "widgets/NightPalette.h"

#include <algorithm>

namespace
{
// A size larger than the notice's: it has to be seen at a glance while driving.
constexpr int kMinPixels = 16;
constexpr int kMaxPixels = 36;
} // namespace

CSpeedWarningBar::CSpeedWarningBar(const CDisplaySettings &display, QWidget *parent)
    : QLabel(parent)
    , m_display(display)
{
    setObjectName(QStringLiteral("speedWarning"));
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    hide();
    connect(&m_display, &CDisplaySettings::Changed, this, [this](DisplaySetting what) {
        if (what == DisplaySetting::NightMode)
            Restyle();
    });
    Restyle();
}

void CSpeedWarningBar::SetWarning(const QString &text)
{
    setText(text);
    setVisible(!text.isEmpty());
}

void CSpeedWarningBar::FitTo(int windowWidth)
{
    m_windowWidth = windowWidth;
    Restyle();
}

void CSpeedWarningBar::Restyle()
{
    const int pixels = std::clamp(m_windowWidth / 28, kMinPixels, kMaxPixels);
    const QString colours =
        m_display.IsNightMode()
            ? QStringLiteral("background: %1; color: %2;")
                  .arg(CNightPalette::Band().name(), CNightPalette::Text().name())
            : QStringLiteral("background: #c81414; color: #ffffff;");
    setStyleSheet(QStringLiteral("QLabel#speedWarning { %1 font-weight: bold; font-size: %2px; "
                                 "padding: %3px; }")
                      .arg(colours)
                      .arg(pixels)
                      .arg(pixels / 3));
}
