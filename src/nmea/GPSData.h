#pragma once

#include "nmea/GPSDataRows.h"
#include "settings/DisplaySettings.h"

#include <QImage>
#include <QWidget>

#include <array>

class CNMEAParser;

/// The "List" page: the receiver's values as text in four captioned sections, read from the
/// window's parser, in the display settings' units, notation and night mode. Drawn into an
/// off-screen image that is rebuilt only when a section changed.
class CGPSData : public QWidget
{
    Q_OBJECT
public:
    enum Section { kReception = 0, kDilution = 1, kPosition = 2, kHeading = 3 };

    /// Follows `display`, which outlives the page.
    CGPSData(const CNMEAParser &parser, const CDisplaySettings &display, QWidget *parent = nullptr);

    void UpdatePosition();
    void UpdateReception();
    void UpdateDilution();
    void UpdateHeading();

    [[nodiscard]] const CDataRows &GetRows(Section section) const { return m_rows[section]; }

    /// Draws the page at `size` (logical pixels) the way it appears on screen.
    void Render(QPainter &painter, QSize size) const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    /// Rebuilds the rows that depend on what changed.
    void Follow(DisplaySetting what);
    void Changed();

    const CNMEAParser &m_parser;
    const CDisplaySettings &m_display;
    std::array<CDataRows, 4> m_rows;
    QImage m_image; // what was last drawn; null when it must be drawn again
};
