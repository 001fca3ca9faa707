#include "app/NoticeBar.h"

#include "settings/DisplaySettings.h"
#include "widgets/NightPalette.h"

#include <QTimer>

#include <algorithm>

namespace
{

constexpr int kMinPixels = 13;
constexpr int kMaxPixels = 28;

} // namespace

CNoticeBar::CNoticeBar(const CDisplaySettings &display, QWidget *parent)
    : QLabel(parent)
    , m_display(display)
{
    setObjectName(QStringLiteral("notice"));
    setWordWrap(true);
    setAlignment(Qt::AlignCenter);
    hide();
    m_hide = new QTimer(this);
    m_hide->setSingleShot(true);
    connect(m_hide, &QTimer::timeout, this, &QWidget::hide);
    connect(&m_display, &CDisplaySettings::Changed, this, [this](DisplaySetting what) {
        if (what == DisplaySetting::NightMode)
            Restyle();
    });
    Restyle();
}

void CNoticeBar::ShowFor(const QString &text, int hideAfterMs)
{
    setText(text);
    show();
    if (hideAfterMs > 0)
        m_hide->start(hideAfterMs);
    else
        m_hide->stop();
}

void CNoticeBar::Dismiss()
{
    m_hide->stop();
    hide();
}

QString CNoticeBar::GetShownText() const
{
    return isHidden() ? QString() : text();
}

void CNoticeBar::FitTo(int windowWidth)
{
    m_windowWidth = windowWidth;
    Restyle();
}

void CNoticeBar::Restyle()
{
    // At night a dim red that does not dazzle a driver; read at a glance on a car's screen.
    const int pixels = std::clamp(m_windowWidth / 36, kMinPixels, kMaxPixels);
    const QString colours =
        m_display.IsNightMode()
            ? QStringLiteral("background: %1; color: %2;")
                  .arg(CNightPalette::Band().name(), CNightPalette::Text().name())
            : QStringLiteral("background: #ffc94a; color: #1a1a1a;");
    setStyleSheet(
        QStringLiteral("QLabel#notice { %1 font-weight: bold; font-size: %2px; padding: %3px; }")
            .arg(colours)
            .arg(pixels)
            .arg(pixels / 3));
}
