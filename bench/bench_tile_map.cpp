// The Map page on a ten-level MBTiles of a whole country (bench/make_bench_tiles.sh; the path in
// VELORAN_BENCH_MBTILES), 1024 × 768 offscreen: a frame composed again while panning and while
// zooming continuously once the tiles are cached, the process's memory after sweeping the
// country at the default cache limit, and the first complete paint after a jump to a place not
// seen before. The device pixel ratio is the platform's: run again with QT_SCALE_FACTOR=2 for 2×.
//
//   veloran_bench_tile_map --write-database DIR MBTILES   writes DIR's map database holding the
//                                                          MBTiles only (window_tile_follow_cpu.sh)
#include "QtBenchMain.h"
#include "maps/MapDatabase.h"
#include "maps/MapView.h"
#include "maps/TileSources.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr QSize kWindow(1024, 768);

std::string SourcePath()
{
    const char *path = std::getenv("VELORAN_BENCH_MBTILES");
    return path != nullptr ? path : "germany.mbtiles";
}

double ResidentMB()
{
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return static_cast<double>(resident) * 4096.0 / (1024.0 * 1024.0);
}

struct CTileBench {
    QTemporaryDir data;
    CMapView view;
};

CTileBench *s_bench = nullptr;

CTileBench *Bench(benchmark::State &state)
{
    if (s_bench != nullptr)
        return s_bench;
    const CTileSourceInfo info = DescribeTileSource(SourcePath());
    if (!info.ok) {
        state.SkipWithError(("no tile source: " + info.error
                             + " (make one with bench/make_bench_tiles.sh, name it in "
                               "VELORAN_BENCH_MBTILES)")
                                .c_str());
        return nullptr;
    }
    auto *bench = new CTileBench;
    WriteDatabaseFile(JoinDatabasePath(bench->data.path().toStdString(), kMapFileName),
                      {TileSourceMap(info)}, MapCodec());
    bench->view.resize(kWindow);
    bench->view.Start(bench->data.path(), true, nullptr);
    bench->view.GetModel().m_settings.trackPosition = false;
    s_bench = bench;
    return bench;
}

std::string WindowLabel(CMapView &view)
{
    return std::to_string(view.width()) + "x" + std::to_string(view.height()) + " at "
           + std::to_string(view.devicePixelRatioF()).substr(0, 3) + "x";
}

// Munich, in the map's pixels.
CMapPoint Munich(CMapView &view)
{
    CMapPoint pixel;
    view.GetModel().GetCurrentMap()->PositionToPixel(CGeoPosition(48.137, 11.575, 0.0), pixel);
    return pixel;
}

void Show(CMapView &view, const CMapPoint &centre, double zoom)
{
    CMapViewport &vp = view.GetModel().Viewport();
    vp.SetZoom(zoom);
    vp.SetCentre(centre);
    view.WaypointsChanged(); // the page's own "compose again"
}

void Counters(benchmark::State &state, CMapView &view)
{
    state.counters["cacheMB"] = static_cast<double>(view.GetTiles().GetBytes()) / (1024.0 * 1024.0);
    state.counters["scaledMB"] =
        static_cast<double>(view.GetTiles().GetScaledBytes()) / (1024.0 * 1024.0);
    state.counters["residentMB"] = ResidentMB();
    state.SetLabel(WindowLabel(view));
}

// Panning in 40-pixel steps around a ring at zoom 1 (the finest level as stored) or 3 (the next
// level shrunk), every tile read beforehand.
void BM_TilePanCached(benchmark::State &state)
{
    CTileBench *bench = Bench(state);
    if (bench == nullptr)
        return;
    CMapView &view = bench->view;
    const double zoom = static_cast<double>(state.range(0));
    const CMapPoint munich = Munich(view);
    std::vector<CMapPoint> ring;
    for (int i = 0; i < 64; ++i) {
        const double a = i * 2 * M_PI / 64;
        ring.push_back({munich.x + static_cast<int>(400 * zoom * std::cos(a)),
                        munich.y + static_cast<int>(400 * zoom * std::sin(a))});
    }
    for (const CMapPoint &p : ring) {
        Show(view, p, zoom);
        view.WaitForTiles(10000);
    }
    std::size_t i = 0;
    for (auto _ : state) {
        Show(view, ring[i++ % ring.size()], zoom);
        const QImage image = view.Render();
        benchmark::DoNotOptimize(image.constBits());
    }
    Counters(state, view);
}
BENCHMARK(BM_TilePanCached)->ArgName("zoom")->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond);

// Zooming continuously from half a map pixel a device pixel out to the whole country (every
// level) and back, in steps of 2^(1/4), every tile read beforehand.
void BM_TileZoomCached(benchmark::State &state)
{
    CTileBench *bench = Bench(state);
    if (bench == nullptr)
        return;
    CMapView &view = bench->view;
    const CMapPoint munich = Munich(view);
    CMapViewport &vp = view.GetModel().Viewport();
    vp.SetZoom(1e9);
    const double largest = vp.GetZoom(); // the whole country in view
    std::vector<double> zooms;
    for (double z = 0.5; z <= largest; z *= std::pow(2.0, 0.25))
        zooms.push_back(z);
    for (std::size_t k = zooms.size(); k-- > 1;)
        zooms.push_back(zooms[k - 1]);
    for (double z : zooms) {
        Show(view, munich, z);
        view.WaitForTiles(10000);
    }
    std::size_t i = 0;
    for (auto _ : state) {
        Show(view, munich, zooms[i++ % zooms.size()]);
        const QImage image = view.Render();
        benchmark::DoNotOptimize(image.constBits());
    }
    Counters(state, view);
}
BENCHMARK(BM_TileZoomCached)->Unit(benchmark::kMillisecond);

// From a place never shown to the frame with every tile in view: the reads, the decodes on the
// workers and the paints as they arrive. The places lie on a grid across the country at zoom 1,
// so each iteration reads tiles not in memory (about 20, or 80 at 2×).
void BM_TileFirstPaintAfterJump(benchmark::State &state)
{
    CTileBench *bench = Bench(state);
    if (bench == nullptr)
        return;
    CMapView &view = bench->view;
    const CMapViewport &vp = view.GetModel().Viewport();
    const int stepX = vp.GetBitmapWidth() / 9;
    const int stepY = vp.GetBitmapHeight() / 9;
    int place = 0;
    bool complete = true;
    for (auto _ : state) {
        const int n = place++ % 64;
        const CMapPoint centre{stepX / 2 + (n % 8) * stepX + (place / 64) * 1500,
                               stepY / 2 + (n / 8) * stepY + (place / 64) * 1500};
        QElapsedTimer timer;
        timer.start();
        Show(view, centre, 1.0);
        complete = view.WaitForTiles(10000) && complete;
        state.SetIterationTime(static_cast<double>(timer.nsecsElapsed()) * 1e-9);
    }
    if (!complete)
        state.SkipWithError("tiles still missing after 10 s");
    Counters(state, view);
}
BENCHMARK(BM_TileFirstPaintAfterJump)
    ->UseManualTime()
    ->Iterations(48)
    ->Unit(benchmark::kMillisecond);

// The process's memory after showing 300 places across the country at zooms 1 to 8: the cache
// stays at its limit (256 MB), the rest is the program's own.
void BM_TileMemorySweep(benchmark::State &state)
{
    CTileBench *bench = Bench(state);
    if (bench == nullptr)
        return;
    CMapView &view = bench->view;
    const CMapViewport &vp = view.GetModel().Viewport();
    double peak = 0.0;
    for (auto _ : state) {
        for (int n = 0; n < 300; ++n) {
            const double zoom = 1 << (n % 4);
            Show(view,
                 {static_cast<int>((n * 7919L) % vp.GetBitmapWidth()),
                  static_cast<int>((n * 104729L) % vp.GetBitmapHeight())},
                 zoom);
            view.WaitForTiles(10000);
            peak = std::max(peak, ResidentMB());
        }
    }
    Counters(state, view);
    state.counters["peakResidentMB"] = peak;
}
BENCHMARK(BM_TileMemorySweep)->Iterations(1)->Unit(benchmark::kMillisecond);

int WriteDatabase(const char *directory, const char *source)
{
    const CTileSourceInfo info = DescribeTileSource(source);
    if (!info.ok) {
        std::fprintf(stderr, "%s: %s\n", source, info.error.c_str());
        return 1;
    }
    return WriteDatabaseFile(JoinDatabasePath(directory, kMapFileName), {TileSourceMap(info)},
                             MapCodec())
                   == 0
               ? 0
               : 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--write-database") == 0)
        return WriteDatabase(argv[2], argv[3]);
    return RunQtBenchmarks(argc, argv, [] {
        delete s_bench;
        s_bench = nullptr;
    });
}
