// The window's share of each received line: the data-line handler with the List and Data pages
// live (painting excluded), and painting the List page.
#include "app/GPSSheet.h"
#include "app/MainFrame.h"
#include "app/MessageBox.h"
#include "app/SettingsKey.h"
#include "nmea/GPSData.h"

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
    state.SetLabel(state.range(0) == kPageList ? "List page shown" : "Data page shown");
}
BENCHMARK(BM_DataLineHandler)->Arg(kPageList)->Arg(kPageData);

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

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir config;
    CSettingsKey::SetConfigDirectory(config.path().toStdString());
    SetMessageSink([](const CMessage &) {});
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
