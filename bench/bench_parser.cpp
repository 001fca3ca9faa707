// Parser throughput on the demo drive (all five sentence types, loss of fix, refused comments),
// read GPS only (argument 0) and with all satellite systems (1).
#include "nmea/LineAssembler.h"
#include "nmea/NMEAParser.h"

#include <benchmark/benchmark.h>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace
{

std::string ReadDemo()
{
    std::ifstream in(VELORAN_DEMO_LOG, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

GnssMode ModeOf(const benchmark::State &state)
{
    return state.range(0) != 0 ? GnssMode::AllSystems : GnssMode::GpsOnly;
}

std::vector<std::string> DemoLines(GnssMode mode)
{
    std::vector<std::string> lines;
    CLineAssembler assembler(mode);
    assembler.Feed(ReadDemo(), [&](std::string_view line) { lines.emplace_back(line); });
    return lines;
}

void BM_Parse(benchmark::State &state)
{
    const std::vector<std::string> lines = DemoLines(ModeOf(state));
    if (lines.empty()) {
        state.SkipWithError("demo log missing");
        return;
    }
    CNMEAParser parser(ModeOf(state));
    for (auto _ : state) {
        for (const std::string &line : lines)
            benchmark::DoNotOptimize(parser.Parse(line));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(lines.size()));
}
BENCHMARK(BM_Parse)->Arg(0)->Arg(1);

void BM_AssembleAndParse(benchmark::State &state)
{
    const std::string bytes = ReadDemo();
    std::int64_t lines = 0;
    CNMEAParser parser(ModeOf(state));
    for (auto _ : state) {
        CLineAssembler assembler(ModeOf(state));
        assembler.Feed(bytes, [&](std::string_view line) {
            benchmark::DoNotOptimize(parser.Parse(line));
            ++lines;
        });
    }
    state.SetItemsProcessed(lines);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(BM_AssembleAndParse)->Arg(0)->Arg(1);

} // namespace

BENCHMARK_MAIN();
