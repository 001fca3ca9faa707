#include "SessionSummary.h"

#include "Cli.h"
#include "base/Numbers.h"
#include "receiver/ReceiverSession.h"

#include <cstdio>
#include <cstring>
#include <string>

double SecondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void PrintSessionSummary(const CReceiverSession &session, double seconds, bool json)
{
    const auto count = [&](int type) {
        return static_cast<unsigned long long>(session.GetCount(type));
    };
    const auto lines = static_cast<unsigned long long>(session.GetLines());
    const double rate = seconds > 0 ? static_cast<double>(lines) / seconds : 0.0;
    if (json) {
        std::string out = "{";
        for (int t = 0; t < kSentenceTypeCount; ++t)
            out +=
                "\"" + std::string(SentenceTypeName(t)) + "\": " + std::to_string(count(t)) + ", ";
        out += "\"refused\": " + std::to_string(count(kSentenceNone));
        out += ", \"lines\": " + std::to_string(lines);
        out += FormatC(", \"seconds\": %.3f}\n", seconds);
        std::fputs(out.c_str(), stdout);
        return;
    }
    for (int t = 0; t < kSentenceTypeCount; ++t)
        std::printf("%-8s %llu\n", SentenceTypeName(t), count(t));
    std::printf("%-8s %llu\n", "refused", count(kSentenceNone));
    std::printf("%-8s %llu\n", "lines", lines);
    std::printf("%-8s %.3f\n", "seconds", seconds);
    std::printf("%-8s %.0f\n", "lines/s", rate);
}

int EndOfRunStatus(const char *command, int status, const std::string &record,
                   const std::string &writeError, int signal)
{
    if (!writeError.empty()) {
        std::fprintf(stderr, "veloran-cli: recording to '%s' stopped: %s\n", record.c_str(),
                     writeError.c_str());
        status = kExitFile;
    }
    if (signal != 0) {
        std::fprintf(stderr, "veloran-cli: %s ended by %s\n", command, sigabbrev_np(signal));
        status = kExitSignal + signal;
    }
    return status;
}
