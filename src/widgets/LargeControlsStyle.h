#pragma once

#include <QProxyStyle>

class QScreen;

/// The style the application runs with while large controls are on: the controls a finger
/// uses (menu bar and menu items, tool buttons, tabs, check boxes and radio buttons with their
/// indicators, combo boxes, line edits, spin boxes, push buttons) are at least a touch target
/// high; everything else is the wrapped style's.
class CLargeControlsStyle : public QProxyStyle
{
    Q_OBJECT
public:
    /// Takes `base` over.
    CLargeControlsStyle(QStyle *base, int minimumHeight);

    [[nodiscard]] int GetMinimumHeight() const { return m_minimumHeight; }

    [[nodiscard]] int pixelMetric(PixelMetric metric, const QStyleOption *option = nullptr,
                                  const QWidget *widget = nullptr) const override;
    [[nodiscard]] QSize sizeFromContents(ContentsType type, const QStyleOption *option,
                                         const QSize &contents,
                                         const QWidget *widget) const override;
    [[nodiscard]] QRect subElementRect(SubElement element, const QStyleOption *option,
                                       const QWidget *widget) const override;

private:
    int m_minimumHeight;
};

/// 7 mm on `screen`, in layout pixels (TouchTargetPixels).
[[nodiscard]] int TouchTargetOf(const QScreen &screen);
/// Whether large controls suit this machine: the screen is small or any touch screen is
/// attached (LargeControlsByDefault).
[[nodiscard]] bool ScreenWantsLargeControls(const QScreen &screen);

/// Puts the application's style into large controls of `minimumHeight`, or back to the plain
/// style. Every widget is laid out again at once; nothing happens when it is so already.
void ApplyLargeControls(bool large, int minimumHeight);
/// The tool bars' icons that go with it: 16 px plain, larger inside touch-size buttons.
[[nodiscard]] int ToolBarIconSize(bool large, int minimumHeight);
