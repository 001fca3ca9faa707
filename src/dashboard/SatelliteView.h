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
    explicit CSatelliteView(QWidget *parent = nullptr);

    void SetSatellites(const CSkyView &view);
    /// Empties the plot.
    void Reset() override;
    [[nodiscard]] const std::optional<CSkyView> &GetSatellites() const { return m_view; }
    /// "No Satellites in view", or "%d of %d sats in use".
    [[nodiscard]] QString GetValueText() const override;

protected:
    void DrawBackground(QPainter &painter) override;
    void DrawAnalog(QPainter &painter) override;

private:
    std::optional<CSkyView> m_view;
};
