#pragma once

#include "nmea/GPSDataRows.h"

#include <QImage>
#include <QWidget>

#include <array>

class CNMEAParser;

/// The "List" page: the receiver's values as text in four captioned sections, read from the
/// window's parser. Drawn into an off-screen image that is rebuilt only when a section changed.
class CGPSData : public QWidget
{
    Q_OBJECT
public:
    enum Section { kReception = 0, kDilution = 1, kPosition = 2, kHeading = 3 };

    /// Reads the unit system ("OperationMode").
    explicit CGPSData(const CNMEAParser &parser, QWidget *parent = nullptr);
    /// Writes the unit mode back.
    ~CGPSData() override;

    void UpdatePosition();
    void UpdateReception();
    void UpdateDilution();
    void UpdateHeading();

    /// Rebuilds the rows that depend on it.
    void SetUnits(UnitSystem units);
    [[nodiscard]] UnitSystem GetUnits() const { return m_units; }
    void SetProjection(CoordinateFormat projection);
    void SetNightMode(bool night);
    [[nodiscard]] bool IsNightMode() const { return m_night; }

    [[nodiscard]] const CDataRows &GetRows(Section section) const { return m_rows[section]; }

    /// Draws the page at `size` (logical pixels) the way it appears on screen.
    void Render(QPainter &painter, QSize size) const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void Changed();

    const CNMEAParser &m_parser;
    std::array<CDataRows, 4> m_rows;
    UnitSystem m_units = UnitSystem::Metric;
    CoordinateFormat m_projection = CoordinateFormat::DD;
    bool m_night = false;
    QImage m_image; // what was last drawn; null when it must be drawn again
};
