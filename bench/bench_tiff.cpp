// Tiled TIFF reads on an 8000 × 8000 GeoTIFF made by GDAL from the factory world image: a full
// tile, an averaged tile of each level above it, and the one-time overview of a file without
// overviews; the peak resident memory is reported with each (VmHWM).
#include "maps/GeoTiff.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace
{

std::string g_dir;

std::string File(const char *name)
{
    return g_dir + "/" + name;
}

double PeakMegabytes()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0)
            return std::atof(line.c_str() + 6) / 1024.0;
    return 0.0;
}

void ReadTiles(benchmark::State &state)
{
    std::string error;
    const auto pyramid = OpenTiffPyramid(File("large.tif"), error);
    if (!pyramid) {
        state.SkipWithError(error.c_str());
        return;
    }
    const auto level = static_cast<std::size_t>(state.range(0));
    const CTileLevel &grid = pyramid->GetLevels().at(level);
    int i = 0;
    for (auto _ : state) {
        CTileData tile;
        const int column = i % (grid.lastColumn + 1), row = (i / 7) % (grid.lastRow + 1);
        ++i;
        if (pyramid->ReadTile(level, column, row, tile, error) != TileRead::Ok)
            state.SkipWithError(error.c_str());
        benchmark::DoNotOptimize(tile.argb.data());
    }
    state.counters["scale"] = grid.scale;
    state.counters["peak_MB"] = PeakMegabytes();
}
// Levels 0 (the file's tiles), 1 to 3 (averaged from 4, 16 and 64 of them).
BENCHMARK(ReadTiles)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);

// Open and the first tile of the coarsest level: streams every tile once.
void FirstCoarseTile(benchmark::State &state)
{
    for (auto _ : state) {
        std::string error;
        const auto pyramid = OpenTiffPyramid(File("large.tif"), error);
        CTileData tile;
        if (!pyramid
            || pyramid->ReadTile(pyramid->GetLevels().size() - 1, 0, 0, tile, error)
                   != TileRead::Ok)
            state.SkipWithError(error.c_str());
    }
    state.counters["peak_MB"] = PeakMegabytes();
}
BENCHMARK(FirstCoarseTile)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    char dir[] = "/tmp/veloran-bench-tiff-XXXXXX";
    if (::mkdtemp(dir) == nullptr)
        return 1;
    g_dir = dir;
    const std::string command =
        "cd " + g_dir
        + " && gdal_translate -q -a_srs EPSG:4326 -a_ullr -180 90 180 -90 " VELORAN_WORLD_IMAGE
          " world.tif && gdalwarp -q -te 0 0 60 60 -ts 8000 8000 -r near "
          "-co TILED=YES -co COMPRESS=DEFLATE world.tif large.tif";
    int status = std::system(command.c_str());
    if (status == 0) {
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
    }
    std::error_code ignored;
    std::filesystem::remove_all(g_dir, ignored);
    return status == 0 ? 0 : 1;
}
