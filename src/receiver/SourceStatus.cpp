#include "receiver/SourceStatus.h"

#include "receiver/BaudHunt.h"

#include <algorithm>

namespace
{

std::string Seconds(int milliseconds)
{
    return std::to_string((milliseconds + 500) / 1000) + " s";
}

} // namespace

int CBackoff::NextMs()
{
    const int wait = m_nextMs;
    m_nextMs = std::min(m_nextMs * 2, kLongestMs);
    return wait;
}

CSourceStatus ConnectingStatus(const CSourceAddress &address)
{
    return {CSourceStatus::Kind::Connecting, "Connecting to " + address.Describe() + "…"};
}

CSourceStatus WaitingStatus(const CSourceAddress &address)
{
    return {CSourceStatus::Kind::Waiting, "Waiting for data on " + address.Describe() + "…"};
}

CSourceStatus ReceivingStatus(const CSourceAddress &address, bool again)
{
    if (again)
        return {CSourceStatus::Kind::Back, "Receiver connected again: " + address.Describe()};
    return {CSourceStatus::Kind::Receiving, "Receiving from " + address.Describe()};
}

CSourceStatus FailedStatus(const CSourceAddress &address, const std::string &reason, int retryMs)
{
    return {CSourceStatus::Kind::Failed, "Cannot reach " + address.Describe() + ": " + reason
                                             + ". Trying again in " + Seconds(retryMs) + "…"};
}

CSourceStatus LostStatus(const CSourceAddress &address, const std::string &reason, int retryMs)
{
    return {CSourceStatus::Kind::Lost, "Connection to " + address.Describe() + " lost: " + reason
                                           + ". Reconnecting in " + Seconds(retryMs) + "…"};
}

CSourceStatus NoDataStatus(const CSourceAddress &address, int silentMs)
{
    return {CSourceStatus::Kind::NoData,
            "No data from " + address.Describe() + " for " + Seconds(silentMs)};
}

CSourceStatus NoReceiverStatus(const std::string &device)
{
    return {CSourceStatus::Kind::NoReceiver,
            device.empty() ? "gpsd: no receiver attached" : "gpsd: no receiver at " + device};
}

CSourceStatus HuntingStatus(const std::string &device, int speed)
{
    return {CSourceStatus::Kind::Hunting, device + ": " + BaudTryText(speed), speed};
}

CSourceStatus LockedStatus(const std::string &device, int speed)
{
    return {CSourceStatus::Kind::Locked,
            "Receiver found on " + device + " at " + std::to_string(speed) + " baud", speed};
}

CSourceStatus WrongSpeakStatus(const std::string &device, int speed)
{
    return {CSourceStatus::Kind::WrongSpeak,
            "The receiver on " + device + " sends UBX at " + std::to_string(speed)
                + " baud, not NMEA: switch its NMEA output on with its own tool",
            speed};
}

CSourceStatus SirfBinaryStatus(const std::string &device, int speed)
{
    return {CSourceStatus::Kind::SirfBinary,
            "The receiver on " + device + " sends SiRF binary at " + std::to_string(speed)
                + " baud, not NMEA",
            speed};
}

CSourceStatus NoSpeedStatus(const std::string &device, bool silence, int readAt)
{
    return {CSourceStatus::Kind::NoSpeed,
            std::string(silence ? "Nothing comes from " : "Only noise comes from ") + device
                + " at any speed; reading at " + std::to_string(readAt) + " baud",
            readAt};
}
