// The receiver engine: lines through the real reader thread and hand-over, replay pacing, and
// what a silent port costs.
#include "../tests/PtyPair.h"
#include "receiver/DataSource.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <string>
#include <sys/resource.h>
#include <thread>

namespace
{

std::string ReadDemo()
{
    std::ifstream in(VELORAN_DEMO_LOG, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string MakeLog(const std::string &name, const std::string &bytes, int copies)
{
    const std::string path = "/tmp/veloran-bench-" + name + ".nmea";
    std::ofstream out(path, std::ios::binary);
    for (int i = 0; i < copies; ++i)
        out << bytes;
    return path;
}

// Replays `path` and hands every line to a consumer on this thread; returns the line count.
long long Replay(const std::string &path, unsigned delay)
{
    long long lines = 0;
    bool ended = false;
    CDataSource source([&](std::string_view) { ++lines; }, [&](int) { ended = true; });
    source.SetReplayDelay(delay);
    std::string error;
    if (!source.OpenReplay(path, error))
        return -1;
    pollfd wake{source.GetWakeHandle(), POLLIN, 0};
    while (!ended) {
        ::poll(&wake, 1, -1);
        source.ProcessPending();
    }
    return lines;
}

double CpuSeconds()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec)
           + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

void BM_ReplayHandOver(benchmark::State &state)
{
    const std::string path = MakeLog("handover", ReadDemo(), 50);
    long long lines = 0;
    for (auto _ : state)
        lines += Replay(path, 0);
    state.SetItemsProcessed(lines);
}
BENCHMARK(BM_ReplayHandOver)->UseRealTime()->Unit(benchmark::kMillisecond);

// One epoch per second at 100 %: five epochs should take five seconds.
void BM_ReplayPace100Percent(benchmark::State &state)
{
    const std::string demo = ReadDemo();
    const std::size_t first = demo.find("$GPGGA");
    const std::size_t second = demo.find("$GPGGA", first + 1);
    const std::string path = MakeLog("pace", demo.substr(first, second - first), 5);
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        Replay(path, CDataSource::kDelay100Percent);
        state.counters["s_per_epoch"] =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / 5;
    }
}
BENCHMARK(BM_ReplayPace100Percent)->Iterations(1)->Unit(benchmark::kSecond);

// A receiver that sends nothing: the reader sleeps in poll and wakes once a second.
void BM_SilentPortCpu(benchmark::State &state)
{
    CPtyPair pty;
    for (auto _ : state) {
        long long lines = 0;
        CDataSource source([&](std::string_view) { ++lines; });
        std::string error;
        if (!source.OpenPort(pty.SlavePath(), 4800, error)) {
            state.SkipWithError(error.c_str());
            return;
        }
        const double cpu0 = CpuSeconds();
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        pollfd wake{source.GetWakeHandle(), POLLIN, 0};
        while (std::chrono::steady_clock::now() < end) {
            ::poll(&wake, 1, 100);
            source.ProcessPending();
        }
        state.counters["cpu_percent"] = (CpuSeconds() - cpu0) / 5.0 * 100.0;
        state.counters["timeout_lines"] = static_cast<double>(lines);
    }
}
BENCHMARK(BM_SilentPortCpu)->Iterations(1)->Unit(benchmark::kSecond);

} // namespace
