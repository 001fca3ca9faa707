#include "Cli.h"
#include "receiver/DataSource.h"
#include "receiver/LineConsumer.h"

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <string>

namespace
{

constexpr const char *kReplayHelp =
    "usage: veloran-cli replay FILE [--delay MS] [--record OUT] [--profile full|moderate|low]\n"
    "                          [--summary]\n"
    "\n"
    "Replays an NMEA log through the receiver engine: the reader thread cuts it into lines and\n"
    "hands them over to the parser and the recorder, as the window does with a receiver.\n"
    "\n"
    "  --delay MS   pause before each line with 'G' at index 4 (the GGA of every epoch);\n"
    "               1000 is real time, 0 (the default) as fast as possible\n"
    "  --record OUT write the lines the recording rules keep to OUT (created or truncated);\n"
    "               the rules are every sentence and every other line unless --profile\n"
    "  --profile P  recording rates of the profile: full, moderate or low\n"
    "  --summary    print the count per sentence type, lines and lines per second\n";

bool ParseUnsigned(std::string_view text, unsigned &value)
{
    const char *end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return !text.empty() && ec == std::errc() && ptr == end;
}

} // namespace

int RunReplay(const std::vector<std::string_view> &args)
{
    std::string file;
    std::string record;
    unsigned delay = 0;
    bool summary = false;
    int profile = -1;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string_view a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (IsHelp(a)) {
            std::fputs(kReplayHelp, stdout);
            return kExitOk;
        }
        if (a == "--delay") {
            if (!hasValue || !ParseUnsigned(args[++i], delay))
                return UsageError("replay: --delay needs a number of milliseconds");
        } else if (a == "--record") {
            if (!hasValue)
                return UsageError("replay: --record needs a file name");
            record = std::string(args[++i]);
        } else if (a == "--profile") {
            const std::string_view p = hasValue ? args[++i] : std::string_view();
            if (p == "full")
                profile = kProfileFull;
            else if (p == "moderate")
                profile = kProfileModerate;
            else if (p == "low")
                profile = kProfileLow;
            else
                return UsageError("replay: --profile needs full, moderate or low");
        } else if (a == "--summary") {
            summary = true;
        } else if (a.size() > 1 && a.front() == '-') {
            return UsageError("replay: unknown option '" + std::string(a) + "'");
        } else if (!file.empty()) {
            return UsageError("replay: more than one FILE given");
        } else {
            file = std::string(a);
        }
    }
    if (file.empty())
        return UsageError("replay: missing FILE");

    CLineConsumer consumer;
    if (profile >= 0)
        consumer.m_rules.ApplyProfile(static_cast<RecordingProfile>(profile));
    if (!record.empty() && !consumer.m_log.Create(record)) {
        std::fprintf(stderr, "veloran-cli: cannot create '%s': %s\n", record.c_str(),
                     consumer.m_log.GetErrorText().c_str());
        return kExitFile;
    }
    std::string writeError;
    consumer.m_log.SetFailureHandler([&](const std::string &error) { writeError = error; });

    bool ended = false;
    CDataSource source([&](std::string_view line) { consumer.HandleLine(line); },
                       [&] { ended = true; });
    source.SetBatchHandler([&] { consumer.EndOfBatch(); });
    source.SetReplayDelay(delay);
    const auto started = std::chrono::steady_clock::now();
    std::string error;
    if (!source.OpenReplay(file, error)) {
        std::fprintf(stderr, "veloran-cli: cannot open '%s': %s\n", file.c_str(), error.c_str());
        return kExitFile;
    }
    pollfd wake{source.GetWakeHandle(), POLLIN, 0};
    while (!ended) {
        if (::poll(&wake, 1, -1) < 0 && errno != EINTR)
            break;
        source.ProcessPending();
    }
    consumer.m_log.Close();

    if (summary) {
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        for (int t = 0; t < kSentenceTypeCount; ++t)
            std::printf("%-8s %llu\n", SentenceTypeName(t),
                        static_cast<unsigned long long>(consumer.GetCount(t)));
        std::printf("%-8s %llu\n", "refused",
                    static_cast<unsigned long long>(consumer.GetCount(kSentenceNone)));
        std::printf("%-8s %llu\n", "lines", static_cast<unsigned long long>(consumer.GetLines()));
        std::printf("%-8s %.3f\n", "seconds", seconds);
        std::printf("%-8s %.0f\n", "lines/s", seconds > 0 ? consumer.GetLines() / seconds : 0.0);
    }
    if (!writeError.empty()) {
        std::fprintf(stderr, "veloran-cli: recording to '%s' stopped: %s\n", record.c_str(),
                     writeError.c_str());
        return kExitFile;
    }
    return kExitOk;
}
