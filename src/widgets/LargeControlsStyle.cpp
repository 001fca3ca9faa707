#include "widgets/LargeControlsStyle.h"

#include "base/TouchSize.h"

#include <QApplication>
#include <QInputDevice>
#include <QScreen>
#include <QStyleFactory>
#include <QStyleOption>

#include <algorithm>

namespace
{

// Indicators fill this much of the row: the whole row takes the tap, and a full-height box
// looks like a button.
constexpr double kIndicatorShare = 0.6;
constexpr int kPlainIconSize = 16;
constexpr int kLargestIconSize = 32;

// The style in use before large controls first came on, to go back to.
QString &PlainStyleName()
{
    static QString name;
    return name;
}

QStyle *MakePlainStyle()
{
    QStyle *style = QStyleFactory::create(PlainStyleName());
    return style != nullptr ? style : QStyleFactory::create(QStringLiteral("Fusion"));
}

bool IsVerticalTab(const QStyleOption *option)
{
    const auto *tab = qstyleoption_cast<const QStyleOptionTab *>(option);
    if (tab == nullptr)
        return false;
    switch (tab->shape) {
    case QTabBar::RoundedWest:
    case QTabBar::RoundedEast:
    case QTabBar::TriangularWest:
    case QTabBar::TriangularEast:
        return true;
    default:
        return false;
    }
}

} // namespace

CLargeControlsStyle::CLargeControlsStyle(QStyle *base, int minimumHeight)
    : QProxyStyle(base)
    , m_minimumHeight(minimumHeight)
{
}

int CLargeControlsStyle::pixelMetric(PixelMetric metric, const QStyleOption *option,
                                     const QWidget *widget) const
{
    const int base = QProxyStyle::pixelMetric(metric, option, widget);
    switch (metric) {
    case PM_IndicatorWidth:
    case PM_IndicatorHeight:
    case PM_ExclusiveIndicatorWidth:
    case PM_ExclusiveIndicatorHeight:
        return std::max(base, static_cast<int>(m_minimumHeight * kIndicatorShare));
    case PM_ToolBarIconSize:
        return std::max(base, ToolBarIconSize(true, m_minimumHeight));
    default:
        return base;
    }
}

QSize CLargeControlsStyle::sizeFromContents(ContentsType type, const QStyleOption *option,
                                            const QSize &contents, const QWidget *widget) const
{
    QSize size = QProxyStyle::sizeFromContents(type, option, contents, widget);
    switch (type) {
    case CT_MenuItem:
        if (const auto *item = qstyleoption_cast<const QStyleOptionMenuItem *>(option);
            item != nullptr && item->menuItemType == QStyleOptionMenuItem::Separator)
            break;
        size.setHeight(std::max(size.height(), m_minimumHeight));
        break;
    case CT_TabBarTab:
        if (IsVerticalTab(option))
            size.setWidth(std::max(size.width(), m_minimumHeight));
        else
            size.setHeight(std::max(size.height(), m_minimumHeight));
        break;
    case CT_ToolButton:
        // Icon-only buttons: a square a finger fits on.
        size = size.expandedTo(QSize(m_minimumHeight, m_minimumHeight));
        break;
    case CT_MenuBarItem:
    case CT_CheckBox:
    case CT_RadioButton:
    case CT_ComboBox:
    case CT_LineEdit:
    case CT_SpinBox:
    case CT_PushButton:
        size.setHeight(std::max(size.height(), m_minimumHeight));
        break;
    default:
        break;
    }
    return size;
}

QRect CLargeControlsStyle::subElementRect(SubElement element, const QStyleOption *option,
                                          const QWidget *widget) const
{
    // The plain styles take taps on the indicator and the text only: the row around them, the
    // part that makes it a touch target, would not answer.
    if ((element == SE_CheckBoxClickRect || element == SE_RadioButtonClickRect)
        && option != nullptr)
        return option->rect;
    return QProxyStyle::subElementRect(element, option, widget);
}

int TouchTargetOf(const QScreen &screen)
{
    return TouchTargetPixels({.physicalDpiX = screen.physicalDotsPerInchX(),
                              .physicalDpiY = screen.physicalDotsPerInchY(),
                              .logicalDpiY = screen.logicalDotsPerInchY(),
                              .devicePixelRatio = screen.devicePixelRatio()});
}

bool ScreenWantsLargeControls(const QScreen &screen)
{
    const QList<const QInputDevice *> devices = QInputDevice::devices();
    const bool touch = std::any_of(devices.begin(), devices.end(), [](const QInputDevice *d) {
        return d->type() == QInputDevice::DeviceType::TouchScreen;
    });
    return LargeControlsByDefault(screen.size().width(), screen.size().height(), touch);
}

void ApplyLargeControls(bool large, int minimumHeight)
{
    QStyle *current = QApplication::style();
    const auto *proxy = qobject_cast<const CLargeControlsStyle *>(current);
    if (proxy == nullptr) {
        if (!large)
            return;
        PlainStyleName() = current->name();
    } else if (large && proxy->GetMinimumHeight() == minimumHeight) {
        return;
    }
    // A new style, not new numbers in the old one: setting it is what makes every widget ask
    // for its size again.
    QStyle *plain = MakePlainStyle();
    if (large)
        QApplication::setStyle(new CLargeControlsStyle(plain, minimumHeight));
    else
        QApplication::setStyle(plain);
}

int ToolBarIconSize(bool large, int minimumHeight)
{
    if (!large)
        return kPlainIconSize;
    return std::clamp(minimumHeight * 2 / 3, kPlainIconSize, kLargestIconSize);
}
