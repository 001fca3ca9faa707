#pragma once

#include "receiver/DataSource.h"

#include <chrono>
#include <functional>
#include <poll.h>
#include <string>
#include <string_view>
#include <vector>

/// The consumer's side of a data source: the test thread plays the window's event loop.
struct CConsumerLoop {
    using Clock = std::chrono::steady_clock;

    CConsumerLoop()
    {
        source.SetStatusHandler(
            [this](const CSourceStatus &status) { statuses.push_back(status); });
    }

    /// Handles what the reader hands over until `done` or the time is up.
    bool PumpUntil(const std::function<bool()> &done, std::chrono::milliseconds limit)
    {
        pollfd wake{source.GetWakeHandle(), POLLIN, 0};
        for (const auto deadline = Clock::now() + limit; !done(); source.ProcessPending()) {
            if (Clock::now() >= deadline)
                return false;
            ::poll(&wake, 1, 50);
        }
        return true;
    }
    bool PumpLines(std::size_t n, std::chrono::milliseconds limit = std::chrono::seconds(5))
    {
        return PumpUntil([&] { return lines.size() >= n; }, limit);
    }

    std::vector<std::string> lines;
    std::vector<CSourceStatus> statuses;
    std::vector<Clock::time_point> times;
    bool closed = false;
    int endError = -1;                            // as the source reported it
    std::function<void(std::string_view)> onLine; // besides taking the line down
    CDataSource source{[this](std::string_view line) {
                           lines.emplace_back(line);
                           times.push_back(Clock::now());
                           if (onLine)
                               onLine(line);
                       },
                       [this](int errorCode) {
                           closed = true;
                           endError = errorCode;
                       }}; // last: it calls back into the members above
};
