// Loading and saving a large waypoint database (70,000 waypoints, a few MB) as the main window
// does at start and after every edit: read and decode; read the old file, encode, replace it
// atomically with its fsyncs.
#include "waypoints/WaypointDatabase.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace
{

constexpr std::size_t kWaypoints = 70000;

CWaypointList MakeDatabase()
{
    const char *const places[] = {"Gasthof Zur Post",   "Parkplatz Wanderweg",  "Aussichtspunkt",
                                  "Tankstelle",         "Brücke über die Aare", "Col du Galibier",
                                  "Zürich Hauptbahnhof"};
    CWaypointList list(kWaypoints);
    for (std::size_t i = 0; i < kWaypoints; ++i) {
        CWaypoint &w = list[i];
        w.m_name = std::string(places[i % std::size(places)]) + " " + std::to_string(i);
        w.m_position = CGeoPosition(45.0 + (i % 1000) * 0.004, 5.0 + (i / 1000) * 0.08, 0.0);
        w.m_radius = 1.0 + i % 10;
        w.m_description = i % 4 == 0 ? std::string()
                                     : "Trinkwasser, Bänke, Einkehr möglich; geöffnet Mai bis "
                                       "Oktober, Nr. "
                                           + std::to_string(i);
        w.m_type = static_cast<std::int32_t>(i % 6);
        w.m_action = static_cast<std::int32_t>(i % 3);
    }
    return list;
}

class CBenchDir
{
public:
    CBenchDir()
    {
        const char *tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp != nullptr ? tmp : "/tmp") + "/veloran-bench-XXXXXX";
        if (::mkdtemp(pattern.data()) != nullptr)
            m_path = pattern;
    }
    ~CBenchDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CBenchDir(const CBenchDir &) = delete;
    CBenchDir &operator=(const CBenchDir &) = delete;

    std::string m_path;
};

void BM_LoadDatabase(benchmark::State &state)
{
    CBenchDir dir;
    const CWaypointList list = MakeDatabase();
    if (dir.m_path.empty()
        || WriteDatabaseFile(JoinDatabasePath(dir.m_path, kWaypointFileName), list, WaypointCodec())
               != 0) {
        state.SkipWithError("cannot write the database");
        return;
    }
    for (auto _ : state) {
        CWaypointLoad load = LoadWaypointDatabase(dir.m_path);
        if (load.damaged || load.waypoints.size() != kWaypoints) {
            state.SkipWithError("database did not load");
            return;
        }
        benchmark::DoNotOptimize(load.waypoints.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kWaypoints));
    state.counters["bytes"] = static_cast<double>(EncodeWaypoints(list).size());
}
BENCHMARK(BM_LoadDatabase)->Unit(benchmark::kMillisecond);

void BM_SaveDatabase(benchmark::State &state)
{
    CBenchDir dir;
    const CWaypointList list = MakeDatabase();
    for (auto _ : state) {
        if (WriteDatabaseFile(JoinDatabasePath(dir.m_path, kWaypointFileName), list,
                              WaypointCodec())
            != 0) {
            state.SkipWithError("save failed");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kWaypoints));
}
BENCHMARK(BM_SaveDatabase)->Unit(benchmark::kMillisecond)->UseRealTime();

// The format's share, without the disk.
void BM_Encode(benchmark::State &state)
{
    const CWaypointList list = MakeDatabase();
    for (auto _ : state)
        benchmark::DoNotOptimize(EncodeWaypoints(list));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kWaypoints));
}
BENCHMARK(BM_Encode)->Unit(benchmark::kMillisecond);

void BM_Decode(benchmark::State &state)
{
    const std::string bytes = EncodeWaypoints(MakeDatabase());
    for (auto _ : state) {
        CWaypointList list;
        benchmark::DoNotOptimize(DecodeWaypoints(bytes, list));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kWaypoints));
}
BENCHMARK(BM_Decode)->Unit(benchmark::kMillisecond);

} // namespace
