// The window's share of each received line: the data-line handler with the Dashboard, List and
// Data pages live (painting excluded); painting the List page and one gauge.
#include "QtBenchMain.h"
#include "app/GPSSheet.h"
#include "app/MainFrame.h"
#include "dashboard/SatelliteView.h"
#include "dashboard/Speedometer.h"
#include "nmea/GPSData.h"
#include "settings/SettingsKey.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace
{

std::vector<std::string> DemoLines()
{
    std::ifstream in(VELORAN_DEMO_LOG, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line + "\n");
    return lines;
}

void BM_DataLineHandler(benchmark::State &state)
{
    const std::vector<std::string> lines = DemoLines();
    CMainFrame frame;
    frame.GetSheet()->setCurrentIndex(static_cast<int>(state.range(0)));
    frame.show();
    QCoreApplication::processEvents();
    std::size_t i = 0;
    for (auto _ : state) {
        frame.HandleLine(lines[i]);
        if (++i == lines.size())
            i = 0;
    }
    state.SetItemsProcessed(state.iterations());
    static const char *const kLabels[] = {"Dashboard shown", "Map page shown", "List page shown",
                                          "Data page shown"};
    state.SetLabel(kLabels[state.range(0)]);
}
BENCHMARK(BM_DataLineHandler)->Arg(kPageDashboard)->Arg(kPageList)->Arg(kPageData);

void BM_PaintListPage(benchmark::State &state)
{
    CMainFrame frame;
    for (const std::string &line : DemoLines())
        frame.HandleLine(line);
    const qreal ratio = static_cast<qreal>(state.range(0));
    QImage image(QSize(480, 560) * ratio, QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    for (auto _ : state) {
        QPainter painter(&image);
        frame.GetListPage()->Render(painter, QSize(480, 560));
    }
    state.SetLabel(ratio > 1 ? "480x560 at 2x" : "480x560");
}
BENCHMARK(BM_PaintListPage)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

// One paint of a gauge whose face is cached: the speedometer's needle, a sky of twelve GPS
// satellites, or a sky of forty of five systems (in pairs on one spot) handed over anew before
// each paint, as a 10 Hz receiver does, at `width` pixels and pixel ratio `ratio`.
void BM_PaintGauge(benchmark::State &state)
{
    const int width = static_cast<int>(state.range(0));
    const qreal ratio = static_cast<qreal>(state.range(1));
    const bool sky = state.range(2) != 0;
    const bool forty = state.range(2) == 2;
    CSpeedometer speedometer;
    speedometer.SetDigital(false);
    speedometer.SetValue(57.3);
    CSatelliteView satellites;
    CSkyView view{9, 12, {}, {}};
    if (forty) {
        view = {20, 40, {}, {}};
        for (int i = 0; i < 40; ++i)
            view.satellites.push_back({i + 1, 5 + 4 * (i / 2), 37 * (i / 2) % 360, 20 + i,
                                       i % 2 == 0, static_cast<GnssSystem>(i % 5)});
    } else {
        for (int i = 0; i < 12; ++i)
            view.satellites.push_back(
                {i + 1, 10 + 7 * i, 30 * i, 20 + 2 * i, i < 9, GnssSystem::GPS});
    }
    satellites.SetSatellites(view);
    CGauge &gauge = sky ? static_cast<CGauge &>(satellites) : speedometer;
    gauge.resize(width, width);
    QImage image(QSize(width, width) * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    {
        QPainter first(&image);
        gauge.Render(first); // builds the face
    }
    for (auto _ : state) {
        if (forty)
            satellites.SetSatellites(view);
        QPainter painter(&image);
        gauge.Render(painter);
    }
    state.SetLabel(QStringLiteral("%1 %2 px at %3x")
                       .arg(forty ? QStringLiteral("sky of 40")
                            : sky ? QStringLiteral("sky view")
                                  : QStringLiteral("speedometer"))
                       .arg(width)
                       .arg(ratio)
                       .toStdString());
}
BENCHMARK(BM_PaintGauge)
    ->Args({160, 1, 0})
    ->Args({320, 2, 0})
    ->Args({160, 1, 1})
    ->Args({320, 2, 1})
    ->Args({160, 1, 2})
    ->Args({320, 2, 2})
    ->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    return RunQtBenchmarks(argc, argv);
}
