#include "receiver/ReplaySpeed.h"

#include <cmath>

std::size_t ReplaySpeedRung(unsigned delayMs)
{
    if (delayMs == 0)
        return kReplaySpeeds.size() - 1;
    // Nearest by speed, i.e. by the logarithm of the delay: 700 ms lies nearer 500 than 1000.
    std::size_t best = 0;
    double bestDistance = 1e9;
    for (std::size_t i = 0; i + 1 < kReplaySpeeds.size(); ++i) {
        const double d = std::fabs(std::log(static_cast<double>(kReplaySpeeds[i].delayMs))
                                   - std::log(static_cast<double>(delayMs)));
        if (d < bestDistance) {
            bestDistance = d;
            best = i;
        }
    }
    return best;
}

unsigned StepReplaySpeed(unsigned delayMs, int steps)
{
    const long rung = static_cast<long>(ReplaySpeedRung(delayMs)) + steps;
    const long last = static_cast<long>(kReplaySpeeds.size()) - 1;
    return kReplaySpeeds[static_cast<std::size_t>(rung < 0      ? 0
                                                  : rung > last ? last
                                                                : rung)]
        .delayMs;
}

std::string ReplaySpeedText(unsigned delayMs)
{
    for (const CReplaySpeed &speed : kReplaySpeeds)
        if (speed.delayMs == delayMs)
            return speed.percent == 0 ? std::string("Fastest")
                                      : std::to_string(speed.percent) + " %";
    return std::to_string(delayMs) + " ms";
}
