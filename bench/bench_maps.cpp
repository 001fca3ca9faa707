// Load Track on a recorded log of 1.4 million lines (the demo drive over and over, about 84 MB),
// as the Map page does it, with and without colour-coded reception; and the map database's
// format on a large file (5,000 maps of 10 pairs).
#include "maps/MapDatabase.h"
#include "maps/TrackLoader.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

namespace
{

constexpr std::size_t kLogLines = 1404254;
constexpr std::size_t kMaps = 5000;
constexpr std::size_t kPairsPerMap = 10;

// The demo drive's area, about 1.5 m per pixel.
CMapInfo DemoMap()
{
    CMapInfo map;
    map.m_width = 10000;
    map.m_height = 8000;
    map.m_pairs.resize(2);
    map.m_pairs[0].m_position = CGeoPosition(48.2, 11.5, 0.0);
    map.m_pairs[1].m_point = {10000, 8000};
    map.m_pairs[1].m_position = CGeoPosition(48.1, 11.7, 0.0);
    map.Calibrate();
    return map;
}

// A log file that lives as long as the benchmark process.
class CLargeLog
{
public:
    CLargeLog()
    {
        std::ifstream in(VELORAN_DEMO_LOG, std::ios::binary);
        const std::string demo((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
        std::string lines; // the demo without its comment header
        for (std::size_t at = 0; at < demo.size();) {
            std::size_t end = demo.find('\n', at);
            end = end == std::string::npos ? demo.size() : end + 1;
            if (demo[at] == '$')
                lines.append(demo, at, end - at);
            at = end;
        }
        const char *tmp = std::getenv("TMPDIR");
        m_path = std::string(tmp != nullptr ? tmp : "/tmp") + "/veloran-bench-track-XXXXXX";
        const int fd = ::mkstemp(m_path.data());
        if (fd < 0 || lines.empty()) {
            m_path.clear();
            return;
        }
        ::close(fd);
        std::ofstream out(m_path, std::ios::binary);
        const std::size_t perCopy =
            static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n'));
        std::size_t written = 0;
        for (; written + perCopy <= kLogLines; written += perCopy)
            out << lines;
        for (std::size_t at = 0; written < kLogLines; ++written) {
            const std::size_t end = lines.find('\n', at) + 1;
            out.write(lines.data() + at, static_cast<std::streamsize>(end - at));
            at = end;
        }
        m_bytes = static_cast<std::size_t>(out.tellp());
    }
    ~CLargeLog()
    {
        if (!m_path.empty())
            std::remove(m_path.c_str());
    }
    CLargeLog(const CLargeLog &) = delete;
    CLargeLog &operator=(const CLargeLog &) = delete;

    std::string m_path;
    std::size_t m_bytes = 0;
};

const CLargeLog &LargeLog()
{
    static const CLargeLog log;
    return log;
}

void BM_LoadTrackFile(benchmark::State &state)
{
    const CLargeLog &log = LargeLog();
    if (log.m_path.empty()) {
        state.SkipWithError("cannot write the log");
        return;
    }
    const CMapInfo map = DemoMap();
    const bool reception = state.range(0) != 0;
    std::vector<CTrackPoint> points;
    for (auto _ : state) {
        if (LoadTrackFile(log.m_path, map, reception, {255, 255, 0}, points) != 0) {
            state.SkipWithError("load failed");
            return;
        }
        benchmark::DoNotOptimize(points.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kLogLines));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(log.m_bytes));
    state.counters["points"] = static_cast<double>(points.size());
}
BENCHMARK(BM_LoadTrackFile)
    ->ArgName("reception")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

CMapList MakeDatabase()
{
    CMapList maps(kMaps);
    for (std::size_t i = 0; i < kMaps; ++i) {
        CMapInfo &map = maps[i];
        map.m_name = "Wanderkarte Blatt " + std::to_string(i);
        map.m_file = "/home/user/Karten/Alpen/blatt-" + std::to_string(i) + ".png";
        map.m_width = 4000;
        map.m_height = 3000;
        for (std::size_t k = 0; k < kPairsPerMap; ++k) {
            CPositionPair pair;
            pair.m_name = "Gipfelkreuz " + std::to_string(k);
            pair.m_point = {static_cast<std::int32_t>(k * 400), static_cast<std::int32_t>(k * 300)};
            pair.m_position = CGeoPosition(47.0 - k * 0.01 - i * 1e-4, 10.0 + k * 0.02, 0.0);
            map.m_pairs.push_back(pair);
        }
        map.Calibrate();
    }
    return maps;
}

void BM_EncodeMaps(benchmark::State &state)
{
    const CMapList maps = MakeDatabase();
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::string encoded = EncodeMaps(maps);
        bytes = encoded.size();
        benchmark::DoNotOptimize(encoded.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMaps));
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodeMaps)->Unit(benchmark::kMillisecond);

void BM_DecodeMaps(benchmark::State &state)
{
    const std::string bytes = EncodeMaps(MakeDatabase());
    for (auto _ : state) {
        CMapList maps;
        if (!DecodeMaps(bytes, maps) || maps.size() != kMaps) {
            state.SkipWithError("decode failed");
            return;
        }
        benchmark::DoNotOptimize(maps.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMaps));
    state.counters["bytes"] = static_cast<double>(bytes.size());
}
BENCHMARK(BM_DecodeMaps)->Unit(benchmark::kMillisecond);

} // namespace
