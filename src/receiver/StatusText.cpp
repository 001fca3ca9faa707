#include "receiver/StatusText.h"

#include "base/Numbers.h"
#include "receiver/ReplaySpeed.h"

#include <algorithm>
#include <cmath>

namespace
{

// Under ten seconds the age has a tenth: a receiver's fix is that fresh or it is late.
std::string AgeText(double seconds)
{
    seconds = std::max(seconds, 0.0);
    if (seconds < 10.0)
        return FormatC("%.1f s", std::floor(seconds * 10.0) / 10.0);
    return FormatC("%.0f s", std::floor(seconds));
}

std::string HostPort(const CSourceAddress &a)
{
    return a.host + ":" + std::to_string(a.port);
}

std::string LiveSourceText(const CStatusState &s)
{
    const CSourceAddress &a = s.address;
    switch (a.kind) {
    case SourceKind::Serial:
        return a.device + " " + (s.baudRate > 0 ? std::to_string(s.baudRate) : "finding speed");
    case SourceKind::Gpsd:
        return "gpsd " + HostPort(a) + (a.device.empty() ? "" : " " + a.device);
    case SourceKind::Tcp:
        return "tcp " + HostPort(a);
    case SourceKind::TcpListen:
        return "tcp-listen " + HostPort(a);
    case SourceKind::Udp:
        return "udp " + HostPort(a);
    }
    return a.device;
}

std::string ReplayText(const CStatusState &s)
{
    std::string text = "Replay " + s.replayName;
    if (s.replayTotal > 0) {
        // A file that grows while it is replayed never reads more than all of it.
        const std::uint64_t read = std::min(s.replayBytes, s.replayTotal);
        text += " " + std::to_string(read * 100 / s.replayTotal) + " %";
    }
    if (s.replayDelayMs == 0)
        return text + " max";
    // The ladder's 1600 % waits a rounded 62 ms: its own name, not 1612 %.
    for (const CReplaySpeed &speed : kReplaySpeeds)
        if (speed.delayMs == s.replayDelayMs)
            return text + " " + std::to_string(speed.percent) + " %";
    return text + " " + std::to_string(kReplayDelay100Percent * 100 / s.replayDelayMs) + " %";
}

std::string FixText(const CStatusState &s, double now)
{
    const double lastLine = s.lastLineAt.value_or(s.openedAt);
    if (!s.lastLineAt || now - lastLine > kNoDataAfterSeconds)
        return "no data " + AgeText(now - lastLine);
    if (!s.fix)
        return "no fix " + AgeText(now - s.noFixSince);
    const char *kind = s.fixMode == 3 ? "3D fix " : s.fixMode == 2 ? "2D fix " : "fix ";
    return kind + AgeText(now - s.lastFixAt);
}

std::string AlarmText(const CStatusState &s, double now)
{
    std::string text;
    const auto add = [&text](const std::string &part) {
        text += (text.empty() ? "" : ", ") + part;
    };
    // The one a driver must act on at once comes first, where a narrow line still shows it.
    if (!s.speedWarning.empty())
        add(s.speedWarning);
    if (s.receiverLost)
        add("Receiver lost");
    if (s.recordFailed)
        add("Record failed");
    if (s.proximityAlarm)
        add("Proximity alarm");
    if (!s.waypointReached.empty() && now - s.waypointReachedAt <= kWaypointAlarmSeconds)
        add("Waypoint reached: " + s.waypointReached);
    return text;
}

} // namespace

void CStatusState::Opened(double now)
{
    openedAt = now;
    lastLineAt.reset();
    fix = false;
    fixMode = 0;
    noFixSince = now;
    receiverLost = false;
}

void CStatusState::LineArrived(double now, std::optional<bool> fixState)
{
    lastLineAt = now;
    if (!fixState)
        return;
    if (*fixState)
        lastFixAt = now;
    else if (fix)
        noFixSince = now;
    fix = *fixState;
}

std::string ByteSizeText(std::uint64_t bytes)
{
    if (bytes < 1000)
        return std::to_string(bytes) + " B";
    static constexpr const char *kUnits[] = {"kB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes) / 1000.0;
    std::size_t unit = 0;
    // Rounded as it is shown, so 999.96 kB reads 1.0 MB and not 1000 kB.
    while (unit + 1 < std::size(kUnits) && std::round(value * 10.0) / 10.0 >= 1000.0) {
        value /= 1000.0;
        ++unit;
    }
    if (value < 99.95)
        return FormatC("%.1f %s", value, kUnits[unit]);
    return FormatC("%.0f %s", value, kUnits[unit]);
}

CStatusTexts StatusTexts(const CStatusState &s, double now)
{
    CStatusTexts t;
    switch (s.source) {
    case CStatusState::Source::None:
        t.source = "No source";
        break;
    case CStatusState::Source::Live:
        t.source = LiveSourceText(s);
        t.fix = FixText(s, now);
        break;
    case CStatusState::Source::Replay:
        t.source = ReplayText(s);
        t.fix = FixText(s, now);
        break;
    case CStatusState::Source::ReplayEnded:
        t.source = "Replay ended";
        break;
    }
    if (s.recording)
        t.recording = "\u25CF REC " + s.recordName + " " + ByteSizeText(s.recordBytes);
    t.alarm = AlarmText(s, now);
    return t;
}
