#pragma once

#include "geo/CoordinateFormat.h"
#include "geo/Units.h"
#include "nmea/GeoPosition.h"

#include <QWidget>

/// What the window has handed to the map page.
struct CMapFeed {
    CGeoPosition position;
    int positionUpdates = 0;
    bool fix = false;
    int fixChanges = 0;
    int pointListClears = 0;
    double reception = 0.0;
};

/// The "Map" page. Maps, track and distance tool come later; until then it keeps what the window
/// hands it and draws only its caption.
class CMapView : public QWidget
{
    Q_OBJECT
public:
    explicit CMapView(QWidget *parent = nullptr);

    void SetPosition(const CGeoPosition &position);
    void SetFix(bool fix);
    /// Forgets the track points collected so far.
    void ClearPointList();
    [[nodiscard]] bool ShowsReceptionIndicator() const { return false; }
    /// Satellites used / satellites in view.
    void SetReception(double ratio) { m_feed.reception = ratio; }
    void SetProjection(CoordinateFormat projection) { m_projection = projection; }
    void SetAdvancedFileSelector(bool advanced) { m_advancedFileSelector = advanced; }
    void SetUnits(UnitSystem units) { m_units = units; }
    [[nodiscard]] bool IsMapLoaded() const { return false; }

    [[nodiscard]] const CMapFeed &GetFeed() const { return m_feed; }
    [[nodiscard]] CoordinateFormat GetProjection() const { return m_projection; }
    [[nodiscard]] bool GetAdvancedFileSelector() const { return m_advancedFileSelector; }
    [[nodiscard]] UnitSystem GetUnits() const { return m_units; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    CMapFeed m_feed;
    CoordinateFormat m_projection = CoordinateFormat::DD;
    bool m_advancedFileSelector = false;
    UnitSystem m_units = UnitSystem::Metric;
};
