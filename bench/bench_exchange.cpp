// GPX import and export of a 10,000-waypoint file (the import's target: under 100 ms).
#include "base/Numbers.h"
#include "waypoints/WaypointExchange.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace
{

constexpr int kWaypoints = 10000;

CWaypointList MakeWaypoints()
{
    CWaypointList list(kWaypoints);
    for (int i = 0; i < kWaypoints; ++i) {
        CWaypoint &w = list[static_cast<std::size_t>(i)];
        w.m_name = FormatC("GC%05X Caf\xC3\xA9 & Mill #%d", i * 7919, i);
        w.m_position = CGeoPosition(-60.0 + i * 0.0123457, -170.0 + i * 0.0345679, 0.0);
        if (i % 2 == 0)
            w.m_description = "Traditional Cache <small> by someone";
    }
    return list;
}

void BM_ImportText(benchmark::State &state)
{
    const std::string text = ExportGPX(MakeWaypoints());
    for (auto _ : state) {
        const CImportResult result = ImportWaypointsFromText(text, WaypointFileType::GPX);
        if (result.waypoints.size() != kWaypoints)
            state.SkipWithError("wrong count");
        benchmark::DoNotOptimize(result.waypoints.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
    state.SetItemsProcessed(state.iterations() * kWaypoints);
}
BENCHMARK(BM_ImportText)->Unit(benchmark::kMillisecond);

// As the window does: read from a file.
void BM_ImportFile(benchmark::State &state)
{
    char path[] = "/tmp/veloran-bench-XXXXXX.gpx";
    const int fd = ::mkstemps(path, 4);
    const std::string text = ExportGPX(MakeWaypoints());
    if (fd < 0 || ::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        state.SkipWithError("cannot write the sample file");
        return;
    }
    ::close(fd);
    for (auto _ : state) {
        const CImportResult result = ImportWaypoints(path, WaypointFileType::GPX);
        benchmark::DoNotOptimize(result.waypoints.data());
    }
    ::unlink(path);
    state.SetItemsProcessed(state.iterations() * kWaypoints);
}
BENCHMARK(BM_ImportFile)->Unit(benchmark::kMillisecond);

void BM_Export(benchmark::State &state)
{
    const CWaypointList list = MakeWaypoints();
    for (auto _ : state)
        benchmark::DoNotOptimize(ExportGPX(list));
    state.SetItemsProcessed(state.iterations() * kWaypoints);
}
BENCHMARK(BM_Export)->Unit(benchmark::kMillisecond);

} // namespace
