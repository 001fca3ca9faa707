#pragma once

#include "dashboard/Gauge.h"
#include "dashboard/SkyColours.h"
#include "dashboard/SkyView.h"

#include <optional>
#include <vector>

/// The sky plot ("Satellites"): north up, east right, the horizon on the rim; a marker per
/// satellite filled with the colour of its signal, outlined when used in the fix. With more
/// systems than GPS, each system has its own shape and a rim of its colour, named in a legend.
class CSatelliteView : public CGauge
{
    Q_OBJECT
public:
    enum Mode { kModeSignal = 1, kModeNumber = 2 };
    /// Labels smaller than this many points would not read.
    static constexpr int kSmallestLabel = 7;

    explicit CSatelliteView(QWidget *parent = nullptr);

    void SetSatellites(const CSkyView &view);
    /// Empties the plot.
    void Reset() override;
    [[nodiscard]] const std::optional<CSkyView> &GetSatellites() const { return m_view; }
    /// "No Satellites in view", or "%d of %d sats in use".
    [[nodiscard]] QString GetValueText() const override;

    /// Point sizes of the grid's labels and of the satellites' labels (and the systems' legend)
    /// on the design page.
    [[nodiscard]] int GridLabelPoints() const;
    [[nodiscard]] int SatelliteLabelPoints() const;

protected:
    void DrawBackground(QPainter &painter) override;
    void DrawAnalog(QPainter &painter) override;

private:
    void DrawLegend(QPainter &painter, const std::vector<GnssSystem> &systems) const;
    /// The colours of every role as the plot is drawn now.
    [[nodiscard]] CSkyColours Colours() const;

    std::optional<CSkyView> m_view;
};
