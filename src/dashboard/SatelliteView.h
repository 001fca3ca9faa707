#pragma once

#include "dashboard/Gauge.h"
#include "dashboard/SkyView.h"

#include <optional>

/// The sky plot ("Satellites"): north up, east right, the horizon on the rim; a disc per
/// satellite coloured by its signal, outlined when used in the fix.
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

    /// Point sizes of the grid's labels and of the satellites' labels on the design page.
    [[nodiscard]] int GridLabelPoints() const;
    [[nodiscard]] int SatelliteLabelPoints() const;

protected:
    void DrawBackground(QPainter &painter) override;
    void DrawAnalog(QPainter &painter) override;

private:
    std::optional<CSkyView> m_view;
};
