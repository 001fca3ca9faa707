#include "nmea/GPSData.h"

#include "settings/DisplaySettings.h"
#include "widgets/NightPalette.h"

#include <QPaintEvent>
#include <QPainter>

#include <algorithm>

namespace
{

// Geometry of the page on a 240-pixel-wide page; it is scaled to the widget.
constexpr double kDesignWidth = 240.0;
constexpr double kRowHeight = 15.0;
constexpr double kCaptionHeight = 17.0;
constexpr double kSectionGap = 4.0;
constexpr double kMargin = 4.0;
constexpr double kValueColumn = 112.0;
constexpr double kFontPixels = 11.0;
// Four sections of three rows fit at the least; the rows per satellite system grow the page,
// which is then drawn smaller rather than cut off.
constexpr std::size_t kDesignRows = 3;

struct Colors {
    QColor background, caption, captionText, label, value;
};

Colors PageColors(bool night)
{
    if (night)
        return {CNightPalette::Background(), CNightPalette::Band(), CNightPalette::Text(),
                CNightPalette::DimText(), CNightPalette::Text()};
    return {QColor(255, 255, 255), QColor(40, 70, 130), QColor(255, 255, 255), QColor(70, 70, 70),
            QColor(0, 0, 0)};
}

} // namespace

CGPSData::CGPSData(const CNMEAParser &parser, const CDisplaySettings &display, QWidget *parent)
    : QWidget(parent)
    , m_parser(parser)
    , m_display(display)
{
    setObjectName(QStringLiteral("listPage"));
    setAccessibleName(tr("List"));
    // Focusable, so that a screen reader reaches the values.
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    UpdateReception();
    UpdateDilution();
    UpdatePosition();
    UpdateHeading();
    connect(&m_display, &CDisplaySettings::Changed, this, &CGPSData::Follow);
}

void CGPSData::UpdatePosition()
{
    m_rows[kPosition] =
        BuildPositionRows(m_parser, m_display.GetProjection(), m_display.GetUnits());
    Changed();
}

void CGPSData::UpdateReception()
{
    m_rows[kReception] = BuildReceptionRows(m_parser);
    Changed();
}

void CGPSData::UpdateDilution()
{
    m_rows[kDilution] = BuildDilutionRows(m_parser);
    Changed();
}

void CGPSData::UpdateHeading()
{
    m_rows[kHeading] = BuildHeadingRows(m_parser, m_display.GetUnits());
    Changed();
}

void CGPSData::Follow(DisplaySetting what)
{
    switch (what) {
    case DisplaySetting::Units:
        UpdatePosition();
        UpdateHeading();
        break;
    case DisplaySetting::Projection:
        UpdatePosition();
        break;
    case DisplaySetting::NightMode:
        Changed();
        break;
    case DisplaySetting::AdvancedFileSelector:
    case DisplaySetting::GnssMode:
    case DisplaySetting::NightColours:
    case DisplaySetting::LargeControls:
        break;
    }
}

void CGPSData::Changed()
{
    m_image = QImage();
    update();
    // The page is drawn, not made of labels: screen readers get its rows as text.
    QString text;
    for (const CDataRows &rows : m_rows)
        for (const CDataRow &row : rows)
            text += QString::fromStdString(row.label) + QLatin1Char(' ')
                    + QString::fromStdString(row.value) + QLatin1Char('\n');
    text.chop(1);
    if (text != accessibleDescription())
        setAccessibleDescription(text);
}

void CGPSData::Render(QPainter &painter, QSize size) const
{
    const Colors colors = PageColors(m_display.IsNightMode());
    painter.fillRect(QRect(QPoint(0, 0), size), colors.background);
    double designHeight = kMargin;
    for (const CDataRows &rows : m_rows)
        designHeight += kCaptionHeight + kSectionGap
                        + static_cast<double>(std::max(rows.size(), kDesignRows)) * kRowHeight;
    const double scale = std::min(size.width() / kDesignWidth, size.height() / designHeight);
    painter.save();
    painter.scale(scale, scale);
    painter.setRenderHint(QPainter::TextAntialiasing);

    QFont font = painter.font();
    font.setPixelSize(static_cast<int>(kFontPixels));
    QFont bold = font;
    bold.setBold(true);
    const double width = size.width() / scale;

    double y = kMargin;
    for (std::size_t s = 0; s < m_rows.size(); ++s) {
        const QRectF band(0, y, width, kCaptionHeight);
        painter.fillRect(band, colors.caption);
        painter.setFont(bold);
        painter.setPen(colors.captionText);
        painter.drawText(band.adjusted(kMargin, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                         QString::fromUtf8(kDataSectionCaptions[s].data(),
                                           static_cast<qsizetype>(kDataSectionCaptions[s].size())));
        y += kCaptionHeight;
        for (const CDataRow &row : m_rows[s]) {
            const QRectF line(kMargin, y, width - 2 * kMargin, kRowHeight);
            painter.setFont(font);
            painter.setPen(colors.label);
            painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter,
                             QString::fromStdString(row.label));
            painter.setFont(bold);
            painter.setPen(colors.value);
            painter.drawText(line.adjusted(kValueColumn - kMargin, 0, 0, 0),
                             Qt::AlignLeft | Qt::AlignVCenter, QString::fromStdString(row.value));
            y += kRowHeight;
        }
        y += kSectionGap;
    }
    painter.restore();
}

void CGPSData::paintEvent(QPaintEvent *event)
{
    const qreal ratio = devicePixelRatioF();
    if (m_image.isNull()) {
        m_image = QImage(size() * ratio, QImage::Format_RGB32);
        m_image.setDevicePixelRatio(ratio);
        QPainter offscreen(&m_image);
        Render(offscreen, size());
    }
    QPainter painter(this);
    painter.drawImage(event->rect(), m_image,
                      QRectF(event->rect().topLeft() * ratio, event->rect().size() * ratio));
}

void CGPSData::resizeEvent(QResizeEvent *event)
{
    m_image = QImage();
    QWidget::resizeEvent(event);
}
