#include "receiver/BaudRateHunt.h"

#include "receiver/HuntPort.h"

#include <cerrno>
#include <poll.h>
#include <string>

namespace
{

using Clock = CHuntPort::Clock;

// Far more than two sentences or a frame need; at 921600 baud the window brings 138 KB of noise.
constexpr std::size_t kEnoughBytes = 64 * 1024;

// Waits until `deadline`; false when the stop event came first.
bool Pause(int stopFd, Clock::time_point deadline)
{
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return true;
        pollfd stop{stopFd, POLLIN, 0};
        if (::poll(&stop, stopFd >= 0 ? 1 : 0, static_cast<int>(left.count())) > 0)
            return false;
    }
}

bool IsStopped(int stopFd)
{
    pollfd stop{stopFd, POLLIN, 0};
    return stopFd >= 0 && ::poll(&stop, 1, 0) > 0;
}

} // namespace

CHuntResult HuntBaudRate(CHuntPort &port, CBaudHunt &hunt, int stopFd,
                         const std::function<void(int speed)> &progress, const CHuntTiming &timing)
{
    CHuntResult result;
    const auto finish = [&](HuntEnd end) {
        result.end = end;
        result.tries = hunt.GetTries();
        return result;
    };
    int refusedError = 0;
    std::string heard;
    while (hunt.GetState() == CBaudHunt::State::Hunting) {
        if (IsStopped(stopFd))
            return finish(HuntEnd::Stopped);
        const int speed = hunt.GetSpeed();
        if (progress)
            progress(speed);
        if (!port.SetSpeed(speed)) {
            refusedError = errno;
            hunt.Skip();
            continue;
        }
        port.Flush();
        if (!Pause(stopFd, Clock::now() + timing.settle))
            return finish(HuntEnd::Stopped);
        port.Flush();

        heard.clear();
        std::size_t judged = 0;
        const Clock::time_point deadline = Clock::now() + timing.listen;
        for (;;) {
            const CHuntPort::Wait wait = port.Read(heard, deadline, stopFd);
            if (wait == CHuntPort::Wait::Stopped)
                return finish(HuntEnd::Stopped);
            if (wait == CHuntPort::Wait::Failed) {
                result.errorNumber = errno;
                return finish(HuntEnd::PortFailed);
            }
            if (wait == CHuntPort::Wait::TimedOut || heard.size() >= kEnoughBytes)
                break;
            // Judged again each time the bytes have doubled: a few looks at slow speeds, where
            // NMEA should end the wait early, and linear work at fast ones.
            if (heard.size() >= 2 * judged) {
                judged = heard.size();
                if (ClassifyReceiverBytes(heard) == StreamKind::Nmea)
                    break;
            }
        }
        hunt.Report(ClassifyReceiverBytes(heard));
    }
    if (hunt.GetState() == CBaudHunt::State::Locked) {
        result.speed = hunt.GetLockedSpeed();
        result.kind = hunt.GetLockedKind();
        return finish(HuntEnd::Locked);
    }
    if (hunt.GetTries().empty()) {
        result.errorNumber = refusedError;
        return finish(HuntEnd::PortFailed);
    }
    return finish(hunt.HeardBytes() ? HuntEnd::Garbage : HuntEnd::Silence);
}
