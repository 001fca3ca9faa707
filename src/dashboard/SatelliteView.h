#pragma once

#include "dashboard/Gauge.h"
#include "dashboard/RepaintPace.h"
#include "dashboard/SkyColours.h"
#include "dashboard/SkyLayout.h"
#include "dashboard/SkyView.h"

#include <QElapsedTimer>
#include <QTimer>

#include <array>
#include <optional>
#include <vector>

/// The sky plot ("Satellites"): north up, east right, the horizon on the rim; a marker per
/// satellite filled with the colour of its signal, outlined when used in the fix. With more
/// systems than GPS, each system has its own shape and a rim of its colour, named in a legend
/// whose entries switch their systems on and off when tapped. The markers shrink as the sky
/// fills and are nudged apart where they crowd (SkyLayout).
class CSatelliteView : public CGauge
{
    Q_OBJECT
public:
    /// The label mode, stored as the gauge's mode: automatic (the satellite number in a
    /// multi-system sky, the signal in a GPS one) until the menu chooses one.
    enum Mode { kModeAutomatic = 0, kModeSignal = 1, kModeNumber = 2 };
    /// Labels smaller than this many pixels would not read: 7 points on the design page. A
    /// small dial drawn large has its labels too.
    static constexpr int kSmallestLabel = 9;
    /// Satellite labels and the legend shrink down to this many pixels, no further.
    static constexpr int kSmallestLabelPixels = 10;
    /// A fed sky is drawn at most this often: satellites move a pixel in minutes, and a 10 Hz
    /// receiver's signals would otherwise lay the plot out and paint it ten times a second.
    static constexpr int kSkyRepaintMs = 1000;

    explicit CSatelliteView(QWidget *parent = nullptr);

    /// Stored at once; drawn at once or, fed faster than kSkyRepaintMs, at the end of it.
    void SetSatellites(const CSkyView &view);
    /// Empties the plot.
    void Reset() override;
    /// The mode as stored, automatic included.
    void SetModeQuiet(int mode) override;
    [[nodiscard]] const std::optional<CSkyView> &GetSatellites() const { return m_view; }
    /// "No Satellites in view", or "%d of %d sats in use".
    [[nodiscard]] QString GetValueText() const override;

    /// Point sizes of the grid's labels and of the satellites' labels (and the systems' legend)
    /// on the design page.
    [[nodiscard]] int GridLabelPoints() const;
    [[nodiscard]] int SatelliteLabelPoints() const;
    /// The grid's labels, and the satellites' and the legend, are large enough to read.
    [[nodiscard]] bool GridLabelsRead() const;
    [[nodiscard]] bool SatelliteLabelsRead() const;
    /// Whether the markers show satellite numbers now, the automatic mode resolved.
    [[nodiscard]] bool ShowsNumbers() const;

    /// A system's satellites are drawn; all are until the legend hides some. Not stored: a
    /// new run shows the whole sky.
    [[nodiscard]] bool IsSystemShown(GnssSystem system) const;
    void SetSystemShown(GnssSystem system, bool shown);
    /// The legend's entries, in the gauge's pixels, and their systems; empty while the legend
    /// is not drawn.
    [[nodiscard]] std::vector<CSkyBox> LegendBoxes() const;
    [[nodiscard]] std::vector<GnssSystem> LegendSystems() const;
    /// The markers as the last paint placed them (the shown satellites, in order).
    [[nodiscard]] const CSkyLayout &GetLayout() const { return m_layout; }
    /// The satellites drawn: those of the shown systems.
    [[nodiscard]] std::vector<CSkySatellite> ShownSatellites() const;

protected:
    void DrawBackground(QPainter &painter) override;
    void DrawAnalog(QPainter &painter) override;
    [[nodiscard]] int CheckedMode() const override;
    bool TapAt(const QPoint &position) override;

private:
    void DrawLegend(QPainter &painter, const std::vector<GnssSystem> &systems) const;
    /// The grid's type: the design's, but no larger than a ninth of the radius once drawn
    /// larger than designed.
    [[nodiscard]] QFont GridFont() const;
    /// Where the markers keep off the grid's labels.
    [[nodiscard]] std::vector<CSkyKeepOut> GridKeepOut() const;
    /// The legend's type: the satellites' labels', smaller where that keeps the entries off
    /// the dial, down to the smallest readable size.
    [[nodiscard]] QFont LegendFont() const;
    [[nodiscard]] std::vector<CSkyBox> LegendBoxesIn(const QFont &font) const;
    /// The markers' half size that a label of the smallest readable size still fits.
    [[nodiscard]] int SmallestLabelledHalf() const;
    /// The colours of every role as the plot is drawn now.
    [[nodiscard]] CSkyColours Colours() const;

    std::optional<CSkyView> m_view;
    std::array<bool, kGnssSystemCount> m_hidden{};
    CSkyLayout m_layout;
    bool m_layoutDirty = true;
    int m_layoutRadius = -1;
    int m_layoutMinimum = -1;
    int m_layoutGridPixels = -1;
    CRepaintPace m_pace{kSkyRepaintMs};
    QElapsedTimer m_paceClock;
    QTimer m_paceTimer;
};
